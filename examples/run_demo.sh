#!/usr/bin/env bash
# Runs the two example hosts under Wine, with the simulator as their browser, and shows what happened.
#
#     examples/run_demo.sh DLL-FOLDER SIMULATOR OUTPUT-FOLDER
#
# DLL-FOLDER    where KXTCP64.dll, play_macro.exe and runner.exe lie: the targets KXTCP64, play_macro and runner
# SIMULATOR     kxsim.exe: the target kxsim
# OUTPUT-FOLDER receives screenshots, logs and what the simulator recorded; the folders play_macro and runner in it are
#               made anew
#
# `./dev demo` builds those four targets of windows-release, calls start_wine, and then
#     examples/run_demo.sh build/windows-release/bin build/windows-release/bin/kxsim.exe build/demo
# It takes the Wine prefix that WINEPREFIX names; without one it makes a prefix in the output folder, whose Wine server
# it stops at the end. Only one demo at a time runs in a prefix; others wait for it. No process stays behind. Gives 0 only
# when both hosts met all they expected and left a sound screenshot and log.
set -euo pipefail

if (($# != 3)); then
  sed -n '2,/^set /{/^#/s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}" >&2
  exit 2
fi
examples=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
programs=$(readlink -f "$1")
simulator=$(readlink -f "$2")
output=$(realpath -m "$3")
run_with_wine=$examples/../cmake/toolchains/run_with_wine

readonly time_limit=180 # seconds for one host, which needs about three
failures=0
child=
own_prefix=
[[ -n ${WINEPREFIX:-} ]] || own_prefix=yes
export WINEPREFIX=${WINEPREFIX:-$output/wineprefix} WINEDEBUG=${WINEDEBUG:--all}

clean_up() {
  # timeout passes the signal on to all it has started.
  [[ -z $child ]] || kill "$child" 2>/dev/null || true
  [[ -z $own_prefix ]] || wineserver -k 2>/dev/null || true
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

say() { printf '%s\n' "$*"; }
heading() { printf '\n== %s\n\n' "$*"; }
indented() { tr -d '\r' | sed -E 's/^(.{140}).{4,}$/\1 .../; s/^/    /'; }
folded() { { cat && say; } | fold -w 140 | indented; }

problem() {
  say "    FAILED: $*"
  failures=$((failures + 1))
}

# As programs under Wine see it: its drive Z: is this system's root.
windows_path() {
  local path
  path=Z:$(realpath -m "$1")
  printf '%s' "${path//\//\\}"
}

# One `set` line for a command file.
set_line() { printf 'set "%s=%s"\r\n' "$1" "${2//%/%%}"; }

# run_host HOST ARGUMENT...: runs the host in an environment of its own below OUTPUT-FOLDER/HOST. Wine gives programs its own
# TEMP, APPDATA and USERNAME whatever this shell has, so they are set by a command file.
run_host() {
  local host=$1 folder=$output/$1 roaming status=0
  shift
  roaming=$folder/AppData/Roaming
  rm -rf "$folder"
  mkdir -p "$folder/Temp" "$folder/AppData/Local" "$roaming/Mozilla/Firefox/Profiles/demo"
  printf '%s\n' '[General]' 'StartWithLastProfile=1' '' '[Profile0]' 'Name=demo' 'IsRelative=1' 'Path=Profiles/demo' \
    'Default=1' >"$roaming/Mozilla/Firefox/profiles.ini"
  say 'idle-limit 60' >"$folder/simulator.script"
  {
    printf '@echo off\r\n'
    set_line USERNAME "demo-$host"
    set_line TEMP "$(windows_path "$folder/Temp")"
    set_line APPDATA "$(windows_path "$roaming")"
    set_line LOCALAPPDATA "$(windows_path "$folder/AppData/Local")"
    set_line KORVEX_LOG on
    set_line KORVEX_LOGPATH "$(windows_path "$folder/korvex.log")"
    set_line KXSIM_SCRIPT "$(windows_path "$folder/simulator.script")"
    set_line KXSIM_RECORD "$(windows_path "$folder/browser")"
    printf '"%s"' "$(windows_path "$programs/$host.exe")"
    printf ' "%s"' "${@//%/%%}"
    printf '\r\nexit /b %%errorlevel%%\r\n'
  } >"$folder/run.cmd"
  timeout --kill-after=10 "$time_limit" "$run_with_wine" "$WINEPREFIX" cmd /c "$(windows_path "$folder/run.cmd")" \
    </dev/null >"$folder/output.txt" 2>&1 9>&- &
  child=$!
  wait "$child" || status=$?
  child=
  indented <"$folder/output.txt"
  ((status == 0)) || problem "$host ended with $status"
  # Wine gives 0 for a program that was killed from outside, so the exit code alone does not tell.
  grep -q '^Everything was as expected' "$folder/output.txt" || problem "$host did not come to a good end"
  end_browser "$folder/browser/events.log"
}

# end_browser EVENTS: ends a browser that its host has left behind.
end_browser() {
  local id
  if id=$(grep -s -o -m 1 '^start pid=[0-9]*' "$1") && ! grep -q '^end ' "$1"; then
    "$run_with_wine" "$WINEPREFIX" taskkill /f /pid "${id#*=}" </dev/null 2>&1 9>&- | indented || true
  fi
}

hex_bytes() { od -An -v -tx1 | tr -d ' \n'; }

# check_screenshot FILE: a PNG from its first bytes to its last.
check_screenshot() {
  local head
  if [[ ! -s $1 ]]; then
    problem "there is no screenshot $1"
    return
  fi
  head=$(head -c 24 "$1" | hex_bytes)
  if [[ $head != 89504e470d0a1a0a0000000d49484452* || $(tail -c 12 "$1" | hex_bytes) != 0000000049454e44ae426082 ]]; then
    problem "the screenshot $1 is no PNG"
    return
  fi
  say
  say "screenshot  $1"
  say "            PNG, $((16#${head:32:8})) x $((16#${head:40:8})) points, $(stat -c %s "$1") bytes"
}

# check_log FILE PATTERN...: shows the lines that match; every pattern must, and no line may be an error entry.
check_log() {
  local log=$1 pattern
  shift
  if [[ ! -s $log ]]; then
    problem "there is no log $log"
    return
  fi
  say
  say "log         $log"
  say "            $(wc -l <"$log") lines, among them:"
  for pattern in "$@"; do
    grep -m 1 -e "$pattern" "$log" | indented || problem "the log has no line with: $pattern"
  done
  ! grep '^Error: ' "$log" | indented || problem "the log has error entries"
}

# check_browser FOLDER: what the simulator recorded on its side of the pipe.
check_browser() {
  local events=$1/events.log file
  if [[ ! -s $events ]]; then
    problem "the browser recorded nothing in $1"
    return
  fi
  say
  say "browser     $1"
  say "            every request and reply as it was on the pipe. Its command line, the first play and the answer:"
  for file in command-line.txt request-1-2.bin reply-1-2.bin; do
    if [[ -s $1/$file ]]; then folded <"$1/$file"; else problem "$1/$file is missing"; fi
  done
  say "            what happened to it:"
  grep -E '^(start|pipe|conn=[0-9]+ (request|name-line|connected)|show|end) ?' "$events" | indented || true
  grep -q '^end code=0 reason=exit' "$events" || problem "the browser did not end by itself after the exit request"
}

show_macro() {
  say
  say "macro       examples/macros/$1"
  indented <"$examples/macros/$1"
}

for file in "$programs/KXTCP64.dll" "$programs/play_macro.exe" "$programs/runner.exe" "$simulator"; do
  if [[ ! -f $file ]]; then
    say "run_demo: $file is missing: build the targets KXTCP64, kxsim, play_macro and runner" >&2
    exit 2
  fi
done
mkdir -p "$output" "$WINEPREFIX"
exec 9>"$WINEPREFIX/.demo-lock"
flock 9
browser=$(windows_path "$simulator")
macros=("$(windows_path "$examples/macros/order.txt")" "$(windows_path "$examples/macros/no_such_button.txt")")

say "Two hosts drive a browser through KXTCP64.dll. The browser is the simulator, kxsim.exe: a process of its own, which"
say "plays a browser with the extension at the other end of the pipe, understands a small macro language, and draws a"
say "window for the screenshot."
show_macro order.txt
show_macro no_such_button.txt

heading 'play_macro: Firefox with the profile "demo", launched by the library'
run_host play_macro "$browser" demo "${macros[@]}" "$(windows_path "$output/play_macro/screenshot.png")"
check_screenshot "$output/play_macro/screenshot.png"
check_log "$output/play_macro/korvex.log" 'kx_Init start' 'Could not open pipe' 'Starting binary' 'Sending connection data' \
  'waiting for server connection' 'Read .* bytes' 'Waiting for browser process'
check_browser "$output/play_macro/browser"

heading 'runner: Chrome with a user data folder, started by the host with the arguments that the library gave it'
run_host runner "$browser" "$(windows_path "$output/runner/chrome data")" "${macros[@]}" \
  "$(windows_path "$output/runner/screenshot.png")"
check_screenshot "$output/runner/screenshot.png"
check_log "$output/runner/korvex.log" 'connecting to server' 'Sending connection data' 'waiting for server connection' \
  'Read .* bytes'
check_browser "$output/runner/browser"

say
if ((failures > 0)); then
  say "demo: $failures problems; see FAILED above"
  exit 1
fi
say "demo: both hosts met everything they expected"

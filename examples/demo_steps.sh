# What the demos share: running a host under Wine in surroundings of its own, and looking at what it left. Sourced after
# `examples` and `output` are set, the folder of this file and the one that receives the results.
# It takes the Wine prefix that WINEPREFIX names; without one it makes a prefix in the output folder, whose Wine server
# it stops at the end. Only one demo at a time runs in a prefix; others wait for it.
# shellcheck shell=bash

readonly time_limit=300 # seconds for one host
run_with_wine=$examples/../cmake/toolchains/run_with_wine
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

mkdir -p "$output" "$WINEPREFIX"
exec 9>"$WINEPREFIX/.demo-lock"
flock 9

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

# prepare NAME: makes OUTPUT/NAME anew, with a user's folders and a Firefox profile "demo", and begins the command file that
# holds the surroundings. Wine gives programs its own TEMP, APPDATA and USERNAME whatever this shell has.
prepare() {
  local folder=$output/$1 roaming=$output/$1/AppData/Roaming
  rm -rf "$folder"
  mkdir -p "$folder/Temp" "$folder/AppData/Local" "$roaming/Mozilla/Firefox/Profiles/demo"
  printf '%s\n' '[General]' 'StartWithLastProfile=1' '' '[Profile0]' 'Name=demo' 'IsRelative=1' 'Path=Profiles/demo' \
    'Default=1' >"$roaming/Mozilla/Firefox/profiles.ini"
  {
    printf '@echo off\r\n'
    set_line USERNAME "demo-$1"
    set_line TEMP "$(windows_path "$folder/Temp")"
    set_line APPDATA "$(windows_path "$roaming")"
    set_line LOCALAPPDATA "$(windows_path "$folder/AppData/Local")"
    set_line KORVEX_LOG on
    set_line KORVEX_LOGPATH "$(windows_path "$folder/korvex.log")"
  } >"$folder/run.cmd"
}

# with_variable NAME VARIABLE VALUE: adds to the surroundings of a host that has been prepared.
with_variable() { set_line "$2" "$3" >>"$output/$1/run.cmd"; }

# run_program NAME PROGRAM ARGUMENT...: runs it in the surroundings that were prepared.
run_program() {
  local folder=$output/$1 host=$2 status=0
  shift 2
  {
    printf '"%s"' "$(windows_path "$programs/$host.exe")"
    printf ' "%s"' "${@//%/%%}"
    printf '\r\nexit /b %%errorlevel%%\r\n'
  } >>"$folder/run.cmd"
  timeout --kill-after=10 "$time_limit" "$run_with_wine" "$WINEPREFIX" cmd /c "$(windows_path "$folder/run.cmd")" \
    </dev/null >"$folder/output.txt" 2>&1 9>&- &
  child=$!
  wait "$child" || status=$?
  child=
  indented <"$folder/output.txt"
  ((status == 0)) || problem "$host ended with $status"
}

# run_host NAME HOST ARGUMENT...: the same for a host, which says how it has ended.
run_host() {
  run_program "$@"
  local folder=$output/$1 host=$2
  # Wine gives 0 for a program that was killed from outside, so the exit code alone does not tell.
  grep -q '^Everything was as expected' "$folder/output.txt" || problem "$host did not come to a good end"
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

# check_programs FILE...: all of them have to be built.
check_programs() {
  local file
  for file in "$@"; do
    if [[ ! -f $file ]]; then
      say "$(basename "$0"): $file is missing" >&2
      exit 2
    fi
  done
}

show_macro() {
  say
  say "macro       examples/macros/$1"
  indented <"$examples/macros/$1"
}

# end_demo WHAT: says what came of it.
end_demo() {
  say
  if ((failures > 0)); then
    say "demo: $failures problems; see FAILED above"
    exit 1
  fi
  say "demo: $1"
}

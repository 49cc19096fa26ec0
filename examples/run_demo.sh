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
# `./dev demo --simulator` builds those four targets of windows-release, calls start_wine, and then
#     examples/run_demo.sh build/windows-release/bin build/windows-release/bin/kxsim.exe build/demo
# demo_steps.sh tells of the Wine prefix. No process stays behind. Gives 0 only when both hosts met all they expected and
# left a sound screenshot and log.
set -euo pipefail

if (($# != 3)); then
  sed -n '2,/^set /{/^#/s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}" >&2
  exit 2
fi
examples=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
programs=$(readlink -f "$1")
simulator=$(readlink -f "$2")
output=$(realpath -m "$3")
# shellcheck source=examples/demo_steps.sh
. "$examples/demo_steps.sh"

# end_browser EVENTS: ends a browser that its host has left behind.
end_browser() {
  local id
  if id=$(grep -s -o -m 1 '^start pid=[0-9]*' "$1") && ! grep -q '^end ' "$1"; then
    "$run_with_wine" "$WINEPREFIX" taskkill /f /pid "${id#*=}" </dev/null 2>&1 9>&- | indented || true
  fi
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

# run_simulator HOST ARGUMENT...: runs the host of that name, with the simulator recording beside it.
run_simulator() {
  prepare "$1"
  say 'idle-limit 60' >"$output/$1/simulator.script"
  with_variable "$1" KXSIM_SCRIPT "$(windows_path "$output/$1/simulator.script")"
  with_variable "$1" KXSIM_RECORD "$(windows_path "$output/$1/browser")"
  run_host "$1" "$@"
  end_browser "$output/$1/browser/events.log"
}

check_programs "$programs/KXTCP64.dll" "$programs/play_macro.exe" "$programs/runner.exe" "$simulator"
browser=$(windows_path "$simulator")
macros=("$(windows_path "$examples/macros/order.txt")" "$(windows_path "$examples/macros/no_such_button.txt")")

say "Two hosts drive a browser through KXTCP64.dll. The browser is the simulator, kxsim.exe: a process of its own, which"
say "plays a browser with the extension at the other end of the pipe, understands a small macro language, and draws a"
say "window for the screenshot."
show_macro order.txt
show_macro no_such_button.txt

heading 'play_macro: Firefox with the profile "demo", launched by the library'
run_simulator play_macro "$browser" demo "${macros[@]}" "$(windows_path "$output/play_macro/screenshot.png")"
check_screenshot "$output/play_macro/screenshot.png"
check_log "$output/play_macro/korvex.log" 'kx_Init start' 'Could not open pipe' 'Starting binary' 'Sending connection data' \
  'waiting for server connection' 'Read .* bytes' 'Waiting for browser process'
check_browser "$output/play_macro/browser"

heading 'runner: Chrome with a user data folder, started by the host with the arguments that the library gave it'
run_simulator runner "$browser" "$(windows_path "$output/runner/chrome data")" "${macros[@]}" \
  "$(windows_path "$output/runner/screenshot.png")"
check_screenshot "$output/runner/screenshot.png"
check_log "$output/runner/korvex.log" 'connecting to server' 'Sending connection data' 'waiting for server connection' \
  'Read .* bytes'
check_browser "$output/runner/browser"

end_demo "both hosts met everything they expected"

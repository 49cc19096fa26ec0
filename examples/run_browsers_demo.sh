#!/usr/bin/env bash
# Plays a macro in real browsers under Wine, through the host browse.exe, and shows what happened.
#
#     examples/run_browsers_demo.sh PROGRAMS-FOLDER OUTPUT-FOLDER TYPE...
#
# PROGRAMS-FOLDER where KXTCP64.dll, browse.exe, kxfirefox.exe and kxchrome.exe lie: the targets KXTCP64, browse, kxbrowser
# OUTPUT-FOLDER   receives the screenshots and logs; the folders firefox and chromium in it are made anew
# TYPE            fx and cr: the browsers, which peers/browsers/setup.sh has installed
#
# `./dev demo` builds those targets of windows-release, calls start_wine, and then
#     examples/run_browsers_demo.sh build/windows-release/bin build/demo fx cr
# demo_steps.sh tells of the Wine prefix. The pages come from the site of the end-to-end tests, on loopback. No process stays
# behind. Gives 0 only when every step succeeded, the table is the site's own, and the screenshots are sound.
set -euo pipefail

if (($# < 3)); then
  sed -n '2,/^set /{/^#/s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}" >&2
  exit 2
fi
examples=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
programs=$(readlink -f "$1")
output=$(realpath -m "$2")
types=("${@:3}")
# shellcheck source=examples/demo_steps.sh
. "$examples/demo_steps.sh"

readonly customer='Åse 山田' city='Tromsø' total=75 # three of the medium size
site=
trap '[[ -z $site ]] || kill "$site" 2>/dev/null || true; clean_up' EXIT

# The site's address, once it is there.
start_site() {
  rm -f "$output/site"
  node "$examples/../tests/e2e/site/server.mjs" --address-file "$output/site" >"$output/site.log" 2>&1 </dev/null 9>&- &
  site=$!
  local tick
  for ((tick = 0; ; tick++)); do
    [[ ! -e $output/site ]] || return 0
    if ((tick >= 1200)) || ! kill -0 "$site" 2>/dev/null; then
      say "run_browsers_demo: the site does not start: $(tail -n 3 "$output/site.log")" >&2
      exit 2
    fi
    sleep 0.05
  done
}

# The table as the site has it, in the form in which the host prints it.
rows_of_site() {
  node -e "require('http').get(process.argv[1], (answer) => answer.pipe(process.stdout))" \
    "$(<"$output/site")/table.txt?rows=12" | sed 's/\t/ | /g; s/^/      /'
}

# check_extracts OUTPUT: what the pages say has to follow from what the host has sent.
check_extracts() {
  local text
  for text in "Welcome, $customer" "On its way to $city" "$total"; do
    tr -d '\r' <"$1" | grep -qxF "      $text" || problem "there is no extract: $text"
  done
  diff <(tr -d '\r' <"$1" | sed -n '/^    extracted table:$/,/^$/{//!p}') <(rows_of_site) >"$1.diff" ||
    problem "the table is not the site's; see $1.diff"
}

# play NAME TYPE PROGRAM OPTIONS
play() {
  local name=$1 type=$2 program=$3 options=$4 picture=$output/$1/screenshot.png
  prepare "$name"
  with_variable "$name" KX_BROWSER_LOGS "$(windows_path "$output/$name")"
  printf '%s\n' "site=$(<"$output/site")" "customer=$customer" "city=$city" >"$output/$name/variables.txt"
  run_host "$name" browse "$type" "$options" "$(windows_path "$programs/$program")" \
    "$(windows_path "$examples/macros/pages.js")" "$(windows_path "$output/$name/variables.txt")" \
    "$(windows_path "$picture")"
  check_extracts "$output/$name/output.txt"
  check_screenshot "$picture"
  pictures+=("$picture")
  check_log "$output/$name/korvex.log" 'kx_Init start' 'Starting binary' 'Sending connection data' 'Waiting for browser process'
}

check_programs "$programs/KXTCP64.dll" "$programs/browse.exe" "$programs/kxfirefox.exe" "$programs/kxchrome.exe"
start_site

say "A host plays a macro through KXTCP64.dll, in real browsers. kxbrowser.exe stands between them: it meets the library over"
say "the pipes as the extension does, and drives the browser. The pages come from a small site at $(<"$output/site")."
show_macro pages.js

pictures=()
for type in "${types[@]}"; do
  case $type in
    fx)
      heading 'Firefox, launched by the library with the profile "demo"'
      play firefox fx kxfirefox.exe '-fxProfile demo -profiler'
      ;;
    cr)
      heading 'Chromium, launched by the library with a user data folder of its own'
      play chromium cr kxchrome.exe "-crUserDataDir $(windows_path "$output/chromium/data") -profiler"
      ;;
  esac
done

say
say "Pictures of the pages, as the browsers show them:"
printf '    %s\n' "${pictures[@]}"
end_demo "every step came out as expected, in each of the ${#types[@]} browsers"

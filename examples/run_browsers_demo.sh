#!/usr/bin/env bash
# Plays a macro in real browsers under Wine, through the host browse.exe and with kx.exe, and shows what happened.
#
#     examples/run_browsers_demo.sh PROGRAMS-FOLDER OUTPUT-FOLDER TYPE...
#
# PROGRAMS-FOLDER where KXTCP64.dll, browse.exe, kx.exe, kxfirefox.exe and kxchrome.exe lie: the targets KXTCP64, browse,
#                 kx_cli, kxbrowser
# OUTPUT-FOLDER   receives screenshots, logs and reports; the folders firefox, chromium, kx-firefox and kx-chromium in it
#                 are made anew
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

# play_rows NAME TYPE PROGRAM PROFILE: the same macro with kx, once for each row of a table, in two browsers at once.
play_rows() {
  local name=$1 type=$2 program=$3 profile=$4 report=$output/$1/report.html run
  prepare "$name"
  with_variable "$name" KX_BROWSER_LOGS "$(windows_path "$output/$name")"
  {
    echo site,customer,city
    for run in "$customer,$city" Ada,Oslo '"Bo, the younger",Kraków' Inês,Porto; do echo "$(<"$output/site"),$run"; done
  } >"$output/$name/orders.csv"
  run_program "$name" kx play "$(windows_path "$examples/macros/pages.js")" --rows "$(windows_path "$output/$name/orders.csv")" \
    --browser "$type" --profile "$profile" --program "$(windows_path "$programs/$program")" --parallel 2 --timeout 120 \
    --profiler --page --screenshot "$(windows_path "$output/$name")\\picture-{run}.png" --report "$(windows_path "$report")"
  for run in 1 2 3 4; do check_screenshot "$output/$name/picture-$run.png"; done
  if [[ $(grep -s -c 'data-picture="[0-9]' "$report") == 4 ]]; then
    reports+=("$report")
  else
    problem "the report has not all pictures: $report"
  fi
}

check_programs "$programs/KXTCP64.dll" "$programs/browse.exe" "$programs/kx.exe" "$programs/kxfirefox.exe" "$programs/kxchrome.exe"
start_site

say "A host plays a macro through KXTCP64.dll, in real browsers. kxbrowser.exe stands between them: it meets the library over"
say "the pipes as the extension does, and drives the browser. The pages come from a small site at $(<"$output/site")."
show_macro pages.js

pictures=()
reports=()
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

for type in "${types[@]}"; do
  case $type in
    fx)
      heading 'kx.exe, with four orders in two Firefoxes at once'
      play_rows kx-firefox fx kxfirefox.exe 'demo-{n}'
      ;;
    cr)
      heading 'kx.exe, with four orders in two Chromiums at once'
      play_rows kx-chromium cr kxchrome.exe "$(windows_path "$output/kx-chromium")\\data-{n}"
      ;;
  esac
done

say
say "Pictures of the pages, as the browsers show them:"
printf '    %s\n' "${pictures[@]}"
say "What kx has played, as pages for any web browser:"
printf '    %s\n' "${reports[@]}"
end_demo "every step came out as expected, in each of the ${#types[@]} browsers"

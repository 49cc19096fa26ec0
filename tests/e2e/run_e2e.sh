#!/usr/bin/env bash
# Runs the tests with real browsers: run_e2e.sh BUILD_DIR [--repeat N] [--browser firefox|chromium] [--in-suite] [FILTER]
#   BUILD_DIR   a build tree for Windows with the targets kx_e2e_tests, KXTCP64 and kxbrowser
#   --repeat N  the long run instead of the tests: N plays and exits in each browser, one browser after the other, and
#               what they leave behind
#   --browser   only this browser; otherwise every one that is installed
#   --in-suite  that there is nothing to run is no failure: who adds up the results decides
#   FILTER      part of a test's name, or a pattern of GoogleTest's without the browser in front
# Both browsers are tested at the same time: a start spends most of its time waiting.
# KX_FIREFOX and KX_CHROME name other programs than firefox-esr and chromium, WINEPREFIX another prefix than the build
# tree's, KX_E2E_RESULTS another folder for the results than BUILD_DIR/e2e-results. Results have the form that
# tools/sum_tests.py reads. A browser that cannot be driven here is left out, which one line says.
set -euo pipefail

fail() {
  printf 'run_e2e: %s\n' "$*" >&2
  exit 2
}

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
build='' repeat='' browsers=(firefox chromium) in_suite='' filter=''
while (($# > 0)); do
  case $1 in
    --repeat)
      repeat=${2:-}
      [[ $repeat =~ ^[1-9][0-9]*$ ]] || fail "--repeat needs a number"
      shift
      ;;
    --browser)
      [[ ${2:-} == firefox || ${2:-} == chromium ]] || fail "--browser is firefox or chromium"
      browsers=("$2")
      shift
      ;;
    --in-suite) in_suite=yes ;;
    -*) fail "there is no option $1" ;;
    *) if [[ -z $build ]]; then build=$1; else filter=$1; fi ;;
  esac
  shift
done
[[ -n $build ]] || fail "usage: run_e2e.sh BUILD_DIR [--repeat N] [--browser firefox|chromium] [--in-suite] [FILTER]"
[[ -d $build ]] || fail "there is no folder $build"
build=$(cd "$build" && pwd)
tests=$build/bin/kx_e2e_tests.exe
[[ -e $tests ]] || fail "$tests is not built"
results=${KX_E2E_RESULTS:-$build/e2e-results}
rm -rf "$results"
mkdir -p "$results/test-results" "$results/bridges"

# A short path: browsers make sockets below it.
folder=$(mktemp -d /tmp/kxe-XXXXXX)
site=
lanes=()

# processes_of FOLDER: the ids of all processes that a run in that folder has started. They have it in their environment
# or, like Chromium's helpers, on their command line.
processes_of() {
  local process
  for process in /proc/[0-9]*; do
    if grep -qsF "KX_E2E_FOLDER=$1" "$process/environ" || grep -qsF "$1/" "$process/cmdline"; then
      printf '%s\n' "${process#/proc/}"
    fi
  done
}

clean_up() {
  local id
  for id in "${lanes[@]}" $(processes_of "$folder"); do kill -KILL "$id" 2>/dev/null || true; done
  [[ -z $site ]] || kill "$site" 2>/dev/null || true
  rm -rf "$folder"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

drivable=$("$root/peers/browsers/setup.sh" --check)
can_drive() {
  case $1 in
    firefox) [[ $drivable == *fx* ]] ;;
    chromium) [[ $drivable == *cr* ]] ;;
  esac
}

start_site() {
  node "$here/site/server.mjs" --address-file "$results/site" --idle 86400 >"$results/site.log" 2>&1 </dev/null &
  site=$!
  local tick
  for ((tick = 0; ; tick++)); do
    [[ ! -e $results/site ]] || break
    ((tick < 1200)) && kill -0 "$site" 2>/dev/null || fail "the site does not start: $(tail -n 3 "$results/site.log")"
    sleep 0.05
  done
  node --input-type=module --eval 'console.log(await (await fetch(process.argv[1])).text())' \
    "$(<"$results/site")/table.txt" | sed '$d' >"$results/table.txt"
}

# Wine's server and services are started here, so that they are not the tests' and do not lie in the run's folder. A
# command interpreter that waits for input on descriptor 7 keeps them until the script ends.
start_wine() {
  export WINEPREFIX=${WINEPREFIX:-$build/wineprefix}
  "$root/cmake/toolchains/run_with_wine" "$WINEPREFIX" cmd /c exit >/dev/null 2>&1 </dev/null
  exec 7> >("$root/cmake/toolchains/run_with_wine" "$WINEPREFIX" cmd >/dev/null 2>&1)
  "$root/cmake/toolchains/run_with_wine" "$WINEPREFIX" cmd /c exit >/dev/null 2>&1 </dev/null 7>&-
}

# An entry of the report that sum_tests.py reads.
report() {
  printf '  <testcase name="%s" status="%s">%s</testcase>\n' "$@" >>"$results/ctest.xml"
}

# As programs under Wine see it: the drive Z: is this system's root.
windows_path() { printf 'Z:%s' "${1//\//\\}"; }

# pattern_for BROWSER: what GoogleTest is to run. Every part of the filter is meant for this browser. The long run is no
# part of the suite.
pattern_for() {
  local name=${1^} wanted=${filter%%-*} unwanted=''
  if [[ -n $repeat ]]; then
    printf '%s/LongRun.*' "$name"
    return
  fi
  if [[ $filter == *-* ]]; then
    unwanted=${filter#*-}
  elif [[ $filter != *[*?:]* ]]; then
    wanted="*$filter*"
  fi
  wanted=${wanted:-*}
  printf '%s/%s-%s/LongRun.*%s' "$name" "${wanted//:/:$name/}" "$name" "${unwanted:+:$unwanted}"
}

# Whether any test of the browser matches the filter.
has_tests() {
  local list=$results/tests-of-$1.txt
  "$root/cmake/toolchains/run_with_wine" "$WINEPREFIX" "$tests" --gtest_list_tests \
    --gtest_filter="$(pattern_for "$1")" </dev/null >"$list" 2>&1 7>&- || fail "$tests does not list its tests: $(tail -n 3 "$list")"
  grep -q '^  ' "$list"
}

# run_browser BROWSER: its tests, from the first to what they have left behind.
run_browser() {
  local browser=$1 own=$folder/${1:0:2} entry="e2e_$1.0" status=0 left log=$results/$1.log
  mkdir -p "$own/real"
  : >"$log"
  # The browsers' own temporary files go where TMP says. TMPDIR stays: by it Wine's programs find their server.
  local variables=("KX_E2E_FOLDER=$own" "KX_E2E_SITE=$(<"$results/site")" "KX_E2E_TABLE=$(windows_path "$results/table.txt")" "TMP=$own/real"
    "KX_BROWSER_LOGS=$(windows_path "$results/bridges")")
  if [[ -n $repeat ]]; then variables+=("KX_E2E_REPEAT=$repeat"); fi
  (cd "$results" && exec timeout --kill-after=10 "$((3600 + ${repeat:-0} * 60))" env "${variables[@]}" \
    "$root/cmake/toolchains/run_with_wine" "$WINEPREFIX" "$tests" --gtest_filter="$(pattern_for "$browser")" \
    --gtest_output="xml:test-results/$entry.xml") >"$log" 2>&1 </dev/null 7>&- &
  local id=$! shown
  tail -f --pid="$id" "$log" 2>&1 7>&- > >(sed -u "s/\r\$//; s/^/$browser: /" 7>&-) &
  shown=$!
  # Unlike a command in the foreground, a wait lets a signal through.
  wait "$id" || status=$?
  wait "$shown" || true

  left=$(processes_of "$own")
  if [[ -n $left ]]; then
    printf 'processes are left behind:\n%s\n' "$(ps -o pid,stat,args -p "${left//$'\n'/,}")" | tee -a "$log"
    status=3
  fi
  if [[ -n $(ls -A "$own/real") ]]; then
    printf 'temporary files are left behind: %s\n' "$(ls -A "$own/real")" | tee -a "$log"
    status=3
  fi
  if ((status == 0)); then
    report "$entry" run ''
  else
    report "$entry" fail '<failure/>'
    # What the tests themselves found is in their results; this is for all else.
    [[ $status == 1 ]] || report "e2e_$browser" fail '<failure/>'
  fi
}

chosen=()
left_out=()
for browser in "${browsers[@]}"; do
  if can_drive "$browser"; then chosen+=("$browser"); else left_out+=("$browser"); fi
done
for browser in "${left_out[@]}"; do
  printf '%s cannot be driven here: its end-to-end tests are left out. ./dev setup --browsers gets what is missing\n' "${browser^}"
done
if ((${#chosen[@]} > 0)); then
  start_wine
  for index in "${!chosen[@]}"; do
    has_tests "${chosen[index]}" || unset "chosen[index]"
  done
  if ((${#chosen[@]} == 0)); then
    printf 'no end-to-end test matches %s\n' "$filter"
    [[ -n $in_suite ]] || exit 1
    exit 0
  fi
  start_site
elif [[ -z $in_suite ]]; then
  fail "nothing to run: no browser can be driven here"
fi

printf '<testsuite>\n' >"$results/ctest.xml"
for browser in "${left_out[@]}"; do
  report "e2e_$browser" disabled '<system-out>the browser cannot be driven here: ./dev setup --browsers</system-out>'
done
for browser in "${chosen[@]}"; do
  run_browser "$browser" &
  lanes+=("$!")
  # The long run counts the processes of the whole prefix.
  if [[ -n $repeat ]]; then wait "$!"; fi
done
for lane in "${lanes[@]}"; do wait "$lane" || true; done
lanes=()
printf '</testsuite>\n' >>"$results/ctest.xml"
((${#chosen[@]} > 0)) || exit 0
python3 "$root/tools/sum_tests.py" --summary "$results/summary.txt" "$results"

#!/usr/bin/env bash
# Runs the unit's tests and its example as Windows programs under Wine, with the DLL and the simulator of a build tree.
#
#     bindings/pascal/tests/run.sh BUILD-TREE SCRATCH-FOLDER
#
# The scratch folder has the run-time library for Windows in rtl, or gets it.
set -Eeuo pipefail

trap 'echo "pascal: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

unit=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/..")
tree=$(readlink -f "$1")
scratch=$(realpath -m "$2")
mkdir -p "$scratch"
run() { "$unit/../../cmake/toolchains/run_with_wine" "$tree/wineprefix" "$@" </dev/null; }
windows_path() { tr / '\\' <<<"Z:$1"; }
[[ -e $scratch/rtl/system.ppu ]] || "$unit/make_rtl.sh" "$scratch/rtl"

# compile NAME SOURCE: warnings are errors.
compile() {
  fpc -n -Twin64 "-Fu$scratch/rtl" "-Fu$unit" "-FU$scratch" -vw -Sew "-o$scratch/$1.exe" "$unit/$2" >"$scratch/$1.log" 2>&1 || {
    grep -E 'Error|Fatal|Warning' "$scratch/$1.log" >&2
    exit 1
  }
}

echo "== the page shows the example"
sed -n '/^```pascal$/,/^```$/{/^```/!p}' "$unit/README.md" | diff "$unit/first_steps.pas" -

echo "== the example"
compile first_steps first_steps.pas
cp "$tree/bin/KXTCP64.dll" "$tree/bin/kxsim.exe" "$scratch"
example() { (cd "$scratch" && run first_steps.exe kxsim.exe "$1" 2>&1 | tr -d '\r') || true; }
[[ $(example 'extract Hello $(city)') == 'Hello Oslo' ]]
[[ $(example 'fail -50 There is no such button') == 'kx_Play failed: result -1, error -50: There is no such button' ]]

echo "== the tests"
compile wrapper_test tests/wrapper_test.pas
rm -rf "$scratch/folders"
mkdir "$scratch/folders"
run "$scratch/wrapper_test.exe" "$(windows_path "$tree/bin/kxsim.exe")" "$(windows_path "$scratch/folders")" \
  >"$scratch/tests.log" 2>&1 || {
  grep -v '^ok ' "$scratch/tests.log" >&2
  exit 1
}
echo "$(grep -c '^ok ' "$scratch/tests.log") tests passed"

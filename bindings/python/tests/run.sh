#!/usr/bin/env bash
# Runs the wrapper's tests, and its example, with this system's Python: the calls go over the bridge to the DLL under Wine.
#
#     bindings/python/tests/run.sh BUILD-TREE SCRATCH-FOLDER
set -Eeuo pipefail

here=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")")
source_root=$(readlink -f "$here/../../..")
tree=$(readlink -f "$1")
scratch=$(realpath -m "$2")
rm -rf "$scratch"
mkdir -p "$scratch"

"$source_root/bindings/bridge/make_bridge.py" "$scratch"
# shellcheck source=tests/sdk/alone.sh
. "$source_root/tests/sdk/alone.sh"
windows_path() { tr / '\\' <<<"Z:$1"; }
export KX_BRIDGE_LIBRARY=$scratch/libkxbridge.so KX_SIMULATOR=$tree/bin/kxsim.exe
KX_RUN=$(printf '%q ' "$source_root/cmake/toolchains/run_with_wine" "$tree/wineprefix")
KX_BRIDGE="exec $KX_RUN$(printf '%q ' "$scratch/bridge.exe" "$(windows_path "$tree/bin/KXTCP64.dll")")"
export KX_RUN KX_BRIDGE PYTHONPATH=$here/.. PYTHONDONTWRITEBYTECODE=1

echo "== the page shows the example"
sed -n '/^```python$/,/^```$/{/^```/!p}' "$here/../README.md" | diff "$here/../first_steps.py" -

echo "== the example"
example() {
  alone python3 -c 'import os, runpy, sys, kxtcp64
kxtcp64._default_library = kxtcp64.Library(os.environ["KX_BRIDGE_LIBRARY"])
sys.argv = sys.argv[1:]
runpy.run_path(sys.argv[0], run_name="__main__")' "$here/../first_steps.py" "$(windows_path "$KX_SIMULATOR")" "$1"
}
[[ $(example 'extract Hello $(city)') == 'Hello Oslo' ]]
[[ $(example 'fail -50 There is no such button' 2>&1) == 'kx_Play failed: result -1, error -50: There is no such button' ]]

python3 -m unittest discover -s "$here" -p '*_test.py'

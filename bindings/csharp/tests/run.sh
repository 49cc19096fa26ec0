#!/usr/bin/env bash
# Runs the wrapper's tests and its example as Windows programs under Wine, with the DLL and the simulator of a build tree.
#
#     bindings/csharp/tests/run.sh BUILD-TREE SCRATCH-FOLDER
set -Eeuo pipefail

trap 'echo "csharp: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

wrapper=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/..")
tree=$(readlink -f "$1")
scratch=$(realpath -m "$2")
rm -rf "$scratch/tests" "$scratch/example"
mkdir -p "$scratch"
export DOTNET_CLI_TELEMETRY_OPTOUT=1 DOTNET_NOLOGO=1
# Wine loads the files of .NET only where mscoree is not switched off.
export WINEDLLOVERRIDES='mshtml=;winemenubuilder.exe=d'
run_for() { timeout --kill-after=10 "$1" "$wrapper/../../cmake/toolchains/run_with_wine" "$tree/wineprefix" "${@:2}" </dev/null; }
windows_path() { tr / '\\' <<<"Z:$1"; }

# publish PROJECT FOLDER
publish() {
  dotnet publish --verbosity quiet --artifacts-path "$scratch/artifacts" --output "$2" "$1" >"$scratch/publish.log" 2>&1 || {
    grep -E 'error|warning' "$scratch/publish.log" | sort -u >&2
    exit 1
  }
}

echo "== the page shows the example"
sed -n '/^```csharp$/,/^```$/{/^```/!p}' "$wrapper/README.md" | diff "$wrapper/first_steps.cs" -

echo "== the pages of PowerShell and AutoIt show their examples"
sed -n '/^```powershell$/,/^```$/{/^```/!p}' "$wrapper/../powershell/README.md" | diff "$wrapper/../powershell/first_steps.ps1" -
sed -n '/^```autoit$/,/^```$/{/^```/!p}' "$wrapper/../autoit/README.md" | diff "$wrapper/../autoit/first_steps.au3" -

echo "== the tests"
publish "$wrapper/tests" "$scratch/tests"
cp "$tree/bin/KXTCP64.dll" "$scratch/tests"
# Under Wine 8 a .NET program may hang once a test has failed: what it has printed by then tells which.
KX_SIMULATOR=$(windows_path "$tree/bin/kxsim.exe") KX_MODULE=$(windows_path "$wrapper/../powershell/Kxtcp64") \
  run_for 240 "$scratch/tests/wrapper_tests.exe" >"$scratch/tests.log" 2>&1 || {
  grep -a -v '^ok ' "$scratch/tests.log" >&2
  exit 1
}
tail -n 1 "$scratch/tests.log" | tr -d '\r'

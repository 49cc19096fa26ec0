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
run() { "$wrapper/../../cmake/toolchains/run_with_wine" "$tree/wineprefix" "$@" </dev/null; }
windows_path() { tr / '\\' <<<"Z:$1"; }

# publish PROJECT FOLDER [OPTION...]: without debug information, for under Wine 8 a test that fails would hang while .NET
# looks for its lines.
publish() {
  dotnet publish --verbosity quiet --artifacts-path "$scratch/artifacts" -p:DebugType=none --output "$2" "$1" "${@:3}" \
    >"$scratch/publish.log" 2>&1 || {
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
KX_SIMULATOR=$(windows_path "$tree/bin/kxsim.exe") KX_MODULE=$(windows_path "$wrapper/../powershell/Kxtcp64") \
  run "$scratch/tests/wrapper_tests.exe" >"$scratch/tests.log" 2>&1 || {
  grep -a -v '^ok ' "$scratch/tests.log" >&2
  exit 1
}
tail -n 1 "$scratch/tests.log" | tr -d '\r'

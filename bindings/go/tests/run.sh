#!/usr/bin/env bash
# Runs the wrapper's tests and its example as Windows programs under Wine, with the DLL and the simulator of a build tree.
#
#     bindings/go/tests/run.sh BUILD-TREE SCRATCH-FOLDER
set -Eeuo pipefail

trap 'echo "go: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

module=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/..")
tree=$(readlink -f "$1")
scratch=$(realpath -m "$2")
mkdir -p "$scratch"
export GOOS=windows GOARCH=amd64 CGO_ENABLED=0
run() { "$module/../../cmake/toolchains/run_with_wine" "$tree/wineprefix" "$@" </dev/null; }
windows_path() { tr / '\\' <<<"Z:$1"; }

echo "== layout and go vet"
cd "$module"
[[ -z $(gofmt -l .) ]] || { gofmt -d . >&2 && exit 1; }
go vet ./...

echo "== the page shows the example"
sed -n '/^```go$/,/^```$/{/^```/!p}' README.md | diff example/main.go -

echo "== the example"
go build -trimpath -o "$scratch/example.exe" ./example
cp "$tree/bin/KXTCP64.dll" "$tree/bin/kxsim.exe" "$scratch"
example() { (cd "$scratch" && run example.exe kxsim.exe "$1" 2>&1) || true; }
[[ $(example 'extract Hello $(city)') == 'Hello Oslo' ]]
[[ $(example 'fail -50 There is no such button') == 'kx_Play failed: result -1, error -50: There is no such button' ]]

echo "== the tests"
go test -c -trimpath -o "$scratch/kxtcp64.test.exe" .
KX_DLL=$(windows_path "$tree/bin/KXTCP64.dll") KX_SIMULATOR=$(windows_path "$tree/bin/kxsim.exe") \
  run "$scratch/kxtcp64.test.exe" -test.v >"$scratch/tests.log" 2>&1 || {
  grep -A 20 -E -e '--- FAIL|^panic' "$scratch/tests.log" >&2
  exit 1
}
echo "$(grep -c -e '^--- PASS' "$scratch/tests.log") tests passed"

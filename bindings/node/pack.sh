#!/usr/bin/env bash
# Packs the npm package with the DLL of a build tree. The last line printed is the tarball's path.
#
#     bindings/node/pack.sh BUILD-TREE TARGET-FOLDER [PREFIX]
#
# With PREFIX the DLL is that of an installed package, which may be signed.
set -Eeuo pipefail

trap 'echo "pack: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

here=$(dirname "$(readlink -f "$0")")
tree=$(readlink -f "$1")
mkdir -p "$2"
target=$(readlink -f "$2")
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$tree/CMakeCache.txt")

package=$target/package
rm -rf "$package" "$target/installed"
mkdir "$package"
cp -r "$here"/{README.md,example.mjs,index.d.ts,index.js,lib} "$here/../interface.json" "$package"
cmake --install "$tree" --prefix "$target/installed" --component runtime >/dev/null
cmake --install "$tree" --prefix "$target/installed" --component notices >/dev/null
notices=$target/installed/share/doc/kxtcp64
cp "$target/installed/bin/KXTCP64.dll" "$notices"/{LICENSE,NOTICES.md,gcc-mingw-w64-base.txt,mingw-w64-common.txt} "$package"
[[ -z ${3:-} ]] || cp "$3/bin/KXTCP64.dll" "$package"
sed "s/@VERSION@/$version/" "$here/package.json.in" >"$package/package.json"
# npm tells on the error stream what it packs.
tarball=$(cd "$package" && npm pack --silent --ignore-scripts --pack-destination "$target")
rm -rf "$package" "$target/installed"
echo "$target/$tarball"

#!/usr/bin/env bash
# Packs the npm package. The last line printed is the tarball's path.
#
#     cluster/pack.sh TARGET-FOLDER
set -Eeuo pipefail

trap 'echo "pack: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

here=$(dirname "$(readlink -f "$0")")
mkdir -p "$1"
target=$(readlink -f "$1")
package=$target/kx-cluster
rm -rf "$package"
mkdir "$package"
cp -r "$here"/{bin,index.d.ts,index.js,lib,package.json,README.md} "$here/../docs/errors.json" "$here/../LICENSE" "$package"
# npm tells on the error stream what it packs.
tarball=$(cd "$package" && npm pack --silent --ignore-scripts --pack-destination "$target")
rm -rf "$package"
echo "$target/$tarball"

#!/usr/bin/env bash
# Packs the npm package. The last line printed is the tarball's path.
#
#     cluster/pack.sh BUILD-TREE TARGET-FOLDER
#
# Of the build tree it takes the page of reports, the target kx_report_page.
set -Eeuo pipefail

trap 'echo "pack: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

here=$(dirname "$(readlink -f "$0")")
report=$(readlink -f "$1")/cli/report/page.html
mkdir -p "$2"
target=$(readlink -f "$2")
package=$target/kx-cluster
rm -rf "$package"
mkdir "$package"
cp -r "$here"/{bin,index.d.ts,index.js,lib,package.json,README.md} "$here/../docs/errors.json" "$here/../LICENSE" "$package"
cp "$report" "$package/report.html"
# npm tells on the error stream what it packs.
tarball=$(cd "$package" && npm pack --silent --ignore-scripts --pack-destination "$target")
rm -rf "$package"
echo "$target/$tarball"

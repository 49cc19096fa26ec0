#!/usr/bin/env bash
# Puts the host and what it imports into a folder: the wrapper from the sources, and koffi as it is installed here.
#
#     bindings/node/conversation/install.sh FOLDER
set -Eeuo pipefail

here=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")")
koffi=$here/../../../examples/other-languages/node_modules
mkdir -p "$1/node_modules/kxtcp64" "$1/node_modules/@koromix"
cp "$here/host.mjs" "$1"
cp -r "$here"/../{index.js,lib} "$here/../../interface.json" "$1/node_modules/kxtcp64"
sed 's/@VERSION@/0.0.0/' "$here/../package.json.in" >"$1/node_modules/kxtcp64/package.json"
cp -r "$koffi/koffi" "$1/node_modules"
cp -r "$koffi/@koromix/koffi-win32-x64" "$1/node_modules/@koromix"

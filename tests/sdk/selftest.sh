#!/usr/bin/env bash
# Makes the packages of a build tree, unpacks the zip into a folder with a blank and Cyrillic letters in its name, and runs
# kx selftest there, in a new Wine prefix.
#
#     tests/sdk/selftest.sh BUILD-TREE SCRATCH-FOLDER [OPTION-OF-KX-SELFTEST...]
set -Eeuo pipefail

source_root=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/../..")
tree=$(readlink -f "$1")
scratch=$(realpath -m "$2")
shift 2
export WINEPREFIX=$scratch/wineprefix WINEDEBUG=-all WINEARCH=win64 LC_ALL=C.UTF-8
export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d'
trap 'wineserver -k 2>/dev/null || true' EXIT

rm -rf "$scratch"
folder="$scratch/Папка пакета"
mkdir -p "$folder" "$scratch/reports"
"$source_root/packaging/make_packages.sh" "$tree" "$scratch/packages" >"$scratch/packages.log" 2>&1 || {
  tail -n 20 "$scratch/packages.log" >&2
  exit 1
}
(cd "$folder" && cmake -E tar xf "$scratch"/packages/KXTCP64-*-sdk.zip)

before=$(find "$folder" | sort)
cd "$scratch/reports"
status=0
"$source_root/cmake/toolchains/run_with_wine" "$WINEPREFIX" "$folder"/KXTCP64-*/bin/kx.exe selftest "$@" </dev/null ||
  status=$?

# What it may leave behind is its report.
[[ $(find "$folder" | sort) == "$before" && -z $(find "$WINEPREFIX/drive_c" -name 'kx-selftest*') ]] || {
  echo "kx selftest has left files behind" >&2
  exit 1
}
exit "$status"

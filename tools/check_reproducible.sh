#!/usr/bin/env bash
# Builds the programs that are shipped once more, from a copy of the sources in a folder of another name and depth, and
# compares the bytes with those of a build tree.
#
#     tools/check_reproducible.sh SCRATCH-FOLDER BIN-FOLDER
set -euo pipefail

(($# == 2)) || {
  sed -n '2,5s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2
  exit 2
}
root=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/..")
scratch=$(realpath -m "$1")
bin=$(readlink -f "$2")
files=(KXTCP64.dll kx.exe kxsim.exe first_host.exe ../microsoft/KXTCP64.pdb)
# Objects of an earlier build would prove nothing.
export CCACHE_DISABLE=1

folder=$scratch/a/second/copy
rm -rf "$scratch"
mkdir -p "$folder"
git -C "$root" ls-files -z --cached --others --exclude-standard -- CMakeLists.txt CMakePresets.json cmake packaging src LICENSE \
  CHANGELOG.md bindings/functions.inc bindings/cpp/kxtcp64.hpp cli ':!cli/tests' docs/errors.json examples peers/simulator |
  (cd "$root" && xargs -0 cp --parents -t "$folder")
{
  cmake --preset windows-release -S "$folder" -B "$folder/build" &&
    cmake --build "$folder/build" --target KXTCP64 kx_cli kxsim first_host kx_pdb
} >"$scratch/log" || {
  tail -n 20 "$scratch/log" >&2
  exit 1
}
for file in "${files[@]}"; do
  cmp "$folder/build/bin/$file" "$bin/$file" || {
    echo "check_reproducible: the same sources give different files" >&2
    exit 1
  }
  echo "check_reproducible: $(sha256sum "$bin/$file" | cut -c 1-64) $file, in two folders"
done

#!/usr/bin/env bash
# Builds the DLL twice, from copies of the sources in folders of different names, and compares the bytes.
#
#     tools/check_reproducible.sh SCRATCH-FOLDER [DLL]
#
# A DLL that is given as well has to be the same.
set -euo pipefail

(($# >= 1)) || {
  sed -n '2,6s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2
  exit 2
}
root=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/..")
scratch=$(realpath -m "$1")
dll=${2:+$(readlink -f "$2")}
# Objects of an earlier build would prove nothing.
export CCACHE_DISABLE=1

build_copy() {
  local folder=$scratch/$1
  mkdir -p "$folder"
  git -C "$root" ls-files -z --cached --others --exclude-standard -- CMakeLists.txt CMakePresets.json cmake packaging src \
    LICENSE examples | (cd "$root" && xargs -0 cp --parents -t "$folder")
  cmake --preset windows-release -S "$folder" -B "$folder/build" -DKXTCP64_DEVELOPER_MODE=OFF >"$folder.log"
  cmake --build "$folder/build" --target KXTCP64 >>"$folder.log"
}

rm -rf "$scratch"
for copy in one a/second/copy; do
  mkdir -p "$scratch/$(dirname "$copy")"
  build_copy "$copy" || {
    tail -n 20 "$scratch/$copy.log" >&2
    exit 1
  }
done
first=$scratch/one/build/bin/KXTCP64.dll
for other in "$scratch/a/second/copy/build/bin/KXTCP64.dll" $dll; do
  cmp "$first" "$other" || {
    echo "check_reproducible: the same sources give different files" >&2
    exit 1
  }
done
echo "check_reproducible: $(sha256sum "$first" | cut -c 1-64), twice${dll:+ and in the given file}"

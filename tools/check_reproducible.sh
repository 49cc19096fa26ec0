#!/usr/bin/env bash
# Builds what is shipped, the DLL, the simulator and the first host, twice, from copies of the sources in folders of
# different names, and compares the bytes.
#
#     tools/check_reproducible.sh SCRATCH-FOLDER [BIN-FOLDER]
#
# Those in a folder that is given as well have to be the same.
set -euo pipefail

(($# >= 1)) || {
  sed -n '2,7s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2
  exit 2
}
root=$(readlink -f "$(dirname "${BASH_SOURCE[0]}")/..")
scratch=$(realpath -m "$1")
bin=${2:+$(readlink -f "$2")}
files=(KXTCP64.dll kx.exe kxsim.exe first_host.exe)
# Objects of an earlier build would prove nothing.
export CCACHE_DISABLE=1

build_copy() {
  local folder=$scratch/$1
  mkdir -p "$folder"
  git -C "$root" ls-files -z --cached --others --exclude-standard -- CMakeLists.txt CMakePresets.json cmake packaging src \
    LICENSE CHANGELOG.md examples peers/simulator | (cd "$root" && xargs -0 cp --parents -t "$folder")
  cmake --preset windows-release -S "$folder" -B "$folder/build" >"$folder.log"
  cmake --build "$folder/build" --target KXTCP64 kx_cli kxsim first_host >>"$folder.log"
}

rm -rf "$scratch"
for copy in one a/second/copy; do
  mkdir -p "$scratch/$(dirname "$copy")"
  build_copy "$copy" || {
    tail -n 20 "$scratch/$copy.log" >&2
    exit 1
  }
done
first=$scratch/one/build/bin
for other in "$scratch/a/second/copy/build/bin" $bin; do
  for file in "${files[@]}"; do
    cmp "$first/$file" "$other/$file" || {
      echo "check_reproducible: the same sources give different files" >&2
      exit 1
    }
  done
done
for file in "${files[@]}"; do
  echo "check_reproducible: $(sha256sum "$first/$file" | cut -c 1-64) $file, twice${bin:+ and in the given folder}"
done

#!/usr/bin/env bash
# Packs the NuGet package: the wrapper, the library of an installed package, and the module for PowerShell. The last line
# printed is its path.
#
#     bindings/csharp/pack.sh PREFIX VERSION TARGET-FOLDER
#
# PREFIX is an installed package, as cmake --install leaves it.
set -Eeuo pipefail

trap 'echo "pack: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

here=$(dirname "$(readlink -f "$0")")
prefix=$(readlink -f "$1")
version=$2
mkdir -p "$3"
target=$(readlink -f "$3")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export DOTNET_CLI_TELEMETRY_OPTOUT=1 DOTNET_NOLOGO=1

mkdir "$work/module"
cp "$here/../powershell/Kxtcp64/Kxtcp64.psm1" "$work/module"
sed "s/@VERSION@/$version/" "$here/../powershell/Kxtcp64/Kxtcp64.psd1.in" >"$work/module/Kxtcp64.psd1"
# page FILE: a page without its links to other pages of the sources, for who has the package alone.
page() { sed 's/\[\([^]]*\)\](\.\.[^)]*)/\1/g' "$1"; }
page "$here/README.md" >"$work/README.md"
page "$here/../powershell/README.md" >"$work/module/README.md"
dotnet pack "$here/src" --verbosity quiet --artifacts-path "$work/artifacts" --output "$target" -p:Version="$version" \
  -p:KxPrefix="$prefix" -p:KxModule="$work/module" -p:KxReadme="$work/README.md" >"$work/pack.log" 2>&1 || {
  grep -E 'error|warning' "$work/pack.log" | sort -u >&2
  exit 1
}
echo "$target/KXTCP64.$version.nupkg"

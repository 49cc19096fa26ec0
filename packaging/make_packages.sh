#!/usr/bin/env bash
# Makes the packages of a build tree, and lists them: the zip, the wheel for Python, the npm packages where npm is there, the NuGet
# package where there is a .NET SDK.
#
#     packaging/make_packages.sh BUILD-TREE TARGET-FOLDER [--pages FOLDER] [--sign CERTIFICATE] [--without-nuget]
#
# TARGET-FOLDER then holds the packages, SHA256SUMS and the bill of materials, and nothing else. FOLDER has the pages, see
# docs/pages/build.py. CERTIFICATE signs the DLL and the programs before they are packed, see sign.sh.
set -Eeuo pipefail

trap 'echo "make_packages: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

here=$(dirname "$(readlink -f "$0")")
tree=$(readlink -f "$1")
target=$(realpath -m "$2")
shift 2
pages=()
certificate=
nuget=yes
while (($# > 0)); do
  case $1 in
    --pages) pages=(--pages "$(readlink -f "$2")") ;;
    --sign) certificate=$(readlink -f "$2") ;;
    --without-nuget)
      nuget=
      shift
      continue
      ;;
    *) exit 2 ;;
  esac
  shift 2
done

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$tree/CMakeCache.txt")
rm -rf "$target" "$target.unpacked"
mkdir -p "$target" "$target.unpacked"
prefix=$target.unpacked/KXTCP64-$version
cmake --install "$tree" --prefix "$prefix" >/dev/null
if [[ -n $certificate ]]; then "$here/sign.sh" "$certificate" "$prefix"/bin/*.dll "$prefix"/bin/*.exe; fi
"$here/finish_package.py" "$tree" "$prefix" "${pages[@]}"

# The time of the files is that of the last change.
"$here/zip_file.py" "$prefix" "$target/KXTCP64-$version-sdk.zip" "$(git -C "$here" log -1 --format=%ct 2>/dev/null || echo 0)"
"$here/make_wheel.py" "$prefix" "$version" "$target"
if command -v npm >/dev/null; then
  "$here/../bindings/node/pack.sh" "$tree" "$target.npm" "$prefix" | tail -n 1
  "$here/../cluster/pack.sh" "$tree" "$target.npm" | tail -n 1
  mv "$target.npm"/*.tgz "$target"
else
  echo "no npm packages: npm is missing, see ./dev setup --browsers"
fi
if [[ -n $nuget ]] && command -v dotnet >/dev/null; then
  "$here/../bindings/csharp/pack.sh" "$prefix" "$version" "$target"
elif [[ -n $nuget ]]; then
  echo "no NuGet package: dotnet, the .NET SDK, is missing; Debian has no package of it"
fi
"$here/list_packages.py" "$target" "$prefix"
rm -rf "$target.npm" "$target.unpacked"

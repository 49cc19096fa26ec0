#!/usr/bin/env bash
# Uses the packages from the finished files, each in an empty place: zip, wheel, NuGet package, port for vcpkg. A host
# is built for Microsoft's linker, and what is signed is looked at.
#
#     tests/sdk/packages.sh BUILD-TREE SCRATCH-FOLDER [PACKAGES]
#
# PACKAGES is the folder in which packaging/make_packages.sh has left them; without it they are made here, the pages
# and the NuGet package left out.
set -Eeuo pipefail

trap 'echo "packages: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

# shellcheck source=tests/sdk/transcript.sh
. "$(dirname "${BASH_SOURCE[0]}")/transcript.sh" "$1" "$2"
rm -rf "$prefix"
packages=${3:+$(readlink -f "$3")}
if [[ -z $packages ]]; then
  packages=$scratch/packages
  "$source_root/packaging/make_packages.sh" "$tree" "$packages" --without-nuget >"$scratch/packages.log" 2>&1 || {
    tail -n 20 "$scratch/packages.log" >&2
    exit 1
  }
  without=(--without share/doc/kxtcp64/html)
fi
debug_information=yes
if ! grep -q '^CMAKE_BUILD_TYPE:[A-Z]*=Release$' "$tree/CMakeCache.txt"; then
  debug_information=
  without+=(--without bin/KXTCP64.pdb)
fi
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$tree/CMakeCache.txt")
compare() { "$source_root/packaging/check_files.py" "$source_root/packaging/files/$1" "$2" --version "$version" "${@:3}"; }
KX_BROWSER=$(windows_path "$tree/bin/kxsim.exe")
export KX_BROWSER

echo "== the list of the packages names them all"
(cd "$packages" && sha256sum --quiet -c SHA256SUMS)
[[ $(wc -l <"$packages/SHA256SUMS") == $(find "$packages" -maxdepth 1 -type f ! -name SHA256SUMS | wc -l) ]]
python3 - "$packages" <<'PYTHON'
import hashlib, json, pathlib, sys
folder = pathlib.Path(sys.argv[1])
bill = json.loads((folder / "sbom.spdx.json").read_text())
listed = {pathlib.PurePosixPath(entry["fileName"]).name: entry["checksums"][0]["checksumValue"] for entry in bill["files"]}
for package in folder.iterdir():
    if package.suffix in (".zip", ".whl", ".tgz", ".nupkg"):
        assert listed[package.name] == hashlib.sha256(package.read_bytes()).hexdigest(), package
PYTHON

echo "== the zip"
mkdir "$scratch/zip"
(cd "$scratch/zip" && cmake -E tar xf "$packages/KXTCP64-$version-sdk.zip")
[[ $(ls "$scratch/zip") == "KXTCP64-$version" ]]
prefix=$scratch/zip/KXTCP64-$version
compare zip.txt "$prefix" "${without[@]}"
(cd "$prefix" && sha256sum --quiet -c SHA256SUMS)
if [[ -z ${without:-} ]]; then
  "$source_root/docs/pages/check_links.py" "$prefix/share/doc/kxtcp64/html"
  [[ -e $prefix/share/doc/kxtcp64/html/index.html ]]
  # Otherwise run.sh does it.
  transcript "$prefix/START_HERE.txt"
fi

echo "== kx selftest from the zip, in a folder with a blank and Cyrillic letters in its name"
mkdir "$scratch/Папка пакета"
cp -r "$prefix/bin" "$scratch/Папка пакета"
(cd "$scratch/Папка пакета" && run bin/kx.exe selftest --only files --only launch-firefox --only commands >"$scratch/selftest.txt" 2>&1) || {
  cat "$scratch/selftest.txt" >&2
  exit 1
}

echo "== the examples of the zip, by their CMakeLists.txt"
cmake -G Ninja -S "$prefix/share/kxtcp64/examples" -B "$scratch/examples" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_TOOLCHAIN_FILE="$source_root/cmake/toolchains/mingw-w64-x86_64.cmake" >"$scratch/examples.log"
cmake --build "$scratch/examples" >>"$scratch/examples.log"
alone run "$scratch/examples/first_host.exe" "$KX_BROWSER" 'extract Hello $(city)' | unix_lines | grep -qx 'the first extract: Hello Oslo'
alone run "$scratch/examples/first_steps.exe" "$KX_BROWSER" 'extract Hello $(city)' | unix_lines | grep -qx 'Hello Oslo'

# microsoft_host PREFIX NAME: a host for Microsoft's linker, with the package that is found there.
microsoft_host() {
  cmake -G Ninja -S "$source_root/tests/sdk/microsoft" -B "$scratch/$2" -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_COMPILER=clang -DCMAKE_C_COMPILER_TARGET=x86_64-pc-windows-msvc -DCMAKE_C_STANDARD_LIBRARIES= \
    -DCMAKE_PREFIX_PATH="$1" >"$scratch/$2.log"
  cmake --build "$scratch/$2" >>"$scratch/$2.log"
  [[ $(alone run "$scratch/$2/host.exe") == Hello ]]
}

echo "== Microsoft's import library: a host by clang and lld-link"
microsoft_host "$prefix" microsoft
grep -q "$prefix/lib/KXTCP64.lib" "$scratch/microsoft/build.ninja"

if [[ -n $debug_information ]]; then
  echo "== the PDB: a reader of another house, and the system's own"
  for file in KXTCP64.dll KXTCP64.pdb; do cp "$prefix/bin/$file" "$scratch/microsoft"; done
  llvm-pdbutil dump -all "$prefix/bin/KXTCP64.pdb" >"$scratch/pdb.txt" 2>&1
  while read -r function; do
    grep -q "S_GPROC32 .*\`$function\`" "$scratch/pdb.txt"
  done < <(sed -n 's/^  \(kxr\?_[A-Za-z]*\).*/\1/p' "$prefix/lib/kxtcp64.def")
  if grep -aF "$source_root" "$prefix/bin/KXTCP64.pdb"; then
    echo "the PDB names folders of this machine" >&2
    exit 1
  fi
  x86_64-w64-mingw32-gcc-posix "$source_root/tests/sdk/symbols.c" -o "$scratch/microsoft/symbols.exe" -ldbghelp
  symbols() { (cd "$scratch/microsoft" && run symbols.exe KXTCP64.dll kx_Play 40) | unix_lines; }
  source=src/api/win32/exports.cpp
  line=$(grep -n '^int kx_Play(' "$source_root/$source" | cut -d : -f 1)
  [[ $(symbols) =~ ^kx_Play\ .*src.api.win32.exports\.cpp:([0-9]+)$ ]] && ((BASH_REMATCH[1] >= line && BASH_REMATCH[1] <= line + 4))
  # That of another library is not taken.
  python3 - "$prefix/bin/KXTCP64.dll" "$scratch/microsoft/KXTCP64.pdb" <<'PYTHON'
import pathlib, re, sys
guid = re.search(rb"RSDS(.{16})", pathlib.Path(sys.argv[1]).read_bytes(), re.DOTALL).group(1)
pdb = pathlib.Path(sys.argv[2])
pdb.write_bytes(pdb.read_bytes().replace(guid, bytes(16)))
PYTHON
  [[ $(symbols || true) == 'no PDB '* ]]
fi

echo "== the port, with its steps played"
# It is that of the release.
[[ -e $prefix/bin/KXTCP64.pdb ]] || touch "$prefix/bin/KXTCP64.pdb"
installed=$scratch/vcpkg/installed/x64-windows
cmake -DPORT_FOLDER="$prefix/vcpkg/kxtcp64" -DINSTALLED="$installed" -P "$source_root/tests/sdk/play_port.cmake" >"$scratch/play_port.log"
(cd "$installed" && find . -type f | sort) | diff - <(sort <<'FILES'
./bin/KXTCP64.dll
./bin/KXTCP64.pdb
./debug/bin/KXTCP64.dll
./debug/bin/KXTCP64.pdb
./debug/lib/KXTCP64.lib
./include/kxtcp64/kxtcp64.h
./include/kxtcp64/kxtcp64.hpp
./lib/KXTCP64.lib
./share/kxtcp64/KXTCP64Config.cmake
./share/kxtcp64/KXTCP64ConfigVersion.cmake
./share/kxtcp64/copyright
./share/kxtcp64/usage
FILES
)
microsoft_host "$installed" port
grep -q "$installed/lib/KXTCP64.lib" "$scratch/port/build.ninja"

echo "== the wheel"
wheel=$packages/kxtcp64-$version-py3-none-win_amd64.whl
compare wheel.txt "$wheel"
grep -qx "py -m pip install $(basename "$wheel")" "$prefix/share/doc/kxtcp64/python.md"
site=$scratch/site
# A wheel for Windows is not for this system's Python, which pip can be told.
if python3 -m pip --version >/dev/null 2>&1; then
  python3 -m pip install --quiet --disable-pip-version-check --root-user-action=ignore --no-index --no-deps --no-compile \
    --platform win_amd64 --only-binary=:all: --target "$site" "$wheel"
else
  echo "packages: there is no pip here: the wheel is unpacked"
  python3 -m zipfile -e "$wheel" "$site"
fi
mkdir "$scratch/bridge"
"$source_root/bindings/bridge/make_bridge.py" "$scratch/bridge"
KX_BRIDGE="exec $(printf '%q ' "$source_root/cmake/toolchains/run_with_wine" "$tree/wineprefix" "$scratch/bridge/bridge.exe" \
  "$(windows_path "$site/kxtcp64/KXTCP64.dll")")"
export KX_BRIDGE
example=$(cd "$scratch" && PYTHONPATH=$site PYTHONDONTWRITEBYTECODE=1 alone python3 - "$scratch/bridge/libkxbridge.so" \
  "$prefix/share/kxtcp64/python/first_steps.py" "$KX_BROWSER" 'extract Hello $(city)' <<'PYTHON'
import pathlib, runpy, sys, kxtcp64
# On Windows the package finds the DLL beside itself.
assert (pathlib.Path(kxtcp64.__file__).parent / "KXTCP64.dll").is_file()
kxtcp64._default_library = kxtcp64.Library(sys.argv[1])
sys.argv = sys.argv[2:]
runpy.run_path(sys.argv[0], run_name="__main__")
PYTHON
)
[[ $example == 'Hello Oslo' ]]

# bindings/node/tests/run.sh uses the npm package.
npm_package=$packages/kxtcp64-$version.tgz
if [[ -e $npm_package ]]; then compare npm.txt "$npm_package"; fi

echo "== the NuGet package"
if [[ -z ${3:-} ]]; then
  echo "packages: left to ./dev sdk"
elif command -v dotnet >/dev/null; then
  "$source_root/bindings/csharp/tests/package.sh" "$tree" "$scratch/nuget" "$packages/KXTCP64.$version.nupkg"
else
  echo "packages: there is no .NET SDK here: no NuGet package is made"
fi

echo "== a signature"
openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj '/CN=A test of KXTCP64' -addext extendedKeyUsage=codeSigning \
  -keyout "$scratch/key.pem" -out "$scratch/certificate.pem" 2>"$scratch/openssl.log"
openssl pkcs12 -export -inkey "$scratch/key.pem" -in "$scratch/certificate.pem" -passout pass:secret -out "$scratch/certificate.p12"
mkdir "$scratch/signed"
cp "$tree/bin/KXTCP64.dll" "$tree/bin/first_host.exe" "$scratch/signed"
KX_SIGN_PASSWORD=secret "$source_root/packaging/sign.sh" "$scratch/certificate.p12" "$scratch/signed"/* >"$scratch/sign.log"
verify() { osslsigncode verify -CAfile "$scratch/certificate.pem" -in "$1" >"$scratch/verify.log" 2>&1; }
refused() {
  if verify "$1"; then
    echo "the signature of $1 counts as right" >&2
    return 1
  fi
}
for file in "$scratch/signed"/*; do verify "$file"; done
# What is not signed, and what was changed behind the signature, is noticed.
refused "$tree/bin/KXTCP64.dll"
python3 - "$scratch/signed/KXTCP64.dll" "$scratch/changed.dll" <<'PYTHON'
import pathlib, sys
data = bytearray(pathlib.Path(sys.argv[1]).read_bytes())
data[len(data) // 2] ^= 1
pathlib.Path(sys.argv[2]).write_bytes(data)
PYTHON
refused "$scratch/changed.dll"
# A certificate without a password.
openssl pkcs12 -export -inkey "$scratch/key.pem" -in "$scratch/certificate.pem" -passout pass: -out "$scratch/open.p12"
cp "$tree/bin/KXTCP64.dll" "$scratch/open.dll"
KX_SIGN_PASSWORD= "$source_root/packaging/sign.sh" "$scratch/open.p12" "$scratch/open.dll" >>"$scratch/sign.log"
verify "$scratch/open.dll"
# A wrong password leaves the files as they were.
cp "$tree/bin/KXTCP64.dll" "$scratch/unsigned.dll"
if KX_SIGN_PASSWORD=wrong "$source_root/packaging/sign.sh" "$scratch/certificate.p12" "$scratch/unsigned.dll" \
  >>"$scratch/sign.log" 2>&1; then
  echo "a wrong password is taken" >&2
  exit 1
fi
cmp "$tree/bin/KXTCP64.dll" "$scratch/unsigned.dll"
alone run "$scratch/signed/first_host.exe" "$KX_BROWSER" 'extract Hello $(city)' | unix_lines | grep -qx 'the first extract: Hello Oslo'

echo "packages: all is right"

#!/usr/bin/env bash
# Installs a build tree to a scratch prefix, builds hosts against the installed package in every way it offers, and runs
# them.
#
#     tests/sdk/run.sh BUILD-TREE SCRATCH-FOLDER
#
# The Wine prefix is the one that WINEPREFIX names, or the build tree's.
set -Eeuo pipefail

trap 'tail -n 30 "$scratch"/*.log >&2; echo "sdk: failed in line $LINENO: $BASH_COMMAND" >&2' ERR

# shellcheck source=tests/sdk/transcript.sh
. "$(dirname "${BASH_SOURCE[0]}")/transcript.sh" "$1" "$2"
toolchain=$source_root/cmake/toolchains/mingw-w64-x86_64.cmake

"$source_root/packaging/finish_package.py" "$tree" "$prefix" >>"$scratch/install.log"
(cd "$prefix" && sha256sum --quiet -c SHA256SUMS)

echo "== the runtime component is the DLL alone"
cmake --install "$tree" --prefix "$scratch/runtime" --component runtime >>"$scratch/install.log"
[[ $(cd "$scratch/runtime" && find . -type f) == ./bin/KXTCP64.dll ]]

# An installed package works wherever it is moved to.
mv "$prefix" "$scratch/moved to here"
prefix="$scratch/moved to here"

echo "== what the package's START_HERE.txt and the project's README.md show is what happens"
transcript "$prefix/START_HERE.txt"
transcript "$source_root/README.md"
sed -n '/^```cpp$/,/^```$/{/^```/!p}' "$prefix/share/doc/kxtcp64/cpp.md" | diff "$prefix/share/kxtcp64/examples/first_steps.cpp" -
transcript "$prefix/share/doc/kxtcp64/cpp.md"

echo "== what START_HERE.txt names is there"
names=$(unix_lines <"$prefix/START_HERE.txt" | grep -oE '\b(bin|include|lib|nuget|share|vcpkg)\\[^ ,;:)"]*[^ ,;:)."]' | sort -u)
[[ $(wc -l <<<"$names") -gt 10 ]]
while read -r name; do
  case $name in
    # What the reader makes with the commands that it shows.
    'bin\my_host.exe') ;;
    # `./dev sdk` makes the pages, and follows their links.
    'share\doc\kxtcp64\html'*) ;;
    *) [[ -e $prefix/${name//\\//} ]] || { echo "START_HERE.txt names $name, which is not in the package" >&2; exit 1; } ;;
  esac
done <<<"$names"

echo "== the licences that NOTICES.md names are there"
notices="$prefix/share/doc/kxtcp64"
while read -r name; do
  [[ -s $notices/$name ]] || { echo "NOTICES.md names $name, which is not in the package" >&2; exit 1; }
done < <(grep -oE '`[a-z0-9-]+\.txt`' "$notices/NOTICES.md" | tr -d '`')

echo "== find_package"
cmake -G Ninja -S "$source_root/tests/sdk" -B "$scratch/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_FIND_ROOT_PATH="$prefix" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >"$scratch/configure.log"
cmake --build "$scratch/build" >"$scratch/build.log"
run "$scratch/build/consumer_c.exe"
run "$scratch/build/consumer_cpp.exe"
run "$scratch/build/consumer_wrapper.exe"

echo "== the CMakeLists.txt of START_HERE.txt puts the DLL beside the host"
mkdir "$scratch/shown"
unix_lines <"$prefix/START_HERE.txt" | sed -n '/^    cmake_minimum_required/,/^$/p' >"$scratch/shown/CMakeLists.txt"
cp "$prefix/share/kxtcp64/examples/first_host.c" "$scratch/shown"
cmake -G Ninja -S "$scratch/shown" -B "$scratch/shown/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_FIND_ROOT_PATH="$prefix" -DCMAKE_PREFIX_PATH="$prefix" >"$scratch/shown.log"
cmake --build "$scratch/shown/build" >>"$scratch/shown.log"
(run "$scratch/shown/build/my_host.exe" || true) | unix_lines | grep -x 'usage: first_host BROWSER MACRO-TEXT'

echo "== pkg-config"
mkdir "$scratch/plain"
cp "$prefix/bin/KXTCP64.dll" "$scratch/plain"
# pkg-config writes blanks in paths for a shell.
eval "flags=($(PKG_CONFIG_LIBDIR=$prefix/lib/pkgconfig pkg-config --cflags --libs kxtcp64))"
x86_64-w64-mingw32-gcc-posix "$source_root/tests/sdk/consumer.c" -o "$scratch/plain/consumer.exe" "${flags[@]}"
run "$scratch/plain/consumer.exe"

echo "== an import library from the .def file"
x86_64-w64-mingw32-dlltool -d "$prefix/lib/kxtcp64.def" -l "$scratch/plain/libfromdef.a"
x86_64-w64-mingw32-gcc-posix -I"$prefix/include" "$source_root/tests/sdk/consumer.c" "$scratch/plain/libfromdef.a" \
  -o "$scratch/plain/from_def.exe"
run "$scratch/plain/from_def.exe"

echo "== the installed examples compile"
for example in "$prefix"/share/kxtcp64/examples/*.c; do
  x86_64-w64-mingw32-gcc-posix -std=c89 "$example" -o "$scratch/plain/$(basename "$example" .c).exe" "${flags[@]}"
done

echo "== the pages that the header names are there, and what they link to"
documents=$prefix/share/doc/kxtcp64
pages=$(grep -o 'docs/[a-z-]*\.md' "$prefix/include/kxtcp64/kxtcp64.h" | sort -u)
[[ -n $pages ]]
for page in $pages; do
  [[ -e $documents/$page ]]
done
find "$prefix" -name '*.md' | while read -r page; do
  { grep -oE '\]\([^):#]+[):#]' "$page" || true; } | sed -n '/:$/!s/^..\(.*\).$/\1/p' | while read -r link; do
    [[ -e $(dirname "$page")/$link ]] || {
      echo "$page links to $link, which is not in the package" >&2
      exit 1
    }
  done
done

echo "== the project as a part of another build gives the library and nothing else"
mkdir "$scratch/parent"
cat >"$scratch/parent/CMakeLists.txt" <<EOF
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES C CXX)
add_subdirectory("$source_root" kxtcp64)
add_executable(host "$source_root/examples/play_macro.c")
target_link_libraries(host PRIVATE KXTCP64)
EOF
cmake -G Ninja -S "$scratch/parent" -B "$scratch/parent/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_BUILD_TYPE=Debug >"$scratch/parent.log"
cmake --build "$scratch/parent/build" --target host >>"$scratch/parent.log"
if ninja -C "$scratch/parent/build" -t targets all | grep -E 'kxsim|gtest|_tests'; then
  echo "a consumer is made to build more than the library" >&2
  exit 1
fi
echo "sdk: all hosts built and ran"

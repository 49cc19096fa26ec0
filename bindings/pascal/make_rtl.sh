#!/usr/bin/env bash
# Makes what Free Pascal needs for programs for 64-bit Windows: its run-time library, of Debian's fpc-source. Then
# fpc -n -Twin64 -FuFOLDER compiles and links them.
#
#     bindings/pascal/make_rtl.sh FOLDER
set -Eeuo pipefail

mkdir -p "$1"
folder=$(readlink -f "$1")
sources=/usr/share/fpcsrc/$(fpc -iV)/rtl
[[ -d $sources ]] || { echo "make_rtl: $sources is not here: install Debian's fpc-source" >&2; exit 1; }
options=(-n -Twin64 -O2 -CX -XX -v0 "-FU$folder" "-Fu$folder")
for part in inc x86_64 win win64 objpas objpas/classes objpas/sysutils; do
  options+=("-Fi$sources/$part" "-Fu$sources/$part")
done
options+=("-Fi$sources/win/wininc" "-Fi$sources/charmaps")
compile() {
  fpc "${options[@]}" "$@" >"$folder/make_rtl.log" 2>&1 || { tail -n 5 "$folder/make_rtl.log" >&2; exit 1; }
}
compile -Us -Sg "$sources/win64/system.pp"
compile "$sources/win64/buildrtl.pp"
compile "$sources/inc/uuchar.pp"

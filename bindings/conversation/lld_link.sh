#!/usr/bin/env bash
# Links a host as lld-link does for Microsoft's tools, with an import library of Microsoft's form. The run-time is MinGW's.
#
#     lld_link.sh IMPORT-LIBRARY PROGRAM OBJECT
set -Eeuo pipefail

import_library=$1 program=$2 object=$3
gcc_folder=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")
mingw_folder=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libmsvcrt.a)")

# The start code of MinGW looks for its own name of the image's base.
lld-link -lldmingw -alternatename:__image_base__=__ImageBase -entry:mainCRTStartup -subsystem:console "-out:$program" \
  "$mingw_folder/crt2.o" "$gcc_folder/crtbegin.o" "$object" "$import_library" "$gcc_folder"/lib{stdc++,gcc,gcc_eh}.a \
  "$mingw_folder"/lib{mingw32,moldname,mingwex,msvcrt,pthread,kernel32,advapi32,shell32,user32}.a "$gcc_folder/crtend.o"

# Cross-builds for 64-bit Windows with the posix flavour of the mingw-w64 compilers, and runs what was built under Wine.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(kx_triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${kx_triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${kx_triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${kx_triplet}-windres)

# Programs are the build machine's; headers, libraries and packages are the target's only, or lie below a folder that
# the command line adds with -DCMAKE_FIND_ROOT_PATH.
list(APPEND CMAKE_FIND_ROOT_PATH /usr/${kx_triplet})
list(REMOVE_DUPLICATES CMAKE_FIND_ROOT_PATH)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The run-time goes into the file: what is built here needs system DLLs only.
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
endforeach()

# With an emulator, tests and custom commands that name a Windows program just work. The prefix belongs to the
# build tree, so trees do not disturb each other and `rm -r` of the tree leaves nothing behind.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/run_with_wine" "${CMAKE_BINARY_DIR}/wineprefix")

# Cross-builds for 64-bit Windows with clang and lld, on the headers and libraries of the mingw-w64 packages: a second
# opinion on the sources. What ships is built by the compiler of mingw-w64-x86_64.cmake.

include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64-x86_64.cmake")

# The C++ library belongs to that compiler, which knows where it lies.
execute_process(COMMAND ${kx_triplet}-g++-posix -print-libgcc-file-name OUTPUT_VARIABLE kx_libgcc
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
get_filename_component(kx_gcc_dir "${kx_libgcc}" DIRECTORY)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-windows-gnu)
foreach(folder IN ITEMS c++ c++/${kx_triplet} c++/backward)
  string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${kx_gcc_dir}/include/${folder}")
endforeach()
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -static -L${kx_gcc_dir} -lwinpthread")
endforeach()

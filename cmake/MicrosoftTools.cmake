# What Microsoft's tools read: an import library in the format of their linker.

# Made of the .def file; any name of the functions that it exports is the header's.
find_program(KXTCP64_LLVM_DLLTOOL NAMES llvm-dlltool)
if(KXTCP64_LLVM_DLLTOOL)
  set(kx_microsoft_library "${PROJECT_BINARY_DIR}/microsoft/KXTCP64.lib")
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/microsoft")
  add_custom_command(
    OUTPUT "${kx_microsoft_library}"
    COMMAND "${KXTCP64_LLVM_DLLTOOL}" -m i386:x86-64 -D KXTCP64.dll -d "${PROJECT_SOURCE_DIR}/src/api/kxtcp64.def" -l
            "${kx_microsoft_library}"
    DEPENDS "${PROJECT_SOURCE_DIR}/src/api/kxtcp64.def"
    VERBATIM)
  add_custom_target(kx_microsoft_library ALL DEPENDS "${kx_microsoft_library}")
  add_dependencies(KXTCP64 kx_microsoft_library)
endif()

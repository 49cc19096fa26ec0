# What Microsoft's tools read: an import library in the format of their linker, and debug information as a PDB.

include(CheckLinkerFlag)

# Made of the .def file, which has the names of the functions.
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

# A PDB tells Windows debuggers the functions and lines of the library. It is made of a second link of the same objects, in
# which the debug information is left; packaging/make_pdb.py refuses to make it when the two are not the same library. The
# linker writes into the library what a debugger finds the file by: its name, and a number made of the library's bytes. GNU
# ld 2.40 and later can; the PDB that it writes itself has paths of the build machine, and no lines.
check_linker_flag(CXX "LINKER:--pdb=" KXTCP64_LINKER_NAMES_PDB)
if(KXTCP64_LINKER_NAMES_PDB AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_BUILD_TYPE STREQUAL "Release" AND PROJECT_IS_TOP_LEVEL)
  set(kx_pdb "${PROJECT_BINARY_DIR}/microsoft/KXTCP64.pdb")
  set(kx_with_debug_information "${PROJECT_BINARY_DIR}/microsoft/with_debug_information")
  file(MAKE_DIRECTORY "${kx_with_debug_information}")
  foreach(target IN ITEMS kx_core kx_windows KXTCP64)
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-g1>)
  endforeach()
  add_library(kx_described SHARED EXCLUDE_FROM_ALL $<TARGET_OBJECTS:KXTCP64> "${PROJECT_SOURCE_DIR}/src/api/kxtcp64.def")
  set_target_properties(
    kx_described
    PROPERTIES PREFIX ""
               OUTPUT_NAME KXTCP64
               LINKER_LANGUAGE CXX
               RUNTIME_OUTPUT_DIRECTORY "${kx_with_debug_information}"
               ARCHIVE_OUTPUT_DIRECTORY "${kx_with_debug_information}")
  # The same link, but for what takes the debug information out, and for the map.
  get_target_property(kx_link_options KXTCP64 LINK_OPTIONS)
  list(FILTER kx_link_options EXCLUDE REGEX "^LINKER:-Map=|>:-s>$")
  target_link_options(kx_described PRIVATE ${kx_link_options})
  target_link_libraries(kx_described PRIVATE kx_windows kx_core advapi32)
  set_target_properties(KXTCP64 PROPERTIES RULE_LAUNCH_LINK "${PROJECT_SOURCE_DIR}/cmake/link_with_pdb.py")
  foreach(target IN ITEMS KXTCP64 kx_described)
    file(MAKE_DIRECTORY "${kx_with_debug_information}/${target}")
    # Without an address the linker makes one of the file's path.
    target_link_options(${target} PRIVATE LINKER:--image-base,0x180000000 LINKER:--build-id
                        "LINKER:--pdb=${kx_with_debug_information}/${target}/KXTCP64.pdb")
  endforeach()
  add_custom_command(
    OUTPUT "${kx_pdb}"
    COMMAND "${PROJECT_SOURCE_DIR}/packaging/make_pdb.py" "$<TARGET_FILE:KXTCP64>" "$<TARGET_FILE:kx_described>" "${kx_pdb}"
    DEPENDS KXTCP64 kx_described "${PROJECT_SOURCE_DIR}/packaging/make_pdb.py" "${PROJECT_SOURCE_DIR}/packaging/pdb_file.py"
    VERBATIM)
  add_custom_target(kx_pdb ALL DEPENDS "${kx_pdb}")
endif()

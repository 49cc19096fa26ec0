# The targets of the package, in the folders of vcpkg. Those of the zip itself are made by CMake.
if(TARGET KXTCP64::KXTCP64)
  return()
endif()
get_filename_component(kxtcp64_root "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

add_library(KXTCP64::KXTCP64 SHARED IMPORTED)
set_target_properties(
  KXTCP64::KXTCP64
  PROPERTIES IMPORTED_LOCATION "${kxtcp64_root}/bin/KXTCP64.dll"
             IMPORTED_IMPLIB "${kxtcp64_root}/lib/KXTCP64.lib"
             INTERFACE_INCLUDE_DIRECTORIES "${kxtcp64_root}/include;${kxtcp64_root}/include/kxtcp64")

add_library(KXTCP64::cpp INTERFACE IMPORTED)
set_target_properties(
  KXTCP64::cpp PROPERTIES INTERFACE_COMPILE_FEATURES cxx_std_17
                          INTERFACE_INCLUDE_DIRECTORIES "${kxtcp64_root}/include;${kxtcp64_root}/include/kxtcp64")
unset(kxtcp64_root)

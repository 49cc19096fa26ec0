# A port of the unpacked zip that it lies in: nothing is downloaded and nothing is compiled.
#
#     vcpkg install kxtcp64:x64-windows --overlay-ports=FOLDER-OF-THE-ZIP/vcpkg
get_filename_component(package "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)
vcpkg_check_linkage(ONLY_DYNAMIC_LIBRARY)

# One DLL serves both configurations: no C++ type and no memory crosses its functions.
foreach(folder IN ITEMS "" "debug/")
  file(INSTALL "${package}/bin/KXTCP64.dll" "${package}/bin/KXTCP64.pdb" DESTINATION "${CURRENT_PACKAGES_DIR}/${folder}bin")
  file(INSTALL "${package}/lib/KXTCP64.lib" DESTINATION "${CURRENT_PACKAGES_DIR}/${folder}lib")
endforeach()
file(INSTALL "${package}/include/kxtcp64" DESTINATION "${CURRENT_PACKAGES_DIR}/include")
file(INSTALL "${CMAKE_CURRENT_LIST_DIR}/KXTCP64Config.cmake" "${package}/lib/cmake/KXTCP64/KXTCP64ConfigVersion.cmake"
             "${CMAKE_CURRENT_LIST_DIR}/usage"
     DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
vcpkg_install_copyright(FILE_LIST "${package}/share/doc/kxtcp64/LICENSE" "${package}/share/doc/kxtcp64/NOTICES.md")

# Its C run-time is msvcrt.dll, a part of Windows.
set(VCPKG_POLICY_ALLOW_OBSOLETE_MSVCRT enabled)

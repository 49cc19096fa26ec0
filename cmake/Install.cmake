# What is installed, by component:
#   runtime      the DLL alone
#   development  headers, import libraries, debug information, .def file, packages for CMake and pkg-config, examples, one of them as a program,
#                the simulator, the pages for hosts' authors
#   notices      the licence, and those of the run-time that is linked into the DLL

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(kx_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/KXTCP64")
set(kx_documents_dir "${CMAKE_INSTALL_DATADIR}/doc/kxtcp64")

install(
  TARGETS KXTCP64 kx_cpp
  EXPORT KXTCP64Targets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
install(EXPORT KXTCP64Targets NAMESPACE KXTCP64:: DESTINATION "${kx_package_dir}" COMPONENT development)

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/KXTCP64Config.cmake.in" KXTCP64Config.cmake
                              INSTALL_DESTINATION "${kx_package_dir}")
write_basic_package_version_file(KXTCP64ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/KXTCP64Config.cmake" "${PROJECT_BINARY_DIR}/KXTCP64ConfigVersion.cmake"
        DESTINATION "${kx_package_dir}" COMPONENT development)

install(FILES "${PROJECT_SOURCE_DIR}/src/api/kxtcp64.h" "${PROJECT_SOURCE_DIR}/bindings/cpp/kxtcp64.hpp"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kxtcp64" COMPONENT development)
install(FILES "${PROJECT_SOURCE_DIR}/bindings/cpp/first_steps.cpp" DESTINATION "${CMAKE_INSTALL_DATADIR}/kxtcp64/examples"
        COMPONENT development)
install(FILES "${PROJECT_SOURCE_DIR}/bindings/python/kxtcp64.py" "${PROJECT_SOURCE_DIR}/bindings/python/first_steps.py"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/kxtcp64/python" COMPONENT development)
# Those that are copied into a project of their language.
install(
  DIRECTORY "${PROJECT_SOURCE_DIR}/bindings/go" "${PROJECT_SOURCE_DIR}/bindings/rust" "${PROJECT_SOURCE_DIR}/bindings/lua"
            "${PROJECT_SOURCE_DIR}/bindings/ruby" "${PROJECT_SOURCE_DIR}/bindings/pascal" "${PROJECT_SOURCE_DIR}/bindings/autoit"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/kxtcp64"
  COMPONENT development
  PATTERN "tests" EXCLUDE
  PATTERN "*_test.go" EXCLUDE
  PATTERN "conversation*" EXCLUDE
  PATTERN "rustfmt.toml" EXCLUDE
  PATTERN "make_rtl.sh" EXCLUDE
  PATTERN "CMakeLists.txt" EXCLUDE
  PATTERN "target" EXCLUDE)
install(FILES "${PROJECT_SOURCE_DIR}/bindings/python/README.md" DESTINATION "${kx_documents_dir}" RENAME "python.md"
        COMPONENT development)
install(FILES "${PROJECT_SOURCE_DIR}/bindings/cpp/README.md" DESTINATION "${kx_documents_dir}" RENAME "cpp.md"
        COMPONENT development)
# Other tools than the compiler that built the DLL make their import library from the .def file.
install(FILES "${PROJECT_SOURCE_DIR}/src/api/kxtcp64.def" DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
if(kx_microsoft_library)
  install(FILES "${kx_microsoft_library}" DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
endif()
# Windows debuggers look for it beside the DLL.
if(kx_pdb)
  install(FILES "${kx_pdb}" DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT development)
endif()
# The description of the interface, for who writes a binding.
install(FILES "${PROJECT_SOURCE_DIR}/bindings/interface.json" DESTINATION "${CMAKE_INSTALL_DATADIR}/kxtcp64"
        COMPONENT development)

configure_file("${PROJECT_SOURCE_DIR}/packaging/kxtcp64.pc.in" kxtcp64.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/kxtcp64.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

install(
  DIRECTORY "${PROJECT_SOURCE_DIR}/examples/"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/kxtcp64/examples"
  COMPONENT development
  FILES_MATCHING
  PATTERN "*.c"
  PATTERN "*.h"
  PATTERN "*.cs"
  PATTERN "*.csproj"
  PATTERN "*.js"
  PATTERN "*.json"
  PATTERN "*.mjs"
  PATTERN "*.py"
  PATTERN "*.txt"
  PATTERN "CMakeLists.txt" EXCLUDE
  PATTERN "node_modules" EXCLUDE)
# The build of the examples against the package.
install(FILES "${PROJECT_SOURCE_DIR}/packaging/examples/CMakeLists.txt" DESTINATION "${CMAKE_INSTALL_DATADIR}/kxtcp64/examples"
        COMPONENT development)

# The header and the pages refer to each other by these places.
install(
  DIRECTORY "${PROJECT_SOURCE_DIR}/docs"
  DESTINATION "${kx_documents_dir}"
  COMPONENT development
  PATTERN "pages" EXCLUDE
  PATTERN "testing.md" EXCLUDE)
install(FILES "${PROJECT_SOURCE_DIR}/SECURITY.md" "${PROJECT_SOURCE_DIR}/CHANGELOG.md" DESTINATION "${kx_documents_dir}"
        COMPONENT development)
install(FILES "${PROJECT_SOURCE_DIR}/peers/simulator/README.md" DESTINATION "${kx_documents_dir}" RENAME "simulator.md"
        COMPONENT development)

install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/packaging/NOTICES.md"
        DESTINATION "${kx_documents_dir}" COMPONENT notices)
# The texts of what was linked come from its packages.
foreach(package IN ITEMS mingw-w64-common gcc-mingw-w64-base libcli11-dev nlohmann-json3-dev)
  install(FILES "/usr/share/doc/${package}/copyright" DESTINATION "${kx_documents_dir}" RENAME "${package}.txt"
          COMPONENT notices OPTIONAL)
endforeach()

# Plays what vcpkg does with a port that installs files: its variables, and the two of its functions that the port calls.
# vcpkg itself is not to be had here.
#
#     cmake -DPORT_FOLDER=... -DINSTALLED=... -P play_port.cmake
cmake_minimum_required(VERSION 3.25)

file(READ "${PORT_FOLDER}/vcpkg.json" manifest)
string(JSON PORT GET "${manifest}" name)
string(JSON VERSION GET "${manifest}" version)
if(NOT VERSION MATCHES "^[0-9]+\\.[0-9]+\\.[0-9]+$")
  message(FATAL_ERROR "the port has no version")
endif()
set(CURRENT_PACKAGES_DIR "${INSTALLED}")

function(vcpkg_check_linkage)
  if(NOT "${ARGV}" STREQUAL "ONLY_DYNAMIC_LIBRARY")
    message(FATAL_ERROR "vcpkg_check_linkage: ${ARGV}")
  endif()
endfunction()

function(vcpkg_install_copyright)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" FILE_LIST)
  set(copyright "")
  foreach(file IN LISTS arg_FILE_LIST)
    file(READ "${file}" text)
    string(APPEND copyright "${text}\n")
  endforeach()
  file(WRITE "${CURRENT_PACKAGES_DIR}/share/${PORT}/copyright" "${copyright}")
endfunction()

include("${PORT_FOLDER}/portfile.cmake")

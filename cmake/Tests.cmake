# What hangs is ended after this many seconds. On a quick machine that does nothing else no entry takes a sixth of it.
set(kx_test_timeout 900)

# The headers that nearly every test includes are compiled once. A test includes what it uses all the same.
# The approved texts are named from the build tree's root, where every test runs: a compiler cache then serves all
# checkouts.
file(RELATIVE_PATH kx_golden_dir "${PROJECT_BINARY_DIR}" "${PROJECT_SOURCE_DIR}/tests/golden")
set(kx_test_definitions "KX_GOLDEN_DIR=\"${kx_golden_dir}\""
                        "$<$<BOOL:${WIN32}>:_WIN32_WINNT=0x0601;WIN32_LEAN_AND_MEAN;NOMINMAX>")
# The tests themselves need no speed, and are compiled a third faster so. What they test keeps its flags.
# GCC collects its garbage less often: a quarter less time for a tenth more memory.
set(kx_test_options -O0 "$<$<CXX_COMPILER_ID:GNU>:SHELL:--param ggc-min-expand=1000 --param ggc-min-heapsize=2000000>")
file(CONFIGURE OUTPUT test_headers.cpp CONTENT "")
add_library(kx_test_headers OBJECT "${CMAKE_CURRENT_BINARY_DIR}/test_headers.cpp")
target_link_libraries(kx_test_headers PRIVATE kx_gtest kx_warnings)
target_compile_definitions(kx_test_headers PRIVATE ${kx_test_definitions})
target_compile_options(kx_test_headers PRIVATE ${kx_test_options})
target_precompile_headers(kx_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h> <filesystem> <functional> <optional>
                          <string> <thread> <vector>)

# lld links a test program in a thirtieth of the time. What ships is linked by the compiler's own linker.
include(CheckLinkerFlag)
set(kx_test_link_options "$<IF:$<CXX_COMPILER_ID:GNU>,-B${CMAKE_CURRENT_LIST_DIR}/lld,-fuse-ld=lld>")
check_linker_flag(CXX "${kx_test_link_options}" KXTCP64_LLD_LINKS_TESTS)
if(NOT KXTCP64_LLD_LINKS_TESTS)
  set(kx_test_link_options)
endif()

# How the sources of a test program are compiled, whoever runs it.
function(kx_compile_as_test target)
  target_compile_definitions(${target} PRIVATE ${kx_test_definitions})
  target_compile_options(${target} PRIVATE ${kx_test_options})
  target_precompile_headers(${target} REUSE_FROM kx_test_headers)
  # Several sources are compiled as one: what their headers and templates cost is paid once.
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
endfunction()

# kx_add_test_executable(NAME
#   SOURCES   file...
#   LIBRARIES target...   what is tested; GoogleTest and the warnings are always linked
#   [SHARDS n]            number of CTest entries the tests are dealt out to, 1 unless given
#   [DEPENDS target...]   built before the tests run: the DLL, the simulator
#   [MAIN]                the sources hold a main() of their own
#   [ENVIRONMENT NAME=value...])
#
# Every entry leaves an XML file in the build tree's test-results folder; `./dev test` adds them up. Programs run in
# the build tree's root and find the DLL and the simulator in their own folder; KX_GOLDEN_DIR is the folder of the
# approved texts.
function(kx_add_test_executable name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "MAIN" "SHARDS" "SOURCES;LIBRARIES;DEPENDS;ENVIRONMENT")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "kx_add_test_executable(${name}): what is ${arg_UNPARSED_ARGUMENTS}?")
  endif()
  if(NOT arg_SOURCES)
    message(FATAL_ERROR "kx_add_test_executable(${name}): there are no SOURCES")
  endif()
  if(NOT arg_SHARDS)
    set(arg_SHARDS 1)
  endif()

  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} kx_warnings)
  target_link_options(${name} PRIVATE ${kx_test_link_options})
  kx_compile_as_test(${name})
  if(arg_MAIN)
    target_link_libraries(${name} PRIVATE kx_gtest)
  else()
    target_link_libraries(${name} PRIVATE kx_gtest_main)
  endif()
  if(arg_DEPENDS)
    add_dependencies(${name} ${arg_DEPENDS})
  endif()

  # A host that loads the DLL can be told to load another one.
  set(labels gtest)
  if("KXTCP64" IN_LIST arg_DEPENDS)
    list(APPEND labels dll)
  endif()

  math(EXPR last "${arg_SHARDS} - 1")
  foreach(index RANGE ${last})
    set(entry "${name}.${index}")
    # The path stays relative: a Windows program does not take "/..." for an absolute one.
    add_test(
      NAME ${entry}
      COMMAND ${name} --gtest_output=xml:test-results/${entry}.xml
      WORKING_DIRECTORY "${PROJECT_BINARY_DIR}")
    set_tests_properties(
      ${entry} PROPERTIES TIMEOUT ${kx_test_timeout}
                          LABELS "${labels}"
                          ENVIRONMENT "GTEST_TOTAL_SHARDS=${arg_SHARDS};GTEST_SHARD_INDEX=${index};${arg_ENVIRONMENT}")
  endforeach()
endfunction()

# kx_add_command_test(NAME
#   COMMAND word...
#   [NEEDS need...]             programs, and files of the source folder (with a slash) that `./dev setup --browsers` fetches;
#                               without one of them the test is left out, and that is told
#   [WORKING_DIRECTORY folder]
#   [PROPERTIES name value...]  as of set_tests_properties)
function(kx_add_command_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "WORKING_DIRECTORY" "COMMAND;NEEDS;PROPERTIES")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "kx_add_command_test(${name}): what is ${arg_UNPARSED_ARGUMENTS}?")
  endif()
  if(NOT arg_WORKING_DIRECTORY)
    set(arg_WORKING_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}")
  endif()
  add_test(NAME ${name} COMMAND ${arg_COMMAND} WORKING_DIRECTORY "${arg_WORKING_DIRECTORY}")
  set_tests_properties(${name} PROPERTIES TIMEOUT ${kx_test_timeout} ${arg_PROPERTIES})
  foreach(need IN LISTS arg_NEEDS)
    if(need MATCHES "/")
      set(found "${PROJECT_SOURCE_DIR}/${need}")
    else()
      find_program(KXTCP64_TOOL_${need} ${need})
      mark_as_advanced(KXTCP64_TOOL_${need})
      set(found "${KXTCP64_TOOL_${need}}")
    endif()
    if(NOT EXISTS "${found}")
      set_tests_properties(${name} PROPERTIES DISABLED TRUE)
    endif()
  endforeach()
endfunction()

# What the tests and the simulator use of the system's packages. The library itself uses nothing of it.

# GoogleTest comes as source, because it has to be built by the compiler that builds the tests.
set(KXTCP64_GOOGLETEST_SOURCE "/usr/src/googletest" CACHE PATH "Source of GoogleTest, with googletest/ and googlemock/")
if(NOT EXISTS "${KXTCP64_GOOGLETEST_SOURCE}/googletest/src/gtest-all.cc")
  message(FATAL_ERROR "GoogleTest's source is not in ${KXTCP64_GOOGLETEST_SOURCE}: run ./dev setup, "
                      "or install the package googletest, or set KXTCP64_GOOGLETEST_SOURCE")
endif()

add_library(kx_gtest STATIC "${KXTCP64_GOOGLETEST_SOURCE}/googletest/src/gtest-all.cc"
                            "${KXTCP64_GOOGLETEST_SOURCE}/googlemock/src/gmock-all.cc")
target_include_directories(
  kx_gtest SYSTEM
  PUBLIC "${KXTCP64_GOOGLETEST_SOURCE}/googletest/include" "${KXTCP64_GOOGLETEST_SOURCE}/googlemock/include"
  PRIVATE "${KXTCP64_GOOGLETEST_SOURCE}/googletest" "${KXTCP64_GOOGLETEST_SOURCE}/googlemock")
target_compile_features(kx_gtest PUBLIC cxx_std_20)
target_compile_options(kx_gtest PRIVATE -O0)
if(NOT WIN32)
  find_package(Threads REQUIRED)
  target_link_libraries(kx_gtest PUBLIC Threads::Threads)
endif()

add_library(kx_gtest_main STATIC "${KXTCP64_GOOGLETEST_SOURCE}/googlemock/src/gmock_main.cc")
target_link_libraries(kx_gtest_main PUBLIC kx_gtest)

# Only this library's own folder goes on the include path. The build machine's whole include folder would bring
# its native headers into the cross build.
find_path(KXTCP64_NLOHMANN_INCLUDE nlohmann/json.hpp PATHS /usr/include /usr/local/include NO_CMAKE_FIND_ROOT_PATH)
if(NOT KXTCP64_NLOHMANN_INCLUDE)
  message(FATAL_ERROR "nlohmann/json.hpp is not installed: run ./dev setup, or install the package nlohmann-json3-dev")
endif()
set(kx_third_party_include "${PROJECT_BINARY_DIR}/third_party_include")
file(MAKE_DIRECTORY "${kx_third_party_include}")
file(CREATE_LINK "${KXTCP64_NLOHMANN_INCLUDE}/nlohmann" "${kx_third_party_include}/nlohmann" SYMBOLIC)

add_library(kx_nlohmann_json INTERFACE)
target_include_directories(kx_nlohmann_json SYSTEM INTERFACE "${kx_third_party_include}")

# The command line of kx.exe.
find_path(KXTCP64_CLI11_INCLUDE CLI/CLI.hpp PATHS /usr/include /usr/local/include NO_CMAKE_FIND_ROOT_PATH)
if(NOT KXTCP64_CLI11_INCLUDE)
  message(FATAL_ERROR "CLI/CLI.hpp is not installed: run ./dev setup, or install the package libcli11-dev")
endif()
file(CREATE_LINK "${KXTCP64_CLI11_INCLUDE}/CLI" "${kx_third_party_include}/CLI" SYMBOLIC)

add_library(kx_cli11 INTERFACE)
target_include_directories(kx_cli11 SYSTEM INTERFACE "${kx_third_party_include}")

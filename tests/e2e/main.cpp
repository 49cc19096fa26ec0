// main() of the tests with real browsers. The run script has named the site and the run's own folder; without
// them there is nothing to test. Users and their folders are each test's own, inside the run's folder.
#include "e2e/real_processes.h"
#include "e2e/site.h"
#include "support/environment.h"
#include "support/win32/host_process.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>

namespace {

// The run's folder as Windows programs name it.
std::string windowsFolder() {
  std::string folder = "Z:" + runFolder();
  for (char& c : folder) {
    c = c == '/' ? '\\' : c;
  }
  return folder;
}

int runTests() {
  site::address();
  const std::string temp = windowsFolder() + "\\windows";
  std::filesystem::create_directories(wide(temp));
  const EnvironmentVariable tempVariable("TEMP", temp);
  return RUN_ALL_TESTS();
}

}  // namespace

int main(int argc, char** argv) {
  if (const std::optional<int> exitCode = runAsHost()) {
    return *exitCode;
  }
  // A host that was started wrongly must not become a second run of all tests.
  if (const std::optional<int> exitCode = runAsHelper()) {
    return *exitCode;
  }
  ::testing::InitGoogleTest(&argc, argv);
  try {
    return ::testing::GTEST_FLAG(list_tests) ? RUN_ALL_TESTS() : runTests();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kx_e2e_tests: %s\n", error.what());
    return 1;
  }
}

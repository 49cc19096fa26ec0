// Many plays and exits, one after the other: what they cost must not stay. KX_E2E_REPEAT says how many; a
// few, unless it is given.
#include "e2e/real_browser.h"
#include "e2e/real_processes.h"
#include "support/win32/next_handle.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <tlhelp32.h>

namespace {

class LongRun : public RealBrowser {};
KX_ON_BOTH_BROWSERS(LongRun);

constexpr char kFewRounds[] = "3";

struct Figures {
  std::size_t realProcesses = 0;
  std::size_t windowsProcesses = 0;
  std::size_t temporaryFiles = 0;
};

std::size_t countWindowsProcesses() {
  const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  std::size_t count = 0;
  for (BOOL more = ::Process32FirstW(snapshot, &entry); more != FALSE;
       more = ::Process32NextW(snapshot, &entry)) {
    ++count;
  }
  ::CloseHandle(snapshot);
  return count;
}

std::size_t countFiles(const std::string& folder) {
  const std::filesystem::recursive_directory_iterator files(wide(folder));
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

// Of the real browsers, on the side where they run.
std::string realTemporaryFolder() {
  return "Z:" + runFolder() + "/real";
}

Figures figuresOf(const BrowserUser& user) {
  Figures figures;
  figures.realProcesses = leftoversOfRun().size();
  figures.windowsProcesses = countWindowsProcesses();
  figures.temporaryFiles = countFiles(user.user().temp()) + countFiles(realTemporaryFolder());
  return figures;
}

TEST_P(LongRun, PlaysAndExitsLeaveEverythingAsItWas) {
  const int rounds = std::stoi(EnvironmentVariable::valueOf("KX_E2E_REPEAT").value_or(kFewRounds));
  const Profile profile = user_.makeProfile(kind());
  // What is made once, such as the start page, is made here.
  expectThatItStartsAgain(profile);
  const Figures before = figuresOf(user_);
  const auto began = std::chrono::steady_clock::now();
  std::size_t roundsThatKeptAHandle = 0;

  for (int round = 1; round <= rounds && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    const std::uintptr_t handle = nextHandleValue();
    expectThatItStartsAgain(profile);
    // Which way the library went when a handle stayed. What the test itself opens between two rounds is its
    // own.
    if (nextHandleValue() > handle) {
      ++roundsThatKeptAHandle;
      std::printf("round %d: next handle %#zx -> %#zx\n%s\n", round, static_cast<std::size_t>(handle),
                  static_cast<std::size_t>(nextHandleValue()), log_.text().c_str());
    }
    log_.clear();
  }

  const std::chrono::duration<double> whole = std::chrono::steady_clock::now() - began;
  const Figures after = figuresOf(user_);
  EXPECT_LE(after.realProcesses, before.realProcesses);
  EXPECT_LE(after.windowsProcesses, before.windowsProcesses);
  EXPECT_LE(after.temporaryFiles, before.temporaryFiles);
  EXPECT_EQ(roundsThatKeptAHandle, 0U);
  std::printf("%s, %d rounds in %.0f s: ", isFirefox(kind()) ? "Firefox" : "Chromium", rounds, whole.count());
  std::printf("real processes %zu -> %zu, Windows processes %zu -> %zu, temporary files %zu -> %zu, ",
              before.realProcesses, after.realProcesses, before.windowsProcesses, after.windowsProcesses,
              before.temporaryFiles, after.temporaryFiles);
  std::printf("rounds that kept a handle %zu\n", roundsThatKeptAHandle);
}

}  // namespace

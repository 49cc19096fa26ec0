// What the portable code needs from Windows.
#include "common/platform.h"

#include "common/last_error.h"
#include "support/environment.h"
#include "support/win32/debugger_lines.h"
#include "support/win32/temp_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

namespace kx {

using testing::ElementsAre;

namespace {

class PlatformVariable : public testing::Test {
 protected:
  EnvironmentVariable variable{"KX_TEST_VARIABLE"};

  static std::optional<std::string> value() { return platform::environmentVariable("KX_TEST_VARIABLE"); }
};

TEST_F(PlatformVariable, AVariableIsReadAsUtf8WhateverItsLengthWithoutTouchingTheLastError) {
  const auto expectValue = [](const std::optional<std::string>& expected) {
    ::SetLastError(4711);
    EXPECT_EQ(value(), expected);
    EXPECT_EQ(::GetLastError(), 4711U);
  };
  variable.remove();
  expectValue(std::nullopt);
  variable.set("grün 日本 😀");
  expectValue("grün 日本 😀");
  // Values up to 255 characters fit the first buffer.
  for (const std::size_t length : {1U, 254U, 255U, 256U, 257U, 5000U, 32000U}) {
    const std::string text = std::string(length - 1, 'x') + "y";
    variable.set(text);
    expectValue(text);
  }
  ::_putenv("KX_TEST_VARIABLE=run-time");
  expectValue("run-time");
}

TEST_F(PlatformVariable, AVariableThatIsEmptyHasAnEmptyValue) {
  ASSERT_TRUE(::SetEnvironmentVariableW(L"KX_TEST_VARIABLE", L""));
  ::SetLastError(ERROR_ENVVAR_NOT_FOUND);
  EXPECT_EQ(value(), "");
}

TEST_F(PlatformVariable, AVariableThatAnotherThreadChangesMeanwhileHasOneOfItsValues) {
  const std::string longValue(300, 'l');
  const std::string longerValue(3000, 'r');
  variable.set(longValue);
  std::atomic<bool> hasRead = false;
  std::thread other([&] {
    while (!hasRead) {
      variable.set(longerValue);
      variable.remove();
      variable.set(longValue);
    }
  });
  bool isOneOfThem = true;
  for (int i = 0; isOneOfThem && i < 20000; ++i) {
    const std::optional<std::string> read = value();
    isOneOfThem = !read || *read == longValue || *read == longerValue;
  }
  hasRead = true;
  other.join();
  EXPECT_TRUE(isOneOfThem);
}

TEST_F(PlatformVariable, AVariableIsLookedForWithoutALookBehindItsName) {
  SYSTEM_INFO system{};
  ::GetSystemInfo(&system);
  const std::size_t page = system.dwPageSize;
  auto* const pages = static_cast<char*>(::VirtualAlloc(nullptr, 2 * page, MEM_RESERVE, PAGE_NOACCESS));
  ASSERT_NE(::VirtualAlloc(pages, page, MEM_COMMIT, PAGE_READWRITE), nullptr);
  const std::string name = "KX_TEST_VARIABLE";
  char* const atTheEnd = pages + page - name.size() - 1;
  std::copy_n(name.c_str(), name.size() + 1, atTheEnd);
  variable.set("found");

  EXPECT_EQ(platform::environmentVariable(atTheEnd), "found");

  ::VirtualFree(pages, 0, MEM_RELEASE);
}

TEST(Platform, KnowsTheIdsOfProcessAndThread) {
  EXPECT_EQ(platform::currentProcessId(), ::GetCurrentProcessId());
  EXPECT_EQ(platform::currentThreadId(), ::GetCurrentThreadId());
}

TEST(Platform, ReadsAndSetsTheLastError) {
  ::SetLastError(17);
  EXPECT_EQ(platform::lastErrorNumber(), 17U);
  EXPECT_EQ(lastErrorForLog(), 17);
  platform::setLastErrorNumber(4294967295U);
  EXPECT_EQ(::GetLastError(), 4294967295U);
  EXPECT_EQ(lastErrorForLog(), -1);
}

TEST(Platform, WritesDebuggerLinesAsTheyAre) {
  const DebuggerLines debugger;
  platform::writeDebuggerLine("one %s line");
  EXPECT_THAT(debugger.lines(), ElementsAre("one %s line"));
}

TEST(Platform, OpensAFileByItsUtf8PathOrTellsWhyItCannot) {
  const TempFolder folder;
  const std::string path = folder.path("grün 日本.txt");
  std::FILE* file = platform::openFile(path, "wb");
  ASSERT_NE(file, nullptr);
  std::fputs("text\n", file);
  std::fclose(file);
  EXPECT_EQ(fileBytes(path), "text\n");

  EXPECT_EQ(platform::openFile(folder.path("missing.txt"), "r"), nullptr);
  EXPECT_EQ(platform::lastErrorNumber(), 2U);
  EXPECT_EQ(platform::openFile(folder.path("missing\\file.txt"), "w"), nullptr);
  EXPECT_EQ(platform::lastErrorNumber(), 3U);
}

}  // namespace

}  // namespace kx

// Owners of what Windows hands out.
#include "common/win32/unique_handle.h"

#include "support/win32/temp_folder.h"
#include "support/win32/text.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <utility>

namespace kx {

namespace {

HANDLE newEvent() {
  return ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

bool isOpen(HANDLE handle) {
  DWORD flags = 0;
  return ::GetHandleInformation(handle, &flags) != FALSE;
}

TEST(UniqueHandleTest, AnOwnerIsEmptyForBothValuesThatAreNoHandle) {
  EXPECT_FALSE(UniqueHandle());
  EXPECT_FALSE(UniqueHandle(nullptr));
  EXPECT_FALSE(UniqueHandle(INVALID_HANDLE_VALUE));
  EXPECT_TRUE(UniqueHandle(newEvent()));
}

TEST(UniqueHandleTest, AnOwnerClosesItsHandleAtTheEndAndKeepsTheLastError) {
  const HANDLE event = newEvent();
  {
    const UniqueHandle owner(event);
    EXPECT_EQ(owner.get(), event);
    EXPECT_TRUE(isOpen(event));
    ::SetLastError(4711);
  }
  EXPECT_EQ(::GetLastError(), 4711U);
  EXPECT_FALSE(isOpen(event));
}

TEST(UniqueHandleTest, AnOwnerKeepsTheLastErrorAlsoWhenItsHandleCannotBeClosed) {
  const HANDLE event = newEvent();
  ASSERT_TRUE(::CloseHandle(event));
  {
    const UniqueHandle owner(event);
    ::SetLastError(4711);
  }
  EXPECT_EQ(::GetLastError(), 4711U);
}

TEST(UniqueHandleTest, AnOwnerThatIsMovedFromClosesNothing) {
  const HANDLE event = newEvent();
  UniqueHandle target;
  {
    UniqueHandle source(event);
    UniqueHandle between(std::move(source));
    target = std::move(between);
  }
  EXPECT_EQ(target.get(), event);
  EXPECT_TRUE(isOpen(event));
}

TEST(UniqueHandleTest, AnOwnerThatReceivesAnotherHandleClosesItsOwn) {
  const HANDLE first = newEvent();
  const HANDLE second = newEvent();
  UniqueHandle owner(first);
  owner.reset(first);
  EXPECT_TRUE(isOpen(first));
  owner = UniqueHandle(second);
  EXPECT_FALSE(isOpen(first));
  EXPECT_TRUE(isOpen(second));
  owner.reset();
  EXPECT_FALSE(isOpen(second));
  EXPECT_FALSE(owner);
}

TEST(UniqueHandleTest, AnOwnerGivesItsHandleAway) {
  const HANDLE event = newEvent();
  {
    UniqueHandle owner(event);
    EXPECT_EQ(owner.release(), event);
    EXPECT_FALSE(owner);
  }
  EXPECT_TRUE(isOpen(event));
  ::CloseHandle(event);
}

TEST(UniqueFindHandleTest, OwnsASearch) {
  const TempFolder folder;
  WIN32_FIND_DATAW data{};
  EXPECT_FALSE(UniqueFindHandle());
  EXPECT_FALSE(UniqueFindHandle(::FindFirstFileW(wide(folder.path("missing")).c_str(), &data)));
  const UniqueFindHandle search(::FindFirstFileW(wide(folder.path()).c_str(), &data));
  EXPECT_TRUE(search);
}

TEST(LocalMemoryTest, FreesItsMemoryAtTheEnd) {
  void* memory = ::LocalAlloc(LPTR, 40);
  {
    const LocalMemory owner(memory);
    EXPECT_TRUE(owner);
    EXPECT_TRUE(::HeapValidate(::GetProcessHeap(), 0, memory));
  }
  EXPECT_FALSE(::HeapValidate(::GetProcessHeap(), 0, memory));
  EXPECT_FALSE(LocalMemory());
}

}  // namespace

}  // namespace kx

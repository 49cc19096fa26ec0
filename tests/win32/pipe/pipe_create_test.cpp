// pipe_create(): the arguments of its Windows calls, the pipe that comes of them, and each way to fail.
#include "support/win32/debugger_lines.h"
#include "win32/pipe/pipe_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace kx {

namespace {

bool isServed(const std::string& name) {
  return ::WaitNamedPipeW(wide(name).c_str(), 1) != FALSE;
}

TEST(PipeCreate, ACreateAsksForAnOverlappedByteStreamInBothDirectionsWithAnyNumberOfInstances) {
  const std::string name = uniquePipeName();
  const DebuggerLines debugger;
  const LogFile log;
  const WatchedCall<&WindowsCalls::createNamedPipe> create(
      [&](LPCWSTR wideName, DWORD openMode, DWORD pipeMode, DWORD instances, DWORD outputBytes,
          DWORD inputBytes, DWORD milliseconds, SECURITY_ATTRIBUTES*) {
        EXPECT_EQ(narrow(wideName), name);
        EXPECT_EQ(openMode, 0x40000003U);
        EXPECT_EQ(pipeMode, 0U);
        EXPECT_EQ(instances, 255U);
        EXPECT_EQ(outputBytes, 512U);
        EXPECT_EQ(inputBytes, 512U);
        EXPECT_EQ(milliseconds, 0U);
      });
  const UniquePipe pipe(pipe_create(name.c_str()));
  EXPECT_NE(pipe, nullptr);
  EXPECT_EQ(create.count(), 1);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST(PipeCreate, ACreateLetsEveryAccountOpenThePipeByANullAccessListThatIsPresentAndNotDefaulted) {
  const WatchedCall<&WindowsCalls::setSecurityDescriptorDacl> set(
      [](PSECURITY_DESCRIPTOR descriptor, BOOL isPresent, ACL* accessList, BOOL isDefaulted) {
        EXPECT_EQ(isPresent, TRUE);
        EXPECT_EQ(accessList, nullptr);
        EXPECT_EQ(isDefaulted, FALSE);
        DWORD revision = 0;
        SECURITY_DESCRIPTOR_CONTROL control = 0;
        EXPECT_TRUE(::GetSecurityDescriptorControl(descriptor, &control, &revision));
        EXPECT_EQ(revision, 1U);
      });
  const WatchedCall<&WindowsCalls::createNamedPipe> create(
      [](LPCWSTR, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, SECURITY_ATTRIBUTES* security) {
        EXPECT_EQ(security->nLength, sizeof(SECURITY_ATTRIBUTES));
        EXPECT_EQ(security->bInheritHandle, FALSE);
        BOOL isPresent = FALSE;
        BOOL isDefaulted = TRUE;
        ACL anything{};
        ACL* accessList = &anything;
        EXPECT_TRUE(::GetSecurityDescriptorDacl(security->lpSecurityDescriptor, &isPresent, &accessList,
                                                &isDefaulted));
        EXPECT_EQ(isPresent, TRUE);
        EXPECT_EQ(accessList, nullptr);
        EXPECT_EQ(isDefaulted, FALSE);
      });
  const UniquePipe pipe(pipe_create(uniquePipeName().c_str()));
  EXPECT_NE(pipe, nullptr);
  EXPECT_EQ(set.count(), 1);
  EXPECT_EQ(create.count(), 1);
}

TEST(PipeCreate, ACreateMakesTheCancelEventFirstWhichResetsItselfAndThenTheOtherWhichIsSignalled) {
  std::vector<std::pair<BOOL, BOOL>> asked;
  const WatchedCall<&WindowsCalls::createEvent> create(
      [&](SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState, LPCSTR name) {
        asked.emplace_back(manualReset, initialState);
        EXPECT_EQ(security, nullptr);
        EXPECT_EQ(name, nullptr);
      });
  const UniquePipe pipe(pipe_create(uniquePipeName().c_str()));
  EXPECT_THAT(asked, ElementsAre(Pair(FALSE, FALSE), Pair(TRUE, TRUE)));
}

TEST(PipeCreate, ACreateTakesANameOutsideAsciiAsUtf8) {
  const std::string name = uniquePipeName() + "-grün-日本";
  const UniquePipe pipe(pipe_create(name.c_str()));
  EXPECT_TRUE(RawPipe::client(name));
}

TEST(PipeCreate, ACreateMayGiveSeveralPipesOneName) {
  const std::string name = uniquePipeName();
  const UniquePipe one(pipe_create(name.c_str()));
  const UniquePipe two(pipe_create(name.c_str()));
  const RawPipe first = RawPipe::client(name);
  const RawPipe second = RawPipe::client(name);
  EXPECT_TRUE(first && second);
  EXPECT_EQ(pipe_accept(one.get(), 5), 0);
  EXPECT_EQ(pipe_accept(two.get(), 5), 0);
}

TEST(PipeCreate, ACreateWithoutSecurityAttributesFailsAndFreesTheirDescriptor) {
  const LogFile log;
  const std::string name = uniquePipeName();
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const SubstitutedCall<&WindowsCalls::setSecurityDescriptorDacl> set(
      [&](PSECURITY_DESCRIPTOR given, BOOL, ACL*, BOOL) {
        descriptor = given;
        EXPECT_TRUE(::HeapValidate(::GetProcessHeap(), 0, given));
        return failWith(ERROR_INVALID_SECURITY_DESCR, FALSE);
      });
  EXPECT_EQ(pipe_create(name.c_str()), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_SECURITY_DESCR});
  EXPECT_EQ(log.text(), errorEntry("Can not build security attibutes, error 1338"));
  EXPECT_FALSE(isServed(name));
  ASSERT_NE(descriptor, nullptr);
  EXPECT_FALSE(::HeapValidate(::GetProcessHeap(), 0, descriptor));
}

TEST(PipeCreate, ACreateThatFailsIsLoggedWithNameAndError) {
  const LogFile log;
  const GivingCall<&WindowsCalls::createNamedPipe> create(INVALID_HANDLE_VALUE, ERROR_ACCESS_DENIED);
  EXPECT_EQ(pipe_create("\\\\.\\pipe\\kx-grün"), nullptr);
  EXPECT_EQ(::GetLastError(), 5U);
  EXPECT_EQ(log.text(), errorEntry("Could not create pipe \\\\.\\pipe\\kx-grün, error = 5"));
}

TEST(PipeCreate, ACreateOfANameThatIsNoPipePathFails) {
  const LogFile log;
  EXPECT_EQ(pipe_create("no pipe"), nullptr);
  const DWORD error = ::GetLastError();
  EXPECT_NE(error, 0U);
  EXPECT_EQ(log.text(), errorEntry("Could not create pipe no pipe, error = " + std::to_string(error)));
}

TEST(PipeCreate, ACreateWithoutOneOfItsEventsIsGivenUp) {
  for (const int failing : {1, 2}) {
    const LogFile log;
    const std::string name = uniquePipeName();
    const FailingEvent events(failing);
    EXPECT_EQ(pipe_create(name.c_str()), nullptr);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_TOO_MANY_OPEN_FILES});
    EXPECT_EQ(events.count(), failing);
    EXPECT_EQ(log.text(), errorEntry("Could not create pipe " + name + ", error = (4)"));
    EXPECT_FALSE(isServed(name));
  }
}

}  // namespace

}  // namespace kx

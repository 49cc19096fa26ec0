// pipe_create(): the arguments of its Windows calls, the pipe that comes of them, and each way to fail.
#include "support/win32/debugger_lines.h"
#include "win32/pipe/pipe_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <vector>

namespace kx {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct EventArguments {
  BOOL manualReset;
  BOOL initialState;
  bool operator==(const EventArguments&) const = default;
};

// Records what events are asked for; the given one, counted from 1, cannot be made.
class RecordedEvents {
 public:
  explicit RecordedEvents(std::size_t failing = 0)
      : create_(
            [this, failing](SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState, LPCSTR name) {
              asked.push_back({manualReset, initialState});
              hasName |= name != nullptr || security != nullptr;
              return asked.size() == failing ? failWith(ERROR_TOO_MANY_OPEN_FILES, HANDLE{})
                                             : create_.real(security, manualReset, initialState, name);
            }) {}

  std::vector<EventArguments> asked;
  bool hasName = false;

 private:
  SubstitutedCall<&WindowsCalls::createEvent> create_;
};

bool isServed(const std::string& name) {
  return ::WaitNamedPipeW(wide(name).c_str(), 1) != FALSE;
}

TEST(PipeCreate, AsksForAnOverlappedByteStreamInBothDirectionsWithAnyNumberOfInstances) {
  const std::string name = uniquePipeName();
  int calls = 0;
  SubstitutedCall<&WindowsCalls::createNamedPipe> create(
      [&](LPCWSTR wideName, DWORD openMode, DWORD pipeMode, DWORD instances, DWORD outputBytes,
          DWORD inputBytes, DWORD milliseconds, SECURITY_ATTRIBUTES* security) {
        ++calls;
        EXPECT_EQ(narrow(wideName), name);
        EXPECT_EQ(openMode, 0x40000003U);
        EXPECT_EQ(pipeMode, 0U);
        EXPECT_EQ(instances, 255U);
        EXPECT_EQ(outputBytes, 512U);
        EXPECT_EQ(inputBytes, 512U);
        EXPECT_EQ(milliseconds, 0U);
        return create.real(wideName, openMode, pipeMode, instances, outputBytes, inputBytes, milliseconds,
                           security);
      });
  const UniquePipe pipe(pipe_create(name.c_str()));
  EXPECT_NE(pipe, nullptr);
  EXPECT_EQ(calls, 1);
}

TEST(PipeCreate, EveryAccountMayOpenThePipe) {
  int calls = 0;
  SubstitutedCall<&WindowsCalls::createNamedPipe> create([&](LPCWSTR name, DWORD openMode, DWORD pipeMode,
                                                             DWORD instances, DWORD outputBytes,
                                                             DWORD inputBytes, DWORD milliseconds,
                                                             SECURITY_ATTRIBUTES* security) {
    ++calls;
    EXPECT_EQ(security->nLength, sizeof(SECURITY_ATTRIBUTES));
    EXPECT_EQ(security->bInheritHandle, FALSE);
    EXPECT_TRUE(::IsValidSecurityDescriptor(security->lpSecurityDescriptor));
    BOOL isPresent = FALSE;
    BOOL isDefaulted = TRUE;
    ACL anything{};
    ACL* accessList = &anything;
    EXPECT_TRUE(
        ::GetSecurityDescriptorDacl(security->lpSecurityDescriptor, &isPresent, &accessList, &isDefaulted));
    EXPECT_EQ(isPresent, TRUE);
    EXPECT_EQ(accessList, nullptr);
    EXPECT_EQ(isDefaulted, FALSE);
    return create.real(name, openMode, pipeMode, instances, outputBytes, inputBytes, milliseconds, security);
  });
  const UniquePipe pipe(pipe_create(uniquePipeName().c_str()));
  EXPECT_NE(pipe, nullptr);
  EXPECT_EQ(calls, 1);
}

TEST(PipeCreate, GivesANullAccessListThatIsPresentAndNotDefaulted) {
  int calls = 0;
  SubstitutedCall<&WindowsCalls::setSecurityDescriptorDacl> set(
      [&](PSECURITY_DESCRIPTOR descriptor, BOOL isPresent, ACL* accessList, BOOL isDefaulted) {
        ++calls;
        EXPECT_EQ(isPresent, TRUE);
        EXPECT_EQ(accessList, nullptr);
        EXPECT_EQ(isDefaulted, FALSE);
        DWORD revision = 0;
        SECURITY_DESCRIPTOR_CONTROL control = 0;
        EXPECT_TRUE(::GetSecurityDescriptorControl(descriptor, &control, &revision));
        EXPECT_EQ(revision, 1U);
        return set.real(descriptor, isPresent, accessList, isDefaulted);
      });
  const UniquePipe pipe(pipe_create(uniquePipeName().c_str()));
  EXPECT_EQ(calls, 1);
}

TEST(PipeCreate, TheCancelEventIsMadeFirstAndResetsItselfTheOtherIsSignalledAndDoesNot) {
  const RecordedEvents events;
  const UniquePipe pipe(pipe_create(uniquePipeName().c_str()));
  EXPECT_THAT(events.asked, ElementsAre(EventArguments{FALSE, FALSE}, EventArguments{TRUE, TRUE}));
  EXPECT_FALSE(events.hasName);
}

TEST(PipeCreate, LogsNothingWhenAllGoesWell) {
  const LogFile log;
  const DebuggerLines debugger;
  const UniquePipe pipe(pipe_create(uniquePipeName().c_str()));
  EXPECT_NE(pipe, nullptr);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST(PipeCreate, ANameOutsideAsciiIsUtf8) {
  const std::string name = uniquePipeName() + "-grün-日本";
  const UniquePipe pipe(pipe_create(name.c_str()));
  const RawPipe client = RawPipe::client(name);
  EXPECT_TRUE(client);
}

TEST(PipeCreate, SeveralPipesMayHaveOneName) {
  const std::string name = uniquePipeName();
  const UniquePipe one(pipe_create(name.c_str()));
  const UniquePipe two(pipe_create(name.c_str()));
  const RawPipe first = RawPipe::client(name);
  const RawPipe second = RawPipe::client(name);
  EXPECT_TRUE(first && second);
  EXPECT_EQ(pipe_accept(one.get(), 5), 0);
  EXPECT_EQ(pipe_accept(two.get(), 5), 0);
}

TEST(PipeCreate, ANullNameIsABadArgumentAndIsNotLogged) {
  const LogFile log;
  const DebuggerLines debugger;
  ::SetLastError(0);
  EXPECT_EQ(pipe_create(nullptr), nullptr);
  EXPECT_EQ(::GetLastError(), 160U);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST(PipeCreate, WithoutSecurityAttributesThereIsNoPipe) {
  const LogFile log;
  const std::string name = uniquePipeName();
  const SubstitutedCall<&WindowsCalls::setSecurityDescriptorDacl> set(
      [](PSECURITY_DESCRIPTOR, BOOL, ACL*, BOOL) { return failWith(ERROR_INVALID_SECURITY_DESCR, FALSE); });
  EXPECT_EQ(pipe_create(name.c_str()), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_SECURITY_DESCR});
  EXPECT_EQ(log.text(), ExpectedLog().error("Can not build security attibutes, error 1338").text());
  EXPECT_FALSE(isServed(name));
}

TEST(PipeCreate, ADescriptorWithoutItsAccessListIsFreed) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const SubstitutedCall<&WindowsCalls::setSecurityDescriptorDacl> set(
      [&](PSECURITY_DESCRIPTOR given, BOOL, ACL*, BOOL) {
        descriptor = given;
        EXPECT_TRUE(::HeapValidate(::GetProcessHeap(), 0, given));
        return failWith(ERROR_ACCESS_DENIED, FALSE);
      });
  EXPECT_EQ(pipe_create(uniquePipeName().c_str()), nullptr);
  ASSERT_NE(descriptor, nullptr);
  EXPECT_FALSE(::HeapValidate(::GetProcessHeap(), 0, descriptor));
}

TEST(PipeCreate, AFailedCallIsLoggedWithNameAndError) {
  const LogFile log;
  const SubstitutedCall<&WindowsCalls::createNamedPipe> create(
      [](LPCWSTR, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, SECURITY_ATTRIBUTES*) {
        return failWith(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
      });
  EXPECT_EQ(pipe_create("\\\\.\\pipe\\kx-grün"), nullptr);
  EXPECT_EQ(::GetLastError(), 5U);
  EXPECT_EQ(log.text(), ExpectedLog().error("Could not create pipe \\\\.\\pipe\\kx-grün, error = 5").text());
}

TEST(PipeCreate, ANameThatIsNoPipePathFails) {
  const LogFile log;
  EXPECT_EQ(pipe_create("no pipe"), nullptr);
  const std::string error = std::to_string(::GetLastError());
  EXPECT_NE(error, "0");
  EXPECT_EQ(log.text(), ExpectedLog().error("Could not create pipe no pipe, error = " + error).text());
}

TEST(PipeCreate, WithoutItsCancelEventThePipeIsGivenUp) {
  const LogFile log;
  const std::string name = uniquePipeName();
  const RecordedEvents events(1);
  EXPECT_EQ(pipe_create(name.c_str()), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_TOO_MANY_OPEN_FILES});
  EXPECT_EQ(events.asked.size(), 1U);
  EXPECT_EQ(log.text(), ExpectedLog().error("Could not create pipe " + name + ", error = (4)").text());
  EXPECT_FALSE(isServed(name));
}

TEST(PipeCreate, WithoutItsOtherEventThePipeIsGivenUp) {
  const LogFile log;
  const std::string name = uniquePipeName();
  const RecordedEvents events(2);
  EXPECT_EQ(pipe_create(name.c_str()), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_TOO_MANY_OPEN_FILES});
  EXPECT_EQ(events.asked.size(), 2U);
  EXPECT_EQ(log.text(), ExpectedLog().error("Could not create pipe " + name + ", error = (4)").text());
  EXPECT_FALSE(isServed(name));
}

}  // namespace

}  // namespace kx

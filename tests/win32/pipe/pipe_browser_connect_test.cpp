// The handshake with the extension: its steps in their order, its log, and its bytes.
#include "support/win32/helper_process.h"
#include "support/win32/named_mutex.h"
#include "win32/pipe/pipe_browser_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <thread>
#include <vector>

using testing::ElementsAre;

namespace kx {

namespace {

using PipeBrowserConnect = PipeBrowserTest;

TEST_F(PipeBrowserConnect, AConnectSendsTheNameOfItsOwnPipeAndALineFeedAndLogsEachStep) {
  Extension extension(serverPipe);
  browser.fail(12, "of earlier");
  EXPECT_TRUE(browser.connect(10));
  EXPECT_EQ(extension.connectionData(), communicationPipe + "\n");
  EXPECT_TRUE(extension.isConnected());
  EXPECT_EQ(log.text(), expectedHandshake().info("Client: waiting for server connection").text());
  expectError(12, "of earlier");
}

TEST_F(PipeBrowserConnect, AConnectLogsNothingWhileLoggingIsOff) {
  const EnvironmentVariable logSwitch("KORVEX_LOG", "off");
  const Extension extension(serverPipe);
  EXPECT_TRUE(browser.connect(10));
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeBrowserConnect, AConnectHoldsTheStartLockUntilTheExtensionsPipeIsOpen) {
  std::vector<MutexState> states;
  const auto look = [&](auto...) { states.push_back(stateOfMutex(lockName)); };
  const WatchedCall<&WindowsCalls::createFile> open(look);
  const WatchedCall<&WindowsCalls::createNamedPipe> create(look);
  const Extension extension(serverPipe);
  EXPECT_TRUE(browser.connect(10));
  EXPECT_THAT(states, ElementsAre(MutexState::Owned, MutexState::Absent));
}

TEST_F(PipeBrowserConnect, AConnectWaitsUntilAnotherInstanceHasOpenedTheExtensionsPipe) {
  const NamedMutex keptAlive(lockName);
  const Extension one(serverPipe);
  const Extension another(serverPipe);
  const NamedEvent firstOpens;
  const NamedEvent secondWaits;
  WatchedCall<&WindowsCalls::createFile> open([&](auto...) {
    if (open.count() == 1) {
      firstOpens.signal();
      EXPECT_TRUE(secondWaits.wait());
    }
  });
  SubstitutedCall<&WindowsCalls::waitForSingleObject> wait([&](HANDLE mutex, DWORD milliseconds) {
    const bool isSecond = wait.count() == 2;
    if (isSecond) {
      EXPECT_EQ(open.count(), 1);
      EXPECT_EQ(wait.real(mutex, 0), DWORD{WAIT_TIMEOUT});
      secondWaits.signal();
    }
    const DWORD result = wait.real(mutex, milliseconds);
    if (isSecond) {
      EXPECT_EQ(open.count(), 1);
    }
    return result;
  });
  bool secondConnected = false;
  PipeBrowserInstance second("cr", profile);
  std::thread other([&] {
    EXPECT_TRUE(firstOpens.wait());
    secondConnected = second.connect(10);
  });
  const bool firstConnected = browser.connect(10);
  other.join();
  EXPECT_TRUE(firstConnected);
  EXPECT_TRUE(secondConnected);
}

TEST_F(PipeBrowserConnect, AConnectGivesItsTimeoutToTheWriteAndToTheWaitForTheExtension) {
  const WaitsEndWith wait(WAIT_TIMEOUT);
  {
    const RawPipe silent = RawPipe::server(serverPipe);
    EXPECT_FALSE(browser.connect(7));
  }
  const RawPipe silent = RawPipe::server(serverPipe);
  const GivingCall<&WindowsCalls::writeFile> write(FALSE, ERROR_IO_PENDING);
  EXPECT_FALSE(browser.connect(-1));
  EXPECT_THAT(wait.milliseconds, ElementsAre(7000U, 600000U));
}

TEST_F(PipeBrowserConnect, AShortWriteOfTheConnectionDataCountsAsSuccess) {
  Extension extension(serverPipe, Extension::AfterName::StayAway);
  SubstitutedCall<&WindowsCalls::writeFile> write(
      [&](HANDLE handle, const void* bytes, DWORD, DWORD* count, OVERLAPPED* overlapped) {
        return write.real(handle, bytes, 3, count, overlapped);
      });
  const GivingCall<&WindowsCalls::connectNamedPipe> connect(TRUE);
  EXPECT_TRUE(browser.connect(10));
  EXPECT_EQ(write.count(), 1);
  EXPECT_EQ(extension.connectionData(), communicationPipe.substr(0, 3));
  EXPECT_EQ(log.text(), expectedHandshake().info("Client: waiting for server connection").text());
}

TEST_F(PipeBrowserConnect, ConnectsOfOneThreadUseOneNameAndThoseOfAnotherThreadAnother) {
  Extension first(serverPipe);
  EXPECT_TRUE(browser.connect(10));
  {
    Extension second(serverPipe, Extension::AfterName::StayAway);
    const GivingCall<&WindowsCalls::connectNamedPipe> connect(TRUE);
    PipeBrowserInstance other("cr", profile);
    EXPECT_TRUE(other.connect(10));
    EXPECT_EQ(second.connectionData(), communicationPipe + "\n");
  }
  Extension third(serverPipe);
  PipeBrowserInstance other("cr", profile);
  std::string expected;
  std::thread([&] {
    expected = expectedCommunicationPipe("cr", profile);
    EXPECT_TRUE(other.connect(10));
  }).join();
  EXPECT_NE(expected, communicationPipe);
  EXPECT_EQ(third.connectionData(), expected + "\n");

  Extension fourth(serverPipe);
  EXPECT_TRUE(other.connect(10));
  EXPECT_EQ(fourth.connectionData(), communicationPipe + "\n") << "though it has had another name";
}

TEST_F(PipeBrowserConnect, AConnectOfAConnectedInstanceClosesItsOldConnection) {
  Extension first(serverPipe);
  ASSERT_TRUE(browser.connect(10));
  ASSERT_TRUE(first.isConnected());
  Extension second(serverPipe);
  EXPECT_TRUE(browser.connect(10));
  EXPECT_TRUE(first.awaitGoodbye());
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  EXPECT_EQ(second.requests(), std::vector<std::string>{kTestRequest});
}

TEST_F(PipeBrowserConnect, ADestroyedInstanceClosesItsConnection) {
  Extension extension(serverPipe);
  {
    PipeBrowserInstance other("cr", profile);
    ASSERT_TRUE(other.connect(10));
    EXPECT_TRUE(extension.isConnected());
  }
  EXPECT_FALSE(extension.isConnected());
}

TEST_F(PipeBrowserConnect, AConnectWorksForNamesOutsideAscii) {
  const std::string outside = uniqueName("grün-日本");
  PipeBrowserInstance other("cr", outside);
  Extension extension("\\\\.\\pipe\\kx-cr-" + outside + "." + user.name());
  EXPECT_TRUE(other.connect(10));
  EXPECT_EQ(extension.connectionData(), expectedCommunicationPipe("cr", outside) + "\n");
}

TEST_F(PipeBrowserConnect, TheNameOfTheOwnPipeIsCutAt255CharactersBehindThePrefix) {
  const std::size_t ids = expectedCommunicationPipe("cr", "").size() - 9;
  for (const std::size_t length : {255 - ids, std::size_t{300}}) {
    const std::string longName(length, 'n');
    PipeBrowserInstance other("cr", longName);
    // The extension's pipe stands in for one whose name no system would serve.
    const RawPipe extension = RawPipe::server(serverPipe);
    SubstitutedCall<&WindowsCalls::createFile> open([&](LPCWSTR name, auto... arguments) {
      EXPECT_EQ(narrow(name), "\\\\.\\pipe\\kx-cr-" + longName + "." + user.name());
      return open.real(wide(serverPipe).c_str(), arguments...);
    });
    std::string created;
    const SubstitutedCall<&WindowsCalls::createNamedPipe> create([&](LPCWSTR name, auto...) {
      created = narrow(name);
      return failWith(ERROR_FILENAME_EXCED_RANGE, INVALID_HANDLE_VALUE);
    });
    EXPECT_FALSE(other.connect(1));
    EXPECT_EQ(created, expectedCommunicationPipe("cr", longName).substr(0, 9 + 255));
    EXPECT_EQ(created.size(), 9U + 255U);
    EXPECT_EQ(other.errorNumber(), 206);
  }
}

}  // namespace

}  // namespace kx

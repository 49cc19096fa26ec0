// Connections that fail: what the host is told, what the log says, what stays open and what does not.
#include "support/win32/helper_process.h"
#include "support/win32/named_mutex.h"
#include "win32/pipe/pipe_browser_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <vector>

namespace kx {

namespace {

class PipeBrowserFailure : public PipeBrowserTest {
 protected:
  void expectNoPipeIsLeft() const { EXPECT_FALSE(::WaitNamedPipeW(wide(communicationPipe).c_str(), 1)); }
};

TEST_F(PipeBrowserFailure, AConnectToAPipeThatNobodyServesFailsWithInformation) {
  EXPECT_FALSE(browser.connect(1));
  expectError(-1, "Could not open server pipe " + serverPipe);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info("Client: connecting to server using pipe " + serverPipe)
                            .info("Could not open pipe " + serverPipe + ", error = 2")
                            .text());
}

TEST_F(PipeBrowserFailure, AConnectToAPipeThatNobodyServesHoldsTheStartLockUntilOneSucceeds) {
  const WatchedCall<&WindowsCalls::createMutex> create(
      [&](SECURITY_ATTRIBUTES*, BOOL, LPCWSTR name) { EXPECT_EQ(narrow(name), lockName); });
  for (int attempt = 0; attempt < 2; ++attempt) {
    ASSERT_FALSE(browser.connect(1));
    EXPECT_EQ(stateOfMutex(lockName), MutexState::Owned);
    EXPECT_EQ(create.count(), 1) << "the lock is taken once";
  }
  const Extension extension(serverPipe);
  EXPECT_TRUE(browser.connect(10));
  EXPECT_EQ(stateOfMutex(lockName), MutexState::Absent);
}

TEST_F(PipeBrowserFailure, AStartLockThatIsHeldEndsWithTheInstance) {
  const NamedMutex keptAlive(lockName);
  {
    PipeBrowserInstance other("cr", profile);
    ASSERT_FALSE(other.connect(1));
    EXPECT_EQ(stateOfMutex(lockName), MutexState::Owned);
  }
  EXPECT_EQ(stateOfMutex(lockName), MutexState::Free);
}

TEST_F(PipeBrowserFailure, AllInstancesOfAFullPathShareOneStartLock) {
  PipeBrowserInstance other("fx", uniquePipeName());
  user.writeProfiles("[Profile0]\nName=dev\n");
  ASSERT_FALSE(other.connect(1));
  EXPECT_EQ(stateOfMutex("kx-fx-unknonw." + user.name() + ".lock"), MutexState::Owned);
}

TEST_F(PipeBrowserFailure, AFirefoxThatHoldsItsProfileIsToldApart) {
  const TempFolder folder("profile");
  user.writeProfiles("[Profile0]\nName=dev\nDefault=1\nIsRelative=0\nPath=" + folder.path() + "\n");
  PipeBrowserInstance firefox("fx", "");
  const NamedEvent ready;
  const NamedEvent end;
  const HelperProcess holder({"hold-file", folder.path("parent.lock"), ready.name(), end.name()});
  ASSERT_TRUE(ready.wait());

  EXPECT_FALSE(firefox.connect(1));
  EXPECT_EQ(firefox.errorNumber(), -4);
  EXPECT_EQ(firefox.errorText(), "Could not open server pipe \\\\.\\pipe\\kx-fx-dev." + user.name());
  EXPECT_EQ(stateOfMutex("kx-fx-dev." + user.name() + ".lock"), MutexState::Owned);

  end.signal();
  ASSERT_EQ(holder.exitCode(), 0U);
  EXPECT_FALSE(firefox.connect(1));
  EXPECT_EQ(firefox.errorNumber(), -1);
}

TEST_F(PipeBrowserFailure, TheProfileOfAFirefoxIsLookedUpAfterThePipe) {
  PipeBrowserInstance firefox("fx", "work");
  EXPECT_FALSE(firefox.connect(1));
  EXPECT_EQ(firefox.errorNumber(), -1);
  const std::string pipe = "\\\\.\\pipe\\kx-fx-work." + user.name();
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info("Client: connecting to server using pipe " + pipe)
                            .info("Could not open pipe " + pipe + ", error = 2")
                            .error("Can not open " + user.profilesPath() + " file")
                            .text());
}

TEST_F(PipeBrowserFailure, AStartLockThatCannotBeTakenEndsTheConnect) {
  const GivingCall<&WindowsCalls::waitForSingleObject> wait(DWORD{WAIT_TIMEOUT});
  const GivingCall<&WindowsCalls::createFile> open(INVALID_HANDLE_VALUE);
  EXPECT_FALSE(browser.connect(1));
  expectError(-1, "Could not acquire connection lock");
  EXPECT_EQ(open.count(), 0);
  EXPECT_EQ(log.text(), errorEntry("Timout while waiting for binary start lock"));
}

TEST_F(PipeBrowserFailure, AnOwnPipeThatCannotBeCreatedEndsTheConnectAndFreesTheStartLock) {
  Extension extension(serverPipe);
  {
    const GivingCall<&WindowsCalls::createNamedPipe> create(INVALID_HANDLE_VALUE, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(browser.connect(1));
  }
  expectError(5, "Could not create communication channel");
  // The extension's end of the well-known pipe comes to an end without a byte.
  EXPECT_EQ(extension.connectionData(), "");
  EXPECT_EQ(stateOfMutex(lockName), MutexState::Absent);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info("Client: connecting to server using pipe " + serverPipe)
                            .info("Client: creating  communication pipe " + communicationPipe)
                            .error("Could not create pipe " + communicationPipe + ", error = 5")
                            .error("BrowserInstance::connect() Error creating pipe cli=" + communicationPipe +
                                   ", error=5")
                            .text());
}

TEST_F(PipeBrowserFailure, ConnectionDataThatCannotBeWrittenEndTheConnect) {
  Extension extension(serverPipe);
  const GivingCall<&WindowsCalls::writeFile> write(FALSE, ERROR_NO_DATA);
  EXPECT_FALSE(browser.connect(1));
  expectError(-1, "Could not write into pipe");
  EXPECT_EQ(extension.connectionData(), "");
  expectNoPipeIsLeft();
  EXPECT_EQ(withoutNumbersAfter("disconnect pipe, error=", log.text()),
            expectedHandshake()
                .error("pipe_write: data write error 232")
                .error("BrowserInstance::connect() writing into pipe error 232")
                .error("Could not disconnect pipe, error=N")
                .text());
}

TEST_F(PipeBrowserFailure, TheMessageAboutTheWriteNamesItsErrorNotTheCloses) {
  const RawPipe extension = RawPipe::server(serverPipe);
  const GivingCall<&WindowsCalls::writeFile> write(FALSE, ERROR_NO_DATA);
  const GivingCall<&WindowsCalls::getNamedPipeInfo> info(FALSE, ERROR_INVALID_HANDLE);
  EXPECT_FALSE(browser.connect(1));
  // The well-known pipe is closed before the message, the communication pipe behind it.
  EXPECT_EQ(log.text(), expectedHandshake()
                            .error("pipe_write: data write error 232")
                            .error("Could not get pipe info, error=6")
                            .error("BrowserInstance::connect() writing into pipe error 232")
                            .error("Could not get pipe info, error=6")
                            .text());
}

TEST_F(PipeBrowserFailure, TheWaitForTheWriteOfTheConnectionDataGivesTheErrorNumber) {
  struct Wait {
    DWORD result;
    int number;
    std::string message;
  };
  for (const Wait& it : std::vector<Wait>{{WAIT_FAILED, -1, "pipe_write: wait error 6"},
                                          {WAIT_TIMEOUT, -3, "pipe_write: timeout"},
                                          {WAIT_OBJECT_0 + 1, -4, ""}}) {
    const RawPipe extension = RawPipe::server(serverPipe);
    const GivingCall<&WindowsCalls::writeFile> write(FALSE, ERROR_IO_PENDING);
    const WaitsEndWith wait(it.result, ERROR_INVALID_HANDLE);
    log.clear();
    EXPECT_FALSE(browser.connect(1));
    expectError(it.number, "Could not write into pipe");
    ExpectedLog expected = expectedHandshake();
    if (!it.message.empty()) {
      expected.error(it.message);
    }
    expectBeginning(log.text(), expected.error("BrowserInstance::connect() writing into pipe error 6"));
  }
}

TEST_F(PipeBrowserFailure, AnExtensionThatNeverConnectsBackEndsTheConnectAfterItsTimeout) {
  Extension extension(serverPipe, Extension::AfterName::StayAway);
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_FALSE(browser.connect(1));
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  expectError(-3, "Failed to establish connection");
  EXPECT_EQ(extension.connectionData(), communicationPipe + "\n");
  expectNoPipeIsLeft();
  EXPECT_EQ(stateOfMutex(lockName), MutexState::Absent);
  EXPECT_EQ(
      withoutNumbersAfter("(pipe_accept) error=", withoutNumbersAfter("disconnect pipe, error=", log.text())),
      expectedHandshake()
          .info("Client: waiting for server connection")
          .error("pipe_accept: timeout")
          .error("Client: (pipe_accept) error=N")
          .error("Could not disconnect pipe, error=N")
          .text());
}

TEST_F(PipeBrowserFailure, AWaitForTheExtensionThatFailsOrIsCancelledEndsTheConnect) {
  {
    const RawPipe extension = RawPipe::server(serverPipe);
    const GivingCall<&WindowsCalls::connectNamedPipe> connect(FALSE, ERROR_NO_DATA);
    EXPECT_FALSE(browser.connect(1));
    expectError(-1, "Failed to establish connection");
    expectNoPipeIsLeft();
    expectBeginning(log.text(), expectedHandshake()
                                    .info("Client: waiting for server connection")
                                    .error("pipe_accept: wait error 232")
                                    .error("Client: (pipe_accept) error=232"));
  }
  log.clear();
  const RawPipe extension = RawPipe::server(serverPipe);
  const WaitsEndWith wait(WAIT_OBJECT_0 + 1, ERROR_OPERATION_ABORTED);
  EXPECT_FALSE(browser.connect(1));
  expectError(-4, "Failed to establish connection");
  expectBeginning(log.text(), expectedHandshake()
                                  .info("Client: waiting for server connection")
                                  .error("Client: (pipe_accept) error=995"));
}

TEST_F(PipeBrowserFailure, AConnectThatFailsKeepsAnOldConnectionAndIsNotFinal) {
  Extension extension(serverPipe);
  ASSERT_TRUE(browser.connect(10));
  ASSERT_TRUE(extension.isConnected());
  {
    const RawPipe silent = RawPipe::server(serverPipe);
    const WaitsEndWith wait(WAIT_TIMEOUT);
    EXPECT_FALSE(browser.connect(1));
  }
  EXPECT_TRUE(extension.isConnected());
  const Extension another(serverPipe);
  EXPECT_TRUE(browser.connect(10));
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  expectError(1, "OK");
}

}  // namespace

}  // namespace kx

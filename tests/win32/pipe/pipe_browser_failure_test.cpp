// Connections that fail: what the host is told, what the log says, what stays open and what does not.
#include "support/win32/helper_process.h"
#include "support/win32/named_mutex.h"
#include "win32/pipe/pipe_browser_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

namespace kx {

namespace {

class PipeBrowserFailure : public PipeBrowserTest {
 protected:
  void expectError(int number, const std::string& text) const {
    EXPECT_EQ(browser.errorNumber(), number);
    EXPECT_EQ(browser.errorText(), text);
  }
  void expectNoPipeIsLeft() const { EXPECT_FALSE(::WaitNamedPipeW(wide(communicationPipe).c_str(), 1)); }
};

TEST_F(PipeBrowserFailure, NobodyServesThePipe) {
  EXPECT_FALSE(browser.connect(1));
  expectError(-1, "Could not open server pipe " + serverPipe);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info("Client: connecting to server using pipe " + serverPipe)
                            .info("Could not open pipe " + serverPipe + ", error = 2")
                            .text());
}

TEST_F(PipeBrowserFailure, NobodyServesThePipeAndTheStartLockStaysHeldUntilAConnectionSucceeds) {
  ASSERT_FALSE(browser.connect(1));
  EXPECT_EQ(stateOfMutex(lockName), MutexState::Owned);
  ASSERT_FALSE(browser.connect(1));
  EXPECT_EQ(stateOfMutex(lockName), MutexState::Owned);
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
  EXPECT_TRUE(browser.connect(10));
  EXPECT_EQ(stateOfMutex(lockName), MutexState::Absent);
}

TEST_F(PipeBrowserFailure, NobodyServesThePipeAndTheStartLockIsTakenOnce) {
  SubstitutedCall<&WindowsCalls::createMutex> create(
      [&](SECURITY_ATTRIBUTES* security, BOOL isOwned, LPCWSTR name) {
        EXPECT_EQ(narrow(name), lockName);
        return create.real(security, isOwned, name);
      });
  ASSERT_FALSE(browser.connect(1));
  ASSERT_FALSE(browser.connect(1));
  EXPECT_EQ(create.count(), 1);
}

TEST_F(PipeBrowserFailure, NobodyServesThePipeAndTheStartLockEndsWithTheInstance) {
  const NamedMutex keptAlive(lockName);
  {
    PipeBrowserInstance other("cr", profile);
    ASSERT_FALSE(other.connect(1));
    EXPECT_EQ(stateOfMutex(lockName), MutexState::Owned);
  }
  EXPECT_EQ(stateOfMutex(lockName), MutexState::Free);
}

TEST_F(PipeBrowserFailure, OfAFullPathHoldsTheLockThatAllSuchInstancesShare) {
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

TEST_F(PipeBrowserFailure, AFirefoxWithoutProfilesIsLookedUpAfterThePipe) {
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

TEST_F(PipeBrowserFailure, AStartLockThatCannotBeTakenEndsTheConnection) {
  const ExtensionPeer extension(serverPipe);
  const SubstitutedCall<&WindowsCalls::waitForSingleObject> wait(
      [](HANDLE, DWORD) { return DWORD{WAIT_TIMEOUT}; });
  SubstitutedCall<&WindowsCalls::createFile> open(
      [](LPCWSTR, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) { return INVALID_HANDLE_VALUE; });
  EXPECT_FALSE(browser.connect(1));
  expectError(-1, "Could not acquire connection lock");
  EXPECT_EQ(open.count(), 0);
  EXPECT_EQ(log.text(), ExpectedLog().error("Timout while waiting for binary start lock").text());
}

TEST_F(PipeBrowserFailure, AStartLockThatCannotBeMadeEndsTheConnection) {
  const NamedEvent inItsPlace(lockName);
  EXPECT_FALSE(browser.connect(1));
  expectError(-1, "Could not acquire connection lock");
  EXPECT_EQ(log.text(),
            ExpectedLog().error("Could not create binary start lock " + lockName + ", error 6").text());
}

TEST_F(PipeBrowserFailure, ItsOwnPipeCannotBeCreated) {
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.receiveConnectionData(); });
  const SubstitutedCall<&WindowsCalls::createNamedPipe> create(
      [](LPCWSTR, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, SECURITY_ATTRIBUTES*) {
        return failWith(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
      });
  EXPECT_FALSE(browser.connect(1));
  expectError(5, "Could not create communication channel");
  // The extension's end of the well-known pipe comes to an end without a byte.
  extension.finish();
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

TEST_F(PipeBrowserFailure, TheConnectionDataCannotBeWritten) {
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.receiveConnectionData(); });
  const SubstitutedCall<&WindowsCalls::writeFile> write(
      [](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return failWith(ERROR_NO_DATA, FALSE); });
  EXPECT_FALSE(browser.connect(1));
  expectError(-1, "Could not write into pipe");
  extension.finish();
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
  const ExtensionPeer extension(serverPipe);
  const SubstitutedCall<&WindowsCalls::writeFile> write(
      [](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return failWith(ERROR_NO_DATA, FALSE); });
  SubstitutedCall<&WindowsCalls::getNamedPipeInfo> info(
      [](HANDLE, DWORD*, DWORD*, DWORD*, DWORD*) { return failWith(ERROR_INVALID_HANDLE, FALSE); });
  EXPECT_FALSE(browser.connect(1));
  // The well-known pipe is closed before the message, the communication pipe behind it.
  EXPECT_EQ(log.text(), expectedHandshake()
                            .error("pipe_write: data write error 232")
                            .error("Could not get pipe info, error=6")
                            .error("BrowserInstance::connect() writing into pipe error 232")
                            .error("Could not get pipe info, error=6")
                            .text());
}

struct WaitCase {
  const char* name;
  DWORD waitResult;
  int number;
  const char* writeMessage;
};

class PipeBrowserWait : public PipeBrowserTest, public testing::WithParamInterface<WaitCase> {};

TEST_P(PipeBrowserWait, OfTheWriteGivesTheErrorNumber) {
  const ExtensionPeer extension(serverPipe);
  const SubstitutedCall<&WindowsCalls::writeFile> write(
      [](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return failWith(ERROR_IO_PENDING, FALSE); });
  const WaitsEndWith wait(GetParam().waitResult, ERROR_INVALID_HANDLE);
  EXPECT_FALSE(browser.connect(1));
  EXPECT_EQ(browser.errorNumber(), GetParam().number);
  EXPECT_EQ(browser.errorText(), "Could not write into pipe");
  ExpectedLog expected = expectedHandshake();
  if (*GetParam().writeMessage != '\0') {
    expected.error(GetParam().writeMessage);
  }
  expected.error("BrowserInstance::connect() writing into pipe error 6");
  EXPECT_EQ(log.text().substr(0, expected.text().size()), expected.text());
}

INSTANTIATE_TEST_SUITE_P(Results, PipeBrowserWait,
                         testing::Values(WaitCase{"Failed", WAIT_FAILED, -1, "pipe_write: wait error 6"},
                                         WaitCase{"Timeout", WAIT_TIMEOUT, -3, "pipe_write: timeout"},
                                         WaitCase{"Cancelled", WAIT_OBJECT_0 + 1, -4, ""}),
                         [](const testing::TestParamInfo<WaitCase>& wait) { return wait.param.name; });

TEST_F(PipeBrowserFailure, TheExtensionNeverConnectsBack) {
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.receiveConnectionData(); });
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_FALSE(browser.connect(1));
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  expectError(-3, "Failed to establish connection");
  extension.finish();
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

TEST_F(PipeBrowserFailure, TheWaitForTheExtensionFails) {
  const ExtensionPeer extension(serverPipe);
  const SubstitutedCall<&WindowsCalls::connectNamedPipe> connect(
      [](HANDLE, OVERLAPPED*) { return failWith(ERROR_NO_DATA, FALSE); });
  EXPECT_FALSE(browser.connect(1));
  expectError(-1, "Failed to establish connection");
  expectNoPipeIsLeft();
  ExpectedLog expected = expectedHandshake();
  expected.info("Client: waiting for server connection")
      .error("pipe_accept: wait error 232")
      .error("Client: (pipe_accept) error=232");
  EXPECT_EQ(log.text().substr(0, expected.text().size()), expected.text());
}

TEST_F(PipeBrowserFailure, TheWaitForTheExtensionIsCancelled) {
  const ExtensionPeer extension(serverPipe);
  const WaitsEndWith wait(WAIT_OBJECT_0 + 1, ERROR_OPERATION_ABORTED);
  EXPECT_FALSE(browser.connect(1));
  expectError(-4, "Failed to establish connection");
  ExpectedLog expected = expectedHandshake();
  expected.info("Client: waiting for server connection").error("Client: (pipe_accept) error=995");
  EXPECT_EQ(log.text().substr(0, expected.text().size()), expected.text());
}

TEST_F(PipeBrowserFailure, OfAConnectedInstanceKeepsItsConnection) {
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
  ASSERT_TRUE(browser.connect(10));
  extension.finish();
  const WaitsEndWith wait(WAIT_TIMEOUT);
  {
    const ExtensionPeer silent(serverPipe);
    EXPECT_FALSE(browser.connect(1));
  }
  EXPECT_TRUE(extension.isConnected());
}

TEST_F(PipeBrowserFailure, IsNotFinal) {
  {
    const ExtensionPeer silent(serverPipe);
    const WaitsEndWith wait(WAIT_TIMEOUT);
    ASSERT_FALSE(browser.connect(1));
  }
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) {
    peer.takeHost();
    peer.receive(kTestRequestSize);
    peer.reply(kTestReply);
  });
  EXPECT_TRUE(browser.connect(10));
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  EXPECT_EQ(browser.errorNumber(), 1);
  EXPECT_EQ(browser.errorText(), "fine");
}

}  // namespace

}  // namespace kx

// The handshake with the extension: its steps in their order, its log, and its bytes.
#include "support/win32/helper_process.h"
#include "support/win32/named_mutex.h"
#include "win32/pipe/pipe_browser_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace kx {

using testing::ElementsAre;

namespace {

using PipeBrowserConnect = PipeBrowserTest;

TEST_F(PipeBrowserConnect, SendsTheNameOfItsOwnPipeAndALineFeed) {
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
  EXPECT_TRUE(browser.connect(10));
  extension.finish();
  EXPECT_EQ(extension.connectionData(), communicationPipe + "\n");
  EXPECT_TRUE(extension.isConnected());
}

TEST_F(PipeBrowserConnect, LogsEachOfItsSteps) {
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
  EXPECT_TRUE(browser.connect(10));
  EXPECT_EQ(log.text(), expectedHandshake().info("Client: waiting for server connection").text());
}

TEST_F(PipeBrowserConnect, LogsNothingWhileLoggingIsOff) {
  const EnvironmentVariable logSwitch("KORVEX_LOG", "off");
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
  EXPECT_TRUE(browser.connect(10));
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeBrowserConnect, LeavesNumberAndTextAsTheyAre) {
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
  browser.fail(12, "of earlier");
  EXPECT_TRUE(browser.connect(10));
  EXPECT_EQ(browser.errorNumber(), 12);
  EXPECT_EQ(browser.errorText(), "of earlier");
}

TEST_F(PipeBrowserConnect, HoldsTheStartLockUntilTheExtensionsPipeIsOpen) {
  std::vector<MutexState> states;
  SubstitutedCall<&WindowsCalls::createFile> open([&](LPCWSTR name, DWORD access, DWORD share,
                                                      SECURITY_ATTRIBUTES* security, DWORD disposition,
                                                      DWORD flags, HANDLE model) {
    states.push_back(stateOfMutex(lockName));
    return open.real(name, access, share, security, disposition, flags, model);
  });
  SubstitutedCall<&WindowsCalls::createNamedPipe> create([&](LPCWSTR name, DWORD openMode, DWORD pipeMode,
                                                             DWORD instances, DWORD outputBytes,
                                                             DWORD inputBytes, DWORD milliseconds,
                                                             SECURITY_ATTRIBUTES* security) {
    states.push_back(stateOfMutex(lockName));
    return create.real(name, openMode, pipeMode, instances, outputBytes, inputBytes, milliseconds, security);
  });
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
  EXPECT_TRUE(browser.connect(10));
  EXPECT_THAT(states, ElementsAre(MutexState::Owned, MutexState::Absent));
}

TEST_F(PipeBrowserConnect, OfASecondInstanceWaitsUntilTheFirstHasOpenedTheExtensionsPipe) {
  const NamedMutex keptAlive(lockName);
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) {
    peer.takeHost();
    peer.serveAgain();
    peer.takeHost();
  });
  const NamedEvent firstOpens;
  const NamedEvent secondWaits;
  SubstitutedCall<&WindowsCalls::createFile> open([&](LPCWSTR name, DWORD access, DWORD share,
                                                      SECURITY_ATTRIBUTES* security, DWORD disposition,
                                                      DWORD flags, HANDLE model) {
    if (open.count() == 1) {
      firstOpens.signal();
      EXPECT_TRUE(secondWaits.wait());
    }
    return open.real(name, access, share, security, disposition, flags, model);
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

TEST_F(PipeBrowserConnect, GivesItsTimeoutToTheWaitForTheExtension) {
  const ExtensionPeer extension(serverPipe);
  std::vector<DWORD> waits;
  const SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD, const HANDLE*, BOOL, DWORD milliseconds) {
        waits.push_back(milliseconds);
        return DWORD{WAIT_TIMEOUT};
      });
  // The second connection needs a server pipe that is free again.
  const ExtensionPeer another(serverPipe);
  EXPECT_FALSE(browser.connect(7));
  EXPECT_FALSE(browser.connect(0));
  EXPECT_THAT(waits, ElementsAre(7000U, INFINITE));
}

TEST_F(PipeBrowserConnect, GivesItsTimeoutToTheWriteOfTheConnectionDataToo) {
  const ExtensionPeer extension(serverPipe);
  const SubstitutedCall<&WindowsCalls::writeFile> write(
      [](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return failWith(ERROR_IO_PENDING, FALSE); });
  std::vector<DWORD> waits;
  const SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD, const HANDLE*, BOOL, DWORD milliseconds) {
        waits.push_back(milliseconds);
        return DWORD{WAIT_TIMEOUT};
      });
  EXPECT_FALSE(browser.connect(-1));
  EXPECT_THAT(waits, ElementsAre(600000U));
}

TEST_F(PipeBrowserConnect, AShortWriteOfTheConnectionDataCountsAsSuccess) {
  ExtensionPeer extension(serverPipe);
  SubstitutedCall<&WindowsCalls::writeFile> write(
      [&](HANDLE handle, const void* bytes, DWORD, DWORD* count, OVERLAPPED* overlapped) {
        return write.real(handle, bytes, 3, count, overlapped);
      });
  const SubstitutedCall<&WindowsCalls::connectNamedPipe> connect([](HANDLE, OVERLAPPED*) { return TRUE; });
  extension.play([](ExtensionPeer& peer) { peer.receiveConnectionData(); });
  EXPECT_TRUE(browser.connect(10));
  extension.finish();
  EXPECT_EQ(write.count(), 1);
  EXPECT_EQ(extension.connectionData(), communicationPipe.substr(0, 3));
  EXPECT_EQ(log.text(), expectedHandshake().info("Client: waiting for server connection").text());
}

TEST_F(PipeBrowserConnect, OfTheSameThreadUsesTheSameName) {
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) {
    peer.takeHost();
    peer.serveAgain();
    peer.receiveConnectionData();
  });
  EXPECT_TRUE(browser.connect(10));
  PipeBrowserInstance second("cr", profile);
  const SubstitutedCall<&WindowsCalls::connectNamedPipe> connect([](HANDLE, OVERLAPPED*) { return TRUE; });
  EXPECT_TRUE(second.connect(10));
  extension.finish();
  EXPECT_EQ(extension.connectionData(), communicationPipe + "\n");
}

TEST_F(PipeBrowserConnect, OfAnotherThreadUsesAnotherName) {
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
  std::string expected;
  bool connected = false;
  std::thread([&] {
    expected = expectedCommunicationPipe("cr", profile);
    connected = browser.connect(10);
  }).join();
  extension.finish();
  EXPECT_TRUE(connected);
  EXPECT_NE(expected, communicationPipe);
  EXPECT_EQ(extension.connectionData(), expected + "\n");
}

TEST_F(PipeBrowserConnect, OfAConnectedInstanceClosesItsOldConnection) {
  ExtensionPeer first(serverPipe);
  first.play([](ExtensionPeer& peer) { peer.takeHost(); });
  ASSERT_TRUE(browser.connect(10));
  first.finish();
  ExtensionPeer second(serverPipe);
  second.play([](ExtensionPeer& peer) {
    peer.takeHost();
    peer.receive(kTestRequestSize);
    peer.reply(kTestReply);
  });
  EXPECT_TRUE(browser.connect(10));
  EXPECT_FALSE(first.isConnected());
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  second.finish();
  EXPECT_EQ(second.requests(), kTestRequest);
}

TEST_F(PipeBrowserConnect, ADestroyedInstanceClosesItsConnection) {
  ExtensionPeer extension(serverPipe);
  extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
  {
    PipeBrowserInstance other("cr", profile);
    ASSERT_TRUE(other.connect(10));
    extension.finish();
    EXPECT_TRUE(extension.isConnected());
  }
  EXPECT_FALSE(extension.isConnected());
}

TEST_F(PipeBrowserConnect, WorksForNamesOutsideAscii) {
  const std::string outside = uniqueName("grün-日本");
  PipeBrowserInstance other("cr", outside);
  ExtensionPeer extension("\\\\.\\pipe\\kx-cr-" + outside + "." + user.name());
  extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
  EXPECT_TRUE(other.connect(10));
  extension.finish();
  EXPECT_EQ(extension.connectionData(), expectedCommunicationPipe("cr", outside) + "\n");
}

TEST_F(PipeBrowserConnect, CutsALongNameAt255CharactersBehindThePrefix) {
  const std::string longName(300, 'n');
  const std::string cut = expectedCommunicationPipe("cr", longName).substr(0, 9 + 255);
  PipeBrowserInstance other("cr", longName);
  // The extension's pipe stands in for one whose name no system would serve.
  const ExtensionPeer extension(serverPipe);
  SubstitutedCall<&WindowsCalls::createFile> open([&](LPCWSTR name, DWORD access, DWORD share,
                                                      SECURITY_ATTRIBUTES* security, DWORD disposition,
                                                      DWORD flags, HANDLE model) {
    EXPECT_EQ(narrow(name), "\\\\.\\pipe\\kx-cr-" + longName + "." + user.name());
    return open.real(wide(serverPipe).c_str(), access, share, security, disposition, flags, model);
  });
  std::string created;
  const SubstitutedCall<&WindowsCalls::createNamedPipe> create(
      [&](LPCWSTR name, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, SECURITY_ATTRIBUTES*) {
        created = narrow(name);
        return failWith(ERROR_FILENAME_EXCED_RANGE, INVALID_HANDLE_VALUE);
      });
  EXPECT_FALSE(other.connect(1));
  EXPECT_EQ(created, cut);
  EXPECT_EQ(other.errorNumber(), 206);
}

TEST_F(PipeBrowserConnect, ANameThatIsJustShortEnoughIsNotCut) {
  const std::string ids = expectedCommunicationPipe("cr", "").substr(9);
  const std::string name(255 - ids.size(), 'n');
  PipeBrowserInstance other("cr", name);
  const ExtensionPeer extension(serverPipe);
  SubstitutedCall<&WindowsCalls::createFile> open([&](LPCWSTR, DWORD access, DWORD share,
                                                      SECURITY_ATTRIBUTES* security, DWORD disposition,
                                                      DWORD flags, HANDLE model) {
    return open.real(wide(serverPipe).c_str(), access, share, security, disposition, flags, model);
  });
  std::string created;
  const SubstitutedCall<&WindowsCalls::createNamedPipe> create(
      [&](LPCWSTR wideName, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, SECURITY_ATTRIBUTES*) {
        created = narrow(wideName);
        return failWith(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
      });
  EXPECT_FALSE(other.connect(1));
  EXPECT_EQ(created, expectedCommunicationPipe("cr", name));
  EXPECT_EQ(created.size(), 9U + 255U);
}

}  // namespace

}  // namespace kx

// Starts that fail between the first contact and the answer to the first request, and those that cannot make
// contact for want of the start lock or of a pipe.
#include "fault/start_failure.h"

#include <thread>

namespace {

class HandshakeFailure : public StartFailure {};

TEST_F(HandshakeFailure, AnExtensionThatNeverConnectsBackEndsTheStartWithATimeout) {
  SimulatedBrowser browser;
  browser.script("on handshake hold");
  browser.start();
  const SimulatedBrowser other;

  EXPECT_EQ(init({.program = other.program(), .timeout = 1}), KX_TIMEOUT);

  expectFailedStart(KX_ERROR_TIMEOUT, "Failed to establish connection");
  EXPECT_EQ(occurrences(log_.text(), "Client: connecting to server using pipe "), 1);
  EXPECT_FALSE(other.hasRecorded("command-line.txt"));
  EXPECT_TRUE(browser.isRunning());
}

TEST_F(HandshakeFailure, ALaunchedBrowserThatNeverConnectsBackIsEnded) {
  SimulatedBrowser browser;
  browser.script("on handshake hold");
  const LogSignal serving = untilItServes(browser);

  EXPECT_EQ(init({.program = browser.program(), .timeout = 4}), KX_TIMEOUT);

  expectFailedStart(KX_ERROR_TIMEOUT, "Failed to establish connection");
  EXPECT_EQ(browser.processIds().size(), 1U);
  EXPECT_FALSE(browser.isRunning());
}

TEST_F(HandshakeFailure, ATimeoutOfTheLastAttemptCountsAsAttemptsUsedUp) {
  SimulatedBrowser browser;
  browser.script("on handshake hold");
  const LogSignal serving = untilItServes(browser);

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_TIMEOUT, "Failed to establish connection");
  EXPECT_EQ(browser.processIds().size(), 1U);
  EXPECT_FALSE(browser.isRunning());
}

TEST_F(HandshakeFailure, AnExtensionThatLeavesAfterTheNameLineEndsTheStartWithATimeout) {
  SimulatedBrowser browser;
  browser.script("on handshake hang-up");
  browser.start();

  EXPECT_EQ(init({.timeout = 1}), KX_TIMEOUT);

  expectFailedStart(KX_ERROR_TIMEOUT, "Failed to establish connection");
}

TEST_F(HandshakeFailure, AnExtensionThatConnectsBackLateIsWaitedFor) {
  SimulatedBrowser browser;
  const NamedEvent go;
  browser.script("on handshake wait-event " + go.name());
  browser.start();
  const LogSignal whileWaiting("Client: waiting for server connection", 1, [&] { go.signal(); });

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(play("extract x"), KX_OK);
}

TEST_F(HandshakeFailure, WithoutATimeoutAnExtensionThatConnectsBackLateIsWaitedForToo) {
  SimulatedBrowser browser;
  const NamedEvent go;
  browser.script("on handshake wait-event " + go.name());
  browser.script("on handshake delay 300");
  browser.start();
  const LogSignal whileWaiting("Client: waiting for server connection", 1, [&] { go.signal(); });

  EXPECT_EQ(init({.timeout = 0}), KX_OK);
}

TEST_F(HandshakeFailure, AnExtensionThatConnectedAndLeftLeadsToTheLaunch) {
  SimulatedBrowser browser;
  browser.script("early-connect");
  browser.script("on connected hang-up");
  browser.start();

  EXPECT_EQ(init({.program = user_.local() + "\\missing.exe"}), ERROR_FILE_NOT_FOUND);

  const std::string log = log_.text();
  EXPECT_EQ(occurrences(log, "Error: pipe_accept: wait error 232\n"), 1);
  EXPECT_EQ(occurrences(log, "Error: Client: (pipe_accept) error=232\n"), 1);
}

TEST_F(HandshakeFailure, ANameLineThatNobodyReadsEndsTheStartWithATimeout) {
  SimulatedBrowser browser;
  browser.script("server-buffer 1");
  browser.script("on connect hold");
  browser.start();

  EXPECT_EQ(init({.timeout = 1}), KX_TIMEOUT);

  expectFailedStart(KX_ERROR_TIMEOUT, "Could not write into pipe");
  EXPECT_EQ(occurrences(log_.text(), "Error: pipe_write: timeout\n"), 1);
  EXPECT_EQ(occurrences(log_.text(), "Error: BrowserInstance::connect() writing into pipe error "), 1);
  EXPECT_EQ(occurrences(log_.text(), "Client: waiting for server connection"), 0);
}

TEST_F(HandshakeFailure, AnExtensionThatClosesThePipeWithoutReadingLeadsToTheLaunch) {
  SimulatedBrowser browser;
  const NamedEvent writing;
  browser.script("server-buffer 1");
  browser.script("on connect wait-event " + writing.name());
  browser.script("on connect hang-up");
  browser.start();
  const LogSignal atTheWrite("Sending connection data [", 1, [&] { writing.signal(); });

  EXPECT_EQ(init({.program = user_.local() + "\\missing.exe"}), ERROR_FILE_NOT_FOUND);

  EXPECT_EQ(occurrences(log_.text(), "Error: BrowserInstance::connect() writing into pipe error "), 1);
}

TEST_F(HandshakeFailure, AnUnansweredFirstRequestFailsWithATimeout) {
  SimulatedBrowser browser;
  browser.script("on init no-reply");
  browser.start();
  const LogSignal connected = untilItConnects(browser);

  EXPECT_EQ(init({.timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_TIMEOUT, "Error while receiving response");
  EXPECT_TRUE(browser.isRunning()) << "it was not launched by this start";
}

TEST_F(HandshakeFailure, AnUnansweredFirstRequestEndsTheLaunchedBrowser) {
  SimulatedBrowser browser;
  browser.script("on init no-reply");
  const LogSignal serving = untilItServes(browser);
  const LogSignal connected = untilItConnects(browser);

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_TIMEOUT, "Error while receiving response");
  EXPECT_EQ(browser.request(2), exitRequest());
  EXPECT_FALSE(browser.isRunning());
}

// The time-out of the start does not bound it: a browser that takes longer to leave is not killed.
TEST_F(HandshakeFailure, TheExitOfAnAbandonedBrowserIsWaitedForWithoutTheStartsTimeout) {
  SimulatedBrowser browser;
  browser.script("on init no-reply");
  browser.script("on exit delay 1500");
  const LogSignal serving = untilItServes(browser);
  const LogSignal connected = untilItConnects(browser);

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  EXPECT_EQ(occurrences(log_.text(), "kill browser process"), 0);
  EXPECT_EQ(browser.events("end "), std::vector<std::string>{"end code=0 reason=exit"});
}

TEST_F(HandshakeFailure, AFirstRequestThatIsCutOffFailsAndEndsTheLaunchedBrowser) {
  SimulatedBrowser browser;
  browser.script("on before-request 1 read 5");
  browser.script("on before-request 1 hang-up");

  EXPECT_EQ(init({.program = browser.program()}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Server unexpectedly closed connection");
  EXPECT_FALSE(browser.isRunning());
}

TEST_F(HandshakeFailure, AFirstAnswerOfGarbageFails) {
  SimulatedBrowser browser;
  browser.script("on init reply OK");
  browser.start();

  EXPECT_EQ(init({}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Error in response processing");
}

TEST_F(HandshakeFailure, AFirstAnswerThatReportsAnErrorIsAnAnswer) {
  SimulatedBrowser browser;
  browser.script("on init result 7 Not now");
  browser.start();

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_TRUE(isInitialised());
  EXPECT_EQ(errorNumber(), -7);
  EXPECT_EQ(errorText(), "Not now");
}

// A mutex whose access list lets nobody in, as that of a host with more rights keeps out one with fewer.
class ForbiddenMutex {
 public:
  explicit ForbiddenMutex(const std::string& name) : name_(name) {
    ACL nobody{};
    SECURITY_DESCRIPTOR descriptor{};
    ::InitializeAcl(&nobody, sizeof(nobody), ACL_REVISION);
    ::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    ::SetSecurityDescriptorDacl(&descriptor, TRUE, &nobody, FALSE);
    SECURITY_ATTRIBUTES security{sizeof(SECURITY_ATTRIBUTES), &descriptor, FALSE};
    handle_ = ::CreateMutexW(&security, FALSE, wide(name).c_str());
  }
  ForbiddenMutex(const ForbiddenMutex&) = delete;
  ForbiddenMutex& operator=(const ForbiddenMutex&) = delete;
  ~ForbiddenMutex() { ::CloseHandle(handle_); }

  const std::string& name() const { return name_; }

 private:
  std::string name_;
  HANDLE handle_ = nullptr;
};

class NoStartLock : public StartFailure {
 protected:
  const ForbiddenMutex forbidden_{"kx-fx-default." + user_.name() + ".lock"};
};

TEST_F(NoStartLock, NothingIsConnectedWithoutIt) {
  SimulatedBrowser browser;
  browser.start();

  EXPECT_EQ(init({.program = user_.local() + "\\missing.exe"}), ERROR_FILE_NOT_FOUND)
      << "the launch is tried";

  const std::string log = log_.text();
  EXPECT_EQ(
      occurrences(log, "Error: Could not create binary start lock " + forbidden_.name() + ", error 5\n"), 1);
  EXPECT_EQ(occurrences(log, "Client: connecting to server"), 0);
  EXPECT_EQ(browser.events("conn=").size(), 0U);
}

TEST_F(NoStartLock, ABrowserIsLaunchedAllTheSameAndEndedWhenTheAttemptsAreUsedUp) {
  SimulatedBrowser browser;

  EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

  expectFailedStart(KX_ERROR_GENERAL, "Could not acquire connection lock");
  EXPECT_EQ(occurrences(log_.text(), "Starting binary "), 1);
  EXPECT_FALSE(browser.isRunning());
}

// Somebody serves a pipe of the library's own name and lets nobody serve it beside him. The name is that of a
// thread on which no other test has left a connection.
TEST_F(HandshakeFailure, WithoutAnOwnPipeTheErrorIsThatOfWindows) {
  SimulatedBrowser browser;
  const LogSignal serving = untilItServes(browser);

  std::thread([&] {
    const std::string pipe = ownPipe("fx", "default");
    const HANDLE taken =
        ::CreateNamedPipeW(wide(pipe).c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 512, 512, 0, nullptr);
    ASSERT_NE(taken, INVALID_HANDLE_VALUE);

    EXPECT_EQ(init({.program = browser.program(), .timeout = 1}), KX_FAILED);

    ::CloseHandle(taken);
    expectFailedStart(-ERROR_PIPE_BUSY, "Could not create communication channel");
    const std::string log = log_.text();
    EXPECT_EQ(occurrences(log, "Error: Could not create pipe " + pipe + ", error = 231\n"), 1);
    EXPECT_EQ(occurrences(
                  log, "Error: BrowserInstance::connect() Error creating pipe cli=" + pipe + ", error=231\n"),
              1);
  }).join();

  EXPECT_FALSE(browser.isRunning());
}

TEST_F(HandshakeFailure, ANegativeTimeoutWaitsLongerThanASecondForTheExtension) {
  SimulatedBrowser browser;
  browser.script("on handshake delay 1200");
  browser.start();

  EXPECT_EQ(init({.timeout = -1}), KX_OK);
}

}  // namespace

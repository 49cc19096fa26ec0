// One request and its response over the communication pipe: the bytes, the pieces, the log, and each way to
// fail.
#include "win32/pipe/pipe_browser_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <algorithm>
#include <string>
#include <vector>

using testing::ElementsAre;

namespace kx {

namespace {

constexpr char kReceiving[] = "Client: Message sent, receiving response";
constexpr char kHandling[] = "Client: handling response..";

std::string sendingMessage(const std::string& text) {
  return "Client: sending message to server [" + text + "], msg len=" + std::to_string(text.size());
}

std::string readMessage(int count) {
  return "Client: Read " + std::to_string(count) + " bytes from communication pipe";
}

std::string padded(const std::string& json, std::size_t size) {
  return json + std::string(size - json.size() - 1, ' ') + "}";
}

// An instance whose extension has connected back; the log is empty again.
class PipeBrowserExchange : public PipeBrowserTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(browser.connect(10)) << browser.errorText();
    ASSERT_TRUE(extension.isConnected());
    log.clear();
  }

  bool exchange(int timeoutSeconds = 10) { return browser.sendCommand(testRequest(), timeoutSeconds); }

  // What the log says once the request is out.
  static ExpectedLog expectedRequest() {
    ExpectedLog expected;
    expected.info(sendingMessage(kTestRequest)).info(kReceiving);
    return expected;
  }

  Extension extension{serverPipe};
};

TEST_F(PipeBrowserExchange, AnExchangeSendsTheBareTextOfTheRequestAndTakesTheResponse) {
  extension.answers(R"({"status":"fine","errorCode":1})").answers(R"({"errorCode":8})");
  EXPECT_TRUE(exchange());
  expectError(1, "fine");
  EXPECT_EQ(log.text(), expectedRequest().info(readMessage(31)).info(kHandling).text());
  EXPECT_TRUE(exchange());
  expectError(8, "");
  EXPECT_THAT(extension.requests(), ElementsAre(kTestRequest, kTestRequest));
}

TEST_F(PipeBrowserExchange, AnExchangeSucceedsWhateverTheResponseSaysAndEvenIfItCannotBeTakenOver) {
  extension.answers(R"({"status":"no","errorCode":-910})").answers(R"({"errorCode":1,"errorCode":2})");
  EXPECT_TRUE(exchange());
  expectError(-910, "no");
  EXPECT_TRUE(exchange());
  expectError(-910, "no");
  EXPECT_NE(log.text().find("Error: BrowserInstance::handleResponse() Caught json::ParseException"),
            std::string::npos);
}

TEST_F(PipeBrowserExchange, ALongResponseIsReadInPiecesOf4096BytesAndNotBeyondItsEnd) {
  extension.answers(padded(R"({"status":"long","errorCode":1)", 10000))
      .answers(padded(R"({"status":"full","errorCode":1)", 4096));
  EXPECT_TRUE(exchange());
  expectError(1, "long");
  EXPECT_TRUE(exchange());
  expectError(1, "full");
  EXPECT_EQ(log.text(), expectedRequest()
                            .info(readMessage(4096))
                            .info(readMessage(4096))
                            .info(readMessage(1808))
                            .info(kHandling)
                            .info(sendingMessage(kTestRequest))
                            .info(kReceiving)
                            .info(readMessage(4096))
                            .info(kHandling)
                            .text());
}

// The extension does each of its steps only when the instance waits for it.
TEST_F(PipeBrowserExchange, AnExchangeGivesItsTimeoutToEveryReadAndWrite) {
  const json::Object request = showRequest(moreThanAPipeHolds());
  extension.staysSilent();
  std::vector<DWORD> waits;
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
        waits.push_back(milliseconds);
        if (waits.size() > 1) {
          extension.awaitRequests(1);
          extension.says(waits.size() == 2 ? R"({"errorCode":)" : "7}");
        }
        return wait.real(count, events, forAll, 10000);
      });
  EXPECT_TRUE(browser.sendCommand(request, 7));
  EXPECT_THAT(waits, ElementsAre(7000U, 7000U, 7000U));
  expectError(7, "");
  EXPECT_THAT(extension.requests(), ElementsAre(requestText(request)));
}

TEST_F(PipeBrowserExchange, TheRestOfARequestThatWasTakenInPartIsSentAfterIt) {
  SubstitutedCall<&WindowsCalls::writeFile> write(
      [&](HANDLE handle, const void* bytes, DWORD length, DWORD* count, OVERLAPPED* overlapped) {
        // The second write takes nothing.
        return write.count() == 2 ? TRUE
                                  : write.real(handle, bytes, std::min<DWORD>(length, 15), count, overlapped);
      });
  EXPECT_TRUE(exchange());
  const std::string request = kTestRequest;
  EXPECT_THAT(extension.requests(), ElementsAre(request));
  ASSERT_EQ(request.size(), 34U);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info(sendingMessage(request))
                            .info(sendingMessage(request.substr(15)))
                            .info(sendingMessage(request.substr(15)))
                            .info(sendingMessage(request.substr(30)))
                            .info(kReceiving)
                            .info(readMessage(29))
                            .info(kHandling)
                            .text());
}

TEST_F(PipeBrowserExchange, ARequestThatCannotBeSentIsLogged) {
  const GivingCall<&WindowsCalls::writeFile> write(FALSE, ERROR_NO_DATA);
  EXPECT_FALSE(exchange());
  expectError(-1, "Error while sending request");
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info(sendingMessage(kTestRequest))
                            .error("pipe_write: data write error 232")
                            .error("BrowserInstance::sendCommand() Error while sending request, error=-1")
                            .text());
}

TEST_F(PipeBrowserExchange, ARequestToAnExtensionThatHungUpCannotBeSent) {
  extension.hangsUpNow();
  EXPECT_FALSE(exchange());
  expectError(-1, "Error while sending request");
}

TEST_F(PipeBrowserExchange, ARequestThatIsNotTakenInTimeOrWhoseWaitIsCancelledIsLogged) {
  const json::Object request = showRequest(moreThanAPipeHolds());
  {
    const WaitsEndWith wait(WAIT_TIMEOUT);
    EXPECT_FALSE(browser.sendCommand(request, 1));
  }
  expectError(-3, "Error while sending request");
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info(sendingMessage(requestText(request)))
                            .error("pipe_write: timeout")
                            .error("BrowserInstance::sendCommand() Error while sending request, error=-3")
                            .text());
  const WaitsEndWith wait(WAIT_OBJECT_0 + 1);
  EXPECT_FALSE(browser.sendCommand(request, 1));
  expectError(-4, "Error while sending request");
  // The connection ends before the instance does: the request may still be on its way.
  extension.hangsUpNow();
}

TEST_F(PipeBrowserExchange, AResponseThatDoesNotComeInTimeIsLogged) {
  extension.staysSilent();
  EXPECT_FALSE(exchange(1));
  expectError(-3, "Error while receiving response");
  EXPECT_EQ(withoutNumbersAfter("receive message, error ", log.text()),
            expectedRequest()
                .error("pipe_read: timeout")
                .info(readMessage(-3))
                .error("BrowserInstance::sendCommand() Couldn't receive message, error N")
                .text());
  EXPECT_TRUE(extension.isConnected());
}

TEST_F(PipeBrowserExchange, AResponseThatCannotBeReadIsLogged) {
  const GivingCall<&WindowsCalls::readFile> read(FALSE, ERROR_ACCESS_DENIED);
  EXPECT_FALSE(exchange());
  expectError(-1, "Error while receiving response");
  EXPECT_EQ(log.text(), expectedRequest()
                            .error("pipe_read: read error 5")
                            .info(readMessage(-1))
                            .error("BrowserInstance::sendCommand() Couldn't receive message, error 5")
                            .text());
}

TEST_F(PipeBrowserExchange, AResponseWhoseWaitIsCancelledIsLogged) {
  extension.staysSilent();
  const WaitsEndWith wait(WAIT_OBJECT_0 + 1, ERROR_OPERATION_ABORTED);
  EXPECT_FALSE(exchange());
  expectError(-4, "Error while receiving response");
  EXPECT_EQ(log.text(), expectedRequest()
                            .info(readMessage(-4))
                            .error("BrowserInstance::sendCommand() Couldn't receive message, error 995")
                            .text());
}

TEST_F(PipeBrowserExchange, AnExtensionThatHangsUpInsteadOfAnsweringIsLogged) {
  extension.hangsUp();
  EXPECT_FALSE(exchange());
  expectError(-1, "Server unexpectedly closed connection");
  EXPECT_EQ(withoutNumbersAfter("gla=", log.text()),
            expectedRequest()
                .info(readMessage(0))
                .error("BrowserInstance::sendCommand() Server unexpectedly closed connection, gla=N")
                .text());
}

TEST_F(PipeBrowserExchange, AnExtensionThatHangsUpWithinItsResponseIsLoggedWithTheLastError) {
  const SubstitutedCall<&WindowsCalls::readFile> read(
      [&](HANDLE, void* buffer, DWORD length, DWORD* count, OVERLAPPED*) {
        EXPECT_EQ(length, 4096U);
        if (read.count() > 1) {
          return failWith(ERROR_BROKEN_PIPE, FALSE);
        }
        *static_cast<char*>(buffer) = '{';
        *count = 1;
        return TRUE;
      });
  EXPECT_FALSE(exchange());
  expectError(-1, "Server unexpectedly closed connection");
  EXPECT_EQ(log.text(),
            expectedRequest()
                .info(readMessage(1))
                .info(readMessage(0))
                .error("BrowserInstance::sendCommand() Server unexpectedly closed connection, gla=109")
                .text());
}

TEST_F(PipeBrowserExchange, AResponseThatIsNotValidJsonIsLogged) {
  extension.answers("{no");
  EXPECT_FALSE(exchange());
  expectError(-1, "Error in response processing");
  EXPECT_EQ(log.text(),
            expectedRequest()
                .info(readMessage(3))
                .error("BrowserInstance::processResponseBytes() Can not parse char n(110) at position "
                       "1, responce chunk '{no'")
                .error("BrowserInstance::sendCommand() Error in response processing")
                .text());
}

TEST_F(PipeBrowserExchange, AnExchangeWithoutAConnectionFails) {
  PipeBrowserInstance other("cr", profile);
  EXPECT_FALSE(other.sendCommand(testRequest(), 10));
  EXPECT_EQ(other.errorNumber(), -1);
  EXPECT_EQ(other.errorText(), "Error while sending request");
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info(sendingMessage(kTestRequest))
                            .error("BrowserInstance::sendCommand() Error while sending request, error=-1")
                            .text());
}

// After a time-out the next response that arrives counts as the next request's.
TEST_F(PipeBrowserExchange, ALateResponseIsTheNextRequestsAndNoPartOfItIsLost) {
  extension.staysSilent();
  {
    const WaitsEndWith wait(WAIT_TIMEOUT);
    ASSERT_FALSE(exchange(1));
  }
  extension.says(R"({"status":"in two )");
  extension.answers(R"(parts","errorCode":8})");
  EXPECT_TRUE(exchange());
  expectError(8, "in two parts");
  EXPECT_THAT(extension.requests(), ElementsAre(kTestRequest, kTestRequest));
}

TEST_F(PipeBrowserExchange, AnInstanceThatTimedOutCanBeDestroyed) {
  Extension peer(serverPipe);
  peer.staysSilent();
  {
    PipeBrowserInstance other("cr", profile);
    ASSERT_TRUE(other.connect(10));
    const WaitsEndWith wait(WAIT_TIMEOUT);
    EXPECT_FALSE(other.sendCommand(testRequest(), 1));
  }
  EXPECT_TRUE(peer.awaitGoodbye());
  EXPECT_THAT(peer.requests(), ElementsAre(kTestRequest));
}

}  // namespace

}  // namespace kx

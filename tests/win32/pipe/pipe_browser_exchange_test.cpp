// One request and its response over the communication pipe: the bytes, the pieces, the log, and each way to
// fail.
#include "win32/pipe/pipe_browser_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <algorithm>
#include <string>
#include <vector>

namespace kx {

using testing::ElementsAre;

namespace {

class PipeBrowserExchange : public ConnectedPipeBrowserTest {
 protected:
  void expectError(int number, const std::string& text) const {
    EXPECT_EQ(browser.errorNumber(), number);
    EXPECT_EQ(browser.errorText(), text);
  }

  // What the log says once the request is out.
  static ExpectedLog expectedRequest() {
    ExpectedLog expected;
    expected
        .info(std::string("Client: sending message to server [") + kTestRequest +
              "], msg len=" + std::to_string(kTestRequestSize))
        .info("Client: Message sent, receiving response");
    return expected;
  }

  static std::string readMessage(int count) {
    return "Client: Read " + std::to_string(count) + " bytes from communication pipe";
  }

  // The extension takes the test request and answers with these pieces, each when the one before has been
  // read.
  void replyWith(const std::vector<std::string>& pieces) {
    extension.play([pieces](ExtensionPeer& peer) {
      peer.receive(kTestRequestSize);
      for (const std::string& piece : pieces) {
        peer.reply(piece);
      }
    });
  }
};

std::string padded(const std::string& json, std::size_t size) {
  return json + std::string(size - json.size() - 1, ' ') + "}";
}

TEST_F(PipeBrowserExchange, SendsTheBareTextOfTheRequestAndTakesTheResponse) {
  replyWith({kTestReply});
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  extension.finish();
  EXPECT_EQ(extension.requests(), kTestRequest);
  expectError(1, "fine");
  EXPECT_EQ(log.text(), expectedRequest().info(readMessage(31)).info("Client: handling response..").text());
}

TEST_F(PipeBrowserExchange, CanBeRepeatedOnTheSameConnection) {
  extension.play([](ExtensionPeer& peer) {
    for (const char* reply : {R"({"errorCode":7})", R"({"errorCode":8})"}) {
      peer.receive(kTestRequestSize);
      peer.reply(reply);
    }
  });
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  EXPECT_EQ(browser.errorNumber(), 7);
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  EXPECT_EQ(browser.errorNumber(), 8);
  extension.finish();
  EXPECT_EQ(extension.requests(), std::string(kTestRequest) + kTestRequest);
}

TEST_F(PipeBrowserExchange, SucceedsWhateverTheResponseSays) {
  replyWith({R"({"status":"no","errorCode":-910})"});
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  expectError(-910, "no");
}

TEST_F(PipeBrowserExchange, SucceedsEvenIfTheResponseCannotBeTakenOver) {
  browser.fail(12, "of earlier");
  replyWith({R"({"errorCode":1,"errorCode":2})"});
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  expectError(12, "of earlier");
  EXPECT_NE(log.text().find("Error: BrowserInstance::handleResponse() Caught json::ParseException"),
            std::string::npos);
}

TEST_F(PipeBrowserExchange, ReadsALongResponseInPiecesOf4096Bytes) {
  const std::string reply = padded(R"({"status":"long","errorCode":1)", 10000);
  extension.play([&](ExtensionPeer& peer) {
    peer.receive(kTestRequestSize);
    peer.reply(reply);
  });
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  expectError(1, "long");
  EXPECT_EQ(log.text(), expectedRequest()
                            .info(readMessage(4096))
                            .info(readMessage(4096))
                            .info(readMessage(1808))
                            .info("Client: handling response..")
                            .text());
}

TEST_F(PipeBrowserExchange, NeedsNoFurtherReadAfterAResponseThatFillsTheBuffer) {
  const std::string reply = padded(R"({"status":"full","errorCode":1)", 4096);
  replyWith({reply});
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  expectError(1, "full");
  EXPECT_EQ(log.text(), expectedRequest().info(readMessage(4096)).info("Client: handling response..").text());
}

TEST_F(PipeBrowserExchange, AResponseMayComeByteByByte) {
  const std::string reply = kTestReply;
  std::size_t given = 0;
  const SubstitutedCall<&WindowsCalls::readFile> read(
      [&](HANDLE, void* buffer, DWORD length, DWORD* count, OVERLAPPED*) {
        EXPECT_EQ(length, 4096U);
        *static_cast<char*>(buffer) = reply.at(given++);
        *count = 1;
        return TRUE;
      });
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  expectError(1, "fine");
  EXPECT_EQ(given, reply.size());
  ExpectedLog expected = expectedRequest();
  for (std::size_t i = 0; i < reply.size(); ++i) {
    expected.info(readMessage(1));
  }
  EXPECT_EQ(log.text(), expected.info("Client: handling response..").text());
}

// The extension does each of its steps only when the instance waits for it.
TEST_F(PipeBrowserExchange, GivesItsTimeoutToEveryReadAndWrite) {
  const json::Object request = showRequest(moreThanAPipeHolds());
  std::vector<DWORD> waits;
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
        waits.push_back(milliseconds);
        switch (waits.size()) {
          case 1:
            extension.play([&](ExtensionPeer& peer) { peer.receive(requestText(request).size()); });
            break;
          case 2:
            extension.finish();
            extension.reply(R"({"errorCode":)");
            break;
          default:
            extension.reply("7}");
            break;
        }
        return wait.real(count, events, forAll, 10000);
      });
  EXPECT_TRUE(browser.sendCommand(request, 7));
  EXPECT_THAT(waits, ElementsAre(7000U, 7000U, 7000U));
  EXPECT_EQ(browser.errorNumber(), 7);
}

TEST_F(PipeBrowserExchange, SendsARequestThatIsLongerThanThePipesBuffersWhole) {
  const json::Object request = showRequest(moreThanAPipeHolds());
  const std::string text = requestText(request);
  extension.play([&](ExtensionPeer& peer) {
    peer.receive(text.size());
    peer.reply(kTestReply);
  });
  EXPECT_TRUE(browser.sendCommand(request, 10));
  extension.finish();
  EXPECT_EQ(extension.requests(), text);
}

TEST_F(PipeBrowserExchange, SendsTheRestOfARequestThatWasTakenInPart) {
  replyWith({kTestReply});
  SubstitutedCall<&WindowsCalls::writeFile> write(
      [&](HANDLE handle, const void* bytes, DWORD length, DWORD* count, OVERLAPPED* overlapped) {
        return write.real(handle, bytes, std::min<DWORD>(length, 15), count, overlapped);
      });
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  extension.finish();
  EXPECT_EQ(extension.requests(), kTestRequest);
  const std::string request = kTestRequest;
  const auto sending = [&](std::size_t from) {
    return "Client: sending message to server [" + request.substr(from) +
           "], msg len=" + std::to_string(request.size() - from);
  };
  ASSERT_EQ(request.size(), 34U);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info(sending(0))
                            .info(sending(15))
                            .info(sending(30))
                            .info("Client: Message sent, receiving response")
                            .info(readMessage(31))
                            .info("Client: handling response..")
                            .text());
}

TEST_F(PipeBrowserExchange, TriesAgainAfterAWriteThatTookNothing) {
  replyWith({kTestReply});
  SubstitutedCall<&WindowsCalls::writeFile> write(
      [&](HANDLE handle, const void* bytes, DWORD length, DWORD* count, OVERLAPPED* overlapped) {
        return write.count() == 1 ? TRUE : write.real(handle, bytes, length, count, overlapped);
      });
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  EXPECT_EQ(write.count(), 2);
  extension.finish();
  EXPECT_EQ(extension.requests(), kTestRequest);
}

TEST_F(PipeBrowserExchange, ARequestThatCannotBeSentIsLogged) {
  const SubstitutedCall<&WindowsCalls::writeFile> write(
      [](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return failWith(ERROR_NO_DATA, FALSE); });
  EXPECT_FALSE(browser.sendCommand(testRequest(), 10));
  expectError(-1, "Error while sending request");
  EXPECT_EQ(log.text(),
            ExpectedLog()
                .info(std::string("Client: sending message to server [") + kTestRequest + "], msg len=34")
                .error("pipe_write: data write error 232")
                .error("BrowserInstance::sendCommand() Error while sending request, error=-1")
                .text());
}

TEST_F(PipeBrowserExchange, ARequestToAnExtensionThatHungUpCannotBeSent) {
  extension.hangUp();
  EXPECT_FALSE(browser.sendCommand(testRequest(), 10));
  expectError(-1, "Error while sending request");
}

TEST_F(PipeBrowserExchange, ARequestThatIsNotTakenInTimeIsLogged) {
  const json::Object request = showRequest(moreThanAPipeHolds());
  const std::string text = requestText(request);
  const WaitsEndWith wait(WAIT_TIMEOUT);
  EXPECT_FALSE(browser.sendCommand(request, 1));
  expectError(-3, "Error while sending request");
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info("Client: sending message to server [" + text +
                                  "], msg len=" + std::to_string(text.size()))
                            .error("pipe_write: timeout")
                            .error("BrowserInstance::sendCommand() Error while sending request, error=-3")
                            .text());
  // The connection ends before the instance does: the request is still on its way and nobody takes it.
  extension.hangUp();
}

TEST_F(PipeBrowserExchange, ARequestWhoseWaitIsCancelledIsLogged) {
  const json::Object request = showRequest(moreThanAPipeHolds());
  const WaitsEndWith wait(WAIT_OBJECT_0 + 1);
  EXPECT_FALSE(browser.sendCommand(request, 1));
  expectError(-4, "Error while sending request");
  extension.hangUp();
}

TEST_F(PipeBrowserExchange, AResponseThatDoesNotComeInTimeIsLogged) {
  extension.play([](ExtensionPeer& peer) { peer.receive(kTestRequestSize); });
  EXPECT_FALSE(browser.sendCommand(testRequest(), 1));
  expectError(-3, "Error while receiving response");
  EXPECT_EQ(withoutNumbersAfter("receive message, error ", log.text()),
            expectedRequest()
                .error("pipe_read: timeout")
                .info(readMessage(-3))
                .error("BrowserInstance::sendCommand() Couldn't receive message, error N")
                .text());
  extension.finish();
  EXPECT_TRUE(extension.isConnected());
}

TEST_F(PipeBrowserExchange, AResponseThatCannotBeReadIsLogged) {
  const SubstitutedCall<&WindowsCalls::readFile> read(
      [](HANDLE, void*, DWORD, DWORD*, OVERLAPPED*) { return failWith(ERROR_ACCESS_DENIED, FALSE); });
  replyWith({});
  EXPECT_FALSE(browser.sendCommand(testRequest(), 10));
  expectError(-1, "Error while receiving response");
  EXPECT_EQ(log.text(), expectedRequest()
                            .error("pipe_read: read error 5")
                            .info(readMessage(-1))
                            .error("BrowserInstance::sendCommand() Couldn't receive message, error 5")
                            .text());
}

TEST_F(PipeBrowserExchange, AResponseWhoseWaitIsCancelledIsLogged) {
  replyWith({});
  const WaitsEndWith wait(WAIT_OBJECT_0 + 1, ERROR_OPERATION_ABORTED);
  EXPECT_FALSE(browser.sendCommand(testRequest(), 10));
  expectError(-4, "Error while receiving response");
  EXPECT_EQ(log.text(), expectedRequest()
                            .info(readMessage(-4))
                            .error("BrowserInstance::sendCommand() Couldn't receive message, error 995")
                            .text());
}

TEST_F(PipeBrowserExchange, AnExtensionThatHangsUpInsteadOfAnsweringIsLogged) {
  extension.play([](ExtensionPeer& peer) {
    peer.receive(kTestRequestSize);
    peer.hangUp();
  });
  EXPECT_FALSE(browser.sendCommand(testRequest(), 10));
  expectError(-1, "Server unexpectedly closed connection");
  EXPECT_EQ(withoutNumbersAfter("gla=", log.text()),
            expectedRequest()
                .info(readMessage(0))
                .error("BrowserInstance::sendCommand() Server unexpectedly closed connection, gla=N")
                .text());
}

TEST_F(PipeBrowserExchange, AnExtensionThatHangsUpWithinItsResponseIsLoggedWithTheLastError) {
  std::size_t reads = 0;
  const SubstitutedCall<&WindowsCalls::readFile> read(
      [&](HANDLE, void* buffer, DWORD, DWORD* count, OVERLAPPED*) {
        if (++reads > 1) {
          return failWith(ERROR_BROKEN_PIPE, FALSE);
        }
        *static_cast<char*>(buffer) = '{';
        *count = 1;
        return TRUE;
      });
  EXPECT_FALSE(browser.sendCommand(testRequest(), 10));
  expectError(-1, "Server unexpectedly closed connection");
  EXPECT_EQ(log.text(),
            expectedRequest()
                .info(readMessage(1))
                .info(readMessage(0))
                .error("BrowserInstance::sendCommand() Server unexpectedly closed connection, gla=109")
                .text());
}

TEST_F(PipeBrowserExchange, AResponseThatIsNoJsonIsLogged) {
  replyWith({"{no"});
  EXPECT_FALSE(browser.sendCommand(testRequest(), 10));
  expectError(-1, "Error in response processing");
  EXPECT_EQ(log.text(),
            expectedRequest()
                .info(readMessage(3))
                .error("BrowserInstance::processResponseBytes() Can not parse char n(110) at position "
                       "1, responce chunk '{no'")
                .error("BrowserInstance::sendCommand() Error in response processing")
                .text());
}

TEST_F(PipeBrowserExchange, WithoutAConnectionCannotBeBegun) {
  PipeBrowserInstance other("cr", profile);
  EXPECT_FALSE(other.sendCommand(testRequest(), 10));
  EXPECT_EQ(other.errorNumber(), -1);
  EXPECT_EQ(other.errorText(), "Error while sending request");
  EXPECT_EQ(log.text(),
            ExpectedLog()
                .info(std::string("Client: sending message to server [") + kTestRequest + "], msg len=34")
                .error("BrowserInstance::sendCommand() Error while sending request, error=-1")
                .text());
}

// After a time-out the next response that arrives counts as the next request's.
TEST_F(PipeBrowserExchange, ALateResponseIsTheNextRequests) {
  {
    const WaitsEndWith wait(WAIT_TIMEOUT);
    ASSERT_FALSE(browser.sendCommand(testRequest(), 1));
  }
  extension.play([](ExtensionPeer& peer) {
    peer.receive(kTestRequestSize);
    peer.reply(R"({"status":"late","errorCode":7})");
    peer.receive(kTestRequestSize);
  });
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  expectError(7, "late");
  extension.finish();
  EXPECT_EQ(extension.requests(), std::string(kTestRequest) + kTestRequest);
}

TEST_F(PipeBrowserExchange, APartOfALateResponseIsNotLost) {
  {
    const WaitsEndWith wait(WAIT_TIMEOUT);
    ASSERT_FALSE(browser.sendCommand(testRequest(), 1));
  }
  extension.reply(R"({"status":"in two )");
  extension.play([](ExtensionPeer& peer) {
    peer.receive(2 * kTestRequestSize);
    peer.reply(R"(parts","errorCode":8})");
  });
  EXPECT_TRUE(browser.sendCommand(testRequest(), 10));
  expectError(8, "in two parts");
}

TEST_F(PipeBrowserExchange, AnInstanceThatTimedOutCanBeDestroyed) {
  ExtensionPeer peer(serverPipe);
  peer.play([](ExtensionPeer& other) { other.takeHost(); });
  {
    PipeBrowserInstance other("cr", profile);
    ASSERT_TRUE(other.connect(10));
    peer.finish();
    peer.play([](ExtensionPeer& reading) { reading.receiveToEnd(); });
    const WaitsEndWith wait(WAIT_TIMEOUT);
    EXPECT_FALSE(other.sendCommand(testRequest(), 1));
  }
  peer.finish();
  EXPECT_EQ(peer.requests(), kTestRequest);
}

}  // namespace

}  // namespace kx

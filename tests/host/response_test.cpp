// Answers of every shape, well-formed or not, and what a host sees of them.
#include "host/host_test.h"
#include "support/win32/debugger_lines.h"

#include <string>
#include <vector>

namespace {

class Answer : public AttachedHostTest {
 protected:
  int play(const std::string& text) {
    extension.answers(text);
    return dll.kx_Play(context, "macro", 10);
  }

  // The context's error before the answer that is tested.
  void errorIs(const std::string& number, const std::string& status) {
    play("{\"status\":\"" + status + "\",\"errorCode\":" + number + "}");
    log.clear();
  }

  void expectError(int number, const std::string& text) {
    EXPECT_EQ(dll.kx_GetLastErrorNumber(context), number);
    EXPECT_EQ(dll.lastErrorText(context), text);
  }

  static HostLog& received(HostLog& expected, std::size_t bytes) {
    return expected.sent(playRequest("macro"))
        .info("Client: Read " + std::to_string(bytes) + " bytes from communication pipe");
  }

  // The whole log of a play whose answer was refused at a byte.
  static std::string refused(const std::string& answer, const std::string& shown, int code, int position) {
    HostLog expected;
    received(expected, answer.size());
    expected.error("BrowserInstance::processResponseBytes() Can not parse char " + shown + "(" +
                   std::to_string(code) + ") at position " + std::to_string(position) + ", responce chunk '" +
                   answer + "'");
    return expected.error("BrowserInstance::sendCommand() Error in response processing").text();
  }

  // The whole log of a play whose answer was complete but could not be read.
  static std::string unreadable(const std::string& answer, const std::string& complaint) {
    HostLog expected;
    received(expected, answer.size()).info("Client: handling response..");
    return expected.error("BrowserInstance::handleResponse() Caught json::" + complaint).text();
  }
};

TEST_F(Answer, OfMembersInAnyOrderIsReadWhole) {
  EXPECT_EQ(play("{\"profilerData\":\"p\",\"extractData\":[\"e\"],\"unknown\":{\"a\":[null,true,1.5e3]},"
                 "\"errorCode\":1,\"lastPerformance\":[{\"value\":\"v\",\"name\":\"n\"}],\"status\":\"s\"}"),
            KX_OK);

  char name[2] = {};
  char value[2] = {};
  int size = 2;
  expectError(1, "s");
  EXPECT_EQ(dll.extract(context, 1), "e");
  EXPECT_EQ(dll.profilerData(context), "p");
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, name, &size, value, &size), KX_OK);
  EXPECT_STREQ(name, "n");
  EXPECT_STREQ(value, "v");
}

TEST_F(Answer, WithoutMembersSetsErrorZeroAndTheEmptyText) {
  errorIs("1", "before");

  EXPECT_EQ(play("{}"), KX_FAILED);

  expectError(0, "");
}

TEST_F(Answer, WithMembersOfOtherTypesGivesTheirDefaults) {
  EXPECT_EQ(
      play("{\"status\":5,\"errorCode\":\"1\",\"extractData\":\"text\",\"lastPerformance\":{\"name\":1},"
           "\"waitForProcessId\":\"x\",\"profilerData\":[1]}"),
      KX_FAILED);

  int size = 0;
  expectError(0, "");
  EXPECT_EQ(dll.kx_GetLastExtract(context, nullptr, 0, 1), 0);
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, nullptr, &size, nullptr, &size), KX_FAILED);
  EXPECT_EQ(dll.kx_GetPerformance(context, nullptr, 0), 1);
}

TEST_F(Answer, WithPerformanceEntriesOfOtherTypesGivesEmptyOnes) {
  play("{\"errorCode\":1,\"lastPerformance\":[5,{\"name\":6,\"value\":\"v\"}]}");

  int nameSize = 0;
  int valueSize = 0;
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, nullptr, &nameSize, nullptr, &valueSize), KX_OK);
  EXPECT_EQ(nameSize, 1);
  EXPECT_EQ(valueSize, 1);
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 2, nullptr, &nameSize, nullptr, &valueSize), KX_OK);
  EXPECT_EQ(nameSize, 1);
  EXPECT_EQ(valueSize, 2);
}

TEST_F(Answer, MayHaveBlanksAndLineEndsAroundIt) {
  const std::string answer = " \t\r\n{ \"errorCode\" :\n1\t}";

  EXPECT_EQ(play(answer), KX_OK);

  HostLog expected;
  EXPECT_EQ(log.text(), received(expected, answer.size()).info("Client: handling response..").text());
}

TEST_F(Answer, InSingleBytesIsReadOnceItIsWhole) {
  const std::string answer = "{\"errorCode\":1,\"status\":\"b}{\"}";
  std::vector<std::string> pieces;
  HostLog expected;
  expected.sent(playRequest("macro"));
  for (const char byte : answer) {
    pieces.emplace_back(1, byte);
    expected.info("Client: Read 1 bytes from communication pipe");
  }
  extension.answersInPieces(pieces);

  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);

  expectError(1, "b}{");
  EXPECT_EQ(log.text(), expected.info("Client: handling response..").text());
}

TEST_F(Answer, OfTenThousandBytesIsReadInThreePieces) {
  const std::string begin = "{\"errorCode\":1,\"status\":\"";
  const std::string status(10000 - begin.size() - 2, 's');

  EXPECT_EQ(play(begin + status + "\"}"), KX_OK);

  expectError(1, status);
  HostLog expected;
  received(expected, 4096)
      .info("Client: Read 4096 bytes from communication pipe")
      .info("Client: Read 1808 bytes from communication pipe")
      .info("Client: handling response..");
  EXPECT_EQ(log.text(), expected.text());
}

TEST_F(Answer, OfAMegabyteIsReadWhole) {
  const std::string status(1000000, 's');

  EXPECT_EQ(play("{\"errorCode\":1,\"status\":\"" + status + "\"}"), KX_OK);

  EXPECT_EQ(dll.lastErrorText(context), status);
}

TEST_F(Answer, ThatTheConnectionCutsShortIsNone) {
  extension.answersThenHangsUp("{\"errorCode\":1,\"sta");

  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_FAILED);

  expectError(-1, "Server unexpectedly closed connection");
  HostLog expected;
  received(expected, 19)
      .info("Client: Read 0 bytes from communication pipe")
      .error("BrowserInstance::sendCommand() Server unexpectedly closed connection, gla=N");
  EXPECT_EQ(withoutNumbersAfter("gla=", log.text()), expected.text());
}

TEST_F(Answer, CannotComeOverAConnectionThatHasBeenClosed) {
  extension.hangsUpNow();

  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), "Error while sending request");
  const std::string request = playRequest("macro");
  EXPECT_EQ(withoutNumbersAfter("write error ", log.text()),
            HostLog()
                .info("Client: sending message to server [" + request +
                      "], msg len=" + std::to_string(request.size()))
                .error("pipe_write: data write error N")
                .error("BrowserInstance::sendCommand() Error while sending request, error=-1")
                .text());
}

TEST_F(Answer, WithAForeignByteIsRefused) {
  errorIs("1", "before");

  EXPECT_EQ(play("{\"status\":x}"), KX_FAILED);

  expectError(-1, "Error in response processing");
  EXPECT_EQ(log.text(), refused("{\"status\":x}", "x", 120, 10));
}

TEST_F(Answer, WithAForeignByteAbove127IsRefusedWithANegativeNumber) {
  EXPECT_EQ(play("{\xC3\xBC}"), KX_FAILED);

  EXPECT_EQ(log.text(), refused("{\xC3\xBC}", "\xC3", -61, 1));
}

TEST_F(Answer, ThatIsAScalarIsRefusedAtItsFirstByte) {
  EXPECT_EQ(play("5"), KX_FAILED);

  EXPECT_EQ(log.text(), refused("5", "5", 53, 0));
}

TEST_F(Answer, WithATabInsideATextIsRefused) {
  EXPECT_EQ(play("{\"a\tb\":1}"), KX_FAILED);

  EXPECT_EQ(log.text(), refused("{\"a\tb\":1}", "\t", 9, 3));
}

TEST_F(Answer, WithPercentSignsIsLoggedAsItIs) {
  EXPECT_EQ(play("%s%n%d"), KX_FAILED);

  EXPECT_EQ(log.text(), refused("%s%n%d", "%", 37, 0));
}

TEST_F(Answer, WithAZeroByteIsLoggedUpToIt) {
  const DebuggerLines debugger;
  EXPECT_EQ(play(std::string("{\0rest", 6)), KX_FAILED);

  HostLog expected;
  received(expected, 6)
      .error(std::string("BrowserInstance::processResponseBytes() Can not parse char \0(0) at position 1, ",
                         79) +
             "responce chunk '{'")
      .error("BrowserInstance::sendCommand() Error in response processing");
  EXPECT_EQ(log.text(), expected.text());
  ASSERT_GE(debugger.lines().size(), 2U);
  EXPECT_EQ(debugger.lines()[debugger.lines().size() - 2],
            errorLine("BrowserInstance::processResponseBytes() Can not parse char "));
}

TEST_F(Answer, IsRefusedAtItsTwentiethOpenBracket) {
  const std::string nineteen = "{\"errorCode\":1,\"a\":" + std::string(18, '[') + std::string(18, ']') + "}";
  const std::string twenty = "{\"a\":" + std::string(19, '[') + std::string(19, ']') + "}";

  EXPECT_EQ(play(nineteen), KX_OK);
  log.clear();
  EXPECT_EQ(play(twenty), KX_FAILED);

  EXPECT_EQ(log.text(), refused(twenty, "[", 91, 23));
}

TEST_F(Answer, ThatWasRefusedLeavesItsBeginningBeforeTheNextOne) {
  ASSERT_EQ(play("{\"a\":\x01"), KX_FAILED);
  log.clear();

  // Read together as {"a":{"errorCode":1}, the next answer has no end.
  const std::string answer = "{\"errorCode\":1}";
  EXPECT_EQ(play(answer), KX_FAILED);

  expectError(-1, "Error in response processing");
  EXPECT_EQ(log.text(),
            unreadable(answer, "ParseException: Unexpected end of token stream , line/offset: 1/20"));
}

TEST_F(Answer, ThatWasRefusedCanBecomePartOfTheNextOne) {
  ASSERT_EQ(play(" \n \x01"), KX_FAILED);

  EXPECT_EQ(play("{\"errorCode\":1,\"status\":\"fine\"}"), KX_OK);

  expectError(1, "fine");
}

TEST_F(Answer, BehindAnotherInOnePieceStaysBeforeTheNextOne) {
  ASSERT_EQ(play("{\"errorCode\":1,\"status\":\"first\"}{\"errorCode\":1,\"status\":\"second\"}"), KX_OK);
  expectError(1, "first");
  log.clear();

  // The left-over answer is whole, and the next one behind it is too much.
  const std::string answer = "{\"errorCode\":3,\"status\":\"third\"}";
  EXPECT_EQ(play(answer), KX_OK);

  expectError(1, "first");
  EXPECT_EQ(log.text(),
            unreadable(answer, "ParseException: Expected End of token stream; found { , line/offset: 1/34"));
}

TEST_F(Answer, ThatCannotBeReadLeavesSuccessAsItWas) {
  errorIs("1", "before");
  const std::string answer = "{\"errorCode\":7,\"errorCode\":8}";

  EXPECT_EQ(play(answer), KX_OK);

  expectError(1, "before");
  EXPECT_EQ(
      log.text(),
      unreadable(answer, "ParseException: Duplicate object member token: errorCode , line/offset: 1/16"));
}

TEST_F(Answer, ThatCannotBeReadLeavesAnErrorAsItWas) {
  errorIs("7", "before");

  EXPECT_EQ(play("{\"errorCode\":1,\"errorCode\":1}"), KX_FAILED);

  expectError(-7, "before");
}

TEST_F(Answer, ThatIsAnArrayCannotBeRead) {
  errorIs("7", "before");

  EXPECT_EQ(play("\n [1]"), KX_FAILED);

  expectError(-7, "before");
  EXPECT_EQ(log.text(), unreadable("\n [1]", "ParseException: Unexpected token: [ , line/offset: 2/2"));
}

TEST_F(Answer, ThatCannotBeScannedLeavesTheErrorAsItWas) {
  errorIs("7", "before");
  ASSERT_EQ(play("{\"a\x01"), KX_FAILED);
  log.clear();

  // Read together as {"a{"b":1}: behind the text stands a letter that begins nothing.
  EXPECT_EQ(play("{\"b\":1}"), KX_FAILED);

  expectError(-1, "Error in response processing");
  EXPECT_EQ(log.text(),
            unreadable("{\"b\":1}", "ScanException: Unexpected character in stream: b, line/offset: 1/6 "));
}

TEST_F(Answer, HasItsEscapesUndone) {
  play("{\"errorCode\":1,\"status\":\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u0041\\u00e4\\ud83d\\ude00\"}");

  expectError(1, "\"\\/\b\f\n\r\tA\xC3\xA4\xF0\x9F\x98\x80");
}

TEST_F(Answer, MayHoldBytesThatAreNoUtf8) {
  play("{\"errorCode\":1,\"status\":\"\xFF\x80\xC3\"}");

  expectError(1, "\xFF\x80\xC3");
}

TEST_F(Answer, MayHoldHalfASurrogatePair) {
  play("{\"errorCode\":1,\"status\":\"a\\ud83db\"}");

  expectError(1,
              "a\xEF\xBF\xBD"
              "b");
}

TEST_F(Answer, WithAnExponentDirectlyBehindAZeroIsRefused) {
  EXPECT_EQ(play("{\"errorCode\":0e5}"), KX_FAILED);

  EXPECT_EQ(log.text(), refused("{\"errorCode\":0e5}", "e", 101, 14));
}

TEST_F(Answer, TakesNumbersInEveryForm) {
  EXPECT_EQ(play("{\"errorCode\":1.}"), KX_OK);
  EXPECT_EQ(play("{\"errorCode\":0.1e1}"), KX_OK);
  EXPECT_EQ(play("{\"errorCode\":10E-1}"), KX_OK);
  EXPECT_EQ(play("{\"errorCode\":1.e0}"), KX_OK);
  EXPECT_EQ(play("{\"errorCode\":-0}"), KX_FAILED);
  expectError(0, "");
  EXPECT_EQ(play("{\"errorCode\":0.e5}"), KX_FAILED);
  expectError(0, "");
  EXPECT_EQ(play("{\"errorCode\":0.5e1}"), KX_FAILED);
  expectError(-5, "");
}

}  // namespace

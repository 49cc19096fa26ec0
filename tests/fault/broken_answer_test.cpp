// Answers that are no answers: garbage, cut, doubled, nested too deeply. The error number and text are what
// the host sees; the next answers show what such an answer leaves behind.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

namespace {

class BrokenAnswer : public Conversation {
 protected:
  void attachAndPlayOnce() {
    attach(browser_);
    ASSERT_EQ(play("extract first\nstatus first"), KX_OK);
  }

  // What the log of one rejected byte says; the byte is written as C sees it.
  static std::string rejected(const std::string& byte, int value, int position, const std::string& piece) {
    return "BrowserInstance::processResponseBytes() Can not parse char " + byte + "(" +
           std::to_string(value) + ") at position " + std::to_string(position) + ", responce chunk '" +
           piece + "'";
  }

  SimulatedBrowser browser_;
  const LogFile log_;
};

TEST_F(BrokenAnswer, GarbageFailsThePlay) {
  browser_.script("on play 2 reply nonsense");
  attachAndPlayOnce();

  EXPECT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_GENERAL);
  EXPECT_EQ(errorText(), "Error in response processing");
  EXPECT_EQ(occurrences(log_.text(), "Error: " + rejected("n", 110, 0, "nonsense") + "\n"), 1);
  EXPECT_EQ(occurrences(log_.text(), "Error: BrowserInstance::sendCommand() Error in response processing\n"),
            1);
}

TEST_F(BrokenAnswer, AfterGarbageTheConversationGoesOn) {
  browser_.script("on play 2 reply nonsense");
  attachAndPlayOnce();
  ASSERT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(play("extract again"), KX_OK);

  EXPECT_EQ(extract(), "again");
  EXPECT_EQ(errorNumber(), KX_ERROR_SUCCESS);
}

TEST_F(BrokenAnswer, AZeroByteIsRejected) {
  browser_.script("on play 2 reply \\x00{}");
  attachAndPlayOnce();

  EXPECT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(occurrences(log_.text(), "Error: " + rejected(std::string(1, '\0'), 0, 0, "") + "\n"), 1);
}

TEST_F(BrokenAnswer, AByteAboveAsciiIsNamedAsANegativeNumber) {
  browser_.script("on play 2 reply {\"a\":\\xff}");
  attachAndPlayOnce();

  EXPECT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(occurrences(log_.text(), "Error: " + rejected("\xff", -1, 5, "{\"a\":\xff}") + "\n"), 1);
}

TEST_F(BrokenAnswer, ATabInATextIsRejected) {
  browser_.script("on play 2 reply {\"a\\x09\":1}");
  attachAndPlayOnce();

  EXPECT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(occurrences(log_.text(), "Error: " + rejected("\t", 9, 3, "{\"a\t\":1}") + "\n"), 1);
}

TEST_F(BrokenAnswer, ARejectedAnswerKeepsTheVariables) {
  browser_.script("on play 2 reply nonsense");
  attachAndPlayOnce();
  setVariable("city", "Oslo");
  ASSERT_EQ(play(""), KX_FAILED);

  ASSERT_EQ(play("x"), KX_FAILED);

  EXPECT_EQ(browser_.request(4), playRequest("x", {{"city", "Oslo"}}));
}

// The bytes before the rejected one stay, and the next answer is appended to them.
TEST_F(BrokenAnswer, WhatCameBeforeTheRejectedByteSpoilsTheNextAnswer) {
  browser_.script("on play 2 reply {\"a\":!");
  attachAndPlayOnce();
  ASSERT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(play("extract again"), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_GENERAL) << "the number of the rejected answer";
  EXPECT_EQ(errorText(), "Error in response processing");
  EXPECT_EQ(extract(), "");
  EXPECT_EQ(occurrences(log_.text(),
                        "Error: BrowserInstance::handleResponse() Caught json::ParseException: Unexpected "
                        "end of token stream , line/offset: "),
            1);
  EXPECT_EQ(play("extract once more"), KX_OK);
  EXPECT_EQ(extract(), "once more");
}

TEST_F(BrokenAnswer, OfTwoAnswersInOneTheFirstCounts) {
  browser_.script("on play 2 twice");
  attachAndPlayOnce();

  EXPECT_EQ(play("extract second\nstatus second"), KX_OK);

  EXPECT_EQ(extract(), "second");
  EXPECT_EQ(errorText(), "second");
}

TEST_F(BrokenAnswer, TheSecondOfTwoAnswersSpoilsTheNext) {
  browser_.script("on play 2 twice");
  attachAndPlayOnce();
  ASSERT_EQ(play("status second"), KX_OK);

  EXPECT_EQ(play("extract third\nstatus third"), KX_OK) << "the number before it was success";

  EXPECT_EQ(extract(), "");
  EXPECT_EQ(errorText(), "second");
  const std::string doubled = browser_.reply(3);
  EXPECT_EQ(occurrences(
                log_.text(),
                "Error: BrowserInstance::handleResponse() Caught json::ParseException: Expected End of token "
                "stream; found { , line/offset: 1/" +
                    std::to_string(doubled.size() / 2 + 1) + "\n"),
            1);
  EXPECT_EQ(play("extract fourth"), KX_OK);
  EXPECT_EQ(extract(), "fourth");
}

TEST_F(BrokenAnswer, BytesBehindAnAnswerSpoilTheNext) {
  browser_.script("on play 2 append {\"status\":");
  attachAndPlayOnce();
  ASSERT_EQ(play("status second"), KX_OK);
  EXPECT_EQ(errorText(), "second");

  EXPECT_EQ(play("status third"), KX_OK);

  EXPECT_EQ(errorText(), "second");
}

TEST_F(BrokenAnswer, AnAnswerThatIsCutOffFailsThePlay) {
  browser_.script("on play 2 cut 10");
  attachAndPlayOnce();

  EXPECT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_GENERAL);
  EXPECT_EQ(errorText(), "Server unexpectedly closed connection");
  EXPECT_EQ(occurrences(log_.text(), "Client: Read 10 bytes from communication pipe\n"), 1);
  EXPECT_EQ(occurrences(log_.text(), "Client: Read 0 bytes from communication pipe\n"), 1);
  EXPECT_EQ(occurrences(log_.text(),
                        "Error: BrowserInstance::sendCommand() Server unexpectedly closed connection, gla="),
            1);
}

TEST_F(BrokenAnswer, ABrowserThatHangsUpBeforeItAnswersFailsThePlay) {
  browser_.script("on play 2 hang-up");
  attachAndPlayOnce();

  EXPECT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_GENERAL);
  EXPECT_EQ(errorText(), "Server unexpectedly closed connection");
}

TEST_F(BrokenAnswer, ABrowserThatHungUpAfterItsAnswerFailsTheNextPlay) {
  const NamedEvent gone;
  browser_.script("on play 2 send");
  browser_.script("on play 2 hang-up");
  browser_.script("on gone set-event " + gone.name());
  attachAndPlayOnce();
  ASSERT_EQ(play("extract second"), KX_OK);
  ASSERT_TRUE(gone.wait());

  EXPECT_EQ(play("x"), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_GENERAL);
  EXPECT_EQ(errorText(), "Error while sending request");
  EXPECT_EQ(occurrences(log_.text(),
                        "Error: BrowserInstance::sendCommand() Error while sending request, error=-1\n"),
            1);
  EXPECT_EQ(occurrences(log_.text(), "Error: pipe_write: data write error 232\n"), 1);
}

TEST_F(BrokenAnswer, ABrowserThatHungUpKeepsTheVariables) {
  browser_.script("on play 2 hang-up");
  attachAndPlayOnce();
  setVariable("city", "Oslo");
  ASSERT_EQ(play(""), KX_FAILED);
  const LogFile log;

  ASSERT_EQ(play("x"), KX_FAILED);

  const std::string request = playRequest("x", {{"city", "Oslo"}});
  EXPECT_EQ(occurrences(log.text(), "Client: sending message to server [" + request + "]"), 1);
}

TEST_F(BrokenAnswer, NineteenLevelsAreAnAnswer) {
  browser_.script("on play 2 nesting 18");
  attachAndPlayOnce();

  EXPECT_EQ(play("extract second"), KX_OK);

  EXPECT_EQ(extract(), "second");
}

TEST_F(BrokenAnswer, TheTwentiethLevelIsRejected) {
  browser_.script("on play 2 nesting 19");
  attachAndPlayOnce();

  EXPECT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(errorText(), "Error in response processing");
  const std::string reply = browser_.reply(3);
  const auto twentieth = static_cast<int>(reply.find("[[") + 18);
  EXPECT_EQ(occurrences(log_.text(), "Error: " + rejected("[", '[', twentieth, reply) + "\n"), 1);
}

struct Refusal {
  const char* name;
  const char* reply;
  const char* message;
};

class RefusedAnswer : public BrokenAnswer, public ::testing::WithParamInterface<Refusal> {};

// Such an answer leaves the number and text of the one before.
TEST_P(RefusedAnswer, LeavesTheOutcomeOfTheAnswerBefore) {
  browser_.script(std::string("on play 2 reply ") + GetParam().reply);
  attachAndPlayOnce();

  EXPECT_EQ(play("x"), KX_OK);

  EXPECT_EQ(errorNumber(), KX_ERROR_SUCCESS);
  EXPECT_EQ(errorText(), "first");
  EXPECT_EQ(extract(), "") << "the play forgot them before it was sent";
  EXPECT_EQ(occurrences(log_.text(), std::string("Error: BrowserInstance::handleResponse() Caught json::") +
                                         GetParam().message + "\n"),
            1);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RefusedAnswer,
    ::testing::Values(Refusal{"TopLevelArray", "[1]",
                              "ParseException: Unexpected token: [ , line/offset: 1/1"},
                      Refusal{"DuplicateMember", R"({"status":"a",\n "status":"b"})",
                              "ParseException: Duplicate object member token: status , line/offset: 2/2"}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(BrokenAnswer, AfterARefusedAnswerTheConversationGoesOn) {
  browser_.script("on play 2 reply [1]");
  attachAndPlayOnce();
  ASSERT_EQ(play("x"), KX_OK);

  EXPECT_EQ(play("extract third"), KX_OK);

  EXPECT_EQ(extract(), "third");
}

TEST_F(BrokenAnswer, ABrowserThatDiesInTheMiddleOfARequestFailsThePlay) {
  browser_.script("on before-request 3 read 5");
  browser_.script("on before-request 3 die 3");
  attachAndPlayOnce();

  EXPECT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_GENERAL);
  EXPECT_EQ(errorText(), "Server unexpectedly closed connection");
}

}  // namespace

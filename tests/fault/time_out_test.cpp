// Requests that time out, and what comes after: the exit, the next request, the late answer. The operation
// that was given up is still pending then.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <array>
#include <thread>

namespace {

class TimeOut : public Conversation {
 protected:
  SimulatedBrowser browser_;
};

TEST_F(TimeOut, AnUnansweredPlayFails) {
  browser_.script("on play no-reply");
  attach(browser_);
  const LogFile log;

  EXPECT_EQ(play("x", 1), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_TIMEOUT);
  EXPECT_EQ(errorText(), "Error while receiving response");
  const std::string request = playRequest("x");
  EXPECT_EQ(withoutNumbersAfter("receive message, error ", log.text()),
            ExpectedLog()
                .info("Client: sending message to server [" + request +
                      "], msg len=" + std::to_string(request.size()))
                .info("Client: Message sent, receiving response")
                .error("pipe_read: timeout")
                .info("Client: Read -3 bytes from communication pipe")
                .error("BrowserInstance::sendCommand() Couldn't receive message, error N")
                .text());
}

TEST_F(TimeOut, AnUnansweredPlayKeepsTheVariables) {
  browser_.script("on play 1 no-reply");
  attach(browser_);
  setVariable("city", "Oslo");
  ASSERT_EQ(play("x", 1), KX_FAILED);

  ASSERT_EQ(play("extract $(city)"), KX_OK);

  EXPECT_EQ(browser_.request(3), playRequest("extract $(city)", {{"city", "Oslo"}}));
  EXPECT_EQ(extract(), "Oslo");
}

TEST_F(TimeOut, APlayWithoutATimeoutWaits) {
  browser_.script("on play delay 1200");
  attach(browser_);

  EXPECT_EQ(play("extract x", 0), KX_OK);
}

TEST_F(TimeOut, ANegativeTimeoutWaits) {
  browser_.script("on play delay 1200");
  attach(browser_);

  EXPECT_EQ(play("extract x", -1), KX_OK);
}

TEST_F(TimeOut, EveryPieceOfAnAnswerHasTheWholeTimeout) {
  browser_.script("on play pieces 5 5 5");
  browser_.script("on play between 600");
  attach(browser_);

  EXPECT_EQ(play("extract x", 1), KX_OK);

  EXPECT_EQ(extract(), "x");
}

TEST_F(TimeOut, ALaunchedBrowserEndsByItselfAfterAnUnansweredPlay) {
  browser_.script("on play no-reply");
  browser_.script("on exit exit-code 7");
  launch(browser_);
  const ObservedProcess process = browser_.process();
  ASSERT_EQ(play("x", 1), KX_FAILED);
  const LogFile log;

  EXPECT_EQ(exit(), KX_OK);

  EXPECT_EQ(process.exitCode(), 7U);
  EXPECT_EQ(browser_.request(3), exitRequest());
  EXPECT_EQ(occurrences(log.text(), "Error: "), 0);
}

// Each answer is read before the browser goes on, or two of them might come in one read.
TEST_F(TimeOut, ALateAnswerCountsAsThatOfTheNextRequest) {
  const NamedEvent go;
  browser_.script("on play 1 wait-event " + go.name());
  browser_.script("on play send");
  attach(browser_);
  ASSERT_EQ(play("extract first", 1), KX_FAILED);
  go.signal();

  EXPECT_EQ(play("extract second"), KX_OK);
  EXPECT_EQ(extract(), "first");
  EXPECT_EQ(play("extract third"), KX_OK);
  EXPECT_EQ(extract(), "second");

  EXPECT_EQ(browser_.request(2), playRequest("extract first"));
  EXPECT_EQ(browser_.request(3), playRequest("extract second"));
}

// Nothing of an answer is lost when it comes between two requests, while the read that was given up is still
// pending.
TEST_F(TimeOut, AnAnswerThatCameBetweenTwoRequestsIsNotLost) {
  const NamedEvent go;
  const NamedEvent taken;
  browser_.script("on play 1 wait-event " + go.name());
  browser_.script("on play 1 send");
  browser_.script("on play 1 set-event " + taken.name());
  attach(browser_);
  ASSERT_EQ(play("extract first", 1), KX_FAILED);
  go.signal();
  ASSERT_TRUE(taken.wait());

  EXPECT_EQ(play("extract second"), KX_OK);

  EXPECT_EQ(extract(), "first");
}

TEST_F(TimeOut, AnAnswerThatStoppedHalfWayGoesOnWithTheNextRequest) {
  const NamedEvent go;
  browser_.script("on play 1 send 10");
  browser_.script("on play 1 wait-event " + go.name());
  attach(browser_);
  ASSERT_EQ(play("extract first", 1), KX_FAILED);
  go.signal();

  EXPECT_EQ(play("extract second"), KX_OK);

  EXPECT_EQ(extract(), "first");
}

// The late answer is larger than one read, so that a part of it waits in the pipe.
TEST_F(TimeOut, ALateAnswerOfManyReadsIsReadWhole) {
  const NamedEvent go;
  browser_.script("on play 1 wait-event " + go.name());
  browser_.script("on play 1 extract-table 300 100");
  attach(browser_);
  ASSERT_EQ(play("", 1), KX_FAILED);
  go.signal();

  EXPECT_EQ(play("extract second"), KX_OK);

  EXPECT_EQ(dll_.kx_GetLastExtract(context_, nullptr, 0, 0), 300 * 100 + 299 * 9 + 1);
}

// Two answers in one read would count as one: what follows the first is kept for the one after it.
TEST_F(TimeOut, TwoTimeOutsInARowLoseNothing) {
  const NamedEvent go;
  const NamedEvent goOn;
  browser_.script("on play 1 wait-event " + go.name());
  browser_.script("on play 2 wait-event " + goOn.name());
  browser_.script("on play send");
  attach(browser_);
  ASSERT_EQ(play("extract first", 1), KX_FAILED);
  ASSERT_EQ(play("extract second", 1), KX_FAILED);
  go.signal();

  EXPECT_EQ(play("extract third"), KX_OK);
  EXPECT_EQ(extract(), "first");
  goOn.signal();
  EXPECT_EQ(dll_.kx_Display(context_, "hello", 30), KX_OK);
  EXPECT_EQ(extract(), "first[EXTRACT]second");
  EXPECT_EQ(browser_.request(3), playRequest("extract second"));
}

// The read that was given up is still pending: its bytes arrive while the host runs other code on the same
// stack.
TEST_F(TimeOut, ALateAnswerIsNotWrittenIntoTheHostsStack) {
  const NamedEvent go;
  const NamedEvent taken;
  browser_.script("on play 1 extract-fill 3000");
  browser_.script("on play 1 wait-event " + go.name());
  browser_.script("on play 1 send");
  browser_.script("on play 1 set-event " + taken.name());
  attach(browser_);
  ASSERT_EQ(play("", 1), KX_FAILED);

  const auto isUntouched = [&] {
    std::array<volatile char, 200000> stack;
    for (volatile char& c : stack) {
      c = 'k';
    }
    go.signal();
    EXPECT_TRUE(taken.wait());
    return std::all_of(stack.begin(), stack.end(), [](const volatile char& c) { return c == 'k'; });
  };

  EXPECT_TRUE(isUntouched());
}

class UnreadRequest : public TimeOut {
 protected:
  const std::string macro_ = std::string(1000000, 'm');
};

TEST_F(UnreadRequest, AMacroThatIsNotReadTimesOut) {
  const NamedEvent go;
  browser_.script("on before-request 2 wait-event " + go.name());
  attach(browser_);
  const LogFile log;

  EXPECT_EQ(play(macro_, 1), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_TIMEOUT);
  EXPECT_EQ(errorText(), "Error while sending request");
  const std::string request = playRequest(macro_);
  EXPECT_TRUE(log.text() == ExpectedLog()
                                .info("Client: sending message to server [" + request +
                                      "], msg len=" + std::to_string(request.size()))
                                .error("pipe_write: timeout")
                                .error("BrowserInstance::sendCommand() Error while sending request, error=-3")
                                .text());
}

// The exit's request waits for the end of the macro's, gives up, and the browser is killed: everything within
// the time-outs.
TEST_F(UnreadRequest, ALaunchedBrowserThatDoesNotReadIsKilledAtTheExit) {
  browser_.script("on before-request 2 hold");
  launch(browser_);
  const ObservedProcess process = browser_.process();
  ASSERT_EQ(play(macro_, 1), KX_FAILED);
  const LogFile log;

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_EQ(process.exitCode(), 0U);
  EXPECT_FALSE(isInitialised());
  const std::string request = exitRequest();
  const std::string text = log.text();
  const std::string upToTheClose =
      ExpectedLog()
          .info("Client: sending message to server [" + request +
                "], msg len=" + std::to_string(request.size()))
          .error("pipe_write: timeout")
          .error("BrowserInstance::sendCommand() Error while sending request, error=-3")
          .error("BrowserInstance::terminate() failed, kill browser process")
          .text();
  EXPECT_EQ(text.substr(0, upToTheClose.size()), upToTheClose);
}

TEST_F(UnreadRequest, ABrowserThatWasAttachedToIsLeftRunningAtTheExit) {
  const NamedEvent go;
  browser_.script("on before-request 2 wait-event " + go.name());
  attach(browser_);
  ASSERT_EQ(play(macro_, 1), KX_FAILED);
  // The close that follows waits until the browser has read what lies in the pipe.
  const LogSignal whenGivenUp("kill browser process", 1, [&] { go.signal(); });

  EXPECT_EQ(exit(1), KX_OK);

  EXPECT_TRUE(browser_.isRunning());
  EXPECT_EQ(init({}), KX_OK);
  EXPECT_EQ(play("extract again"), KX_OK);
}

TEST_F(UnreadRequest, WhenTheBrowserReadsAgainTheNextRequestFollowsTheWholeMacro) {
  const NamedEvent go;
  browser_.script("lenient-macros");
  browser_.script("on before-request 2 wait-event " + go.name());
  browser_.script("on play send");
  attach(browser_);
  ASSERT_EQ(play(macro_, 1), KX_FAILED);
  go.signal();

  EXPECT_EQ(play("extract second"), KX_OK);

  EXPECT_TRUE(browser_.request(2) == playRequest(macro_));
  EXPECT_EQ(extract(), "") << "the answer to the macro that timed out";
  EXPECT_EQ(dll_.kx_Display(context_, "hello", 30), KX_OK);
  EXPECT_EQ(extract(), "second");
  EXPECT_EQ(browser_.request(3), playRequest("extract second"));
}

TEST_F(UnreadRequest, ASecondRequestThatCannotBeWrittenTimesOutToo) {
  const NamedEvent go;
  browser_.script("on before-request 2 wait-event " + go.name());
  attach(browser_);
  ASSERT_EQ(play(macro_, 1), KX_FAILED);
  const LogFile log;

  EXPECT_EQ(dll_.kx_Display(context_, "hello", 1), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_TIMEOUT);
  EXPECT_EQ(errorText(), "Error while sending request");
  EXPECT_EQ(occurrences(log.text(), "Error: pipe_write: timeout\n"), 1);
}

}  // namespace

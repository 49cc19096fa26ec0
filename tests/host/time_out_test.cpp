// Requests that are not answered in time, and what hosts do afterwards. What becomes of an operation that is
// still pending is tested at the pipe.
#include "host/host_test.h"

#include <string>
#include <thread>
#include <vector>

namespace {

class TimedOut : public AttachedHostTest {
 protected:
  // A play that gets no answer within its second.
  void playWithoutAnswer() {
    extension.staysSilent();
    ASSERT_EQ(play("slow", 1), KX_FAILED);
  }
};

TEST_F(TimedOut, ATimedOutPlayIsToldAsErrorMinusThreeAndCanBeFollowedByAnExit) {
  playWithoutAnswer();

  expectError(-3, "Error while receiving response");
  HostLog expected;
  expected.sent(playRequest("slow"))
      .error("pipe_read: timeout")
      .read(-3)
      .error("BrowserInstance::sendCommand() Couldn't receive message, error N");
  EXPECT_EQ(withoutNumbersAfter("receive message, error ", log.text()), expected.text());
  log.clear();
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
  expectLog(HostLog().exchanged(exitRequest()));
  EXPECT_TRUE(extension.awaitGoodbye());
}

TEST_F(TimedOut, ATimedOutPlayCanBeFollowedByAnExitThatIsNotAnsweredEither) {
  playWithoutAnswer();
  extension.staysSilent();

  EXPECT_EQ(dll.kx_Exit(context, 1), KX_OK);

  EXPECT_TRUE(extension.awaitGoodbye());
  Extension again(defaultPipe());
  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  EXPECT_EQ(play(), KX_OK);
}

TEST_F(TimedOut, ATimedOutPlayIsAnsweredLateAndTheAnswerCountsAsTheNextOnes) {
  playWithoutAnswer();
  extension.says(R"({"status":"late","errorCode":5})");
  extension.answers(R"({"status":"second","errorCode":6})");

  EXPECT_EQ(play("second"), KX_FAILED);
  expectError(-5, "late");
  EXPECT_EQ(dll.kx_Display(context, "third", 10), KX_OK);
  expectError(-6, "second");

  EXPECT_EQ(extension.awaitRequests(4),
            (std::vector<std::string>{initRequest(false, false), playRequest("slow"), playRequest("second"),
                                      showRequest("third")}));
}

TEST_F(TimedOut, ATimedOutPlayLosesNoByteOfALateAnswerThatIsLargerThanTheBuffers) {
  playWithoutAnswer();
  extension.staysSilent();
  const std::string status(20000, 's');
  std::thread late([&] { extension.says(R"({"errorCode":5,"status":")" + status + "\"}"); });

  EXPECT_EQ(play("next", 30), KX_FAILED);

  late.join();
  expectError(-5, status);
}

TEST_F(TimedOut, ATimedOutPlayInAThreadThatHasEndedCanBeFollowedUpInAnother) {
  std::thread([this] { playWithoutAnswer(); }).join();

  EXPECT_EQ(play("second"), KX_OK);
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
}

TEST_F(TimedOut,
       ATimedOutPlayToABrowserThatStopsReadingMakesTheNextRequestTimeOutBehindItAndTheBrowserCanBeLeft) {
  const std::string large(1000000, 'm');
  extension.stopsReading();
  ASSERT_EQ(play("the last that is read"), KX_OK);
  log.clear();

  EXPECT_EQ(play(large, 1), KX_FAILED);
  expectError(-3, "Error while sending request");
  EXPECT_EQ(dll.kx_Display(context, "behind", 1), KX_FAILED);
  expectError(-3, "Error while sending request");

  const std::string failure = "BrowserInstance::sendCommand() Error while sending request, error=-3";
  expectLog(HostLog()
                .sending(playRequest(large))
                .error("pipe_write: timeout")
                .error(failure)
                .info("show message behind")
                .sending(showRequest("behind"))
                .error("pipe_write: timeout")
                .error(failure));
  extension.hangsUpNow();
  EXPECT_EQ(dll.kx_Exit(context, 1), KX_OK);
  EXPECT_EQ(play("macro", 1), KX_FAILED);
}

}  // namespace

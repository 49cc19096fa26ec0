// Requests that are not answered in time, and what hosts do afterwards.
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
    ASSERT_EQ(dll.kx_Play(context, "slow", 1), KX_FAILED);
  }
};

TEST_F(TimedOut, IsToldAsErrorMinusThree) {
  playWithoutAnswer();

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -3);
  EXPECT_EQ(dll.lastErrorText(context), "Error while receiving response");
  EXPECT_EQ(withoutNumbersAfter("receive message, error ", log.text()),
            HostLog()
                .sent(playRequest("slow"))
                .error("pipe_read: timeout")
                .info("Client: Read -3 bytes from communication pipe")
                .error("BrowserInstance::sendCommand() Couldn't receive message, error N")
                .text());
}

TEST_F(TimedOut, CanBeFollowedByAnExit) {
  playWithoutAnswer();
  log.clear();

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  EXPECT_EQ(log.text(), HostLog().exchanged(exitRequest()).text());
  EXPECT_TRUE(extension.awaitGoodbye());
}

TEST_F(TimedOut, CanBeFollowedByAnExitThatIsNotAnsweredEither) {
  playWithoutAnswer();
  extension.staysSilent();

  EXPECT_EQ(dll.kx_Exit(context, 1), KX_OK);

  EXPECT_TRUE(extension.awaitGoodbye());
  FakeExtension again(defaultPipe());
  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
}

TEST_F(TimedOut, CanBeFollowedByMoreRequests) {
  playWithoutAnswer();

  EXPECT_EQ(dll.kx_Play(context, "second", 10), KX_OK);
  EXPECT_EQ(dll.kx_Display(context, "third", 10), KX_OK);

  EXPECT_EQ(extension.requests(), (std::vector<std::string>{initRequest(false, false), playRequest("slow"),
                                                            playRequest("second"), showRequest("third")}));
}

TEST_F(TimedOut, CanHappenAgainAndAgain) {
  playWithoutAnswer();
  playWithoutAnswer();
  playWithoutAnswer();

  EXPECT_EQ(dll.kx_Play(context, "last", 10), KX_OK);
}

TEST_F(TimedOut, IsAnsweredLateAndTheAnswerCountsAsTheNextOnes) {
  playWithoutAnswer();
  extension.says("{\"status\":\"late\",\"errorCode\":5}");
  extension.answers("{\"status\":\"second\",\"errorCode\":6}");

  EXPECT_EQ(dll.kx_Play(context, "second", 10), KX_FAILED);
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -5);
  EXPECT_EQ(dll.lastErrorText(context), "late");

  EXPECT_EQ(dll.kx_Display(context, "third", 10), KX_OK);
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -6);
  EXPECT_EQ(dll.lastErrorText(context), "second");
}

TEST_F(TimedOut, LosesNoByteOfAnAnswerThatIsCutByTheTimeout) {
  extension.answers("{\"status\":\"first ha");
  ASSERT_EQ(dll.kx_Play(context, "slow", 1), KX_FAILED);
  ASSERT_EQ(dll.kx_GetLastErrorNumber(context), -3);
  extension.says("lf and ");
  extension.answers("second\",\"errorCode\":8}");

  EXPECT_EQ(dll.kx_Play(context, "next", 10), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -8);
  EXPECT_EQ(dll.lastErrorText(context), "first half and second");
}

TEST_F(TimedOut, LosesNoByteOfALateAnswerThatIsLargerThanTheBuffers) {
  playWithoutAnswer();
  extension.staysSilent();
  const std::string status(20000, 's');
  std::thread late([&] { extension.says("{\"errorCode\":5,\"status\":\"" + status + "\"}"); });

  EXPECT_EQ(dll.kx_Play(context, "next", 30), KX_FAILED);

  late.join();
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -5);
  EXPECT_EQ(dll.lastErrorText(context), status);
}

TEST_F(TimedOut, InAThreadThatHasEndedCanBeFollowedUpInAnother) {
  std::thread([this] { playWithoutAnswer(); }).join();

  EXPECT_EQ(dll.kx_Play(context, "second", 10), KX_OK);
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
}

TEST_F(TimedOut, KeepsTheVariables) {
  dll.kx_SetVar(context, "name", "value");
  playWithoutAnswer();

  dll.kx_Play(context, "macro", 10);

  EXPECT_EQ(extension.requests().back(), playRequest("macro", "{\n   \"name\" : \"value\"\n  }"));
}

TEST_F(TimedOut, CanBeFollowedByAnotherPlayWhoseBrowserHangsUp) {
  playWithoutAnswer();
  extension.hangsUp();

  EXPECT_EQ(dll.kx_Play(context, "second", 10), KX_FAILED);

  EXPECT_EQ(dll.lastErrorText(context), "Server unexpectedly closed connection");
  EXPECT_EQ(dll.kx_Exit(context, 1), KX_OK);
}

class PeerThatStopsReading : public AttachedHostTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(AttachedHostTest::SetUp());
    extension.stopsReading();
    ASSERT_EQ(dll.kx_Play(context, "the last that is read", 10), KX_OK);
    log.clear();
  }

  const std::string large = std::string(1000000, 'm');
};

TEST_F(PeerThatStopsReading, LetsARequestTimeOut) {
  EXPECT_EQ(dll.kx_Play(context, large.c_str(), 1), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -3);
  EXPECT_EQ(dll.lastErrorText(context), "Error while sending request");
  const std::string request = playRequest(large);
  EXPECT_EQ(log.text(), HostLog()
                            .info("Client: sending message to server [" + request +
                                  "], msg len=" + std::to_string(request.size()))
                            .error("pipe_write: timeout")
                            .error("BrowserInstance::sendCommand() Error while sending request, error=-3")
                            .text());
}

TEST_F(PeerThatStopsReading, LetsTheNextRequestTimeOutBehindTheFirst) {
  ASSERT_EQ(dll.kx_Play(context, large.c_str(), 1), KX_FAILED);
  log.clear();

  EXPECT_EQ(dll.kx_Display(context, "behind", 1), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -3);
  const std::string request = showRequest("behind");
  EXPECT_EQ(log.text(), HostLog()
                            .info("show message behind")
                            .info("Client: sending message to server [" + request +
                                  "], msg len=" + std::to_string(request.size()))
                            .error("pipe_write: timeout")
                            .error("BrowserInstance::sendCommand() Error while sending request, error=-3")
                            .text());
}

TEST_F(PeerThatStopsReading, CanBeLeftOnceItHasGone) {
  ASSERT_EQ(dll.kx_Play(context, large.c_str(), 1), KX_FAILED);
  extension.hangsUpNow();

  EXPECT_EQ(dll.kx_Exit(context, 1), KX_OK);

  EXPECT_EQ(dll.kx_Play(context, "macro", 1), KX_FAILED);
}

}  // namespace

// kx_Exit: the browser is asked, waited for, and ended; the context is free again whatever happens.
#include "host/host_test.h"
#include "support/win32/helper_process.h"

#include <climits>
#include <string>
#include <thread>

namespace {

class Exit : public AttachedHostTest {
 protected:
  static std::string endOf(const std::string& processId) {
    return "{\"status\":\"OK\",\"errorCode\":1,\"waitForProcessId\":" + processId + "}";
  }
  static std::string endOf(const HelperProcess& process) { return endOf(std::to_string(process.id())); }
};

TEST_F(Exit, AsksTheBrowserAndClosesTheConnection) {
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  EXPECT_EQ(extension.requests().at(1), exitRequest());
  EXPECT_TRUE(extension.awaitGoodbye());
  EXPECT_EQ(log.text(), HostLog().exchanged(exitRequest()).text());
}

TEST_F(Exit, LeavesTheContextToBeStartedAgain) {
  ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);
  FakeExtension again(defaultPipe());

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
}

TEST_F(Exit, MayComeFromAnotherThreadThanTheStart) {
  int result = KX_FAILED;

  std::thread([&] { result = dll.kx_Exit(context, 5); }).join();

  EXPECT_EQ(result, KX_OK);
  EXPECT_TRUE(extension.awaitGoodbye());
  FakeExtension again(defaultPipe());
  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
}

TEST_F(Exit, IsRefusedTheSecondTime) {
  ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);
  log.clear();

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_FAILED);

  EXPECT_EQ(log.text(), HostLog().error("kx_Exit() error: not initialized").text());
}

TEST_F(Exit, SucceedsWhateverTheBrowserAnswered) {
  extension.answers("{\"status\":\"no\",\"errorCode\":-5}");

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 0);
}

TEST_F(Exit, SucceedsAlsoWhenTheBrowserHasGone) {
  extension.hangsUpNow();

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  EXPECT_NE(log.text().find("Error: BrowserInstance::terminate() failed, kill browser process\n"),
            std::string::npos);
  EXPECT_EQ(dll.kx_Play(context, "macro", 1), KX_FAILED);
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 0);
}

TEST_F(Exit, SucceedsAlsoWhenTheAnswerIsNone) {
  extension.answers("x");

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  EXPECT_EQ(log.text(),
            HostLog()
                .sent(exitRequest())
                .info("Client: Read 1 bytes from communication pipe")
                .error("BrowserInstance::processResponseBytes() Can not parse char x(120) at position 0, "
                       "responce chunk 'x'")
                .error("BrowserInstance::sendCommand() Error in response processing")
                .error("BrowserInstance::terminate() failed, kill browser process")
                .text());
}

TEST_F(Exit, WaitsForTheProcessThatTheAnswerNames) {
  // Without a time-out of its own the wait is one of ten seconds.
  for (const int timeout : {30, 0, -1}) {
    FakeExtension other(defaultPipe("cr"));
    const int second = dll.kx_ContextCreate();
    ASSERT_EQ(dll.kx_Init(second, "cr", nullptr, nullptr, 0, 0, 30), KX_OK);
    const NamedEvent end;
    const HelperProcess browser({"wait", end.name()});
    other.answers(endOf(browser));
    log.clear();
    std::thread later([&] {
      ::Sleep(100);
      end.signal();
    });

    EXPECT_EQ(dll.kx_Exit(second, timeout), KX_OK);

    EXPECT_FALSE(browser.isRunning());
    later.join();
    EXPECT_EQ(log.text(), HostLog()
                              .exchanged(exitRequest(), endOf(browser).size())
                              .info("Waiting for browser process (" +
                                    std::to_string(static_cast<int>(browser.id())) + ") termination")
                              .text());
  }
}

TEST_F(Exit, EndsAProcessThatDoesNotEndInTime) {
  const NamedEvent never;
  const HelperProcess browser({"wait", never.name()});
  const std::string id = std::to_string(static_cast<int>(browser.id()));
  extension.answers(endOf(browser));

  EXPECT_EQ(dll.kx_Exit(context, 1), KX_OK);

  EXPECT_EQ(browser.exitCode(), 0U);
  EXPECT_EQ(withoutNumbersAfter("exit failed, error ", log.text()),
            HostLog()
                .exchanged(exitRequest(), endOf(browser).size())
                .info("Waiting for browser process (" + id + ") termination")
                .error("Waiting for browser process (" + id + ") exit failed, error N")
                .text());
}

TEST_F(Exit, PassesOverAProcessThatIsNone) {
  extension.answers(endOf("2147483644"));

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  EXPECT_EQ(log.text(), HostLog()
                            .exchanged(exitRequest(), endOf("2147483644").size())
                            .info("Waiting for browser process (2147483644) termination")
                            .error("Waiting for browser process 2147483644 exit failed, error 87")
                            .text());
}

TEST_F(Exit, TakesProcessNumbersBelowZeroForNone) {
  extension.answers(endOf("-4"));

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  EXPECT_EQ(log.text(), HostLog().exchanged(exitRequest(), endOf("-4").size()).text());
}

TEST_F(Exit, TakesProcessNumbersThatAreTooLargeForTheLargest) {
  extension.answers(endOf("1e30"));

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  EXPECT_EQ(log.text(), HostLog()
                            .exchanged(exitRequest(), endOf("1e30").size())
                            .info("Waiting for browser process (-1) termination")
                            .error("Waiting for browser process -1 exit failed, error 87")
                            .text());
}

TEST_F(Exit, DoesNotWaitForAProcessThatAnEarlierAnswerNamed) {
  const NamedEvent end;
  const HelperProcess browser({"wait", end.name()});
  extension.answers(endOf(browser));
  ASSERT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
  EXPECT_EQ(dll.kx_GetBrowserProcessId(context), 0) << "nor is it the browser";
  log.clear();

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  EXPECT_EQ(log.text(), HostLog().exchanged(exitRequest()).text());
  EXPECT_TRUE(browser.isRunning());
}

TEST_F(Exit, DoesNotGiveUpAtOnceWithOddTimeouts) {
  for (const int timeout : {0, -1, INT_MIN, INT_MAX}) {
    FakeExtension other(defaultPipe("cr"));
    const int second = dll.kx_ContextCreate();
    ASSERT_EQ(dll.kx_Init(second, "cr", nullptr, nullptr, 0, 0, 30), KX_OK);
    other.runs([] { ::Sleep(30); });
    log.clear();

    EXPECT_EQ(dll.kx_Exit(second, timeout), KX_OK);

    EXPECT_EQ(log.text(), HostLog().exchanged(exitRequest()).text()) << timeout;
  }
}

}  // namespace

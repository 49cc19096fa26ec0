// kx_Exit: the browser is asked, waited for, and ended; the context is free again whatever happens.
#include "host/host_test.h"
#include "support/win32/helper_process.h"

#include <string>
#include <thread>

namespace {

class Exit : public AttachedHostTest {
 protected:
  static std::string endOf(const HelperProcess& process) {
    return R"({"status":"OK","errorCode":1,"waitForProcessId":)" + std::to_string(process.id()) + "}";
  }
};

TEST_F(Exit, KxExitAsksTheBrowserClosesTheConnectionAndFreesTheContextOnce) {
  playAnswered(R"({"status":"seven","errorCode":7})");
  log.clear();

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_FAILED);

  EXPECT_EQ(extension.requests().at(2), exitRequest());
  EXPECT_TRUE(extension.awaitGoodbye());
  expectLog(HostLog().exchanged(exitRequest()).error("kx_Exit() error: not initialized"));
  expectError(0, "");
}

TEST_F(Exit, KxExitMayComeFromAnotherThreadThanTheStartAndTheContextCanBeStartedAgain) {
  int result = KX_FAILED;

  std::thread([&] { result = dll.kx_Exit(context, 5); }).join();

  EXPECT_EQ(result, KX_OK);
  EXPECT_TRUE(extension.awaitGoodbye());
  Extension again(defaultPipe());
  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  EXPECT_EQ(play(), KX_OK);
}

TEST_F(Exit, KxExitSucceedsWhateverTheBrowserAnswered) {
  extension.answers(R"({"status":"no","errorCode":-5})");

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  expectError(0, "");
}

TEST_F(Exit, KxExitSucceedsAlsoWhenTheAnswerIsNotValidJson) {
  extension.answers("x");

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  expectLog(HostLog()
                .refusedAtOnce(exitRequest(), "x")
                .error("BrowserInstance::terminate() failed, kill browser process"));
  EXPECT_EQ(play(), KX_FAILED);
  expectError(0, "");
}

TEST_F(Exit, KxExitEndsTheProcessThatItsAnswerNamesWhenItDoesNotEndInTime) {
  const NamedEvent never;
  const HelperProcess browser({"wait", never.name()});
  const std::string id = std::to_string(static_cast<int>(browser.id()));
  extension.answers(endOf(browser));

  EXPECT_EQ(dll.kx_Exit(context, 1), KX_OK);

  EXPECT_EQ(browser.exitCode(), 0U);
  EXPECT_EQ(withoutNumbersAfter("exit failed, error ", log.text()),
            HostLog()
                .exchanged(exitRequest(), endOf(browser))
                .info("Waiting for browser process (" + id + ") termination")
                .error("Waiting for browser process (" + id + ") exit failed, error N")
                .text());
}

TEST_F(Exit, KxExitDoesNotWaitForAProcessThatAnEarlierAnswerNamed) {
  const NamedEvent end;
  const HelperProcess browser({"wait", end.name()});
  ASSERT_EQ(playAnswered(endOf(browser)), KX_OK);
  EXPECT_EQ(dll.kx_GetBrowserProcessId(context), 0) << "nor is it the browser";
  log.clear();

  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);

  expectLog(HostLog().exchanged(exitRequest()));
  EXPECT_TRUE(browser.isRunning());
}

}  // namespace

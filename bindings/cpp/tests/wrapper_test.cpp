// The wrapper with the DLL and the simulator: what it makes of results, numbers, texts and buffers, and what
// it refuses before the library is called.
#include "support/environment.h"
#include "support/win32/log_file.h"
#include "support/win32/simulator.h"
#include "support/win32/test_user.h"
#include "support/win32/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <kxtcp64.hpp>
#include <thread>
#include <type_traits>

namespace {

using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

static_assert(std::is_nothrow_move_constructible_v<kx::Browser> &&
              std::is_nothrow_move_assignable_v<kx::Browser>);
static_assert(!std::is_copy_constructible_v<kx::Browser> && !std::is_copy_assignable_v<kx::Browser>);

// The error that a call throws.
template <typename Call>
kx::KxError errorOf(const Call& call) {
  try {
    call();
  } catch (const kx::KxError& error) {
    return error;
  }
  ADD_FAILURE() << "nothing was thrown";
  return {"", 0, 0, ""};
}

void expectError(const kx::KxError& error, const std::string& call, int result, int number,
                 const std::string& text) {
  EXPECT_EQ(error.call(), call);
  EXPECT_EQ(error.result(), result);
  EXPECT_EQ(error.number(), number);
  EXPECT_EQ(error.text(), text);
}

class CppWrapper : public ::testing::Test {
 protected:
  static const kx::Library& library() {
    static const kx::Library library =
        kx::Library::load(wide(EnvironmentVariable::valueOf("KX_DLL").value_or("KXTCP64.dll")));
    return library;
  }
  kx::StartOptions launchOptions() const {
    kx::StartOptions options;
    options.program = wide(simulator_.program());
    return options;
  }
  // Attaches, which does not take the two seconds that the library gives a browser that it has launched.
  kx::Browser start(kx::StartOptions options = {}) {
    simulator_.start();
    options.attachOnly = true;
    return kx::Browser::start(library(), options);
  }

  TestUser user_;
  SimulatedBrowser simulator_;
};

TEST_F(CppWrapper, APlayGivesEverythingThatItLeft) {
  kx::StartOptions options;
  options.profiler = true;
  kx::Browser browser = start(options);
  browser.setVariable("who", "Grüße, 世界");

  const kx::PlayResult left = browser.play(
      "extract Hello $(who)\nextract \nextract a[EXTRACT]b\nextract \nperformance load 0.25\nperformance "
      "none \n");

  EXPECT_THAT(left.extracts, ElementsAre("Hello Grüße, 世界", "", "a[EXTRACT]b", ""));
  ASSERT_EQ(left.performance.size(), 2U);
  EXPECT_EQ(left.performance[0].name + "=" + left.performance[0].value, "load=0.25");
  EXPECT_EQ(left.performance[1].name + "=" + left.performance[1].value, "none=");
  EXPECT_THAT(left.profilerData.value_or(""), HasSubstr("line 1: extract"));
}

TEST_F(CppWrapper, APlayThatLeavesNothingGivesNothing) {
  const kx::PlayResult left = start().play("");

  EXPECT_THAT(left.extracts, IsEmpty());
  EXPECT_THAT(left.performance, IsEmpty());
  EXPECT_EQ(left.profilerData, std::nullopt);
}

TEST_F(CppWrapper, ATextOfManyMegabytesComesWhole) {
  kx::Browser browser = start();

  const std::vector<std::string> extracts = browser.play("fill 16000000\nextract end").extracts;

  ASSERT_EQ(extracts.size(), 2U);
  EXPECT_EQ(extracts[0].size(), 16000000U);
  EXPECT_THAT(extracts[0], StartsWith("abcdef"));
  EXPECT_EQ(extracts[1], "end");
}

TEST_F(CppWrapper, AMacroThatFailsTellsCallResultNumberAndText) {
  kx::Browser browser = start();

  const kx::KxError error = errorOf([&] { browser.play("extract first\nfail -50 There is no such button"); });

  expectError(error, "kx_Play", KX_FAILED, -50, "There is no such button");
  EXPECT_STREQ(error.what(), "kx_Play failed: result -1, error -50: There is no such button");
  EXPECT_THAT(browser.lastPlay().extracts, ElementsAre("first"));
  EXPECT_THAT(browser.play("extract second").extracts, ElementsAre("second")) << "the browser is still good";
}

TEST_F(CppWrapper, ALaunchThatFailsTellsWindowsNumber) {
  kx::StartOptions options = launchOptions();
  options.program = wide(simulator_.folder() + "\\none.exe");

  expectError(errorOf([&] { kx::Browser::start(library(), options); }), "kx_Init", 2, -2,
              "Browser binary " + simulator_.folder() + "\\none.exe doesn't exists");
}

TEST_F(CppWrapper, AnErrorInTheAnswerToAStartIsThrownAndTheBrowserClosed) {
  simulator_.script("on init result -7 The extension is too old");

  expectError(errorOf([&] { start(); }), "kx_Init", KX_OK, -7, "The extension is too old");

  EXPECT_FALSE(simulator_.isRunning());
}

TEST_F(CppWrapper, AnErrorInTheAnswerToAMessageOrAScreenshotIsThrown) {
  simulator_.script("on show result -8 There is no window");
  kx::Browser browser = start();

  expectError(errorOf([&] { browser.show("Hello"); }), "kx_Display", KX_OK, -8, "There is no window");
  EXPECT_EQ(errorOf([&] { browser.screenshot("Q:\\none\\page.png"); }).number(), -930);
}

TEST_F(CppWrapper, AScreenshotIsWrittenToAPathInAnyScript) {
  kx::Browser browser = start();
  const std::filesystem::path page = wide(user_.temp() + "\\страница.png");
  const std::filesystem::path whole = wide(user_.temp() + "\\whole.png");

  browser.screenshot(page);
  browser.screenshot(whole, kx::ScreenshotArea::Browser);

  EXPECT_TRUE(std::filesystem::exists(page));
  EXPECT_TRUE(std::filesystem::exists(whole));
  EXPECT_THAT(simulator_.recorded("request-1-2.bin"), HasSubstr("webpage"));
  EXPECT_THAT(simulator_.recorded("request-1-3.bin"), HasSubstr("browser"));
}

TEST_F(CppWrapper, AfterATimeOutRequestsAreRefusedWithTheRemedy) {
  simulator_.script("on play 1 no-reply");
  kx::Browser browser = start();
  EXPECT_EQ(errorOf([&] { browser.play("extract late", seconds(1)); }).number(), KX_ERROR_TIMEOUT);

  expectError(
      errorOf([&] { browser.play("extract next"); }), "kx_Play", KX_FAILED, KX_ERROR_TIMEOUT,
      "an earlier request has timed out, and its late answer would count as the next one's; close this "
      "browser and start another");
  EXPECT_EQ(errorOf([&] { browser.show("next"); }).call(), "kx_Display");
  EXPECT_EQ(errorOf([&] { browser.screenshot("next.png"); }).call(), "kx_TakeBrowserScreenshot");
  EXPECT_EQ(errorOf([&] { browser.setVariable("next", ""); }).call(), "kx_SetVar");

  EXPECT_EQ(simulator_.events("conn=1 request").size(), 2U) << "start and play";
}

TEST_F(CppWrapper, AMacrosOwnErrorWithTheNumberOfATimeOutIsNone) {
  kx::Browser browser = start();
  EXPECT_EQ(errorOf([&] { browser.play("fail -3 The page took too long"); }).number(), KX_ERROR_TIMEOUT);

  EXPECT_THAT(browser.play("extract next").extracts, ElementsAre("next"));
}

TEST_F(CppWrapper, AfterAnAnswerThatIsNotValidRequestsAreRefused) {
  simulator_.script("on play 1 reply {]");
  kx::Browser browser = start();
  EXPECT_EQ(errorOf([&] { browser.play(""); }).text(), "Error in response processing");

  EXPECT_THAT(errorOf([&] { browser.play(""); }).text(), StartsWith("an earlier answer was not valid"));
}

TEST_F(CppWrapper, ABrowserThatGoesClosesItsBrowser) {
  {
    kx::Browser first = kx::Browser::start(library(), launchOptions());
    EXPECT_EQ(first.processId(), std::optional<unsigned long>(simulator_.processId()));
    const kx::Browser second = std::move(first);
    EXPECT_EQ(errorOf([&] { first.play(""); }).text(), "this Browser was moved to another one");
    EXPECT_TRUE(simulator_.isRunning());
  }
  EXPECT_FALSE(simulator_.isRunning());
}

TEST_F(CppWrapper, AClosedBrowserRefusesEverythingButAnotherClose) {
  kx::Browser browser = start();
  browser.exit();
  EXPECT_FALSE(simulator_.isRunning());

  browser.exit();
  expectError(errorOf([&] { browser.play(""); }), "kx_Play", KX_NO_CONTEXT, KX_ERROR_NONE,
              "the browser was closed");
}

TEST_F(CppWrapper, AFailedStartLeavesNoContext) {
  const LogFile log;
  simulator_.script("on init hang-up");

  expectError(errorOf([&] { start(); }), "kx_Init", KX_FAILED, KX_ERROR_GENERAL,
              "Server unexpectedly closed connection");

  const kx::Functions& dll = library().functions();
  const int next = dll.kx_ContextCreate();
  dll.kx_ContextDestroy(next);
  EXPECT_EQ(next, 0) << "the lowest number is free again";
  EXPECT_THAT(log.text(), Not(HasSubstr("kx_Exit"))) << "there is nothing to exit";
}

TEST_F(CppWrapper, AnAttachTakesARunningBrowserAndLaunchesNone) {
  kx::StartOptions attach;
  attach.attachOnly = true;
  attach.timeout = seconds(1);
  EXPECT_EQ(errorOf([&] { kx::Browser::start(library(), attach); }).text(),
            "no running browser serves the extension's pipe, and attachOnly launches none");
  simulator_.start();

  kx::Browser browser = kx::Browser::start(library(), attach);

  EXPECT_EQ(browser.processId(), std::nullopt);
  EXPECT_THAT(browser.play("extract here").extracts, ElementsAre("here"));
}

TEST_F(CppWrapper, CallsOfSeveralThreadsWaitForOneAnother) {
  simulator_.script("on play between 1");
  simulator_.script("on play chunk 20");
  kx::Browser browser = start();
  const auto playTen = [&](const std::string& name) {
    for (int index = 0; index < 10; ++index) {
      EXPECT_THAT(browser.play("extract " + name).extracts, ElementsAre(name));
    }
  };

  std::thread other([&] { playTen("other"); });
  playTen("this");
  other.join();
}

TEST_F(CppWrapper, ARunnersBrowserIsStartedByItsHost) {
  kx::StartOptions options;
  options.profile = "my " + uniqueName("own");
  simulator_.start(kx::Browser::runnerArguments(library(), options));

  kx::Browser browser = kx::Browser::startRunner(library(), options);

  EXPECT_EQ(simulator_.pipe(), "\\\\.\\pipe\\" + *options.profile + ".runner");
  EXPECT_THAT(browser.play("extract here").extracts, ElementsAre("here"));
}

TEST_F(CppWrapper, ARunnersStartNeedsATimeOutWithAnEnd) {
  kx::StartOptions options;
  options.profile = "work";
  options.timeout = kx::Timeout::none();

  expectError(errorOf([&] { kx::Browser::startRunner(library(), options); }), "kxr_Init", KX_FAILED,
              KX_ERROR_NONE, "a runner's timeout has an end, for it sets the number of attempts");
}

TEST_F(CppWrapper, OptionsReachTheBrowserAsTheyAre) {
  kx::StartOptions firefox = launchOptions();
  firefox.profile = "-my a=b -runner";
  kx::Browser::start(library(), firefox);
  EXPECT_THAT(simulator_.commandLine(), HasSubstr("-P \"-my a=b -runner\""));

  kx::StartOptions chrome = launchOptions();
  chrome.browser = kx::BrowserType::Chrome;
  chrome.userDataDir = L"C:\\my данные";
  kx::Browser::start(library(), chrome);
  EXPECT_THAT(simulator_.commandLine(), HasSubstr("--user-data-dir=\"C:\\my данные\""));
}

TEST_F(CppWrapper, OptionsThatCannotBeMeantAreRefusedBeforeALaunch) {
  const auto refused = [&](void (*set)(kx::StartOptions&)) {
    kx::StartOptions options = launchOptions();
    set(options);
    const kx::KxError error = errorOf([&] { kx::Browser::start(library(), options); });
    EXPECT_EQ(error.call(), "kx_Init");
    EXPECT_EQ(error.result(), KX_FAILED);
    EXPECT_EQ(error.number(), KX_ERROR_NONE);
    return error.text();
  };

  EXPECT_THAT(refused([](auto& options) { options.profile = "a\"b"; }), HasSubstr("double quote"));
  EXPECT_THAT(refused([](auto& options) { options.profile = "a\nb"; }), HasSubstr("control character"));
  EXPECT_THAT(refused([](auto& options) { options.profile = std::string("a\0b", 3); }),
              HasSubstr("control character"));
  EXPECT_THAT(refused([](auto& options) { options.profile = ""; }), HasSubstr("is empty"));
  EXPECT_THAT(refused([](auto& options) { options.profile = "C:\\a\\"; }), HasSubstr("backslash"));
  EXPECT_THAT(refused([](auto& options) { options.userDataDir = "C:\\a"; }), HasSubstr("is for Chrome"));
  EXPECT_THAT(refused([](auto& options) {
                options.browser = kx::BrowserType::Chrome;
                options.profile = "a";
              }),
              HasSubstr("is for Firefox"));
  EXPECT_THAT(refused([](auto& options) { options.attachOnly = true; }),
              HasSubstr("attachOnly launches no program"));
  EXPECT_THAT(refused([](auto& options) { options.program = ""; }), HasSubstr("no path"));
  EXPECT_FALSE(simulator_.hasRecorded("command-line.txt"));

  kx::StartOptions runner;
  EXPECT_THAT(errorOf([&] { kx::Browser::runnerArguments(library(), runner); }).text(),
              HasSubstr("needs a profile"));
  EXPECT_EQ(errorOf([&] { kx::Browser::startRunner(library(), runner); }).call(), "kxr_Init");
}

TEST_F(CppWrapper, TextsThatWouldArriveCutOrSpoilTheRequestAreRefused) {
  kx::Browser browser = start();
  const std::string zero("a\0b", 3);

  for (const std::string& name : {std::string("a\"b"), std::string("a\\b"), std::string("a\tb"), zero}) {
    EXPECT_THAT(errorOf([&] { browser.setVariable(name, ""); }).text(),
                StartsWith("the variable's name holds"));
  }
  EXPECT_EQ(errorOf([&] { browser.setVariable("a", zero); }).text(),
            "the variable's value holds a zero character");
  EXPECT_EQ(errorOf([&] { browser.play(zero); }).text(), "the macro holds a zero character");
  EXPECT_EQ(errorOf([&] { browser.show(zero); }).text(), "the message holds a zero character");

  EXPECT_EQ(simulator_.events("conn=1 request").size(), 1U) << "the start alone";
}

TEST(CppTimeout, IsRoundedUpToWholeSeconds) {
  EXPECT_EQ(kx::Timeout(std::chrono::milliseconds(1)).seconds(), 1);
  EXPECT_EQ(kx::Timeout(std::chrono::milliseconds(1000)).seconds(), 1);
  EXPECT_EQ(kx::Timeout(std::chrono::milliseconds(1001)).seconds(), 2);
  EXPECT_EQ(kx::Timeout(std::chrono::minutes(2)).seconds(), 120);
  EXPECT_EQ(kx::Timeout(seconds(2147483647)).seconds(), 2147483647);
  EXPECT_EQ(kx::Timeout::none().seconds(), 0);
}

TEST(CppTimeout, ThatIsNoneOrTooLongIsRefused) {
  for (const std::int64_t count : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{2147483648}}) {
    EXPECT_EQ(errorOf([&] { const kx::Timeout timeout{std::chrono::duration<std::int64_t>(count)}; }).call(),
              "kx::Timeout")
        << count;
  }
}

TEST(CppLibrary, ThatIsNotThereIsToldWithWindowsNumber) {
  expectError(errorOf([] { kx::Library::load(L"no such library.dll"); }), "kx::Library::load", 126, -126,
              "no such library.dll cannot be loaded");
}

TEST(CppLibrary, WithoutTheFunctionsIsRefused) {
  EXPECT_THAT(errorOf([] { kx::Library::load(L"kernel32.dll"); }).text(),
              EndsWith("kernel32.dll has no function kx_ContextCreate"));
}

}  // namespace

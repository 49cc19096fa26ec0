// Ending a browser: the exit request, the wait for the process that the answer names, and who is killed when.
#include "process/win32/browser_shutdown.h"

#include "support/fake_browser.h"
#include "support/win32/log_file.h"
#include "support/win32/windows_calls_override.h"
#include "win32/process/recorded_processes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace kx {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kExitRequest[] = R"({"type":"exit","args":{}})";
constexpr DWORD kWaitAndKill = 0x100001;
constexpr DWORD kKill = 1;

std::string exitAnswer(std::uint32_t processId) {
  return R"({"status":"bye","errorCode":1,"waitForProcessId":)" + std::to_string(processId) + "}";
}

// The text of a request without what is no content: the extension reads JSON.
std::string withoutBlanks(std::string text) {
  std::erase_if(text, [](char c) { return c == ' ' || c == '\n' || c == '\t'; });
  return text;
}

class ExitRequest : public testing::Test {
 protected:
  FakeBrowser instance;
  LogFile log;
};

TEST_F(ExitRequest, IsSentWithTheCallersTimeout) {
  EXPECT_TRUE(terminate(instance, 17));
  ASSERT_EQ(instance.sent.size(), 1U);
  EXPECT_EQ(withoutBlanks(instance.sent[0].text), kExitRequest);
  EXPECT_EQ(instance.sent[0].timeoutSeconds, 17);
  EXPECT_EQ(log.text(), "");
}

TEST_F(ExitRequest, HandsOutTheProcessThatWillEndAndLeavesItInTheInstance) {
  instance.answer(exitAnswer(4294967295U));
  std::uint32_t id = 5;
  EXPECT_TRUE(terminate(instance, 1, &id));
  EXPECT_EQ(id, 4294967295U);
  EXPECT_EQ(instance.waitForProcessId(), 4294967295U);
}

TEST_F(ExitRequest, HandsOutZeroWhenTheAnswerNamesNoProcess) {
  std::uint32_t id = 5;
  EXPECT_TRUE(terminate(instance, 1, &id));
  EXPECT_EQ(id, 0U);
}

TEST_F(ExitRequest, NeedsNoPlaceForTheProcess) {
  instance.answer(exitAnswer(7));
  EXPECT_TRUE(terminate(instance, 1, nullptr));
  EXPECT_EQ(instance.waitForProcessId(), 7U);
}

TEST_F(ExitRequest, ThatSucceedsWaitsForNobodyAndKillsNobody) {
  const Browser browser;
  instance.answer(exitAnswer(browser.id()));
  const RecordedOpens opens;
  EXPECT_TRUE(terminate(instance, 1));
  EXPECT_THAT(opens.opened, IsEmpty());
  EXPECT_TRUE(browser.isRunning());
}

TEST_F(ExitRequest, ThatFailsIsLoggedAndKeepsTheErrorOfTheExchange) {
  instance.failExchange(-3, "Error while receiving response");
  instance.setBrowserProcessId(4242);
  const RecordedOpens opens;
  std::uint32_t id = 5;
  EXPECT_FALSE(terminate(instance, 1, &id));
  EXPECT_EQ(id, 5U);
  EXPECT_EQ(instance.errorNumber(), -3);
  EXPECT_EQ(instance.errorText(), "Error while receiving response");
  EXPECT_EQ(log.text(), ExpectedLog().error("BrowserInstance::terminate() failed").text());
  EXPECT_THAT(opens.opened, IsEmpty());
}

class ExitAndWait : public testing::Test {
 protected:
  FakeBrowser instance;
  LogFile log;
};

TEST_F(ExitAndWait, SendsTheExitRequestWithTheCallersTimeout) {
  EXPECT_TRUE(terminateAndWait(instance, 17));
  ASSERT_EQ(instance.sent.size(), 1U);
  EXPECT_EQ(withoutBlanks(instance.sent[0].text), kExitRequest);
  EXPECT_EQ(instance.sent[0].timeoutSeconds, 17);
}

TEST_F(ExitAndWait, AnAnswerThatNamesNoProcessIsEnough) {
  instance.setBrowserProcessId(4242);
  const RecordedOpens opens;
  EXPECT_TRUE(terminateAndWait(instance, 1));
  EXPECT_THAT(opens.opened, IsEmpty());
  EXPECT_EQ(log.text(), "");
}

TEST_F(ExitAndWait, WaitsForTheProcessThatTheAnswerNames) {
  const Browser browser;
  instance.answer(exitAnswer(browser.id()));
  const RecordedOpens opens;
  const RecordedKills kills;
  SubstitutedCall<&WindowsCalls::waitForSingleObject> wait([&](HANDLE handle, DWORD milliseconds) {
    EXPECT_EQ(handle, opens.handles[0]);
    EXPECT_EQ(instance.waitForProcessId(), 0U);
    browser.end();
    return wait.real(handle, milliseconds);
  });
  EXPECT_TRUE(terminateAndWait(instance, 20));
  EXPECT_FALSE(browser.isRunning());
  EXPECT_THAT(opens.opened, ElementsAre(OpenedProcess{kWaitAndKill, browser.id()}));
  EXPECT_FALSE(isOpen(opens.handles[0]));
  EXPECT_THAT(kills.killed, IsEmpty());
  EXPECT_EQ(instance.errorNumber(), 1);
  EXPECT_EQ(instance.errorText(), "bye");
  EXPECT_EQ(log.text(),
            ExpectedLog().info("Waiting for browser process (" + browser.idText() + ") termination").text());
}

TEST_F(ExitAndWait, TellsTheWaitBeforeTheProcessIsOpened) {
  instance.answer(exitAnswer(4294967295U));
  SubstitutedCall<&WindowsCalls::openProcess> open([&](DWORD, BOOL, DWORD) {
    EXPECT_EQ(instance.waitForProcessId(), 0U);
    EXPECT_EQ(log.text().substr(
                  0, ExpectedLog().info("Waiting for browser process (-1) termination").text().size()),
              ExpectedLog().info("Waiting for browser process (-1) termination").text());
    return failWith(ERROR_ACCESS_DENIED, HANDLE{});
  });
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_EQ(open.count(), 2);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info("Waiting for browser process (-1) termination")
                            .error("Waiting for browser process -1 exit failed, error 5")
                            .text());
}

TEST_F(ExitAndWait, DoesNotWaitAgainForAProcessOfAnEarlierAnswer) {
  const Browser browser;
  instance.answer(exitAnswer(browser.id()));
  browser.end();
  ASSERT_TRUE(terminateAndWait(instance, 20));
  EXPECT_EQ(instance.waitForProcessId(), 0U);
  const RecordedOpens opens;
  instance.answer(R"({"status":"bye"})");
  EXPECT_TRUE(terminateAndWait(instance, 20));
  EXPECT_THAT(opens.opened, IsEmpty());
}

struct ShutdownWait {
  int seconds;
  DWORD milliseconds;
};

class ExitAndWaitTimeout : public testing::TestWithParam<ShutdownWait> {};

TEST_P(ExitAndWaitTimeout, BecomesMilliseconds) {
  const Browser browser;
  FakeBrowser instance;
  instance.answer(exitAnswer(browser.id()));
  const ProcessWaitEndsWith wait(WAIT_OBJECT_0);
  EXPECT_TRUE(terminateAndWait(instance, GetParam().seconds));
  EXPECT_THAT(wait.waits, ElementsAre(GetParam().milliseconds));
}

std::string waitName(const testing::TestParamInfo<ShutdownWait>& wait) {
  const int seconds = wait.param.seconds;
  return seconds < 0 ? "Minus" + std::to_string(seconds).substr(1) : std::to_string(seconds);
}

INSTANTIATE_TEST_SUITE_P(Seconds, ExitAndWaitTimeout,
                         testing::Values(ShutdownWait{5, 5000U}, ShutdownWait{1, 1000U},
                                         ShutdownWait{0, 10000U}, ShutdownWait{-1, 10000U},
                                         ShutdownWait{std::numeric_limits<int>::min(), 10000U},
                                         ShutdownWait{std::numeric_limits<int>::max(), 4294967294U}),
                         waitName);

TEST_F(ExitAndWait, AProcessThatIsGoneAlreadyCannotBeWaitedFor) {
  const Browser browser;
  instance.answer(exitAnswer(browser.id()));
  const RecordedOpens opens(2, ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_THAT(opens.opened,
              ElementsAre(OpenedProcess{kWaitAndKill, browser.id()}, OpenedProcess{kKill, browser.id()}));
  EXPECT_EQ(instance.errorNumber(), -1);
  EXPECT_EQ(instance.errorText(), "Waiting for browser process exit failed");
  EXPECT_EQ(instance.waitForProcessId(), 0U);
  EXPECT_EQ(log.text(),
            ExpectedLog()
                .info("Waiting for browser process (" + browser.idText() + ") termination")
                .error("Waiting for browser process " + browser.idText() + " exit failed, error 87")
                .text());
}

TEST_F(ExitAndWait, AnIdThatNoProcessHasCannotBeWaitedFor) {
  instance.answer(exitAnswer(0x7FFFFFF0U));
  const RecordedKills kills;
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_EQ(instance.errorNumber(), -1);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info("Waiting for browser process (2147483632) termination")
                            .error("Waiting for browser process 2147483632 exit failed, error 87")
                            .text());
  EXPECT_THAT(kills.killed, IsEmpty());
}

TEST_F(ExitAndWait, AProcessThatCannotBeWaitedForIsKilledIfItCanBe) {
  const Browser browser;
  instance.answer(exitAnswer(browser.id()));
  const RecordedOpens opens(1);
  const RecordedKills kills;
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_THAT(opens.opened,
              ElementsAre(OpenedProcess{kWaitAndKill, browser.id()}, OpenedProcess{kKill, browser.id()}));
  EXPECT_THAT(kills.killed, ElementsAre(TerminatedProcess{opens.handles[1], 0}));
  EXPECT_FALSE(isOpen(opens.handles[1]));
  EXPECT_EQ(browser.exitCode(), 0U);
  EXPECT_EQ(log.text(),
            ExpectedLog()
                .info("Waiting for browser process (" + browser.idText() + ") termination")
                .error("Waiting for browser process " + browser.idText() + " exit failed, error 5")
                .text());
}

TEST_F(ExitAndWait, AProcessThatDoesNotEndInTimeIsKilledThroughTheOpenHandle) {
  const Browser browser;
  instance.answer(exitAnswer(browser.id()));
  const RecordedOpens opens;
  const RecordedKills kills;
  const ProcessWaitEndsWith wait(WAIT_TIMEOUT, ERROR_GEN_FAILURE);
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_EQ(instance.errorNumber(), -3);
  EXPECT_EQ(instance.errorText(), "Timeout waiting browser process exit");
  EXPECT_THAT(opens.opened, ElementsAre(OpenedProcess{kWaitAndKill, browser.id()}));
  EXPECT_THAT(kills.killed, ElementsAre(TerminatedProcess{opens.handles[0], 0}));
  EXPECT_FALSE(isOpen(opens.handles[0]));
  EXPECT_EQ(browser.exitCode(), 0U);
  EXPECT_EQ(log.text(),
            ExpectedLog()
                .info("Waiting for browser process (" + browser.idText() + ") termination")
                .error("Waiting for browser process (" + browser.idText() + ") exit failed, error 31")
                .text());
}

TEST_F(ExitAndWait, ARealTimeoutPassesBeforeTheProcessIsKilled) {
  const Browser browser;
  instance.answer(exitAnswer(browser.id()));
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  EXPECT_EQ(instance.errorNumber(), -3);
  EXPECT_EQ(browser.exitCode(), 0U);
}

TEST_F(ExitAndWait, AFailedWaitIsToldApartAndTheProcessKilled) {
  const Browser browser;
  instance.answer(exitAnswer(browser.id()));
  const RecordedKills kills;
  const ProcessWaitEndsWith wait(WAIT_FAILED, ERROR_INVALID_HANDLE);
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_EQ(instance.errorNumber(), -1);
  EXPECT_EQ(instance.errorText(), "Waiting for browser process exit failed");
  EXPECT_EQ(kills.killed.size(), 1U);
  EXPECT_EQ(browser.exitCode(), 0U);
  EXPECT_EQ(log.text(),
            ExpectedLog()
                .info("Waiting for browser process (" + browser.idText() + ") termination")
                .error("Waiting for browser process (" + browser.idText() + ") exit failed, error 6")
                .text());
}

TEST_F(ExitAndWait, AnyOtherResultOfTheWaitIsAFailedWait) {
  const Browser browser;
  instance.answer(exitAnswer(browser.id()));
  const ProcessWaitEndsWith wait(WAIT_ABANDONED);
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_EQ(instance.errorNumber(), -1);
  EXPECT_EQ(instance.errorText(), "Waiting for browser process exit failed");
}

TEST_F(ExitAndWait, AFailedRequestKillsTheBrowserThatWasStarted) {
  const Browser started;
  const Browser named;
  instance.answer(exitAnswer(named.id()));
  ASSERT_TRUE(terminate(instance, 1));
  ASSERT_EQ(instance.waitForProcessId(), named.id());
  instance.failExchange(-3, "Error while sending request");
  instance.setBrowserProcessId(started.id());
  const RecordedOpens opens;
  const RecordedKills kills;
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_THAT(opens.opened, ElementsAre(OpenedProcess{kKill, started.id()}));
  EXPECT_THAT(kills.killed, ElementsAre(TerminatedProcess{opens.handles[0], 0}));
  EXPECT_FALSE(isOpen(opens.handles[0]));
  EXPECT_EQ(started.exitCode(), 0U);
  EXPECT_TRUE(named.isRunning());
  EXPECT_EQ(instance.errorNumber(), -3);
  EXPECT_EQ(instance.errorText(), "Error while sending request");
  EXPECT_EQ(log.text(),
            ExpectedLog().error("BrowserInstance::terminate() failed, kill browser process").text());
}

TEST_F(ExitAndWait, AFailedRequestToABrowserThatWasAttachedToKillsNobodyThoughAnAnswerNamedOne) {
  instance.receive(exitAnswer(4242));
  instance.failExchange(-1, "Server unexpectedly closed connection");
  const RecordedOpens opens;
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_THAT(opens.opened, IsEmpty());
  EXPECT_EQ(instance.errorNumber(), -1);
  EXPECT_EQ(instance.errorText(), "Server unexpectedly closed connection");
  EXPECT_EQ(log.text(),
            ExpectedLog().error("BrowserInstance::terminate() failed, kill browser process").text());
}

TEST_F(ExitAndWait, ABrowserThatCannotBeOpenedIsLeftAloneWithoutAMessage) {
  instance.failExchange(-3, "Error while sending request");
  instance.setBrowserProcessId(4242);
  const RecordedOpens opens(1);
  const RecordedKills kills;
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_THAT(opens.opened, ElementsAre(OpenedProcess{kKill, 4242}));
  EXPECT_THAT(kills.killed, IsEmpty());
  EXPECT_EQ(log.text(),
            ExpectedLog().error("BrowserInstance::terminate() failed, kill browser process").text());
}

}  // namespace

}  // namespace kx

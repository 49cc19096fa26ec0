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
#include <string>
#include <vector>

namespace kx {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr DWORD kWaitAndKill = 0x100001;
constexpr DWORD kKill = 1;

std::string exitAnswer(std::uint32_t processId) {
  return R"({"status":"bye","errorCode":1,"waitForProcessId":)" + std::to_string(processId) + "}";
}

// What a test of the exit needs, and the messages of the log.
class ExitAndWait : public testing::Test {
 protected:
  // The answer to the exit names this process.
  void answerNames(std::uint32_t processId) { instance.answer(exitAnswer(processId)); }
  void expectError(int number, const char* text) {
    EXPECT_EQ(instance.errorNumber(), number);
    EXPECT_EQ(instance.errorText(), text);
  }
  static std::string waited(const std::string& id) {
    return "Waiting for browser process (" + id + ") termination";
  }

  FakeBrowser instance;
  LogFile log;
};

constexpr char kWaitFailed[] = "Waiting for browser process exit failed";
constexpr char kNotSent[] = "BrowserInstance::terminate() failed, kill browser process";

using ExitRequest = ExitAndWait;

TEST_F(ExitRequest, TheExitRequestIsSentWithTheCallersTimeoutAndHandsOutTheProcessThatWillEnd) {
  for (const std::uint32_t named : {4294967295U, 0U}) {
    answerNames(named);
    std::uint32_t id = 5;
    EXPECT_TRUE(terminate(instance, 17, &id));
    EXPECT_EQ(id, named);
    EXPECT_EQ(instance.waitForProcessId(), named);
    EXPECT_EQ(instance.sent.back().text, requestText(exitRequest()));
    EXPECT_EQ(instance.sent.back().timeoutSeconds, 17);
  }
  EXPECT_EQ(log.text(), "");
}

TEST_F(ExitRequest, AnExitRequestThatSucceedsWaitsForNobodyAndKillsNobody) {
  const Browser browser;
  answerNames(browser.id());
  const RecordedOpens opens;
  EXPECT_TRUE(terminate(instance, 1));
  EXPECT_THAT(opens.opened, IsEmpty());
  EXPECT_TRUE(browser.isRunning());
}

TEST_F(ExitRequest, AnExitRequestThatFailsIsLoggedAndKeepsTheErrorOfTheExchange) {
  instance.failExchange(-3, "Error while receiving response");
  instance.setBrowserProcessId(4242);
  const RecordedOpens opens;
  std::uint32_t id = 5;
  EXPECT_FALSE(terminate(instance, 1, &id));
  EXPECT_EQ(id, 5U);
  expectError(-3, "Error while receiving response");
  EXPECT_EQ(log.text(), ExpectedLog().error("BrowserInstance::terminate() failed").text());
  EXPECT_THAT(opens.opened, IsEmpty());
}

TEST_F(ExitAndWait, AnExitSendsTheExitRequestWithTheCallersTimeout) {
  EXPECT_TRUE(terminateAndWait(instance, 17));
  ASSERT_EQ(instance.sent.size(), 1U);
  EXPECT_EQ(instance.sent[0].text, requestText(exitRequest()));
  EXPECT_EQ(instance.sent[0].timeoutSeconds, 17);
}

TEST_F(ExitAndWait, AnAnswerThatNamesNoProcessIsEnough) {
  instance.setBrowserProcessId(4242);
  const RecordedOpens opens;
  EXPECT_TRUE(terminateAndWait(instance, 1));
  EXPECT_THAT(opens.opened, IsEmpty());
  EXPECT_EQ(log.text(), "");
}

TEST_F(ExitAndWait, AnExitWaitsForTheProcessThatTheAnswerNames) {
  const Browser browser;
  answerNames(browser.id());
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
  expectError(1, "bye");
  EXPECT_EQ(log.text(),
            ExpectedLog().info("Waiting for browser process (" + browser.idText() + ") termination").text());
}

TEST_F(ExitAndWait, AnExitTellsTheWaitBeforeTheProcessIsOpened) {
  answerNames(4294967295U);
  const std::string told = ExpectedLog().info(waited("-1")).text();
  SubstitutedCall<&WindowsCalls::openProcess> open([&](DWORD, BOOL, DWORD) {
    EXPECT_EQ(instance.waitForProcessId(), 0U);
    EXPECT_EQ(log.text().substr(0, told.size()), told);
    return failWith(ERROR_ACCESS_DENIED, HANDLE{});
  });
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_EQ(open.count(), 2);
}

TEST_F(ExitAndWait, AnExitDoesNotWaitAgainForAProcessOfAnEarlierAnswer) {
  const Browser browser;
  answerNames(browser.id());
  browser.end();
  ASSERT_TRUE(terminateAndWait(instance, 20));
  EXPECT_EQ(instance.waitForProcessId(), 0U);
  const RecordedOpens opens;
  instance.answer(R"({"status":"bye"})");
  EXPECT_TRUE(terminateAndWait(instance, 20));
  EXPECT_THAT(opens.opened, IsEmpty());
}

TEST_F(ExitAndWait, TheWaitIsThatOfAShutdown) {
  const Browser browser;
  answerNames(browser.id());
  answerNames(browser.id());
  const ProcessWaitEndsWith wait(WAIT_OBJECT_0);
  EXPECT_TRUE(terminateAndWait(instance, 5));
  EXPECT_TRUE(terminateAndWait(instance, 0));
  EXPECT_THAT(wait.waits, ElementsAre(5000U, 10000U));
}

TEST_F(ExitAndWait, AProcessThatCannotBeWaitedForIsKilledIfItCanBe) {
  for (const std::size_t failingOpens : {1U, 2U}) {
    const LogFile another;
    const Browser browser;
    answerNames(browser.id());
    const RecordedOpens opens(failingOpens);
    const RecordedKills kills;
    EXPECT_FALSE(terminateAndWait(instance, 1));
    EXPECT_THAT(opens.opened,
                ElementsAre(OpenedProcess{kWaitAndKill, browser.id()}, OpenedProcess{kKill, browser.id()}));
    if (failingOpens == 1) {
      EXPECT_THAT(kills.killed, ElementsAre(TerminatedProcess{opens.handles[1], 0}));
      EXPECT_FALSE(isOpen(opens.handles[1]));
      EXPECT_EQ(browser.exitCode(), 0U);
    } else {
      EXPECT_THAT(kills.killed, IsEmpty());
    }
    expectError(-1, kWaitFailed);
    EXPECT_EQ(instance.waitForProcessId(), 0U);
    const std::string failure = "Waiting for browser process " + browser.idText() + " exit failed, error 5";
    EXPECT_EQ(another.text(), ExpectedLog().info(waited(browser.idText())).error(failure).text());
  }
}

TEST_F(ExitAndWait, AnIdThatNoProcessHasCannotBeWaitedFor) {
  answerNames(0x7FFFFFF0U);
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_EQ(log.text(), ExpectedLog()
                            .info(waited("2147483632"))
                            .error("Waiting for browser process 2147483632 exit failed, error 87")
                            .text());
}

TEST_F(ExitAndWait, AProcessThatDoesNotEndInTimeOrWhoseWaitFailsIsKilledThroughTheOpenHandle) {
  const struct {
    DWORD result;
    int error;
    const char* text;
  } cases[] = {{WAIT_TIMEOUT, -3, "Timeout waiting browser process exit"},
               {WAIT_FAILED, -1, kWaitFailed},
               {WAIT_ABANDONED, -1, kWaitFailed}};
  for (const auto& c : cases) {
    const LogFile another;
    const Browser browser;
    answerNames(browser.id());
    const RecordedOpens opens;
    const RecordedKills kills;
    const ProcessWaitEndsWith wait(c.result, ERROR_GEN_FAILURE);
    EXPECT_FALSE(terminateAndWait(instance, 1));
    expectError(c.error, c.text);
    EXPECT_THAT(opens.opened, ElementsAre(OpenedProcess{kWaitAndKill, browser.id()}));
    EXPECT_THAT(kills.killed, ElementsAre(TerminatedProcess{opens.handles[0], 0}));
    EXPECT_FALSE(isOpen(opens.handles[0]));
    EXPECT_EQ(browser.exitCode(), 0U);
    const std::string failure =
        "Waiting for browser process (" + browser.idText() + ") exit failed, error 31";
    EXPECT_EQ(another.text(), ExpectedLog().info(waited(browser.idText())).error(failure).text());
  }
}

TEST_F(ExitAndWait, ARealTimeoutPassesBeforeTheProcessIsKilled) {
  const Browser browser;
  answerNames(browser.id());
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  EXPECT_EQ(instance.errorNumber(), -3);
  EXPECT_EQ(browser.exitCode(), 0U);
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
  expectError(-3, "Error while sending request");
  EXPECT_EQ(log.text(), ExpectedLog().error(kNotSent).text());
}

TEST_F(ExitAndWait, AFailedRequestIsToldBeforeTheBrowserIsKilled) {
  instance.failExchange(-3, "Error while sending request");
  instance.setBrowserProcessId(4294967295U);
  const SubstitutedCall<&WindowsCalls::openProcess> open([&](DWORD, BOOL, DWORD) {
    EXPECT_EQ(log.text(), ExpectedLog().error(kNotSent).text());
    return failWith(ERROR_ACCESS_DENIED, HANDLE{});
  });
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_EQ(open.count(), 1);
}

TEST_F(ExitAndWait, AFailedRequestToABrowserThatWasAttachedToKillsNobodyThoughAnAnswerNamedOne) {
  instance.receive(exitAnswer(4242));
  instance.failExchange(-1, "Server unexpectedly closed connection");
  const RecordedOpens opens;
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_THAT(opens.opened, IsEmpty());
  expectError(-1, "Server unexpectedly closed connection");
  EXPECT_EQ(log.text(), ExpectedLog().error(kNotSent).text());
}

TEST_F(ExitAndWait, ABrowserThatCannotBeOpenedIsLeftAloneWithoutAMessage) {
  instance.failExchange(-3, "Error while sending request");
  instance.setBrowserProcessId(4242);
  const RecordedOpens opens(1);
  const RecordedKills kills;
  EXPECT_FALSE(terminateAndWait(instance, 1));
  EXPECT_THAT(opens.opened, ElementsAre(OpenedProcess{kKill, 4242}));
  EXPECT_THAT(kills.killed, IsEmpty());
  EXPECT_EQ(log.text(), ExpectedLog().error(kNotSent).text());
}

}  // namespace

}  // namespace kx

// Every Windows call of a conversation fails in turn, in each way that the library could tell apart. Each
// time the host gets a documented result and can go on with the same context; nothing is left open, no wait
// is without an end, and the log tells of the failure. What exactly a host then sees and the log says,
// failure by failure, is an approved text: tests/golden/failing_calls_*.txt.
#include "fault/walk/walked_conversation.h"
#include "fault/walk/watchdog.h"
#include "support/debug_mode.h"
#include "support/win32/golden_log.h"
#include "support/win32/md5_digest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

namespace {

// Calls whose failure may go unnoticed, and why. Where the same call has a message of its own, the approved
// text shows it.
const std::map<std::string, const char*> kSilent = {
    {"CancelIoEx", "a step of ours before a close or a write, which then waits or lets the operation be"},
    {"GetOverlappedResult", "the end of an operation that was cancelled"},
    {"ReleaseMutex", "closers are silent; the handle goes, and with it the lock"},
    {"CloseHandle", "closers are silent; the end of a pipe has messages"},
    {"FindClose", "closers are silent"},
    {"LocalFree", "closers are silent"},
    {"fclose", "closers are silent; the start page's text means nothing, its place is what counts"},
    {"fwrite", "the same"},
    {"fgetc", "the end of profiles.ini"},
    {"OpenProcess", "where a launched browser is ended, and nobody waits for it"},
    {"TerminateProcess", "a browser that cannot be ended stays"},
    {"CreateFileW",
     "a pipe that was busy once is opened again; a lock file that cannot be looked at is none"},
    {"WaitForSingleObject", "a time-out in place of a time-out"},
    {"WaitForMultipleObjects", "a time-out in place of a time-out"},
    {"GetVersionExA", "counts as a Windows without a place for Chrome"},
    {"GetEnvironmentVariableW", "an empty text, and what follows from that"},
    {"WideCharToMultiByte", "an empty text, and what follows from that; it fails for no text there is"},
    {"MultiByteToWideChar", "an empty text, and what follows from that; it fails for no text there is"},
    {"_wfopen", "profiles.ini cannot be read, or the start page written, as is usual in this conversation"},
};

// What may stay behind after a failure, besides what the failing call itself should have closed.
struct Leak {
  bool handles;
  std::size_t memoryBlocks;
  int localBlocks;
  const char* reason;
};
const std::map<std::string, Leak> kLeaks = {
    {"SetNamedPipeHandleState",
     {true, 0, 0, "the peer has seen a client connect; a close would look like one that hung up"}},
    {"CloseHandle", {false, 1, 1, "a pipe that stays open may still refer to its security attributes"}},
};

// Calls whose failure leaves a launched browser running.
const std::map<std::string, const char*> kBrowserStays = {
    {"OpenProcess", "a process that cannot be opened cannot be ended"},
    {"TerminateProcess", "nor one that cannot be terminated"},
};

bool isDocumented(const StepOutcome& outcome) {
  const int result = outcome.result;
  if (outcome.step == "kx_Init") {
    return result == KX_OK || result == KX_FAILED || result == KX_TIMEOUT || result > 0;
  }
  if (outcome.step == "kxr_Exit") {
    return result == KX_OK || result == KX_TIMEOUT;
  }
  if (outcome.step == "kx_GetLastErrorNumber") {
    return result <= 1;
  }
  if (outcome.step == "kx_GetLastExtract" || outcome.step == "kx_GetPerformance" ||
      outcome.step == "kx_GetLastErrorText" || outcome.step == "kx_ContextCreate" ||
      outcome.step == "kx_GetBrowserProcessId") {
    return result >= KX_FAILED;
  }
  return result == KX_OK || result == KX_FAILED;
}

// What an approved text tells of the log: all errors, and the one kind of failure that counts as information.
bool isToldOf(const std::string& line) {
  return line.starts_with("__logerr") || line.find("): Could not ") != std::string::npos;
}

// The lines of one run that another one has not, without the ids at their front.
using Lines = std::vector<InterceptedCalls::DebuggerLine>;
std::vector<std::string> newLines(const Lines& lines, Lines known) {
  std::vector<std::string> result;
  for (const InterceptedCalls::DebuggerLine& line : lines) {
    const auto found = std::find(known.begin(), known.end(), line);
    if (found != known.end()) {
      known.erase(found);
      continue;
    }
    const std::string message = line.text.substr(line.text.find("): ") + 3);
    if (isToldOf(line.text) && !isErrorOfOneSystem(message)) {
      const bool isError = line.text.starts_with("__logerr");
      result.push_back((isError ? "error: " : "info: ") + message);
    }
  }
  return result;
}

struct Recording {
  std::vector<SeenCall> calls;
  std::vector<StepOutcome> outcomes;
  Lines lines;
};

class CallWalk : public ::testing::TestWithParam<WalkedConversation> {
 protected:
  void SetUp() override { GetParam().prepare(around_); }

  // Goes through the conversation without a failure.
  Recording record() {
    WalkedRun run(around_);
    around_.calls.start();
    GetParam().go(run, around_);
    around_.calls.pause();
    Recording recording = {around_.calls.seen(), run.outcomes(), around_.calls.debuggerLines()};
    EXPECT_EQ(run.recover(), "");
    run.destroyContext();
    return recording;
  }

  // Goes through it with one failure. Gives what was different.
  std::string walk(const Recording& usual, std::size_t number, const Failure& failure) {
    const SeenCall& failing = usual.calls[number];
    const std::string what =
        failing.step + ": " + failing.name +
        (failure.result == WAIT_TIMEOUT ? " runs out" : " fails with " + std::to_string(failure.error));
    watchdog_.expect(std::string(GetParam().name) + ", call " + std::to_string(number) + ", " + what);
    SCOPED_TRACE("call " + std::to_string(number) + ", " + what);

    const Holdings before = holdings(around_);
    std::string account;
    {
      WalkedRun run(around_);
      around_.calls.start(number, failure);
      GetParam().go(run, around_);
      around_.calls.pause();

      EXPECT_TRUE(around_.calls.hasFailed());
      EXPECT_EQ(around_.calls.seen()[number].name, failing.name);
      EXPECT_EQ(around_.calls.seen()[number].step, failing.step);
      EXPECT_EQ(around_.calls.endlessWaits(), std::vector<std::string>());
      for (const StepOutcome& outcome : run.outcomes()) {
        EXPECT_TRUE(isDocumented(outcome)) << outcome.step << " gave " << outcome.result;
      }
      if (kBrowserStays.count(failing.name) == 0) {
        EXPECT_FALSE(run.leftABrowserRunning());
      }
      account = differences(usual, run, failing);
      EXPECT_EQ(run.recover(), "");
      run.destroyContext();
    }
    around_.calls.closeWhatCouldNotBeClosed();
    expectNothingLeft(before, failing.name);
    return what + "\n" + (account.empty() ? "    goes unnoticed\n" : account);
  }

  std::string differences(const Recording& usual, const WalkedRun& run, const SeenCall& failing) {
    const std::vector<std::string> lines = newLines(around_.calls.debuggerLines(), usual.lines);
    std::string account;
    const StepOutcome* last = nullptr;
    for (std::size_t i = 0; i < run.outcomes().size(); ++i) {
      const StepOutcome& outcome = run.outcomes()[i];
      const bool isUsual = i < usual.outcomes.size() && outcome == usual.outcomes[i];
      const bool hasOtherResult = i >= usual.outcomes.size() || outcome.result != usual.outcomes[i].result;
      const bool tellsNewError =
          last == nullptr || outcome.errorNumber != last->errorNumber || outcome.errorText != last->errorText;
      if (!isUsual && (hasOtherResult || tellsNewError)) {
        account += "    " + outcome.step + " gives " + std::to_string(outcome.result) + ", error " +
                   std::to_string(outcome.errorNumber) + " \"" + outcome.errorText + "\"\n";
      }
      last = &outcome;
    }
    if (failing.isForTheLog) {
      EXPECT_EQ(account, "") << "a log that cannot be written is no trouble";
      EXPECT_EQ(lines, std::vector<std::string>());
      return "";
    }
    if (lines.empty()) {
      EXPECT_EQ(account, "") << "nothing in the log tells why";
      EXPECT_EQ(kSilent.count(failing.name), 1U) << "nothing tells of the failure";
    }
    for (const std::string& line : lines) {
      account += "    " + line.substr(0, line.find('\n')) + "\n";
    }
    return account;
  }

  void expectNothingLeft(const Holdings& before, const std::string& failing) {
    const auto allowed = kLeaks.find(failing);
    const Leak leak = allowed != kLeaks.end() ? allowed->second : Leak{};
    const Holdings after = holdings(around_);
    if (!leak.handles) {
      EXPECT_EQ(after.nextHandle, before.nextHandle) << "a handle is left open";
    }
    EXPECT_LE(after.memoryBlocks, before.memoryBlocks + leak.memoryBlocks + kBlocksOfSharedLocks);
    EXPECT_LE(after.localBlocks, before.localBlocks + leak.localBlocks);
    EXPECT_EQ(after.openFiles, before.openFiles);
  }

  GoldenLog golden() const {
    GoldenLog names;
    names.with(around_.user.temp(), "<TEMP>")
        .with(around_.user.roaming(), "<APPDATA>")
        .with(around_.user.local(), "<LOCALAPPDATA>")
        .with(around_.user.name(), "<USERNAME>")
        .with(md5Digest(around_.profile), "<DIGEST>")
        .with(around_.profile, "<PROFILE>");
    return names;
  }

  Surroundings around_;
  Watchdog watchdog_;
};

std::string lowerSnake(const std::string& name) {
  std::string result;
  for (const char c : name) {
    if (std::isupper(static_cast<unsigned char>(c)) != 0 && !result.empty()) {
      result += '_';
    }
    result += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return result;
}

TEST_P(CallWalk, AConversationMakesTheSameCallsEveryTime) {
  record();
  const Recording first = record();
  const Recording second = record();

  ASSERT_EQ(first.calls.size(), second.calls.size());
  for (std::size_t i = 0; i < first.calls.size(); ++i) {
    EXPECT_EQ(first.calls[i].name, second.calls[i].name) << i;
  }
  EXPECT_EQ(first.outcomes, second.outcomes);
  EXPECT_TRUE(first.lines == second.lines);
}

TEST_P(CallWalk, AConversationFailsCleanlyWhateverCallFails) {
  record();
  const Recording usual = record();

  std::string account;
  std::string last;
  for (std::size_t i = 0; i < usual.calls.size(); ++i) {
    const SeenCall& call = usual.calls[i];
    if (call.isForTheLog) {
      continue;
    }
    for (const Failure& failure : call.failures) {
      const std::string next = walk(usual, i, failure);
      // What comes in a row is told once.
      if (next != last) {
        account += next;
      }
      last = next;
    }
  }

  golden().expect("failing_calls_" + lowerSnake(GetParam().name) + ".txt", account);
}

// The calls that write the log are many, and always the same; two conversations are enough for them.
class LogCallWalk : public CallWalk {};

TEST_P(LogCallWalk, AConversationGoesOnWhateverCallOfTheLogFails) {
  record();
  const Recording usual = record();

  for (std::size_t i = 1; i < usual.calls.size(); ++i) {
    const SeenCall& call = usual.calls[i];
    if (call.isForTheLog) {
      walk(usual, i, call.failures.front());
    }
  }
}

std::vector<WalkedConversation> conversationsNamed(const std::set<std::string>& names) {
  std::vector<WalkedConversation> found;
  for (const WalkedConversation& conversation : walkedConversations()) {
    if (names.count(conversation.name) != 0) {
      found.push_back(conversation);
    }
  }
  return found;
}

INSTANTIATE_TEST_SUITE_P(Conversations, LogCallWalk,
                         ::testing::ValuesIn(conversationsNamed({"AttachToAPromptBrowser", "LaunchInVain"})),
                         [](const auto& tested) { return tested.param.name; });

INSTANTIATE_TEST_SUITE_P(Conversations, CallWalk, ::testing::ValuesIn(walkedConversations()),
                         [](const auto& tested) { return tested.param.name; });

// ---- what the walks cover --------------------------------------------------------------------------------

// Imports that do not fail, or whose failure the library cannot see.
const std::set<std::string> kCannotFail = {
    "GetCurrentProcessId",
    "GetCurrentThreadId",
    "GetLastError",
    "SetLastError",
    "GetTickCount64",
    "EnterCriticalSection",
    "LeaveCriticalSection",
    "InitializeCriticalSection",
    "Sleep",
    "OutputDebugStringA",
    "DeleteCriticalSection",
};

// Imports of the run-time that is part of the file: its threads, exceptions, locales and formatting. The
// library calls none of them by itself. What it allocates is the matter of the memory walk.
constexpr char kOfTheRunTime[] =
    " AddVectoredExceptionHandler CreateSemaphoreA DuplicateHandle FormatMessageA GetCurrentProcess"
    " GetCurrentThread GetHandleInformation GetModuleHandleW GetProcAddress GetProcessAffinityMask"
    " GetSystemTimeAsFileTime GetThreadContext GetThreadPriority IsDBCSLeadByteEx IsDebuggerPresent"
    " LoadLibraryW RaiseException ReleaseSemaphore RemoveVectoredExceptionHandler ResetEvent"
    " ResumeThread RtlCaptureContext RtlLookupFunctionEntry RtlUnwindEx RtlVirtualUnwind SetEvent"
    " SetProcessAffinityMask SetThreadContext SetThreadPriority SuspendThread TlsAlloc TlsGetValue"
    " TlsSetValue TryEnterCriticalSection VirtualProtect VirtualQuery __C_specific_handler"
    " ___lc_codepage_func ___mb_cur_max_func __iob_func _amsg_exit _assert _beginthreadex _endthreadex"
    " _errno _initterm _lock _setjmp _ultoa _unlock abort calloc exit fprintf fputc fputc fputs free"
    " iswctype localeconv malloc memchr memcmp memcpy memmove memset printf realloc setlocale signal"
    " strcmp strcoll strerror strftime strlen strncmp strxfrm towlower towupper vfprintf wcscoll"
    " wcsftime wcslen wcsxfrm longjmp _strdup _read _close"
#if __MINGW64_VERSION_MAJOR >= 12
    " GetModuleHandleA GetTickCount QueryPerformanceCounter QueryPerformanceFrequency _vscprintf"
    " _vsnprintf getenv strchr strtoul"
#endif
#ifdef _GLIBCXX_DEBUG
    " getenv isspace sprintf strstr strtoul"
#endif
    " ";

bool isOfTheRunTime(const std::string& name) {
  return std::string(kOfTheRunTime).find(" " + name + " ") != std::string::npos;
}

TEST(CoverageOfTheWalks, EveryImportOfTheLibraryFailsOrIsKnownNotTo) {
  const KxLibrary dll;
  const std::vector<std::string> fallible = InterceptedCalls::fallibleNames();

  for (const std::string& name : ImportTable(dll.module()).names()) {
    const bool fails = std::find(fallible.begin(), fallible.end(), name) != fallible.end();
    EXPECT_TRUE(fails || kCannotFail.count(name) != 0 || isOfTheRunTime(name))
        << name << " is new: let it fail in intercepted_calls.cpp";
  }
}

TEST(CoverageOfTheWalks, EveryFallibleCallIsMadeInSomeConversation) {
  std::set<std::string> missing;
  for (const std::string& name : InterceptedCalls::fallibleNames()) {
    missing.insert(name);
  }

  for (const WalkedConversation& conversation : walkedConversations()) {
    Surroundings around;
    conversation.prepare(around);
    WalkedRun run(around);
    around.calls.start();
    conversation.go(run, around);
    around.calls.pause();
    for (const SeenCall& call : around.calls.seen()) {
      missing.erase(call.name);
    }
    run.recover();
    run.destroyContext();
  }

  EXPECT_EQ(missing, std::set<std::string>());
}

}  // namespace

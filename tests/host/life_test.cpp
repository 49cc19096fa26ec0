// The library's own life in its host: loading, unloading, the host's end, and the host's locale.
#include "host/host_test.h"
#include "host/partner.h"
#include "support/win32/next_handle.h"

#include <clocale>
#include <string>
#include <vector>

namespace {

class Unloading : public HostTest {};

TEST_F(Unloading, ForgetsTheContexts) {
  for (int i = 0; i < 300; ++i) {
    dll.kx_ContextCreate();
  }

  dll.unload();

  ASSERT_EQ(::GetModuleHandleW(L"KXTCP64.dll"), nullptr);
  KxLibrary again;
  EXPECT_EQ(again.kx_GetLastErrorNumber(0), KX_NO_CONTEXT);
  EXPECT_EQ(again.kx_ContextCreate(), 0);
}

TEST_F(Unloading, LeavesBrowsersAndTheirConnectionsAlone) {
  FakeExtension extension(defaultPipe());
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  log.clear();

  dll.unload();

  EXPECT_FALSE(fileExists(log.path()));
  EXPECT_NO_THROW(extension.says("{}"));
  EXPECT_EQ(extension.requests().size(), 1U);
  KxLibrary again;
  EXPECT_EQ(again.kx_ContextCreate(), 0);
}

TEST_F(Unloading, IsSafeWhileAnAnswerIsStillToCome) {
  FakeExtension extension(defaultPipe());
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  extension.staysSilent();
  ASSERT_EQ(dll.kx_Play(context, "macro", 1), KX_FAILED);

  dll.unload();

  // The late answer finds its place in memory that nobody has taken over.
  EXPECT_NO_THROW(extension.says("{\"status\":\"late\",\"errorCode\":1}"));
  KxLibrary again;
  FakeExtension other(defaultPipe("cr"));
  const int fresh = again.kx_ContextCreate();
  EXPECT_EQ(again.kx_Init(fresh, "cr", nullptr, nullptr, 0, 0, 30), KX_OK);
  EXPECT_EQ(again.kx_Play(fresh, "macro", 10), KX_OK);
  EXPECT_EQ(again.kx_Exit(fresh, 5), KX_OK);
}

TEST_F(Unloading, CanBeRepeated) {
  dll.unload();

  for (int i = 0; i < 50; ++i) {
    KxLibrary again;
    ASSERT_EQ(again.kx_ContextCreate(), 0);
    ASSERT_EQ(again.kx_ContextCreate(), 1);
  }
}

TEST_F(Unloading, ComesWithTheLastOfSeveralUsers) {
  KxLibrary second;
  ASSERT_EQ(second.module(), dll.module());
  ASSERT_EQ(dll.kx_ContextCreate(), 0);

  dll.unload();

  EXPECT_EQ(second.kx_GetLastErrorNumber(0), 0);
  EXPECT_EQ(second.kx_ContextCreate(), 1);
  second.unload();
  EXPECT_EQ(::GetModuleHandleW(L"KXTCP64.dll"), nullptr);
}

class EndOfTheHost : public ::testing::Test {
 protected:
  // Runs the other program, which is a host that ends.
  static DWORD exitCodeOf(const char* verb) {
    std::wstring line = L"\"" + wide(partnerProgram()) + L"\" " + wide(verb);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                         &process) == FALSE) {
      return 0;
    }
    DWORD code = STILL_ACTIVE;
    if (::WaitForSingleObject(process.hProcess, 60000) == WAIT_OBJECT_0) {
      ::GetExitCodeProcess(process.hProcess, &code);
    } else {
      ::TerminateProcess(process.hProcess, 1);
    }
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return code;
  }
};

TEST_F(EndOfTheHost, ByExitProcessDoesNotHangOnThreadsInsideTheLibrary) {
  EXPECT_EQ(exitCodeOf(kExitWhileOthersCall), DWORD{kPartnerSucceeded});
}

TEST_F(EndOfTheHost, ByReturningFromMainDoesNotHangOnThreadsInsideTheLibrary) {
  EXPECT_EQ(exitCodeOf(kReturnWhileOthersCall), DWORD{kPartnerSucceeded});
}

TEST_F(EndOfTheHost, AnswersAPlugInThatIsDetachedLater) {
  const TempFolder folder("plug_in");
  const EnvironmentVariable record(narrow(kPlugInRecord).c_str(), folder.path("record.txt"));

  EXPECT_EQ(exitCodeOf(kEndWithAPlugIn), DWORD{kPartnerSucceeded});

  // No such context, twice; no process; and no new context.
  EXPECT_EQ(fileBytes(folder.path("record.txt")), "-5 -5 0 -1");
}

// The run-time that the library uses is shared with the host, and so is its locale.
class LocaleOfTheHost : public HostTest {
 protected:
  void SetUp() override {
    if (std::setlocale(LC_ALL, "German") == nullptr) {
      GTEST_SKIP() << "this system has no German locale";
    }
    ASSERT_EQ(std::string(std::localeconv()->decimal_point), ",");
  }
  void TearDown() override { std::setlocale(LC_ALL, "C"); }
};

TEST_F(LocaleOfTheHost, DoesNotChangeHowNumbersAreRead) {
  FakeExtension extension(defaultPipe());
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  extension.answers("{\"errorCode\":0.7e1}");

  EXPECT_EQ(dll.kx_Display(context, "message", 10), KX_OK);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -7);
}

TEST_F(LocaleOfTheHost, DoesNotChangeTextsThatAreSentReadAndLogged) {
  FakeExtension extension(defaultPipe());
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  const std::string text = "\xC3\x84 \xFC \xE2\x82\xAC";
  extension.answers("{\"errorCode\":1,\"status\":\"" + text + "\"}");
  log.clear();

  EXPECT_EQ(dll.kx_Display(context, text.c_str(), 10), KX_OK);

  EXPECT_EQ(extension.requests().at(1), showRequest(text));
  EXPECT_EQ(dll.lastErrorText(context), text);
  EXPECT_EQ(log.text(),
            HostLog().info("show message " + text).exchanged(showRequest(text), 27 + text.size()).text());
}

TEST_F(LocaleOfTheHost, DoesNotChangeHowProfilesAreRead) {
  const TempFolder firefox("appdata");
  const EnvironmentVariable applicationData("APPDATA", firefox.path());
  // In a western code page the first byte would be a letter, which begins a key, and the other one a blank,
  // behind which a key may begin.
  firefox.write("Mozilla\\Firefox\\profiles.ini", "[P]\n\xE4\nName=dev\nDefault=1\n;\xA0Name=wrong\n");
  FakeExtension extension("\\\\.\\pipe\\kx-fx-dev." + user);
  const int context = dll.kx_ContextCreate();

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
}

// A host may run for weeks: what a start takes, an exit gives back.
class LongLife : public HostTest {
 protected:
  void startAndExit() {
    FakeExtension extension(defaultPipe("cr"));
    const int context = dll.kx_ContextCreate();
    ASSERT_EQ(dll.kx_Init(context, "cr", nullptr, nullptr, 0, 0, 30), KX_OK);
    ASSERT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
    ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);
    ASSERT_EQ(dll.kx_Init(context, "cr", nullptr, "C:\\windows\\no_such_browser.exe", 0, 0, 1), 2);
    dll.kx_ContextDestroy(context);
    ASSERT_TRUE(extension.awaitGoodbye());
  }
};

TEST_F(LongLife, KeepsNoHandleOfBrowsersThatHaveExited) {
  for (int i = 0; i < 3; ++i) {
    startAndExit();
  }
  const std::uintptr_t before = nextHandleValue();

  for (int i = 0; i < 30; ++i) {
    startAndExit();
  }

  // The run-time opens one for a lock of the test's own when two threads first meet at it.
  constexpr std::uintptr_t kValuesOfTwo = 2 * sizeof(HANDLE) / 2;
  EXPECT_LE(nextHandleValue(), before + kValuesOfTwo);
}

}  // namespace

// The library's own life in its host: loading, unloading, the host's end, and the host's locale.
#include "host/host_test.h"
#include "host/partner.h"
#include "support/win32/next_handle.h"

#include <clocale>
#include <string>

namespace {

class Unloading : public HostTest {};

TEST_F(Unloading, UnloadingForgetsTheContextsHoweverOftenItIsRepeated) {
  for (int i = 0; i < 300; ++i) {
    dll.kx_ContextCreate();
  }

  dll.unload();

  ASSERT_EQ(::GetModuleHandleW(L"KXTCP64.dll"), nullptr);
  for (int i = 0; i < 50; ++i) {
    KxLibrary again;
    ASSERT_EQ(again.kx_GetLastErrorNumber(0), KX_NO_CONTEXT);
    ASSERT_EQ(again.kx_ContextCreate(), 0);
    ASSERT_EQ(again.kx_ContextCreate(), 1);
  }
}

TEST_F(Unloading, UnloadingLeavesBrowsersAndTheirConnectionsAlone) {
  Extension extension(defaultPipe());
  attach();
  log.clear();

  dll.unload();

  expectLog(HostLog());
  EXPECT_NO_THROW(extension.says("{}"));
  EXPECT_EQ(extension.requests().size(), 1U);
  KxLibrary again;
  EXPECT_EQ(again.kx_ContextCreate(), 0);
}

TEST_F(Unloading, UnloadingIsSafeWhileAnAnswerIsStillToCome) {
  Extension extension(defaultPipe());
  const int context = attach();
  extension.staysSilent();
  ASSERT_EQ(dll.kx_Play(context, "macro", 1), KX_FAILED);

  dll.unload();

  // The late answer finds its place in memory that nobody has taken over.
  EXPECT_NO_THROW(extension.says(Extension::kSuccess));
  KxLibrary again;
  Extension other(defaultPipe("cr"));
  const int fresh = again.kx_ContextCreate();
  EXPECT_EQ(again.kx_Init(fresh, "cr", nullptr, nullptr, 0, 0, 30), KX_OK);
  EXPECT_EQ(again.kx_Play(fresh, "macro", 10), KX_OK);
  EXPECT_EQ(again.kx_Exit(fresh, 5), KX_OK);
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

TEST_F(EndOfTheHost, TheEndOfTheHostDoesNotHangOnThreadsInsideTheLibrary) {
  EXPECT_EQ(exitCodeOf(kExitWhileOthersCall), DWORD{kPartnerSucceeded});
  EXPECT_EQ(exitCodeOf(kReturnWhileOthersCall), DWORD{kPartnerSucceeded});
}

TEST_F(EndOfTheHost, TheEndOfTheHostAnswersAPlugInThatIsDetachedLater) {
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

TEST_F(LocaleOfTheHost, TheHostsLocaleChangesNeitherNumbersNorTextsThatAreSentReadAndLogged) {
  Extension extension(defaultPipe("cr"));
  const int context = attach("cr");
  const std::string text = "\xC3\x84 \xFC \xE2\x82\xAC";
  const std::string answer = R"({"errorCode":0.7e1,"status":")" + text + "\"}";
  extension.answers(answer);
  log.clear();

  EXPECT_EQ(dll.kx_Display(context, text.c_str(), 10), KX_OK);

  EXPECT_EQ(extension.requests().at(1), showRequest(text));
  expectError(context, -7, text);
  expectLog(HostLog().info("show message " + text).exchanged(showRequest(text), answer));
}

TEST_F(LocaleOfTheHost, TheHostsLocaleDoesNotChangeHowProfilesAreRead) {
  const TempFolder firefox("appdata");
  const EnvironmentVariable applicationData("APPDATA", firefox.path());
  // In a western code page the first byte would be a letter, which begins a key, and the other one
  // whitespace, behind which a key may begin.
  firefox.write("Mozilla\\Firefox\\profiles.ini", "[P]\n\xE4\nName=dev\nDefault=1\n;\xA0Name=wrong\n");
  Extension extension("\\\\.\\pipe\\kx-fx-dev." + user);

  attach();
}

// A host may run for weeks: what a start takes, an exit gives back.
class LongLife : public HostTest {
 protected:
  void startAndExit() {
    Extension extension(defaultPipe("cr"));
    const int context = attach("cr");
    ASSERT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
    ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);
    ASSERT_EQ(startMissing(context, "cr"), 2);
    dll.kx_ContextDestroy(context);
    ASSERT_TRUE(extension.awaitGoodbye());
  }
};

TEST_F(LongLife, ALongLifeKeepsNoHandleOfBrowsersThatHaveExited) {
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

// Which Windows calls the library makes, and how many of each. Every call that reaches the system costs a
// host as much as thousands of instructions, so one more than these is a defect, however little it looks.
// When a change needs another call, it stands here with its reason.
#include "host/host_test.h"
#include "support/win32/call_counter.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using Counts = std::map<std::string, int>;

class WindowsCalls : public AttachedHostTest {
 protected:
  void SetUp() override {
    AttachedHostTest::SetUp();
    logSwitch.remove();
  }

  // What was called, without what never leaves the process and costs nothing. A read or an accept ends at
  // once when the other side was quicker; otherwise one wait and one look at the result belong to it, and
  // those are left out as well.
  static Counts called(const CallCounter& counter, int mostWaits) {
    Counts counts = counter.counts();
    EXPECT_LE(counts["WaitForMultipleObjects"], mostWaits);
    EXPECT_EQ(counts["WaitForMultipleObjects"], counts["GetOverlappedResult"]);
    for (const char* name :
         {"GetLastError", "SetLastError", "GetTickCount64", "GetCurrentProcessId", "GetCurrentThreadId",
          "MultiByteToWideChar", "WideCharToMultiByte", "WaitForMultipleObjects", "GetOverlappedResult"}) {
      counts.erase(name);
    }
    return counts;
  }

  EnvironmentVariable logSwitch{"KORVEX_LOG"};
};

TEST_F(WindowsCalls, ARoundTripIsOneWriteAndOneReadAndASwitchReadPerLogEntry) {
  CallCounter counter(dll.module());

  ASSERT_EQ(dll.kx_Display(context, "a message", 30), KX_OK);

  EXPECT_EQ(called(counter, 1), (Counts{{"WriteFile", 1}, {"ReadFile", 1}, {"GetEnvironmentVariableW", 5}}));
}

// The start lock, the well-known pipe for one line, the library's own pipe, two exchanges, the end.
TEST_F(WindowsCalls, AHandshakeAndAnExitMakeTheseCallsAndNoOther) {
  const std::string profile = uniqueName("counted");
  Extension runner("\\\\.\\pipe\\" + profile + ".runner");
  const std::string options = "-runner -fxProfile " + profile;
  const int counted = dll.kx_ContextCreate();
  CallCounter counter(dll.module());

  ASSERT_EQ(dll.kxr_Init(counted, "fx", options.c_str(), 0, 30), KX_OK);
  ASSERT_EQ(dll.kxr_Exit(counted, 30), KX_OK);

  // The extension's thread may end meanwhile, and the run-time that is linked into the library takes a lock
  // of its own at the end of every thread.
  Counts counts = called(counter, 3);
  counts.erase("EnterCriticalSection");
  counts.erase("LeaveCriticalSection");
  EXPECT_EQ(counts, (Counts{{"CreateMutexW", 1},
                            {"WaitForSingleObject", 1},
                            {"ReleaseMutex", 1},
                            {"CreateFileW", 1},
                            {"SetNamedPipeHandleState", 1},
                            {"CreateEventA", 4},
                            {"LocalAlloc", 1},
                            {"InitializeSecurityDescriptor", 1},
                            {"SetSecurityDescriptorDacl", 1},
                            {"CreateNamedPipeW", 1},
                            {"ConnectNamedPipe", 1},
                            {"WriteFile", 3},
                            {"ReadFile", 2},
                            {"GetNamedPipeInfo", 2},
                            {"FlushFileBuffers", 1},
                            {"DisconnectNamedPipe", 1},
                            {"CloseHandle", 7},
                            {"LocalFree", 1},
                            {"GetEnvironmentVariableW", 14}}));
}

TEST_F(WindowsCalls, ALargeAnswerIsOneReadAndOneSwitchReadPer4096Bytes) {
  constexpr int kPieces = 16;
  const std::string begin = R"({"status":"OK","errorCode":1,"profilerData":")";
  const std::string end = "\"}";
  extension.answers(begin + std::string(kPieces * 4096 - begin.size() - end.size(), 'x') + end);
  CallCounter counter(dll.module());

  ASSERT_EQ(dll.kx_Play(context, "macro", 30), KX_OK);

  EXPECT_EQ(called(counter, kPieces),
            (Counts{{"WriteFile", 1}, {"ReadFile", kPieces}, {"GetEnvironmentVariableW", 3 + kPieces}}));
}

TEST_F(WindowsCalls, SettingAVariableAndReadingResultsBackMakeNone) {
  extension.answers(R"({"status":"OK","errorCode":1,"extractData":["one","two"],"profilerData":"data"})");
  ASSERT_EQ(dll.kx_Play(context, "macro", 30), KX_OK);
  CallCounter counter(dll.module());

  EXPECT_EQ(dll.kx_SetVar(context, "name", "value"), KX_OK);
  EXPECT_EQ(dll.extract(context, 0), "one[EXTRACT]two");
  EXPECT_EQ(dll.extract(context, 1), "one");
  EXPECT_EQ(dll.profilerData(context), "data");
  EXPECT_EQ(dll.lastErrorText(context), "OK");

  EXPECT_EQ(called(counter, 0), Counts());
}

TEST_F(WindowsCalls, OnlyCreatingAndDestroyingAContextTakesALock) {
  CallCounter counter(dll.module());

  ASSERT_EQ(dll.kx_Play(context, "macro", 30), KX_OK);
  EXPECT_EQ(counter.counts().count("EnterCriticalSection"), 0U);

  dll.kx_ContextDestroy(dll.kx_ContextCreate());
  EXPECT_EQ(counter.counts()["EnterCriticalSection"], 2);
}

// What the file itself needs, the C run-time does.
TEST_F(WindowsCalls, AnErrorEntryReadsThePathOnceAndTellsTheDebugger) {
  CallCounter counter(dll.module());

  EXPECT_EQ(dll.kx_SetVar(-1, "name", "value"), KX_NO_CONTEXT);

  EXPECT_EQ(called(counter, 0), (Counts{{"GetEnvironmentVariableW", 1}, {"OutputDebugStringA", 1}}));
}

}  // namespace

#include "cli/text.h"
#include "cli/win32/selftest/all_checks.h"
#include "cli/win32/simulator_program.h"
#include "common/md5.h"
#include "common/win32/utf16.h"
#include "process/command_line.h"

#include <windows.h>
#include <array>
#include <sddl.h>
#include <thread>

namespace kx::cli {
namespace {

// The first line of the log that has this text, from there on; or "no entry".
std::string entryOf(const std::string& log, const std::string& text) {
  const std::size_t at = log.find(text);
  return at == std::string::npos ? "no entry" : log.substr(at, log.find('\n', at) - at);
}

void logEntries(Scene& scene, CheckNotes& notes) {
  {
    const std::size_t begin = scene.room.log().size();
    Browser browser(scene.room, notes, "fx", {"on handshake hold"});
    browser.serve();
    const Context context(scene.library);
    context.start(browser.attaching(1));
    const std::string entry = entryOf(scene.room.log().substr(begin), "Could not disconnect pipe");
    notes.differs("a connection closed before anybody came", "no entry in the log", entry == "no entry",
                  "Could not disconnect pipe, error=536", entry == "Could not disconnect pipe, error=536",
                  entry);
  }
  const std::size_t begin = scene.room.log().size();
  Browser browser(scene.room, notes, "fx");
  browser.serve();
  const Context context(scene.library);
  context.start(browser.attaching());
  const std::string entry = entryOf(scene.room.log().substr(begin), "Could not get pipe info");
  notes.differs("the extension's pipe after a good start",
                "no entry in the log, or Could not get pipe info, error=233",
                entry == "no entry" || entry == "Could not get pipe info, error=233", "no entry in the log",
                entry == "no entry", entry);
}

// Without the manifest's word for it, Windows refuses paths of 260 characters and more.
void longPath(Scene& scene, CheckNotes& notes) {
  constexpr std::size_t kLong = 100;
  std::string path = scene.room.folder();
  for (const char letter : {'a', 'b', 'c'}) {
    path += "\\" + std::string(kLong, letter);
    makeFolder(path);
  }
  path += "\\library.log";
  setEnvironment("KORVEX_LOGPATH", path);

  scene.library.play(1000000, "stop", 1);

  setEnvironment("KORVEX_LOGPATH", scene.room.logPath());
  const bool isWritten = isThere(path);
  notes.differs("a log whose path has " + std::to_string(path.size()) + " bytes", "it is not written",
                !isWritten, "it is written", isWritten, isWritten ? "it is written" : "it is not written");
}

UniqueHandle ownTokenWithFewRights() {
  HANDLE own = nullptr;
  HANDLE copy = nullptr;
  if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY | TOKEN_ASSIGN_PRIMARY, &own) ==
      FALSE) {
    return {};
  }
  const UniqueHandle owner(own);
  if (::DuplicateTokenEx(own, MAXIMUM_ALLOWED, nullptr, SecurityImpersonation, TokenPrimary, &copy) ==
      FALSE) {
    return {};
  }
  UniqueHandle token(copy);
  PSID sid = nullptr;
  if (::ConvertStringSidToSidW(L"S-1-16-4096", &sid) == FALSE) {
    return {};
  }
  const LocalMemory sidOwner(sid);
  TOKEN_MANDATORY_LABEL label{};
  label.Label.Sid = sid;
  label.Label.Attributes = SE_GROUP_INTEGRITY;
  if (::SetTokenInformation(token.get(), TokenIntegrityLevel, &label, sizeof(label) + ::GetLengthSid(sid)) ==
      FALSE) {
    return {};
  }
  return token;
}

// A browser of low integrity may not write to what this process has made, its pipe among others. It can
// neither record nor set an event.
void fewRights(Scene& scene, CheckNotes& notes) {
  const std::string what = "a browser of low integrity";
  const std::string expected = "-3, number -3, Failed to establish connection";
  const std::string profile = scene.room.name("few rights");
  const std::string pipe = "\\\\.\\pipe\\kx-fx-" + md5Hex(profile) + ".runner";
  const std::string script = scene.room.path("few rights.script");
  scene.room.writeFile(script, "idle-limit 60\n");
  setEnvironment("KXSIM_SCRIPT", script);
  const UniqueHandle token = ownTokenWithFewRights();
  if (!token) {
    notes.notTried(what, expected, "no such token can be made, error " + std::to_string(::GetLastError()));
    return;
  }
  const std::string program = simulatorPath();
  std::wstring line = utf16FromUtf8("\"" + program + "\" --pipe=" + pipe);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION information{};
  if (::CreateProcessAsUserW(token.get(), utf16FromUtf8(program).c_str(), line.data(), nullptr, nullptr,
                             FALSE, CREATE_NEW_PROCESS_GROUP, nullptr,
                             utf16FromUtf8(workingDirectory(program)).c_str(), &startup,
                             &information) == FALSE) {
    notes.notTried(what, expected, "it cannot be started, error " + std::to_string(::GetLastError()));
    return;
  }
  const UniqueHandle thread(information.hThread);
  const HeldProcess process(information.hProcess, information.dwProcessId);
  const ULONGLONG begun = ::GetTickCount64();
  while (scene.machine.pipe(pipe) == PipeState::NotServed && process.isRunning() &&
         ::GetTickCount64() - begun < kPatienceMilliseconds) {
    ::Sleep(20);
  }
  const Context context(scene.library);

  const std::string came = context.start({"fx", "-fxProfile=\"" + profile + "\"", "", false, 1});

  notes.differs(what, expected, came == expected, kAllWell, came == kAllWell, came);
  process.kill();
}

void largeRequest(Scene& scene, CheckNotes& notes) {
  constexpr std::size_t kMegabytes16 = std::size_t{16} * 1024 * 1024;
  Browser browser(scene.room, notes, "fx");
  browser.serve();
  const Context context(scene.library);
  notes.same("kx_Init()", kAllWell, context.start(browser.attaching()));
  const std::size_t begin = scene.room.log().size();
  setEnvironment("KORVEX_LOG", std::nullopt);

  const std::string macro = "# " + std::string(kMegabytes16, 'm');
  const std::string came = context.play(macro);

  setEnvironment("KORVEX_LOG", "on");
  const std::string entry = entryOf(scene.room.log().substr(begin), "pipe_write: ");
  const bool isRefused = came == "-1, number -1, Error while sending request" &&
                         (entry.ends_with(" 1450") || entry.ends_with(" 1453"));
  notes.differs("kx_Play() of a macro of 16 MB",
                std::string(kAllWell) + ", or refused with error 1450 or 1453", came == kAllWell || isRefused,
                kAllWell, came == kAllWell, came + (entry == "no entry" ? "" : ", " + entry));
  if (came == kAllWell) {
    notes.sameBytes("its request", playRequest(macro, "{}", false), browser.recorded("request-1-2.bin"));
  }
}

// The system cancels what a thread that ends was writing; the browser has read nothing of it yet.
void endedThreadWhileSending(Scene& scene, CheckNotes& notes) {
  constexpr std::size_t kMegabyte = 1000000;
  Browser browser(scene.room, notes, "fx", {"on before-request 2 {go}"});
  browser.serve();
  const Context context(scene.library);
  notes.same("kx_Init()", kAllWell, context.start(browser.attaching()));
  std::string told;

  std::thread other([&] { told = context.play("# " + std::string(kMegabyte, 'm'), 1); });
  other.join();
  browser.signalGo();

  notes.same("kx_Play() on a thread that ends", "-1, number -3, Error while sending request", told);
  notes.same("the next kx_Play()", kAllWell, context.play("stop"));
  const bool isCut = !browser.events("conn=1 torn").empty();
  const bool isWhole = browser.recorded("request-1-2.bin").size() > kMegabyte;
  notes.differs("a request whose thread has ended", "it is cut short, or nothing of it comes", !isWhole,
                "nothing of it comes", !isCut && !isWhole,
                isCut ? "it is cut short" : (isWhole ? "it comes whole" : "nothing of it comes"));
}

std::string driveWithoutDisk() {
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const std::wstring root = {static_cast<wchar_t>(letter), L':', L'\\'};
    const UINT type = ::GetDriveTypeW(root.c_str());
    if ((type == DRIVE_REMOVABLE || type == DRIVE_CDROM) &&
        ::GetVolumeInformationW(root.c_str(), nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0) == FALSE &&
        ::GetLastError() == ERROR_NOT_READY) {
      return std::string(1, letter) + ":\\";
    }
  }
  return {};
}

// With the error mode that the documentation recommends; without it Windows shows a message.
void emptyDrive(Scene& scene, CheckNotes& notes) {
  const std::string what = "kx_Init() with a program on an empty drive";
  const std::string expected = "21, number -21, Error finding browser binary";
  const UINT before = ::SetErrorMode(SEM_FAILCRITICALERRORS);
  const std::string drive = driveWithoutDisk();
  if (drive.empty()) {
    notes.notTried(what, expected, "there is no such drive");
  } else {
    Browser browser(scene.room, notes, "fx");
    const Context context(scene.library);
    StartCall call = browser.launching(1);
    call.program = drive + "browser.exe";
    const std::string came = context.start(call);
    notes.differs(what, expected, came == expected, "not tried", false, came);
  }
  ::SetErrorMode(before);
}

void handles(Scene& scene, CheckNotes& notes) {
  constexpr int kWarmUp = 3;
  constexpr int kConversations = 20;
  Browser browser(scene.room, notes, "fx", {"on exit stay", "on exit wait-for-pid none"});
  browser.serve();
  const Context context(scene.library);
  const auto count = [] {
    DWORD handles = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &handles);
    return handles;
  };
  int good = 0;
  DWORD before = 0;
  for (int i = 0; i < kWarmUp + kConversations; ++i) {
    before = i == kWarmUp ? count() : before;
    good += context.start(browser.attaching()) == kAllWell && context.play("stop") == kAllWell &&
                    context.exit() == "0"
                ? 1
                : 0;
  }
  const DWORD after = count();

  notes.same("conversations that went well", std::to_string(kWarmUp + kConversations), std::to_string(good));
  const std::string came = std::to_string(before) + " before, " + std::to_string(after) + " after";
  // Windows itself may add a few.
  notes.differs("handles after 20 more conversations", "at most 10 more than before",
                before > 0 && after < before + 10, "0 before, 0 after: they are not counted",
                before == 0 && after == 0, came);
}

}  // namespace

std::vector<Check> windowsChecks(Scene& scene) {
  const auto in = [&scene](void (*run)(Scene&, CheckNotes&)) {
    return [&scene, run](CheckNotes& notes) { run(scene, notes); };
  };
  return {
      {"windows-log", "Windows and Wine: entries of the log", in(logEntries)},
      {"windows-long-path", "Windows and Wine: long paths", in(longPath)},
      {"windows-few-rights", "Windows and Wine: processes with few rights", in(fewRights)},
      {"windows-large-request", "Windows and Wine: very large requests", in(largeRequest)},
      {"windows-ended-thread", "Windows and Wine: a thread that ends while it sends",
       in(endedThreadWhileSending)},
      {"windows-empty-drive", "Windows and Wine: a drive without a disk", in(emptyDrive)},
      {"windows-handles", "Windows and Wine: handles", in(handles)},
  };
}

}  // namespace kx::cli

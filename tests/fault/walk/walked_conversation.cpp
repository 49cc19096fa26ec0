#include "fault/walk/walked_conversation.h"

#include "support/debug_mode.h"
#include "support/win32/md5_digest.h"
#include "support/win32/next_handle.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

namespace {

constexpr char kDataFolder[] = "C:\\data";
constexpr char kNoProgram[] = "C:\\no such folder\\browser.exe";

// An answer of more than one reading, with everything that an answer can bring.
std::string fullAnswer() {
  return "{\"status\":\"done\",\"errorCode\":1,\"extractData\":[\"one\",\"" + std::string(5000, 'x') +
         "\"],\"lastPerformance\":[{\"name\":\"load\",\"value\":\"0.25\"}],\"profilerData\":\"data\"}";
}

std::string exitAnswer() {
  return "{\"status\":\"OK\",\"errorCode\":1,\"waitForProcessId\":" + std::to_string(WalkedRun::kProcessId) +
         "}";
}

// Larger than the pipe's buffer, so that the write has to be waited for.
std::string largeMacro() {
  return std::string(2000, 'm');
}

// Attaches to a browser that answers when it is waited for, and does everything that a host can do.
void attach(WalkedRun& run, Surroundings&) {
  run.create();
  run.extension().serve(run.defaultPipe());
  run.extension().exitAnswer = exitAnswer();
  if (!run.init("fx", "-profiler", kNoProgram, 1)) {
    return;
  }
  run.step("kx_SetVar", [&](const KxExports& dll) { return dll.kx_SetVar(run.context(), "city", "Oslo"); });
  run.extension().answersNext(fullAnswer());
  run.play(largeMacro());
  run.readBack();
  run.extension().answersNext(R"({"status":"shown","errorCode":1})");
  run.step("kx_Display", [&](const KxExports& dll) { return dll.kx_Display(run.context(), "hello", 1); });
  run.extension().answersNext(R"({"status":"captured","errorCode":1})");
  run.step("kx_TakeBrowserScreenshot", [&](const KxExports& dll) {
    return dll.kx_TakeBrowserScreenshot(run.context(), "C:\\picture.png", KX_SCREENSHOT_PAGE, 1);
  });
  run.exit();
}

// The browser has answered before the library asks for the answer, so that nothing has to be waited for.
void attachToAPromptBrowser(WalkedRun& run, Surroundings&) {
  run.create();
  run.extension().serve(run.defaultPipe());
  run.extension().isPrompt = true;
  if (!run.init("fx", "", kNoProgram, 1)) {
    return;
  }
  run.play("macro");
  run.exit();
}

// Launches a browser with a profile. It stays after the exit, and is ended.
void launch(WalkedRun& run, Surroundings& around) {
  run.create();
  run.leavesWhenAsked = false;
  run.servesInThePause(WalkedRun::profilePipe("fx", around.profile));
  run.extension().answers(StagedExtension::kSuccess);
  run.extension().exitAnswer = exitAnswer();
  if (!run.init("fx", "-fxProfile " + around.profile, around.program().c_str(), 1)) {
    return;
  }
  run.exit();
}

// Launches a browser that never serves a pipe.
void launchInVain(WalkedRun& run, Surroundings& around) {
  run.create();
  run.init("cr", std::string("-crUserDataDir ") + kDataFolder, around.program().c_str(), 1);
}

// Launches a browser that does not answer the first request, and does not leave.
void launchUnanswered(WalkedRun& run, Surroundings& around) {
  run.create();
  run.leavesWhenAsked = false;
  run.servesInThePause(run.defaultPipe("cr"));
  run.extension().answers(std::nullopt);
  run.init("cr", "", around.program().c_str(), 1);
}

// Looks for Chrome where it usually is.
void launchChromeFromItsOwnPlace(WalkedRun& run, Surroundings&) {
  run.create();
  run.init("cr", "", nullptr, 1);
}

// The profile is held by a browser that serves its pipe a little later; and another client keeps the pipe
// busy.
void heldProfileAndBusyPipe(WalkedRun& run, Surroundings& around) {
  const std::string path = around.user.roaming() + "\\Mozilla\\Firefox\\held\\parent.lock";
  const HANDLE lock = ::CreateFileW(wide(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  run.create();
  run.servesInThePause(run.defaultPipe(), StagedExtension::Start::Busy);
  if (run.init("fx", "", kNoProgram, 4)) {
    run.exit();
  }
  ::CloseHandle(lock);
}

// Requests that are not answered in time, one that is answered late, and an exit in the middle.
void timeOuts(WalkedRun& run, Surroundings&) {
  run.create();
  run.extension().serve(run.defaultPipe());
  run.extension().answers(StagedExtension::kSuccess);
  run.extension().answers(std::nullopt);
  run.extension().answers(R"({"status":"late","errorCode":1})");
  run.extension().answers(std::nullopt);
  if (!run.init("fx", "", kNoProgram, 1)) {
    return;
  }
  run.play("never answered");
  run.play("answered");
  run.play("never answered either");
  run.exit();
}

// Answers that are none, and a browser that reports an error.
void brokenAnswers(WalkedRun& run, Surroundings&) {
  run.create();
  run.extension().serve(run.defaultPipe());
  run.extension().answers(StagedExtension::kSuccess);
  run.extension().answers("nonsense");
  run.extension().answers("[1]");
  run.extension().answers(R"({"status":7,"errorCode":"one"})");
  run.extension().answers(R"({"status":"no","errorCode":-50})");
  if (!run.init("fx", "", kNoProgram, 1)) {
    return;
  }
  for (const char* macro : {"garbage", "no object", "wrong types", "failing"}) {
    run.play(macro);
  }
  run.exit();
}

// Everything of a host that starts the browser itself.
void runner(WalkedRun& run, Surroundings& around) {
  run.create();
  const std::string firefox = "-runner -fxProfile " + around.profile;
  const std::string chrome = std::string("-runner -crUserDataDir ") + kDataFolder;
  run.commandLine("fx", firefox);
  run.commandLine("cr", chrome);
  run.servesInThePause("\\\\.\\pipe\\" + around.profile + ".runner");
  const int result = run.step("kxr_Init", [&](const KxExports& dll) {
    return dll.kxr_Init(run.context(), "fx", firefox.c_str(), 1, 1);
  });
  if (result != KX_OK) {
    return;
  }
  run.play("macro");
  run.step("kxr_Exit", [&](const KxExports& dll) { return dll.kxr_Exit(run.context(), 1); });
}

}  // namespace

WalkedRun::WalkedRun(Surroundings& around) : around_(around) {
  InterceptedCalls::Stage& stage = around.calls.stage;
  stage.othersAct = [this] { extension_->act(); };
  stage.beforeFlush = [this] {
    waitsAtTheClose_ += extension_->isStalled() ? 1 : 0;
    extension_->goesOn();
  };
  stage.afterWrite = [this] { extension_->actIfPrompt(); };
  stage.sleep = [this](DWORD) {
    if (!pipeToServe_.empty()) {
      extension_->serve(std::exchange(pipeToServe_, {}), howToServe_);
    }
  };
  stage.createProcess = [this](PROCESS_INFORMATION* process) {
    isLaunched_ = true;
    process->hProcess = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    process->hThread = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    process->dwProcessId = kProcessId;
    return TRUE;
  };
  stage.openProcess = [this](DWORD id) {
    if (id != kProcessId) {
      ::SetLastError(ERROR_INVALID_PARAMETER);
      return HANDLE{nullptr};
    }
    return ::CreateEventW(nullptr, TRUE, hasEnded() ? TRUE : FALSE, nullptr);
  };
  stage.terminateProcess = [this](HANDLE process) {
    isTerminated_ = true;
    return ::SetEvent(process);
  };
}

WalkedRun::~WalkedRun() {
  around_.calls.stage = {};
}

int WalkedRun::step(const std::string& name, const std::function<int(const KxExports& dll)>& call) {
  const auto before = std::count_if(outcomes_.begin(), outcomes_.end(),
                                    [&](const StepOutcome& outcome) { return outcome.step == name; });
  around_.calls.enter(before == 0 ? name : name + " (" + std::to_string(before + 1) + ")");
  const int result = call(around_.dll);
  around_.calls.pause();
  around_.memory.pause();
  const std::string text = around_.dll.lastErrorText(context_);
  outcomes_.push_back({name, result, around_.dll.kx_GetLastErrorNumber(context_), text});
  around_.memory.goOn();
  around_.calls.goOn();
  return result;
}

int WalkedRun::create() {
  return step("kx_ContextCreate", [&](const KxExports& dll) { return context_ = dll.kx_ContextCreate(); });
}

bool WalkedRun::init(const std::string& browser, const std::string& options, const char* program,
                     int timeout) {
  return step("kx_Init", [&](const KxExports& dll) {
           return dll.kx_Init(context_, browser.c_str(), options.c_str(), program, 0, 0, timeout);
         }) == KX_OK;
}

bool WalkedRun::play(const std::string& macro, int timeout) {
  return step("kx_Play",
              [&](const KxExports& dll) { return dll.kx_Play(context_, macro.c_str(), timeout); }) == KX_OK;
}

void WalkedRun::readBack() {
  std::array<char, 100> name{};
  std::array<char, 100> value{};
  int nameSize = static_cast<int>(name.size());
  int valueSize = static_cast<int>(value.size());
  step("kx_GetLastExtract",
       [&](const KxExports& dll) { return dll.kx_GetLastExtract(context_, nullptr, 0, 0); });
  step("kx_GetPerformance", [&](const KxExports& dll) {
    return dll.kx_GetPerformance(context_, value.data(), static_cast<int>(value.size()));
  });
  step("kx_GetLastPerformance", [&](const KxExports& dll) {
    return dll.kx_GetLastPerformance(context_, 1, name.data(), &nameSize, value.data(), &valueSize);
  });
  step("kx_GetBrowserProcessId", [&](const KxExports& dll) { return dll.kx_GetBrowserProcessId(context_); });
  step("kx_GetLastErrorNumber", [&](const KxExports& dll) { return dll.kx_GetLastErrorNumber(context_); });
  step("kx_GetLastErrorText",
       [&](const KxExports& dll) { return dll.kx_GetLastErrorText(context_, nullptr, 0); });
}

void WalkedRun::commandLine(const std::string& browser, const std::string& options) {
  std::array<char, 400> line{};
  step("kxr_GetCommandLine", [&](const KxExports& dll) {
    return dll.kxr_GetCommandLine(browser.c_str(), options.c_str(), line.data(),
                                  static_cast<int>(line.size()), nullptr);
  });
}

void WalkedRun::exit() {
  step("kx_Exit", [&](const KxExports& dll) { return dll.kx_Exit(context_, 1); });
}

void WalkedRun::servesInThePause(const std::string& pipe, StagedExtension::Start start) {
  pipeToServe_ = pipe;
  howToServe_ = start;
}

std::string WalkedRun::defaultPipe(const std::string& browser) const {
  return "\\\\.\\pipe\\kx-" + browser + "-default." + around_.user.name();
}

std::string WalkedRun::profilePipe(const std::string& browser, const std::string& profile) {
  return "\\\\.\\pipe\\kx-" + browser + "-" + md5Digest(profile) + ".runner";
}

std::string WalkedRun::recover() {
  const KxExports& dll = around_.dll;
  const EnvironmentVariable quiet("KORVEX_LOG", "off");
  if (context_ < 0) {
    context_ = dll.kx_ContextCreate();
  }
  // Nothing to exit is as good as an exit.
  if (const int result = dll.kx_Exit(context_, 1); result != KX_OK && result != KX_FAILED) {
    return "kx_Exit gave " + std::to_string(result);
  }
  if (dll.kx_GetLastExtract(context_, nullptr, 0, 0) != KX_FAILED) {
    return "the context still has a browser";
  }
  extension_ = std::make_unique<StagedExtension>();
  extension_->serve(defaultPipe());
  if (dll.kx_Init(context_, "fx", "", kNoProgram, 0, 0, 1) != KX_OK) {
    return "kx_Init failed: " + around_.dll.lastErrorText(context_);
  }
  if (dll.kx_Play(context_, "again", 1) != KX_OK) {
    return "kx_Play failed: " + around_.dll.lastErrorText(context_);
  }
  if (dll.kx_Exit(context_, 1) != KX_OK) {
    return "the last kx_Exit failed";
  }
  return extension_->requests() == 3 ? "" : "not every request came";
}

void WalkedRun::destroyContext() {
  around_.dll.kx_ContextDestroy(context_);
  extension_.reset();
}

std::string WalkedRun::launchedBrowser() const {
  if (!isLaunched_) {
    return "";
  }
  return isTerminated_ ? "ended" : extension_->hasLeft() ? "asked to exit" : "left running";
}

// A browser that was launched by a start which then failed.
bool WalkedRun::leftABrowserRunning() const {
  const bool isStarted = around_.dll.kx_GetLastExtract(context_, nullptr, 0, 0) != KX_FAILED;
  return isLaunched_ && !isTerminated_ && !extension_->hasLeft() && !isStarted;
}

const std::vector<WalkedConversation>& walkedConversations() {
  const auto asIs = [](Surroundings&) {};
  const auto withProgram = [](Surroundings& around) {
    std::ofstream(std::filesystem::path(wide(around.program()))) << "a browser";
  };
  const auto withHeldProfile = [](Surroundings& around) {
    around.user.writeProfiles("[Profile0]\nName=default\nIsRelative=1\nPath=held\n");
    std::filesystem::create_directories(wide(around.user.roaming() + "\\Mozilla\\Firefox\\held"));
  };
  static const std::vector<WalkedConversation> conversations = {
      {"Attach", asIs, attach, true},
      {"AttachToAPromptBrowser", asIs, attachToAPromptBrowser},
      {"Launch", withProgram, launch},
      {"LaunchInVain", withProgram, launchInVain},
      {"LaunchUnanswered", withProgram, launchUnanswered},
      {"LaunchChromeFromItsOwnPlace", asIs, launchChromeFromItsOwnPlace},
      {"HeldProfileAndBusyPipe", withHeldProfile, heldProfileAndBusyPipe},
      {"TimeOuts", asIs, timeOuts},
      {"BrokenAnswers", asIs, brokenAnswers},
      {"Runner", asIs, runner},
  };
  return conversations;
}

Holdings holdings(const Surroundings& around) {
  return {nextHandleValue(), around.memory.liveBlocks(), around.calls.openFiles(),
          around.calls.localBlocks()};
}

std::string difference(const Holdings& before, const Holdings& after) {
  std::ostringstream text;
  if (after.nextHandle != before.nextHandle) {
    text << "value of a new handle: " << before.nextHandle << " before, " << after.nextHandle << " after\n";
  }
  if (after.memoryBlocks < before.memoryBlocks ||
      after.memoryBlocks > before.memoryBlocks + kBlocksOfSharedLocks) {
    text << "blocks of memory: " << before.memoryBlocks << " before, " << after.memoryBlocks << " after\n";
  }
  if (after.openFiles != before.openFiles) {
    text << "open files: " << before.openFiles << " before, " << after.openFiles << " after\n";
  }
  if (after.localBlocks != before.localBlocks) {
    text << "local blocks: " << before.localBlocks << " before, " << after.localBlocks << " after\n";
  }
  return text.str();
}

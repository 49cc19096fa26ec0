#include "cli/text.h"
#include "cli/win32/dll.h"
#include "cli/win32/selftest/all_checks.h"
#include "cli/win32/simulator_program.h"
#include "common/md5.h"
#include "common/win32/utf16.h"
#include "process/command_line.h"

#include <windows.h>

namespace kx::cli {
namespace {

std::string yesNo(bool is) {
  return is ? "yes" : "no";
}

std::string pidText(std::uint32_t id) {
  return std::to_string(id);
}

void files(Scene& /*scene*/, CheckNotes& notes) {
  notes.same("version of KXTCP64.dll", KX_VERSION_TEXT, fileVersion(libraryPath()));
  std::string version;
  const Interruption never = false;
  simulatorProgram(never)({"--version"}, [&](std::string_view piece) { version += piece; });
  notes.same("kxsim --version", "kxsim 1.0", version.substr(0, version.find_last_not_of("\r\n") + 1));
}

// The command line of a launched browser begins with what is its own.
void launch(Scene& scene, CheckNotes& notes, const std::string& type, const std::string& switches) {
  Browser browser(scene.room, notes, type, {kEndsByItself});
  const Context context(scene.library);

  notes.same("kx_Init()", kAllWell, context.start(browser.launching()));
  const HeldProcess process = browser.process();
  notes.same("kx_GetBrowserProcessId()", pidText(process.id()), context.processId());
  const std::string page = scene.room.temp() + "\\" + md5Hex(browser.profile) + ".html";
  notes.sameBytes("command line",
                  quotedIfNeeded(browser.program) + " " + switches + "\"" + browser.profile + "\" " +
                      quotedIfNeeded("file://" + page + "?pipe=" + browser.pipe()),
                  browser.recorded("command-line.txt"));
  notes.same("the start page is there", "yes", yesNo(bytesOf(page).has_value()));
  notes.sameBytes("first request", initRequest(true), browser.recorded("request-1-1.bin"));
  notes.same("kx_Play()", kAllWell, context.play("extract Hello from " + type));
  notes.same("extracts", "Hello from " + type, context.extracts());
  notes.same("kx_Exit()", "0", context.exit());
  notes.same("the browser's end, by itself", kByItself, process.end());
}

void launchFirefox(Scene& scene, CheckNotes& notes) {
  launch(scene, notes, "fx", "-no-remote -P ");
}

void launchChrome(Scene& scene, CheckNotes& notes) {
  launch(scene, notes, "cr", "--user-data-dir=");
}

void attach(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {kEndsByItself});
  browser.serve();
  const Context context(scene.library);

  notes.same("kx_Init()", kAllWell, context.start(browser.attaching()));
  notes.same("kx_GetBrowserProcessId()", "0", context.processId());
  notes.sameBytes("name line on the extension's pipe",
                  "\\\\.\\pipe\\kx-fx-cli-unknonw." + std::to_string(::GetCurrentThreadId()) + "." +
                      std::to_string(::GetCurrentProcessId()) + "\n",
                  browser.recorded("name-line-1.bin"));
  notes.sameBytes("first request", initRequest(false), browser.recorded("request-1-1.bin"));
  notes.same("kx_Exit()", "0", context.exit());
  notes.same("the browser's end, by itself", kByItself, browser.started().end());
}

void runner(Scene& scene, CheckNotes& notes, const std::string& type) {
  Browser browser(scene.room, notes, type, {kEndsByItself, "on exit 1 no-reply"});
  const Context context(scene.library);
  StartCall call = browser.launching();
  call.options = "-runner " + browser.options();

  std::string failedExport;
  const int launched = scene.library.launchRunner(context.number(), call, failedExport);
  notes.same("kxr_GetCommandLine(), and a start with it", "0",
             std::to_string(launched) + (launched == 0 ? "" : " from " + failedExport));
  if (launched != 0) {
    throw CheckStopped("there is no browser");
  }
  browser.awaitServing();
  const HeldProcess process = browser.process();
  const std::string wellKnown = type == "fx" ? "\\\\.\\pipe\\" + browser.profile + ".runner" : browser.pipe();
  notes.same("the pipe that the browser serves",
             "pipe from=" + std::string(type == "fx" ? "switch" : "start page") + " name=" + wellKnown,
             browser.events("pipe ").empty() ? "none" : browser.events("pipe ").front());
  notes.same("kxr_Init()", kAllWell, context.startRunner(call));
  notes.same("kx_Play()", kAllWell, context.play("extract Hello, runner"));
  notes.same("extracts", "Hello, runner", context.extracts());
  notes.same("kxr_Exit() that is not answered", "-3, number -3, Error while receiving response",
             context.exitRunner(1));
  notes.same("kx_Play() after it", kAllWell, context.play("stop"));
  notes.same("kxr_Exit()", "0", std::to_string(scene.library.exitRunner(context.number(), kPatienceSeconds)));
  notes.same("the browser's end, by itself", kByItself, process.end());
  scene.library.endRunner(context.number(), 1);
}

void runnerFirefox(Scene& scene, CheckNotes& notes) {
  runner(scene, notes, "fx");
}

void runnerChrome(Scene& scene, CheckNotes& notes) {
  runner(scene, notes, "cr");
}

// Folder and profile with blanks and letters of several scripts: of the program, the page, the log, the
// picture and the macro.
void foreignNames(Scene& scene, CheckNotes& notes) {
  const std::string words =
      "\xD0\x9F\xD0\xB0\xD0\xBF\xD0\xBA\xD0\xB0 \xE5\x90\x8D\xE5\x89\x8D \xC3\xBC\xC3\x9F";
  const std::string folder = scene.room.path(words);
  makeFolder(folder);
  makeFolder(folder + "\\temp");
  Browser browser(scene.room, notes, "fx", {kEndsByItself});
  browser.program = folder + "\\\xD0\xB1\xD1\x80\xD0\xB0\xD1\x83\xD0\xB7\xD0\xB5\xD1\x80 1.exe";
  browser.profile += " " + words;
  if (::CopyFileW(utf16FromUtf8(simulatorPath()).c_str(), utf16FromUtf8(browser.program).c_str(), TRUE) ==
      FALSE) {
    throw CheckStopped("the simulator cannot be copied to " + browser.program + ", error " +
                       std::to_string(::GetLastError()));
  }
  setEnvironment("TEMP", folder + "\\temp");
  setEnvironment("KORVEX_LOGPATH", folder + "\\\xD0\xBB\xD0\xBE\xD0\xB3.txt");
  const Context context(scene.library);

  notes.same("kx_Init()", kAllWell, context.start(browser.launching()));
  const HeldProcess process = browser.process();
  notes.same("kx_Play()", kAllWell, context.play("extract " + words));
  notes.same("extracts", words, context.extracts());
  const std::string picture = folder + "\\\xD0\xB2\xD0\xB8\xD0\xB4.png";
  notes.same("kx_TakeBrowserScreenshot()", kAllWell, context.takeScreenshot(picture, 1));
  notes.same("the picture is there", "yes", yesNo(bytesOf(picture).value_or("").starts_with("\x89PNG")));
  notes.same("kx_Exit()", "0", context.exit());
  notes.same("the browser's end, by itself", kByItself, process.end());
  notes.same("the start page is there", "yes",
             yesNo(bytesOf(folder + "\\temp\\" + md5Hex(browser.profile) + ".html").has_value()));
  const std::string log = bytesOf(folder + "\\\xD0\xBB\xD0\xBE\xD0\xB3.txt").value_or("no log");
  notes.same("the log has the profile's name", "yes",
             yesNo(log.find("-fxProfile=\"" + browser.profile + "\"") != std::string::npos));
  setEnvironment("TEMP", scene.room.temp());
  setEnvironment("KORVEX_LOGPATH", scene.room.logPath());
}

void nobodyThere(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx");
  const Context context(scene.library);

  const std::string missing = scene.room.path("no such browser.exe");
  StartCall call = browser.launching(1);
  call.program = missing;
  notes.same("kx_Init() with a program that is not there",
             "2, number -2, Browser binary " + missing + " doesn't exists", context.start(call));
  call.program = scene.room.path("no such folder\\browser.exe");
  notes.same("kx_Init() with a folder that is not there", "3, number -3, Error finding browser binary",
             context.start(call));
  call.program = scene.room.path("no program.exe");
  scene.room.writeFile(*call.program, "This is a text.");
  notes.same("kx_Init() with a file that is no program",
             "193, number -193, Couldn't start browser binary " + *call.program, context.start(call));
  call.options = "-runner " + browser.options();
  call.timeoutSeconds = 0;
  notes.same("kxr_Init() when nobody serves",
             "-1, number -1, Could not open server pipe \\\\.\\pipe\\" + browser.profile + ".runner",
             context.startRunner(call));
}

// The launched process starts the browser and ends, as Firefox's does on Windows.
void launcherProcess(Scene& scene, CheckNotes& notes) {
  Browser browser(scene.room, notes, "fx", {kEndsByItself, "launcher-process"});
  const Context context(scene.library);

  notes.same("kx_Init()", kAllWell, context.start(browser.launching()));
  const HeldProcess process = browser.process();
  const std::vector<std::string> launcher = browser.events("launcher pid=");
  notes.same("kx_GetBrowserProcessId(), of the ended one", launcher.empty() ? "none" : launcher.front(),
             "launcher pid=" + context.processId());
  notes.same("kx_Play()", kAllWell, context.play("stop"));
  notes.same("kx_Exit()", "0", context.exit());
  notes.same("the browser's end, by itself", kByItself, process.end());
}

}  // namespace

std::vector<Check> startChecks(Scene& scene) {
  const auto in = [&scene](void (*run)(Scene&, CheckNotes&)) {
    return [&scene, run](CheckNotes& notes) { run(scene, notes); };
  };
  return {
      {"files", "the library and the simulator beside kx.exe belong together", in(files)},
      {"launch-firefox", "a Firefox is launched, plays, and ends by itself", in(launchFirefox)},
      {"launch-chrome", "a Chrome is launched, plays, and ends by itself", in(launchChrome)},
      {"attach", "a browser that is running is attached to", in(attach)},
      {"runner-firefox", "a runner starts Firefox and is not answered at first", in(runnerFirefox)},
      {"runner-chrome", "a runner starts Chrome and is not answered at first", in(runnerChrome)},
      {"foreign-names", "names with blanks and letters of several scripts", in(foreignNames)},
      {"nobody-there", "there is no browser, no program, no pipe", in(nobodyThere)},
      {"launcher-process", "the launched process hands over to another one", in(launcherProcess)},
  };
}

}  // namespace kx::cli

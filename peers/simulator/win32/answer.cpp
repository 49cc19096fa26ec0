#include "win32/answer.h"

#include "escapes.h"
#include "macro.h"
#include "screenshot.h"
#include "win32/windows_text.h"

namespace kxsim {
namespace {

void capture(const Request& request, Simulator& simulator, Reply& reply) {
  const Picture picture = request.captureType == "webpage" ? drawPage() : drawBrowser(simulator.choice.type);
  const unsigned long error = writeWholeFile(request.path, encodePng(picture));
  simulator.recorder.event("capture error=" + std::to_string(error) + " type=" +
                           escapeForLog(request.captureType) + " path=" + escapeForLog(request.path));
  if (error != 0) {
    reply.setResult(kScreenshotNotWritten,
                    "Could not write screenshot " + request.path + " (error " + std::to_string(error) + ")");
  }
}

void play(const Request& request, Simulator& simulator, Reply& reply) {
  MacroSettings settings;
  settings.lenient = simulator.script.lenientMacros;
  settings.pause = [&](long long milliseconds) {
    Sleep(static_cast<DWORD>(milliseconds));
    simulator.recorder.touch();
  };
  playMacro(request, settings, reply);
}

}  // namespace

void answerRequest(const Request& request, Simulator& simulator, Reply& reply) {
  if (request.type == "init") {
    simulator.recorder.event(std::string("init open-new-browser=") +
                             (request.openNewBrowser ? "true" : "false") +
                             " launched=" + (request.launched ? "true" : "false"));
  } else if (request.type == "play") {
    play(request, simulator, reply);
  } else if (request.type == "show") {
    simulator.recorder.event("show message=" + escapeForLog(request.message));
  } else if (request.type == "capture") {
    capture(request, simulator, reply);
  } else if (request.type == "exit") {
    reply.setWaitForProcessId(GetCurrentProcessId());
  } else if (request.type.empty()) {
    reply.setResult(kMalformedRequest, "Malformed request");
  } else {
    reply.setResult(kUnknownRequestType, "Unknown request type '" + request.type + "'");
  }
}

}  // namespace kxsim

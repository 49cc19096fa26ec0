#include "win32/server.h"

#include "win32/action_runner.h"
#include "win32/background_thread.h"
#include "win32/connection.h"
#include "win32/pipe_end.h"

#include <memory>
#include <utility>

namespace kxsim {
namespace {

constexpr DWORD kBufferBytes = 4096;

PipeEnd newInstance(Simulator& simulator) {
  const Script& script = simulator.script;
  const auto bufferBytes = script.serverBuffer   ? static_cast<DWORD>(*script.serverBuffer)
                           : script.earlyConnect ? 1
                                                 : kBufferBytes;
  PipeEnd instance = PipeEnd::serve(simulator.choice.pipe, bufferBytes);
  if (!instance) {
    simulator.end(kExitCannotServe, "cannot serve, error " + std::to_string(GetLastError()));
  }
  return instance;
}

void runMoment(Simulator& simulator, const std::string& name) {
  ActionRunner(simulator).run({simulator.happened(name, 0)}, {});
}

// Takes the only instance itself, so that hosts find the pipe busy until the script's actions are through.
void keepBusy(Simulator& simulator, PipeEnd& instance) {
  PipeEnd ownClient = PipeEnd::open(simulator.choice.pipe);
  simulator.recorder.event("busy");
  runMoment(simulator, "busy");
  ownClient.close();
  instance.disconnect();
  simulator.recorder.event("no-longer-busy");
}

}  // namespace

void serveWellKnownPipe(Simulator& simulator) {
  runMoment(simulator, "serve");
  PipeEnd instance = newInstance(simulator);
  if (simulator.script.hasRulesFor("busy")) {
    keepBusy(simulator, instance);
  }
  simulator.recorder.event("serving");
  runMoment(simulator, "serving");

  const unsigned most = simulator.script.connections;
  for (unsigned number = 1; most == 0 || number <= most; ++number) {
    if (!instance.accept()) {
      simulator.end(kExitCannotServe, "cannot accept, error " + std::to_string(GetLastError()));
    }
    // The next instance is there before this one is used, so a second host is not kept waiting.
    const auto connection = std::make_shared<Connection>(simulator, number, std::move(instance));
    instance = number == most ? PipeEnd() : newInstance(simulator);
    runInBackground([connection] { connection->run(); });
  }
  simulator.recorder.event("no-longer-serving");
}

}  // namespace kxsim

#include "win32/well_known_pipe.h"

#include "win32/background_thread.h"
#include "win32/pipe_end.h"

#include <windows.h>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace kxbrowser {
namespace {

using kxsim::PipeEnd;

constexpr DWORD kBufferBytes = 4096;
constexpr std::size_t kLongestLine = 4096;
constexpr DWORD kPatienceMilliseconds = 10000;
// A host that finds every instance in use takes the browser for one that does not answer.
constexpr int kInstances = 4;

// The way to the bridge, shared by the threads of all hosts.
class BridgeLines {
 public:
  explicit BridgeLines(PipeEnd pipe) : pipe_(std::move(pipe)) {}

  void pass(const std::string& line) {
    const std::scoped_lock lock(mutex_);
    pipe_.write(line);
  }

 private:
  std::mutex mutex_;
  PipeEnd pipe_;
};

// The bridge serves its pipe once it can play. There is nothing to wait on before the pipe is there.
PipeEnd awaitBridge(const std::string& bridgePipe) {
  constexpr DWORD kBetweenLooks = 20;
  for (;;) {
    if (PipeEnd pipe = PipeEnd::open(bridgePipe)) {
      return pipe;
    }
    Sleep(kBetweenLooks);
  }
}

// A host that leaves before its line is complete, or does not come to its end, is let go.
void readLine(PipeEnd& host, BridgeLines& bridge) {
  std::string line;
  while (line.size() < kLongestLine &&
         host.read(line, kLongestLine - line.size(), kPatienceMilliseconds) == PipeEnd::Outcome::kDone) {
    const std::size_t end = line.find('\n');
    if (end != std::string::npos) {
      bridge.pass(line.substr(0, end + 1));
      // The host closes its end next. To disconnect before it has would be an error in its log.
      std::string more;
      host.read(more, kLongestLine, kPatienceMilliseconds);
      return;
    }
  }
}

void serveHosts(const std::string& name, BridgeLines& bridge) {
  for (;;) {
    PipeEnd host = PipeEnd::serve(name, kBufferBytes);
    if (!host || !host.accept()) {
      std::fprintf(stderr, "kxbrowser: cannot serve %s, error %lu\n", name.c_str(), GetLastError());
      return;
    }
    readLine(host, bridge);
    host.close();
  }
}

}  // namespace

void serveWellKnownPipe(const std::string& name, const std::string& bridgePipe) {
  kxsim::runInBackground([=] {
    const auto bridge = std::make_shared<BridgeLines>(awaitBridge(bridgePipe));
    for (int instance = 0; instance < kInstances; ++instance) {
      kxsim::runInBackground([=] { serveHosts(name, *bridge); });
    }
  });
}

}  // namespace kxbrowser

#include "e2e/host_process.h"

#include "e2e/real_browser.h"
#include "support/win32/log_signal.h"

#include <vector>

namespace {

constexpr char kVerb[] = "doomed-host";
constexpr std::size_t kFirstArgument = 3;
constexpr std::size_t kArguments = 4;
constexpr DWORD kStartMilliseconds = kStartSeconds * 1000;

int run(const std::string& type, const std::string& options, const std::string& startingEvent,
        const std::string& playingEvent) {
  const NamedEvent starting(startingEvent);
  const NamedEvent playing(playingEvent);
  // The first attempt finds nobody and launches the browser.
  const LogSignal launched("Client: connecting to server", 2, [&] { starting.signal(); });
  const BrowserKind kind = type == kFirefox.type ? kFirefox : kChromium;
  const KxLibrary library;
  Host host(library, kind);
  if (host.init({options, launcherPath(kind)}) != KX_OK) {
    return 1;
  }
  const LogSignal underWay("Client: Message sent", 1, [&] { playing.signal(); });
  host.play("await open(variables.site + '/slow?seconds=100');");
  return 2;
}

// An argument in quotes that may hold quotes itself.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    result += c == '"' ? "\\\"" : std::string(1, c);
  }
  return result;
}

}  // namespace

DoomedHost::DoomedHost(const Profile& profile) {
  process_.emplace(std::vector<std::string>{kVerb, profile.kind.type, escaped(profile.options()),
                                            starting_.name(), playing_.name()});
}

bool DoomedHost::isStarting() const {
  return starting_.wait(kStartMilliseconds);
}

bool DoomedHost::isPlaying() const {
  return playing_.wait(kStartMilliseconds);
}

std::optional<int> runAsHost() {
  const std::vector<std::string> words = commandLineWords();
  if (words.size() != kFirstArgument + kArguments || words[1] != kHelperSwitch || words[2] != kVerb) {
    return std::nullopt;
  }
  return run(words[kFirstArgument], words[kFirstArgument + 1], words[kFirstArgument + 2],
             words[kFirstArgument + 3]);
}

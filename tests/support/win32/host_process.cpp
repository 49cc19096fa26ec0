#include "support/win32/host_process.h"

#include "support/win32/dll.h"
#include "support/win32/log_signal.h"

namespace {

constexpr char kVerb[] = "host";
// A machine under load starts a browser in half a minute.
constexpr int kPatienceSeconds = 180;

// An argument in quotes that may hold quotes itself.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    result += c == '"' ? "\\\"" : std::string(1, c);
  }
  return result;
}

}  // namespace

HostProcess::HostProcess(const Task& task) {
  process_.emplace(std::vector<std::string>{kVerb, playing_.name(), task.browser, escaped(task.options),
                                            task.program, escaped(task.macro)});
}

bool HostProcess::isPlaying() const {
  return playing_.wait(kPatienceSeconds * 1000);
}

std::optional<int> runAsHost() {
  const std::vector<std::string> words = commandLineWords();
  if (words.size() != 8 || words[1] != kHelperSwitch || words[2] != kVerb) {
    return std::nullopt;
  }
  const KxLibrary dll;
  const int context = dll.kx_ContextCreate();
  if (dll.kx_Init(context, words[4].c_str(), words[5].c_str(), words[6].c_str(), 0, 0, kPatienceSeconds) !=
      KX_OK) {
    return 1;
  }
  const LogSignal sent("Client: Message sent", 1, [&] { NamedEvent(words[3]).signal(); });
  return dll.kx_Play(context, words[7].c_str(), kPatienceSeconds) == KX_OK ? 0 : 2;
}

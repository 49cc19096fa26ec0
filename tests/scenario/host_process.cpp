#include "scenario/host_process.h"

#include "scenario/conversation.h"
#include "support/win32/dll.h"

#include <vector>

namespace {

constexpr char kVerb[] = "host";
constexpr std::size_t kFirstArgument = 3;
constexpr std::size_t kArguments = 7;

int run(const std::vector<std::string>& arguments) {
  const NamedEvent returned(arguments[4]);
  const NamedEvent failed(arguments[5]);
  const NamedEvent go(arguments[6]);

  const KxLibrary dll;
  const int context = dll.kx_ContextCreate();
  const int result = dll.kx_Init(context, arguments[0].c_str(), arguments[1].c_str(), arguments[2].c_str(), 0,
                                 0, std::stoi(arguments[3]));
  if (result != KX_OK) {
    failed.signal();
  }
  returned.signal();
  go.wait();
  return dll.kx_Play(context, "extract from a host of its own", 30) == KX_OK ? 0 : 1;
}

}  // namespace

HostProcess::HostProcess(const Start& start) {
  process_.emplace(std::vector<std::string>{kVerb, start.browser, start.options, start.program,
                                            std::to_string(start.timeout), returned_.name(), failed_.name(),
                                            go_.name()});
}

bool HostProcess::isInitialised() const {
  return returned_.wait() && !failed_.wait(0);
}

int HostProcess::playAndLeave() const {
  go_.signal();
  return static_cast<int>(process_->exitCode());
}

std::optional<int> runAsHost(int argc, char** argv) {
  const std::vector<std::string> words(argv, argv + argc);
  if (words.size() != kFirstArgument + kArguments || words[1] != kHelperSwitch || words[2] != kVerb) {
    return std::nullopt;
  }
  return run({words.begin() + kFirstArgument, words.end()});
}

#include "macro.h"

#include "escapes.h"
#include "words.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string_view>

namespace kxsim {
namespace {

constexpr long long kLargestFill = 256LL * 1024 * 1024;

class MacroPlayer {
 public:
  MacroPlayer(const Request& request, const MacroSettings& settings, Reply& reply)
      : request_(request), settings_(settings), reply_(reply) {
    for (const auto& [name, value] : request.variables) {
      variables_[name] = value;
    }
  }

  void play() {
    std::string_view rest = request_.source;
    while (!rest.empty() && !ended_) {
      ++lineNumber_;
      const std::string_view line = withoutLeadingBlanks(takeLine(rest));
      if (!line.empty() && line.front() != '#') {
        playLine(line);
      }
    }
  }

 private:
  void playLine(std::string_view line) {
    const Substituted substituted =
        substitute(line, [this](const std::string& name) { return variable(name); });
    if (substituted.unknownName && !settings_.lenient) {
      fail(kMacroUnknownVariable, "variable '" + *substituted.unknownName + "' is not set");
      return;
    }
    std::string_view arguments = substituted.text;
    const std::string command = takeWord(arguments);
    if (!runCommand(command, arguments) && !settings_.lenient) {
      fail(kMacroSyntaxError, "cannot understand '" + command + "'");
      return;
    }
    if (request_.useProfiler && command != "profile") {
      reply_.addProfilerLine("line " + std::to_string(lineNumber_) + ": " + command);
    }
  }

  // False when there is no such command or its arguments do not fit.
  bool runCommand(const std::string& command, std::string_view arguments) {
    if (command == "extract") {
      reply_.addExtract(std::string(arguments));
    } else if (command == "fill") {
      return fill(arguments);
    } else if (command == "let") {
      const std::string name = takeWord(arguments);
      variables_[name] = std::string(arguments);
      return !name.empty();
    } else if (command == "performance") {
      const std::string name = takeWord(arguments);
      reply_.addPerformance(name, std::string(arguments));
      return !name.empty();
    } else if (command == "profile") {
      if (request_.useProfiler) {
        reply_.addProfilerLine(arguments);
      }
    } else if (command == "pause") {
      return pause(arguments);
    } else if (command == "status") {
      reply_.setStatus(std::string(arguments));
    } else if (command == "fail") {
      return failOnPurpose(arguments);
    } else if (command == "stop") {
      ended_ = true;
    } else {
      return false;
    }
    return true;
  }

  bool fill(std::string_view arguments) {
    const auto bytes = toNumber(takeWord(arguments));
    if (!bytes || *bytes < 0 || *bytes > kLargestFill) {
      return false;
    }
    reply_.addExtract(generatedText(static_cast<std::size_t>(*bytes)));
    return true;
  }

  bool pause(std::string_view arguments) {
    const auto milliseconds = toNumber(takeWord(arguments));
    if (!milliseconds || *milliseconds < 0) {
      return false;
    }
    settings_.pause(*milliseconds);
    return true;
  }

  bool failOnPurpose(std::string_view arguments) {
    const auto number = toNumber(takeWord(arguments));
    if (!number) {
      return false;
    }
    reply_.setResult(*number, std::string(arguments));
    ended_ = true;
    return true;
  }

  void fail(int number, const std::string& reason) {
    reply_.setResult(number, "Line " + std::to_string(lineNumber_) + ": " + reason);
    ended_ = true;
  }

  std::optional<std::string> variable(const std::string& name) const {
    const auto found = variables_.find(name);
    return found == variables_.end() ? std::nullopt : std::optional<std::string>(found->second);
  }

  const Request& request_;
  const MacroSettings& settings_;
  Reply& reply_;
  std::map<std::string, std::string> variables_;
  int lineNumber_ = 0;
  bool ended_ = false;
};

}  // namespace

void playMacro(const Request& request, const MacroSettings& settings, Reply& reply) {
  MacroPlayer(request, settings, reply).play();
}

}  // namespace kxsim

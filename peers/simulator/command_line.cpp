#include "command_line.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kxsim {
namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

// The program's own name follows a plainer rule than the arguments: no backslash ever escapes a quote in it.
std::string takeProgram(std::string_view line, std::size_t& at) {
  std::string program;
  bool quoted = false;
  for (; at < line.size() && (quoted || !isBlank(line[at])); ++at) {
    if (line[at] == '"') {
      quoted = !quoted;
    } else {
      program += line[at];
    }
  }
  return program;
}

std::string takeArgument(std::string_view line, std::size_t& at) {
  std::string argument;
  bool quoted = false;
  while (at < line.size() && (quoted || !isBlank(line[at]))) {
    std::size_t backslashes = 0;
    while (at < line.size() && line[at] == '\\') {
      ++backslashes;
      ++at;
    }
    if (at >= line.size() || line[at] != '"') {
      argument.append(backslashes, '\\');
      if (backslashes == 0) {
        argument += line[at++];
      }
      continue;
    }
    argument.append(backslashes / 2, '\\');
    if (backslashes % 2 != 0) {
      argument += '"';
    } else if (quoted && at + 1 < line.size() && line[at + 1] == '"') {
      argument += '"';
      ++at;
    } else {
      quoted = !quoted;
    }
    ++at;
  }
  return argument;
}

bool takeValue(const std::string& argument, std::string_view prefix, std::optional<std::string>& value) {
  if (argument.compare(0, prefix.size(), prefix) != 0) {
    return false;
  }
  value = argument.substr(prefix.size());
  return true;
}

void takeStartPage(const std::string& argument, CommandLine& result) {
  static constexpr std::string_view kQuery = "?pipe=";
  const std::size_t query = argument.find(kQuery);
  // An unquoted page path with blanks arrives in several arguments, so only the last of them is looked at,
  // and it need not begin with "file://".
  if (query != std::string::npos && query + kQuery.size() < argument.size()) {
    result.startPagePipe = argument.substr(query + kQuery.size());
  }
}

}  // namespace

std::vector<std::string> splitCommandLine(std::string_view line) {
  std::vector<std::string> parts;
  std::size_t at = 0;
  parts.push_back(takeProgram(line, at));
  for (;;) {
    while (at < line.size() && isBlank(line[at])) {
      ++at;
    }
    if (at >= line.size()) {
      return parts;
    }
    parts.push_back(takeArgument(line, at));
  }
}

CommandLine readCommandLine(std::string_view line) {
  CommandLine result;
  std::vector<std::string> parts = splitCommandLine(line);
  result.program = parts.front();
  result.arguments.assign(parts.begin() + 1, parts.end());

  const std::vector<std::string>& arguments = result.arguments;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const bool hasNext = i + 1 < arguments.size();
    if (argument == "-P" && hasNext) {
      result.profile = arguments[++i];
    } else if (argument == "-kx-pipe" && hasNext) {
      result.switchPipe = arguments[++i];
    } else if (argument == "-no-remote") {
      result.noRemote = true;
    } else if (argument == "-kx-profiler") {
      result.profiler = true;
    } else if (argument == "--help" || argument == "-h" || argument == "/?") {
      result.help = true;
    } else if (argument == "--version") {
      result.version = true;
    } else if (argument == "--describe") {
      result.describe = true;
    } else if (argument == "--verbose") {
      result.verbose = true;
    } else if (argument == "--show-requests") {
      result.showRequests = true;
    } else if (argument == "--misbehaviours") {
      result.misbehaviours = true;
    } else if (takeValue(argument, "--type=", result.typeOption) ||
               takeValue(argument, "--pipe=", result.pipeOption) ||
               takeValue(argument, "--script=", result.scriptOption) ||
               takeValue(argument, "--record=", result.recordOption) ||
               takeValue(argument, "--misbehave=", result.misbehaveOption)) {
      continue;
    } else {
      // A directory that ends in a backslash swallows what follows it, since its closing quote counts as
      // escaped. The start page is then found inside this very argument, as a browser's own search for it
      // would.
      takeValue(argument, "--user-data-dir=", result.userDataDir);
      takeStartPage(argument, result);
    }
  }
  return result;
}

std::string fileNameOf(std::string_view path) {
  const std::size_t slash = path.find_last_of("\\/");
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

}  // namespace kxsim

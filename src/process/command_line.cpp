#include "process/command_line.h"

#include "common/strings.h"

namespace kx {

std::string quotedIfNeeded(const std::string& text) {
  const bool hasSpace = text.find(' ') != std::string::npos;
  const bool hasQuote = text.starts_with('"') || text.ends_with('"');
  return hasSpace && !hasQuote ? inDoubleQuotes(text) : text;
}

std::string commandLine(const std::string& programPath, const std::vector<std::string>& arguments) {
  std::string line = quotedIfNeeded(programPath);
  for (const std::string& argument : arguments) {
    line += ' ';
    line += quotedIfNeeded(argument);
  }
  return line;
}

std::string workingDirectory(const std::string& programPath) {
  return programPath.substr(0, programPath.rfind('\\'));
}

}  // namespace kx

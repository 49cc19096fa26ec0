#include "launch_settings.h"

#include "command_line.h"

#include <algorithm>

namespace kxbrowser {
namespace {

std::string_view trimmed(std::string_view text) {
  static constexpr std::string_view kBlanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) {
    return {};
  }
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

}  // namespace

Variables parseSettings(std::string_view text) {
  Variables settings;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = trimmed(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    const std::size_t equals = line.find('=');
    if (line.empty() || line.front() == '#' || equals == std::string_view::npos) {
      continue;
    }
    settings[std::string(trimmed(line.substr(0, equals)))] = trimmed(line.substr(equals + 1));
  }
  return settings;
}

Variables missingIn(const Environment& environment, const Variables& file) {
  Variables missing;
  std::copy_if(file.begin(), file.end(), std::inserter(missing, missing.end()),
               [&](const auto& setting) { return !environment(setting.first); });
  return missing;
}

std::optional<std::string> typeByName(const std::string& program) {
  std::string name = kxsim::fileNameOf(program);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  if (name.find("chrom") != std::string::npos) {
    return "cr";
  }
  return name.find("firefox") != std::string::npos ? std::optional<std::string>("fx") : std::nullopt;
}

std::string cleanFolder(const std::string& folder) {
  return folder.substr(0, folder.find('"'));
}

std::string mutexName(const std::string& pipe) {
  std::string name = "kxbrowser:" + pipe;
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

}  // namespace kxbrowser

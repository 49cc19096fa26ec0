#include "profiles_ini.h"

#include <algorithm>
#include <cstddef>

namespace kxsim {
namespace {

std::string valueOf(const IniSection& section, const std::string& key) {
  const auto found = section.find(key);
  return found == section.end() ? std::string() : found->second;
}

}  // namespace

IniFile parseIni(std::string_view text) {
  IniFile file;
  std::string section;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.empty() && line.back() == '\r') {
      line.remove_suffix(1);
    }
    if (!line.empty() && line.front() == '[') {
      section = std::string(line.substr(1, line.find(']') - 1));
      file[section].clear();
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals != std::string_view::npos && equals > 0) {
      file[section][std::string(line.substr(0, equals))] = std::string(line.substr(equals + 1));
    }
  }
  return file;
}

std::optional<std::string> defaultProfileName(const IniFile& profiles) {
  for (const auto& [name, section] : profiles) {
    if (name == "General") {
      if (valueOf(section, "StartWithLastProfile") == "0") {
        return std::nullopt;
      }
    } else if (valueOf(section, "Default") == "1") {
      return valueOf(section, "Name");
    }
  }
  return std::nullopt;
}

std::optional<std::string> profileDirectory(const IniFile& profiles, const std::string& name,
                                            const std::string& appData) {
  for (const auto& [sectionName, section] : profiles) {
    if (section.count("Name") == 0 || section.at("Name") != name) {
      continue;
    }
    std::string path = valueOf(section, "Path");
    if (valueOf(section, "IsRelative") != "1") {
      return path;
    }
    std::replace(path.begin(), path.end(), '/', '\\');
    return std::string(appData).append("\\Mozilla\\Firefox\\").append(path);
  }
  return std::nullopt;
}

}  // namespace kxsim

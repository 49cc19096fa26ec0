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
  // Section by section in the order of their names, whichever comes first: a profile that is marked as the
  // default, or the switch that lets the user choose at every start.
  const auto decides = [](const auto& section) {
    return section.first == "General" ? valueOf(section.second, "StartWithLastProfile") == "0"
                                      : valueOf(section.second, "Default") == "1";
  };
  const auto found = std::find_if(profiles.begin(), profiles.end(), decides);
  if (found == profiles.end() || found->first == "General") {
    return std::nullopt;
  }
  return valueOf(found->second, "Name");
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

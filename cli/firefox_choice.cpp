#include "cli/firefox_choice.h"

#include "process/firefox_profiles.h"

#include <algorithm>

namespace kx::cli {
namespace {

constexpr char kGeneral[] = "General";
constexpr char kDefault[] = "Default";

// The line with which the section's mark comes about: read again, byte by byte, until it is there.
std::size_t lineOfMark(std::string_view text, const std::string& section) {
  FirefoxProfilesParser parser;
  std::size_t line = 1;
  for (const char byte : text) {
    parser.feed(byte);
    const auto found = parser.profiles().find(section);
    if (found != parser.profiles().end() && valueOf(found->second, kDefault) == "1") {
      return line;
    }
    line += byte == '\n' ? 1 : 0;
  }
  return line;
}

std::optional<std::string> nameOfPath(const FirefoxProfileList& profiles, const std::string& path) {
  const auto found = std::find_if(profiles.begin(), profiles.end(), [&](const auto& entry) {
    return !path.empty() && valueOf(entry.second, "Path") == path;
  });
  return found != profiles.end() ? std::optional(valueOf(found->second, "Name")) : std::nullopt;
}

}  // namespace

FirefoxChoice firefoxChoice(std::string_view profilesIni) {
  const FirefoxProfileList profiles = parseFirefoxProfiles(profilesIni);
  FirefoxChoice choice;
  choice.profile = startProfileName(profiles);
  for (const auto& [name, section] : profiles) {
    if (name == kGeneral) {
      choice.isAskedFor = !choice.profile && valueOf(section, "StartWithLastProfile") == "0";
    } else if (choice.profile && choice.section.empty() && valueOf(section, kDefault) == "1") {
      choice.section = name;
      choice.line = lineOfMark(profilesIni, name);
    }
    if (name.starts_with("Install") && !choice.firefoxProfile) {
      choice.firefoxProfile = nameOfPath(profiles, valueOf(section, kDefault));
    }
  }
  return choice;
}

}  // namespace kx::cli

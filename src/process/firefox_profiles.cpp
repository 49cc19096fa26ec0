#include "process/firefox_profiles.h"

#include "common/strings.h"
#include "log/log.h"
#include "process/default_paths.h"

#include <algorithm>
#include <utility>

namespace kx {

void FirefoxProfilesParser::feed(char byte) {
  if (byte == '\r') {
    return;
  }
  switch (state_) {
    case State::InSectionName:
      if (byte == ']') {
        section_ = takeBuffer();
        // A name that occurs twice loses what was read under its first occurrence.
        profiles_[section_] = FirefoxSection();
        state_ = State::Idle;
        return;
      }
      break;
    case State::InKey:
      if (byte == '=') {
        key_ = takeBuffer();
        profiles_[section_][key_] = key_;
        state_ = State::InValue;
        return;
      }
      break;
    case State::InValue:
      if (byte == '\n') {
        profiles_[section_][key_] = takeBuffer();
        state_ = State::Idle;
        isLineStart_ = true;
        return;
      }
      break;
    case State::Idle:
      feedIdle(byte);
      return;
  }
  buffer_ += byte;
}

void FirefoxProfilesParser::feedIdle(char byte) {
  const bool wasLineStart = std::exchange(isLineStart_, isAsciiSpace(byte));
  if (!wasLineStart) {
    if (!isLineStart_) {
      __logerr("parseFxProfilesFile error");
    }
  } else if (byte == '[') {
    state_ = State::InSectionName;
  } else if (isAsciiLetter(byte)) {
    state_ = State::InKey;
    buffer_ = byte;
  }
}

std::string FirefoxProfilesParser::takeBuffer() {
  return std::exchange(buffer_, {});
}

FirefoxProfileList parseFirefoxProfiles(std::string_view text) {
  FirefoxProfilesParser parser;
  for (const char byte : text) {
    parser.feed(byte);
  }
  return parser.profiles();
}

std::string valueOf(const FirefoxSection& section, const std::string& key) {
  const auto entry = section.find(key);
  return entry != section.end() ? entry->second : std::string();
}

std::optional<std::string> startProfileName(const FirefoxProfileList& profiles) {
  // "General" usually sorts before "Profile0", so StartWithLastProfile=0 is seen before any Default=1 and
  // wins.
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

std::optional<std::string> parentLockPath(const FirefoxProfileList& profiles, const std::string& profileName,
                                          const std::string& applicationData) {
  const auto found = std::find_if(profiles.begin(), profiles.end(), [&](const auto& entry) {
    return valueOf(entry.second, "Name") == profileName;
  });
  if (found == profiles.end()) {
    return std::nullopt;
  }
  std::string folder = valueOf(found->second, "Path");
  if (valueOf(found->second, "IsRelative") == "1") {
    std::replace(folder.begin(), folder.end(), '/', '\\');
    folder = firefoxDataFolder(applicationData) + "\\" + folder;
  }
  return folder + "\\parent.lock";
}

}  // namespace kx

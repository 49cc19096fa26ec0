// Reads Firefox's profiles.ini by rules of its own: byte by byte, with whitespace kept and no comments. The
// parser is portable and works on bytes; process/win32/profile_store.h opens the file.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kx {

// Keys and values of one section, and sections by name. Both are in bytewise order, which decides which
// profile is found first. Keys before the first section header belong to the section with the empty name.
using FirefoxSection = std::map<std::string, std::string>;
using FirefoxProfileList = std::map<std::string, FirefoxSection>;

class FirefoxProfilesParser {
 public:
  // Takes the next byte of the file. A byte that fits nowhere is dropped, and logged unless a line begins
  // with it.
  void feed(char byte);

  // What has been read. A value without its line end is not stored: its key keeps the key's own text.
  const FirefoxProfileList& profiles() const { return profiles_; }

 private:
  enum class State { Idle, InSectionName, InKey, InValue };

  void feedIdle(char byte);
  std::string takeBuffer();

  FirefoxProfileList profiles_;
  State state_ = State::Idle;
  bool isLineStart_ = true;
  std::string buffer_;
  std::string section_;
  std::string key_;
};

FirefoxProfileList parseFirefoxProfiles(std::string_view text);

// The value of a key, empty when the section has none.
std::string valueOf(const FirefoxSection& section, const std::string& key);

// The "Name" of the profile that is marked with Default=1, or nothing when Firefox is to ask or none is
// marked. Firefox 67 and later may start with another, which their own sections name and nobody here looks
// at. Sections are looked at in the order of their names.
std::optional<std::string> startProfileName(const FirefoxProfileList& profiles);

// The path of parent.lock in the folder of the first profile of that name, or nothing when no section has the
// name.
std::optional<std::string> parentLockPath(const FirefoxProfileList& profiles, const std::string& profileName,
                                          const std::string& applicationData);

}  // namespace kx

// Any profiles.ini is read as its rules say, reads back equal when it is written plainly, and what is looked
// up comes out of it.
#include "fuzz/property.h"
#include "process/firefox_profiles.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace kx {

namespace {

// The rules told once more, from one token to the next: "[" up to "]" names a section, a letter up to "=" is
// a key, the rest of its line its value. Both begin where only blanks stand before them, on their line or
// behind a blank.
FirefoxProfileList readByRules(std::string text) {
  std::erase(text, '\r');
  const auto isBlank = [](char c) { return std::string_view(" \t\n\v\f").find(c) != std::string_view::npos; };
  FirefoxProfileList profiles;
  std::string section;
  bool mayBegin = true;
  std::size_t at = 0;
  while (at < text.size()) {
    const char c = text[at];
    if (!mayBegin || isBlank(c)) {
      mayBegin = isBlank(c);
      ++at;
    } else if (c == '[') {
      const std::size_t end = text.find(']', at);
      if (end == std::string::npos) {
        break;
      }
      section = text.substr(at + 1, end - at - 1);
      profiles[section].clear();
      mayBegin = false;
      at = end + 1;
    } else if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) {
      const std::size_t sign = text.find('=', at);
      if (sign == std::string::npos) {
        break;
      }
      const std::string key = text.substr(at, sign - at);
      const std::size_t end = text.find('\n', sign);
      // Without a line end there is no value, and the key stands for it.
      profiles[section][key] = end == std::string::npos ? key : text.substr(sign + 1, end - sign - 1);
      at = end == std::string::npos ? text.size() : end + 1;
    } else {
      mayBegin = false;
      ++at;
    }
  }
  return profiles;
}

// The list as a file, or the empty text when a value holds a line feed and so cannot be written on one line.
std::string writtenPlainly(const FirefoxProfileList& profiles) {
  std::string text;
  for (const auto& [name, section] : profiles) {
    text.append("[").append(name).append("]\n");
    for (const auto& [key, value] : section) {
      if (value.find('\n') != std::string::npos) {
        return {};
      }
      text.append(key).append("=").append(value).append("\n");
    }
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  const FirefoxProfileList profiles = parseFirefoxProfiles(text);
  FUZZ_PROPERTY(profiles == readByRules(std::string(text)), "the file is read as the rules say");

  const std::string plain = writtenPlainly(profiles);
  FUZZ_PROPERTY(plain.empty() || parseFirefoxProfiles(plain) == profiles, "the plain file says the same");

  const auto start = startProfileName(profiles);
  const bool isKnown = start && std::any_of(profiles.begin(), profiles.end(), [&](const auto& entry) {
                         return valueOf(entry.second, "Name") == *start;
                       });
  FUZZ_PROPERTY(!start || isKnown, "the start profile is one of the list");

  const std::string wanted = start.value_or("default");
  const auto lock = parentLockPath(profiles, wanted, "C:\\AppData");
  FUZZ_PROPERTY(!start || lock, "the start profile has a lock path");
  FUZZ_PROPERTY(!lock || lock->ends_with("\\parent.lock"), "a lock path names the lock file");
  return 0;
}

}  // namespace kx

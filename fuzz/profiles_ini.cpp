// What was read of any profiles.ini reads back equal when it is written plainly; what is looked up comes out
// of it.
#include "fuzz/property.h"
#include "process/firefox_profiles.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

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

// Reads the list of Firefox profiles and answers which profile Firefox starts with and where a profile lives.
// A plain reader of sections and "key=value" lines; it works on text, so the caller opens the file.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kxsim {

using IniSection = std::map<std::string, std::string>;
using IniFile = std::map<std::string, IniSection>;

IniFile parseIni(std::string_view text);

// The name of the profile that is marked as the default one; nothing when Firefox would ask for a profile at
// start or no profile is marked. Sections are looked at in ascending order of their names.
std::optional<std::string> defaultProfileName(const IniFile& profiles);

// The directory of the profile of that name, `appData` being the user's roaming application folder.
std::optional<std::string> profileDirectory(const IniFile& profiles, const std::string& name,
                                            const std::string& appData);

}  // namespace kxsim

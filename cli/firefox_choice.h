// Which profile profiles.ini gives, by which line, and which one Firefox itself would take.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kx::cli {

struct FirefoxChoice {
  // The library's: nothing when no profile is marked, or Firefox is to ask.
  std::optional<std::string> profile;
  // Where it is marked, counted from 1.
  std::string section;
  std::size_t line = 0;
  // StartWithLastProfile=0 stands before any mark.
  bool isAskedFor = false;
  // What Firefox 67 and later would start with, when an [Install...] section says so.
  std::optional<std::string> firefoxProfile;
};

FirefoxChoice firefoxChoice(std::string_view profilesIni);

}  // namespace kx::cli

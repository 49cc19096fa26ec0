// The two notations of script texts: backslash escapes for raw bytes, and "$(name)" for what is known only
// while the simulator runs. Macros use the second one too.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kxsim {

// As escapes are written.
inline constexpr std::string_view kHexDigits = "0123456789abcdef";

// Turns \n, \r, \t, \\ and \xHH into the bytes they stand for. Any other backslash stays as it is, so that
// JSON escapes such as \" need no doubling.
std::string unescapeBytes(std::string_view text);

// For one line of the event log: control bytes become visible, all else stays, backslashes too.
std::string escapeForLog(std::string_view bytes);

using Lookup = std::function<std::optional<std::string>(const std::string& name)>;

struct Substituted {
  std::string text;
  std::optional<std::string> unknownName;  // the first name that the look-up did not know
};

// Replaces every "$(name)" by what the look-up gives, and "$$" by one dollar sign. An unknown name stays as
// written.
Substituted substitute(std::string_view text, const Lookup& lookup);

}  // namespace kxsim

// Splits a host's options string, written like a command line, into names and values. Never fails: malformed
// text yields fewer options.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace kx {

// Options by name, the hyphen included. Names are compared bytewise; of an option given twice the last value
// counts.
using Options = std::map<std::string, std::string>;

inline constexpr char kOptionFirefoxProfile[] = "-fxProfile";
inline constexpr char kOptionChromeDataFolder[] = "-crUserDataDir";
inline constexpr char kOptionProfiler[] = "-profiler";
inline constexpr char kOptionRunner[] = "-runner";

// Null counts as an empty string. Takes time in proportion to the text and no stack.
Options parseOptions(const char* options);

// The text between the double quotes when the whole value stands in one pair on one line, otherwise the value
// unchanged.
std::string unquote(std::string_view value);

// The option's value, or null when it was not given.
const std::string* findOption(const Options& options, const char* name);

}  // namespace kx

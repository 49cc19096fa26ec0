// The scanner of options strings agrees with a regular expression engine on every short text, and takes long
// ones.
#include "api/options.h"

#include "fuzz/property.h"

#include <cstdint>
#include <regex>
#include <string>

namespace kx {

namespace {

// The engine recurses once per character; longer texts would only exhaust its stack.
constexpr std::size_t kLongestForTheEngine = 300;

// The classes are spelled out, because the engine's own follow the locale.
Options parsedByTheEngine(const std::string& text) {
  static const std::regex pattern(
      R"((-[A-Za-z0-9_-]+)(?:(?:[ \t\n\v\f\r]*=[ \t\n\v\f\r]*|[ \t\n\v\f\r]+(?=[^-]))("[^"]*"|[^ \t\n\v\f\r]+))?)",
      std::regex::ECMAScript);
  Options options;
  for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
    options.insert_or_assign((*match)[1].str(), unquote((*match)[2].str()));
  }
  return options;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A host's text ends at its first zero.
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::string text = bytes.substr(0, bytes.find('\0'));

  const Options options = parseOptions(text.c_str());

  for (const auto& [name, value] : options) {
    FUZZ_PROPERTY(name.size() >= 2 && name.front() == '-', "a name has a hyphen and a character");
    FUZZ_PROPERTY(text.find(name) != std::string::npos, "a name stands in the text");
    FUZZ_PROPERTY(text.find(value) != std::string::npos, "a value stands in the text");
  }
  if (text.size() <= kLongestForTheEngine) {
    FUZZ_PROPERTY(options == parsedByTheEngine(text), "scanner and engine agree");
  }
  return 0;
}

}  // namespace kx

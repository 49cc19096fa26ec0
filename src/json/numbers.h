// Numbers of JSON text, in the parser's slightly wider grammar: a point need not be followed by digits.
// Independent of the locale, which in a DLL is the host's.
#pragma once

#include <cstddef>
#include <string_view>

namespace kx::json {

// How far the text goes as a number. A number that is cut short, as "-" or "1e", counts to its end.
std::size_t numberLength(std::string_view text);

// Whether a text that goes to its end as a number stops at its sign, or between exponent mark and exponent.
bool isCutShort(std::string_view number);

// The value that C's strtod() gives in the "C" locale.
double numberValue(std::string_view number);

}  // namespace kx::json

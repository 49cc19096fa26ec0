// Cutting lines of the macro and script languages into words and numbers.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kxsim {

std::string_view withoutLeadingBlanks(std::string_view text);

// Takes the first word off the text, and the single blank behind it; the rest stays exactly as it is.
std::string takeWord(std::string_view& text);

// Takes the first line off the text, without its line feed and a carriage return before that.
std::string_view takeLine(std::string_view& text);

// The whole word as a decimal number within the range of the type; nothing when it is none.
std::optional<long long> toNumber(std::string_view word);

}  // namespace kxsim

#include "json/numbers.h"

#include "common/strings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <system_error>

namespace kx::json {

namespace {

// Whether a number outside the range of double lies beyond its large end: tells so by the place of its first
// digit that is not zero, counted from the point, exponent included.
bool isHuge(std::string_view number) {
  const std::size_t exponentMark = std::min(number.find_first_of("eE"), number.size());
  const std::string_view mantissa = number.substr(0, exponentMark);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t firstDigit = mantissa.find_first_of("123456789");
  std::int64_t magnitude = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(firstDigit);
  if (exponentMark < number.size()) {
    std::string_view digits = number.substr(exponentMark + 1);
    const bool isNegative = digits.front() == '-';
    digits.remove_prefix(isNegative || digits.front() == '+' ? 1 : 0);
    // No mantissa is so long that it could make up for this one.
    constexpr std::int64_t kEndless = std::numeric_limits<std::int64_t>::max() / 2;
    std::int64_t exponent = kEndless;
    std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
    exponent = std::min(exponent, kEndless);
    magnitude += isNegative ? -exponent : exponent;
  }
  return magnitude > 0;
}

}  // namespace

std::size_t numberLength(std::string_view text) {
  std::size_t i = 0;
  const auto skipDigits = [&] {
    const std::size_t first = i;
    while (i < text.size() && isAsciiDigit(text[i])) {
      ++i;
    }
    return i != first;
  };
  if (i < text.size() && text[i] == '-') {
    ++i;
  }
  const bool leadingZero = i < text.size() && text[i] == '0';
  if (leadingZero) {
    ++i;
  } else if (!skipDigits()) {
    return i;
  }
  const bool hasPoint = i < text.size() && text[i] == '.';
  if (hasPoint) {
    ++i;
    skipDigits();
  }
  // Nothing but a point may follow a leading zero, not even an exponent.
  if ((leadingZero && !hasPoint) || i == text.size() || (text[i] != 'e' && text[i] != 'E')) {
    return i;
  }
  ++i;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    ++i;
  }
  skipDigits();
  return i;
}

bool isCutShort(std::string_view number) {
  return !isAsciiDigit(number.back()) && number.back() != '.';
}

double numberValue(std::string_view number) {
  double value = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    value = isHuge(number) ? HUGE_VAL : 0.0;
    return number.front() == '-' ? -value : value;
  }
  return value;
}

}  // namespace kx::json

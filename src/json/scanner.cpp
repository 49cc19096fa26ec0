#include "json/scanner.h"

#include "json/numbers.h"

#include <algorithm>
#include <array>

namespace kx::json {

namespace {

char* putUtf8(char* target, std::uint32_t codePoint) {
  const auto put = [&target](std::uint32_t byte) { *target++ = static_cast<char>(byte); };
  if (codePoint < 0x80U) {
    put(codePoint);
  } else if (codePoint < 0x800U) {
    put(0xC0U | (codePoint >> 6U));
    put(0x80U | (codePoint & 0x3FU));
  } else if (codePoint < 0x10000U) {
    put(0xE0U | (codePoint >> 12U));
    put(0x80U | ((codePoint >> 6U) & 0x3FU));
    put(0x80U | (codePoint & 0x3FU));
  } else {
    put(0xF0U | (codePoint >> 18U));
    put(0x80U | ((codePoint >> 12U) & 0x3FU));
    put(0x80U | ((codePoint >> 6U) & 0x3FU));
    put(0x80U | (codePoint & 0x3FU));
  }
  return target;
}

constexpr std::uint32_t kReplacementCharacter = 0xFFFDU;

bool isHighSurrogate(std::uint32_t unit) {
  return unit >= 0xD800U && unit <= 0xDBFFU;
}
bool isLowSurrogate(std::uint32_t unit) {
  return unit >= 0xDC00U && unit <= 0xDFFFU;
}

// What a byte is where it matters: its value as a hexadecimal digit, its meaning behind a backslash, and
// whether it occurs in numbers.
struct ByteTraits {
  static constexpr std::uint8_t kNoDigit = 16;

  std::uint8_t digit = kNoDigit;
  char meaning = '\0';
  bool isInNumbers = false;
};

consteval std::array<ByteTraits, 256> makeTraits() {
  constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  std::array<ByteTraits, 256> traits{};
  const auto of = [&traits](char c) -> ByteTraits& { return traits[static_cast<unsigned char>(c)]; };
  for (std::uint8_t digit = 0; digit < ByteTraits::kNoDigit; ++digit) {
    of("0123456789abcdef"[digit]).digit = digit;
    of("0123456789ABCDEF"[digit]).digit = digit;
  }
  for (std::size_t i = 0; i < kShortEscapes.size(); ++i) {
    of(kShortEscapes[i]).meaning = kMeanings[i];
  }
  for (const char c : std::string_view("0123456789.eE-+")) {
    of(c).isInNumbers = true;
  }
  return traits;
}

constexpr std::array<ByteTraits, 256> kTraits = makeTraits();

constexpr const ByteTraits& traitsOf(char c) {
  return kTraits[static_cast<unsigned char>(c)];
}

}  // namespace

Reader::Location locationOf(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const std::size_t lineEnd = before.rfind('\n');
  Reader::Location location;
  location.m_nLine = static_cast<int>(std::count(before.begin(), before.end(), '\n'));
  location.m_nLineOffset =
      static_cast<int>(lineEnd == std::string_view::npos ? offset : offset - lineEnd - 1);
  location.m_nDocOffset = static_cast<int>(offset);
  return location;
}

void Scanner::fail(const std::string& message) const {
  throw Reader::ScanException(message, locationOf(text_, offset()));
}

void Scanner::failAtEscape(char escape) const {
  fail(std::string("Unrecognized escape sequence found in string: \\") + escape);
}

Token Scanner::consumeToken() {
  Token token;
  token.begin = offset();
  const char* const first = next_;
  switch (*next_) {
    case '{':
    case '}':
    case '[':
    case ']':
    case ',':
    case ':':
      ++next_;
      break;
    case '"':
      token.value = consumeString();
      token.end = offset();
      return token;
    case 't':
      consumeWord("true");
      break;
    case 'f':
      consumeWord("false");
      break;
    case 'n':
      consumeWord("null");
      break;
    default:
      consumeNumber();
  }
  token.end = offset();
  token.value = {first, token.end - token.begin};
  return token;
}

void Scanner::consumeWord(std::string_view word) {
  for (const char c : word) {
    if (next_ == last_ || *next_ != c) {
      fail("Expected string: " + std::string(word));
    }
    ++next_;
  }
}

Scanner::NumberRun Scanner::consumeNumber() {
  const char* const first = next_;
  if (*first != '-' && (*first < '0' || *first > '9')) {
    fail(std::string("Unexpected character in stream: ") + *first);
  }
  const std::size_t length = numberLength({first, static_cast<std::size_t>(last_ - first)});
  next_ += length;
  while (next_ != last_ && traitsOf(*next_).isInNumbers) {
    ++next_;
  }
  return {{first, static_cast<std::size_t>(next_ - first)}, length};
}

// Control characters are let through here; the checker, which sees a response first, does not.
std::string_view Scanner::consumeUnusualString(const char* plainEnd) {
  const char* const first = next_ + 1;
  const char* end = plainEnd;
  while (end != last_ && *end != '"' && *end != '\\') {
    end = endOfPlain(end + 1, last_);
  }
  if (end != last_ && *end == '\\') {
    return consumeStringWithEscapes(first, end);
  }
  next_ = end;
  consumeWord("\"");
  return {first, static_cast<std::size_t>(end - first)};
}

std::string_view Scanner::consumeStringWithEscapes(const char* first, const char* backslash) {
  if (!values_) {
    values_ = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(last_ - first));
    valuesEnd_ = values_.get();
  }
  char* const value = valuesEnd_;
  char* target = std::copy(first, backslash, value);
  next_ = backslash;
  while (next_ != last_ && *next_ != '"') {
    if (*next_ == '\\') {
      ++next_;
      target = next_ != last_ ? consumeEscape(target) : target;
    } else {
      *target++ = *next_++;
      next_ = copyPlain(next_, last_, target);
    }
  }
  consumeWord("\"");
  valuesEnd_ = target;
  return {value, static_cast<std::size_t>(target - value)};
}

// Behind the backslash. A pair of surrogates is one character, and two escapes.
char* Scanner::consumeEscape(char* target) {
  const char escape = *next_;
  if (const char meaning = traitsOf(escape).meaning; meaning != '\0') {
    ++next_;
    *target = meaning;
    return target + 1;
  }
  if (escape != 'u') {
    failAtEscape(escape);
  }
  ++next_;
  return consumeUnicodeEscape(target);
}

// A surrogate without its other half is no character.
char* Scanner::consumeUnicodeEscape(char* target) {
  std::uint32_t unit = consumeCodeUnit();
  while (isHighSurrogate(unit) && last_ - next_ >= 2 && next_[0] == '\\' && next_[1] == 'u') {
    next_ += 2;
    const std::uint32_t second = consumeCodeUnit();
    if (isLowSurrogate(second)) {
      return putUtf8(target, 0x10000U + ((unit - 0xD800U) << 10U) + (second - 0xDC00U));
    }
    target = putUtf8(target, kReplacementCharacter);
    unit = second;
  }
  const bool isLone = isHighSurrogate(unit) || isLowSurrogate(unit);
  return putUtf8(target, isLone ? kReplacementCharacter : unit);
}

std::uint32_t Scanner::consumeCodeUnit() {
  std::uint32_t unit = 0;
  for (int i = 0; i < 4; ++i) {
    const std::uint8_t digit = next_ != last_ ? traitsOf(*next_).digit : ByteTraits::kNoDigit;
    if (digit == ByteTraits::kNoDigit) {
      failAtEscape('u');
    }
    ++next_;
    unit = unit * 16U + digit;
  }
  return unit;
}

}  // namespace kx::json

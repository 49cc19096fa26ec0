#include "browser/string_run.h"

#include "json/plain_text.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <string_view>

namespace kx {

namespace {

constexpr std::ptrdiff_t kShortEscape = 2;
constexpr std::ptrdiff_t kUnicodeEscape = 6;

bool isHexadecimalDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// The length of an escape that lies before last as a whole; 0 for anything else.
std::ptrdiff_t escapeLength(const char* first, const char* last) {
  if (last - first < kShortEscape || *first != '\\') {
    return 0;
  }
  if (json::kShortEscapes.find(first[1]) != std::string_view::npos) {
    return kShortEscape;
  }
  const bool isUnicode = first[1] == 'u' && last - first >= kUnicodeEscape &&
                         std::all_of(first + 2, first + kUnicodeEscape, isHexadecimalDigit);
  return isUnicode ? kUnicodeEscape : 0;
}

#ifdef KX_JSON_SSE2

// The bytes that a backslash escapes, one bit each as in the argument. Bit 0 of isFirstEscaped says so of the
// first byte, bit 16 of the result of the byte behind the sixteen.
unsigned escapedBytes(unsigned backslashes, unsigned isFirstEscaped) {
  constexpr unsigned kEvenPlaces = 0x55555555;
  backslashes &= ~isFirstEscaped;
  const unsigned behindBackslash = (backslashes << 1U) | isFirstEscaped;
  // Of the bytes behind a backslash, those at odd places are escaped when their run of backslashes begins at
  // an even place, and the other way round. Adding its beginning to a run takes it out of the runs.
  const unsigned oddBeginnings = backslashes & ~kEvenPlaces & ~behindBackslash;
  const unsigned behindEvenRuns = (oddBeginnings + backslashes) << 1U;
  return behindBackslash & (kEvenPlaces ^ behindEvenRuns);
}

unsigned escapeBytes(const json::SixteenBytes& bytes) {
  unsigned found = bytes.equal('u');
  for (const char escape : json::kShortEscapes) {
    found |= bytes.equal(escape);
  }
  return found;
}

// Goes on, from the beginning of an escape, through all blocks of sixteen bytes that hold nothing but plain
// bytes and escapes; gives the end of the last escape or plain byte in them.
const char* skipBlocks(const char* first, const char* last) {
  constexpr unsigned kSixteen = 0xFFFF;
  // What the block before asks of the first bytes of this one.
  unsigned isFirstEscaped = 0;
  unsigned digitsDueFirst = 0;
  for (; last - first >= 16; first += 16) {
    const json::SixteenBytes bytes(first);
    const unsigned backslashes = bytes.equal('\\');
    const unsigned escaped = escapedBytes(backslashes, isFirstEscaped);
    const unsigned unicode = escaped & bytes.equal('u');
    const unsigned digitsDue =
        digitsDueFirst | (unicode << 1U) | (unicode << 2U) | (unicode << 3U) | (unicode << 4U);
    const unsigned unexpected = (bytes.notPlain() & ~backslashes & ~escaped) |
                                (escaped & kSixteen & ~escapeBytes(bytes)) |
                                (digitsDue & kSixteen & ~bytes.hexadecimalDigits());
    if (unexpected != 0) {
      break;
    }
    isFirstEscaped = escaped >> 16U;
    digitsDueFirst = digitsDue >> 16U;
  }
  if (isFirstEscaped != 0) {
    return first - 1;
  }
  return digitsDueFirst != 0 ? first - (kUnicodeEscape - std::popcount(digitsDueFirst)) : first;
}

#else

const char* skipBlocks(const char* first, const char* /*last*/) {
  return first;
}

#endif

}  // namespace

const char* endOfStringRun(const char* first, const char* last) {
  for (;;) {
    first = json::endOfPlain(first, last);
    if (first == last || *first != '\\') {
      return first;
    }
    first = skipBlocks(first, last);
    if (first != last && *first == '\\') {
      const std::ptrdiff_t length = escapeLength(first, last);
      if (length == 0) {
        return first;
      }
      first += length;
    }
  }
}

const char* endOfStringRunBytewise(const char* first, const char* last) {
  for (;;) {
    first = json::endOfPlainBytewise(first, last);
    const std::ptrdiff_t length = escapeLength(first, last);
    if (length == 0) {
      return first;
    }
    first += length;
  }
}

}  // namespace kx

// Runs through the part of a JSON text that stands for itself: inside a string, everything up to the next
// quote, backslash or control character. Most bytes of a large response are such, so they are looked at
// sixteen at a time where the processor can; the portable way stands beside it and finds the same place.
#pragma once

#include <bit>
#include <string_view>

#if defined(__SSE2__) || defined(_M_X64)
#define KX_JSON_SSE2 1
#include <emmintrin.h>
#endif

namespace kx::json {

// What may stand behind a backslash as the whole of an escape; a u begins a longer one.
inline constexpr std::string_view kShortEscapes = "\"\\/bfnrt";

inline bool isPlain(char c) {
  return static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\';
}

// The first byte that is not plain, or last.
inline const char* endOfPlainBytewise(const char* first, const char* last) {
  while (first != last && isPlain(*first)) {
    ++first;
  }
  return first;
}

// Copies to target, and moves it on, what goes before the first byte that is not plain; gives that byte, or
// last. The target has room for everything up to last.
inline const char* copyPlainBytewise(const char* first, const char* last, char*& target) {
  while (first != last && isPlain(*first)) {
    *target++ = *first++;
  }
  return first;
}

#ifdef KX_JSON_SSE2

// Sixteen bytes, asked all at once. An answer has one bit per byte, the first byte's lowest.
class SixteenBytes {
 public:
  explicit SixteenBytes(const char* first)
      : bytes_(_mm_loadu_si128(reinterpret_cast<const __m128i*>(first))) {}

  void store(char* target) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(target), bytes_); }

  unsigned equal(char c) const { return bits(_mm_cmpeq_epi8(bytes_, _mm_set1_epi8(c))); }
  unsigned notPlain() const {
    const __m128i isQuote = _mm_cmpeq_epi8(bytes_, _mm_set1_epi8('"'));
    const __m128i isBackslash = _mm_cmpeq_epi8(bytes_, _mm_set1_epi8('\\'));
    return bits(_mm_or_si128(_mm_or_si128(isQuote, isBackslash), atMost(bytes_, 0x1F)));
  }
  unsigned hexadecimalDigits() const {
    const __m128i digit = _mm_sub_epi8(bytes_, _mm_set1_epi8('0'));
    const __m128i letter = _mm_sub_epi8(_mm_or_si128(bytes_, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
    return bits(_mm_or_si128(atMost(digit, 9), atMost(letter, 5)));
  }

 private:
  static unsigned bits(__m128i answer) { return static_cast<unsigned>(_mm_movemask_epi8(answer)); }
  static __m128i atMost(__m128i bytes, char most) {
    const __m128i limit = _mm_set1_epi8(most);
    return _mm_cmpeq_epi8(_mm_max_epu8(bytes, limit), limit);
  }

  __m128i bytes_;
};

inline const char* endOfPlain(const char* first, const char* last) {
  for (; last - first >= 16; first += 16) {
    if (const unsigned notPlain = SixteenBytes(first).notPlain(); notPlain != 0) {
      return first + std::countr_zero(notPlain);
    }
  }
  return endOfPlainBytewise(first, last);
}

// Copies all sixteen bytes before it counts how many of them are wanted.
inline const char* copyPlain(const char* first, const char* last, char*& target) {
  for (; last - first >= 16; first += 16, target += 16) {
    const SixteenBytes bytes(first);
    bytes.store(target);
    if (const unsigned notPlain = bytes.notPlain(); notPlain != 0) {
      target += std::countr_zero(notPlain);
      return first + std::countr_zero(notPlain);
    }
  }
  return copyPlainBytewise(first, last, target);
}

#else

inline const char* endOfPlain(const char* first, const char* last) {
  return endOfPlainBytewise(first, last);
}

inline const char* copyPlain(const char* first, const char* last, char*& target) {
  return copyPlainBytewise(first, last, target);
}

#endif

}  // namespace kx::json

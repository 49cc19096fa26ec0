// Runs through the part of a JSON text that stands for itself: inside a string, everything up to the next
// quote, backslash or control character. Most bytes of a large response are such, so they are looked at
// sixteen at a time where the processor can; the portable way stands beside it and finds the same place.
#pragma once

#include <bit>

#if defined(__SSE2__) || defined(_M_X64)
#define KX_JSON_SSE2 1
#include <emmintrin.h>
#endif

namespace json {

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

#ifdef KX_JSON_SSE2

// One bit per byte of the sixteen that is not plain, the first byte's lowest.
inline unsigned notPlainAmongSixteen(__m128i bytes) {
  const __m128i lastControl = _mm_set1_epi8(0x1F);
  const __m128i isControl = _mm_cmpeq_epi8(_mm_max_epu8(bytes, lastControl), lastControl);
  const __m128i isQuote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
  const __m128i isBackslash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(isQuote, isBackslash), isControl)));
}

inline const char* endOfPlain(const char* first, const char* last) {
  for (; last - first >= 16; first += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(first));
    if (const unsigned notPlain = notPlainAmongSixteen(bytes); notPlain != 0) {
      return first + std::countr_zero(notPlain);
    }
  }
  return endOfPlainBytewise(first, last);
}

#else

inline const char* endOfPlain(const char* first, const char* last) {
  return endOfPlainBytewise(first, last);
}

#endif

}  // namespace json

// What may stand between the tokens of a JSON text and says nothing.
#pragma once

#include <cstdint>

namespace kx::json {

// The first byte that is no whitespace, or last.
inline const char* endOfWhitespace(const char* first, const char* last) {
  constexpr std::uint64_t kWhitespace = (1ULL << ' ') | (1ULL << '\n') | (1ULL << '\r') | (1ULL << '\t');
  while (first != last && static_cast<unsigned char>(*first) <= ' ' && ((kWhitespace >> *first) & 1U) != 0) {
    ++first;
  }
  return first;
}

}  // namespace kx::json

// Words and numbers from a seed. The generator's sequence is fixed by the language, and nothing else chooses
// here, so that every compiler's program gives the same texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

class RandomText {
 public:
  explicit RandomText(std::uint32_t seed) : numbers_(seed) {}

  // A number from 0 to limit - 1.
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(numbers_() % limit); }

  // Lower-case letters, as many as lie between the two lengths.
  std::string word(std::size_t shortest, std::size_t longest) {
    std::string text(shortest + below(longest - shortest + 1), 'a');
    for (char& c : text) {
      c = static_cast<char>('a' + below(26));
    }
    return text;
  }

  // A number as JSON writes it: whole, with a fraction, or with an exponent.
  std::string number() {
    std::string text = (below(4) == 0 ? "-" : "") + std::to_string(1 + below(100000));
    if (below(2) == 0) {
      text += "." + std::to_string(below(1000));
    }
    if (below(8) == 0) {
      text += "e-" + std::to_string(below(10));
    }
    return text;
  }

 private:
  std::mt19937_64 numbers_;
};

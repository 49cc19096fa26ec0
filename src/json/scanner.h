// Cuts JSON text into tokens, for the reader. Tokens are offsets into the text, which must outlive them.
#pragma once

#include "json/reader.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace json {

enum class TokenType : std::uint8_t {
  ObjectBegin,
  ObjectEnd,
  ArrayBegin,
  ArrayEnd,
  Comma,
  Colon,
  StringToken,
  NumberToken,
  BooleanToken,
  NullToken
};

// A token's place in the text, as offsets. A string's quotes belong to it.
struct Token {
  TokenType type = TokenType::NullToken;
  bool hasEscapes = false;
  std::size_t begin = 0;
  std::size_t end = 0;
};

// The line and column of an offset. Counted only when they are needed, which is for an error.
Reader::Location locationOf(std::string_view text, std::size_t offset);

// All tokens of the text. Throws Reader::ScanException at the first byte that belongs to none.
std::vector<Token> scan(std::string_view text);

// What a string token stands for.
std::string stringValue(std::string_view text, const Token& token);

}  // namespace json

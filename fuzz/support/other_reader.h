// What another JSON library reads in a text that the response checker lets through, and what ours reads in
// any text, as values of the other one's.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>

using OtherJson = nlohmann::ordered_json;

struct OtherReading {
  // Absent when the other library refuses the text.
  std::optional<OtherJson> value;

  // One object names a member twice. Ours refuses such a text, the other library does not.
  bool namesOneTwice = false;

  // It holds what the other library does not read: a point without a digit behind it, half a surrogate pair,
  // a number beyond a double's range, or bytes that are not UTF-8.
  bool mayBeRefused = false;
};

// The text must be complete and right by the grammar.
OtherReading readByOther(std::string_view text);

// Equal in types, texts and numbers, and in the order of members. Throws what our parser throws.
OtherJson readByOurs(std::string_view text);

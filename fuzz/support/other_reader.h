// What another JSON library reads in a text that the response checker lets through, and what ours reads in
// any text, as values of the other one's.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>

using OtherJson = nlohmann::ordered_json;

struct OtherReading {
  // Absent when the other library refuses the text, for one of the reasons below.
  std::optional<OtherJson> value;

  // One object names a member twice. Ours refuses such a text, the other library does not.
  bool namesOneTwice = false;

  // Why the other library may refuse. Two more reasons are taken away beforehand, by writing the text
  // otherwise: "1." becomes "1.0", and half a surrogate pair becomes the character U+FFFD.
  bool isNoUtf8 = false;
  bool hasHugeNumber = false;
};

// The text must be complete and right by the grammar.
OtherReading readByOther(std::string_view text);

bool isUtf8(std::string_view bytes);

// Equal in types, texts and numbers, and in the order of members. Throws what our parser throws.
OtherJson readByOurs(std::string_view text);

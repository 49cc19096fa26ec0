// What a response may look like, read by recursive descent straight from JSON's grammar:
//
//   response = blanks (object | array)
//   object   = { blanks [ member { , blanks member } ] }      member = string blanks : value
//   array    = [ blanks [ value { , value } ] ]               value  = blanks (object | array | string | ...)
//   blanks
//
// with what responses allow and forbid besides: a point needs no digit behind it, and no more than 19 objects
// and arrays are open at once. It knows nothing of the library's checker and shares no code with it.
#pragma once

#include <cstddef>
#include <string_view>

struct Verdict {
  std::size_t accepted = 0;  // bytes up to the first that cannot stand where it stands
  bool complete = false;     // the outermost object or array has closed; what follows was not looked at

  bool operator==(const Verdict&) const = default;
};

Verdict verdictByGrammar(std::string_view text);

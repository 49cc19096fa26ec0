// One request as the simulator understands it, read from the raw bytes. Well-formed requests are read by the
// JSON library; others (raw control characters, unescaped quotes in names, bytes that are no UTF-8) by
// looking for the members where the sender's layout puts them, so that their bytes come through unchanged.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kxsim {

using Variables = std::vector<std::pair<std::string, std::string>>;

struct Request {
  std::string type;         // empty when none was found
  bool wellFormed = false;  // the JSON library accepted the text

  bool openNewBrowser = false;
  bool launched = false;
  std::string source;
  Variables variables;
  bool useProfiler = false;
  std::string message;
  std::string path;
  std::string captureType;
};

Request readRequest(std::string_view bytes);

}  // namespace kxsim

// How a reply goes out: its bytes, changed as the script wants, and the pieces they are cut into. Owned by
// the thread that serves the connection; it only plans, the pipe is written by others.
#pragma once

#include "reply.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kxsim {

class Delivery {
 public:
  Reply reply;
  std::optional<std::string> raw;  // takes the place of the reply's own text
  std::string prefix;
  std::string suffix;
  bool twice = false;
  std::optional<std::size_t> truncatedTo;
  std::vector<std::size_t> pieceSizes;     // sizes of the first pieces; what is left is one piece more
  std::size_t chunkSize = 0;               // size of every piece after those; 0: all the rest at once
  std::optional<std::size_t> sizeInBytes;  // the size that the reply is blown up to
  long long millisecondsBetweenPieces = 0;
  bool suppressed = false;

  // The bytes not handed out yet, at most that many, as one piece. With the first call the content is
  // settled.
  std::string_view take(std::size_t most);

  // All bytes not handed out yet, cut up as planned.
  std::vector<std::string_view> takeRest();

  // Everything that goes out if nothing stops it.
  const std::string& bytes();

 private:
  std::optional<std::string> bytes_;
  std::size_t taken_ = 0;
};

}  // namespace kxsim

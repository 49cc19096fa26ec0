// Finds the end of each request in the raw bytes of a pipe. Requests are bare JSON texts without a frame,
// whose member names are not escaped and which may hold raw control characters and bytes that are no UTF-8,
// so the end is found from braces, quotes and the sender's line layout, never by parsing. One scanner per
// connection, one thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kxsim {

struct ScannedRequest {
  std::string bytes;
  bool torn = false;  // the sender gave this request up half-way and began another one
};

class RequestScanner {
 public:
  void feed(std::string_view bytes);

  // The next request that has certainly ended.
  std::optional<ScannedRequest> next();

  // True when the bytes so far end like a request although the quotes in them do not match up, which an
  // unescaped quote in a variable's name brings about. The caller should see whether more bytes come, and
  // else take them.
  bool maybeEnded() const;
  ScannedRequest takeAll();

  const std::string& pending() const { return buffer_; }

 private:
  std::optional<ScannedRequest> cut(std::size_t length, bool torn);

  std::string buffer_;
  std::size_t position_ = 0;
  std::size_t looseEnd_ = 0;  // just behind the last closing brace that stands first in its line; 0 if none
  std::size_t depth_ = 0;
  bool inString_ = false;
  bool escaped_ = false;
};

}  // namespace kxsim

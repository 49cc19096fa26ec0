#include "request_scanner.h"

#include <utility>

namespace kxsim {
namespace {

// Every request of the library begins with these bytes. Values never hold a raw line feed, so meeting them
// again inside a request means that the sender has begun a new one.
constexpr std::string_view kHeader = "{\n \"type\" : \"";
constexpr std::string_view kLayoutStart = "{\n";

bool endsAt(const std::string& text, std::size_t end, std::string_view ending) {
  return end >= ending.size() && text.compare(end - ending.size(), ending.size(), ending) == 0;
}

}  // namespace

void RequestScanner::feed(std::string_view bytes) {
  buffer_.append(bytes);
}

std::optional<ScannedRequest> RequestScanner::next() {
  while (position_ < buffer_.size()) {
    const char c = buffer_[position_++];
    const bool closesLine = c == '}' && position_ >= 2 && buffer_[position_ - 2] == '\n';
    const bool hasLayout = buffer_.compare(0, kLayoutStart.size(), kLayoutStart) == 0;

    if (inString_) {
      if (escaped_) {
        escaped_ = false;
      } else if (c == '\\') {
        escaped_ = true;
      } else if (c == '"') {
        inString_ = false;
      }
    } else if (c == '"') {
      inString_ = true;
    } else if (c == '{') {
      ++depth_;
    } else if (c == '}' && depth_ > 0) {
      --depth_;
      if (depth_ == 0 && (closesLine || !hasLayout)) {
        return cut(position_, false);
      }
    }

    if (hasLayout && closesLine) {
      looseEnd_ = position_;
    }
    if (c == '"' && position_ > kHeader.size() && endsAt(buffer_, position_, kHeader)) {
      const std::size_t begin = position_ - kHeader.size();
      return cut(begin, looseEnd_ != begin);
    }
  }
  return std::nullopt;
}

bool RequestScanner::maybeEnded() const {
  return looseEnd_ != 0 && looseEnd_ == buffer_.size();
}

ScannedRequest RequestScanner::takeAll() {
  return *cut(buffer_.size(), false);
}

std::optional<ScannedRequest> RequestScanner::cut(std::size_t length, bool torn) {
  ScannedRequest request{buffer_.substr(0, length), torn};
  buffer_.erase(0, length);
  position_ = 0;
  looseEnd_ = 0;
  depth_ = 0;
  inString_ = false;
  escaped_ = false;
  return request;
}

}  // namespace kxsim

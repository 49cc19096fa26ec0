#include "browser/extracts.h"

#include <cstring>
#include <utility>

namespace kx {

namespace {

constexpr std::string_view kSeparator = "[EXTRACT]";

char* put(std::string_view text, char* target) {
  // An empty view may have no address.
  if (!text.empty()) {
    std::memcpy(target, text.data(), text.size());
  }
  return target + text.size();
}

}  // namespace

JoinedText::JoinedText(std::span<const std::string_view> parts, std::size_t bytesOfParts)
    : parts_(parts), size_(bytesOfParts + (parts.empty() ? 0 : (parts.size() - 1) * kSeparator.size())) {}

void JoinedText::copyTo(char* target) const {
  for (std::size_t i = 0; i < parts_.size(); ++i) {
    if (i > 0) {
      target = put(kSeparator, target);
    }
    target = put(parts_[i], target);
  }
}

std::string JoinedText::toString() const {
  std::string text(size_, '\0');
  copyTo(text.data());
  return text;
}

void Extracts::append(Extracts&& others) {
  if (texts_.empty()) {
    texts_ = std::move(others.texts_);
  } else {
    texts_.insert(texts_.end(), others.texts_.begin(), others.texts_.end());
  }
  bytes_ += std::exchange(others.bytes_, 0);
  others.texts_.clear();
}

JoinedText Extracts::one(int number) const {
  const bool isThere = number >= 1 && static_cast<std::size_t>(number) <= texts_.size();
  if (!isThere) {
    return {};
  }
  const std::string_view& text = texts_[static_cast<std::size_t>(number) - 1];
  return {{&text, 1}, text.size()};
}

}  // namespace kx

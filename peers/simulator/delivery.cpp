#include "delivery.h"

#include <algorithm>

namespace kxsim {

const std::string& Delivery::bytes() {
  if (!bytes_) {
    if (sizeInBytes) {
      reply.growTo(*sizeInBytes);
    }
    const std::string text = raw ? *raw : reply.text();
    bytes_ = prefix + text + (twice ? text : std::string()) + suffix;
    if (truncatedTo && *truncatedTo < bytes_->size()) {
      bytes_->resize(*truncatedTo);
    }
  }
  return *bytes_;
}

std::string_view Delivery::take(std::size_t most) {
  const std::string_view piece = std::string_view(bytes()).substr(taken_, most);
  taken_ += piece.size();
  return piece;
}

std::vector<std::string_view> Delivery::takeRest() {
  std::vector<std::string_view> pieces;
  const std::size_t total = bytes().size();
  for (std::size_t i = 0; taken_ < total; ++i) {
    std::size_t size = total - taken_;
    if (i < pieceSizes.size()) {
      size = pieceSizes[i];
    } else if (chunkSize != 0) {
      size = chunkSize;
    }
    pieces.push_back(take(std::max<std::size_t>(size, 1)));
  }
  return pieces;
}

}  // namespace kxsim

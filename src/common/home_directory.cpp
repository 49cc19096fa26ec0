#include "common/home_directory.h"

#include "common/platform.h"

#include <optional>

namespace kx {

namespace {

constexpr char kFallbackDrive[] = "c:";

}  // namespace

std::string homeDirectory() {
  const std::optional<std::string> path = platform::environmentVariable("HOMEPATH");
  if (!path) {
    return {};
  }
  return platform::environmentVariable("HOMEDRIVE").value_or(kFallbackDrive) + *path;
}

}  // namespace kx

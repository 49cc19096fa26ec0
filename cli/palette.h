// The few colours of this program. Without a terminal, or with NO_COLOR, all of them are empty.
#pragma once

#include <string>
#include <string_view>

namespace kx::cli {

struct Palette {
  std::string_view good;
  std::string_view bad;
  std::string_view warning;
  std::string_view faint;
  std::string_view strong;
  std::string_view end;

  static Palette coloured() { return {"\x1b[32m", "\x1b[31m", "\x1b[33m", "\x1b[90m", "\x1b[1m", "\x1b[0m"}; }

  std::string paint(std::string_view colour, std::string_view text) const {
    return std::string(colour).append(text).append(end);
  }
};

}  // namespace kx::cli

#include "cli/progress.h"

#include "cli/text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace kx::cli {
namespace {

std::string elapsed(std::chrono::steady_clock::duration duration, int allowedSeconds) {
  std::array<char, 64> text{};
  const double seconds = std::chrono::duration<double>(duration).count();
  if (allowedSeconds == 0) {
    std::snprintf(text.data(), text.size(), "%.1f s, no limit", seconds);
  } else {
    std::snprintf(text.data(), text.size(), "%.1f s of %d s", seconds, allowedSeconds);
  }
  return text.data();
}

}  // namespace

void ProgressBoard::begin(const Step& step, Moment now) {
  contexts_[static_cast<std::size_t>(step.context) - 1] = {step, now, true};
}

void ProgressBoard::rest(int context) {
  contexts_[static_cast<std::size_t>(context) - 1].isBusy = false;
}

void ProgressBoard::count(std::size_t done, std::size_t all) {
  done_ = done;
  all_ = all;
}

std::vector<std::string> ProgressBoard::lines(Moment now, std::size_t columns) const {
  std::vector<std::string> lines;
  for (const Context& context : contexts_) {
    if (context.isBusy) {
      const std::string time = elapsed(now - context.since, context.step.allowedSeconds);
      const std::size_t room = columns - std::min(columns, width(time) + 3);
      const std::string what =
          shortened("[" + std::to_string(context.step.context) + "] " + onOneLine(context.step.what), room);
      lines.push_back(padded(what, std::min<std::size_t>(room, 50)) + "  " + time);
    }
  }
  if (all_ > 1) {
    lines.push_back(std::to_string(done_) + " of " + std::to_string(all_) + " runs done");
  }
  return lines;
}

void LiveLines::draw(const ProgressBoard& board, Moment now) {
  clear();
  const std::vector<std::string> lines = board.lines(now, columns_);
  for (const std::string& line : lines) {
    terminal_ << line << '\n';
  }
  drawn_ = lines.size();
  terminal_.flush();
}

void LiveLines::clear() {
  if (drawn_ > 0) {
    // To the first of the lines, then away with all that follows.
    terminal_ << "\x1b[" << drawn_ << "F\x1b[J";
    drawn_ = 0;
    terminal_.flush();
  }
}

std::string plainLine(const Step& step) {
  return "[" + std::to_string(step.context) + "] " + onOneLine(step.what);
}

}  // namespace kx::cli

// What all contexts are doing, for somebody who waits: on a terminal a line for each context, drawn over and
// over in place; elsewhere one plain line for each step. Belongs to the program's own thread.
#pragma once

#include "cli/palette.h"
#include "cli/player.h"

#include <chrono>
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace kx::cli {

// The lines as they are at that moment, at most so many columns wide.
class ProgressBoard {
 public:
  explicit ProgressBoard(int contexts) : contexts_(static_cast<std::size_t>(contexts)) {}

  void begin(const Step& step, Moment now);
  // The context does nothing any more.
  void rest(int context);
  void count(std::size_t done, std::size_t all);
  std::vector<std::string> lines(Moment now, std::size_t columns) const;

 private:
  struct Context {
    Step step;
    Moment since{};
    bool isBusy = false;
  };

  std::vector<Context> contexts_;
  std::size_t done_ = 0;
  std::size_t all_ = 0;
};

// Draws the board on a terminal, over what it drew last.
class LiveLines {
 public:
  LiveLines(std::ostream& terminal, std::size_t columns) : terminal_(terminal), columns_(columns) {}

  void draw(const ProgressBoard& board, Moment now);
  // Takes the lines away, so that something else can be printed.
  void clear();

 private:
  std::ostream& terminal_;
  std::size_t columns_;
  std::size_t drawn_ = 0;
};

// "[2] playing order.txt", for pipes and files.
std::string plainLine(const Step& step);

}  // namespace kx::cli

// Times several legs in turn, round by round, so that a machine that grows slower or faster does so for all
// of them; what is told is the median of the rounds' ratios.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

// One way of doing a piece of work. What is prepared is not timed.
struct Leg {
  std::function<void()> run;
  std::function<void()> prepare = nullptr;
  // How often this leg does the work that the others do once; its times are divided by it.
  double share = 1;
};

struct Effort {
  double seconds = 4;  // for all rounds together
  int fewestRounds = 9;
  int mostRounds = 301;
  // Short legs are repeated within a round until they take so long.
  double legMilliseconds = 2;
  bool isQuick = false;  // one round, as often as each leg is: it shows that everything works
};

// Microseconds, by leg and round.
using Times = std::vector<std::vector<double>>;

Times timeInTurn(const std::vector<Leg>& legs, const Effort& effort);

struct Ratio {
  double median = 0;
  double low = 0;  // the quartiles
  double high = 0;
};

Ratio ratioOf(const std::vector<double>& times, const std::vector<double>& base);
double medianOf(std::vector<double> values);

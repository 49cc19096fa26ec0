#include "win32/measure.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

using Clock = std::chrono::steady_clock;

double microsecondsOf(const Leg& leg, int repeats) {
  double taken = 0;
  for (int i = 0; i < repeats; ++i) {
    if (leg.prepare) {
      leg.prepare();
    }
    const auto start = Clock::now();
    leg.run();
    taken += std::chrono::duration<double, std::micro>(Clock::now() - start).count();
  }
  return taken / repeats;
}

double quantileOf(std::vector<double> values, double part) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(std::lround(static_cast<double>(values.size() - 1) * part))];
}

}  // namespace

Times timeInTurn(const std::vector<Leg>& legs, const Effort& effort) {
  // The first run makes what is made once, the second tells how long one takes.
  std::vector<int> repeats(legs.size(), 1);
  double roundMicroseconds = 0;
  for (const Leg& leg : legs) {
    microsecondsOf(leg, 1);
  }
  for (std::size_t leg = 0; leg < legs.size() && !effort.isQuick; ++leg) {
    const double taken = microsecondsOf(legs[leg], 1);
    repeats[leg] = static_cast<int>(std::clamp(effort.legMilliseconds * 1000 / taken, 1.0, 10000.0));
    roundMicroseconds += taken * repeats[leg];
  }
  const double fitting = effort.seconds * 1e6 / roundMicroseconds;
  const int rounds = effort.isQuick
                         ? 1
                         : static_cast<int>(std::clamp(fitting, static_cast<double>(effort.fewestRounds),
                                                       static_cast<double>(effort.mostRounds)));

  Times times(legs.size());
  for (int round = 0; round < rounds; ++round) {
    // Each leg comes first in turn, so that none always follows the same other one.
    for (std::size_t i = 0; i < legs.size(); ++i) {
      const std::size_t leg = (i + static_cast<std::size_t>(round)) % legs.size();
      times[leg].push_back(microsecondsOf(legs[leg], repeats[leg]) / legs[leg].share);
    }
  }
  return times;
}

Ratio ratioOf(const std::vector<double>& times, const std::vector<double>& base) {
  std::vector<double> ratios;
  for (std::size_t round = 0; round < times.size(); ++round) {
    ratios.push_back(times[round] / base[round]);
  }
  return {medianOf(ratios), quantileOf(ratios, 0.25), quantileOf(ratios, 0.75)};
}

double medianOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

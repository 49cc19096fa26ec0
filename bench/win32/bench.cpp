#include "win32/bench.h"

#include "win32/windows_error.h"

#include <array>
#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

// How far the control may lie from the bare connection.
constexpr double kControlTolerance = 0.03;
constexpr int kAttempts = 4;

void writeLine(const std::string& resultFile, const std::string& line) {
  std::ofstream(resultFile, std::ios::app) << line << '\n';
}

}  // namespace

Bench::Bench(const std::string& resultFile, bool isQuick)
    : resultFile_(resultFile), isQuick_(isQuick), bare_(peer_.pipe()), control_(peer_.pipe()) {}

Bench::~Bench() = default;

Effort Bench::effort(double seconds) const {
  Effort effort;
  effort.seconds = seconds;
  effort.isQuick = isQuick_;
  return effort;
}

void Bench::compare(const std::string& row, const std::vector<Leg>& legs, const Effort& effort) {
  for (int attempt = 1;; ++attempt) {
    const Times times = timeInTurn(legs, effort);
    const double control = legs.size() > 2 ? ratioOf(times[2], times[1]).median : 1;
    const bool isSound = std::abs(control - 1) <= kControlTolerance;
    if (isSound || isQuick_ || attempt == kAttempts) {
      report(row, ratioOf(times[0], times[1]), medianOf(times[0]), medianOf(times[1]), control,
             static_cast<int>(times[0].size()));
      return;
    }
    std::printf("%-28s void: the control is at %.3f; again\n", row.c_str(), control);
    std::fflush(stdout);
  }
}

void Bench::report(const std::string& row, const Ratio& ratio, double microseconds, double baseMicroseconds,
                   double control, int rounds) {
  std::printf("%-28s %8.3f  (%.3f to %.3f)  %12.1f us against %12.1f us, control %.3f, %d rounds\n",
              row.c_str(), ratio.median, ratio.low, ratio.high, microseconds, baseMicroseconds, control,
              rounds);
  std::fflush(stdout);
  std::ostringstream line;
  line << R"({"row":")" << row << R"(","ratio":)" << ratio.median << R"(,"low":)" << ratio.low
       << R"(,"high":)" << ratio.high << R"(,"microseconds":)" << microseconds << R"(,"base_microseconds":)"
       << baseMicroseconds << R"(,"control":)" << control << R"(,"void":)"
       << (std::abs(control - 1) <= kControlTolerance ? "false" : "true") << R"(,"rounds":)" << rounds << "}";
  writeLine(resultFile_, line.str());
}

void Bench::reportPoint(const std::string& shape, std::size_t bytes, double library, double bare) {
  std::printf("plot %-23s %10zu bytes %12.1f us against %12.1f us\n", shape.c_str(), bytes, library, bare);
  std::fflush(stdout);
  std::ostringstream line;
  line << R"({"plot":")" << shape << R"(","bytes":)" << bytes << R"(,"microseconds":)" << library
       << R"(,"base_microseconds":)" << bare << "}";
  writeLine(resultFile_, line.str());
}

void require(bool isRight, const std::string& what) {
  if (!isRight) {
    throw std::runtime_error(what);
  }
}

std::string wish(Shape shape, std::size_t size, std::uint32_t seed) {
  return std::string(nameOf(shape)) + " " + std::to_string(size) + " " + std::to_string(seed);
}

void reportRatio(const std::string& resultFile, const std::string& row, double ratio) {
  std::printf("%-28s %8.3f\n", row.c_str(), ratio);
  std::fflush(stdout);
  std::ostringstream line;
  line << R"({"row":")" << row << R"(","ratio":)" << ratio << "}";
  writeLine(resultFile, line.str());
}

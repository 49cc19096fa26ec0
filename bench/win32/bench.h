// What all rows share: the library, the peer, two bare connections, and the list of results. A row is a
// function that measures one or more figures and reports them; main() runs those whose names were asked for.
#pragma once

#include "support/win32/dll.h"
#include "texts/response_texts.h"
#include "win32/connections.h"
#include "win32/measure.h"

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

class Bench {
 public:
  Bench(const std::string& resultFile, bool isQuick);
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;
  ~Bench();

  const KxLibrary& library() const { return library_; }
  const Peer& peer() const { return peer_; }
  BareConnection& bare() { return bare_; }
  BareConnection& control() { return control_; }
  bool isQuick() const { return isQuick_; }
  const std::string& resultFile() const { return resultFile_; }

  // A quick run has smaller texts.
  std::size_t sized(std::size_t size) const { return isQuick_ && size > kQuickSize ? size / 16 : size; }
  Effort effort(double seconds = 4) const;

  // Times the first leg against the second. With a third, which does the same as the second, the pair is
  // measured again while those two differ.
  void compare(const std::string& row, const std::vector<Leg>& legs, const Effort& effort);
  void report(const std::string& row, const Ratio& ratio, double microseconds, double baseMicroseconds,
              double control, int rounds);
  // One point of the plot.
  void reportPoint(const std::string& shape, std::size_t bytes, double library, double bare);

 private:
  static constexpr std::size_t kQuickSize = 65536;

  std::string resultFile_;
  bool isQuick_;
  KxLibrary library_;
  Peer peer_;
  BareConnection bare_;
  BareConnection control_;
};

struct Row {
  const char* name;
  std::function<void(Bench& bench)> measure;
};

// Throws when something is not what was measured.
void require(bool isRight, const std::string& what);

// The rows of each topic.
std::vector<Row> exchangeRows();
std::vector<Row> readBackRows();
std::vector<Row> contextRows();
std::vector<Row> logRows();
std::vector<Row> memoryRows();
std::vector<Row> plotRows();

// The part of a memory row that runs in a process of its own; see memory_rows.cpp.
double measureMemory(const std::string& name, const std::string& profile, bool isQuick);

// A figure that is no time.
void reportRatio(const std::string& resultFile, const std::string& row, double ratio);

// What a play's source says to the peer.
std::string wish(Shape shape, std::size_t size, std::uint32_t seed);

// One text of each shape is not enough to tell anything; these are tried in turn.
inline constexpr std::uint32_t kSeeds[] = {1, 2, 3};

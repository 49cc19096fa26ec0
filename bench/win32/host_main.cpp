// A host that loads the library and times what it costs, beside what cannot be done without: the bare pipe, a
// copy of the bytes, a map. Results go to standard output and, as one JSON object per line, to a file.
//
//   kx_bench_host --results FILE [--quick] [ROW...]           rows whose names hold one of the words; all
//   unless given kx_bench_host --results FILE --memory ROW PROFILE [--quick]   the part of a memory row that
//   runs by itself
#include "win32/bench.h"
#include "win32/windows_error.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct CommandLine {
  std::string resultFile;
  bool isQuick = false;
  std::string memoryRow;
  std::string memoryProfile;
  std::vector<std::string> words;
};

CommandLine readCommandLine(const std::vector<std::string>& arguments) {
  CommandLine line;
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    const auto next = [&] {
      if (++argument == arguments.end()) {
        throw std::runtime_error("the last argument lacks its value");
      }
      return *argument;
    };
    if (*argument == "--results") {
      line.resultFile = next();
    } else if (*argument == "--quick") {
      line.isQuick = true;
    } else if (*argument == "--memory") {
      line.memoryRow = next();
      line.memoryProfile = next();
    } else {
      line.words.push_back(*argument);
    }
  }
  if (line.resultFile.empty()) {
    throw std::runtime_error("usage: kx_bench_host --results FILE [--quick] [ROW...]");
  }
  return line;
}

bool isWanted(const std::string& name, const std::vector<std::string>& words) {
  return words.empty() || std::any_of(words.begin(), words.end(), [&](const std::string& word) {
           return name.find(word) != std::string::npos;
         });
}

void runRows(const CommandLine& line) {
  Bench bench(line.resultFile, line.isQuick);
  for (const auto& rows :
       {exchangeRows(), readBackRows(), contextRows(), logRows(), memoryRows(), plotRows()}) {
    for (const Row& row : rows) {
      if (isWanted(row.name, line.words)) {
        row.measure(bench);
      }
    }
  }
}

void run(const CommandLine& line) {
  pinToOneProcessor();
  if (line.memoryRow.empty()) {
    runRows(line);
  } else {
    reportRatio(line.resultFile, line.memoryRow,
                measureMemory(line.memoryRow, line.memoryProfile, line.isQuick));
  }
}

}  // namespace

int main(int count, char** arguments) {
  try {
    run(readCommandLine({arguments + 1, arguments + count}));
  } catch (const std::exception& e) {
    std::printf("kx_bench_host: %s\n", e.what());
    return 1;
  }
  return 0;
}

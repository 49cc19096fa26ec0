// The parts of the library's log that tell of single runs. The log has no times: a part is what a thread
// wrote between two lengths of the file.
#pragma once

#include "cli/log_entries.h"
#include "cli/log_story.h"
#include "cli/runs.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace kx::cli {

// The length of the log at this moment; 0 when there is none.
std::int64_t logSize(const std::string& path);

class LogParts {
 public:
  // Reads what the log has got behind that length, up to the present end, of this process alone.
  LogParts(const std::string& path, std::int64_t begin);

  std::vector<LogStep> steps(const LogRange& range) const;

 private:
  // The line that the byte stands in.
  std::size_t lineAt(std::int64_t offset) const;

  std::size_t firstLine_ = 1;
  // Where lines end, in the part that was read.
  std::vector<std::int64_t> lineEnds_;
  std::map<int, std::vector<LogEntry>> entriesOfThreads_;
};

}  // namespace kx::cli

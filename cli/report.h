// kx play --report: one page that tells of all runs, for any web browser, without a network. Texts that a
// browser or a table brought go into it as data.
#pragma once

#include "cli/arguments.h"
#include "cli/log_parts.h"
#include "cli/player.h"
#include "cli/surroundings.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kx::cli {

// Everything that a report tells of, in the order in which it happened.
struct PlayedAll {
  const PlayArguments* arguments = nullptr;
  const std::vector<Macro>* macros = nullptr;
  Whereabouts where;
  ReportLog log;
  std::chrono::system_clock::time_point started{};
  // The moment from which the page counts.
  Moment begin{};
  double seconds = 0;
  std::vector<RunResult> results;
  std::vector<EndedStep> steps;
  // For each context, what the log tells of its exit.
  std::vector<LogRange> closings;
};

// Gets the bytes of a picture, or nothing when they are not there.
using PictureBytes = std::function<std::optional<std::string>(const std::string& path)>;

// Passes the page on, piece by piece. The log may be null. Tells what was left out of the page, as a
// sentence; empty when nothing was.
std::string writeReport(const PlayedAll& all, const LogParts* log, const PictureBytes& picture,
                        const std::function<void(std::string_view)>& write);

// The words as one line for the command prompt; without values of variables and texts when the report is
// redacted.
std::string commandLineText(const std::vector<std::string>& words, const PlayArguments& arguments);

// The file of a report, from the check before the first run to the page at the end.
class ReportFile {
 public:
  // Refuses a file that is there, unless it may be replaced, and one that cannot be written. Begins the log.
  ReportFile(const PlayArguments& arguments, const Surroundings& around);
  ReportFile(const ReportFile&) = delete;
  ReportFile& operator=(const ReportFile&) = delete;
  // Takes away what is left of it when no page was written.
  ~ReportFile();

  const std::string& logPath() const { return log_.path; }
  // Throws a Problem when the page cannot be written.
  void write(PlayedAll all);

 private:
  const PlayArguments& arguments_;
  const Surroundings& around_;
  std::string path_;
  ReportLog log_;
  std::int64_t logBegin_ = 0;
  bool isNew_ = false;
  bool isWritten_ = false;
  std::chrono::system_clock::time_point started_;
};

}  // namespace kx::cli

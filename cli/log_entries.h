// Cuts the library's log into entries. The ids of an error stand behind its line end, in front of the next
// entry; messages may hold line ends; several processes may have mixed their entries. Whatever the bytes are,
// reading never stops.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kx::cli {

struct LogIds {
  int process = 0;
  int thread = 0;

  bool operator==(const LogIds&) const = default;
};

struct LogEntry {
  // Text is what belongs to no entry: the rest of one whose beginning is not there.
  enum class Kind { Information, Error, Text };

  Kind kind = Kind::Text;
  // Where it begins, counted from 1.
  std::size_t line = 1;
  // Nothing when the log was cut in front of them.
  std::optional<LogIds> ids;
  std::string message;
};

class LogReader {
 public:
  // Takes the next bytes of the log, cut anywhere.
  void feed(std::string_view bytes);
  // Nothing more came for a while: what looks complete is complete.
  void pause();
  void finish();

  // The entries that are complete, each once.
  std::vector<LogEntry> take();

 private:
  void readLine(std::string_view line);
  void begin(LogEntry::Kind kind, std::optional<LogIds> ids, std::string_view message);
  void end();

  std::string rest_;
  std::size_t line_ = 1;
  std::optional<LogEntry> open_;
  std::vector<LogEntry> complete_;
};

}  // namespace kx::cli

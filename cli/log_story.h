// What the entries of a log tell: for each thread of each process the steps of its calls, each request with
// its answer, each error with its row of the catalogue.
#pragma once

#include "cli/catalogue.h"
#include "cli/log_entries.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kx::cli {

struct LogStep {
  enum class Kind { Start, Attempt, Launch, Connection, Request, End, Error, Note, Other };

  LogStep(Kind stepKind, std::size_t stepLine, std::string stepText)
      : kind(stepKind), line(stepLine), text(std::move(stepText)) {}

  Kind kind;
  std::size_t line;
  std::string text;
  // How often it came in a row.
  std::size_t count = 1;
  // Of an error or a note; null when the catalogue does not know it.
  const ErrorRow* row = nullptr;
  // Of a request: what was sent, and what came back.
  std::string request;
  std::size_t answerBytes = 0;
  std::size_t answerPieces = 0;
  bool isAnswered = false;
};

struct Conversation {
  // Nothing for entries that have lost their ids.
  std::optional<LogIds> ids;
  std::vector<LogStep> steps;
};

class LogStory {
 public:
  // The step that the entry began or went on with; null when it says nothing of its own.
  const LogStep* add(const LogEntry& entry);

  const std::vector<Conversation>& conversations() const { return conversations_; }
  std::size_t count(LogStep::Kind kind) const;
  std::size_t answered() const;

 private:
  Conversation& conversationOf(const std::optional<LogIds>& ids);
  const LogStep* addInformation(Conversation& conversation, const LogEntry& entry);

  std::vector<Conversation> conversations_;
};

const char* nameOf(LogStep::Kind kind);

// What the step says, its answer included.
std::string textOf(const LogStep& step);

// What stands for a text that is left out.
inline constexpr char kRemoved[] = "<removed>";

// The text without user names, and without bytes of requests and answers. Where it cannot be told how far
// they go, the rest of the text goes, too.
std::string redacted(const std::string& text);

}  // namespace kx::cli

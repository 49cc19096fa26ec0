#include "cli/log_entries.h"

#include <charconv>
#include <utility>

namespace kx::cli {
namespace {

constexpr std::string_view kError = "Error: ";

bool takeNumber(std::string_view& text, int& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc()) {
    return false;
  }
  text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
  return true;
}

bool takeText(std::string_view& text, std::string_view expected) {
  if (!text.starts_with(expected)) {
    return false;
  }
  text.remove_prefix(expected.size());
  return true;
}

// "(212, 216): " at the beginning, which is then taken off.
std::optional<LogIds> takeIds(std::string_view& text) {
  std::string_view rest = text;
  LogIds ids;
  if (takeText(rest, "(") && takeNumber(rest, ids.process) && takeText(rest, ", ") &&
      takeNumber(rest, ids.thread) && takeText(rest, "): ")) {
    text = rest;
    return ids;
  }
  return std::nullopt;
}

}  // namespace

void LogReader::feed(std::string_view bytes) {
  rest_ += bytes;
  std::size_t begin = 0;
  for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n', begin)) {
    std::string_view line(rest_.data() + begin, end - begin);
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    readLine(line);
    ++line_;
    begin = end + 1;
  }
  rest_.erase(0, begin);
}

void LogReader::pause() {
  std::string_view rest = rest_;
  const bool isIdsOfError = open_ && open_->kind == LogEntry::Kind::Error && takeIds(rest) && rest.empty();
  if (isIdsOfError) {
    readLine(std::exchange(rest_, {}));
  } else if (rest_.empty() && open_ && open_->kind != LogEntry::Kind::Error) {
    end();
  }
}

void LogReader::finish() {
  if (!rest_.empty()) {
    readLine(std::exchange(rest_, {}));
  }
  end();
}

std::vector<LogEntry> LogReader::take() {
  return std::exchange(complete_, {});
}

void LogReader::readLine(std::string_view line) {
  const bool hadIds = !line.empty() && line.front() == '(';
  std::optional<LogIds> ids = hadIds ? takeIds(line) : std::nullopt;
  if (ids && open_ && open_->kind == LogEntry::Kind::Error) {
    open_->ids = ids;
    end();
    if (line.empty()) {
      return;
    }
    // Without ids of its own, what follows has lost its beginning, and is of the same thread most likely.
    if (const std::optional<LogIds> next = takeIds(line)) {
      ids = next;
    }
  }
  if (takeText(line, kError)) {
    begin(LogEntry::Kind::Error, std::nullopt, line);
  } else if (ids) {
    begin(LogEntry::Kind::Information, ids, line);
  } else if (open_) {
    open_->message.append("\n").append(line);
  } else {
    begin(LogEntry::Kind::Text, std::nullopt, line);
  }
}

void LogReader::begin(LogEntry::Kind kind, std::optional<LogIds> ids, std::string_view message) {
  end();
  open_ = LogEntry{kind, line_, ids, std::string(message)};
}

void LogReader::end() {
  if (open_) {
    complete_.push_back(std::move(*open_));
    open_.reset();
  }
}

}  // namespace kx::cli

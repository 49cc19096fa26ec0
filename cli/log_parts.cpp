#include "cli/log_parts.h"

#include "common/platform.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

namespace kx::cli {
namespace {

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

}  // namespace

std::int64_t logSize(const std::string& path) {
  const File file(platform::openFile(path, "rb"));
  if (!file || std::fseek(file.get(), 0, SEEK_END) != 0) {
    return 0;
  }
  return std::ftell(file.get());
}

LogParts::LogParts(const std::string& path, std::int64_t begin) {
  const File file(platform::openFile(path, "rb"));
  if (!file) {
    return;
  }
  LogReader reader;
  std::array<char, 65536> piece;
  std::int64_t offset = 0;
  for (std::size_t count = piece.size(); count == piece.size();) {
    count = std::fread(piece.data(), 1, piece.size(), file.get());
    const auto ownBegin = static_cast<std::size_t>(
        std::clamp<std::int64_t>(begin - offset, 0, static_cast<std::int64_t>(count)));
    firstLine_ += static_cast<std::size_t>(std::count(piece.data(), piece.data() + ownBegin, '\n'));
    for (std::size_t i = ownBegin; i < count; ++i) {
      if (piece[i] == '\n') {
        lineEnds_.push_back(offset + static_cast<std::int64_t>(i));
      }
    }
    reader.feed({piece.data() + ownBegin, count - ownBegin});
    offset += static_cast<std::int64_t>(count);
  }
  reader.finish();
  const int process = static_cast<int>(platform::currentProcessId());
  for (LogEntry& entry : reader.take()) {
    if (entry.ids && entry.ids->process == process) {
      entry.line += firstLine_ - 1;
      entriesOfThreads_[entry.ids->thread].push_back(std::move(entry));
    }
  }
}

std::vector<LogStep> LogParts::steps(const LogRange& range) const {
  const auto thread = entriesOfThreads_.find(static_cast<int>(range.thread));
  if (thread == entriesOfThreads_.end() || range.begin == range.end) {
    return {};
  }
  const std::vector<LogEntry>& entries = thread->second;
  const auto from = [&](std::int64_t offset) {
    const std::size_t line = lineAt(offset);
    return std::partition_point(entries.begin(), entries.end(),
                                [&](const LogEntry& entry) { return entry.line < line; });
  };
  LogStory story;
  std::for_each(from(range.begin), from(range.end), [&](const LogEntry& entry) { story.add(entry); });
  return story.conversations().empty() ? std::vector<LogStep>() : story.conversations().front().steps;
}

std::size_t LogParts::lineAt(std::int64_t offset) const {
  const auto next = std::lower_bound(lineEnds_.begin(), lineEnds_.end(), offset);
  return firstLine_ + static_cast<std::size_t>(next - lineEnds_.begin());
}

}  // namespace kx::cli

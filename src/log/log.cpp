#include "log/log.h"

#include "common/home_directory.h"
#include "common/last_error.h"
#include "common/platform.h"
#include "common/strings.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string_view>

namespace kx {

namespace {

constexpr char kSwitchVariable[] = "KORVEX_LOG";
constexpr char kPathVariable[] = "KORVEX_LOGPATH";
constexpr char kDefaultFileName[] = "korvex.log";

// Messages and debugger lines are cut at 4095 characters; the terminating zero takes the last byte.
using LineBuffer = std::array<char, 4096>;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using LogFile = std::unique_ptr<std::FILE, FileCloser>;

// Whether an entry's process and thread ids stand before its message or behind the line end.
enum class PrefixPlace { BeforeMessage, AfterLine };

struct EntryKind {
  PrefixPlace prefixPlace;
  const char* debuggerFormat;
};

constexpr EntryKind kInformation = {PrefixPlace::BeforeMessage, "__loginf from (%d, %d): %s"};

// The ids of an error stand at the beginning of the file's next line, ahead of the next entry. Programs that
// read these logs count on it.
constexpr EntryKind kError = {PrefixPlace::AfterLine, "__logerr from (%d, %d): %s"};

bool isOn(const std::optional<std::string>& value) {
  return value && (equalsIgnoringCase(*value, "on") || equalsIgnoringCase(*value, "true"));
}

LogFile openLogFile() noexcept {
  try {
    return LogFile(platform::openFile(logFilePath(), "ab"));
  } catch (const std::exception&) {
    // Without memory for the path only the debugger hears of the entry.
    return nullptr;
  }
}

bool isSwitchedOn() noexcept {
  try {
    return isOn(platform::environmentVariable(kSwitchVariable));
  } catch (const std::exception&) {
    return false;
  }
}

void write(std::FILE* file, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), file);
}

// The message is formatted once, for the file and for the debugger. One that is too long for the line is
// formatted again, since the file gets it whole.
void writeMessage(std::FILE* file, const LineBuffer& line, int length, const char* format,
                  std::va_list arguments) {
  if (length >= 0 && static_cast<std::size_t>(length) < line.size()) {
    write(file, {line.data(), static_cast<std::size_t>(length)});
  } else {
    std::vfprintf(file, format, arguments);
  }
}

void writeEntry(const EntryKind& kind, const char* format, std::va_list arguments) {
  const int process = static_cast<int>(platform::currentProcessId());
  const int thread = static_cast<int>(platform::currentThreadId());

  std::va_list again;
  va_copy(again, arguments);
  LineBuffer message;
  message.front() = '\0';
  const int length = std::vsnprintf(message.data(), message.size(), format, arguments);
  if (const LogFile file = openLogFile()) {
    std::array<char, 32> ids;
    std::snprintf(ids.data(), ids.size(), "(%d, %d): ", process, thread);
    const bool isError = kind.prefixPlace == PrefixPlace::AfterLine;
    write(file.get(), isError ? "Error: " : ids.data());
    writeMessage(file.get(), message, length, format, again);
    write(file.get(), "\n");
    if (isError) {
      write(file.get(), ids.data());
    }
  }
  va_end(again);

  LineBuffer line;
  std::snprintf(line.data(), line.size(), kind.debuggerFormat, process, thread, message.data());
  platform::writeDebuggerLine(line.data());
}

}  // namespace

// NOLINTBEGIN(clang-diagnostic-reserved-identifier, readability-identifier-naming, cert-dcl50-cpp): explained in the header.

void __loginf(const char* format, ...) noexcept {
  const LastErrorGuard guard;
  if (!isSwitchedOn()) {
    return;
  }
  std::va_list arguments;
  va_start(arguments, format);
  writeEntry(kInformation, format, arguments);
  va_end(arguments);
}

void __logerr(const char* format, ...) noexcept {
  const LastErrorGuard guard;
  std::va_list arguments;
  va_start(arguments, format);
  writeEntry(kError, format, arguments);
  va_end(arguments);
}

// NOLINTEND(clang-diagnostic-reserved-identifier, readability-identifier-naming, cert-dcl50-cpp)

std::string logFilePath() {
  std::string path = platform::environmentVariable(kPathVariable).value_or("");
  if (path.empty() && isOn(platform::environmentVariable(kSwitchVariable))) {
    return homeDirectory() + "\\" + kDefaultFileName;
  }
  return path;
}

}  // namespace kx

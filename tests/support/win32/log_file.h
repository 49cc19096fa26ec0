// The library's log, switched on for a test and written to a file of its own, and the bytes that a test
// expects there.
#pragma once

#include "support/environment.h"
#include "support/win32/temp_folder.h"

#include <windows.h>
#include <algorithm>
#include <array>
#include <string>
#include <string_view>

class LogFile {
 public:
  LogFile() = default;

  const std::string& path() const { return path_; }
  std::string text() const { return fileBytes(path_); }
  void clear() const { ::DeleteFileW(wide(path_).c_str()); }

 private:
  TempFolder folder_{"log"};
  std::string path_ = folder_.path("kx.log");
  EnvironmentVariable switch_{"KORVEX_LOG", "on"};
  EnvironmentVariable place_{"KORVEX_LOGPATH", path_};
};

// Builds what a log file holds after the given entries, all written by one thread of this process.
class ExpectedLog {
 public:
  explicit ExpectedLog(DWORD threadId = ::GetCurrentThreadId())
      : prefix_("(" + std::to_string(static_cast<int>(::GetCurrentProcessId())) + ", " +
                std::to_string(static_cast<int>(threadId)) + "): ") {}

  ExpectedLog& info(const std::string& message) {
    text_ += prefix_ + message + "\n";
    return *this;
  }

  // The ids of an error stand behind its line end.
  ExpectedLog& error(const std::string& message) {
    text_ += "Error: " + message + "\n" + prefix_;
    return *this;
  }

  const std::string& text() const { return text_; }

 private:
  std::string prefix_;
  std::string text_;
};

// What a log holds after one entry of this thread.
inline std::string infoEntry(const std::string& message) {
  return ExpectedLog().info(message).text();
}
inline std::string errorEntry(const std::string& message) {
  return ExpectedLog().error(message).text();
}

// The text with every number that directly follows the marker written as "N": for messages that end in a last
// error which the library does not decide.
inline std::string withoutNumbersAfter(const std::string& marker, std::string text) {
  for (std::size_t at = text.find(marker); at != std::string::npos; at = text.find(marker, at)) {
    at += marker.size();
    const std::size_t end = text.find_first_not_of("-0123456789", at);
    text.replace(at, (end == std::string::npos ? text.size() : end) - at, "N");
  }
  return text;
}

// Errors that one system writes and another does not, in the same conversation and with the same results.
inline constexpr std::array<std::string_view, 2> kErrorsOfOneSystem = {
    // An end is closed that nobody has connected to. Wine refuses to disconnect it; Windows has a state for
    // such an end, from which it can be disconnected.
    "Could not disconnect pipe, error=536",
    // An end is closed whose server has disconnected already. Windows has then forgotten the pipe behind it;
    // Wine still tells about it.
    "Could not get pipe info, error=233",
};

inline bool isErrorOfOneSystem(std::string_view message) {
  return std::any_of(kErrorsOfOneSystem.begin(), kErrorsOfOneSystem.end(),
                     [&](std::string_view error) { return message.starts_with(error); });
}

// The log without them, so that what is expected holds on each system.
inline std::string withoutErrorsOfOneSystem(std::string log) {
  constexpr std::string_view kEndOfIds = "): ";
  for (const std::string_view error : kErrorsOfOneSystem) {
    const std::string entry = "Error: " + std::string(error) + "\n";
    for (std::size_t at = log.find(entry); at != std::string::npos; at = log.find(entry, at)) {
      log.erase(at, log.find(kEndOfIds, at) + kEndOfIds.size() - at);
    }
  }
  return log;
}

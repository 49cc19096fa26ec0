// Keeps what the process saw, so that tests can compare byte for byte: files in one folder, and a log of
// events with one line each. Shared by all threads. Without a folder the events only reach the console, if
// that was asked for.
#pragma once

#include "win32/unique_handle.h"

#include <atomic>
#include <mutex>
#include <string>
#include <string_view>

namespace kxsim {

class Recorder {
 public:
  Recorder() = default;

  // Makes the folder and its parents where they are missing. False when that fails.
  bool open(const std::string& folder);
  void setVerbose(bool verbose) { verbose_ = verbose; }
  void setShowing(bool showing) { showing_ = showing; }

  void event(const std::string& line);
  void save(const std::string& fileName, std::string_view bytes);
  // Prints the bytes, or the first of many, as one line behind the words, if that was asked for.
  void show(const std::string& words, std::string_view bytes);

  // When the last event was, on the clock of GetTickCount64.
  ULONGLONG lastActivity() const { return lastActivity_; }
  void touch() { lastActivity_ = GetTickCount64(); }

 private:
  std::string folder_;
  UniqueHandle log_;
  std::mutex mutex_;
  bool verbose_ = false;
  bool showing_ = false;
  std::atomic<ULONGLONG> lastActivity_{GetTickCount64()};
};

}  // namespace kxsim

// Processes that this program starts, by itself or through the library, and its own place.
#pragma once

#include "common/win32/unique_handle.h"

#include <windows.h>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kx::cli {

// A program that was started here. Letting go of it does not end it.
class ChildProcess {
 public:
  // The arguments are put behind the program as they are. 0, or Windows' error number.
  std::uint32_t start(const std::string& program, const std::string& arguments);
  // Waits for its end as the library does, then ends it. Nothing happens when none was started.
  void end(int timeoutSeconds) const;

  std::uint32_t id() const { return id_; }

 private:
  UniqueHandle process_;
  std::uint32_t id_ = 0;
};

// The processes that this one starts, itself or through the library, and those that they start in turn.
// Unless they may stay, they end with the object, or with this process when it ends in another way. There is
// one at a time. Windows 7 may refuse to keep them together; then nothing is ended.
class Descendants {
 public:
  explicit Descendants(bool mayStay);
  Descendants(const Descendants&) = delete;
  Descendants& operator=(const Descendants&) = delete;
  ~Descendants();

 private:
  bool mayStay_;
  UniqueHandle job_;
};

// Ends them now. Any thread may call it.
void endDescendants();
std::size_t countDescendants();

// The program that is started when none is named.
std::string defaultProgram(const std::string& browser);

std::string ownPath();
std::string ownFolder();

}  // namespace kx::cli

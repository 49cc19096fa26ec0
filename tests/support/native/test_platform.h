// What a native test can see and change of the system that stands behind common/platform.h. Environment
// variables and files are the machine's own; ids, the last error and the debugger are kept here. Controls are
// for the whole process and act until the object that sets them ends. Used by one test at a time; the
// functions of the platform itself may be called from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace test_platform {

// The ids that log entries and pipe names carry.
class ScopedIds {
 public:
  ScopedIds(std::uint32_t processId, std::uint32_t threadId);
  ~ScopedIds();
  ScopedIds(const ScopedIds&) = delete;
  ScopedIds& operator=(const ScopedIds&) = delete;
};

// Collects what goes to the debugger. Nothing is kept while no object lives, so long runs do not fill the
// memory.
class DebuggerCapture {
 public:
  DebuggerCapture();
  ~DebuggerCapture();
  DebuggerCapture(const DebuggerCapture&) = delete;
  DebuggerCapture& operator=(const DebuggerCapture&) = delete;

  std::vector<std::string> lines() const;
};

struct OpenedFile {
  std::string path;
  std::string mode;

  friend bool operator==(const OpenedFile&, const OpenedFile&) = default;
};

// Notes every path and mode that is opened. With an error number, opening fails with it.
class FileWatch {
 public:
  explicit FileWatch(std::uint32_t failure = 0);
  ~FileWatch();
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  std::vector<OpenedFile> opened() const;
};

// Lets the reading of one environment variable fail for lack of memory.
class NoMemoryForVariable {
 public:
  explicit NoMemoryForVariable(std::string name);
  ~NoMemoryForVariable();
  NoMemoryForVariable(const NoMemoryForVariable&) = delete;
  NoMemoryForVariable& operator=(const NoMemoryForVariable&) = delete;
};

}  // namespace test_platform

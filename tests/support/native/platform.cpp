#include "common/platform.h"

#include "support/native/test_platform.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <new>
#include <unistd.h>

namespace {

constexpr std::uint32_t kFileNotFound = 2;
constexpr std::uint32_t kPathNotFound = 3;
constexpr std::uint32_t kAccessDenied = 5;
constexpr std::uint32_t kAlreadyExists = 183;

thread_local std::uint32_t lastError = 0;

std::mutex controlsMutex;

struct Controls {
  bool hasIds = false;
  std::uint32_t processId = 0;
  std::uint32_t threadId = 0;

  bool collectsDebuggerLines = false;
  std::vector<std::string> debuggerLines;

  bool watchesFiles = false;
  std::uint32_t openFailure = 0;
  std::vector<test_platform::OpenedFile> openedFiles;

  std::string unreadableVariable;
};

Controls& controls() {
  static Controls instance;
  return instance;
}

// The code under test writes Windows paths; here a folder ends with a slash.
std::string nativePath(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

std::uint32_t errorOfOpening(int number, const std::string& mode) {
  if (number == ENOENT || number == ENOTDIR) {
    return mode.front() == 'r' ? kFileNotFound : kPathNotFound;
  }
  return kAccessDenied;
}

}  // namespace

namespace kx::platform {

std::uint32_t currentProcessId() {
  const std::lock_guard lock(controlsMutex);
  return controls().hasIds ? controls().processId : static_cast<std::uint32_t>(::getpid());
}

std::uint32_t currentThreadId() {
  const std::lock_guard lock(controlsMutex);
  return controls().hasIds ? controls().threadId : static_cast<std::uint32_t>(::gettid());
}

std::uint32_t lastErrorNumber() {
  return lastError;
}

void setLastErrorNumber(std::uint32_t number) {
  lastError = number;
}

void writeDebuggerLine(const char* line) {
  const std::lock_guard lock(controlsMutex);
  if (controls().collectsDebuggerLines) {
    controls().debuggerLines.emplace_back(line);
  }
  // So does Windows when no debugger listens.
  lastError = kFileNotFound;
}

std::optional<std::string> environmentVariable(const char* name) {
  {
    const std::lock_guard lock(controlsMutex);
    if (controls().unreadableVariable == name) {
      throw std::bad_alloc();
    }
  }
  const char* value = std::getenv(name);
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

std::FILE* openFile(const std::string& path, const char* mode) {
  {
    const std::lock_guard lock(controlsMutex);
    if (controls().watchesFiles) {
      controls().openedFiles.push_back({path, mode});
    }
    if (controls().openFailure != 0) {
      lastError = controls().openFailure;
      return nullptr;
    }
  }
  std::FILE* file = std::fopen(nativePath(path).c_str(), mode);
  // Windows changes the last error of a successful opening too.
  lastError = file != nullptr ? kAlreadyExists : errorOfOpening(errno, mode);
  return file;
}

}  // namespace kx::platform

namespace test_platform {

ScopedIds::ScopedIds(std::uint32_t processId, std::uint32_t threadId) {
  const std::lock_guard lock(controlsMutex);
  controls().hasIds = true;
  controls().processId = processId;
  controls().threadId = threadId;
}

ScopedIds::~ScopedIds() {
  const std::lock_guard lock(controlsMutex);
  controls().hasIds = false;
}

DebuggerCapture::DebuggerCapture() {
  const std::lock_guard lock(controlsMutex);
  controls().collectsDebuggerLines = true;
  controls().debuggerLines.clear();
}

DebuggerCapture::~DebuggerCapture() {
  const std::lock_guard lock(controlsMutex);
  controls().collectsDebuggerLines = false;
  controls().debuggerLines.clear();
}

std::vector<std::string> DebuggerCapture::lines() const {
  const std::lock_guard lock(controlsMutex);
  return controls().debuggerLines;
}

FileWatch::FileWatch(std::uint32_t failure) {
  const std::lock_guard lock(controlsMutex);
  controls().watchesFiles = true;
  controls().openFailure = failure;
  controls().openedFiles.clear();
}

FileWatch::~FileWatch() {
  const std::lock_guard lock(controlsMutex);
  controls().watchesFiles = false;
  controls().openFailure = 0;
}

std::vector<OpenedFile> FileWatch::opened() const {
  const std::lock_guard lock(controlsMutex);
  return controls().openedFiles;
}

NoMemoryForVariable::NoMemoryForVariable(std::string name) {
  const std::lock_guard lock(controlsMutex);
  controls().unreadableVariable = std::move(name);
}

NoMemoryForVariable::~NoMemoryForVariable() {
  const std::lock_guard lock(controlsMutex);
  controls().unreadableVariable.clear();
}

}  // namespace test_platform

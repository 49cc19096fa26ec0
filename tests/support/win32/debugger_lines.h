// The lines that this process sends to a debugger, caught as the exceptions by which Windows hands them over.
// One object at a time; lines of every thread are kept.
#pragma once

#include <windows.h>
#include <mutex>
#include <string>
#include <vector>

class DebuggerLines {
 public:
  DebuggerLines() {
    store().clear();
    handler_ = ::AddVectoredExceptionHandler(1, &DebuggerLines::onException);
  }
  DebuggerLines(const DebuggerLines&) = delete;
  DebuggerLines& operator=(const DebuggerLines&) = delete;
  ~DebuggerLines() { ::RemoveVectoredExceptionHandler(handler_); }

  std::vector<std::string> lines() const { return store().copy(); }
  void clear() { store().clear(); }

 private:
  class Store {
   public:
    void add(const char* line) {
      const std::lock_guard guard(mutex_);
      lines_.emplace_back(line);
    }
    void clear() {
      const std::lock_guard guard(mutex_);
      lines_.clear();
    }
    std::vector<std::string> copy() {
      const std::lock_guard guard(mutex_);
      return lines_;
    }

   private:
    std::mutex mutex_;
    std::vector<std::string> lines_;
  };

  static Store& store() {
    static Store store;
    return store;
  }

  static LONG CALLBACK onException(EXCEPTION_POINTERS* exception) {
    constexpr DWORD kDebuggerLine = 0x40010006;
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != kDebuggerLine || record.NumberParameters < 2) {
      return EXCEPTION_CONTINUE_SEARCH;
    }
    store().add(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    return EXCEPTION_CONTINUE_EXECUTION;
  }

  void* handler_ = nullptr;
};

inline std::string debuggerLine(const std::string& function, const std::string& message) {
  return function + " from (" + std::to_string(static_cast<int>(::GetCurrentProcessId())) + ", " +
         std::to_string(static_cast<int>(::GetCurrentThreadId())) + "): " + message;
}
inline std::string infoLine(const std::string& message) {
  return debuggerLine("__loginf", message);
}
inline std::string errorLine(const std::string& message) {
  return debuggerLine("__logerr", message);
}

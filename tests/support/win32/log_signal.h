// Waits for the library to say something: runs an action when a debugger line with a given text has come so
// many times. The action runs on the thread that logs, inside the log call: it signals an event, or holds the
// library until an event has come.
#pragma once

#include <windows.h>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

class LogSignal {
 public:
  LogSignal(std::string text, int times, std::function<void()> action)
      : text_(std::move(text)), remaining_(times), action_(std::move(action)) {
    const std::lock_guard guard(mutex());
    if (signals().empty()) {
      handler() = ::AddVectoredExceptionHandler(1, &LogSignal::onException);
    }
    signals().push_back(this);
  }
  LogSignal(const LogSignal&) = delete;
  LogSignal& operator=(const LogSignal&) = delete;
  ~LogSignal() {
    const std::lock_guard guard(mutex());
    std::erase(signals(), this);
    if (signals().empty()) {
      ::RemoveVectoredExceptionHandler(handler());
    }
  }

 private:
  void hear(const std::string& line) {
    if (line.find(text_) != std::string::npos && --remaining_ == 0) {
      action_();
    }
  }

  static LONG CALLBACK onException(EXCEPTION_POINTERS* exception) {
    constexpr DWORD kDebuggerLine = 0x40010006;
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != kDebuggerLine || record.NumberParameters < 2) {
      return EXCEPTION_CONTINUE_SEARCH;
    }
    const std::lock_guard guard(mutex());
    for (LogSignal* signal : signals()) {
      signal->hear(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    }
    // Whoever else listens hears the line as well.
    return EXCEPTION_CONTINUE_SEARCH;
  }

  static std::mutex& mutex() {
    static std::mutex mutex;
    return mutex;
  }
  static std::vector<LogSignal*>& signals() {
    static std::vector<LogSignal*> signals;
    return signals;
  }
  static void*& handler() {
    static void* handler = nullptr;
    return handler;
  }

  std::string text_;
  int remaining_;
  std::function<void()> action_;
};

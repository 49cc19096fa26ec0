// Every Windows call that the loaded library makes, seen one by one: named, numbered, let through or made to
// fail. The library is the file that ships; its import table leads here. One object at a time, one thread:
// the walks play host, library and extension on the test's own thread, so that each run makes the same calls
// in the same order.
#pragma once

#include "support/win32/import_table.h"

#include <windows.h>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// One way in which a call fails: what it gives, and the last error that it leaves.
struct Failure {
  LONG_PTR result;
  DWORD error;
};

// The last error of every failure that has no meaning of its own for the library. No call of the walks ends
// in it otherwise, so a log line that names it speaks of the call that was made to fail.
inline constexpr DWORD kInjectedError = ERROR_GEN_FAILURE;

// A call that the library made.
struct SeenCall {
  std::string name;
  std::string step;  // the export that was being called
  bool isForTheLog;  // made while a log entry was written
  std::vector<Failure> failures;
};

class InterceptedCalls {
 public:
  explicit InterceptedCalls(HMODULE library);
  ~InterceptedCalls();
  InterceptedCalls(const InterceptedCalls&) = delete;
  InterceptedCalls& operator=(const InterceptedCalls&) = delete;

  // The names of all calls that can be made to fail.
  static std::vector<std::string> fallibleNames();

  // Forgets what was seen. From here on the call of that number, counted from 0, fails in the given way,
  // once.
  void start(std::optional<std::size_t> failingCall = {}, Failure failure = {});
  // Calls are neither seen nor made to fail while the library is asked about the outcome.
  void pause() { isWatching_ = false; }
  void goOn() { isWatching_ = true; }
  void enter(const std::string& step) { step_ = step; }

  const std::vector<SeenCall>& seen() const { return seen_; }
  bool hasFailed() const { return hasFailed_; }

  // A line that the library sent to the debugger.
  struct DebuggerLine {
    std::string step;
    std::string text;
    bool operator==(const DebuggerLine&) const = default;
  };
  const std::vector<DebuggerLine>& debuggerLines() const { return debuggerLines_; }

  // What a call that was made to fail would have closed or freed is still there. This closes it, so that
  // what the library itself has forgotten can be told apart. Gives how much there was.
  int closeWhatCouldNotBeClosed();

  // Files that the library has opened and not closed, and local memory.
  int openFiles() const { return openFiles_; }
  int localBlocks() const { return localBlocks_; }

  // What the walks play instead of the real call, or before it.
  struct Stage {
    // The library is about to wait: whoever is on the other side may act now.
    std::function<void()> othersAct = [] {};
    // A flush begins, which ends only when everything that was written has been read.
    std::function<void()> beforeFlush = [] {};
    // A write has gone out.
    std::function<void()> afterWrite = [] {};
    std::function<void(DWORD)> sleep = [](DWORD) {};
    std::function<BOOL(PROCESS_INFORMATION*)> createProcess = [](PROCESS_INFORMATION*) { return FALSE; };
    std::function<HANDLE(DWORD)> openProcess = [](DWORD) -> HANDLE { return nullptr; };
    std::function<BOOL(HANDLE)> terminateProcess = [](HANDLE) { return FALSE; };
  };
  Stage stage;

  // Waits that could not have ended: an operation that nobody ends any more, or no time-out and nobody there.
  const std::vector<std::string>& endlessWaits() const { return endlessWaits_; }

  // ---- for the functions that the library calls ----
  static InterceptedCalls& current();
  // Whether this call is the one that fails.
  const Failure* nextCall(const char* name, const std::vector<Failure>& failures);
  void addDebuggerLine(const char* line);
  void beginLogEntry() { isInLog_ = true; }
  void addUnclosed(std::function<void()> close) { unclosed_.push_back(std::move(close)); }
  void addEndlessWait(const std::string& what) { endlessWaits_.push_back(step_ + ": " + what); }
  void countFile(int change) { openFiles_ += change; }
  void countLocalBlock(int change) { localBlocks_ += change; }

 private:
  ImportTable imports_;
  bool isWatching_ = false;
  bool isInLog_ = false;
  bool hasFailed_ = false;
  std::string step_;
  std::vector<SeenCall> seen_;
  std::vector<DebuggerLine> debuggerLines_;
  std::vector<std::string> endlessWaits_;
  std::vector<std::function<void()>> unclosed_;
  std::optional<std::size_t> failingCall_;
  Failure failure_{};
  int openFiles_ = 0;
  int localBlocks_ = 0;
};

// What all threads of the process share: the script, the choice of the pipe, the recorder, named events,
// locked files and the counts of what happened. Made once by main() and never destroyed.
#pragma once

#include "pipe_choice.h"
#include "script.h"
#include "win32/recorder.h"
#include "win32/unique_handle.h"

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace kxsim {

class Simulator {
 public:
  Script script;
  PipeChoice choice;
  Surroundings surroundings;
  Recorder recorder;
  std::atomic<bool> stays = false;      // "exit" does not end the process
  std::atomic<long long> exitCode = 0;  // what it ends with after "exit"

  // Counts one more occurrence of that moment.
  Moment happened(const std::string& name, unsigned connection);

  // Opens or makes the named Windows event. It stays open until the process ends, so that a signal is not
  // lost when nobody else has it open yet. Null when the name is not possible.
  HANDLE namedEvent(const std::string& name);

  // Opens the file so that nobody else can, making it when it is missing.
  void lockFile(const std::string& path);
  void lockProfile();
  void unlockFiles();

  // Ends the process at once. Nothing waits for other threads.
  [[noreturn]] void end(long long code, const std::string& reason);

 private:
  std::mutex mutex_;
  std::map<std::string, unsigned> occurrences_;
  std::map<std::string, UniqueHandle> events_;
  std::vector<UniqueHandle> locks_;
};

// What the process ends with when it was not asked to end otherwise.
constexpr int kExitBadScript = 64;
constexpr int kExitCannotServe = 70;
constexpr int kExitIdle = 75;
constexpr int kExitParentGone = 76;

}  // namespace kxsim

// Hosts in processes of their own: this test program, run again with a verb and the environment of one user.
#pragma once

#include "support/win32/helper_process.h"

#include <windows.h>
#include <optional>
#include <string>
#include <vector>

// Launches a browser, plays and exits so many times, and compares what its process holds. Ends with 0 when
// nothing has grown; otherwise what was wrong is in the file.
struct LaunchingHost {
  std::string userName;
  std::string browser;
  std::string options = "";
  std::string program = "";
  std::string reportPath = "";
  int cycles = 0;
};

// Starts, plays and exits with a browser that runs, so many times. Ends with 0 when all went well and no
// other process held the start lock at the same time.
struct FightingHost {
  std::string go;
  std::string reportPath;
  int cycles;
};

// Takes the start lock in a start and stays there: signals that it holds the lock, and never goes on.
struct HoldingHost {
  std::string holding;
};

class SoakHost {
 public:
  explicit SoakHost(const LaunchingHost& host);
  explicit SoakHost(const FightingHost& host);
  explicit SoakHost(const HoldingHost& host);

  // Waits for the end, however long it takes, and gives the exit code.
  DWORD exitCode() const { return process_->exitCode(INFINITE); }
  // Ends it in the middle of whatever it does, and returns when it is gone.
  void kill() { process_.reset(); }

 private:
  std::optional<HelperProcess> process_;
};

// Marks that a start holds the lock; the processes of one test share it.
class LockWatch {
 public:
  explicit LockWatch(const std::string& userName);
  ~LockWatch();
  LockWatch(const LockWatch&) = delete;
  LockWatch& operator=(const LockWatch&) = delete;

  // Called while the lock is held. Finds out whether somebody else is in here at the same time, or could take
  // the lock now.
  void look();
  long violations() const;
  long looks() const;

 private:
  struct Shared {
    volatile LONG inside;
    volatile LONG violations;
    volatile LONG looks;
  };

  HANDLE mapping_;
  std::string lockName_;
  Shared* shared_;
};

// The exit code when this process was started as such a host, otherwise nothing.
std::optional<int> runAsSoakHost();

// Ends the process with a message when a run does not come to its end. It opens all its handles at once and
// allocates nothing later, so that it can stand beside a test that counts both.
#pragma once

#include <windows.h>
#include <string>

class Watchdog {
 public:
  Watchdog();
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  // A new run begins, and the time with it.
  void expect(const std::string& what);

 private:
  static DWORD WINAPI run(void* watchdog);
  void watch();

  SRWLOCK lock_ = SRWLOCK_INIT;
  std::string what_;
  enum Signal { NextRun, Over };
  HANDLE signals_[2];
  HANDLE thread_;
};

// A real process that plays the browser, and records of the calls by which the library reaches processes.
#pragma once

#include "support/win32/helper_process.h"
#include "support/win32/next_handle.h"
#include "support/win32/windows_calls_override.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <vector>

namespace kx {

// A process that ends only when it is told or killed.
class Browser {
 public:
  DWORD id() const { return process_.id(); }
  std::string idText() const { return std::to_string(static_cast<int>(id())); }
  bool isRunning() const { return process_.isRunning(); }
  void end() const { end_.signal(); }
  // Of a process that was not told to end: the one it was killed with.
  DWORD exitCode() const { return process_.exitCode(); }

 private:
  NamedEvent end_;
  HelperProcess process_{{"wait", end_.name()}};
};

struct OpenedProcess {
  DWORD access;
  DWORD id;
  bool operator==(const OpenedProcess&) const = default;
};

// Records which processes are opened; those before the given one cannot be.
class RecordedOpens {
 public:
  explicit RecordedOpens(std::size_t failing = 0, DWORD error = ERROR_ACCESS_DENIED)
      : open_([this, failing, error](DWORD access, BOOL inherits, DWORD id) {
          EXPECT_EQ(inherits, FALSE);
          opened.push_back({access, id});
          handles.push_back(opened.size() <= failing ? failWith(error, HANDLE{})
                                                     : open_.real(access, inherits, id));
          return handles.back();
        }) {}

  std::vector<OpenedProcess> opened;
  std::vector<HANDLE> handles;

 private:
  SubstitutedCall<&WindowsCalls::openProcess> open_;
};

class ProcessWaitEndsWith {
 public:
  explicit ProcessWaitEndsWith(DWORD result, DWORD error = ERROR_SUCCESS)
      : wait_([this, result, error](HANDLE, DWORD milliseconds) {
          waits.push_back(milliseconds);
          return failWith(error, result);
        }) {}

  std::vector<DWORD> waits;

 private:
  SubstitutedCall<&WindowsCalls::waitForSingleObject> wait_;
};

struct TerminatedProcess {
  HANDLE handle;
  UINT exitCode;
  bool operator==(const TerminatedProcess&) const = default;
};

class RecordedKills {
 public:
  RecordedKills()
      : terminate_([this](HANDLE handle, UINT exitCode) {
          killed.push_back({handle, exitCode});
          return terminate_.real(handle, exitCode);
        }) {}

  std::vector<TerminatedProcess> killed;

 private:
  SubstitutedCall<&WindowsCalls::terminateProcess> terminate_;
};

}  // namespace kx

#include "cli/win32/processes.h"

#include "common/timeouts.h"
#include "common/win32/utf16.h"
#include "pipe/win32/pipe_browser_instance.h"
#include "process/command_line.h"
#include "process/win32/browser_launch.h"

#include <windows.h>
#include <atomic>
#include <cstddef>
#include <vector>

namespace kx::cli {
namespace {

constexpr UINT kEndedByUser = 130;

// The job that this process and all that it starts belong to; null before it is made.
std::atomic<HANDLE> ownJob = nullptr;

void setLimit(HANDLE job, DWORD flags) {
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = flags;
  ::SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof(limits));
}

std::vector<DWORD> processesOf(HANDLE job) {
  constexpr std::size_t kMost = 4096;
  // Two counts, and then the identifiers, more than the one that the type of the list names.
  constexpr std::size_t kCounts =
      offsetof(JOBOBJECT_BASIC_PROCESS_ID_LIST, ProcessIdList) / sizeof(ULONG_PTR);
  std::vector<ULONG_PTR> memory(kCounts + kMost);
  auto* const list = reinterpret_cast<JOBOBJECT_BASIC_PROCESS_ID_LIST*>(memory.data());
  std::vector<DWORD> ids;
  // Windows takes null for the job that a terminal or a service may have put this process into, with others.
  if (job == nullptr) {
    return ids;
  }
  if (::QueryInformationJobObject(job, JobObjectBasicProcessIdList, list,
                                  static_cast<DWORD>(memory.size() * sizeof(ULONG_PTR)), nullptr) != FALSE) {
    for (DWORD i = 0; i < list->NumberOfProcessIdsInList; ++i) {
      ids.push_back(static_cast<DWORD>(memory[kCounts + i]));
    }
  }
  return ids;
}

}  // namespace

std::uint32_t ChildProcess::start(const std::string& program, const std::string& arguments) {
  std::wstring line = utf16FromUtf8(quotedIfNeeded(program) + " " + arguments);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(utf16FromUtf8(program).c_str(), line.data(), nullptr, nullptr, FALSE,
                       CREATE_NEW_PROCESS_GROUP, nullptr, utf16FromUtf8(workingDirectory(program)).c_str(),
                       &startup, &process) == FALSE) {
    return ::GetLastError();
  }
  const UniqueHandle thread(process.hThread);
  process_.reset(process.hProcess);
  id_ = process.dwProcessId;
  return 0;
}

void ChildProcess::end(int timeoutSeconds) const {
  if (process_ &&
      ::WaitForSingleObject(process_.get(), shutdownWaitMilliseconds(timeoutSeconds)) != WAIT_OBJECT_0) {
    ::TerminateProcess(process_.get(), kEndedByUser);
  }
}

void endDescendants() {
  for (const DWORD id : processesOf(ownJob)) {
    const UniqueHandle process(::OpenProcess(PROCESS_TERMINATE, FALSE, id));
    if (id != ::GetCurrentProcessId() && process) {
      ::TerminateProcess(process.get(), kEndedByUser);
    }
  }
}

std::size_t countDescendants() {
  std::size_t count = 0;
  for (const DWORD id : processesOf(ownJob)) {
    count += id != ::GetCurrentProcessId() ? std::size_t{1} : std::size_t{0};
  }
  return count;
}

std::string defaultProgram(const std::string& browser) {
  // An instance that is given a pipe looks for none.
  return defaultBrowserPath(PipeBrowserInstance(browser, "none"));
}

Descendants::Descendants(bool mayStay) : mayStay_(mayStay), job_(::CreateJobObjectW(nullptr, nullptr)) {
  setLimit(job_.get(), mayStay ? 0 : JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE);
  ::AssignProcessToJobObject(job_.get(), ::GetCurrentProcess());
  ownJob = job_.get();
}

Descendants::~Descendants() {
  if (!mayStay_) {
    endDescendants();
  }
  // This process has an end of its own, with an exit code.
  setLimit(job_.get(), 0);
  ownJob = nullptr;
}

std::string ownPath() {
  std::vector<wchar_t> path(32768);
  const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return utf8FromUtf16({path.data(), length});
}

std::string ownFolder() {
  const std::string path = ownPath();
  return path.substr(0, path.rfind('\\'));
}

}  // namespace kx::cli

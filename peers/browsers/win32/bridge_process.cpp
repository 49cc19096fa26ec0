#include "win32/bridge_process.h"

#include "win32/windows_text.h"

#include <windows.h>
#include <string>

namespace kxbrowser {
namespace {

kxsim::UniqueHandle openInheritable(const wchar_t* path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return kxsim::UniqueHandle(CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                         &inheritable, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

kxsim::UniqueHandle createJob() {
  kxsim::UniqueHandle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

}  // namespace

unsigned long BridgeProcess::start(const std::string& node, const std::string& script,
                                   const std::string& output) {
  const kxsim::UniqueHandle nothing = openInheritable(L"NUL", GENERIC_READ, OPEN_EXISTING);
  const kxsim::UniqueHandle file =
      openInheritable(kxsim::toWide(output).c_str(), FILE_APPEND_DATA | SYNCHRONIZE, CREATE_ALWAYS);
  if (!nothing || !file) {
    return GetLastError();
  }
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = nothing.get();
  startup.hStdOutput = file.get();
  startup.hStdError = file.get();

  std::wstring line = kxsim::toWide("\"" + node + "\" \"" + script + "\"");
  PROCESS_INFORMATION information{};
  job_ = createJob();
  // It must not run before it is in the job, or it could outlive a launcher that is killed at once.
  if (CreateProcessW(kxsim::toWide(node).c_str(), line.data(), nullptr, nullptr, TRUE,
                     CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, nullptr, &startup, &information) == 0) {
    return GetLastError();
  }
  process_ = kxsim::UniqueHandle(information.hProcess);
  const kxsim::UniqueHandle thread(information.hThread);
  if (AssignProcessToJobObject(job_.get(), process_.get()) == 0) {
    const DWORD error = GetLastError();
    TerminateProcess(process_.get(), 1);
    return error;
  }
  ResumeThread(thread.get());
  return 0;
}

unsigned long BridgeProcess::wait() const {
  WaitForSingleObject(process_.get(), INFINITE);
  DWORD exitCode = 1;
  GetExitCodeProcess(process_.get(), &exitCode);
  return exitCode;
}

}  // namespace kxbrowser

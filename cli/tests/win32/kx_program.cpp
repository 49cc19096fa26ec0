#include "cli/tests/win32/kx_program.h"

#include "support/win32/helper_process.h"
#include "support/win32/temp_folder.h"

#include <cstdint>
#include <stdexcept>

namespace {

HANDLE openForChild(const std::string& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return ::CreateFileW(wide(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                       disposition, 0, nullptr);
}

std::string quoted(const std::string& argument) {
  std::string text = "\"";
  for (const char c : argument) {
    text += c == '"' ? "\\\"" : std::string(1, c);
  }
  return text + "\"";
}

// Made before any test gives the program another TEMP, and removed when the last one has ended.
const TempFolder streams("kx-streams");

}  // namespace

KxProgram::KxProgram(const std::vector<std::string>& arguments, const std::string& input,
                     const std::string& program, Output output)
    : base_(streams.path(uniqueName("run"))) {
  std::ofstream(std::filesystem::path(wide(path("in"))), std::ios::binary) << input;
  std::string line = quoted(program);
  for (const std::string& argument : arguments) {
    line += " " + quoted(argument);
  }
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = openForChild(path("in"), GENERIC_READ, OPEN_EXISTING);
  startup.hStdOutput =
      openForChild(path("out"), output == Output::Written ? GENERIC_WRITE : GENERIC_READ, CREATE_ALWAYS);
  startup.hStdError = openForChild(path("err"), GENERIC_WRITE, CREATE_ALWAYS);
  const BOOL isStarted = ::CreateProcessW(nullptr, wide(line).data(), nullptr, nullptr, TRUE,
                                          CREATE_NO_WINDOW, nullptr, nullptr, &startup, &process_);
  for (const HANDLE handle : {startup.hStdInput, startup.hStdOutput, startup.hStdError}) {
    ::CloseHandle(handle);
  }
  if (isStarted == FALSE) {
    throw std::runtime_error("cannot start " + program);
  }
}

KxProgram::~KxProgram() {
  ::TerminateProcess(process_.hProcess, 98);
  ::CloseHandle(process_.hThread);
  ::CloseHandle(process_.hProcess);
}

KxOutcome KxProgram::outcome() {
  if (::WaitForSingleObject(process_.hProcess, 60000) != WAIT_OBJECT_0) {
    throw std::runtime_error("kx does not end: " + fileBytes(path("out")) + fileBytes(path("err")));
  }
  KxOutcome outcome;
  ::GetExitCodeProcess(process_.hProcess, &outcome.exitCode);
  outcome.out = fileBytes(path("out"));
  outcome.err = fileBytes(path("err"));
  return outcome;
}

// The system delivers the key by a thread that it starts in the program, at this function. Done here
// directly, since Wine's GenerateConsoleCtrlEvent() does not reach the console of another process.
void KxProgram::interrupt() const {
  const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernelbase.dll"), "CtrlRoutine")));
  const HANDLE thread =
      ::CreateRemoteThread(process_.hProcess, nullptr, 0, routine,
                           reinterpret_cast<void*>(std::uintptr_t{CTRL_BREAK_EVENT}), 0, nullptr);
  if (routine == nullptr || ::WaitForSingleObject(thread, 30000) != WAIT_OBJECT_0) {
    throw std::runtime_error("Ctrl-Break cannot be sent, error " + std::to_string(::GetLastError()));
  }
  ::CloseHandle(thread);
}

std::string KxProgram::ownCopy() {
  const std::string own = ownProgramPath();
  return own.substr(0, own.rfind('\\')) + "\\kx.exe";
}

std::string KxProgram::path(const std::string& stream) const {
  return base_ + "." + stream;
}

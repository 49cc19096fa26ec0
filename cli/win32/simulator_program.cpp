#include "cli/win32/simulator_program.h"

#include "cli/runs.h"
#include "cli/text.h"
#include "cli/win32/processes.h"
#include "common/win32/unique_handle.h"
#include "common/win32/utf16.h"

#include <windows.h>
#include <array>

namespace kx::cli {
namespace {

constexpr DWORD kPauseMilliseconds = 50;
constexpr UINT kEndedByUser = 130;

// What a child prints: it writes to one end, and this process reads from the other.
struct OutputPipe {
  UniqueHandle read;
  UniqueHandle write;

  OutputPipe() {
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (::CreatePipe(&readEnd, &writeEnd, &inherited, 0) == FALSE) {
      throw Problem{kExitProblem, "No pipe can be made, error " + std::to_string(::GetLastError()) + "."};
    }
    read.reset(readEnd);
    write.reset(writeEnd);
    ::SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
  }
};

UniqueHandle start(const std::vector<std::string>& words, const OutputPipe& output) {
  const std::string program = simulatorPath();
  std::string line = quotedWord(program);
  for (const std::string& word : words) {
    line += " " + quotedWord(word);
  }
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = output.write.get();
  startup.hStdError = output.write.get();
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(utf16FromUtf8(program).c_str(), utf16FromUtf8(line).data(), nullptr, nullptr, TRUE,
                       CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &startup, &process) == FALSE) {
    const DWORD error = ::GetLastError();
    throw Problem{kExitProblem,
                  program + " cannot be started, error " + std::to_string(error) +
                      (error == ERROR_FILE_NOT_FOUND ? ": it is not there. It belongs beside kx.exe." : ".")};
  }
  const UniqueHandle thread(process.hThread);
  return UniqueHandle(process.hProcess);
}

// What there is now; nothing when the writer has gone.
bool readWhatIsThere(HANDLE pipe, std::string& bytes) {
  DWORD count = 0;
  if (::PeekNamedPipe(pipe, nullptr, 0, nullptr, &count, nullptr) == FALSE) {
    return false;
  }
  bytes.resize(count);
  return count == 0 || ::ReadFile(pipe, bytes.data(), count, &count, nullptr) != FALSE;
}

std::optional<int> run(const std::vector<std::string>& words,
                       const std::function<void(std::string_view)>& take, const Interruption& interruption) {
  OutputPipe output;
  const UniqueHandle process = start(words, output);
  output.write.reset();
  std::string bytes;
  while (readWhatIsThere(output.read.get(), bytes)) {
    take(bytes);
    if (interruption) {
      // What it has told until now is shown.
      ::TerminateProcess(process.get(), kEndedByUser);
      while (readWhatIsThere(output.read.get(), bytes) && !bytes.empty()) {
        take(bytes);
      }
      return std::nullopt;
    }
    if (bytes.empty()) {
      // The process may have ended, and another one go on in its place.
      ::Sleep(kPauseMilliseconds);
    }
  }
  ::WaitForSingleObject(process.get(), INFINITE);
  DWORD code = 0;
  ::GetExitCodeProcess(process.get(), &code);
  return interruption ? std::nullopt : std::optional(static_cast<int>(code));
}

}  // namespace

std::string simulatorPath() {
  return ownFolder() + "\\kxsim.exe";
}

RunSimulator simulatorProgram(const Interruption& interruption) {
  return [&interruption](const std::vector<std::string>& words,
                         const std::function<void(std::string_view)>& take) {
    return run(words, take, interruption);
  };
}

}  // namespace kx::cli

#include "e2e/real_processes.h"

#include "support/environment.h"
#include "support/win32/text.h"

#include <windows.h>
#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace {

constexpr std::chrono::seconds kPatience{90};
// A look at all processes costs a busy machine more than the wait is worth, so the looks become rarer.
constexpr std::chrono::milliseconds kFirstPause{50};
constexpr std::chrono::milliseconds kLongestPause{400};
constexpr char kProcesses[] = "Z:\\proc";
constexpr char kOwnProgram[] = "kx_e2e_tests.exe";

bool isNumber(const std::string& text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

// Zero-terminated texts, one behind the other.
std::vector<std::string> split(const std::string& bytes) {
  std::vector<std::string> parts;
  for (std::size_t begin = 0; begin < bytes.size();) {
    const std::size_t end = std::min(bytes.find('\0', begin), bytes.size());
    parts.push_back(bytes.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A process may end while it is being read, and reading then fails: what cannot be read any more is empty.
std::string fileOfProcess(const std::string& id, const std::string& name) {
  const std::string path = std::string(kProcesses) + "\\" + id + "\\" + name;
  const HANDLE file =
      ::CreateFileW(wide(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return {};
  }
  std::string bytes;
  std::array<char, 16384> piece{};
  DWORD count = 0;
  while (::ReadFile(file, piece.data(), static_cast<DWORD>(piece.size()), &count, nullptr) != FALSE &&
         count > 0) {
    bytes.append(piece.data(), count);
  }
  ::CloseHandle(file);
  return bytes;
}

RealProcess readProcess(const std::string& id) {
  RealProcess process;
  process.id = std::stoul(id);
  process.arguments = split(fileOfProcess(id, "cmdline"));
  process.program = process.arguments.empty() ? std::string() : process.arguments.front();
  return process;
}

// Chromium's helpers overwrite their environment, but name the profile's folder on their command line.
bool belongsToRun(const std::string& id, const RealProcess& process) {
  return process.hasArgument(runFolder() + "/windows") ||
         fileOfProcess(id, "environ").find("KX_E2E_FOLDER=" + runFolder()) != std::string::npos;
}

}  // namespace

bool RealProcess::hasArgument(const std::string& text) const {
  return std::any_of(arguments.begin(), arguments.end(),
                     [&](const std::string& argument) { return argument.find(text) != std::string::npos; });
}

std::string RealProcess::described() const {
  std::string text = std::to_string(id);
  for (const std::string& argument : arguments) {
    text += " " + argument;
  }
  return text.substr(0, 300);
}

std::string runFolder() {
  const std::string folder = EnvironmentVariable::valueOf("KX_E2E_FOLDER").value_or("");
  if (folder.empty()) {
    throw std::runtime_error("KX_E2E_FOLDER names no folder; run_e2e.sh sets it");
  }
  return folder;
}

std::vector<RealProcess> processesOfRun() {
  std::vector<RealProcess> processes;
  for (const auto& entry : std::filesystem::directory_iterator(wide(kProcesses))) {
    const std::string id = narrow(entry.path().filename().wstring());
    if (!isNumber(id)) {
      continue;
    }
    RealProcess process = readProcess(id);
    // A process without a command line has ended, and only its parent has not asked for the result yet.
    if (!process.arguments.empty() && !endsWith(process.program, kOwnProgram) && belongsToRun(id, process)) {
      processes.push_back(std::move(process));
    }
  }
  return processes;
}

std::vector<RealProcess> mainBrowserProcesses() {
  std::vector<RealProcess> processes = processesOfRun();
  std::erase_if(processes, [](const RealProcess& process) {
    return !process.hasArgument("--remote-debugging-port=") || process.hasArgument("--type=") ||
           endsWith(process.program, "setpriv") || endsWith(process.program, "sh");
  });
  return processes;
}

void killRealProcess(const RealProcess& process) {
  std::wstring line = wide("Z:\\bin\\sh -c \"kill -KILL " + std::to_string(process.id) + "\"");
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION information{};
  // There is neither an id nor a handle of a Linux program; that it is gone shows in the list.
  if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &information) == FALSE) {
    throw std::runtime_error("cannot run kill, error " + std::to_string(::GetLastError()));
  }
  ::CloseHandle(information.hThread);
  ::CloseHandle(information.hProcess);
}

bool eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  auto pause = kFirstPause;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, kLongestPause);
  }
  return true;
}

std::vector<RealProcess> leftoversOfRun() {
  std::vector<RealProcess> processes;
  eventually([&] {
    processes = processesOfRun();
    return processes.empty();
  });
  return processes;
}

std::string described(const std::vector<RealProcess>& processes) {
  std::string text;
  for (const RealProcess& process : processes) {
    text += process.described() + "\n";
  }
  return text;
}

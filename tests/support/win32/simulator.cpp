#include "support/win32/simulator.h"

#include "support/win32/text.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <tlhelp32.h>
#include <utility>

namespace {

constexpr DWORD kPatienceMilliseconds = 60000;
constexpr char kSimulator[] = "kxsim.exe";
constexpr char kStartEvent[] = "start pid=";

std::string folderOf(const std::string& path) {
  return path.substr(0, path.rfind('\\'));
}

bool isSamePath(const std::wstring& one, const std::wstring& other) {
  return ::CompareStringOrdinal(one.c_str(), -1, other.c_str(), -1, TRUE) == CSTR_EQUAL;
}

std::wstring programOf(DWORD processId) {
  const HANDLE process = ::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId);
  std::wstring path(1024, L'\0');
  DWORD length = static_cast<DWORD>(path.size());
  if (::QueryFullProcessImageNameW(process, 0, path.data(), &length) == FALSE) {
    length = 0;
  }
  ::CloseHandle(process);
  path.resize(length);
  return path;
}

// The system's own list, so that a process counts whatever it did or did not tell.
std::vector<DWORD> processesOf(const std::string& program) {
  const std::wstring path = wide(program);
  const std::wstring name = path.substr(path.rfind(L'\\') + 1);
  std::vector<DWORD> ids;
  const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = ::Process32FirstW(snapshot, &entry); more != FALSE;
       more = ::Process32NextW(snapshot, &entry)) {
    if (isSamePath(entry.szExeFile, name) && isSamePath(programOf(entry.th32ProcessID), path)) {
      ids.push_back(entry.th32ProcessID);
    }
  }
  ::CloseHandle(snapshot);
  return ids;
}

// A copy and no link: Wine takes all links of a file for one program, whose path is that of the first one
// started.
void copyProgram(const std::string& from, const std::string& to) {
  if (::CopyFileW(wide(from).c_str(), wide(to).c_str(), TRUE) == FALSE) {
    throw std::runtime_error("cannot copy " + from + " to " + to + ", error " +
                             std::to_string(::GetLastError()));
  }
}

}  // namespace

ObservedProcess::ObservedProcess(DWORD id)
    : id_(id),
      handle_(::OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION | PROCESS_TERMINATE, FALSE, id)) {
  if (handle_ == nullptr) {
    throw std::runtime_error("there is no process " + std::to_string(id));
  }
}

ObservedProcess::ObservedProcess(ObservedProcess&& other) noexcept
    : id_(other.id_), handle_(std::exchange(other.handle_, nullptr)) {}

ObservedProcess::~ObservedProcess() {
  if (handle_ != nullptr) {
    ::CloseHandle(handle_);
  }
}

bool ObservedProcess::isRunning() const {
  return ::WaitForSingleObject(handle_, 0) == WAIT_TIMEOUT;
}

DWORD ObservedProcess::exitCode() const {
  if (::WaitForSingleObject(handle_, kPatienceMilliseconds) != WAIT_OBJECT_0) {
    throw std::runtime_error("the process " + std::to_string(id_) + " does not end");
  }
  DWORD code = STILL_ACTIVE;
  ::GetExitCodeProcess(handle_, &code);
  return code;
}

void ObservedProcess::kill() const {
  ::TerminateProcess(handle_, 98);
  ::WaitForSingleObject(handle_, kPatienceMilliseconds);
}

SimulatedBrowser::SimulatedBrowser(const std::string& programName, const std::string& folderName,
                                   Recording recording)
    : folder_(root_.path(folderName)),
      program_(folder_ + "\\" + programName),
      scriptPath_(program_.substr(0, program_.rfind('.')) + ".script") {
  std::filesystem::create_directories(wide(folder_));
  copyProgram(folderOf(ownProgramPath()) + "\\" + kSimulator, program_);
  if (recording == Recording::On) {
    script("record " + folder_ + "\\record");
  }
  script("watch-parent " + std::to_string(::GetCurrentProcessId()));
  script("idle-limit 120");
  script("on serving set-event " + serving_.name());
  script("on connected set-event " + connected_.name());
}

SimulatedBrowser::~SimulatedBrowser() {
  for (const DWORD id : processesOf(program_)) {
    if (!mayStay_ && (!started_ || started_->id() != id)) {
      ADD_FAILURE() << "the library left its browser running: process " << id << " of " << program_;
    }
    const HANDLE process = ::OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE, id);
    ::TerminateProcess(process, 98);
    ::WaitForSingleObject(process, kPatienceMilliseconds);
    ::CloseHandle(process);
  }
}

void SimulatedBrowser::script(const std::string& line) {
  std::ofstream(std::filesystem::path(wide(scriptPath_)), std::ios::binary | std::ios::app) << line << "\n";
}

void SimulatedBrowser::start(const std::string& arguments) {
  startOnly(arguments);
  awaitServing();
}

void SimulatedBrowser::startOnly(const std::string& arguments) {
  std::wstring line = L"\"" + wide(program_) + L"\"" + (arguments.empty() ? L"" : L" ") + wide(arguments);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, wide(folder_).c_str(),
                       &startup, &process) == FALSE) {
    throw std::runtime_error("cannot start " + program_ + ", error " + std::to_string(::GetLastError()));
  }
  started_.emplace(process.dwProcessId);
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);
}

void SimulatedBrowser::await(const NamedEvent& event, const std::string& failure) const {
  if (!event.wait(kPatienceMilliseconds)) {
    throw std::runtime_error(program_ + " " + failure);
  }
}

int SimulatedBrowser::runningCount() const {
  return static_cast<int>(processesOf(program_).size());
}

std::vector<DWORD> SimulatedBrowser::processIds() const {
  std::vector<DWORD> ids;
  for (const std::string& line : events(kStartEvent)) {
    ids.push_back(static_cast<DWORD>(std::stoul(line.substr(sizeof(kStartEvent) - 1))));
  }
  return ids;
}

DWORD SimulatedBrowser::processId() const {
  const std::vector<DWORD> ids = processIds();
  if (ids.size() != 1) {
    throw std::runtime_error(std::to_string(ids.size()) + " processes of " + program_ + " started, not one");
  }
  return ids.front();
}

std::string SimulatedBrowser::recorded(const std::string& fileName) const {
  if (!hasRecorded(fileName)) {
    throw std::runtime_error(program_ + " has not recorded " + fileName);
  }
  return fileBytes(recordPath(fileName));
}

bool SimulatedBrowser::hasRecorded(const std::string& fileName) const {
  return fileExists(recordPath(fileName));
}

std::vector<std::string> SimulatedBrowser::events(const std::string& beginning) const {
  std::vector<std::string> lines;
  std::istringstream log(fileBytes(recordPath("events.log")));
  for (std::string line; std::getline(log, line);) {
    if (line.starts_with(beginning)) {
      lines.push_back(line);
    }
  }
  return lines;
}

std::string SimulatedBrowser::pipe() const {
  const std::vector<std::string> lines = events("pipe from=");
  if (lines.empty()) {
    throw std::runtime_error(program_ + " has chosen no pipe");
  }
  return lines.front().substr(lines.front().find("name=") + 5);
}

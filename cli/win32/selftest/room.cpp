#include "cli/win32/selftest/room.h"

#include "cli/runs.h"
#include "cli/surroundings.h"
#include "cli/text.h"
#include "cli/win32/simulator_program.h"
#include "common/md5.h"
#include "common/platform.h"
#include "common/win32/utf16.h"
#include "process/command_line.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <sstream>

namespace kx::cli {
namespace {

constexpr UINT kEndedByCheck = 98;
// A browser that was told to end is given so long; an exit has waited for it already.
constexpr DWORD kEndMilliseconds = 5000;
// Of one file, in the report.
constexpr std::size_t kMostEvidence = 1024;

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

std::string environment(const char* name) {
  return platform::environmentVariable(name).value_or("");
}

// Without limits to its length. The path is whole and has backslashes only.
std::wstring longPath(const std::string& path) {
  return L"\\\\?\\" + utf16FromUtf8(path);
}

struct FoundFile {
  std::string name;
  bool isFolder = false;
};

std::vector<FoundFile> filesIn(const std::string& folder) {
  WIN32_FIND_DATAW data{};
  const UniqueFindHandle search(::FindFirstFileW((longPath(folder) + L"\\*").c_str(), &data));
  std::vector<FoundFile> files;
  for (BOOL more = search ? TRUE : FALSE; more != FALSE; more = ::FindNextFileW(search.get(), &data)) {
    const std::string name = utf8FromUtf16(data.cFileName);
    if (name != "." && name != "..") {
      files.push_back({name, (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
    }
  }
  return files;
}

// Programs that have just ended may still be held by the system for a moment.
template <typename Remove>
bool removedInTheEnd(const Remove& remove) {
  constexpr int kTries = 20;
  constexpr DWORD kPause = 100;
  for (int i = 0; i < kTries; ++i) {
    if (remove() != FALSE) {
      return true;
    }
    ::Sleep(kPause);
  }
  return false;
}

std::string removeFolder(const std::string& folder) {
  std::string left;
  for (const FoundFile& file : filesIn(folder)) {
    const std::string path = folder + "\\" + file.name;
    if (file.isFolder) {
      left += removeFolder(path);
    } else if (!removedInTheEnd([&] { return ::DeleteFileW(longPath(path).c_str()); })) {
      left += path + ", error " + std::to_string(::GetLastError()) + "\n";
    }
  }
  if (left.empty() && !removedInTheEnd([&] { return ::RemoveDirectoryW(longPath(folder).c_str()); })) {
    left = folder + ", error " + std::to_string(::GetLastError()) + "\n";
  }
  return left;
}

HeldProcess startProcess(const std::string& program, const std::string& arguments) {
  std::wstring line = utf16FromUtf8("\"" + program + "\" " + arguments);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(utf16FromUtf8(program).c_str(), line.data(), nullptr, nullptr, FALSE,
                       CREATE_NEW_PROCESS_GROUP, nullptr, utf16FromUtf8(workingDirectory(program)).c_str(),
                       &startup, &process) == FALSE) {
    throw CheckStopped(program + " cannot be started, error " + std::to_string(::GetLastError()));
  }
  const UniqueHandle thread(process.hThread);
  return {process.hProcess, process.dwProcessId};
}

}  // namespace

NamedEvent::NamedEvent(std::string name)
    : name_(std::move(name)), event_(::CreateEventW(nullptr, TRUE, FALSE, utf16FromUtf8(name_).c_str())) {}

Room::Room() : userName_(environment("USERNAME")) {
  const std::string parent = environment("TEMP");
  folder_ = parent + "\\kx-selftest-" + std::to_string(::GetCurrentProcessId()) + "-" +
            std::to_string(::GetTickCount64());
  temp_ = path("temp");
  if (parent.empty()) {
    throw Problem{kExitProblem, "TEMP is not set: there is no place for what the self-test writes."};
  }
  if (::CreateDirectoryW(utf16FromUtf8(folder_).c_str(), nullptr) == FALSE) {
    throw Problem{kExitProblem, "No folder can be made in TEMP, " + parent + ", error " +
                                    std::to_string(::GetLastError()) + "."};
  }
  ::CreateDirectoryW(utf16FromUtf8(temp_).c_str(), nullptr);
  for (const char* name : {"KXSIM_SCRIPT", "KXSIM_RECORD", "KXSIM_VERBOSE", "KXSIM_MISBEHAVE"}) {
    setEnvironment(name, std::nullopt);
  }
  setEnvironment("KXSIM_PARENT_PID", std::to_string(::GetCurrentProcessId()));
  setEnvironment("TEMP", temp_);
  setEnvironment("APPDATA", path("roaming"));
  setEnvironment("KORVEX_LOG", "on");
  setEnvironment("KORVEX_LOGPATH", logPath());
}

Room::~Room() {
  if (isThere_) {
    remove();
  }
}

std::string Room::name(const std::string& stem) {
  return stem + " " + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++count_);
}

void Room::writeFile(const std::string& path, const std::string& bytes) const {
  for (std::size_t at = path.find('\\', folder_.size() + 1); at != std::string::npos;
       at = path.find('\\', at + 1)) {
    ::CreateDirectoryW(utf16FromUtf8(path.substr(0, at)).c_str(), nullptr);
  }
  const File file(platform::openFile(path, "wb"));
  if (!file || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) {
    throw CheckStopped(path + " cannot be written");
  }
}

std::string Room::log() const {
  return bytesOf(logPath()).value_or("");
}

std::string Room::remove() {
  isThere_ = false;
  return removeFolder(folder_);
}

std::optional<std::string> bytesOf(const std::string& path, std::size_t most) {
  const File file(platform::openFile(path, "rb"));
  if (!file) {
    return std::nullopt;
  }
  std::string bytes;
  std::array<char, 65536> piece;
  for (std::size_t count = piece.size(); count == piece.size() && bytes.size() < most;) {
    count = std::fread(piece.data(), 1, piece.size(), file.get());
    bytes.append(piece.data(), count);
  }
  bytes.resize(std::min(bytes.size(), most));
  return bytes;
}

void makeFolder(const std::string& path) {
  ::CreateDirectoryW(longPath(path).c_str(), nullptr);
}

bool isThere(const std::string& path) {
  return ::GetFileAttributesW(longPath(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

void setEnvironment(const char* name, const std::optional<std::string>& value) {
  ::SetEnvironmentVariableW(utf16FromUtf8(name).c_str(), value ? utf16FromUtf8(*value).c_str() : nullptr);
}

std::string HeldProcess::end() const {
  if (!process_) {
    return "not known: it has ended already";
  }
  if (::WaitForSingleObject(process_.get(), kEndMilliseconds) != WAIT_OBJECT_0) {
    return "still running";
  }
  DWORD code = 0;
  ::GetExitCodeProcess(process_.get(), &code);
  return "code " + std::to_string(code);
}

void HeldProcess::kill() const {
  if (process_) {
    ::TerminateProcess(process_.get(), kEndedByCheck);
    ::WaitForSingleObject(process_.get(), kPatienceMilliseconds);
  }
}

Browser::Browser(Room& room, CheckNotes& notes, std::string type, const std::vector<std::string>& script)
    : program(simulatorPath()),
      room_(room),
      notes_(notes),
      type_(std::move(type)),
      folder_(room.path(room.name("browser"))),
      logBegin_(room.log().size()),
      serving_("Local\\" + room.name("serving")),
      begun_("Local\\" + room.name("begun")),
      go_("Local\\" + room.name("go")) {
  profile = type_ == "fx" ? room.name("self-test") : folder_ + "\\user data";
  std::string text = "record " + replacedAll(recordFolder(), "$", "$$") +
                     "\nidle-limit 120\non serving set-event " + serving_.name() + "\n";
  for (const std::string& line : script) {
    text += replacedAll(replacedAll(line, "{go}", waitForGo()), "{begun}", signalBegun()) + "\n";
  }
  room.writeFile(scriptPath(), text);
}

Browser::~Browser() {
  started_.kill();
  keepEvidence();
}

std::string Browser::pipe() const {
  return "\\\\.\\pipe\\kx-" + type_ + "-" + md5Hex(profile) + ".runner";
}

std::string Browser::options() const {
  return (type_ == "fx" ? "-fxProfile=\"" : "-crUserDataDir=\"") + profile + "\"";
}

// A launched simulator finds its script by the environment.
StartCall Browser::launching(int timeoutSeconds) {
  setEnvironment("KXSIM_SCRIPT", scriptPath());
  return {type_, options(), program, false, timeoutSeconds};
}

StartCall Browser::attaching(int timeoutSeconds) const {
  return {type_, options(), "", false, timeoutSeconds};
}

void Browser::serve() {
  serve("--type=" + type_ + " --pipe=" + pipe());
}

void Browser::serve(const std::string& arguments) {
  setEnvironment("KXSIM_SCRIPT", scriptPath());
  started_ = startProcess(program, arguments);
  awaitServing();
}

void Browser::awaitServing() const {
  const std::array<HANDLE, 2> either = {serving_.handle(), started_.handle()};
  const DWORD count = started_.handle() == nullptr ? 1 : 2;
  const DWORD result = ::WaitForMultipleObjects(count, either.data(), FALSE, kPatienceMilliseconds);
  if (result == WAIT_OBJECT_0 + 1) {
    throw CheckStopped("the simulator " + program + " ended before it served its pipe, with " +
                       started_.end());
  }
  if (result != WAIT_OBJECT_0) {
    throw CheckStopped("the simulator " + program + " does not serve its pipe");
  }
}

std::vector<std::string> Browser::events(const std::string& beginning) const {
  std::vector<std::string> lines;
  std::istringstream log(recorded("events.log"));
  for (std::string line; std::getline(log, line);) {
    if (line.starts_with(beginning)) {
      lines.push_back(line);
    }
  }
  return lines;
}

std::string Browser::recorded(const std::string& file) const {
  return bytesOf(recordFolder() + "\\" + file).value_or("(nothing)");
}

std::vector<std::uint32_t> Browser::processIds() const {
  constexpr std::string_view kStart = "start pid=";
  std::vector<std::uint32_t> ids;
  for (const std::string& line : events(std::string(kStart))) {
    ids.push_back(static_cast<std::uint32_t>(std::stoul(line.substr(kStart.size()))));
  }
  return ids;
}

HeldProcess Browser::process() const {
  const std::vector<std::uint32_t> ids = processIds();
  if (ids.empty()) {
    throw CheckStopped("the simulator was not started");
  }
  return {
      ::OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, ids.back()),
      ids.back()};
}

void Browser::keepEvidence() const {
  notes_.keep("the simulator's events", recorded("events.log"));
  for (const FoundFile& file : filesIn(recordFolder())) {
    if (file.name.ends_with(".bin")) {
      const std::string path = recordFolder() + "\\" + file.name;
      notes_.keep(file.name, hexDump(bytesOf(path, kMostEvidence).value_or(""), 0, kMostEvidence));
    }
  }
  const std::string log = room_.log();
  notes_.keep("the library's log", log.substr(std::min(logBegin_, log.size())).substr(0, 8 * kMostEvidence));
}

std::string Context::told(int result) const {
  return std::to_string(result) + ", number " + std::to_string(library_.errorNumber(number_)) + ", " +
         library_.errorText(number_);
}

std::string Context::extracts() const {
  std::string list;
  for (const std::string& extract : library_.extracts(number_)) {
    list += (list.empty() ? "" : " | ") + extract;
  }
  return list;
}

}  // namespace kx::cli

#include "tests/win32/host_peer.h"

#include "reply.h"
#include "win32/windows_text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <filesystem>

namespace kxsim {
namespace {

constexpr DWORD kPatienceMilliseconds = 30000;
constexpr std::size_t kReadBytes = 4096;

std::string ownFolder() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  const std::string program = toUtf8(path);
  return program.substr(0, program.find_last_of('\\'));
}

std::string uniqueName() {
  static std::atomic<unsigned> count{0};
  return std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++count);
}

void setVariable(const char* name, const std::string& value) {
  SetEnvironmentVariableW(toWide(name).c_str(), toWide(value).c_str());
}

}  // namespace

SimulatorProcess::SimulatorProcess() {
  const std::string name = uniqueName();
  userName_ = "user-" + name;
  folder_ = ownFolder() + "\\kxsim-test-" + name;
  program_ = ownFolder() + "\\kxsim.exe";
  CreateDirectoryW(toWide(folder_).c_str(), nullptr);
  script("on serving set-event " + eventName("serving"));
}

SimulatorProcess::~SimulatorProcess() {
  if (process_ && running()) {
    TerminateProcess(process_.get(), 99);
    WaitForSingleObject(process_.get(), kPatienceMilliseconds);
  }
  // The folder of a failed test stays, for whoever looks into it.
  std::error_code ignored;
  if (!testing::Test::HasFailure()) {
    std::filesystem::remove_all(toWide(folder_), ignored);
  }
}

void SimulatorProcess::copyProgramAs(const std::string& fileName) {
  ASSERT_NE(0, CopyFileW(toWide(program_).c_str(), toWide(path(fileName)).c_str(), FALSE));
  program_ = path(fileName);
}

void SimulatorProcess::start(const std::string& arguments) {
  startOnly(arguments);
  waitFor("serving");
}

void SimulatorProcess::startOnly(const std::string& arguments) {
  ASSERT_EQ(0U, writeWholeFile(path("test.script"), script_));
  setVariable("USERNAME", userName_);
  setVariable("APPDATA", folder_);
  setVariable("LOCALAPPDATA", folder_);
  setVariable("TEMP", folder_);
  setVariable("KXSIM_SCRIPT", path("test.script"));
  setVariable("KXSIM_RECORD", path("record"));
  setVariable("KXSIM_PARENT_PID", std::to_string(GetCurrentProcessId()));
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  const UniqueHandle standardOutput(CreateFileW(toWide(path("output.txt")).c_str(), GENERIC_WRITE,
                                                FILE_SHARE_READ, &inherited, CREATE_ALWAYS,
                                                FILE_ATTRIBUTE_NORMAL, nullptr));
  std::wstring line = toWide(program_ + (arguments.empty() ? "" : " " + arguments));
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = standardOutput.get();
  startup.hStdError = standardOutput.get();
  PROCESS_INFORMATION made{};
  ASSERT_NE(0, CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                              toWide(folder_).c_str(), &startup, &made))
      << program_;
  CloseHandle(made.hThread);
  process_ = UniqueHandle(made.hProcess);
  processId_ = made.dwProcessId;
}

DWORD SimulatorProcess::exitCode() {
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process_.get(), kPatienceMilliseconds));
  DWORD code = 0;
  GetExitCodeProcess(process_.get(), &code);
  return code;
}

bool SimulatorProcess::running() const {
  return WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT;
}

std::string SimulatorProcess::eventName(const std::string& name) const {
  return "kxsim-" + userName_ + "-" + name;
}

HANDLE SimulatorProcess::event(const std::string& name) {
  events_.emplace_back(CreateEventW(nullptr, TRUE, FALSE, toWide(eventName(name)).c_str()));
  return events_.back().get();
}

void SimulatorProcess::signal(const std::string& name) {
  SetEvent(event(name));
}

void SimulatorProcess::waitFor(const std::string& name) {
  const HANDLE handles[] = {event(name), process_.get()};
  ASSERT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, handles, FALSE, kPatienceMilliseconds))
      << name << " was not signalled";
}

std::string SimulatorProcess::recorded(const std::string& fileName) const {
  return readWholeFile(path("record\\" + fileName)).value_or("(no file)");
}

bool SimulatorProcess::eventLogHas(const std::string& line) const {
  return ("\n" + recorded("events.log")).find("\n" + line + "\n") != std::string::npos;
}

std::string SimulatorProcess::output() const {
  return readWholeFile(path("output.txt")).value_or("");
}

HostPeer::HostPeer(const std::string& wellKnownPipe) : server_(PipeEnd::open(wellKnownPipe)) {}

void HostPeer::sendNameLine() {
  ownName_ = "\\\\.\\pipe\\kxsim-test-host-" + uniqueName();
  own_ = PipeEnd::serve(ownName_, 512);
  ASSERT_TRUE(static_cast<bool>(own_));
  server_.write(ownName_ + "\n");
}

bool HostPeer::shakeHands() {
  sendNameLine();
  server_ = PipeEnd();
  return own_.accept();
}

std::string HostPeer::readOnce() {
  std::string bytes;
  own_.read(bytes, kReadBytes);
  return bytes;
}

std::string HostPeer::readReply() {
  std::string reply;
  pieces_.clear();
  while (!nlohmann::json::accept(reply)) {
    const std::string piece = readOnce();
    if (piece.empty()) {
      break;
    }
    pieces_.push_back(piece.size());
    reply += piece;
  }
  return reply;
}

std::string HostPeer::exchange(std::string_view request) {
  send(request);
  return readReply();
}

bool HostPeer::ended() {
  std::string bytes;
  return own_.read(bytes, kReadBytes) == PipeEnd::Outcome::kEnded;
}

void HostPeer::hangUp() {
  own_.close();
}

std::string requestText(const std::string& type, const std::vector<std::string>& argumentLines) {
  std::string text = "{\n \"type\" : \"" + type + "\",\n \"args\" : {";
  for (std::size_t i = 0; i < argumentLines.size(); ++i) {
    text += "\n  " + argumentLines[i] + (i + 1 < argumentLines.size() ? "," : "\n ");
  }
  return text + "}\n}";
}

std::string playText(const std::string& source) {
  return requestText("play", {"\"source\" : " + quotedJson(source), "\"vars\" : {}"});
}

}  // namespace kxsim

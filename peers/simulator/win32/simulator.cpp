#include "win32/simulator.h"

#include "escapes.h"
#include "win32/windows_text.h"

namespace kxsim {

Moment Simulator::happened(const std::string& name, unsigned connection) {
  const std::lock_guard<std::mutex> guard(mutex_);
  Moment moment{name, connection, ++occurrences_[name], 1};
  moment.onConnection = ++occurrences_[name + "@" + std::to_string(connection)];
  return moment;
}

HANDLE Simulator::namedEvent(const std::string& name) {
  const std::lock_guard<std::mutex> guard(mutex_);
  UniqueHandle& event = events_[name];
  if (!event) {
    event = UniqueHandle(CreateEventW(nullptr, TRUE, FALSE, toWide(name).c_str()));
  }
  return event.get();
}

void Simulator::lockFile(const std::string& path) {
  UniqueHandle file(CreateFileW(toWide(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
  const DWORD error = file ? 0 : GetLastError();
  recorder.event("lock error=" + std::to_string(error) + " path=" + escapeForLog(path));
  const std::lock_guard<std::mutex> guard(mutex_);
  locks_.push_back(std::move(file));
}

void Simulator::lockProfile() {
  const auto directory = profileDirectory(surroundings.firefoxProfiles, choice.profile, surroundings.appData);
  if (!directory) {
    recorder.event("lock-profile unknown profile=" + escapeForLog(choice.profile));
    return;
  }
  lockFile(*directory + "\\parent.lock");
}

void Simulator::unlockFiles() {
  const std::lock_guard<std::mutex> guard(mutex_);
  locks_.clear();
}

void Simulator::end(long long code, const std::string& reason) {
  recorder.event("end code=" + std::to_string(code) + " reason=" + reason);
  // Other threads may be inside a pipe operation or hold a lock; an orderly exit could wait for them.
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
  for (;;) {
    Sleep(INFINITE);
  }
}

}  // namespace kxsim

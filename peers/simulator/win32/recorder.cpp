#include "win32/recorder.h"

#include "escapes.h"
#include "win32/windows_text.h"

#include <cstdio>

namespace kxsim {
namespace {

constexpr std::size_t kMostShown = 4096;

}  // namespace

bool Recorder::open(const std::string& folder) {
  for (std::size_t at = folder.find_first_of("\\/", 3); at != std::string::npos;
       at = folder.find_first_of("\\/", at + 1)) {
    CreateDirectoryW(toWide(folder.substr(0, at)).c_str(), nullptr);
  }
  CreateDirectoryW(toWide(folder).c_str(), nullptr);
  folder_ = folder;
  log_ = UniqueHandle(CreateFileW(toWide(folder + "\\events.log").c_str(), FILE_APPEND_DATA,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  return static_cast<bool>(log_);
}

void Recorder::event(const std::string& line) {
  const std::lock_guard<std::mutex> guard(mutex_);
  touch();
  const std::string text = line + "\n";
  if (log_) {
    DWORD count = 0;
    WriteFile(log_.get(), text.data(), static_cast<DWORD>(text.size()), &count, nullptr);
  }
  if (verbose_) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
  }
}

void Recorder::save(const std::string& fileName, std::string_view bytes) {
  if (log_ && writeWholeFile(folder_ + "\\" + fileName, bytes) != 0) {
    event("record-failed file=" + fileName);
  }
}

void Recorder::show(const std::string& words, std::string_view bytes) {
  if (showing_) {
    const std::lock_guard<std::mutex> guard(mutex_);
    std::fputs((words + " " + escapeForLog(bytes.substr(0, kMostShown)) + "\n").c_str(), stdout);
    std::fflush(stdout);
  }
}

}  // namespace kxsim

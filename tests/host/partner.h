// The test's side of kx_host_partner.exe, the second process of these tests.
#pragma once

#include "support/environment.h"
#include "support/win32/helper_process.h"
#include "support/win32/temp_folder.h"

#include <windows.h>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

inline constexpr char kPartnerRecord[] = "KX_PARTNER_RECORD";
inline constexpr char kPartnerReady[] = "KX_PARTNER_READY";
inline constexpr char kPartnerEnd[] = "KX_PARTNER_END";

inline constexpr char kReturnWhileOthersCall[] = "--return-while-others-call";
inline constexpr char kExitWhileOthersCall[] = "--exit-while-others-call";
inline constexpr char kEndWithAPlugIn[] = "--end-with-a-plug-in";
inline constexpr wchar_t kPlugInRecord[] = L"KX_PLUG_IN_RECORD";
inline constexpr int kPartnerSucceeded = 42;

inline std::string partnerProgram() {
  const std::string own = ownProgramPath();
  return own.substr(0, own.rfind('\\') + 1) + "kx_host_partner.exe";
}

// A browser for the library to launch: it never serves a pipe, but tells how it was started, and can be told
// to go.
class IdleBrowser {
 public:
  const std::string& program() const { return program_; }

  bool wasLaunched() const { return fileExists(record_); }

  // Waits until it was launched.
  int processId() { return std::stoi(line(0)); }
  std::string commandLine() { return line(1); }
  std::string folder() { return line(2); }

  void end() const { end_.signal(); }

  // True once the process is gone. Waits for that.
  bool hasEnded() {
    const HANDLE process = ::OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(processId()));
    if (process == nullptr) {
      return true;
    }
    const bool ended = ::WaitForSingleObject(process, 30000) == WAIT_OBJECT_0;
    ::CloseHandle(process);
    return ended;
  }

  ~IdleBrowser() { end(); }

 private:
  std::string line(int number) {
    if (!ready_.wait()) {
      throw std::runtime_error("the browser was not launched");
    }
    std::istringstream lines(fileBytes(record_));
    std::string text;
    for (int i = 0; i <= number; ++i) {
      std::getline(lines, text);
    }
    return text;
  }

  const std::string program_ = partnerProgram();
  const TempFolder folder_{"browser"};
  const std::string record_ = folder_.path("record.txt");
  const NamedEvent ready_;
  const NamedEvent end_;
  const EnvironmentVariable recordVariable_{kPartnerRecord, record_};
  const EnvironmentVariable readyVariable_{kPartnerReady, ready_.name()};
  const EnvironmentVariable endVariable_{kPartnerEnd, end_.name()};
};

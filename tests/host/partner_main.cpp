// The second process of the host tests. Launched as a browser, it writes down how it was started and stays
// until it is told to go. Run with a switch, it is a host that ends or unloads the library at an awkward
// moment.
#include "host/partner.h"
#include "support/win32/dll.h"
#include "support/win32/environment_variable.h"
#include "support/win32/helper_process.h"
#include "support/win32/text.h"

#include <windows.h>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

int playBrowser() {
  std::vector<wchar_t> folder(32768);
  ::GetCurrentDirectoryW(static_cast<DWORD>(folder.size()), folder.data());
  std::ofstream record(std::filesystem::path(wide(*EnvironmentVariable::valueOf(kPartnerRecord))),
                       std::ios::binary);
  record << ::GetCurrentProcessId() << '\n'
         << narrow(::GetCommandLineW()) << '\n'
         << narrow(folder.data()) << '\n';
  record.close();
  NamedEvent(*EnvironmentVariable::valueOf(kPartnerReady)).signal();
  NamedEvent(*EnvironmentVariable::valueOf(kPartnerEnd)).wait(60000);
  return 0;
}

// Threads that create and destroy contexts for as long as the process lives. Returns once all of them do.
void createContextsForEver(const KxLibrary& dll) {
  constexpr int kThreads = 4;
  static std::atomic<int> running{0};
  for (int index = 0; index < kThreads; ++index) {
    std::thread([&dll] {
      for (bool isFirst = true;; isFirst = false) {
        dll.kx_ContextDestroy(dll.kx_ContextCreate());
        running += isFirst ? 1 : 0;
      }
    }).detach();
  }
  while (running < kThreads) {
    std::this_thread::yield();
  }
}

int endWhileOthersCreate(bool byReturning) {
  // Neither freed nor unloaded: the process ends with the library loaded and threads inside it.
  static KxLibrary& dll = *new KxLibrary();
  createContextsForEver(dll);
  if (byReturning) {
    return kPartnerSucceeded;
  }
  ::ExitProcess(kPartnerSucceeded);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string verb = argc == 2 ? argv[1] : "";
  if (verb == kReturnWhileOthersCreate || verb == kExitWhileOthersCreate) {
    return endWhileOthersCreate(verb == kReturnWhileOthersCreate);
  }
  return playBrowser();
}

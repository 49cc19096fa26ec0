// The second process of the host tests. Launched as a browser, it writes down how it was started and stays
// until it is told to go. Run with a switch, it is a host that ends or unloads the library at an awkward
// moment.
#include "host/partner.h"
#include "support/environment.h"
#include "support/win32/dll.h"
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

// Threads that are inside the library for as long as the process lives. Returns once all of them are. Only
// one of them creates contexts: Wine 8 ends a process by killing the other threads wherever they are, and
// where two wait for the same heap, one may be killed with a spin lock of Wine's own in its hands, for which
// the end of the process then spins for ever, with this library or without it.
void callForEver(const KxLibrary& dll) {
  constexpr int kReaders = 3;
  static std::atomic<int> running{0};
  const auto start = [](auto call) {
    std::thread([call] {
      for (bool isFirst = true;; isFirst = false) {
        call();
        running += isFirst ? 1 : 0;
      }
    }).detach();
  };
  const int context = dll.kx_ContextCreate();
  start([&dll] { dll.kx_ContextDestroy(dll.kx_ContextCreate()); });
  for (int index = 0; index < kReaders; ++index) {
    start([&dll, context] { dll.kx_GetLastErrorNumber(context); });
  }
  while (running < kReaders + 1) {
    std::this_thread::yield();
  }
}

int endWhileOthersCall(bool byReturning) {
  // Neither freed nor unloaded: the process ends with the library loaded and threads inside it.
  static KxLibrary& dll = *new KxLibrary();
  callForEver(dll);
  if (byReturning) {
    return kPartnerSucceeded;
  }
  ::ExitProcess(kPartnerSucceeded);
}

// Loads a plug-in before the library, so that the plug-in is detached after it.
int endWithAPlugIn() {
  const HMODULE plugIn = ::LoadLibraryW(L"kx_host_plug_in.dll");
  if (plugIn == nullptr) {
    return 1;
  }
  static KxLibrary& dll = *new KxLibrary();
  dll.kx_ContextCreate();
  using UseLibrary = void (*)(const KxExports*);
  reinterpret_cast<UseLibrary>(reinterpret_cast<void*>(::GetProcAddress(plugIn, "useLibrary")))(&dll);
  return kPartnerSucceeded;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string verb = argc == 2 ? argv[1] : "";
  if (verb == kReturnWhileOthersCall || verb == kExitWhileOthersCall) {
    return endWhileOthersCall(verb == kReturnWhileOthersCall);
  }
  return verb == kEndWithAPlugIn ? endWithAPlugIn() : playBrowser();
}

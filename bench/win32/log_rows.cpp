// What an entry of the log costs: one that is written, against opening, writing and closing a file for the
// same line; and five that are switched off, which is how many a round trip has, against the round trip. No
// export makes an entry of the second kind and nothing else, so the library's source of it is linked here as
// well.
#include "log/log.h"
#include "support/environment.h"
#include "support/win32/temp_folder.h"
#include "support/win32/text.h"
#include "win32/bench.h"
#include "win32/windows_error.h"

#include <windows.h>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

constexpr int kNoContext = 1234567;

// The entry that kx_SetVar leaves for a context that does not exist.
void writeByHand(const std::wstring& path) {
  std::FILE* file = ::_wfopen(path.c_str(), L"ab");
  if (file == nullptr) {
    failWith("cannot open a file for the log");
  }
  std::fprintf(file, "Error: kx_SetVar(): context %d does not exist\n(%d, %d): ", kNoContext,
               static_cast<int>(::GetCurrentProcessId()), static_cast<int>(::GetCurrentThreadId()));
  std::fclose(file);
}

// Against the file alone, and against the file and the line that the debugger gets.
void measureEntryOn(Bench& bench) {
  const TempFolder folder("bench");
  const EnvironmentVariable path("KORVEX_LOGPATH", folder.path() + "\\library.log");
  const auto entry = [&] {
    if (bench.library().kx_SetVar(kNoContext, "name", "value") != KX_NO_CONTEXT) {
      throw std::runtime_error("there is such a context");
    }
  };
  const auto byHand = [&](const std::string& name, bool tellsDebugger) {
    return [file = wide(folder.path() + "\\" + name), tellsDebugger] {
      writeByHand(file);
      if (tellsDebugger) {
        ::OutputDebugStringA("__logerr from (32, 36): kx_SetVar(): context 1234567 does not exist");
      }
    };
  };
  bench.compare("log_entry_on", {{entry}, {byHand("by_hand.log", false)}, {byHand("control.log", false)}},
                bench.effort());
  bench.compare("log_entry_on_and_debugger",
                {{entry}, {byHand("by_hand.log", true)}, {byHand("control.log", true)}}, bench.effort(2));
}

void measureEntriesOff(Bench& bench) {
  constexpr int kTimes = 200;
  EnvironmentVariable logSwitch("KORVEX_LOG");
  logSwitch.remove();
  const LibraryContext context(bench.library(), bench.peer().profile());
  bench.compare("log_entries_off",
                {{[] {
                    for (int i = 0; i < kTimes; ++i) {
                      kx::__loginf("show message %s", kMessage);
                      kx::__loginf("Client: sending message to server [%s], msg len=%d", kMessage, i);
                      kx::__loginf("Client: Message sent, receiving response");
                      kx::__loginf("Client: Read %d bytes from communication pipe", i);
                      kx::__loginf("Client: handling response..");
                    }
                  },
                  nullptr, kTimes},
                 {[&] { context.display(); }},
                 {[&] { context.display(); }}},
                bench.effort());
}

}  // namespace

std::vector<Row> logRows() {
  return {{"log_entry_on", measureEntryOn}, {"log_entries_off", measureEntriesOff}};
}

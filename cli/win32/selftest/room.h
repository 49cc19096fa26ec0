// Where a self-test takes place: a folder of its own, which TEMP, APPDATA and the library's log point to for
// this process and those that it starts, and the simulators that a check starts or has launched.
#pragma once

#include "cli/checks.h"
#include "cli/library.h"
#include "common/win32/unique_handle.h"

#include <windows.h>
#include <atomic>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx::cli {

inline constexpr int kFailed = -1;
inline constexpr int kTimeout = -3;
inline constexpr int kNoContext = -5;

// Ends a check; a failed line says why.
class CheckStopped : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Longer than anything takes that goes well.
inline constexpr DWORD kPatienceMilliseconds = 20000;
inline constexpr int kPatienceSeconds = 20;

class NamedEvent {
 public:
  explicit NamedEvent(std::string name);

  const std::string& name() const { return name_; }
  void signal() const { ::SetEvent(event_.get()); }
  bool wait() const { return ::WaitForSingleObject(event_.get(), kPatienceMilliseconds) == WAIT_OBJECT_0; }
  HANDLE handle() const { return event_.get(); }

 private:
  std::string name_;
  UniqueHandle event_;
};

class Room {
 public:
  // Makes the folder. Throws a Problem when it cannot.
  Room();
  Room(const Room&) = delete;
  Room& operator=(const Room&) = delete;
  // Removes it, if it is still there.
  ~Room();

  const std::string& folder() const { return folder_; }
  std::string path(const std::string& inside) const { return folder_ + "\\" + inside; }
  // A name that nothing else on this machine has.
  std::string name(const std::string& stem);
  const std::string& userName() const { return userName_; }
  const std::string& temp() const { return temp_; }

  void writeFile(const std::string& path, const std::string& bytes) const;
  std::string logPath() const { return path("library.log"); }
  std::string log() const;

  // What cannot be removed stays behind and is told.
  std::string remove();

 private:
  std::string folder_;
  std::string temp_;
  std::string userName_;
  std::atomic<int> count_ = 0;
  bool isThere_ = true;
};

// The bytes of a file, or at most so many; nothing when it cannot be opened.
std::optional<std::string> bytesOf(const std::string& path, std::size_t most = SIZE_MAX);

// However long the path is.
void makeFolder(const std::string& path);
bool isThere(const std::string& path);

void setEnvironment(const char* name, const std::optional<std::string>& value);

// A process held by its handle.
class HeldProcess {
 public:
  HeldProcess() = default;
  HeldProcess(HANDLE process, std::uint32_t id) : process_(process), id_(id) {}

  std::uint32_t id() const { return id_; }
  HANDLE handle() const { return process_.get(); }
  bool isRunning() const { return process_ && ::WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT; }
  // Waits for the end. "code 7", or "still running".
  std::string end() const;
  void kill() const;

 private:
  UniqueHandle process_;
  std::uint32_t id_ = 0;
};

// The simulator as the browser of a check, with a profile and a script of its own, recording everything. The
// check serves it, for hosts that attach, or lets the library launch it. What still runs of it at the end is
// ended if the check has started it.
class Browser {
 public:
  Browser(Room& room, CheckNotes& notes, std::string type, const std::vector<std::string>& script = {});
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;
  ~Browser();

  // The simulator's program, which a check may have copied elsewhere; and the profile, which it may rename.
  std::string program;
  std::string profile;

  // The pipe at which kx_Init() looks.
  std::string pipe() const;
  std::string options() const;
  // A start that launches, and one that cannot.
  StartCall launching(int timeoutSeconds = kPatienceSeconds);
  StartCall attaching(int timeoutSeconds = kPatienceSeconds) const;

  // Starts it at its pipe, or with other words, and waits until hosts can connect.
  void serve();
  void serve(const std::string& arguments);
  void awaitServing() const;
  void signalGo() const { go_.signal(); }
  // For scripts: waits for signalGo(); signals what awaitBegun() waits for.
  std::string waitForGo() const { return "wait-event " + go_.name(); }
  std::string signalBegun() const { return "set-event " + begun_.name(); }
  bool awaitBegun() const { return begun_.wait(); }

  std::vector<std::string> events(const std::string& beginning = "") const;
  std::string recorded(const std::string& file) const;
  // The ids of all processes that have started, as they noted them themselves.
  std::vector<std::uint32_t> processIds() const;
  // The last of them, held. One that has ended meanwhile cannot be.
  HeldProcess process() const;
  const HeldProcess& started() const { return started_; }

 private:
  std::string recordFolder() const { return folder_ + "\\record"; }
  std::string scriptPath() const { return folder_ + "\\browser.script"; }
  void keepEvidence() const;

  Room& room_;
  CheckNotes& notes_;
  std::string type_;
  std::string folder_;
  std::size_t logBegin_;
  NamedEvent serving_;
  NamedEvent begun_;
  NamedEvent go_;
  HeldProcess started_;
};

// A context that is destroyed at the end.
class Context {
 public:
  explicit Context(Library& library) : library_(library), number_(library.createContext()) {}
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context() { library_.destroyContext(number_); }

  int number() const { return number_; }
  Library& library() const { return library_; }

  // Each says what the call gave and left: "0, number 1, OK".
  std::string start(const StartCall& call) const { return told(library_.start(number_, call)); }
  std::string play(const std::string& macro, int timeoutSeconds = kPatienceSeconds) const {
    return told(library_.play(number_, macro, timeoutSeconds));
  }
  // The same, and behind it what was extracted.
  std::string playAndExtract(const std::string& macro) const {
    const std::string played = play(macro);
    return played + ": " + extracts();
  }
  std::string display(const std::string& message) const {
    return told(library_.display(number_, message, kPatienceSeconds));
  }
  std::string takeScreenshot(const std::string& path, int type) const {
    return told(library_.takeScreenshot(number_, path, type, kPatienceSeconds));
  }
  std::string startRunner(const StartCall& call) const { return told(library_.startRunner(number_, call)); }
  std::string exitRunner(int timeoutSeconds = kPatienceSeconds) const {
    return told(library_.exitRunner(number_, timeoutSeconds));
  }
  // An exit takes number and text with it.
  std::string exit(int timeoutSeconds = kPatienceSeconds) const {
    return std::to_string(library_.exit(number_, timeoutSeconds));
  }
  std::string processId() const { return std::to_string(library_.processId(number_)); }
  // All of them, as a list.
  std::string extracts() const;

 private:
  std::string told(int result) const;

  Library& library_;
  int number_;
};

inline constexpr char kAllWell[] = "0, number 1, OK";

}  // namespace kx::cli

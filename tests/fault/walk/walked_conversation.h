// A conversation that is gone through again and again, each time with another call that fails: what the host
// does, what the browser does, and what came of it. Host, library and browser are on one thread.
#pragma once

#include "fault/walk/intercepted_calls.h"
#include "fault/walk/intercepted_memory.h"
#include "fault/walk/staged_extension.h"
#include "support/win32/dll.h"
#include "support/win32/test_user.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

// What stands around all runs: the library, and a user with files.
struct Surroundings {
  TestUser user;
  // The pipe is called after the profile, so each process has one of its own.
  std::string profile = uniqueName("work");
  EnvironmentVariable logSwitch{"KORVEX_LOG", "on"};
  EnvironmentVariable logPath{"KORVEX_LOGPATH", user.temp() + "\\kx.log"};
  KxLibrary dll;
  InterceptedCalls calls{dll.module()};
  InterceptedMemory memory{dll.module()};

  std::string program() const { return user.local() + "\\browser.exe"; }
  std::string logFile() const { return user.temp() + "\\kx.log"; }
};

// One export that a host called, and what it was told.
struct StepOutcome {
  std::string step;
  int result;
  int errorNumber;
  std::string errorText;

  bool operator==(const StepOutcome&) const = default;
};

// One run.
class WalkedRun {
 public:
  explicit WalkedRun(Surroundings& around);
  ~WalkedRun();
  WalkedRun(const WalkedRun&) = delete;
  WalkedRun& operator=(const WalkedRun&) = delete;

  // Calls an export. Gives its result, and keeps what it left.
  int step(const std::string& name, const std::function<int(const KxExports& dll)>& call);

  // The same for the calls that every conversation makes.
  int create();
  bool init(const std::string& browser, const std::string& options, const char* program, int timeout);
  bool play(const std::string& macro, int timeout = 1);
  void readBack();
  void commandLine(const std::string& browser, const std::string& options);
  void exit();

  // The browser. Another one comes when there is to be a fresh start.
  StagedExtension& extension() { return *extension_; }
  std::string defaultPipe(const std::string& browser = "fx") const;
  static std::string profilePipe(const std::string& browser, const std::string& profile);

  // The process that is launched, or that an answer to exit names: played as well.
  static constexpr DWORD kProcessId = 4242;
  bool leavesWhenAsked = true;
  // The extension comes in the first pause between two attempts.
  void servesInThePause(const std::string& pipe, StagedExtension::Start start = StagedExtension::Start::Free);

  // Leaves the context, starts again in it with a browser that does nothing wrong, and leaves it for good.
  // Gives what went wrong.
  std::string recover();
  void destroyContext();

  // How often the library had to wait for a browser that did not read, before it could close the connection.
  // The browser reads then.
  int waitsAtTheClose() const { return waitsAtTheClose_; }

  int context() const { return context_; }
  const std::vector<StepOutcome>& outcomes() const { return outcomes_; }
  // What became of a browser that was launched: nothing when none was.
  std::string launchedBrowser() const;
  bool leftABrowserRunning() const;

 private:
  bool hasEnded() const { return isTerminated_ || (leavesWhenAsked && extension_->hasLeft()); }

  Surroundings& around_;
  std::unique_ptr<StagedExtension> extension_ = std::make_unique<StagedExtension>();
  int context_ = -1;
  std::vector<StepOutcome> outcomes_;
  std::string pipeToServe_;
  StagedExtension::Start howToServe_ = StagedExtension::Start::Free;
  int waitsAtTheClose_ = 0;
  bool isLaunched_ = false;
  bool isTerminated_ = false;
};

struct WalkedConversation {
  const char* name;
  std::function<void(Surroundings&)> prepare;
  std::function<void(WalkedRun&, Surroundings&)> go;
  // Each answer says in its status what it answers.
  bool hasOwnAnswers = false;
};

inline std::ostream& operator<<(std::ostream& stream, const WalkedConversation& conversation) {
  return stream << conversation.name;
}

// All conversations of the walks.
const std::vector<WalkedConversation>& walkedConversations();

// What a process holds: compared before and after a run.
struct Holdings {
  std::uintptr_t nextHandle;
  std::size_t memoryBlocks;
  int openFiles;
  int localBlocks;
};
Holdings holdings(const Surroundings& around);
// What is held since that was not, or no longer; empty when all is as before.
std::string difference(const Holdings& before, const Holdings& after);

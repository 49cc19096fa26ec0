// The script that makes the simulator misbehave: settings, and rules that name a moment and one action each.
// Parsed once at the start; afterwards it never changes, so all threads read it without a lock.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kxsim {

enum class ActionKind {
  // Flow.
  kDelay,
  kWaitEvent,
  kSetEvent,
  kLog,
  kHold,
  kHangUp,
  kDie,
  kStay,
  kRead,
  kLock,
  kLockProfile,
  kUnlock,
  // The reply's content.
  kReply,
  kReplyFile,
  kResult,
  kStatus,
  kErrorCode,
  kExtract,
  kExtractFill,
  kExtractTable,
  kPerformance,
  kProfiler,
  kMember,
  kDrop,
  kNesting,
  kWaitForPid,
  kReplySize,
  // The bytes made of it, and how they are sent.
  kPrepend,
  kAppend,
  kTwice,
  kTruncate,
  kPieces,
  kChunk,
  kBetween,
  kSend,
  kCut,
  kNoReply,
  kExitCode,
};

struct Action {
  ActionKind kind;
  std::vector<long long> numbers;
  std::string word;
  std::string text;  // as written: "$(name)" and backslash escapes are resolved when the action runs
};

struct Rule {
  std::string moment;
  unsigned connection = 0;  // 0: any
  unsigned first = 1;       // which occurrences of the moment, counted per connection when one is named
  unsigned last = 0;        // 0: no end
  Action action;
};

// Something that just happened, as rules select it.
struct Moment {
  std::string name;
  unsigned connection = 0;    // 0: outside any connection
  unsigned occurrence = 1;    // how often it has happened in the process
  unsigned onConnection = 1;  // how often it has happened on this connection
};

struct Script {
  std::optional<std::string> type;
  std::optional<std::string> pipe;
  std::optional<std::string> record;
  long long idleLimitSeconds = 600;
  std::optional<long long> watchedParent;
  bool verbose = false;
  bool lenientMacros = false;
  bool serve = true;
  bool earlyConnect = false;
  bool launcherProcess = false;
  std::optional<long long> serverBuffer;
  unsigned connections = 0;  // how many are served; 0: no end
  std::vector<Rule> rules;

  bool hasRulesFor(std::string_view moment) const;

  // The actions of all rules that select one of these moments, in the script's order.
  std::vector<const Action*> actionsFor(const std::vector<Moment>& moments) const;
};

class ScriptError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws ScriptError with the line's number and what is wrong with it.
Script parseScript(std::string_view text);

}  // namespace kxsim

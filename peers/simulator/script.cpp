#include "script.h"

#include "words.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <utility>

namespace kxsim {
namespace {

enum class Arguments {
  kNone,
  kNumber,
  kOptionalNumber,
  kNumbers,
  kWord,
  kText,
  kWordText,
  kNumberText,
  kNumberNumber
};

// Where an action has something to work on.
enum class Place { kAnywhere, kBeforeRequest, kRequest };

struct ActionRow {
  std::string_view name;
  ActionKind kind;
  Arguments arguments;
  Place place;
};

struct MomentRow {
  std::string_view name;
  Place place;
};

constexpr auto kMoments = std::to_array<MomentRow>({
    {"start", Place::kAnywhere},
    {"serve", Place::kAnywhere},
    {"busy", Place::kAnywhere},
    {"serving", Place::kAnywhere},
    {"connect", Place::kAnywhere},
    {"handshake", Place::kAnywhere},
    {"connected", Place::kAnywhere},
    {"before-request", Place::kBeforeRequest},
    {"request", Place::kRequest},
    {"init", Place::kRequest},
    {"play", Place::kRequest},
    {"show", Place::kRequest},
    {"capture", Place::kRequest},
    {"exit", Place::kRequest},
    {"torn", Place::kAnywhere},
    {"gone", Place::kAnywhere},
});

constexpr auto kActions = std::to_array<ActionRow>({
    {"delay", ActionKind::kDelay, Arguments::kNumber, Place::kAnywhere},
    {"wait-event", ActionKind::kWaitEvent, Arguments::kText, Place::kAnywhere},
    {"set-event", ActionKind::kSetEvent, Arguments::kText, Place::kAnywhere},
    {"log", ActionKind::kLog, Arguments::kText, Place::kAnywhere},
    {"hold", ActionKind::kHold, Arguments::kNone, Place::kAnywhere},
    {"hang-up", ActionKind::kHangUp, Arguments::kNone, Place::kAnywhere},
    {"die", ActionKind::kDie, Arguments::kNumber, Place::kAnywhere},
    {"stay", ActionKind::kStay, Arguments::kNone, Place::kAnywhere},
    {"read", ActionKind::kRead, Arguments::kNumber, Place::kBeforeRequest},
    {"lock", ActionKind::kLock, Arguments::kText, Place::kAnywhere},
    {"lock-profile", ActionKind::kLockProfile, Arguments::kNone, Place::kAnywhere},
    {"unlock", ActionKind::kUnlock, Arguments::kNone, Place::kAnywhere},
    {"reply", ActionKind::kReply, Arguments::kText, Place::kRequest},
    {"reply-file", ActionKind::kReplyFile, Arguments::kText, Place::kRequest},
    {"result", ActionKind::kResult, Arguments::kNumberText, Place::kRequest},
    {"status", ActionKind::kStatus, Arguments::kText, Place::kRequest},
    {"error-code", ActionKind::kErrorCode, Arguments::kNumber, Place::kRequest},
    {"extract", ActionKind::kExtract, Arguments::kText, Place::kRequest},
    {"extract-fill", ActionKind::kExtractFill, Arguments::kNumber, Place::kRequest},
    {"extract-table", ActionKind::kExtractTable, Arguments::kNumberNumber, Place::kRequest},
    {"performance", ActionKind::kPerformance, Arguments::kWordText, Place::kRequest},
    {"profiler", ActionKind::kProfiler, Arguments::kText, Place::kRequest},
    {"member", ActionKind::kMember, Arguments::kWordText, Place::kRequest},
    {"drop", ActionKind::kDrop, Arguments::kWord, Place::kRequest},
    {"nesting", ActionKind::kNesting, Arguments::kNumber, Place::kRequest},
    {"wait-for-pid", ActionKind::kWaitForPid, Arguments::kWord, Place::kRequest},
    {"reply-size", ActionKind::kReplySize, Arguments::kNumber, Place::kRequest},
    {"prepend", ActionKind::kPrepend, Arguments::kText, Place::kRequest},
    {"append", ActionKind::kAppend, Arguments::kText, Place::kRequest},
    {"twice", ActionKind::kTwice, Arguments::kNone, Place::kRequest},
    {"truncate", ActionKind::kTruncate, Arguments::kNumber, Place::kRequest},
    {"pieces", ActionKind::kPieces, Arguments::kNumbers, Place::kRequest},
    {"split", ActionKind::kPieces, Arguments::kNumber, Place::kRequest},
    {"chunk", ActionKind::kChunk, Arguments::kNumber, Place::kRequest},
    {"between", ActionKind::kBetween, Arguments::kNumber, Place::kRequest},
    {"send", ActionKind::kSend, Arguments::kOptionalNumber, Place::kRequest},
    {"cut", ActionKind::kCut, Arguments::kNumber, Place::kRequest},
    {"no-reply", ActionKind::kNoReply, Arguments::kNone, Place::kRequest},
    {"exit-code", ActionKind::kExitCode, Arguments::kNumber, Place::kAnywhere},
});

[[noreturn]] void complain(const std::string& message) {
  throw ScriptError(message);
}

long long numberFrom(const std::string& word) {
  const auto number = toNumber(word);
  if (!number) {
    complain("'" + word + "' is not a number");
  }
  return *number;
}

unsigned countFrom(const std::string& word) {
  const long long number = numberFrom(word);
  if (number < 1 || number > std::numeric_limits<int>::max()) {
    complain("'" + word + "' is not a count from 1");
  }
  return static_cast<unsigned>(number);
}

// Only these two take a negative number: an error code, and a process's exit code.
bool mayBeNegative(ActionKind kind) {
  return kind == ActionKind::kErrorCode || kind == ActionKind::kResult || kind == ActionKind::kDie ||
         kind == ActionKind::kExitCode;
}

void takeNumber(std::string_view& rest, Action& action) {
  const long long number = numberFrom(takeWord(rest));
  if (number < 0 && !mayBeNegative(action.kind)) {
    complain("a negative number does not fit here");
  }
  action.numbers.push_back(number);
}

void takeArguments(Arguments shape, std::string_view rest, Action& action) {
  switch (shape) {
    case Arguments::kNone:
      break;
    case Arguments::kNumber:
      takeNumber(rest, action);
      break;
    case Arguments::kNumberNumber:
      takeNumber(rest, action);
      takeNumber(rest, action);
      break;
    case Arguments::kNumbers:
      do {
        takeNumber(rest, action);
      } while (!withoutLeadingBlanks(rest).empty());
      break;
    case Arguments::kOptionalNumber:
      if (!withoutLeadingBlanks(rest).empty()) {
        takeNumber(rest, action);
      }
      break;
    case Arguments::kWord:
      action.word = takeWord(rest);
      break;
    case Arguments::kWordText:
      action.word = takeWord(rest);
      action.text = std::string(rest);
      return;
    case Arguments::kNumberText:
      takeNumber(rest, action);
      action.text = std::string(rest);
      return;
    case Arguments::kText:
      action.text = std::string(rest);
      return;
  }
  if (!withoutLeadingBlanks(rest).empty()) {
    complain("there is more on the line than the action takes: '" + std::string(rest) + "'");
  }
}

Action parseAction(std::string_view rest, Place place) {
  const std::string name = takeWord(rest);
  const auto row =
      std::find_if(kActions.begin(), kActions.end(), [&](const ActionRow& r) { return r.name == name; });
  if (row == kActions.end()) {
    complain("there is no action '" + name + "'");
  }
  if (row->place != Place::kAnywhere && row->place != place) {
    complain("'" + name + "' has nothing to work on at that moment");
  }
  Action action{row->kind, {}, {}, {}};
  takeArguments(row->arguments, rest, action);
  return action;
}

// "2", "2+" or "2-4".
void parseOccurrences(const std::string& word, Rule& rule) {
  const std::size_t end = word.find_first_of("+-");
  rule.first = countFrom(word.substr(0, end));
  if (end == std::string::npos) {
    rule.last = rule.first;
  } else if (word[end] == '-') {
    rule.last = countFrom(word.substr(end + 1));
  } else if (end + 1 != word.size()) {
    complain("'" + word + "' is not a count");
  }
}

Rule parseRule(std::string_view rest) {
  Rule rule{};
  rule.moment = takeWord(rest);
  const std::size_t at = rule.moment.find('@');
  if (at != std::string::npos) {
    rule.connection = countFrom(rule.moment.substr(at + 1));
    rule.moment.resize(at);
  }
  const auto moment = std::find_if(kMoments.begin(), kMoments.end(),
                                   [&](const MomentRow& row) { return row.name == rule.moment; });
  if (moment == kMoments.end()) {
    complain("there is no moment '" + rule.moment + "'");
  }
  rest = withoutLeadingBlanks(rest);
  if (!rest.empty() && rest.front() >= '0' && rest.front() <= '9') {
    parseOccurrences(takeWord(rest), rule);
  }
  rule.action = parseAction(rest, moment->place);
  return rule;
}

void parseLine(std::string_view line, Script& script) {
  std::string_view rest = line;
  const std::string name = takeWord(rest);
  const std::string value(rest);
  if (name == "on") {
    script.rules.push_back(parseRule(rest));
  } else if (name == "always") {
    script.rules.push_back({"request", 0, 1, 0, parseAction(rest, Place::kRequest)});
  } else if (name == "type") {
    script.type = value;
  } else if (name == "pipe") {
    script.pipe = value;
  } else if (name == "record") {
    script.record = value;
  } else if (name == "idle-limit") {
    script.idleLimitSeconds = countFrom(value);
  } else if (name == "watch-parent") {
    script.watchedParent = numberFrom(value);
  } else if (name == "verbose") {
    script.verbose = true;
  } else if (name == "lenient-macros") {
    script.lenientMacros = true;
  } else if (name == "serve-never") {
    script.serve = false;
  } else if (name == "launcher-process") {
    script.launcherProcess = true;
  } else if (name == "early-connect") {
    script.earlyConnect = true;
  } else if (name == "server-buffer") {
    script.serverBuffer = countFrom(value);
  } else if (name == "connections") {
    script.connections = countFrom(value);
  } else {
    complain("there is no setting '" + name + "'");
  }
}

bool selects(const Rule& rule, const Moment& moment) {
  if (rule.moment != moment.name || (rule.connection != 0 && rule.connection != moment.connection)) {
    return false;
  }
  const unsigned occurrence = rule.connection != 0 ? moment.onConnection : moment.occurrence;
  return occurrence >= rule.first && (rule.last == 0 || occurrence <= rule.last);
}

}  // namespace

bool Script::hasRulesFor(std::string_view moment) const {
  return std::any_of(rules.begin(), rules.end(), [&](const Rule& rule) { return rule.moment == moment; });
}

std::vector<const Action*> Script::actionsFor(const std::vector<Moment>& moments) const {
  std::vector<const Action*> actions;
  for (const Rule& rule : rules) {
    if (std::any_of(moments.begin(), moments.end(),
                    [&](const Moment& moment) { return selects(rule, moment); })) {
      actions.push_back(&rule.action);
    }
  }
  return actions;
}

Script parseScript(std::string_view text) {
  static constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    text.remove_prefix(kByteOrderMark.size());
  }
  Script script;
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = withoutLeadingBlanks(takeLine(text));
    if (line.empty() || line.front() == '#') {
      continue;
    }
    try {
      parseLine(line, script);
    } catch (const ScriptError& error) {
      throw ScriptError("line " + std::to_string(number) + ": " + error.what());
    }
  }
  return script;
}

}  // namespace kxsim

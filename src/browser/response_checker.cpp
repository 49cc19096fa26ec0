#include "browser/response_checker.h"

#include "browser/string_run.h"
#include "json/whitespace.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kx {

namespace {

using State = ResponseChecker::State;

constexpr std::string_view kWhitespace = " \t\n\r";
constexpr std::string_view kOneToNine = "123456789";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kHexadecimalDigits = "0123456789abcdefABCDEF";

// What a byte does apart from naming the next state. Those that look at the mode stack choose the next state
// themselves.
enum class Action : std::uint8_t {
  Reject,
  OpenObject,
  OpenArray,
  CloseObject,
  CloseEmptyObject,
  CloseArray,
  EndName,
  EndString,
  Separate,
};

// What a byte does in a state, in one number: the next state, or behind all states the action.
constexpr std::uint8_t stepFor(State next) {
  return static_cast<std::uint8_t>(next);
}
constexpr std::uint8_t stepFor(Action action) {
  return static_cast<std::uint8_t>(ResponseChecker::kStateCount + static_cast<int>(action));
}

using StepTable = std::array<std::array<std::uint8_t, 256>, ResponseChecker::kStateCount>;

class TableBuilder {
 public:
  // Every byte that no rule names is rejected.
  consteval TableBuilder() {
    for (auto& row : table_) {
      row.fill(stepFor(Action::Reject));
    }
  }

  // One of the bytes in this state leads to another state, or to an action.
  template <typename To>
  consteval void on(State state, std::string_view bytes, To to) {
    for (const char byte : bytes) {
      step(state, byte) = stepFor(to);
    }
  }

  // Every byte from the space up.
  consteval void onText(State state, State next) {
    for (int byte = ' '; byte < 256; ++byte) {
      step(state, static_cast<char>(byte)) = stepFor(next);
    }
  }

  consteval void skipWhitespace(State state) { on(state, kWhitespace, state); }

  // What may follow a complete value: its container's end, a comma, whitespace.
  consteval void endValue(State state) {
    on(state, kWhitespace, State::Ok);
    on(state, "}", Action::CloseObject);
    on(state, "]", Action::CloseArray);
    on(state, ",", Action::Separate);
  }

  consteval void beginContainer(State state) {
    on(state, "{", Action::OpenObject);
    on(state, "[", Action::OpenArray);
  }

  consteval void beginValue(State state) {
    beginContainer(state);
    on(state, "\"", State::String);
    on(state, "-", State::Minus);
    on(state, "0", State::Zero);
    on(state, kOneToNine, State::Integer);
    on(state, "t", State::T);
    on(state, "f", State::F);
    on(state, "n", State::N);
  }

  consteval const StepTable& table() const { return table_; }

 private:
  consteval std::uint8_t& step(State state, char byte) {
    return table_[static_cast<std::size_t>(state)][static_cast<unsigned char>(byte)];
  }

  StepTable table_{};
};

consteval StepTable makeStepTable() {
  TableBuilder rules;

  rules.skipWhitespace(State::Start);
  rules.beginContainer(State::Start);

  rules.endValue(State::Ok);

  rules.skipWhitespace(State::Object);
  rules.on(State::Object, "}", Action::CloseEmptyObject);
  rules.on(State::Object, "\"", State::String);

  rules.skipWhitespace(State::Key);
  rules.on(State::Key, "\"", State::String);

  rules.skipWhitespace(State::Colon);
  rules.on(State::Colon, ":", Action::EndName);

  rules.skipWhitespace(State::Value);
  rules.beginValue(State::Value);

  rules.skipWhitespace(State::Array);
  rules.beginValue(State::Array);
  rules.on(State::Array, "]", Action::CloseArray);

  rules.onText(State::String, State::String);
  rules.on(State::String, "\"", Action::EndString);
  rules.on(State::String, "\\", State::Escape);

  rules.on(State::Escape, "\"\\/bfnrt", State::String);
  rules.on(State::Escape, "u", State::U1);
  rules.on(State::U1, kHexadecimalDigits, State::U2);
  rules.on(State::U2, kHexadecimalDigits, State::U3);
  rules.on(State::U3, kHexadecimalDigits, State::U4);
  rules.on(State::U4, kHexadecimalDigits, State::String);

  rules.on(State::Minus, "0", State::Zero);
  rules.on(State::Minus, kOneToNine, State::Integer);

  rules.endValue(State::Zero);
  rules.on(State::Zero, ".", State::Fraction);

  rules.endValue(State::Integer);
  rules.on(State::Integer, kDigits, State::Integer);
  rules.on(State::Integer, ".", State::Fraction);
  rules.on(State::Integer, "eE", State::E);

  // No digit is needed behind the point: extensions have always been allowed to send "1." and "1.e5".
  rules.endValue(State::Fraction);
  rules.on(State::Fraction, kDigits, State::Fraction);
  rules.on(State::Fraction, "eE", State::E);

  rules.on(State::E, "+-", State::Ex);
  rules.on(State::E, kDigits, State::Exp);
  rules.on(State::Ex, kDigits, State::Exp);
  rules.endValue(State::Exp);
  rules.on(State::Exp, kDigits, State::Exp);

  rules.on(State::T, "r", State::Tr);
  rules.on(State::Tr, "u", State::Tru);
  rules.on(State::Tru, "e", State::Ok);
  rules.on(State::F, "a", State::Fa);
  rules.on(State::Fa, "l", State::Fal);
  rules.on(State::Fal, "s", State::Fals);
  rules.on(State::Fals, "e", State::Ok);
  rules.on(State::N, "u", State::Nu);
  rules.on(State::Nu, "l", State::Nul);
  rules.on(State::Nul, "l", State::Ok);

  return rules.table();
}

constexpr StepTable kSteps = makeStepTable();

constexpr std::uint8_t stepOf(State state, char byte) {
  return kSteps[static_cast<std::size_t>(state)][static_cast<unsigned char>(byte)];
}

constexpr bool isMove(std::uint8_t step) {
  return step < ResponseChecker::kStateCount;
}

constexpr bool isRejected(State state, char byte) {
  return stepOf(state, byte) == stepFor(Action::Reject);
}

static_assert(isRejected(State::String, '\t'), "a tab inside a string is rejected");
static_assert(isRejected(State::String, 0x07), "a control character is rejected");
static_assert(stepOf(State::String, '\xE9') == stepFor(State::String),
              "a byte above 127 may stand in a string");
static_assert(isRejected(State::Zero, 'e'), "a zero takes no exponent directly");
static_assert(isRejected(State::Start, '"'), "a text is no response");

}  // namespace

ResponseChecker::ResponseChecker(int depthLimit) : depthLimit_(std::min(depthLimit, kDepthLimit)) {
  modes_[0] = Mode::Done;
}

bool ResponseChecker::feed(unsigned char byte) {
  const std::uint8_t step = stepOf(state_, static_cast<char>(byte));
  if (isMove(step)) {
    state_ = static_cast<State>(step);
    return true;
  }
  return act(step);
}

std::size_t ResponseChecker::feedUntilComplete(std::string_view bytes) {
  const char* const first = bytes.data();
  const char* const last = first + bytes.size();
  if (isComplete()) {
    return !bytes.empty() && feed(static_cast<unsigned char>(*first)) ? 1 : 0;
  }
  const char* next = first;
  while (next != last) {
    if (state_ == State::String) {
      next = skipStrings(next, last);
    }
    if (next == last || !feed(static_cast<unsigned char>(*next))) {
      break;
    }
    ++next;
    if (isComplete()) {
      break;
    }
  }
  return static_cast<std::size_t>(next - first);
}

// Most strings are followed by a colon or a comma, perhaps with whitespace around it, and many by another
// string then.
const char* ResponseChecker::skipStrings(const char* next, const char* last) {
  for (;;) {
    next = endOfStringRun(next, last);
    if (next == last || *next != '"') {
      return next;
    }
    const char* const separator = json::endOfWhitespace(next + 1, last);
    if (separator == last) {
      return next;
    }
    const char* const behind = json::endOfWhitespace(separator + 1, last);
    if (behind == last) {
      return next;
    }
    Mode& mode = topMode();
    if (mode == Mode::Key && *separator == ':') {
      mode = Mode::Object;
    } else if (mode == Mode::Object && *separator == ',' && *behind == '"') {
      mode = Mode::Key;
    } else if (mode != Mode::Array || *separator != ',') {
      return next;
    }
    if (*behind != '"') {
      state_ = State::Value;
      return behind;
    }
    next = behind + 1;
  }
}

bool ResponseChecker::isComplete() const {
  return state_ == State::Ok && top_ == 0;
}

inline bool ResponseChecker::act(std::uint8_t step) {
  switch (step) {
    case stepFor(Action::OpenObject):
      return open(Mode::Key, State::Object);
    case stepFor(Action::OpenArray):
      return open(Mode::Array, State::Array);
    case stepFor(Action::CloseObject):
      return close(Mode::Object);
    case stepFor(Action::CloseEmptyObject):
      return close(Mode::Key);
    case stepFor(Action::CloseArray):
      return close(Mode::Array);
    case stepFor(Action::EndName):
      return replaceTop(Mode::Key, Mode::Object, State::Value);
    case stepFor(Action::EndString):
      return endString();
    case stepFor(Action::Separate):
      return separate();
    default:
      return false;
  }
}

inline bool ResponseChecker::open(Mode mode, State next) {
  if (top_ + 1 >= depthLimit_) {
    return false;
  }
  ++top_;
  topMode() = mode;
  state_ = next;
  return true;
}

inline bool ResponseChecker::close(Mode mode) {
  if (topMode() != mode) {
    return false;
  }
  --top_;
  state_ = State::Ok;
  return true;
}

inline bool ResponseChecker::replaceTop(Mode mode, Mode by, State next) {
  if (topMode() != mode) {
    return false;
  }
  topMode() = by;
  state_ = next;
  return true;
}

inline bool ResponseChecker::endString() {
  if (topMode() == Mode::Done) {
    return false;
  }
  state_ = topMode() == Mode::Key ? State::Colon : State::Ok;
  return true;
}

inline bool ResponseChecker::separate() {
  if (topMode() == Mode::Array) {
    state_ = State::Value;
    return true;
  }
  return replaceTop(Mode::Object, Mode::Key, State::Key);
}

}  // namespace kx

#include "browser/response_checker.h"

#include "browser/string_run.h"
#include "json/numbers.h"
#include "json/whitespace.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>

namespace {

using State = ResponseChecker::State;

enum class CharClass : std::uint8_t {
  Space,
  White,
  OpenBrace,
  CloseBrace,
  OpenBracket,
  CloseBracket,
  Colon,
  Comma,
  Quote,
  Backslash,
  Slash,
  Plus,
  Minus,
  Point,
  Zero,
  Digit,
  LowerA,
  LowerB,
  LowerC,
  LowerD,
  LowerE,
  LowerF,
  LowerL,
  LowerN,
  LowerR,
  LowerS,
  LowerT,
  LowerU,
  UpperAToD,
  UpperE,
  Other,
  None,  // control characters, which are rejected wherever they stand
};
constexpr int kCharClassCount = static_cast<int>(CharClass::None);

// What a byte does apart from naming the next state. Those that look at the mode stack choose the next state
// themselves.
enum class Action : std::uint8_t {
  Reject,
  Move,
  OpenObject,
  OpenArray,
  CloseObject,
  CloseEmptyObject,
  CloseArray,
  EndName,
  EndString,
  Separate,
};

struct Transition {
  Action action = Action::Reject;
  State next = State::Start;
};

using ClassTable = std::array<CharClass, 256>;
using TransitionTable = std::array<std::array<Transition, kCharClassCount>, ResponseChecker::kStateCount>;

consteval ClassTable makeClassTable() {
  ClassTable table{};
  for (std::size_t byte = 0; byte < table.size(); ++byte) {
    table[byte] = byte < 32 ? CharClass::None : CharClass::Other;
  }
  const auto put = [&table](std::string_view bytes, CharClass charClass) {
    for (const char c : bytes) {
      table[static_cast<unsigned char>(c)] = charClass;
    }
  };
  put(" ", CharClass::Space);
  put("\t\n\r", CharClass::White);
  put("{", CharClass::OpenBrace);
  put("}", CharClass::CloseBrace);
  put("[", CharClass::OpenBracket);
  put("]", CharClass::CloseBracket);
  put(":", CharClass::Colon);
  put(",", CharClass::Comma);
  put("\"", CharClass::Quote);
  put("\\", CharClass::Backslash);
  put("/", CharClass::Slash);
  put("+", CharClass::Plus);
  put("-", CharClass::Minus);
  put(".", CharClass::Point);
  put("0", CharClass::Zero);
  put("123456789", CharClass::Digit);
  put("a", CharClass::LowerA);
  put("b", CharClass::LowerB);
  put("c", CharClass::LowerC);
  put("d", CharClass::LowerD);
  put("e", CharClass::LowerE);
  put("f", CharClass::LowerF);
  put("l", CharClass::LowerL);
  put("n", CharClass::LowerN);
  put("r", CharClass::LowerR);
  put("s", CharClass::LowerS);
  put("t", CharClass::LowerT);
  put("u", CharClass::LowerU);
  put("ABCDF", CharClass::UpperAToD);
  put("E", CharClass::UpperE);
  return table;
}

class TableBuilder {
 public:
  // Every pair that no rule names stays rejected.
  consteval void on(State state, std::initializer_list<CharClass> classes, Action action,
                    State next = State::Start) {
    for (const CharClass charClass : classes) {
      table_[static_cast<std::size_t>(state)][static_cast<std::size_t>(charClass)] = {action, next};
    }
  }

  consteval void move(State state, std::initializer_list<CharClass> classes, State next) {
    on(state, classes, Action::Move, next);
  }

  consteval void skipWhitespace(State state) { move(state, {CharClass::Space, CharClass::White}, state); }

  // What may follow a complete value: its container's end, a comma, whitespace.
  consteval void endValue(State state) {
    move(state, {CharClass::Space, CharClass::White}, State::Ok);
    on(state, {CharClass::CloseBrace}, Action::CloseObject);
    on(state, {CharClass::CloseBracket}, Action::CloseArray);
    on(state, {CharClass::Comma}, Action::Separate);
  }

  consteval void beginContainer(State state) {
    on(state, {CharClass::OpenBrace}, Action::OpenObject);
    on(state, {CharClass::OpenBracket}, Action::OpenArray);
  }

  consteval void beginValue(State state) {
    beginContainer(state);
    move(state, {CharClass::Quote}, State::String);
    move(state, {CharClass::Minus}, State::Minus);
    move(state, {CharClass::Zero}, State::Zero);
    move(state, {CharClass::Digit}, State::Integer);
    move(state, {CharClass::LowerT}, State::T);
    move(state, {CharClass::LowerF}, State::F);
    move(state, {CharClass::LowerN}, State::N);
  }

  consteval const TransitionTable& table() const { return table_; }

 private:
  TransitionTable table_{};
};

consteval TransitionTable makeTransitionTable() {
  using C = CharClass;
  TableBuilder rules;

  rules.skipWhitespace(State::Start);
  rules.beginContainer(State::Start);

  rules.endValue(State::Ok);

  rules.skipWhitespace(State::Object);
  rules.on(State::Object, {C::CloseBrace}, Action::CloseEmptyObject);
  rules.move(State::Object, {C::Quote}, State::String);

  rules.skipWhitespace(State::Key);
  rules.move(State::Key, {C::Quote}, State::String);

  rules.skipWhitespace(State::Colon);
  rules.on(State::Colon, {C::Colon}, Action::EndName);

  rules.skipWhitespace(State::Value);
  rules.beginValue(State::Value);

  rules.skipWhitespace(State::Array);
  rules.beginValue(State::Array);
  rules.on(State::Array, {C::CloseBracket}, Action::CloseArray);

  for (int charClass = 0; charClass < kCharClassCount; ++charClass) {
    rules.move(State::String, {static_cast<C>(charClass)}, State::String);
  }
  rules.on(State::String, {C::White}, Action::Reject);
  rules.on(State::String, {C::Quote}, Action::EndString);
  rules.move(State::String, {C::Backslash}, State::Escape);

  rules.move(State::Escape,
             {C::Quote, C::Backslash, C::Slash, C::LowerB, C::LowerF, C::LowerN, C::LowerR, C::LowerT},
             State::String);
  rules.move(State::Escape, {C::LowerU}, State::U1);

  constexpr std::array<State, 5> kHexStates = {State::U1, State::U2, State::U3, State::U4, State::String};
  for (std::size_t i = 0; i + 1 < kHexStates.size(); ++i) {
    rules.move(kHexStates[i],
               {C::Zero, C::Digit, C::LowerA, C::LowerB, C::LowerC, C::LowerD, C::LowerE, C::LowerF,
                C::UpperAToD, C::UpperE},
               kHexStates[i + 1]);
  }

  rules.move(State::Minus, {C::Zero}, State::Zero);
  rules.move(State::Minus, {C::Digit}, State::Integer);

  rules.endValue(State::Zero);
  rules.move(State::Zero, {C::Point}, State::Fraction);

  rules.endValue(State::Integer);
  rules.move(State::Integer, {C::Zero, C::Digit}, State::Integer);
  rules.move(State::Integer, {C::Point}, State::Fraction);
  rules.move(State::Integer, {C::LowerE, C::UpperE}, State::E);

  // No digit is needed behind the point: extensions have always been allowed to send "1." and "1.e5".
  rules.endValue(State::Fraction);
  rules.move(State::Fraction, {C::Zero, C::Digit}, State::Fraction);
  rules.move(State::Fraction, {C::LowerE, C::UpperE}, State::E);

  rules.move(State::E, {C::Plus, C::Minus}, State::Ex);
  rules.move(State::E, {C::Zero, C::Digit}, State::Exp);
  rules.move(State::Ex, {C::Zero, C::Digit}, State::Exp);
  rules.endValue(State::Exp);
  rules.move(State::Exp, {C::Zero, C::Digit}, State::Exp);

  rules.move(State::T, {C::LowerR}, State::Tr);
  rules.move(State::Tr, {C::LowerU}, State::Tru);
  rules.move(State::Tru, {C::LowerE}, State::Ok);
  rules.move(State::F, {C::LowerA}, State::Fa);
  rules.move(State::Fa, {C::LowerL}, State::Fal);
  rules.move(State::Fal, {C::LowerS}, State::Fals);
  rules.move(State::Fals, {C::LowerE}, State::Ok);
  rules.move(State::N, {C::LowerU}, State::Nu);
  rules.move(State::Nu, {C::LowerL}, State::Nul);
  rules.move(State::Nul, {C::LowerL}, State::Ok);

  return rules.table();
}

constexpr ClassTable kClasses = makeClassTable();
constexpr TransitionTable kTransitions = makeTransitionTable();

constexpr Transition transitionOf(State state, unsigned char byte) {
  const CharClass charClass = kClasses[byte];
  if (charClass == CharClass::None) {
    return {};
  }
  return kTransitions[static_cast<std::size_t>(state)][static_cast<std::size_t>(charClass)];
}

static_assert(transitionOf(State::String, '\t').action == Action::Reject,
              "a tab inside a string is rejected");
static_assert(transitionOf(State::String, 0x07).action == Action::Reject, "a control character is rejected");
static_assert(transitionOf(State::String, 0xE9).next == State::String,
              "a byte above 127 may stand in a string");
static_assert(transitionOf(State::Zero, 'e').action == Action::Reject, "a zero takes no exponent directly");
static_assert(transitionOf(State::Start, '"').action == Action::Reject, "a text is no response");

// What every byte does in every state, in one number each: the next state, or behind all states the action.
using StepTable = std::array<std::array<std::uint8_t, 256>, ResponseChecker::kStateCount>;

constexpr std::uint8_t stepFor(Action action) {
  return static_cast<std::uint8_t>(ResponseChecker::kStateCount + static_cast<int>(action));
}

consteval StepTable makeStepTable() {
  StepTable table{};
  for (std::size_t state = 0; state < table.size(); ++state) {
    for (std::size_t byte = 0; byte < table[state].size(); ++byte) {
      const Transition transition = transitionOf(static_cast<State>(state), static_cast<unsigned char>(byte));
      table[state][byte] = transition.action == Action::Move ? static_cast<std::uint8_t>(transition.next)
                                                             : stepFor(transition.action);
    }
  }
  return table;
}

constexpr StepTable kSteps = makeStepTable();

constexpr std::uint8_t stepOf(State state, char byte) {
  return kSteps[static_cast<std::size_t>(state)][static_cast<unsigned char>(byte)];
}

constexpr bool isMove(std::uint8_t step) {
  return step < ResponseChecker::kStateCount;
}

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
    next = skipMoves(next, last);
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
    if (state_ == State::Value && topMode() == Mode::Array) {
      next = skipNumbers(next, last);
    }
  }
  return static_cast<std::size_t>(next - first);
}

// Bytes that lead from state to state and do nothing else, up to the beginning of a string.
const char* ResponseChecker::skipMoves(const char* next, const char* last) {
  State state = state_;
  while (state != State::String && next != last) {
    const std::uint8_t step = stepOf(state, *next);
    if (!isMove(step)) {
      break;
    }
    ++next;
    if (step == static_cast<std::uint8_t>(state)) {
      // Whitespace, mostly.
      while (next != last && stepOf(state, *next) == step) {
        ++next;
      }
    }
    state = static_cast<State>(step);
  }
  state_ = state;
  return next;
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

// Numbers of a list, each with the comma behind it: the state and the mode are the same behind the comma as
// before the number.
const char* ResponseChecker::skipNumbers(const char* next, const char* last) {
  for (;;) {
    const std::string_view rest(next, static_cast<std::size_t>(last - next));
    const std::size_t length = json::numberLength(rest);
    if (length == 0 || length == rest.size() || rest[length] != ',' ||
        json::isCutShort(rest.substr(0, length))) {
      return next;
    }
    next += length + 1;
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

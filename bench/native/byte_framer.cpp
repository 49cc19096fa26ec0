#include "byte_framer.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

// States; what stands behind kStates is an action, which looks at what is open.
enum : std::uint8_t {
  kStart,
  kOk,
  kObject,
  kKey,
  kColon,
  kValue,
  kArray,
  kString,
  kEscape,
  kU1,
  kU2,
  kU3,
  kU4,
  kMinus,
  kZero,
  kInteger,
  kFraction,
  kE,
  kEx,
  kExp,
  kT,
  kTr,
  kTru,
  kF,
  kFa,
  kFal,
  kFals,
  kN,
  kNu,
  kNul,
  kStates,
  kOpenObject,
  kOpenArray,
  kCloseObject,
  kCloseEmptyObject,
  kCloseArray,
  kEndName,
  kEndString,
  kSeparate,
  kReject,
};

constexpr std::size_t kDeepest = 19;

struct Step {
  const char* bytes;
  std::uint8_t from;
  std::uint8_t to;
};

constexpr char kHex[] = "0123456789abcdefABCDEF";
constexpr Step kHexDigits[] = {{kHex, kU1, kU2}, {kHex, kU2, kU3}, {kHex, kU3, kU4}, {kHex, kU4, kString}};
constexpr Step kLiterals[] = {{"r", kT, kTr},   {"u", kTr, kTru},   {"e", kTru, kOk},  {"a", kF, kFa},
                              {"l", kFa, kFal}, {"s", kFal, kFals}, {"e", kFals, kOk}, {"u", kN, kNu},
                              {"l", kNu, kNul}, {"l", kNul, kOk}};

using Table = std::array<std::array<std::uint8_t, 256>, kStates>;

void set(Table& table, std::uint8_t state, std::string_view bytes, std::uint8_t next) {
  for (const char c : bytes) {
    table[state][static_cast<unsigned char>(c)] = next;
  }
}

Table makeTable() {
  constexpr std::string_view kBlanks = " \t\r\n";
  constexpr std::string_view kDigits = "0123456789";
  Table table;
  for (auto& row : table) {
    row.fill(kReject);
  }
  for (const std::uint8_t state : {kStart, kOk, kObject, kKey, kColon, kValue, kArray}) {
    set(table, state, kBlanks, state);
  }
  for (const std::uint8_t state : {kStart, kValue, kArray}) {
    set(table, state, "{", kOpenObject);
    set(table, state, "[", kOpenArray);
  }
  for (const std::uint8_t state : {kValue, kArray}) {
    set(table, state, "\"", kString);
    set(table, state, "-", kMinus);
    set(table, state, "123456789", kInteger);
    set(table, state, "0", kZero);
    set(table, state, "t", kT);
    set(table, state, "f", kF);
    set(table, state, "n", kN);
  }
  set(table, kArray, "]", kCloseArray);
  for (const std::uint8_t state : {kOk, kZero, kInteger, kFraction, kExp}) {
    set(table, state, kBlanks, kOk);
    set(table, state, "}", kCloseObject);
    set(table, state, "]", kCloseArray);
    set(table, state, ",", kSeparate);
  }
  set(table, kObject, "}", kCloseEmptyObject);
  set(table, kObject, "\"", kString);
  set(table, kKey, "\"", kString);
  set(table, kColon, ":", kEndName);
  for (int byte = 32; byte < 256; ++byte) {
    table[kString][static_cast<std::size_t>(byte)] = kString;
  }
  set(table, kString, "\"", kEndString);
  set(table, kString, "\\", kEscape);
  set(table, kEscape, "\"\\/bfnrt", kString);
  set(table, kEscape, "u", kU1);
  for (const Step& step : kHexDigits) {
    set(table, step.from, step.bytes, step.to);
  }
  set(table, kMinus, "123456789", kInteger);
  set(table, kMinus, "0", kZero);
  set(table, kZero, ".", kFraction);
  set(table, kInteger, kDigits, kInteger);
  set(table, kInteger, ".", kFraction);
  set(table, kInteger, "eE", kE);
  set(table, kFraction, kDigits, kFraction);
  set(table, kFraction, "eE", kE);
  set(table, kE, "+-", kEx);
  for (const std::uint8_t state : {kE, kEx, kExp}) {
    set(table, state, kDigits, kExp);
  }
  for (const Step& step : kLiterals) {
    set(table, step.from, step.bytes, step.to);
  }
  return table;
}

// The bytes in classes, those that behave alike in one, and what each class does in each state.
struct ClassTable {
  std::array<std::uint8_t, 256> classes{};
  std::array<std::array<std::uint8_t, 64>, kStates> next{};
};

ClassTable makeClassTable() {
  const Table table = makeTable();
  ClassTable result;
  std::vector<std::size_t> firstBytes;  // of each class
  for (std::size_t byte = 0; byte < 256; ++byte) {
    const auto isAlike = [&](std::size_t other) {
      return std::all_of(table.begin(), table.end(),
                         [&](const auto& row) { return row[byte] == row[other]; });
    };
    const auto known = std::find_if(firstBytes.begin(), firstBytes.end(), isAlike);
    const auto found = static_cast<std::size_t>(known - firstBytes.begin());
    if (known == firstBytes.end()) {
      firstBytes.push_back(byte);
      for (std::size_t state = 0; state < kStates; ++state) {
        result.next[state][found] = table[state][byte];
      }
    }
    result.classes[byte] = static_cast<std::uint8_t>(found);
  }
  return result;
}

const ClassTable kTable = makeClassTable();

}  // namespace

ByteFramer::ByteFramer() {
  open_.reserve(kDeepest);
}

bool ByteFramer::take(std::string_view bytes) {
  for (const char byte : bytes) {
    if (!feed(static_cast<unsigned char>(byte))) {
      return false;
    }
    received_.push_back(byte);
    if (isComplete()) {
      break;
    }
  }
  return true;
}

bool ByteFramer::feed(unsigned char byte) {
  const std::uint8_t next = kTable.next[state_][kTable.classes[byte]];
  state_ = next < kStates ? next : act(next);
  return state_ != kReject;
}

void ByteFramer::restart() {
  state_ = kStart;
  open_.clear();
  received_.clear();
}

std::uint8_t ByteFramer::act(std::uint8_t action) {
  const char innermost = open_.empty() ? '\0' : open_.back();
  const auto closes = [&](char opened) -> std::uint8_t {
    if (innermost != opened) {
      return kReject;
    }
    open_.pop_back();
    return kOk;
  };
  const auto opens = [&](char opened, std::uint8_t state) -> std::uint8_t {
    if (open_.size() == kDeepest) {
      return kReject;
    }
    open_.push_back(opened);
    return state;
  };
  const auto turns = [&](char from, char to, std::uint8_t state) -> std::uint8_t {
    if (innermost != from) {
      return kReject;
    }
    open_.back() = to;
    return state;
  };
  switch (action) {
    case kOpenObject:
      return opens('{', kObject);
    case kOpenArray:
      return opens('[', kArray);
    case kCloseObject:
      return closes(':');
    case kCloseEmptyObject:
      return closes('{');
    case kCloseArray:
      return closes('[');
    case kEndName:
      return turns('{', ':', kValue);
    case kEndString:
      return innermost == '{' ? turns('{', '{', kColon) : turns(innermost, innermost, kOk);
    case kSeparate:
      return innermost == '[' ? turns('[', '[', kValue) : turns(':', '{', kKey);
    default:
      return kReject;
  }
}

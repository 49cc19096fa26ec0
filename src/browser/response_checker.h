// Finds the end of a JSON response in a stream of bytes without parsing it: a table-driven syntax checker
// that is fed one byte at a time and needs constant time and memory for each. It is stricter than the reader
// about what stands where, and looser about numbers (a point need not be followed by a digit). Owned by a
// browser instance, used by one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

class ResponseChecker {
 public:
  enum class State : std::uint8_t {
    Start,
    Ok,
    Object,
    Key,
    Colon,
    Value,
    Array,
    String,
    Escape,
    U1,
    U2,
    U3,
    U4,
    Minus,
    Zero,
    Integer,
    Fraction,
    E,
    Ex,
    Exp,
    T,
    Tr,
    Tru,
    F,
    Fa,
    Fal,
    Fals,
    N,
    Nu,
    Nul,
  };
  static constexpr int kStateCount = static_cast<int>(State::Nul) + 1;

  // The depth limit counts the bottom entry of the mode stack, so one object or array fewer can be open at
  // once.
  static constexpr int kDepthLimit = 20;

  explicit ResponseChecker(int depthLimit = kDepthLimit);

  // False when the byte cannot stand here. A checker that rejected a byte is spent: make a new one.
  bool feed(unsigned char byte);

  // Feeds bytes up to the one that completes the text, and gives their number. A smaller number without
  // completion means that the byte behind them was rejected.
  std::size_t feedUntilComplete(std::string_view bytes);

  // Whether the top-level object or array has just closed.
  bool isComplete() const;

  State state() const { return state_; }

 private:
  enum class Mode : std::uint8_t { Array, Done, Key, Object };

  bool push(Mode mode);
  bool pop(Mode mode);
  bool endString();
  bool separate();

  State state_ = State::Start;
  int top_ = 0;
  std::vector<Mode> modes_;
};

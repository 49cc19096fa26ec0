// Finds the end of a JSON response in a stream of bytes without parsing it: a table-driven syntax checker
// with constant time and memory for each byte, which skips the inside of strings many bytes at a time. It is
// looser than JSON about numbers, as the parser is: a point need not be followed by a digit (but no exponent
// may stand directly behind a zero). It refuses control characters in strings and deep nesting, which the
// parser takes; the parser refuses a list as the outermost value and a name given twice, which the checker
// lets through. Owned by a browser instance, used by one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kx {

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

  // A limit above kDepthLimit counts as that.
  explicit ResponseChecker(int depthLimit = kDepthLimit);

  // False when the byte cannot stand here. A checker that rejected a byte cannot be used again.
  bool feed(unsigned char byte);

  // Feeds bytes up to the one that completes the text, and gives their number. A smaller number without
  // completion means that the byte behind them was rejected.
  std::size_t feedUntilComplete(std::string_view bytes);

  // Whether the top-level object or array has just closed.
  bool isComplete() const;

  State state() const { return state_; }

 private:
  enum class Mode : std::uint8_t { Array, Done, Key, Object };

  Mode& topMode() { return modes_[static_cast<std::size_t>(top_)]; }
  bool open(Mode mode, State next);
  bool close(Mode mode);
  bool replaceTop(Mode mode, Mode by, State next);
  bool endString();
  bool separate();
  const char* skipStrings(const char* next, const char* last);
  // Handles a byte that does more than name the next state.
  bool act(std::uint8_t step);

  State state_ = State::Start;
  int depthLimit_;
  // The top of the stack of modes; its bottom is always Done.
  int top_ = 0;
  std::array<Mode, kDepthLimit> modes_{};
};

}  // namespace kx

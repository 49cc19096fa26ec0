// The plain way of finding the end of a response: for every byte one look into a table and one push_back.
// What the library's framing is measured against; it accepts the same texts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class ByteFramer {
 public:
  ByteFramer();

  // False when a byte cannot stand where it does.
  bool take(std::string_view bytes);
  bool isComplete() const { return state_ == kOk && open_.empty(); }
  const std::string& received() const { return received_; }
  // Keeps the memory.
  void restart();

 private:
  static constexpr std::uint8_t kOk = 1;

  bool feed(unsigned char byte);
  // What an action makes of the state; kReject when it may not be taken.
  std::uint8_t act(std::uint8_t action);

  std::uint8_t state_ = 0;
  std::vector<char> open_;  // '{' before the name of a member, ':' behind it, '[' in an array
  std::string received_;
};

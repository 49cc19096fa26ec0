// What `kx explain` asks of the machine. Every question leaves things as they are. main() fills it with calls
// of Windows; tests fill it with answers.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kx::cli {

enum class PipeState { NotServed, Served, Busy };
enum class LockState { Free, Held, Refused };

struct Machine {
  // The bytes of a file; nothing when it cannot be opened.
  std::function<std::optional<std::string>(const std::string& path)> fileText;
  std::function<PipeState(const std::string& pipe)> pipe;
  std::function<LockState(const std::string& mutex)> lock;
  // As the library finds out.
  std::function<bool(const std::string& browser, const std::string& profile)> profileIsLocked;
  // Windows' error number; 0 when the program is there.
  std::function<std::uint32_t(const std::string& path)> findProgram;
  // Windows' error number; 0 when the file could be written, or made.
  std::function<std::uint32_t(const std::string& path)> writing;
  std::function<std::string(const std::string& browser)> defaultProgram;
  bool isElevated = false;
  // The log as the environment asks for it.
  bool isLogOn = false;
  std::string logPath;
};

}  // namespace kx::cli

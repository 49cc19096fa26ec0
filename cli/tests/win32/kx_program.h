// kx.exe as a user runs it: with arguments and standard input, in a console of its own that shows nothing.
#pragma once

#include <windows.h>
#include <string>
#include <vector>

struct KxOutcome {
  DWORD exitCode = 0;
  std::string out;
  std::string err;
};

class KxProgram {
 public:
  // Where its standard output goes: a file, or a handle that nothing can be written to.
  enum class Output { Written, Refused };

  explicit KxProgram(const std::vector<std::string>& arguments, const std::string& input = "",
                     const std::string& program = ownCopy(), Output output = Output::Written);
  KxProgram(const KxProgram&) = delete;
  KxProgram& operator=(const KxProgram&) = delete;
  ~KxProgram();

  // Waits for the end.
  KxOutcome outcome();
  // What Ctrl-Break does; the program takes it for Ctrl-C, which cannot be sent to one program alone.
  void interrupt() const;

  static std::string ownCopy();

 private:
  std::string path(const std::string& stream) const;

  std::string base_;
  PROCESS_INFORMATION process_{};
};

inline KxOutcome kx(const std::vector<std::string>& arguments, const std::string& input = "") {
  return KxProgram(arguments, input).outcome();
}

// Standard output, error and input as UTF-8, whatever the console's code page is, and the keys that
// interrupt.
#pragma once

#include "cli/palette.h"
#include "cli/player.h"

#include <windows.h>
#include <cstddef>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace kx::cli {

// What is written goes out at each flush: to a console as UTF-16, to a pipe or a file as it is.
class OutputBuffer final : public std::stringbuf {
 public:
  explicit OutputBuffer(DWORD standardHandle);
  OutputBuffer(const OutputBuffer&) = delete;
  OutputBuffer& operator=(const OutputBuffer&) = delete;
  ~OutputBuffer() override;

  // A console that understands colours and the moves of its cursor.
  bool isTerminal() const { return isTerminal_; }
  Palette palette() const;
  std::size_t columns() const;
  // Something could not be written: a disk is full, or the reader of a pipe has gone.
  bool hasFailed() const { return hasFailed_; }
  // Writes what is left, and sets the console as it was found.
  void close();

 protected:
  int sync() override;

 private:
  void write(const std::string& text);

  HANDLE handle_;
  DWORD mode_ = 0;
  bool isConsole_;
  bool isTerminal_ = false;
  bool hasFailed_ = false;
};

bool isInputTerminal();
std::string standardInput();

// The words of the command line, the program's name left out.
std::vector<std::string> commandLineWords();

// The first Ctrl-C sets the flag; the second one ends what was started here.
const Interruption& watchForInterruption();

// The second one was pressed three seconds ago.
bool isGivenUp();

}  // namespace kx::cli

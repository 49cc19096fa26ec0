// What a verb has around it: where it prints, how that looks, the library, and whether Ctrl-C was pressed.
// main() fills it for the program; tests fill it for themselves.
#pragma once

#include "cli/library.h"
#include "cli/palette.h"
#include "cli/player.h"

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace kx::cli {

// Which program of which version runs where.
struct Whereabouts {
  std::vector<std::string> commandLine;
  std::string folder;
  std::string programVersion;
  std::string libraryVersion;
  std::string libraryPath;
  std::string system;
  unsigned processors = 0;
};

// The log that a report takes its entries from.
struct ReportLog {
  std::string path;
  // The environment asks for no log: this one is there for the report alone.
  bool isOwn = false;
  // Nothing but errors goes into it.
  bool hasOnlyErrors = false;
};

struct Surroundings {
  std::ostream& out;
  std::ostream& err;
  Palette outPalette;
  Palette errPalette;
  // Lines on the error stream can be drawn over.
  bool isErrTerminal = false;
  std::size_t errColumns = 100;
  // Somebody types, rather than a pipe or a file.
  bool isInTerminal = false;
  const Interruption& interruption;

  // All that standard input has.
  std::function<std::string()> standardInput;
  // Loads the library at the first call. Throws a Problem when it cannot.
  std::function<Library&()> library;
  // A file's path from the root of its drive.
  std::function<std::string(const std::string&)> wholePath;
  std::function<bool(const std::string&)> fileExists;
  std::function<void(const std::string&)> removeFile;
  std::function<Whereabouts()> whereabouts;
  // Switches a log of its own on when the environment asks for none.
  std::function<ReportLog()> logForReport;
  // Ctrl-C was pressed again, and the calls have had their time to return.
  std::function<bool()> isGivenUp = {};
  // Ends the program after this last work, with the code that it gives, whatever other threads do. Does not
  // come back, but in tests.
  std::function<void(const std::function<int()>&)> endNow = {};
};

// Something that the user has to put right, as a whole sentence. The program ends with the code.
struct Problem {
  int exitCode = 0;
  std::string sentence;
};

// The bytes of a file, by its UTF-8 path. Throws a Problem when it cannot be read.
std::string fileBytes(const std::string& path);

}  // namespace kx::cli

// What the command line asks for. Reading it changes nothing and looks at nothing but the words.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kx::cli {

enum class Verb { Play, Explain, Log, Sim, SelfTest, Completion };

// Which browser is started or attached to, and how.
struct BrowserChoice {
  std::string type = "fx";
  // Firefox's profile name or Chrome's data folder. {n} in it stands for the context's number.
  std::optional<std::string> profile;
  std::optional<std::string> program;
  int timeoutSeconds = 60;
  bool attach = false;
  bool runner = false;
  bool profiler = false;
  bool newWindow = false;
};

enum class OutputForm { AsTable, AsCsv, AsJson };

using Variable = std::pair<std::string, std::string>;

struct PlayArguments {
  BrowserChoice browser;
  std::vector<std::string> files;
  std::vector<std::string> macros;
  std::vector<Variable> variables;
  std::string rowsFile;
  int repeat = 1;
  int parallel = 1;
  int retries = 0;
  std::string message;
  std::string screenshot;
  bool screenshotOfPage = false;
  bool overwrite = false;
  bool stay = false;
  bool quiet = false;
  // A page that tells of all runs. Redacted, it leaves out what the runs were given and what they brought.
  std::string report;
  bool isReportRedacted = false;
  OutputForm form = OutputForm::AsTable;
};

struct ExplainArguments {
  BrowserChoice browser;
  bool json = false;
};

struct LogArguments {
  std::string file;
  bool follow = false;
  bool redact = false;
  bool json = false;
};

struct SimArguments {
  // Type, profile and family alone; they decide at which pipe hosts look.
  BrowserChoice browser;
  std::vector<std::string> misbehaviours;
  std::string scriptFile;
  std::string recordFolder;
  bool list = false;
  bool printScript = false;
  bool again = false;
};

struct SelfTestArguments {
  std::vector<std::string> only;
  // Where the report goes; empty for a new name in the current folder.
  std::string reportFile;
  bool list = false;
  bool json = false;
};

struct Arguments {
  Verb verb = Verb::Play;
  PlayArguments play;
  ExplainArguments explain;
  LogArguments log;
  SimArguments sim;
  SelfTestArguments selfTest;
};

// What came of the words: something to do; a text that was asked for (help, or the version); or the sentence
// that says what is wrong with them.
struct ParsedArguments {
  enum class Kind { Run, Help, Version, Refused };

  Kind kind = Kind::Run;
  Arguments arguments;
  std::string text;
};

// The words behind the program's name, in UTF-8.
ParsedArguments parseArguments(const std::vector<std::string>& words);

// A script that lets PowerShell complete verbs and options.
std::string powerShellCompletion();

// The options string that the library takes, for the profile of one context.
std::string libraryOptions(const BrowserChoice& browser, const std::optional<std::string>& profile);

// The profile with the context's number in it.
std::optional<std::string> profileOf(const BrowserChoice& browser, int contextNumber);

}  // namespace kx::cli

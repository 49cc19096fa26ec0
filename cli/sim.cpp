#include "cli/sim.h"

#include "cli/runs.h"
#include "cli/start_facts.h"
#include "cli/text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace kx::cli {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBadScript = 64;
constexpr int kCannotServe = 70;

std::string_view takeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  return line;
}

std::string_view takeWord(std::string_view& text) {
  const std::size_t end = std::min(text.find(' '), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return word;
}

// A request as the simulator shows it, on one line, with one blank in place of each line end and what the
// next line is indented by.
std::string withoutLayout(std::string_view bytes) {
  constexpr std::string_view kLineEnd = "\\n";
  std::string text;
  while (!bytes.empty()) {
    if (!bytes.starts_with(kLineEnd)) {
      text += bytes.front();
      bytes.remove_prefix(1);
      continue;
    }
    bytes.remove_prefix(kLineEnd.size());
    bytes.remove_prefix(std::min(bytes.find_first_not_of(' '), bytes.size()));
    text += ' ';
  }
  return text;
}

// Prints the simulator's lines as they come.
class EventPrinter {
 public:
  explicit EventPrinter(const Surroundings& around) : around_(around) {}

  void take(std::string_view bytes) {
    rest_ += bytes;
    std::string_view text = rest_;
    while (text.find('\n') != std::string_view::npos) {
      print(takeLine(text));
    }
    rest_ = std::string(text);
    around_.out << std::flush;
  }

  void finish() {
    if (!rest_.empty()) {
      take("\n");
    }
  }

  bool hasMetHost() const { return hasMetHost_; }
  const std::string& lastLine() const { return lastLine_; }

 private:
  void print(std::string_view line) {
    constexpr std::string_view kConnection = "conn=";
    const std::string time = timeText();
    std::string host;
    if (line.starts_with(kConnection)) {
      host = "host " + std::string(takeWord(line).substr(kConnection.size()));
      hasMetHost_ = true;
    }
    lastLine_ = std::string(line);
    std::string_view rest = line;
    const std::string_view word = takeWord(rest);
    if (word == "request-bytes" || word == "reply-bytes") {
      takeWord(rest);
      const std::string bytes = shortened(onOneLine(withoutLayout(rest)), kBytesColumns);
      around_.out << std::string(kTimeColumns + kHostColumns, ' ')
                  << around_.outPalette.paint(around_.outPalette.faint, bytes) << "\n";
      return;
    }
    around_.out << around_.outPalette.paint(around_.outPalette.faint, time) << padded(host, kHostColumns)
                << onOneLine(line) << "\n";
  }

  std::string timeText() const {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%8.2f s  ",
                  std::chrono::duration<double>(Clock::now() - start_).count());
    return text.data();
  }

  static constexpr std::size_t kTimeColumns = 12;
  static constexpr std::size_t kHostColumns = 8;
  static constexpr std::size_t kBytesColumns = 1000;

  const Surroundings& around_;
  const Clock::time_point start_ = Clock::now();
  std::string rest_;
  std::string lastLine_;
  bool hasMetHost_ = false;
};

std::vector<Misbehaviour> askForMisbehaviours(const RunSimulator& run) {
  std::string list;
  const std::optional<int> code = run({"--misbehaviours"}, [&](std::string_view piece) { list += piece; });
  std::vector<Misbehaviour> all = readMisbehaviours(list);
  if (code != 0 || all.empty()) {
    throw Problem{kExitProblem,
                  "kxsim.exe does not list its misbehaviours: it is not the simulator of this program."};
  }
  return all;
}

std::vector<Misbehaviour> chosenOf(const std::vector<Misbehaviour>& all,
                                   const std::vector<std::string>& names) {
  std::vector<Misbehaviour> chosen;
  for (const std::string& name : names) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Misbehaviour& one) { return one.name == name; });
    if (found == all.end()) {
      std::vector<std::string> known(all.size());
      std::transform(all.begin(), all.end(), known.begin(), [](const Misbehaviour& one) { return one.name; });
      const auto meant = nearest(name, known);
      throw Problem{kExitWrongUse, "There is no misbehaviour " + onOneLine(name) + "." +
                                       (meant ? " Did you mean " + *meant + "?" : "") +
                                       " `kx sim --list` lists them."};
    }
    chosen.push_back(*found);
  }
  return chosen;
}

void list(const std::vector<Misbehaviour>& all, const Surroundings& around) {
  std::size_t columns = 0;
  for (const Misbehaviour& one : all) {
    columns = std::max(columns, width(one.name) + 2);
  }
  around.out << "The browser ...\n";
  for (const Misbehaviour& one : all) {
    around.out << "  " << around.outPalette.paint(around.outPalette.strong, padded(one.name, columns))
               << one.what << "\n";
  }
}

std::string hostsCall(const BrowserChoice& browser) {
  const std::string options = replacedAll(libraryOptions(browser, profileOf(browser, 1)), "\"", "\\\"");
  return browser.runner ? "kxr_Init(context, \"" + browser.type + "\", \"" + options + "\", 0, 60)"
                        : "kx_Init(context, \"" + browser.type + "\", \"" + options + "\", NULL, 0, 0, 60)";
}

void introduce(const SimArguments& arguments, const std::vector<Misbehaviour>& chosen,
               const std::string& pipe, const Surroundings& around) {
  around.out << around.outPalette.paint(
                    around.outPalette.strong,
                    "The simulator is a " +
                        std::string(arguments.browser.type == "fx" ? "Firefox" : "Chrome") + " at " + pipe)
             << "\nA host meets it with " << hostsCall(arguments.browser) << "\n";
  for (const Misbehaviour& one : chosen) {
    around.out << "It " << one.what << " (" << one.name << ").\n";
  }
  around.out << "Ctrl-C ends it.\n" << std::flush;
}

std::vector<std::string> wordsFor(const SimArguments& arguments, const std::string& pipe) {
  std::vector<std::string> words = {"--verbose", "--show-requests", "--type=" + arguments.browser.type,
                                    "--pipe=" + pipe};
  if (arguments.browser.profile && arguments.browser.type == "fx") {
    words.insert(words.end(), {"-P", *arguments.browser.profile});
  }
  std::string names;
  for (const std::string& name : arguments.misbehaviours) {
    names += (names.empty() ? "" : ",") + name;
  }
  words.push_back("--misbehave=" + names);
  if (!arguments.scriptFile.empty()) {
    words.push_back("--script=" + arguments.scriptFile);
  }
  if (!arguments.recordFolder.empty()) {
    words.push_back("--record=" + arguments.recordFolder);
  }
  return words;
}

}  // namespace

std::vector<Misbehaviour> readMisbehaviours(std::string_view list) {
  constexpr std::string_view kIndentation = "    ";
  std::vector<Misbehaviour> all;
  while (!list.empty()) {
    const std::string_view line = takeLine(list);
    if (const std::size_t colon = line.find(": "); colon != std::string_view::npos && line.front() != ' ') {
      all.push_back({std::string(line.substr(0, colon)), std::string(line.substr(colon + 2)), {}});
    } else if (!all.empty() && line.starts_with(kIndentation)) {
      all.back().script.append(line.substr(kIndentation.size())).append("\n");
    }
  }
  return all;
}

int runSim(const SimArguments& arguments, const Machine& machine, const RunSimulator& run,
           const Surroundings& around) {
  const std::vector<Misbehaviour> all = askForMisbehaviours(run);
  if (arguments.list) {
    list(all, around);
    return kExitSuccess;
  }
  const std::vector<Misbehaviour> chosen = chosenOf(all, arguments.misbehaviours);
  if (arguments.printScript) {
    for (const Misbehaviour& one : chosen) {
      around.out << one.script;
    }
    return kExitSuccess;
  }
  const std::string pipe = pipeOfStart(arguments.browser, machine);
  if (machine.pipe(pipe) != PipeState::NotServed) {
    throw Problem{kExitProblem,
                  "Somebody serves " + pipe + " already. End that browser first, or give another --profile."};
  }
  introduce(arguments, chosen, pipe, around);
  while (true) {
    EventPrinter printer(around);
    const std::optional<int> code =
        run(wordsFor(arguments, pipe), [&](std::string_view piece) { printer.take(piece); });
    printer.finish();
    if (!code) {
      return kExitSuccess;
    }
    if (code == kBadScript) {
      throw Problem{kExitWrongUse, "The simulator does not understand its script."};
    }
    if (code == kCannotServe) {
      throw Problem{kExitProblem, "The simulator cannot serve its pipe: " + printer.lastLine() + "."};
    }
    around.err << "The simulator has ended, with code " << *code << ".\n" << std::flush;
    // One that no host has met would end again at once.
    if (!arguments.again || !printer.hasMetHost() || around.interruption) {
      return kExitSuccess;
    }
  }
}

}  // namespace kx::cli

#include "cli/arguments.h"

#include "cli/csv.h"
#include "cli/help.h"
#include "cli/text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <limits>

namespace kx::cli {
namespace {

constexpr char kContextNumber[] = "{n}";

// A check of a number that tells what would be right.
auto wholeNumber(int least, const std::string& meaning) {
  return [least, meaning](const std::string& word) {
    int value = 0;
    const char* const end = word.data() + word.size();
    const auto result = std::from_chars(word.data(), end, value);
    const bool isGood = result.ec == std::errc() && result.ptr == end && value >= least;
    return isGood
               ? std::string()
               : "\"" + word + "\" is not " + meaning + ". Give a whole number from " +
                     std::to_string(least) + " to " + std::to_string(std::numeric_limits<int>::max()) + ".";
  };
}

std::string checkVariable(const std::string& word) {
  const std::size_t sign = word.find('=');
  if (sign == std::string::npos) {
    return "\"" + word + "\" has no equals sign. Write name=value, for example city=Oslo.";
  }
  const std::string wrong = problemOfVariableName(std::string_view(word).substr(0, sign));
  return wrong.empty() ? wrong : "in \"" + onOneLine(word) + "\" " + wrong;
}

// The library puts it between double quotes, and has no way of writing one inside.
std::string checkProfile(const std::string& word) {
  return word.find_first_of("\"\r\n") == std::string::npos
             ? std::string()
             : "a profile's name or folder cannot hold a double quote or a line end.";
}

std::string checkBrowser(const std::string& word) {
  static const std::vector<std::string> names = {"fx", "firefox", "cr", "chrome"};
  return std::find(names.begin(), names.end(), word) != names.end()
             ? std::string()
             : "\"" + word + "\" is not a browser. Give fx (or firefox), or cr (or chrome).";
}

constexpr char kBrowserGroup[] = "Browser";

void addTypeAndProfile(CLI::App& verb, BrowserChoice& browser, const std::string& more) {
  verb.add_option_function<std::string>(
          "-b,--browser",
          [&browser](const std::string& word) { browser.type = word.starts_with('f') ? "fx" : "cr"; },
          "fx for Firefox (the default), cr for Chrome")
      ->check(CLI::Validator(checkBrowser, ""))
      ->type_name("fx|cr")
      ->group(kBrowserGroup);
  verb.add_option("-p,--profile", browser.profile, "Firefox's profile, or Chrome's user data folder" + more)
      ->check(CLI::Validator(checkProfile, ""))
      ->type_name("NAME")
      ->group(kBrowserGroup);
}

void addBrowserOptions(CLI::App& verb, BrowserChoice& browser) {
  const std::string group = kBrowserGroup;
  addTypeAndProfile(verb, browser, "; {n} in it stands for the context's number");
  verb.add_option("--program", browser.program, "the browser's program, as a whole path")
      ->type_name("PATH")
      ->group(group);
  verb.add_option("-t,--timeout", browser.timeoutSeconds,
                  "for each wait of a start, a macro and an exit (60); 0 waits without a limit")
      ->check(CLI::Validator(wholeNumber(0, "a time-out in seconds"), ""))
      ->type_name("SECONDS")
      ->group(group);
  verb.add_flag("--attach", browser.attach, "only a browser that is running; launch none")->group(group);
  verb.add_flag("--runner", browser.runner, "start the browser as a runner does (the kxr_ functions)")
      ->group(group);
  verb.add_flag("--profiler", browser.profiler, "ask for profiler data")->group(group);
  verb.add_flag("--new-window", browser.newWindow, "ask for a new browser window")->group(group);
}

void addPlay(CLI::App& app, PlayArguments& play) {
  CLI::App* verb = app.add_subcommand("play", "play macros and print what they extract");
  verb->footer(kPlayExamples);
  addBrowserOptions(*verb, play.browser);
  verb->add_option("FILE", play.files, "files with macros, played one after the other; - is standard input")
      ->type_name("");
  // Without extra arguments CLI11 leaves "[a,b]" as it is; with them it would be a list of two. The next word
  // is none of the option's either.
  verb->add_option("-m,--macro", play.macros, "the text of a macro; \\n in it is a line end")
      ->type_name("TEXT")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all()
      ->group("What is played");
  verb->add_option_function<std::vector<std::string>>(
          "-v,--var",
          [&play](const std::vector<std::string>& words) {
            for (const std::string& word : words) {
              const std::size_t sign = word.find('=');
              play.variables.emplace_back(word.substr(0, sign), word.substr(sign + 1));
            }
          },
          "a variable for the macros")
      ->check(CLI::Validator(checkVariable, ""))
      ->type_name("NAME=VALUE")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all()
      ->group("What is played");
  verb->add_option("--rows", play.rowsFile, "a CSV file: the header names variables, each row is one run")
      ->type_name("FILE")
      ->group("What is played");
  verb->add_option("--repeat", play.repeat, "play everything so many times")
      ->check(CLI::Validator(wholeNumber(1, "a number of times"), ""))
      ->type_name("N")
      ->group("What is played");
  verb->add_option("--parallel", play.parallel, "so many contexts at once, each with a browser of its own")
      ->check(CLI::Validator(wholeNumber(1, "a number of contexts"), ""))
      ->type_name("N")
      ->group("What is played");
  verb->add_option("--retries", play.retries,
                   "after a lost connection: exit, start again, and play the run again, so many times")
      ->check(CLI::Validator(wholeNumber(0, "a number of times"), ""))
      ->type_name("N")
      ->group("What is played");
  verb->add_option("--message", play.message, "show a message in the browser after each run")
      ->type_name("TEXT")
      ->group("Afterwards");
  verb->add_option("--screenshot", play.screenshot,
                   "save a picture after each run, as PNG; {run} stands for the run's number")
      ->type_name("FILE")
      ->group("Afterwards");
  verb->add_flag("--page", play.screenshotOfPage, "the picture shows the web page, not the whole browser")
      ->group("Afterwards");
  verb->add_flag("--overwrite", play.overwrite, "pictures and the report may replace files that are there")
      ->group("Afterwards");
  verb->add_flag("--stay", play.stay, "leave the browser open")->group("Afterwards");
  verb->add_flag_callback(
          "--csv", [&play] { play.form = OutputForm::AsCsv; }, "print the results as CSV")
      ->group("Output");
  verb->add_flag_callback(
          "--json", [&play] { play.form = OutputForm::AsJson; },
          "print the result as JSON; those of several runs as JSON Lines, each when its run has ended")
      ->group("Output");
  verb->add_option("--report", play.report, "write a page that tells of all runs, for any web browser")
      ->type_name("FILE.html")
      ->group("Output");
  verb->add_flag("--redact", play.isReportRedacted,
                 "blank out variables, texts and user names in the report, for a bug report")
      ->group("Output");
  verb->add_flag("-q,--quiet", play.quiet, "do not tell what is going on")->group("Output");
}

void addExplain(CLI::App& app, ExplainArguments& explain) {
  CLI::App* verb = app.add_subcommand("explain", "tell what a start would do and why; changes nothing");
  verb->footer(kExplainExamples);
  addBrowserOptions(*verb, explain.browser);
  verb->add_flag("--json", explain.json, "print it as JSON")->group("Output");
}

void addLog(CLI::App& app, LogArguments& log) {
  CLI::App* verb = app.add_subcommand("log", "read the library's log: what was done, how long, what failed");
  verb->footer(kLogExamples);
  verb->add_option("FILE", log.file,
                   "the log; without it the one that the environment names; - is standard input")
      ->type_name("");
  verb->add_flag("-f,--follow", log.follow, "go on reading what is added, until Ctrl-C");
  verb->add_flag("--redact", log.redact, "blank out variables, texts and user names, for a bug report");
  verb->add_flag("--json", log.json, "print it as JSON");
}

void addSim(CLI::App& app, SimArguments& sim) {
  CLI::App* verb = app.add_subcommand(
      "sim", "start the simulator, which misbehaves as is asked for, and show what it gets");
  verb->footer(kSimExamples);
  verb->add_option("NAME", sim.misbehaviours, "how it misbehaves; several names go together")->type_name("");
  verb->add_flag("--list", sim.list, "list the misbehaviours and end");
  verb->add_flag("--print-script", sim.printScript,
                 "print the script of what is named and end; for a simulator that a host launches");
  verb->add_option("--script", sim.scriptFile, "a script of your own, besides what is named")
      ->type_name("FILE");
  verb->add_option("--record", sim.recordFolder, "keep the bytes of all requests and answers in that folder")
      ->type_name("FOLDER");
  verb->add_flag("--again", sim.again, "start the simulator again each time it has ended");
  addTypeAndProfile(*verb, sim.browser, "");
  verb->add_flag("--runner", sim.browser.runner, "be found by hosts that use the kxr_ functions")
      ->group(kBrowserGroup);
}

void addSelfTest(CLI::App& app, SelfTestArguments& selfTest) {
  CLI::App* verb =
      app.add_subcommand("selftest", "try the library on this machine, with the simulator as the browser");
  verb->footer(kSelfTestExamples);
  verb->add_option("--only", selfTest.only, "run this check; may be given several times")
      ->type_name("NAME")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
  verb->add_flag("--list", selfTest.list, "list the checks and end");
  verb->add_option("--report", selfTest.reportFile,
                   "the file for a bug report (kx-selftest-DATE-TIME.txt in the current folder)")
      ->type_name("FILE");
  verb->add_flag("--json", selfTest.json, "print the result as JSON");
}

// CLI11 says "--option: what" or "Could not ...".
std::string sentenceOf(const CLI::ParseError& error) {
  std::string what = error.what();
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    return what.substr(0, what.find(':')) + " needs a value behind it.";
  }
  return what;
}

std::vector<std::string> optionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      names.push_back("--" + name);
    }
  }
  return names;
}

std::vector<std::string> verbNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* verb : app.get_subcommands(nullptr)) {
    names.push_back(verb->get_name());
  }
  return names;
}

std::string unknownWord(const std::string& kind, const std::string& word,
                        const std::vector<std::string>& known, const std::string& whereToLook) {
  const auto meant = nearest(word.substr(0, word.find('=')), known);
  return "There is no " + kind + " " + onOneLine(word) + "." +
         (meant ? " Did you mean " + *meant + "?" : "") + " `" + whereToLook + "` lists them.";
}

std::string problemOfPlay(const PlayArguments& play) {
  const bool isNumbered =
      play.browser.profile && play.browser.profile->find(kContextNumber) != std::string::npos;
  if (play.parallel > 1 && !isNumbered) {
    return "--parallel " + std::to_string(play.parallel) +
           " needs a profile of its own for each context. Write {n} where its number is to stand, for "
           "example "
           "--profile work-{n}.";
  }
  if (!play.files.empty() && !play.macros.empty()) {
    return "Macros come from files or from --macro, not from both: their order would be unclear.";
  }
  if (play.screenshotOfPage && play.screenshot.empty()) {
    return "--page says what the picture of --screenshot shows, and there is no --screenshot.";
  }
  if (play.isReportRedacted && play.report.empty()) {
    return "--redact says what the report leaves out, and there is no --report.";
  }
  return {};
}

std::string problemOfLog(const LogArguments& log) {
  return log.follow && log.file == "-" ? "--follow reads what is added to a file, and standard input is "
                                         "none. Name the file, or leave --follow out."
                                       : std::string();
}

std::string problemOfBrowser(const BrowserChoice& browser) {
  if (browser.runner && !browser.profile) {
    return browser.type == "fx" ? "--runner needs a profile: give --profile NAME."
                                : "--runner needs a user data folder: give --profile FOLDER.";
  }
  if (browser.runner && browser.type == "cr" && browser.profile->empty()) {
    return "--runner needs a user data folder that is not empty.";
  }
  if (browser.attach && browser.program) {
    return "--attach launches no program, so --program means nothing with it. Leave one of the two out.";
  }
  return {};
}

// The whole command line as CLI11 sees it.
struct Grammar {
  CLI::App app{kAbout, "kx"};
  Arguments arguments;
  bool versionAsked = false;

  Grammar() {
    app.allow_windows_style_options(false);
    // Of an option that is given twice the last value counts.
    app.option_defaults()->take_last();
    app.set_help_flag("-h,--help", "print this and end");
    app.add_flag("--version", versionAsked, "print the versions of the program, the library and the header");
    app.footer(kMainFooter);
    addPlay(app, arguments.play);
    addExplain(app, arguments.explain);
    addLog(app, arguments.log);
    addSim(app, arguments.sim);
    addSelfTest(app, arguments.selfTest);
    app.add_subcommand("completion", "print a script that lets PowerShell complete verbs and options")
        ->footer(kCompletionExamples);
    app.allow_extras();
    for (CLI::App* verb : app.get_subcommands(nullptr)) {
      verb->allow_extras();
      verb->set_help_flag("-h,--help", "print this and end");
      verb->allow_windows_style_options(false);
    }
  }
};

ParsedArguments refused(const std::string& text) {
  return {ParsedArguments::Kind::Refused, {}, text};
}

std::string problemOf(const Arguments& arguments) {
  if (arguments.verb == Verb::Play) {
    const std::string problem = problemOfBrowser(arguments.play.browser);
    return problem.empty() ? problemOfPlay(arguments.play) : problem;
  }
  if (arguments.verb == Verb::Sim) {
    return problemOfBrowser(arguments.sim.browser);
  }
  if (arguments.verb == Verb::Log) {
    return problemOfLog(arguments.log);
  }
  return arguments.verb == Verb::Explain ? problemOfBrowser(arguments.explain.browser) : std::string();
}

}  // namespace

ParsedArguments parseArguments(const std::vector<std::string>& words) {
  using Kind = ParsedArguments::Kind;
  Grammar grammar;
  try {
    grammar.app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
  } catch (const CLI::CallForHelp&) {
    return {Kind::Help, {}, grammar.app.help()};
  } catch (const CLI::ParseError& error) {
    return refused(sentenceOf(error));
  }
  if (grammar.versionAsked) {
    return {Kind::Version, {}, {}};
  }
  const std::vector<CLI::App*> chosen = grammar.app.get_subcommands();
  if (chosen.empty()) {
    const std::vector<std::string> rest = grammar.app.remaining();
    if (rest.empty()) {
      return {Kind::Help, {}, grammar.app.help()};
    }
    return refused(rest.front().starts_with('-')
                       ? unknownWord("option", rest.front(), optionNames(grammar.app), "kx --help")
                       : unknownWord("verb", rest.front(), verbNames(grammar.app), "kx --help"));
  }
  const CLI::App& verb = *chosen.front();
  if (const std::vector<std::string> rest = verb.remaining(); !rest.empty()) {
    return refused(
        rest.front().starts_with('-')
            ? unknownWord("option", rest.front(), optionNames(verb), "kx " + verb.get_name() + " --help")
            : "kx " + verb.get_name() + " does not take \"" + onOneLine(rest.front()) + "\".");
  }
  static const std::vector<std::pair<std::string, Verb>> verbs = {
      {"play", Verb::Play}, {"explain", Verb::Explain},   {"log", Verb::Log},
      {"sim", Verb::Sim},   {"selftest", Verb::SelfTest}, {"completion", Verb::Completion}};
  grammar.arguments.verb = std::find_if(verbs.begin(), verbs.end(), [&](const auto& one) {
                             return one.first == verb.get_name();
                           })->second;
  const std::string problem = problemOf(grammar.arguments);
  return problem.empty() ? ParsedArguments{Kind::Run, grammar.arguments, {}} : refused(problem);
}

std::string powerShellCompletion() {
  Grammar grammar;
  std::string tables;
  for (const CLI::App* verb : grammar.app.get_subcommands(nullptr)) {
    std::string names;
    for (const std::string& name : optionNames(*verb)) {
      names += (names.empty() ? "'" : ", '") + name + "'";
    }
    tables += "    '" + verb->get_name() + "' = @(" + names + ")\n";
  }
  return replacedAll(kCompletionScript, "@@VERBS@@", tables);
}

std::string libraryOptions(const BrowserChoice& browser, const std::optional<std::string>& profile) {
  std::string options = browser.runner ? " -runner" : "";
  if (profile) {
    options += (browser.type == "fx" ? " -fxProfile=\"" : " -crUserDataDir=\"") + *profile + "\"";
  }
  options += browser.profiler ? " -profiler" : "";
  return options.empty() ? options : options.substr(1);
}

std::optional<std::string> profileOf(const BrowserChoice& browser, int contextNumber) {
  if (!browser.profile) {
    return std::nullopt;
  }
  return replacedAll(*browser.profile, kContextNumber, std::to_string(contextNumber));
}

}  // namespace kx::cli

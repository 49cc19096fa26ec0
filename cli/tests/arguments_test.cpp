#include "cli/arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kx::cli {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Kind = ParsedArguments::Kind;
using Words = std::vector<std::string>;

TEST(CommandLines, OfPlayFillInWhatTheySay) {
  const ParsedArguments parsed = parseArguments({"play",
                                                 "a.txt",
                                                 "b.txt",
                                                 "--browser",
                                                 "chrome",
                                                 "-p",
                                                 "C:\\data {n}",
                                                 "--program",
                                                 "C:\\chrome.exe",
                                                 "-t",
                                                 "5",
                                                 "--var",
                                                 "city=Oslo",
                                                 "-v",
                                                 "sum=1=2",
                                                 "--rows",
                                                 "r.csv",
                                                 "--repeat",
                                                 "2",
                                                 "--parallel",
                                                 "3",
                                                 "--retries",
                                                 "1",
                                                 "--message",
                                                 "done",
                                                 "--screenshot",
                                                 "{run}.png",
                                                 "--page",
                                                 "--overwrite",
                                                 "--stay",
                                                 "--json",
                                                 "-q",
                                                 "--profiler",
                                                 "--new-window",
                                                 "--report",
                                                 "r.html",
                                                 "--redact",
                                                 "--runner"});

  ASSERT_EQ(parsed.kind, Kind::Run) << parsed.text;
  EXPECT_EQ(parsed.arguments.verb, Verb::Play);
  const PlayArguments& play = parsed.arguments.play;
  EXPECT_THAT(play.files, ElementsAre("a.txt", "b.txt"));
  EXPECT_EQ(play.browser.type, "cr");
  EXPECT_EQ(play.browser.profile, "C:\\data {n}");
  EXPECT_EQ(play.browser.program, "C:\\chrome.exe");
  EXPECT_EQ(play.browser.timeoutSeconds, 5);
  EXPECT_TRUE(play.browser.runner && play.browser.profiler && play.browser.newWindow);
  EXPECT_THAT(play.variables, ElementsAre(Variable{"city", "Oslo"}, Variable{"sum", "1=2"}));
  EXPECT_EQ(play.rowsFile, "r.csv");
  EXPECT_EQ(play.repeat, 2);
  EXPECT_EQ(play.parallel, 3);
  EXPECT_EQ(play.retries, 1);
  EXPECT_EQ(play.message, "done");
  EXPECT_EQ(play.screenshot, "{run}.png");
  EXPECT_EQ(play.report, "r.html");
  EXPECT_TRUE(play.isReportRedacted);
  EXPECT_TRUE(play.screenshotOfPage && play.overwrite && play.stay && play.quiet);
  EXPECT_EQ(play.form, OutputForm::AsJson);
}

TEST(CommandLines, OfSimFillInWhatTheySay) {
  const ParsedArguments parsed =
      parseArguments({"sim", "stays", "late-answer", "-b", "cr", "-p", "C:\\data", "--runner", "--script",
                      "a.script", "--record", "C:\\rec", "--again", "--list", "--print-script"});

  ASSERT_EQ(parsed.kind, Kind::Run) << parsed.text;
  EXPECT_EQ(parsed.arguments.verb, Verb::Sim);
  const SimArguments& sim = parsed.arguments.sim;
  EXPECT_THAT(sim.misbehaviours, ElementsAre("stays", "late-answer"));
  EXPECT_EQ(sim.browser.type, "cr");
  EXPECT_EQ(sim.browser.profile, "C:\\data");
  EXPECT_EQ(sim.scriptFile, "a.script");
  EXPECT_EQ(sim.recordFolder, "C:\\rec");
  EXPECT_TRUE(sim.browser.runner && sim.again && sim.list && sim.printScript);
}

TEST(CommandLines, OfSelfTestFillInWhatTheySay) {
  const ParsedArguments parsed = parseArguments(
      {"selftest", "--only", "log", "--only", "attach", "--report", "r.txt", "--json", "--list"});

  ASSERT_EQ(parsed.kind, Kind::Run) << parsed.text;
  EXPECT_EQ(parsed.arguments.verb, Verb::SelfTest);
  EXPECT_THAT(parsed.arguments.selfTest.only, ElementsAre("log", "attach"));
  EXPECT_EQ(parsed.arguments.selfTest.reportFile, "r.txt");
  EXPECT_TRUE(parsed.arguments.selfTest.json && parsed.arguments.selfTest.list);
}

TEST(CommandLines, PathsMayBeginWithASlash) {
  EXPECT_THAT(parseArguments({"play", "/tmp/order.txt"}).arguments.play.files, ElementsAre("/tmp/order.txt"));
}

TEST(CommandLines, OfAnOptionThatIsGivenTwiceTheLastValueCounts) {
  EXPECT_EQ(parseArguments({"play", "x", "-t", "5", "--timeout", "7"}).arguments.play.browser.timeoutSeconds,
            7);
}

TEST(CommandLines, AMacroOrAnEmptyProfileMayStandOnTheCommandLine) {
  const ParsedArguments parsed =
      parseArguments({"play", "-m", "extract 1", "-m", "-x", "-p", "", "--attach"});

  ASSERT_EQ(parsed.kind, Kind::Run) << parsed.text;
  EXPECT_THAT(parsed.arguments.play.macros, ElementsAre("extract 1", "-x"));
  EXPECT_EQ(parsed.arguments.play.browser.profile, "");
}

// One text for each option that takes any text.
std::vector<std::string> textsOf(const std::string& text) {
  const ParsedArguments play =
      parseArguments({"play", "-m", text, "--var", "x=" + text, "--profile", text, "--program", text,
                      "--rows", text, "--message", text, "--screenshot", text, "--report", text});
  const ParsedArguments sim = parseArguments({"sim", "--script", text, "--record", text});
  const ParsedArguments selfTest = parseArguments({"selftest", "--only", text, "--report", text});
  const ParsedArguments log = parseArguments({"log", text});
  const PlayArguments& given = play.arguments.play;
  std::vector<std::string> texts = given.macros;
  for (const Variable& variable : given.variables) {
    texts.push_back(variable.second);
  }
  texts.insert(texts.end(), {given.browser.profile.value_or("none"), given.browser.program.value_or("none"),
                             given.rowsFile, given.message, given.screenshot, given.report,
                             sim.arguments.sim.scriptFile, sim.arguments.sim.recordFolder,
                             selfTest.arguments.selfTest.reportFile, log.arguments.log.file});
  const std::vector<std::string>& only = selfTest.arguments.selfTest.only;
  texts.insert(texts.end(), only.begin(), only.end());
  return texts;
}

TEST(CommandLines, TextsArriveAsTheyAre) {
  for (const char* const text : {"[a,b]", "[a]", "[]", "[[a],[b]]", "{}", "{a,b}", "(a,b)", "a,b", "%%",
                                 "'a b'", "`a`", "#a", "a=b", "\\n", " "}) {
    EXPECT_EQ(textsOf(text), std::vector<std::string>(13, text)) << text;
  }
}

TEST(CommandLines, TheWordBehindAnOptionsValueIsNotTheOptions) {
  const ParsedArguments parsed = parseArguments({"play", "--var", "city=Oslo", "order.txt"});

  ASSERT_EQ(parsed.kind, Kind::Run) << parsed.text;
  EXPECT_THAT(parsed.arguments.play.files, ElementsAre("order.txt"));
}

TEST(CommandLines, ThatAreWrongAreRefusedWithASentence) {
  const std::pair<Words, std::string> cases[] = {
      {{"plya"}, "There is no verb plya. Did you mean play? `kx --help` lists them."},
      {{"--json"}, "There is no option --json. `kx --help` lists them."},
      {{"play", "--timout", "5"},
       "There is no option --timout. Did you mean --timeout? `kx play --help` lists them."},
      {{"play", "--timeout"}, "--timeout needs a value behind it."},
      {{"play", "x", "--timeout", "soon"},
       "--timeout: \"soon\" is not a time-out in seconds. Give a whole number from 0 to 2147483647."},
      {{"play", "x", "--timeout", "-1"},
       "--timeout: \"-1\" is not a time-out in seconds. Give a whole number from 0 to 2147483647."},
      {{"play", "x", "--repeat", "0"},
       "--repeat: \"0\" is not a number of times. Give a whole number from 1 to 2147483647."},
      {{"play", "x", "--retries", "99999999999"},
       "--retries: \"99999999999\" is not a number of times. Give a whole number from 0 to 2147483647."},
      {{"play", "x", "--var", "city"},
       "--var: \"city\" has no equals sign. Write name=value, for example city=Oslo."},
      {{"play", "x", "--var", "=Oslo"}, "--var: in \"=Oslo\" a name is empty."},
      {{"play", "x", "--browser", "opera"},
       "--browser: \"opera\" is not a browser. Give fx (or firefox), or cr (or chrome)."},
      {{"play", "x", "--profile", "a\"b"},
       "--profile: a profile's name or folder cannot hold a double quote or a line end."},
      {{"play", "x", "--parallel", "4", "--profile", "work"},
       "--parallel 4 needs a profile of its own for each context. Write {n} where its number is to stand, "
       "for example "
       "--profile work-{n}."},
      {{"play", "x", "--macro", "y"},
       "Macros come from files or from --macro, not from both: their order would be unclear."},
      {{"play", "x", "--page"},
       "--page says what the picture of --screenshot shows, and there is no --screenshot."},
      {{"play", "--redact"}, "--redact says what the report leaves out, and there is no --report."},
      {{"play", "x", "--runner"}, "--runner needs a profile: give --profile NAME."},
      {{"play", "x", "--runner", "-b", "cr", "-p", ""},
       "--runner needs a user data folder that is not empty."},
      {{"sim", "stays", "--runner"}, "--runner needs a profile: give --profile NAME."},
      {{"log", "--follow", "-"},
       "--follow reads what is added to a file, and standard input is none. Name the file, or leave --follow "
       "out."},
      {{"selftest", "launch"}, "kx selftest does not take \"launch\"."},
      {{"play", "x", "--attach", "--program", "y"},
       "--attach launches no program, so --program means nothing with it. Leave one of the two out."},
  };
  for (const auto& [words, sentence] : cases) {
    const ParsedArguments parsed = parseArguments(words);
    EXPECT_EQ(parsed.kind, Kind::Refused) << sentence;
    EXPECT_EQ(parsed.text, sentence);
  }
}

TEST(CommandLines, HelpHasTheOptionsAndExamplesOfItsVerb) {
  EXPECT_EQ(parseArguments({}).kind, Kind::Help);
  EXPECT_THAT(parseArguments({"--help"}).text, HasSubstr("Exit codes:"));
  const ParsedArguments play = parseArguments({"play", "--help"});
  EXPECT_EQ(play.kind, Kind::Help);
  EXPECT_THAT(play.text, HasSubstr("--parallel"));
  EXPECT_THAT(play.text, HasSubstr("Examples:"));
  EXPECT_EQ(parseArguments({"--version"}).kind, Kind::Version);
}

TEST(CommandLines, CompletionKnowsVerbsAndTheirOptions) {
  EXPECT_THAT(powerShellCompletion(), HasSubstr("'play' = @("));
  EXPECT_THAT(powerShellCompletion(), HasSubstr("'--parallel'"));
  EXPECT_THAT(powerShellCompletion(), HasSubstr("'sim' = @('--list', '--print-script'"));
  EXPECT_THAT(powerShellCompletion(), HasSubstr("'selftest' = @('--only', '--list', '--report', '--json'"));
}

TEST(LibraryOptions, AreWhatTheLibraryUnderstands) {
  BrowserChoice firefox;
  EXPECT_EQ(libraryOptions(firefox, std::nullopt), "");
  EXPECT_EQ(libraryOptions(firefox, "my work"), "-fxProfile=\"my work\"");
  firefox.runner = true;
  firefox.profiler = true;
  EXPECT_EQ(libraryOptions(firefox, ""), "-runner -fxProfile=\"\" -profiler");
  BrowserChoice chrome;
  chrome.type = "cr";
  EXPECT_EQ(libraryOptions(chrome, "C:\\d"), "-crUserDataDir=\"C:\\d\"");
}

TEST(LibraryOptions, TheContextsNumberStandsInItsProfile) {
  BrowserChoice browser;
  EXPECT_EQ(profileOf(browser, 3), std::nullopt);
  browser.profile = "work-{n}";
  EXPECT_EQ(profileOf(browser, 3), "work-3");
}

}  // namespace
}  // namespace kx::cli

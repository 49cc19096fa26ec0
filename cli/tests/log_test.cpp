// Reading logs: cutting them into entries, and what the entries tell.
#include "cli/log_entries.h"
#include "cli/log_view.h"
#include "cli/text.h"
#include "support/golden.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace kx::cli {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

std::string described(const LogEntry& entry) {
  const std::string ids =
      entry.ids ? std::to_string(entry.ids->process) + "/" + std::to_string(entry.ids->thread) : "?";
  const char* const kinds[] = {"info", "error", "text"};
  return std::to_string(entry.line) + " " + kinds[static_cast<int>(entry.kind)] + " " + ids + " " +
         onOneLine(entry.message);
}

std::vector<std::string> entriesOf(const std::string& log, std::size_t piece = std::string::npos) {
  LogReader reader;
  for (std::size_t i = 0; i < log.size(); i += std::min(piece, log.size())) {
    reader.feed(std::string_view(log).substr(i, piece));
  }
  reader.finish();
  std::vector<std::string> entries;
  for (const LogEntry& entry : reader.take()) {
    entries.push_back(described(entry));
  }
  return entries;
}

TEST(LogEntries, AreCutWhereTheyBegin) {
  struct Case {
    std::string log;
    std::vector<std::string> entries;
  };
  const Case cases[] = {
      {"(1, 2): one\n(1, 2): two\n", {"1 info 1/2 one", "2 info 1/2 two"}},
      {"(1, 2): a\nb\n(1, 3): c\n", {"1 info 1/2 a\\nb", "3 info 1/3 c"}},
      {"Error: bad\n(1, 2): ", {"1 error 1/2 bad"}},
      {"Error: bad\n(1, 2): (3, 4): next\n", {"1 error 1/2 bad", "2 info 3/4 next"}},
      {"Error: bad\n(1, 2): Error: worse\n(1, 2): ", {"1 error 1/2 bad", "2 error 1/2 worse"}},
      {"Error: two\nlines\n(1, 2): ", {"1 error 1/2 two\\nlines"}},
      {"Error: cut", {"1 error ? cut"}},
      {"Error: lost\nError: kept\n(1, 2): ", {"1 error ? lost", "2 error 1/2 kept"}},
      {"Error: bad\n(1, 2): half an entry\n", {"1 error 1/2 bad", "2 info 1/2 half an entry"}},
      {"half\n(1, 2): whole\n", {"1 text ? half", "2 info 1/2 whole"}},
      {"(1, 2): windows\r\n", {"1 info 1/2 windows"}},
      {"(-5, 2): negative\n(1, x): not ids\n", {"1 info -5/2 negative\\n(1, x): not ids"}},
      {"", {}},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(entriesOf(one.log), one.entries) << one.log;
    EXPECT_EQ(entriesOf(one.log, 1), one.entries) << "byte by byte: " << one.log;
  }
}

TEST(LogEntries, OfALogThatGrowsAreCompleteAfterAPause) {
  LogReader reader;
  reader.feed("(1, 2): one\nError: bad\n(1, 2): ");
  EXPECT_EQ(reader.take().size(), 1U);

  reader.pause();

  EXPECT_EQ(reader.take().size(), 1U);
  reader.feed("(1, 2): two\n");
  reader.pause();
  const std::vector<LogEntry> entries = reader.take();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].message, "two");
}

constexpr char kRequest[] =
    "(1, 2): Client: sending message to server [{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : "
    "\"secret\"\n }\n}], "
    "msg len=64\n(1, 2): Client: Message sent, receiving response\n";

std::string view(const std::string& log, bool redact = false) {
  LogArguments arguments;
  arguments.redact = redact;
  return logView(log, arguments, Palette());
}

TEST(LogViews, PairEachRequestWithItsAnswer) {
  const std::string read = "(1, 2): Client: Read 40 bytes from communication pipe\n";

  EXPECT_THAT(view(kRequest + read + read + "(1, 2): Client: handling response..\n"),
              AllOf(HasSubstr("play, 64 bytes; answer of 80 bytes in 2 pieces"),
                    HasSubstr("1 request (1 answered)")));
  EXPECT_THAT(view(kRequest + std::string("Error: pipe_read: timeout\n(1, 2): ")),
              AllOf(HasSubstr("play, 64 bytes; no answer"),
                    HasSubstr("The answer did not come within the time-out.")));
}

TEST(LogViews, KeepThreadsApart) {
  const std::string other =
      "(1, 3): Client: Read 9 bytes from communication pipe\n(1, 3): Client: handling response..\n";

  EXPECT_THAT(view(kRequest + other),
              AllOf(HasSubstr("Process 1, thread 2\n"), HasSubstr("play, 64 bytes; no answer")));
}

TEST(LogViews, CountWhatRepeats) {
  const std::string attempt =
      "(1, 2): Client: connecting to server using pipe x\n(1, 2): Could not open pipe x, error = 2\n"
      "Error: Can not open p.ini file\n(1, 2): ";

  EXPECT_THAT(view(attempt + attempt + attempt),
              AllOf(HasSubstr("nobody there: x, error = 2 (3 times)"),
                    HasSubstr("Can not open p.ini file (3 times)"), HasSubstr("0 errors, 3 notes")));
}

TEST(LogViews, RedactedShowNoTextsAndNoUserNames) {
  const std::string log =
      kRequest + std::string(
                     "stray secret\n"
                     "(1, 2): Starting binary C:\\Users\\ada lovelace\\b.exe\n"
                     "(1, 2): Could not open pipe \\\\.\\pipe\\kx-fx-default.ada, error = 2\n"
                     "(1, 2): Could not open pipe \\\\.\\pipe\\kx-fx-default.ada, error = 2\n"
                     "Error: ... at position 3, responce chunk 'secret'\n(1, 2): "
                     "Error: what the library never says, a secret\n(1, 2): ");

  const std::string text = view(log, true);

  EXPECT_THAT(text,
              AllOf(Not(HasSubstr("secret")), Not(HasSubstr("ada")), HasSubstr("play, 64 bytes"),
                    HasSubstr("C:\\Users\\<removed>\\b.exe"),
                    HasSubstr("kx-fx-default.<removed>, error = 2 (2 times)"), HasSubstr("<37 bytes>")));
  EXPECT_THAT(view(log), HasSubstr("\"source\" : \"secret\""));
}

TEST(Redacting, RemovesTooMuchRatherThanTooLittle) {
  const std::pair<std::string, std::string> cases[] = {
      // Bytes of an answer.
      {"char }(125) at position 9, responce chunk '[\"Ada's card is 4111\"]}x'",
       "char }(125) at position 9, responce chunk '<removed>"},
      {"responce chunk 'a\nb', error 7", "responce chunk '<removed>"},
      // Names of pipes and locks.
      {"\\\\.\\pipe\\kx-fx-default.Ada Lovelace, error = 2",
       "\\\\.\\pipe\\kx-fx-default.<removed>, error = 2"},
      {"\\\\.\\pipe\\kx-cr-default.Ada Lovelace", "\\\\.\\pipe\\kx-cr-default.<removed>"},
      {"kx-fx-Default User.ada, error = (231)", "kx-fx-Default User.<removed>, error = (231)"},
      {"kx-fx-work, home.ada, error = 2", "kx-fx-work, home.<removed>, error = 2"},
      {"kx-fx-a]b.ada state, error = 5", "kx-fx-a]b.<removed>, error = 5"},
      {"start lock kx-fx-default.Ada Lovelace.lock, error 5", "start lock kx-fx-default.<removed>, error 5"},
      {"kx-fx-default.ada.runner", "kx-fx-default.<removed>"},
      {"kx-fx-cli-work.ada", "kx-fx-cli-work.<removed>"},
      {"kx-fx-nobody of C:\\Users\\ada\\b.exe", "kx-fx-nobody of C:\\Users\\<removed>\\b.<removed>"},
      // Names that hold no user's.
      {"kx-fx-67e92c8765a9bc7fb2d335c459de9eb5.runner, error = 2",
       "kx-fx-67e92c8765a9bc7fb2d335c459de9eb5.runner, error = 2"},
      {"cli=\\\\.\\pipe\\kx-fx-cli-Default User.204.32, error=5",
       "cli=\\\\.\\pipe\\kx-fx-cli-Default User.204.32, error=5"},
      // Paths.
      {"C:\\Users\\Ada Lovelace, Countess", "C:\\Users\\<removed>"},
      {"c:/users/ada/b.exe", "c:/users/<removed>/b.exe"},
      {"\"C:\\\\USERS\\\\ADALOV~1\\\\b\"", "\"C:\\\\USERS\\\\<removed>\\\\b\""},
      {"C:\\Documents and Settings\\ada\\b", "C:\\Documents and Settings\\<removed>\\b"},
      {"C:\\users.txt and no user", "C:\\users.txt and no user"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(redacted(text), expected) << text;
  }
}

TEST(LogViews, AsJsonAreValidAndHaveTheErrorsRow) {
  LogArguments arguments;
  arguments.json = true;

  const std::string text = logView("Error: pipe_read: timeout\n(1, 2): \xFF", arguments, Palette());

  EXPECT_THAT(text, AllOf(HasSubstr("\"id\": \"answer-late\""), HasSubstr("\"errors\": 1")));
}

// The library's own logs, as the tests of conversations have approved them.
TEST(LogViews, OfTheLibrarysOwnLogsLeaveNothingUnexplained) {
  std::size_t count = 0;
  for (const auto& file : std::filesystem::directory_iterator(KX_GOLDEN_DIR)) {
    if (!file.path().filename().string().starts_with("log_")) {
      continue;
    }
    ++count;
    std::ifstream stream(file.path(), std::ios::binary);
    std::string log{std::istreambuf_iterator<char>(stream), {}};
    log = replacedAll(replacedAll(log, "(<process>, <thread>)", "(212, 216)"), "<", "");
    LogReader reader;
    reader.feed(log);
    reader.finish();
    LogStory story;
    for (const LogEntry& entry : reader.take()) {
      EXPECT_NE(entry.kind, LogEntry::Kind::Text) << file.path() << ": " << entry.message;
      story.add(entry);
    }
    for (const Conversation& conversation : story.conversations()) {
      for (const LogStep& step : conversation.steps) {
        EXPECT_NE(step.kind, LogStep::Kind::Other) << file.path() << ": " << step.text;
        EXPECT_TRUE(step.kind != LogStep::Kind::Error || step.row != nullptr)
            << file.path() << ": " << step.text;
      }
    }
  }
  EXPECT_GE(count, 5U);
}

TEST(LogVerb, FollowsUntilCtrlCAndTellsTheTimeBetweenSteps) {
  Interruption interruption = false;
  std::ostringstream out;
  const Surroundings around{out, out, {}, {}, false, 80, false, interruption, {}, {}, {}, {}, {}, {}, {}};
  std::vector<std::string> added = {"(1, 2): Starting binary b.exe\n", "",
                                    "(1, 2): Client: waiting for server connection\n", ""};
  std::size_t next = 0;
  const MoreOfLog more = [&] {
    interruption = next + 1 == added.size();
    return added[next++];
  };
  LogArguments arguments;
  arguments.follow = true;

  EXPECT_EQ(runLog(arguments, "k.log", more, around), 0);
  EXPECT_THAT(out.str(), AllOf(HasSubstr("Process 1, thread 2"), HasSubstr("launch      b.exe"),
                               HasSubstr("waiting for the extension to connect back")));
}

TEST(LogVerb, WithoutAFileAndWithoutAPathItSaysWhatIsMissing) {
  const Interruption interruption = false;
  std::ostringstream out;
  const Surroundings around{out, out, {}, {}, false, 80, false, interruption, {}, {}, {}, {}, {}, {}, {}};
  for (const bool follow : {false, true}) {
    LogArguments arguments;
    arguments.follow = follow;
    try {
      runLog(arguments, "", {}, around);
      FAIL();
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.exitCode, kExitWrongUse);
      EXPECT_THAT(problem.sentence, HasSubstr("There is no log"));
    }
  }
}

}  // namespace
}  // namespace kx::cli

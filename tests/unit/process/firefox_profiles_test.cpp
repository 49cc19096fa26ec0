#include "process/firefox_profiles.h"

#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

using Profiles = FirefoxProfileList;

TEST(FirefoxProfiles, ProfilesAreReadByTheRulesOfTheFile) {
  struct Case {
    const char* rule;
    std::string_view text;
    Profiles expected;
    int errors = 0;
  };
  const Case cases[] = {
      {"sections hold their keys and values",
       "[General]\nStartWithLastProfile=1\n\n[Profile0]\nName=default\nIsRelative=1\n",
       {{"General", {{"StartWithLastProfile", "1"}}},
        {"Profile0", {{"Name", "default"}, {"IsRelative", "1"}}}}},
      {"an empty file has no sections", "", {}},
      {"carriage returns are ignored", "[A]\r\nName=x\r\n\r\n[B]\r\n", {{"A", {{"Name", "x"}}}, {"B", {}}}},
      {"wherever they stand", "\r[\rA\r]\r\nN\ra\rme\r=\rx\ry\r\n", {{"A", {{"Name", "xy"}}}}},
      {"keys before the first header",
       "Name=x\n[A]\nName=y\n",
       {{"", {{"Name", "x"}}}, {"A", {{"Name", "y"}}}}},
      {"a header alone makes an empty section", "[A]\n[B]", {{"A", {}}, {"B", {}}}},
      {"also without a name", "[]", {{"", {}}}},
      {"a header that is not closed makes none", "[A\nName=x\n", {}},
      {"a section's name may hold line feeds and brackets", "[A\n[b=c]\n", {{"A\n[b=c", {}}}},
      {"a section that occurs twice loses its first keys",
       "[A]\nName=x\nPath=p\n[B]\n[A]\nName=y\n",
       {{"A", {{"Name", "y"}}}, {"B", {}}}},
      {"a key that occurs twice keeps its last value", "[A]\nName=x\nName=y\n", {{"A", {{"Name", "y"}}}}},
      {"blanks around the equals sign stay", "[A]\nName = dev\n", {{"A", {{"Name ", " dev"}}}}},
      {"a key runs on to its equals sign", "[A]\nkey\nName=x\n", {{"A", {{"key\nName", "x"}}}}},
      {"a value runs to the line end whatever it holds",
       "[A]\nPath= a=b [c] ; \xFF\t\n",
       {{"A", {{"Path", " a=b [c] ; \xFF\t"}}}}},
      {"a value may be empty", "[A]\nPath=\nName=x\n", {{"A", {{"Path", ""}, {"Name", "x"}}}}},
      {"a value without its line end is not stored, and the key stands for it",
       "[A]\nPath=x",
       {{"A", {{"Path", "Path"}}}}},
      {"also an empty one", "[A]\nPath=", {{"A", {{"Path", "Path"}}}}},
      {"a key without its equals sign is not stored", "[A]\nPath", {{"A", {}}}},
      {"whitespace at a line start is skipped", " \t\v\f\n  [A]\n \n\tName=x\n", {{"A", {{"Name", "x"}}}}},
      {"a key begins with a letter of either case",
       "a=1\nz=2\nA=3\nZ=4\n",
       {{"", {{"a", "1"}, {"z", "2"}, {"A", "3"}, {"Z", "4"}}}}},
      {"another byte at a line start is dropped, and what follows is logged byte by byte",
       "1ab\nName=x\n",
       {{"", {{"Name", "x"}}}},
       2},
      {"what follows a header on its line is dropped and logged",
       "[A]x=[\nName=y\n",
       {{"A", {{"Name", "y"}}}},
       3},
      {"a blank behind a header starts a line of its own", "[A] Name=y\n", {{"A", {{"Name", "y"}}}}},
      {"there are no comments, and a word behind a blank starts a key",
       "[A]\n;ab cd=x\n#ef\nName=y\n",
       {{"A", {{"cd", "x"}, {"Name", "y"}}}},
       4},
      // A letter and a blank in some locales.
      {"0xC4 is no letter", "\xC4x=1\nName=y\n", {{"", {{"Name", "y"}}}}, 3},
      {"0xA0 is no whitespace", "1\xA0Key=1\nName=y\n", {{"", {{"Name", "y"}}}}, 6},
      {"a zero byte is a byte like any other",
       std::string_view("[A]\nPath=a\0b\n", 13),
       {{"A", {{"Path", std::string("a\0b", 3)}}}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rule);
    const LogCapture log;
    std::string errors;
    for (int i = 0; i < c.errors; ++i) {
      errors += error("parseFxProfilesFile error");
    }
    EXPECT_EQ(parseFirefoxProfiles(c.text), c.expected);
    EXPECT_EQ(log.text(), errors);
  }
}

TEST(FirefoxProfiles, TheParserTellsWhatItHasReadSoFar) {
  FirefoxProfilesParser parser;
  for (const char byte : std::string("[A]\nName=x\nPath=p")) {
    parser.feed(byte);
  }

  EXPECT_EQ(parser.profiles(), (Profiles{{"A", {{"Name", "x"}, {"Path", "Path"}}}}));
}

TEST(FirefoxProfiles, AMissingKeyHasAnEmptyValue) {
  EXPECT_EQ(valueOf({{"Name", "x"}}, "Name"), "x");
  EXPECT_EQ(valueOf({{"Name", "x"}}, "name"), "");
}

TEST(StartProfile, TheStartProfileIsTheFirstDefaultInTheOrderOfSectionNamesUnlessFirefoxAsksBefore) {
  struct Case {
    const char* rule;
    std::string text;
    std::optional<std::string> expected;
  };
  const std::string profile = "[Profile0]\nName=a\nDefault=1\n";
  const std::string asks = "[General]\nStartWithLastProfile=0\n";
  std::vector<Case> cases = {
      {"the name of the default section", "[Profile0]\nName=a\n[Profile1]\nDefault=1\nName=dev\n", "dev"},
      {"none without profiles", "", {}},
      {"none without a default", "[General]\nStartWithLastProfile=1\n[Profile0]\nName=a\n", {}},
      {"a default without a name is the empty name", "[Profile0]\nDefault=1\n", ""},
      {"the first by name", "[Profile2]\nName=two\nDefault=1\n[Profile10]\nName=ten\nDefault=1\n", "ten"},
      {"none when Firefox asks", asks + profile, {}},
      {"the switch may be absent", "[General]\nVersion=2\n" + profile, "a"},
      {"the switch counts in the general section only", "[general]\nStartWithLastProfile=0\n" + profile, "a"},
      {"not in any other", "[Extra]\nStartWithLastProfile=0\n" + profile, "a"},
      {"never the general section", "[General]\nStartWithLastProfile=1\nDefault=1\nName=g\n", {}},
      {"not even first", "[General]\nDefault=1\nName=g\n" + profile, "a"},
      {"a section that sorts before General is chosen before", asks + "[Alpha]\nName=b\nDefault=1\n", "b"},
      {"by all its letters", asks + "[Genera]\nName=b\nDefault=1\n", "b"},
      {"one that sorts behind it is not", asks + "[General0]\nName=b\nDefault=1\n", {}},
  };
  for (const char* value : {"", "00", " 0", "0 ", "1", "2", "false"}) {
    cases.push_back({value, "[General]\nStartWithLastProfile=" + std::string(value) + "\n" + profile, "a"});
  }
  for (const char* value : {"yes", "1 ", " 1", "11", "", "0", "true"}) {
    cases.push_back({value, "[Profile0]\nName=a\nDefault=" + std::string(value) + "\n", {}});
  }
  for (const Case& c : cases) {
    EXPECT_EQ(startProfileName(parseFirefoxProfiles(c.text)), c.expected) << c.rule;
  }
}

TEST(ParentLock, TheLockLiesInTheFolderOfTheFirstSectionWithTheName) {
  struct Case {
    const char* rule;
    std::string text;
    const char* name;
    std::optional<std::string> expected;
  };
  const std::string data = R"(C:\Roaming\Mozilla\Firefox\)";
  const std::string named = "[Profile0]\nName=a\n";
  const std::string dev = "[Profile0]\nName=dev\nPath=p\n";
  std::vector<Case> cases = {
      {"a relative profile lies below the roaming folder, and every slash is turned",
       named + "IsRelative=1\nPath=/a/b\\c/\n", "a", data + R"(\a\b\c\\parent.lock)"},
      {"an absolute one keeps its path", named + "IsRelative=0\nPath=C:/p\n", "a", R"(C:/p\parent.lock)"},
      {"also without the word", named + "Path=C:/p\n", "a", R"(C:/p\parent.lock)"},
      {"a missing path counts as empty", named, "a", R"(\parent.lock)"},
      {"also a relative one", named + "IsRelative=1\n", "a", data + R"(\parent.lock)"},
      {"the first by name", "[P2]\nName=a\nPath=two\n[P10]\nName=a\nPath=ten\n", "a", R"(ten\parent.lock)"},
      {"a section without a name has the empty name", "[General]\nPath=g\n" + dev, "", R"(g\parent.lock)"},
      {"none without profiles", "", "", {}},
      {"a path cut off by the file's end is its key", named + "Path=C:/p", "a", R"(Path\parent.lock)"},
      {"the key of a name is exact", "[Profile0]\nName = dev\nPath=p\n", "dev", {}},
  };
  for (const char* value : {"", "0", "01", "1 ", "true"}) {
    cases.push_back({value, named + "Path=C:/p\nIsRelative=" + value + "\n", "a", R"(C:/p\parent.lock)"});
  }
  for (const char* name : {"Dev", "dev ", " dev", "de", "devs"}) {
    cases.push_back({"names are compared exactly", dev, name, {}});
  }
  for (const Case& c : cases) {
    EXPECT_EQ(parentLockPath(parseFirefoxProfiles(c.text), c.name, "C:\\Roaming"), c.expected) << c.rule;
  }
}

TEST(ParentLock, TheSlashesOfTheRoamingFolderStay) {
  EXPECT_EQ(parentLockPath({{"P", {{"Name", "a"}, {"IsRelative", "1"}, {"Path", "P/a"}}}}, "a", "C:/Roaming"),
            R"(C:/Roaming\Mozilla\Firefox\P\a\parent.lock)");
}

}  // namespace

}  // namespace kx

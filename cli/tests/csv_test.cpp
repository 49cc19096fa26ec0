#include "cli/csv.h"

#include <gtest/gtest.h>

namespace kx::cli {
namespace {

using Rows = std::vector<std::vector<std::string>>;

TEST(CsvFiles, AreReadIntoNamesAndRows) {
  struct Case {
    std::string text;
    std::vector<std::string> header;
    Rows rows;
  };
  const Case cases[] = {
      {"city\nOslo\n", {"city"}, {{"Oslo"}}},
      {"city,name\r\nOslo,Ada\r\nBergen,Bo", {"city", "name"}, {{"Oslo", "Ada"}, {"Bergen", "Bo"}}},
      {"a,b\n\"x,\"\"y\"\"\nz\",2\n", {"a", "b"}, {{"x,\"y\"\nz", "2"}}},
      {"a,b\n,\n", {"a", "b"}, {{"", ""}}},
      {"a;b\n1,5;2\n", {"a", "b"}, {{"1,5", "2"}}},
      {"a\tb\n1\t2\n", {"a", "b"}, {{"1", "2"}}},
      {"\"a;b\",c\n1,2\n", {"a;b", "c"}, {{"1", "2"}}},
      {"a\n1\n\n2\n\n", {"a"}, {{"1"}, {"2"}}},
      {"a\n\"\"\n", {"a"}, {{""}}},
  };
  for (const Case& one : cases) {
    std::string problem;
    const CsvTable table = readCsv(one.text, "rows.csv", problem);
    EXPECT_EQ(problem, "") << one.text;
    EXPECT_EQ(table.header, one.header) << one.text;
    EXPECT_EQ(table.rows, one.rows) << one.text;
  }
}

TEST(CsvFiles, AreRefusedWithLineAndColumn) {
  const std::pair<std::string, std::string> cases[] = {
      {"a,b\n1,2\n3\n", "rows.csv, line 3, column 1: this row has 1 value, and the header has 2 names."},
      {"a\n1,2\n", "rows.csv, line 2, column 1: this row has 2 values, and the header has 1 name."},
      {"a,b\n1,\"x\n2,y\n",
       "rows.csv, line 2, column 3: a value begins with a double quote here, and no double quote ends it."},
      {"a\n\"x\"y\n",
       "rows.csv, line 2, column 4: text behind a value's closing double quote. A double quote inside the "
       "value is "
       "written twice."},
      {"a\n\xC3\xB8\"x\n",
       "rows.csv, line 2, column 2: a double quote inside a value that does not begin with one. Put the "
       "whole value "
       "in double quotes and write this one twice."},
      {"a,,b\n", "rows.csv, line 1, column 3: the header names the variables, and a name is empty."},
      {"a,b,a\n", "rows.csv, line 1, column 5: the header names the variable \"a\" a second time."},
      {"a\\b\n",
       "rows.csv, line 1, column 1: the header names the variables, and \"a\\b\" has a character that no "
       "name of a "
       "variable may have: a double quote, a backslash or a control character."},
      {"a,b\n", "rows.csv has a header and no row behind it: there is nothing to run."},
      {"", "rows.csv, line 1, column 1: the header names the variables, and a name is empty."},
  };
  for (const auto& [text, sentence] : cases) {
    std::string problem;
    readCsv(text, "rows.csv", problem);
    EXPECT_EQ(problem, sentence);
  }
}

TEST(CsvFiles, ALineThatIsWrittenIsReadBackEqual) {
  const std::vector<std::string> values = {"plain",      "with,comma", "with \"quotes\"",
                                           "two\nlines", "",           " blank "};
  std::string problem;

  const CsvTable table = readCsv("a,b,c,d,e,f\n" + csvLine(values), "rows.csv", problem);

  EXPECT_EQ(table.rows, Rows{values});
}

}  // namespace
}  // namespace kx::cli

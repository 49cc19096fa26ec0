// Tables of values: a CSV file with a header row, in and out. Values may stand in double quotes, in which a
// double quote is written twice; they may then hold separators and line ends. The separator is what the
// header uses: a comma, a semicolon or a tab.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kx::cli {

struct CsvTable {
  std::vector<std::string> header;
  // Each has as many values as the header has names.
  std::vector<std::vector<std::string>> rows;
};

// Reads the text of a file, whose name is for the problem alone: a sentence that tells line and column, empty
// when all is well.
CsvTable readCsv(std::string_view text, const std::string& name, std::string& problem);

// One line, its end included; values are put in quotes where they need it.
std::string csvLine(const std::vector<std::string>& values);

// What is wrong with the name of a macro variable, as the end of a sentence; empty when it can be one.
std::string problemOfVariableName(std::string_view name);

}  // namespace kx::cli

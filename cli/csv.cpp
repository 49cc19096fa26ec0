#include "cli/csv.h"

#include "cli/text.h"

#include <algorithm>
#include <cstddef>

namespace kx::cli {
namespace {

struct Value {
  std::string text;
  std::size_t offset = 0;
};

using Record = std::vector<Value>;

// Cuts the text into records of values. Stops at the first thing that cannot be so.
class CsvReader {
 public:
  CsvReader(std::string_view text, char separator) : text_(text), separator_(separator) {}

  bool hasMore() const { return position_ < text_.size() && problem_.empty(); }
  const std::string& problem() const { return problem_; }
  std::size_t problemOffset() const { return problemOffset_; }

  Record nextRecord() {
    Record record;
    do {
      record.push_back(nextValue());
    } while (problem_.empty() && takeSeparator());
    takeLineEnd();
    return record;
  }

 private:
  bool isAtLineEnd() const {
    return position_ == text_.size() || text_[position_] == '\n' ||
           text_.substr(position_).starts_with("\r\n");
  }

  bool takeSeparator() {
    const bool isThere = position_ < text_.size() && text_[position_] == separator_;
    position_ += isThere ? 1 : 0;
    return isThere;
  }

  void takeLineEnd() {
    if (position_ < text_.size() && text_[position_] == '\r') {
      ++position_;
    }
    if (position_ < text_.size() && text_[position_] == '\n') {
      ++position_;
    }
  }

  void refuse(std::size_t offset, std::string problem) {
    problemOffset_ = offset;
    problem_ = std::move(problem);
  }

  Value nextValue() { return position_ < text_.size() && text_[position_] == '"' ? quoted() : bare(); }

  Value bare() {
    Value value{{}, position_};
    while (!isAtLineEnd() && text_[position_] != separator_) {
      if (text_[position_] == '"') {
        refuse(position_,
               "a double quote inside a value that does not begin with one. Put the whole value in double "
               "quotes and write this one twice.");
        return value;
      }
      value.text += text_[position_++];
    }
    return value;
  }

  Value quoted() {
    Value value{{}, position_++};
    while (position_ < text_.size()) {
      const char c = text_[position_++];
      if (c != '"') {
        value.text += c;
      } else if (position_ < text_.size() && text_[position_] == '"') {
        value.text += text_[position_++];
      } else if (isAtLineEnd() || text_[position_] == separator_) {
        return value;
      } else {
        refuse(
            position_,
            "text behind a value's closing double quote. A double quote inside the value is written twice.");
        return value;
      }
    }
    refuse(value.offset, "a value begins with a double quote here, and no double quote ends it.");
    return value;
  }

  std::string_view text_;
  char separator_;
  std::size_t position_ = 0;
  std::string problem_;
  std::size_t problemOffset_ = 0;
};

// The first of the three that the header has outside of quotes; a comma when it has none.
char separatorOf(std::string_view text) {
  bool isQuoted = false;
  char found = ',';
  for (const char c : text.substr(0, text.find('\n'))) {
    if (c == '"') {
      isQuoted = !isQuoted;
    } else if (!isQuoted && c == ',') {
      return ',';
    } else if (!isQuoted && found == ',' && (c == ';' || c == '\t')) {
      found = c;
    }
  }
  return found;
}

bool isEmptyLine(const Record& record, std::string_view text) {
  const Value& first = record.front();
  return record.size() == 1 && first.text.empty() && text[first.offset] != '"';
}

std::string at(const std::string& name, std::string_view text, std::size_t offset) {
  const Place place = placeOf(text, offset);
  return name + ", line " + std::to_string(place.line) + ", column " + std::to_string(place.column) + ": ";
}

}  // namespace

CsvTable readCsv(std::string_view text, const std::string& name, std::string& problem) {
  CsvTable table;
  const auto refuse = [&](std::size_t offset, const std::string& what) {
    problem = at(name, text, offset) + what;
    return CsvTable();
  };
  CsvReader reader(text, separatorOf(text));
  const Record header = reader.nextRecord();
  if (!reader.problem().empty()) {
    return refuse(reader.problemOffset(), reader.problem());
  }
  for (const Value& value : header) {
    if (const std::string wrong = problemOfVariableName(value.text); !wrong.empty()) {
      return refuse(value.offset, "the header names the variables, and " + wrong);
    }
    if (std::find(table.header.begin(), table.header.end(), value.text) != table.header.end()) {
      return refuse(value.offset, "the header names the variable \"" + value.text + "\" a second time.");
    }
    table.header.push_back(value.text);
  }
  while (reader.hasMore()) {
    const Record record = reader.nextRecord();
    if (!reader.problem().empty()) {
      return refuse(reader.problemOffset(), reader.problem());
    }
    if (isEmptyLine(record, text)) {
      continue;
    }
    if (record.size() != table.header.size()) {
      return refuse(record.front().offset, "this row has " + counted(record.size(), "value") +
                                               ", and the header has " +
                                               counted(table.header.size(), "name") + ".");
    }
    std::vector<std::string> row;
    for (const Value& value : record) {
      row.push_back(value.text);
    }
    table.rows.push_back(std::move(row));
  }
  if (table.rows.empty()) {
    problem = name + " has a header and no row behind it: there is nothing to run.";
  }
  return table;
}

std::string csvLine(const std::vector<std::string>& values) {
  std::string line;
  for (const std::string& value : values) {
    if (!line.empty() || &value != values.data()) {
      line += ',';
    }
    const bool needsQuotes = value.find_first_of("\",;\t\r\n") != std::string::npos ||
                             value.starts_with(' ') || value.ends_with(' ') ||
                             (value.empty() && values.size() == 1);
    line += needsQuotes ? '"' + replacedAll(value, "\"", "\"\"") + '"' : value;
  }
  return line + "\r\n";
}

std::string problemOfVariableName(std::string_view name) {
  if (name.empty()) {
    return "a name is empty.";
  }
  for (const char c : name) {
    if (c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20U) {
      return "\"" + onOneLine(name) +
             "\" has a character that no name of a variable may have: a double quote, a " +
             "backslash or a control character.";
    }
  }
  return {};
}

}  // namespace kx::cli

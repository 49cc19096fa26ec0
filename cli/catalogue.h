// The catalogue of errors, docs/errors.json, as it was when the program was built: what can go wrong, why,
// and what to do. Read once; any thread may look things up.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kx::cli {

enum class ErrorKind { Connection, Macro, Use, Note };

// Which numbers a row is about.
struct NumberRule {
  enum class Kind { Any, Listed, Windows, Extension };

  Kind kind = Kind::Any;
  std::vector<int> listed;
};

struct ErrorRow {
  std::string id;
  ErrorKind kind = ErrorKind::Connection;
  std::vector<std::string> exports;
  std::optional<int> result;
  NumberRule number;
  std::optional<std::string> text;
  std::vector<std::string> log;
  std::string cause;
  std::string remedy;
  std::string page;
};

// What a call of the library gave and left.
struct CallResult {
  std::string exportName;
  int result = 0;
  int number = 0;
  std::string text;
};

class Catalogue {
 public:
  // Throws when the text is not a catalogue: the one that is built in always is.
  explicit Catalogue(std::string_view json);

  static const Catalogue& builtIn();

  const std::vector<ErrorRow>& rows() const { return rows_; }
  // The row of that id, which there is.
  const ErrorRow& row(std::string_view id) const;
  // The row of a call that failed, or null.
  const ErrorRow* find(const CallResult& call) const;
  // The row of an error entry of the log, given without its ids and without "Error: ", or null.
  const ErrorRow* findLogEntry(std::string_view message) const;

 private:
  std::vector<ErrorRow> rows_;
};

}  // namespace kx::cli

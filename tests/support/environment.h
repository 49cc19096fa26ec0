// An environment variable of the test's own process: read when asked, set or removed until the object ends,
// then put back as it was, or removed if it was absent. Works on what every host's changes arrive in; texts
// are UTF-8, of any length. support/native and support/win32 hold one implementation each.
#pragma once

#include <optional>
#include <string>
#include <utility>

class EnvironmentVariable {
 public:
  // Remembers the value and leaves it as it is.
  explicit EnvironmentVariable(std::string name);
  // Nothing removes the variable; an empty text is a value.
  EnvironmentVariable(std::string name, const std::optional<std::string>& value);
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable() { write(name_, old_); }

  void set(const std::string& value) { write(name_, value); }
  void remove() { write(name_, std::nullopt); }

  static std::optional<std::string> valueOf(const std::string& name);

 private:
  static void write(const std::string& name, const std::optional<std::string>& value);

  std::string name_;
  std::optional<std::string> old_;
};

inline EnvironmentVariable::EnvironmentVariable(std::string name)
    : name_(std::move(name)), old_(valueOf(name_)) {}

inline EnvironmentVariable::EnvironmentVariable(std::string name, const std::optional<std::string>& value)
    : EnvironmentVariable(std::move(name)) {
  write(name_, value);
}

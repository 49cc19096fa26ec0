// Environment variables of the test's own process: read when asked, set or removed until the object ends,
// then put back as they were, absent ones included. Texts are UTF-8. support/native and support/win32 hold
// one implementation each.
#pragma once

#include <optional>
#include <string>

namespace test_environment {

std::optional<std::string> get(const std::string& name);
// Nothing removes the variable; an empty text is a value.
void set(const std::string& name, const std::optional<std::string>& value);

}  // namespace test_environment

class ScopedVariable {
 public:
  ScopedVariable(std::string name, const std::optional<std::string>& value)
      : name_(std::move(name)), previous_(test_environment::get(name_)) {
    test_environment::set(name_, value);
  }
  ~ScopedVariable() { test_environment::set(name_, previous_); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  std::string name_;
  std::optional<std::string> previous_;
};

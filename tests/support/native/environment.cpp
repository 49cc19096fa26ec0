#include "support/environment.h"

#include <cstdlib>

namespace test_environment {

std::optional<std::string> get(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

void set(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    ::setenv(name.c_str(), value->c_str(), 1);
  } else {
    ::unsetenv(name.c_str());
  }
}

}  // namespace test_environment

#include "e2e/site.h"

#include "support/environment.h"
#include "support/win32/temp_folder.h"

#include <sstream>
#include <stdexcept>

namespace {

std::string given(const std::string& variable) {
  const std::string value = EnvironmentVariable::valueOf(variable).value_or("");
  if (value.empty()) {
    throw std::runtime_error(variable + " is not set; run_e2e.sh does that");
  }
  return value;
}

}  // namespace

std::string site::address() {
  return given("KX_E2E_SITE");
}

std::vector<std::string> site::tableRows() {
  std::vector<std::string> rows;
  std::istringstream lines(fileBytes(given("KX_E2E_TABLE")));
  for (std::string line; std::getline(lines, line);) {
    rows.push_back(line);
  }
  return rows;
}

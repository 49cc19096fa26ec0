// Compares a log with an approved one, byte for byte, after everything that differs from run to run has been
// replaced by a name in angle brackets, and what only one system writes was left out. KX_GOLDEN_UPDATE=1
// rewrites the approved text.
#pragma once

#include "support/environment.h"
#include "support/win32/log_file.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

class GoldenLog {
 public:
  // For entries of this thread.
  GoldenLog() {
    const std::string process = std::to_string(::GetCurrentProcessId());
    const std::string thread = std::to_string(::GetCurrentThreadId());
    with("(" + process + ", " + thread + "): ", "(<process>, <thread>): ");
    with("." + thread + "." + process, ".<thread>.<process>");
  }

  // The text stands in the approved log as the given name. Earlier ones are replaced first.
  GoldenLog& with(const std::string& text, const std::string& name) {
    names_.emplace_back(text, name);
    return *this;
  }

  void expect(const std::string& name, const std::string& log) const {
    const std::string path = std::string(KX_GOLDEN_DIR) + "/" + name;
    const std::string text = replaced(withoutErrorsOfOneSystem(log));
    if (EnvironmentVariable::valueOf("KX_GOLDEN_UPDATE").value_or("") == "1") {
      std::ofstream(path, std::ios::binary) << text;
    }
    std::ifstream file(path, std::ios::binary);
    ASSERT_TRUE(file) << path << " is missing";
    EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(file), {})) << path;
  }

 private:
  std::string replaced(std::string log) const {
    for (const auto& [text, name] : names_) {
      for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + name.size())) {
        log.replace(at, text.size(), name);
      }
    }
    return log;
  }

  std::vector<std::pair<std::string, std::string>> names_;
};

// Leads the log of the test's own process into a file of its own and compares it byte for byte. Entries carry
// the ids of the process and the thread, which error() and information() put where the log puts them.
#pragma once

#include "support/environment.h"
#include "support/files.h"

#include <string>

class LogCapture {
 public:
  // What KORVEX_LOG says meanwhile.
  enum class Switch { On, Off };

  explicit LogCapture(Switch logging = Switch::On);

  // All that has been written until now.
  std::string text() const;

  const std::string& path() const { return path_; }

 private:
  TestFolder folder_;
  std::string path_;
  EnvironmentVariable switch_;
  EnvironmentVariable pathVariable_;
};

// "(process, thread): " with the ids of the caller.
std::string logPrefix();
// What the file holds after one entry with this message.
std::string information(const std::string& message);
std::string error(const std::string& message);

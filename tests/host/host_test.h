// What the tests of the loaded library share: a freshly loaded library, a user of its own, and a log that is
// switched on and compared byte for byte. Each test gets its own object and works on one thread unless it
// says otherwise.
#pragma once

#include "host/fake_extension.h"
#include "support/win32/dll.h"
#include "support/win32/environment_variable.h"
#include "support/win32/log_file.h"
#include "support/win32/pipe_name.h"
#include "support/win32/temp_folder.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <optional>
#include <string>

class HostTest : public ::testing::Test {
 protected:
  // Where the extension of a browser waits that was started without a profile.
  std::string defaultPipe(const std::string& browser = "fx") const;
  // The library's own pipe, which it names after the calling thread.
  static std::string ownPipe(const std::string& browser = "fx", const std::string& profile = "default");

  // The requests, as the extension receives them.
  static std::string initRequest(bool openNewBrowser, bool launched);
  static std::string playRequest(const std::string& source, const std::string& variables = "{}");
  static std::string showRequest(const std::string& message);
  static std::string captureRequest(const std::string& path, const std::string& type);
  static std::string exitRequest();

  // Where it waits otherwise, except for a Firefox that a runner started. Tests that run at the same time
  // must not meet, so each has a profile and a data folder of its own.
  static std::string profilePipe(const std::string& browser, const std::string& profile);
  // The start page that is generated for a profile. Each test has a folder of its own for it.
  std::string startPage(const std::string& profile) const;

  const std::string firefoxProfile = uniqueName("profile");
  const std::string dataFolder = "C:\\" + uniqueName("data");

  const TempFolder temp{"temp"};
  EnvironmentVariable tempVariable{"TEMP", temp.path()};
  const std::string user = uniqueName("user");
  const EnvironmentVariable userName{"USERNAME", user};
  LogFile log;
  KxLibrary dll;
};

// The log of a host, entry by entry.
class HostLog {
 public:
  HostLog& info(const std::string& message);
  HostLog& error(const std::string& message);
  // Firefox has no list of profiles in these tests, unless one writes it.
  HostLog& noProfiles();
  HostLog& start(const std::string& browser, const std::string& options, const std::string& path, int port,
                 int openNewBrowser, int timeout);
  // Nobody serves the pipe.
  HostLog& notFound(const std::string& serverPipe);
  // The extension was there and connected back.
  HostLog& connected(const std::string& serverPipe, const std::string& ownPipe);
  // A request and an answer that arrived at once.
  HostLog& exchanged(const std::string& request,
                     std::size_t answerLength = std::string(FakeExtension::kSuccess).size());
  HostLog& sent(const std::string& request);

  const std::string& text() const { return entries_.text(); }

 private:
  ExpectedLog entries_;
};

// A host whose context is bound to a Firefox that was running.
class AttachedHostTest : public HostTest {
 protected:
  void SetUp() override;

  int context = -1;
  FakeExtension extension{defaultPipe()};
};

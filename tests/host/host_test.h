// What the tests of the loaded library share: a freshly loaded library, a user of its own, and a log that is
// switched on and compared byte for byte. Each test gets its own object and works on one thread unless it
// says otherwise.
#pragma once

#include "support/environment.h"
#include "support/win32/dll.h"
#include "support/win32/extension.h"
#include "support/win32/log_file.h"
#include "support/win32/pipe_name.h"
#include "support/win32/request_texts.h"
#include "support/win32/temp_folder.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <string>

// A program that is not there, and what a start says of it.
inline constexpr char kMissing[] = "C:\\windows\\no_such_browser.exe";
inline constexpr char kMissingText[] = "Browser binary C:\\windows\\no_such_browser.exe doesn't exists";

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
  HostLog& sending(const std::string& request);
  HostLog& sent(const std::string& request);
  HostLog& read(int bytes);
  // A request and an answer that arrived at once.
  HostLog& exchanged(const std::string& request, const std::string& answer = Extension::kSuccess);
  // A request whose answer was refused at its first byte.
  HostLog& refusedAtOnce(const std::string& request, const std::string& answer);

  const std::string& text() const { return entries_.text(); }

 private:
  ExpectedLog entries_;
};

class HostTest : public ::testing::Test {
 protected:
  // Where the extension of a browser waits that was started without a profile.
  std::string defaultPipe(const std::string& browser = "fx") const;
  // Where it waits otherwise, except for a Firefox that a runner started. Tests that run at the same time
  // must not meet, therefore each has a profile and a data folder of its own.
  static std::string profilePipe(const std::string& browser, const std::string& profile);
  // The library's own pipe, which it names after the calling thread.
  static std::string ownPipe(const std::string& browser = "fx", const std::string& profile = "default");
  // The start page that is generated for a profile. Each test has a folder of its own for it.
  std::string startPage(const std::string& profile) const;

  // A new context, bound to a browser that runs; its extension has to be there. A start that fails fails the
  // test.
  int attach(const char* browser = "fx", const char* options = nullptr) const;
  // Tries to start the missing program, which nobody has to serve.
  int startMissing(int context, const char* browser = "fx", const char* options = nullptr) const {
    return dll.kx_Init(context, browser, options, kMissing, 0, 0, 1);
  }

  void expectError(int context, int number, const std::string& text) const;
  void expectLog(const HostLog& expected) const { EXPECT_EQ(log.text(), expected.text()); }

  const std::string firefoxProfile = uniqueName("profile");
  const std::string dataFolder = "C:\\" + uniqueName("data");

  const TempFolder temp{"temp"};
  EnvironmentVariable tempVariable{"TEMP", temp.path()};
  const std::string user = uniqueName("user");
  const EnvironmentVariable userName{"USERNAME", user};
  LogFile log;
  KxLibrary dll;
};

// A host whose context is bound to a Firefox that was running.
class AttachedHostTest : public HostTest {
 protected:
  void SetUp() override;

  int play(const std::string& macro = "macro", int timeout = 10) const {
    return dll.kx_Play(context, macro.c_str(), timeout);
  }
  // A play that gets this answer.
  int playAnswered(const std::string& answer) {
    extension.answers(answer);
    return play();
  }
  void expectError(int number, const std::string& text) const {
    HostTest::expectError(context, number, text);
  }

  int context = -1;
  Extension extension{defaultPipe()};
};

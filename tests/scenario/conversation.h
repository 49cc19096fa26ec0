// What the tests of whole conversations share: a user, the loaded library with one context, and the texts
// that the library writes to a browser. The browsers are real processes. One thread uses the fixture unless a
// test says otherwise.
#pragma once

#include "support/win32/dll.h"
#include "support/win32/log_signal.h"
#include "support/win32/md5_digest.h"
#include "support/win32/simulator.h"
#include "support/win32/test_user.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

// How a test calls kx_Init().
struct Start {
  std::string browser = "fx";
  std::string options = "";
  std::string program = "C:\\no such folder\\browser.exe";
  int openNewBrowser = 0;
  int timeout = 60;
};

class Conversation : public ::testing::Test {
 protected:
  Conversation();
  ~Conversation() override;

  int init(const Start& start) { return init(context_, start); }
  int init(int context, const Start& start) const;
  // Launches the browser by its path; a failure ends the test.
  void launch(const SimulatedBrowser& browser, const std::string& type = "fx",
              const std::string& options = "");
  // Starts the browser, and attaches to it through the default pipe.
  void attach(SimulatedBrowser& browser);

  int play(const std::string& macro, int timeout = 60) const {
    return dll_.kx_Play(context_, macro.c_str(), timeout);
  }
  int setVariable(const std::string& name, const std::string& value) const {
    return dll_.kx_SetVar(context_, name.c_str(), value.c_str());
  }
  int exit(int timeout = 60) const { return dll_.kx_Exit(context_, timeout); }
  std::string extract(int index = 0) const { return dll_.extract(context_, index); }
  int errorNumber() const { return dll_.kx_GetLastErrorNumber(context_); }
  std::string errorText() const { return dll_.lastErrorText(context_); }
  DWORD browserProcessId() const { return static_cast<DWORD>(dll_.kx_GetBrowserProcessId(context_)); }

  // Whether the context has a browser, launched or attached to.
  bool isInitialised() const { return dll_.kx_GetLastExtract(context_, nullptr, 0, 0) != KX_FAILED; }

  std::string defaultPipe(const std::string& type = "fx") const;
  // The pipe of a browser that kx_Init() gave a profile, and its start page.
  static std::string profilePipe(const std::string& type, const std::string& profile);
  std::string startPage(const std::string& profile) const;
  std::string startPageUrl(const std::string& type, const std::string& profile) const;
  // The name that the library gives its own pipe on this thread.
  static std::string ownPipe(const std::string& type, const std::string& profile);

  TestUser user_;
  KxLibrary dll_;
  int context_;
};

// Hold a start, inside its log call, before it waits for something with a limit: however slow the machine is,
// the browser has then come so far. The log has to be switched on.
//
// At its second look for the pipe, after the launch:
LogSignal untilItHasStarted(const SimulatedBrowser& browser);
LogSignal untilItServes(const SimulatedBrowser& browser);
// Before it waits for the extension:
LogSignal untilItConnects(const SimulatedBrowser& browser);

// How often a text stands in a log.
int occurrences(const std::string& log, const std::string& text);

// What the library writes to a browser. Texts stand in the request as given here: the caller escapes.
std::string initRequest(bool openNewBrowser, bool launched);
std::string playRequest(const std::string& source,
                        const std::vector<std::pair<std::string, std::string>>& variables = {});
std::string profiledPlayRequest(const std::string& source);
std::string showRequest(const std::string& message);
std::string captureRequest(const std::string& path, const std::string& type);
std::string exitRequest();

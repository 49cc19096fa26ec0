// What the tests of whole conversations share: a user, the loaded library with one context, and the calls of
// a host. The browsers are real processes. One thread uses the fixture unless a test says otherwise.
#pragma once

#include "support/win32/dll.h"
#include "support/win32/log_signal.h"
#include "support/win32/md5_digest.h"
#include "support/win32/simulator.h"
#include "support/win32/test_user.h"

#include <gtest/gtest.h>

#include <string>

// How a test calls kx_Init(). No program lies where it points unless the test says so, and a launch fails.
struct Start {
  std::string browser = "fx";
  std::string options = "";
  std::string program = "C:\\no such folder\\browser.exe";
  int timeout = 60;
};

class Conversation : public ::testing::Test {
 protected:
  ~Conversation() override { dll_.kx_ContextDestroy(context_); }

  int init(const Start& start) const { return init(context_, start); }
  int init(int context, const Start& start) const {
    return dll_.kx_Init(context, start.browser.c_str(), start.options.c_str(), start.program.c_str(), 0, 0,
                        start.timeout);
  }
  // Launches the browser by its path, or starts it and attaches to it; a failure ends the test.
  void launch(const SimulatedBrowser& browser) const;
  void attach(SimulatedBrowser& browser) const;

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

  // The pipe of a browser without a profile; that of one to which kx_Init() gave a profile, and its start
  // page.
  std::string defaultPipe(const std::string& type = "fx") const;
  static std::string profilePipe(const std::string& type, const std::string& profile);
  static std::string startPageUrl(const std::string& type, const std::string& profile);

  TestUser user_;
  KxLibrary dll_;
  int context_ = dll_.kx_ContextCreate();
};

// Hold a start, inside its log call, before it waits for something with a limit: however slow the machine is,
// the browser has then come so far. The log has to be switched on.
//
// At its second look for the pipe, after the launch:
LogSignal untilItServes(const SimulatedBrowser& browser);
// Before it waits for the extension:
LogSignal untilItConnects(const SimulatedBrowser& browser);

// How often a text stands in a log.
int occurrences(const std::string& log, const std::string& text);

// What every end-to-end test works with: a user of the machine with profiles of real folders, hosts that use
// the loaded library, the stand-in that starts the real browser, and the check that nothing of it is left.
// Each test runs once for every kind of browser. One thread uses a host; a test may have several.
#pragma once

#include "support/environment.h"
#include "support/win32/dll.h"
#include "support/win32/log_file.h"
#include "support/win32/simulator.h"
#include "support/win32/test_user.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Waits of the library: generous, since a machine under load starts a browser in half a minute.
inline constexpr int kStartSeconds = 180;
inline constexpr int kPlaySeconds = 120;
inline constexpr int kExitSeconds = 60;

struct BrowserKind {
  const char* type;      // as the library calls it
  const char* launcher;  // the stand-in's program of that kind, in the program's own folder
};
inline constexpr BrowserKind kFirefox = {"fx", "kxfirefox.exe"};
inline constexpr BrowserKind kChromium = {"cr", "kxchrome.exe"};
void PrintTo(const BrowserKind& kind, std::ostream* out);

bool isFirefox(const BrowserKind& kind);
// The path of the stand-in, which hosts hand to the library as the browser.
std::string launcherPath(const BrowserKind& kind);

// A profile with a folder of its own: a named one of Firefox, which profiles.ini lists, or a data folder of
// Chromium.
struct Profile {
  BrowserKind kind;
  std::string name;    // what the options call it
  std::string folder;  // as Windows programs name it

  // "-fxProfile NAME" or "-crUserDataDir FOLDER".
  std::string options() const;
  // Whether nobody holds the profile, as the library and the next browser would see it.
  bool isFree() const;
};

class BrowserUser {
 public:
  // Adds a profile; the first of Firefox's is the one that it starts with.
  Profile makeProfile(const BrowserKind& kind, const std::string& name = "work");
  // The pipe of a browser without a profile of its own on the command line.
  std::string defaultPipe(const BrowserKind& kind) const;
  const TestUser& user() const { return user_; }
  // The stand-in's own folders, which it removes when its browser has ended.
  std::vector<std::string> temporaryFolders() const;

 private:
  TestUser user_;
  std::string profilesIni_ = "[General]\nStartWithLastProfile=1\nVersion=2\n\n";
  int firefoxProfiles_ = 0;
};

struct Start {
  std::string options;
  std::string program;
  int openNewBrowser = 0;
  int timeout = kStartSeconds;
};

// One context, used the way a host does. It is destroyed at the end, and exited before if the test has not.
class Host {
 public:
  Host(const KxLibrary& library, const BrowserKind& kind);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  int init(const Start& start);
  int initRunner(const std::string& options, int timeout = kStartSeconds);
  // Every macro gets the variable "site".
  int play(const std::string& macro, int timeout = kPlaySeconds) const;
  int setVariable(const std::string& name, const std::string& value) const;
  int display(const std::string& message) const;
  int takePicture(const std::string& path, int type) const;
  int exit(int timeout = kExitSeconds);
  int exitRunner(int timeout = kExitSeconds);

  std::string extract(int index = 0) const { return library_.extract(context_, index); }
  std::vector<std::string> extracts(int count) const;
  std::vector<std::pair<std::string, std::string>> performance() const;
  std::string profilerData() const { return library_.profilerData(context_); }
  int errorNumber() const { return library_.kx_GetLastErrorNumber(context_); }
  std::string errorText() const { return library_.lastErrorText(context_); }
  DWORD processId() const { return static_cast<DWORD>(library_.kx_GetBrowserProcessId(context_)); }
  ObservedProcess process() const { return ObservedProcess(processId()); }

 private:
  const KxLibrary& library_;
  BrowserKind kind_;
  int context_;
  bool hasBrowser_ = false;
};

// A browser that a user started, or a runner's host.
class StartedBrowser {
 public:
  StartedBrowser(const BrowserKind& kind, const std::string& arguments);
  DWORD id() const { return process_.id(); }
  DWORD exitCode() const { return process_.exitCode(); }
  void kill() const { process_.kill(); }

 private:
  ObservedProcess process_;
};

// Waits until the pipe is served.
bool awaitPipe(const std::string& pipe);

// The test fixture. After every test nothing of a browser may be left, neither on Windows nor on the real
// system.
class RealBrowser : public ::testing::TestWithParam<BrowserKind> {
 protected:
  void TearDown() override;

  static BrowserKind kind() { return GetParam(); }
  std::string launcher() const { return launcherPath(kind()); }
  Start startOf(const Profile& profile) const { return {profile.options(), launcher()}; }

  // Starts, plays and exits: what must be possible whenever a profile is free.
  void expectThatItStartsAgain(const Profile& profile) const;
  // Plays in a page.
  static void expectOrderForm(const Host& host);

  BrowserUser user_;
  const LogFile log_;
  const KxLibrary library_;
};

// Nothing of the run is alive, and the stand-in has cleared its folders away. Adds a failure of the test
// otherwise.
void expectNothingLeft(const BrowserUser& user);

std::string nameOfKind(const ::testing::TestParamInfo<BrowserKind>& info);

#define KX_ON_BOTH_BROWSERS(Suite)                                                   \
  INSTANTIATE_TEST_SUITE_P(Firefox, Suite, ::testing::Values(kFirefox), nameOfKind); \
  INSTANTIATE_TEST_SUITE_P(Chromium, Suite, ::testing::Values(kChromium), nameOfKind)

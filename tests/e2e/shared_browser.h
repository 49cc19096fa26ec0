// One browser for all tests of a suite that leave it as it was: they only visit pages. It is launched for the
// first of them and exited behind the last one, once for every kind. A browser that a test has lost is
// launched anew for the next.
#pragma once

#include "e2e/real_browser.h"

#include <memory>
#include <string>

class SharedBrowser : public ::testing::TestWithParam<BrowserKind> {
 protected:
  static void TearDownTestSuite();
  void SetUp() override;

  static const Host& host() { return session_->host; }
  static std::string temporaryFile(const std::string& name) { return session_->files.path(name); }
  static BrowserKind kind() { return GetParam(); }

  // Plays a macro that has to succeed.
  static void play(const std::string& macro);

 private:
  struct Session {
    explicit Session(const BrowserKind& kind) : host(library, kind) {}
    BrowserUser user;
    TempFolder files{"files"};
    const KxLibrary library;
    Host host;
  };
  static std::unique_ptr<Session> session_;
};

// What a page is told, or tells, without disturbing the next test.
class Pages : public SharedBrowser {};
class PageErrors : public SharedBrowser {};
class Pictures : public SharedBrowser {};

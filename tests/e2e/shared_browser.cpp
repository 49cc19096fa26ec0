#include "e2e/shared_browser.h"

std::unique_ptr<SharedBrowser::Session> SharedBrowser::session_;

void SharedBrowser::SetUp() {
  if (session_) {
    return;
  }
  session_ = std::make_unique<Session>(kind());
  const Profile profile = session_->user.makeProfile(kind());
  if (session_->host.init({profile.options() + " -profiler", launcherPath(kind())}) != KX_OK) {
    const std::string reason = session_->host.errorText();
    session_.reset();
    FAIL() << "the browser could not be launched: " << reason;
  }
}

void SharedBrowser::TearDownTestSuite() {
  if (session_) {
    EXPECT_EQ(session_->host.exit(), KX_OK);
    expectNothingLeft(session_->user);
    session_.reset();
  }
}

void SharedBrowser::play(const std::string& macro) {
  ASSERT_EQ(host().play(macro), KX_OK) << host().errorNumber() << " " << host().errorText();
}

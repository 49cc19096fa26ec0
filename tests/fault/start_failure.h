// What the tests of failing starts share: the log, and what a failed start leaves in its context.
#pragma once

#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <string>

class StartFailure : public Conversation {
 protected:
  // A context whose start failed has no browser, keeps the error, and can be started again.
  void expectFailedStart(int number, const std::string& text) const {
    EXPECT_FALSE(isInitialised());
    EXPECT_EQ(errorNumber(), number);
    EXPECT_EQ(errorText(), text);
  }

  const LogFile log_;
};

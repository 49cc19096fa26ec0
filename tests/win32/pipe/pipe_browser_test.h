// What the tests of the instance that connects over pipes share: a user of their own, the log, and the texts
// that a good connection writes there.
#pragma once

#include "pipe/win32/pipe_browser_instance.h"
#include "support/win32/extension.h"
#include "support/win32/log_file.h"
#include "support/win32/pipe_name.h"
#include "support/win32/test_user.h"
#include "support/win32/windows_calls_override.h"
#include "win32/pipe/pipe_test.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <string>

namespace kx {

// The pipe that an instance of the calling thread serves.
inline std::string expectedCommunicationPipe(const std::string& browserType, const std::string& profile) {
  return "\\\\.\\pipe\\kx-" + browserType + "-cli-" + profile + "." +
         std::to_string(static_cast<int>(::GetCurrentThreadId())) + "." +
         std::to_string(static_cast<int>(::GetCurrentProcessId()));
}

inline json::Object testRequest() {
  return exitRequest();
}
inline constexpr char kTestRequest[] = "{\n \"type\" : \"exit\",\n \"args\" : {}\n}";

// A Chrome instance for a profile that only this test knows; no profiles are looked up for it.
class PipeBrowserTest : public testing::Test {
 protected:
  // What the log says of a connection up to the wait for the extension.
  ExpectedLog expectedHandshake() const {
    ExpectedLog expected;
    expected.info("Client: connecting to server using pipe " + serverPipe)
        .info("Client: creating  communication pipe " + communicationPipe)
        .info("Sending connection data [" + communicationPipe +
              "\n], len = " + std::to_string(communicationPipe.size() + 1));
    return expected;
  }

  void expectError(int number, const std::string& text) const {
    EXPECT_EQ(browser.errorNumber(), number);
    EXPECT_EQ(browser.errorText(), text);
  }

  TestUser user;
  std::string profile = uniqueName("profile");
  std::string serverPipe = "\\\\.\\pipe\\kx-cr-" + profile + "." + user.name();
  std::string communicationPipe = expectedCommunicationPipe("cr", profile);
  std::string lockName = "kx-cr-" + profile + "." + user.name() + ".lock";
  LogFile log;
  PipeBrowserInstance browser{"cr", profile};
};

// The log goes on as expected, whatever the system adds behind.
inline void expectBeginning(const std::string& log, const ExpectedLog& expected) {
  EXPECT_EQ(log.substr(0, expected.text().size()), expected.text());
}

}  // namespace kx

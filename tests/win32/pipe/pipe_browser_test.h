// What the tests of the instance that connects over pipes share: a user of their own, the log, and the texts
// that a good connection writes there.
#pragma once

#include "pipe/win32/pipe_browser_instance.h"
#include "support/win32/log_file.h"
#include "support/win32/pipe_name.h"
#include "support/win32/test_user.h"
#include "support/win32/windows_calls_override.h"
#include "win32/pipe/extension_peer.h"
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
inline constexpr std::size_t kTestRequestSize = sizeof(kTestRequest) - 1;
inline constexpr char kTestReply[] = R"({"status":"fine","errorCode":1})";

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

  TestUser user;
  std::string profile = uniqueName("profile");
  std::string serverPipe = "\\\\.\\pipe\\kx-cr-" + profile + "." + user.name();
  std::string communicationPipe = expectedCommunicationPipe("cr", profile);
  std::string lockName = "kx-cr-" + profile + "." + user.name() + ".lock";
  LogFile log;
  PipeBrowserInstance browser{"cr", profile};
};

// An instance whose extension has connected back; the log is empty again.
class ConnectedPipeBrowserTest : public PipeBrowserTest {
 protected:
  void SetUp() override {
    extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
    ASSERT_TRUE(browser.connect(10)) << browser.errorText();
    extension.finish();
    log.clear();
  }

  ExtensionPeer extension{serverPipe};
};

}  // namespace kx

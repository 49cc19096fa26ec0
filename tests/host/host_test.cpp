#include "host/host_test.h"

#include "support/win32/md5_digest.h"

std::string HostTest::defaultPipe(const std::string& browser) const {
  return "\\\\.\\pipe\\kx-" + browser + "-default." + user;
}

std::string HostTest::profilePipe(const std::string& browser, const std::string& profile) {
  return "\\\\.\\pipe\\kx-" + browser + "-" + md5Digest(profile) + ".runner";
}

std::string HostTest::ownPipe(const std::string& browser, const std::string& profile) {
  return "\\\\.\\pipe\\kx-" + browser + "-cli-" + profile + "." +
         std::to_string(static_cast<int>(::GetCurrentThreadId())) + "." +
         std::to_string(static_cast<int>(::GetCurrentProcessId()));
}

std::string HostTest::startPage(const std::string& profile) const {
  return temp.path(md5Digest(profile) + ".html");
}

int HostTest::attach(const char* browser, const char* options) const {
  const int context = dll.kx_ContextCreate();
  EXPECT_EQ(dll.kx_Init(context, browser, options, nullptr, 0, 0, 30), KX_OK);
  return context;
}

void HostTest::expectError(int context, int number, const std::string& text) const {
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), number);
  EXPECT_EQ(dll.lastErrorText(context), text);
}

HostLog& HostLog::info(const std::string& message) {
  entries_.info(message);
  return *this;
}

HostLog& HostLog::error(const std::string& message) {
  entries_.error(message);
  return *this;
}

HostLog& HostLog::noProfiles() {
  return error("Can not open " + EnvironmentVariable::valueOf("APPDATA").value_or("") +
               "\\Mozilla\\Firefox\\profiles.ini file");
}

HostLog& HostLog::start(const std::string& browser, const std::string& options, const std::string& path,
                        int port, int openNewBrowser, int timeout) {
  return info("kx_Init start, browser = " + browser + ", options = " + options +
              ", binary_location = " + path + ", port = " + std::to_string(port) + ", openNewBrowser = " +
              std::to_string(openNewBrowser) + ", timeout = " + std::to_string(timeout));
}

HostLog& HostLog::notFound(const std::string& serverPipe) {
  info("Client: connecting to server using pipe " + serverPipe);
  return info("Could not open pipe " + serverPipe + ", error = " + (serverPipe.empty() ? "3" : "2"));
}

HostLog& HostLog::connected(const std::string& serverPipe, const std::string& ownPipe) {
  info("Client: connecting to server using pipe " + serverPipe);
  info("Client: creating  communication pipe " + ownPipe);
  info("Sending connection data [" + ownPipe + "\n], len = " + std::to_string(ownPipe.size() + 1));
  return info("Client: waiting for server connection");
}

HostLog& HostLog::sending(const std::string& request) {
  return info("Client: sending message to server [" + request +
              "], msg len=" + std::to_string(request.size()));
}

HostLog& HostLog::sent(const std::string& request) {
  return sending(request).info("Client: Message sent, receiving response");
}

HostLog& HostLog::read(int bytes) {
  return info("Client: Read " + std::to_string(bytes) + " bytes from communication pipe");
}

HostLog& HostLog::exchanged(const std::string& request, const std::string& answer) {
  return sent(request).read(static_cast<int>(answer.size())).info("Client: handling response..");
}

HostLog& HostLog::refusedAtOnce(const std::string& request, const std::string& answer) {
  sent(request).read(static_cast<int>(answer.size()));
  error("BrowserInstance::processResponseBytes() Can not parse char " + answer.substr(0, 1) + "(" +
        std::to_string(answer[0]) + ") at position 0, responce chunk '" + answer + "'");
  return error("BrowserInstance::sendCommand() Error in response processing");
}

void AttachedHostTest::SetUp() {
  context = attach();
  ASSERT_FALSE(HasFailure());
  log.clear();
}

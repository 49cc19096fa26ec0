#include "host/host_test.h"

#include "support/win32/md5_digest.h"

namespace {

const char* word(bool value) {
  return value ? "true" : "false";
}

std::string request(const std::string& type, const std::string& arguments) {
  return "{\n \"type\" : \"" + type + "\",\n \"args\" : " + arguments + "\n}";
}

}  // namespace

std::string HostTest::defaultPipe(const std::string& browser) const {
  return "\\\\.\\pipe\\kx-" + browser + "-default." + user;
}

std::string HostTest::profilePipe(const std::string& browser, const std::string& profile) {
  return "\\\\.\\pipe\\kx-" + browser + "-" + md5Digest(profile) + ".runner";
}

std::string HostTest::startPage(const std::string& profile) const {
  return temp.path(md5Digest(profile) + ".html");
}

std::string HostTest::ownPipe(const std::string& browser, const std::string& profile) {
  return "\\\\.\\pipe\\kx-" + browser + "-cli-" + profile + "." +
         std::to_string(static_cast<int>(::GetCurrentThreadId())) + "." +
         std::to_string(static_cast<int>(::GetCurrentProcessId()));
}

std::string HostTest::initRequest(bool openNewBrowser, bool launched) {
  return request("init", std::string("{\n  \"openNewBrowser\" : ") + word(openNewBrowser) +
                             ",\n  \"launched\" : " + word(launched) + "\n }");
}

std::string HostTest::playRequest(const std::string& source, const std::string& variables) {
  return request("play", "{\n  \"source\" : \"" + source + "\",\n  \"vars\" : " + variables + "\n }");
}

std::string HostTest::showRequest(const std::string& message) {
  return request("show", "{\n  \"message\" : \"" + message + "\"\n }");
}

std::string HostTest::captureRequest(const std::string& path, const std::string& type) {
  return request("capture", "{\n  \"path\" : \"" + path + "\",\n  \"type\" : \"" + type + "\"\n }");
}

std::string HostTest::exitRequest() {
  return request("exit", "{}");
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
  error("Can not open " + EnvironmentVariable::valueOf("APPDATA").value_or("") +
        "\\Mozilla\\Firefox\\profiles.ini file");
  return *this;
}

HostLog& HostLog::start(const std::string& browser, const std::string& options, const std::string& path,
                        int port, int openNewBrowser, int timeout) {
  info("kx_Init start, browser = " + browser + ", options = " + options + ", binary_location = " + path +
       ", port = " + std::to_string(port) + ", openNewBrowser = " + std::to_string(openNewBrowser) +
       ", timeout = " + std::to_string(timeout));
  return *this;
}

HostLog& HostLog::notFound(const std::string& serverPipe) {
  info("Client: connecting to server using pipe " + serverPipe);
  info("Could not open pipe " + serverPipe + ", error = 2");
  return *this;
}

HostLog& HostLog::connected(const std::string& serverPipe, const std::string& ownPipe) {
  info("Client: connecting to server using pipe " + serverPipe);
  info("Client: creating  communication pipe " + ownPipe);
  info("Sending connection data [" + ownPipe + "\n], len = " + std::to_string(ownPipe.size() + 1));
  info("Client: waiting for server connection");
  return *this;
}

HostLog& HostLog::sent(const std::string& request) {
  info("Client: sending message to server [" + request + "], msg len=" + std::to_string(request.size()));
  info("Client: Message sent, receiving response");
  return *this;
}

HostLog& HostLog::exchanged(const std::string& request, std::size_t answerLength) {
  sent(request);
  info("Client: Read " + std::to_string(answerLength) + " bytes from communication pipe");
  info("Client: handling response..");
  return *this;
}

void AttachedHostTest::SetUp() {
  context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  log.clear();
}

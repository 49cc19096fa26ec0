#include "scenario/conversation.h"

#include <stdexcept>

namespace {

constexpr char kConnecting[] = "Client: connecting to server";

std::string requestText(const std::string& type, const std::string& arguments) {
  return "{\n \"type\" : \"" + type + "\",\n \"args\" : " + arguments + "\n}";
}

std::string variablesText(const std::vector<std::pair<std::string, std::string>>& variables) {
  if (variables.empty()) {
    return "{}";
  }
  std::string text = "{\n";
  for (std::size_t i = 0; i < variables.size(); ++i) {
    text += "   \"" + variables[i].first + "\" : \"" + variables[i].second + "\"";
    text += i + 1 < variables.size() ? ",\n" : "\n";
  }
  return text + "  }";
}

const char* jsonText(bool value) {
  return value ? "true" : "false";
}

}  // namespace

LogSignal untilItHasStarted(const SimulatedBrowser& browser) {
  return LogSignal(kConnecting, 2, [&] { EXPECT_NO_THROW(browser.awaitStart()); });
}

LogSignal untilItServes(const SimulatedBrowser& browser) {
  return LogSignal(kConnecting, 2, [&] { EXPECT_NO_THROW(browser.awaitServing()); });
}

LogSignal untilItConnects(const SimulatedBrowser& browser) {
  return LogSignal("Client: waiting for server connection", 1,
                   [&] { EXPECT_NO_THROW(browser.awaitConnection()); });
}

int occurrences(const std::string& log, const std::string& text) {
  int count = 0;
  for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + text.size())) {
    ++count;
  }
  return count;
}

std::string initRequest(bool openNewBrowser, bool launched) {
  return requestText("init", std::string("{\n  \"openNewBrowser\" : ") + jsonText(openNewBrowser) +
                                 ",\n  \"launched\" : " + jsonText(launched) + "\n }");
}

std::string playRequest(const std::string& source,
                        const std::vector<std::pair<std::string, std::string>>& variables) {
  return requestText(
      "play", "{\n  \"source\" : \"" + source + "\",\n  \"vars\" : " + variablesText(variables) + "\n }");
}

std::string profiledPlayRequest(const std::string& source) {
  return requestText(
      "play", "{\n  \"source\" : \"" + source + "\",\n  \"vars\" : {},\n  \"use_profiler\" : true\n }");
}

std::string showRequest(const std::string& message) {
  return requestText("show", "{\n  \"message\" : \"" + message + "\"\n }");
}

std::string captureRequest(const std::string& path, const std::string& type) {
  return requestText("capture", "{\n  \"path\" : \"" + path + "\",\n  \"type\" : \"" + type + "\"\n }");
}

std::string exitRequest() {
  return requestText("exit", "{}");
}

Conversation::Conversation() : context_(dll_.kx_ContextCreate()) {}

Conversation::~Conversation() {
  dll_.kx_ContextDestroy(context_);
}

int Conversation::init(int context, const Start& start) const {
  return dll_.kx_Init(context, start.browser.c_str(), start.options.c_str(), start.program.c_str(), 0,
                      start.openNewBrowser, start.timeout);
}

void Conversation::launch(const SimulatedBrowser& browser, const std::string& type,
                          const std::string& options) {
  if (init({.browser = type, .options = options, .program = browser.program()}) != KX_OK) {
    throw std::runtime_error("the browser could not be launched: " + errorText());
  }
}

void Conversation::attach(SimulatedBrowser& browser) {
  browser.start();
  if (init({}) != KX_OK) {
    throw std::runtime_error("could not attach to the browser: " + errorText());
  }
}

std::string Conversation::defaultPipe(const std::string& type) const {
  return "\\\\.\\pipe\\kx-" + type + "-default." + user_.name();
}

std::string Conversation::profilePipe(const std::string& type, const std::string& profile) {
  return "\\\\.\\pipe\\kx-" + type + "-" + md5Digest(profile) + ".runner";
}

std::string Conversation::startPage(const std::string& profile) const {
  return user_.temp() + "\\" + md5Digest(profile) + ".html";
}

std::string Conversation::startPageUrl(const std::string& type, const std::string& profile) const {
  return "file://" + startPage(profile) + "?pipe=" + profilePipe(type, profile);
}

std::string Conversation::ownPipe(const std::string& type, const std::string& profile) {
  return "\\\\.\\pipe\\kx-" + type + "-cli-" + profile + "." + std::to_string(::GetCurrentThreadId()) + "." +
         std::to_string(::GetCurrentProcessId());
}

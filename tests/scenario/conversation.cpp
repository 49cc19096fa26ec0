#include "scenario/conversation.h"

#include <stdexcept>

void Conversation::launch(const SimulatedBrowser& browser) const {
  if (init({.program = browser.program()}) != KX_OK) {
    throw std::runtime_error("the browser could not be launched: " + errorText());
  }
}

void Conversation::attach(SimulatedBrowser& browser) const {
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

std::string Conversation::startPageUrl(const std::string& type, const std::string& profile) {
  return "file://" + EnvironmentVariable::valueOf("TEMP").value_or("") + "\\" + md5Digest(profile) +
         ".html?pipe=" + profilePipe(type, profile);
}

LogSignal untilItServes(const SimulatedBrowser& browser) {
  return LogSignal("Client: connecting to server", 2, [&] { EXPECT_NO_THROW(browser.awaitServing()); });
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

// A browser instance without a transport: the test says how each connection attempt ends and what each
// request is answered, and reads afterwards what was asked, in order.
#pragma once

#include "browser/browser_instance.h"

#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kx {

class FakeBrowser : public BrowserInstance {
 public:
  struct Failure {
    int number;
    std::string text;
  };
  struct SentRequest {
    std::string text;
    int timeoutSeconds;

    friend bool operator==(const SentRequest&, const SentRequest&) = default;
  };

  explicit FakeBrowser(std::string browserType = kFirefox) : BrowserInstance(std::move(browserType)) {}

  using BrowserInstance::merge;

  // The next connection attempts, in order; when none is left, they succeed.
  void failConnect(int number, std::string text = "not connected") {
    attempts_.push_back({number, std::move(text)});
  }

  // The next responses, in order; when none is left, the extension reports success.
  void answer(std::string response) { answers_.emplace_back(std::move(response)); }
  // The next exchange fails.
  void failExchange(int number, std::string text) {
    answers_.emplace_back(std::nullopt);
    exchangeFailures_.push_back({number, std::move(text)});
  }

  bool connect(int timeoutSeconds) override {
    timeouts.push_back(timeoutSeconds);
    if (attempts_.empty()) {
      return true;
    }
    fail(attempts_.front().number, attempts_.front().text);
    attempts_.pop_front();
    return false;
  }

  bool sendCommand(const json::Object& request, int timeoutSeconds) override {
    sent.push_back({requestText(request), timeoutSeconds});
    std::optional<std::string> response = R"({"status":"OK","errorCode":1})";
    if (!answers_.empty()) {
      response = std::move(answers_.front());
      answers_.pop_front();
    }
    if (!response) {
      fail(exchangeFailures_.front().number, exchangeFailures_.front().text);
      exchangeFailures_.pop_front();
      return false;
    }
    receive(*response);
    return true;
  }

  // Takes a whole response in one piece and handles it.
  void receive(const std::string& response) {
    processResponseBytes(response.data(), response.size());
    handleResponse();
  }

  // Of each connection attempt.
  std::vector<int> timeouts;
  std::vector<SentRequest> sent;

 private:
  std::deque<Failure> attempts_;
  std::deque<std::optional<std::string>> answers_;
  std::deque<Failure> exchangeFailures_;
};

}  // namespace kx

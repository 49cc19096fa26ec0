// A browser's extension, played by a thread of the test's own process with Windows calls alone: it serves the
// pipe on which the library looks for it, reads the name of the library's own pipe, connects back, records
// every request and answers it with raw text as the test says. The test's thread owns the object and may call
// everything; what a request shall meet must be said before the library sends it.
#pragma once

#include "support/win32/raw_pipe.h"

#include <windows.h>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class Extension {
 public:
  static constexpr char kSuccess[] = "{\"status\":\"OK\",\"errorCode\":1}";

  enum class AfterName { ConnectBack, StayAway };

  // The pipe is served when the constructor returns. Throws std::runtime_error when it cannot be.
  explicit Extension(const std::string& serverPipe, AfterName afterName = AfterName::ConnectBack);
  // Closes its ends, whatever is going on.
  ~Extension();
  Extension(const Extension&) = delete;
  Extension& operator=(const Extension&) = delete;

  // What it does with the next requests, one after the other. A request for which nothing was said is
  // answered with kSuccess.
  Extension& answers(const std::string& text) { return add({nullptr, {text}}); }
  // Each piece is sent once the library has read the one before.
  Extension& answersInPieces(const std::vector<std::string>& pieces) { return add({nullptr, pieces}); }
  Extension& answersThenHangsUp(const std::string& text) {
    return add({nullptr, {text}, Afterwards::HangUp});
  }
  Extension& staysSilent() { return add({nullptr, {}}); }
  Extension& hangsUp() { return add({nullptr, {}, Afterwards::HangUp}); }
  // Answers with success and reads no further, but keeps the connection.
  Extension& stopsReading() { return add({nullptr, {kSuccess}, Afterwards::StopReading}); }
  // Runs on the extension's thread before it answers with success.
  Extension& runs(const std::function<void()>& action) { return add({action, {kSuccess}}); }

  // Sends text that nobody asked for, at once. Throws when the library is not connected.
  void says(const std::string& text);
  // Closes its ends and returns when that is done.
  void hangsUpNow();
  // Whether the library still holds its end of the connection.
  bool isConnected();

  // All that was written to the served pipe, its line feed included. Waits until the library has closed it.
  std::string connectionData();
  // The requests so far; the second waits until there are so many, and throws when they do not come.
  std::vector<std::string> requests();
  std::vector<std::string> awaitRequests(std::size_t count);
  // Waits until the library has closed the connection. False when it stays open.
  bool awaitGoodbye();

 private:
  enum class Afterwards { ReadOn, StopReading, HangUp };

  struct Step {
    std::function<void()> action;
    std::vector<std::string> pieces;
    Afterwards afterwards = Afterwards::ReadOn;
  };

  void run(AfterName afterName);
  bool meet();
  bool connectBack();
  void serveRequests();
  Afterwards takeStep();
  Extension& add(Step step);
  // Waits for something that the extension's thread changes. The mutex is locked meanwhile and afterwards.
  std::unique_lock<std::mutex> await(const std::function<bool()>& hasCome, const std::string& failure);

  const HANDLE stop_ = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  RawPipe server_;

  std::mutex mutex_;
  std::condition_variable changed_;
  RawPipe connection_;
  bool hasMet_ = false;
  bool hasEnded_ = false;
  std::string connectionData_;
  std::vector<std::string> requests_;
  std::deque<Step> steps_;

  std::thread thread_;
};

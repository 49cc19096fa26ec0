// The browser's side of the protocol, played by a thread of the test's own process with plain Windows pipe
// calls: it serves the pipe on which the library looks for the extension, reads the name of the library's own
// pipe, connects back, records every request and answers it as the test says, with raw text. Nothing of the
// library is used. The test's thread owns the object and may call everything; what it asks for must be set
// before the library is called.
#pragma once

#include <windows.h>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class FakeExtension {
 public:
  static constexpr char kSuccess[] = "{\"status\":\"OK\",\"errorCode\":1}";

  enum class AfterName { ConnectBack, StayAway };

  // The pipe is served when the constructor returns.
  explicit FakeExtension(const std::string& serverPipe, AfterName afterName = AfterName::ConnectBack);
  // Closes its ends, whatever is going on.
  ~FakeExtension();
  FakeExtension(const FakeExtension&) = delete;
  FakeExtension& operator=(const FakeExtension&) = delete;

  // What it does with the next requests, one after the other. A request for which nothing was said is
  // answered with kSuccess.
  FakeExtension& answers(const std::string& text);
  // Each piece is sent once the library has read the one before.
  FakeExtension& answersInPieces(const std::vector<std::string>& pieces);
  FakeExtension& staysSilent();
  FakeExtension& hangsUp();
  FakeExtension& answersThenHangsUp(const std::string& text);
  // Answers with success and reads no further, but keeps the connection.
  FakeExtension& stopsReading();
  // Runs on the extension's thread before it answers with success.
  FakeExtension& runs(const std::function<void()>& action);

  // Sends text that nobody asked for, at once.
  void says(const std::string& text);
  // Closes its ends and returns when that is done.
  void hangsUpNow();

  // All that was written to the served pipe, its line feed included. Waits until the library has closed it.
  std::string connectionData();
  // The requests so far; the second waits until there are so many, and throws when they do not come.
  std::vector<std::string> requests();
  std::vector<std::string> awaitRequests(std::size_t count);
  // Waits until the library has closed the connection. False when it stays open.
  bool awaitGoodbye();

 private:
  class Event {
   public:
    Event() : handle_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    ~Event() { ::CloseHandle(handle_); }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    HANDLE get() const { return handle_; }

   private:
    HANDLE handle_;
  };

  // The place of one operation on a pipe, with an event of its own.
  class Operation {
   public:
    Operation() { overlapped_.hEvent = event_.get(); }
    OVERLAPPED& get() { return overlapped_; }

   private:
    const Event event_;
    OVERLAPPED overlapped_{};
  };

  enum class Afterwards { ReadOn, StopReading, HangUp };

  struct Step {
    std::function<void()> action;
    std::vector<std::string> pieces;
    Afterwards afterwards = Afterwards::ReadOn;
  };

  void run();
  bool meet();
  bool connectBack();
  void serveRequests();
  Afterwards takeStep();
  bool await(HANDLE pipe, OVERLAPPED& operation, DWORD& count) const;
  DWORD read(HANDLE pipe, char* buffer, DWORD size) const;
  bool write(const std::string& text) const;
  void closeConnection();
  FakeExtension& add(Step step);

  const AfterName afterName_;
  const Event stop_;
  HANDLE server_ = INVALID_HANDLE_VALUE;
  Operation listening_;

  std::mutex mutex_;
  std::condition_variable changed_;
  HANDLE connection_ = INVALID_HANDLE_VALUE;
  bool hasMet_ = false;
  bool hasEnded_ = false;
  std::string connectionData_;
  std::vector<std::string> requests_;
  std::deque<Step> steps_;

  std::thread thread_;
};

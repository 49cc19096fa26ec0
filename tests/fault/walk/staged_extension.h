// The browser with its extension, played on the library's own thread: it acts when the library is about to
// wait, and does then all that there is to do. So whatever it is going to say has been said before the wait
// begins, and every run of a conversation makes the same calls. It reads everything it is sent, however the
// conversation breaks off.
#pragma once

#include <windows.h>
#include <deque>
#include <optional>
#include <string>
#include <vector>

class StagedExtension {
 public:
  static constexpr char kSuccess[] = "{\"status\":\"OK\",\"errorCode\":1}";

  StagedExtension() = default;
  ~StagedExtension();
  StagedExtension(const StagedExtension&) = delete;
  StagedExtension& operator=(const StagedExtension&) = delete;

  // Serves the well-known pipe from here on. A pipe that is busy has a client already, who leaves when the
  // extension acts.
  enum class Start { Free, Busy };
  void serve(const std::string& pipe, Start start = Start::Free);

  // Answers to the requests to come, one each; kSuccess when there is none left. Nothing means silence. An
  // exit has an answer of its own.
  std::string exitAnswer = kSuccess;
  void answers(std::optional<std::string> text) { answers_.push_back(std::move(text)); }
  // The answer to the next request, whatever was meant for requests that never came.
  void answersNext(std::string text) { answers_.assign(1, std::move(text)); }

  // What it does wrong, once, and where. Requests count from 1.
  enum class Moment { NameLine, ConnectBack, Connected, Request, Answer, AfterAnswer };
  enum class Wrong { Nothing, Closes, Stalls, Garbage, TooMuch };
  struct Misdeed {
    Wrong wrong = Wrong::Nothing;
    Moment moment = Moment::NameLine;
    int request = 1;
    std::size_t byte = 0;  // of the answer, that many come before
  };
  void does(const Misdeed& misdeed) { misdeed_ = misdeed; }
  // After a stall: does what it should have done.
  void goesOn();
  // Whether it does not read what lies in the pipe.
  bool isStalled() const { return misdeed_.wrong == Wrong::Stalls && isDoing(Moment::Request); }

  // Whether it answers as soon as a request is out, rather than when the library waits.
  bool isPrompt = false;

  void act();
  void actIfPrompt() {
    if (isPrompt) {
      act();
    }
  }

  // Whether it was asked to exit.
  bool hasLeft() const { return hasLeft_; }
  int requests() const { return requests_; }

 private:
  // One pipe end with the operation that is under way on it.
  struct End {
    HANDLE pipe = INVALID_HANDLE_VALUE;
    OVERLAPPED operation{};
    std::string bytes;  // of a write
    std::vector<char> buffer;

    bool isOpen() const { return pipe != INVALID_HANDLE_VALUE; }
    void open(HANDLE handle);
    // Whether what was begun last has ended.
    bool isIdle() const;
    void close();
  };

  bool isDoing(Moment moment) const;
  // Whether it goes on with what it should do.
  bool passes(Moment moment);
  void misanswer(const std::string& answer);
  void send(const std::string& text);
  void listen();
  void meet();
  void converse();
  static std::string readAll(End& end);
  void answerNext();

  Misdeed misdeed_;
  std::string heldBack_;
  std::string pipeName_;
  End server_;
  HANDLE otherClient_ = INVALID_HANDLE_VALUE;
  End connection_;
  std::string nameLine_;
  std::string request_;
  std::deque<std::optional<std::string>> answers_;
  bool hasLeft_ = false;
  int requests_ = 0;
};

#include "win32/connection.h"

#include "delivery.h"
#include "escapes.h"
#include "request.h"
#include "win32/answer.h"

#include <utility>

namespace kxsim {
namespace {

constexpr std::size_t kLargestNameLine = 4096;
constexpr std::size_t kReadBytes = 65536;
constexpr DWORD kMoreBytesMilliseconds = 100;
constexpr DWORD kPeekStepMilliseconds = 5;

}  // namespace

Connection::Connection(Simulator& simulator, unsigned number, PipeEnd server)
    : simulator_(simulator), number_(number), server_(std::move(server)), actions_(simulator) {}

void Connection::run() {
  event("connect");
  converse();
  pipe_.close();
  server_.close();
  runMoment("gone", {});
  event("gone");
}

void Connection::converse() {
  ActionPlace onServer;
  onServer.pipe = &server_;
  if (runMoment("connect", onServer) == Next::kHangUp) {
    return;
  }
  const Next shaken = simulator_.script.earlyConnect ? connectEarly() : shakeHands();
  if (shaken == Next::kHangUp) {
    return;
  }
  while (serveRequest() == Next::kGoOn) {
  }
}

ActionRunner::Next Connection::shakeHands() {
  const auto line = readNameLine();
  if (!line) {
    return Next::kHangUp;
  }
  ActionPlace onServer;
  onServer.pipe = &server_;
  if (runMoment("handshake", onServer) == Next::kHangUp || connectBack(*line) == Next::kHangUp) {
    return Next::kHangUp;
  }
  ActionPlace onPipe;
  onPipe.pipe = &pipe_;
  return runMoment("connected", onPipe);
}

// The host is still inside the write of its name line while all this happens, because the pipe takes only a
// byte or so at a time: so it cannot be waiting for the connection back yet.
ActionRunner::Next Connection::connectEarly() {
  const auto line = peekNameLine();
  if (!line) {
    return Next::kHangUp;
  }
  ActionPlace onServer;
  onServer.pipe = &server_;
  ActionPlace onPipe;
  onPipe.pipe = &pipe_;
  Next next = runMoment("handshake", onServer);
  if (next == Next::kGoOn) {
    next = connectBack(*line);
  }
  if (next == Next::kGoOn) {
    next = runMoment("connected", onPipe);
  }
  if (next == Next::kHangUp) {
    pipe_.close();
  }
  readNameLine();
  return next;
}

std::optional<std::string> Connection::readNameLine() {
  std::string bytes;
  while (bytes.find('\n') == std::string::npos && bytes.size() < kLargestNameLine) {
    if (server_.read(bytes, kLargestNameLine) != PipeEnd::Outcome::kDone) {
      break;
    }
  }
  simulator_.recorder.save("name-line-" + std::to_string(number_) + ".bin", bytes);
  const std::size_t end = bytes.find('\n');
  if (end == std::string::npos) {
    event("no-name-line bytes=" + std::to_string(bytes.size()));
    return std::nullopt;
  }
  event("name-line " + escapeForLog(bytes.substr(0, end)));
  return bytes.substr(0, end);
}

std::optional<std::string> Connection::peekNameLine() {
  std::string bytes;
  while (server_.peek(bytes) == PipeEnd::Outcome::kDone) {
    const std::size_t end = bytes.find('\n');
    if (end != std::string::npos) {
      return bytes.substr(0, end);
    }
    Sleep(kPeekStepMilliseconds);
  }
  return std::nullopt;
}

ActionRunner::Next Connection::connectBack(const std::string& nameLine) {
  pipe_ = PipeEnd::open(nameLine);
  if (!pipe_) {
    event("connect-back-failed error=" + std::to_string(GetLastError()));
    return Next::kHangUp;
  }
  event("connected");
  return Next::kGoOn;
}

ActionRunner::Next Connection::serveRequest() {
  ActionPlace place;
  place.pipe = &pipe_;
  place.scanner = &scanner_;
  place.requestNumber = requests_ + 1;
  if (runMoment("before-request", place) == Next::kHangUp) {
    return Next::kHangUp;
  }
  const auto request = nextRequest();
  if (!request) {
    if (!scanner_.pending().empty()) {
      simulator_.recorder.save("rest-" + std::to_string(number_) + ".bin", scanner_.pending());
      event("rest bytes=" + std::to_string(scanner_.pending().size()));
    }
    event("peer-gone");
    return Next::kHangUp;
  }
  // The host has long closed its end of the well-known pipe. Closing ours any earlier could overtake the
  // host, whose closing would then meet a pipe that is no longer there.
  server_.close();
  if (request->torn) {
    ++torn_;
    simulator_.recorder.save(fileName("torn", torn_), request->bytes);
    event("torn bytes=" + std::to_string(request->bytes.size()));
    return runMoment("torn", place);
  }
  return answer(request->bytes);
}

ActionRunner::Next Connection::answer(const std::string& bytes) {
  ++requests_;
  simulator_.recorder.save(fileName("request", requests_), bytes);
  const Request request = readRequest(bytes);
  event("request n=" + std::to_string(requests_) + " type=" + escapeForLog(request.type) +
        " bytes=" + std::to_string(bytes.size()) + " well-formed=" + (request.wellFormed ? "yes" : "no"));
  show("request", bytes);

  Delivery delivery;
  answerRequest(request, simulator_, delivery.reply);

  ActionPlace place;
  place.connection = number_;
  place.requestNumber = requests_;
  place.pipe = &pipe_;
  place.scanner = &scanner_;
  place.request = &request;
  place.delivery = &delivery;
  const std::vector<Moment> moments = {simulator_.happened("request", number_),
                                       simulator_.happened(request.type, number_)};
  Next next = actions_.run(moments, place);
  if (!delivery.suppressed) {
    simulator_.recorder.save(fileName("reply", requests_), delivery.bytes());
    event("reply n=" + std::to_string(requests_) + " bytes=" + std::to_string(delivery.bytes().size()));
    show("reply", delivery.bytes());
  }
  if (next == Next::kGoOn) {
    next = actions_.sendRest(place);
  }
  if (request.type == "exit" && !simulator_.stays && !delivery.suppressed) {
    pipe_.close();
    simulator_.end(simulator_.exitCode, "exit");
  }
  return next;
}

std::optional<ScannedRequest> Connection::nextRequest() {
  for (;;) {
    if (auto request = scanner_.next()) {
      return request;
    }
    const bool maybeEnded = scanner_.maybeEnded();
    std::string bytes;
    switch (pipe_.read(bytes, kReadBytes, maybeEnded ? kMoreBytesMilliseconds : INFINITE)) {
      case PipeEnd::Outcome::kDone:
        scanner_.feed(bytes);
        break;
      case PipeEnd::Outcome::kTimeout:
        return scanner_.takeAll();
      case PipeEnd::Outcome::kEnded:
        return std::nullopt;
    }
  }
}

ActionRunner::Next Connection::runMoment(const std::string& name, ActionPlace place) {
  place.connection = number_;
  return actions_.run({simulator_.happened(name, number_)}, place);
}

void Connection::event(const std::string& line) {
  simulator_.recorder.event("conn=" + std::to_string(number_) + " " + line);
}

void Connection::show(const std::string& kind, const std::string& bytes) {
  simulator_.recorder.show(
      "conn=" + std::to_string(number_) + " " + kind + "-bytes n=" + std::to_string(requests_), bytes);
}

std::string Connection::fileName(const std::string& kind, unsigned count) const {
  return kind + "-" + std::to_string(number_) + "-" + std::to_string(count) + ".bin";
}

}  // namespace kxsim

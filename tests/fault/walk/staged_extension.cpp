#include "fault/walk/staged_extension.h"

#include "support/win32/text.h"

#include <stdexcept>
#include <utility>

namespace {

constexpr DWORD kPipeBytes = 4096;
constexpr DWORD kPatienceMilliseconds = 5000;

// Every request is one JSON object over several lines. Line feeds inside texts are escaped, so its end is the
// only line that begins with the brace.
constexpr char kRequestEnd[] = "\n}";

}  // namespace

void StagedExtension::End::open(HANDLE handle) {
  pipe = handle;
  operation = {};
  operation.hEvent = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
}

bool StagedExtension::End::isIdle() const {
  return ::WaitForSingleObject(operation.hEvent, 0) == WAIT_OBJECT_0;
}

void StagedExtension::End::close() {
  if (!isOpen()) {
    return;
  }
  if (!isIdle()) {
    ::CancelIoEx(pipe, &operation);
    ::WaitForSingleObject(operation.hEvent, kPatienceMilliseconds);
  }
  ::CloseHandle(std::exchange(pipe, INVALID_HANDLE_VALUE));
  ::CloseHandle(std::exchange(operation.hEvent, nullptr));
}

StagedExtension::~StagedExtension() {
  connection_.close();
  server_.close();
  if (otherClient_ != INVALID_HANDLE_VALUE) {
    ::CloseHandle(otherClient_);
  }
}

void StagedExtension::serve(const std::string& pipe, Start start) {
  pipeName_ = pipe;
  listen();
  if (start == Start::Busy) {
    otherClient_ = ::CreateFileW(wide(pipe).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                 0, nullptr);
  }
}

void StagedExtension::listen() {
  server_.open(::CreateNamedPipeW(wide(pipeName_).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, 0,
                                  PIPE_UNLIMITED_INSTANCES, kPipeBytes, kPipeBytes, 0, nullptr));
  if (!server_.isOpen()) {
    throw std::runtime_error("could not serve " + pipeName_ + ", error " + std::to_string(::GetLastError()));
  }
  ::ConnectNamedPipe(server_.pipe, &server_.operation);
}

void StagedExtension::act() {
  if (otherClient_ != INVALID_HANDLE_VALUE) {
    ::CloseHandle(std::exchange(otherClient_, INVALID_HANDLE_VALUE));
    ::DisconnectNamedPipe(server_.pipe);
    ::ConnectNamedPipe(server_.pipe, &server_.operation);
    return;
  }
  if (server_.isOpen() && server_.isIdle()) {
    meet();
  }
  if (connection_.isOpen()) {
    converse();
  }
}

void StagedExtension::goesOn() {
  misdeed_ = {};
  if (!heldBack_.empty()) {
    send(std::exchange(heldBack_, {}));
  }
  act();
}

bool StagedExtension::isDoing(Moment moment) const {
  const bool isRequests =
      moment == Moment::Request || moment == Moment::Answer || moment == Moment::AfterAnswer;
  return misdeed_.wrong != Wrong::Nothing && misdeed_.moment == moment &&
         (!isRequests || misdeed_.request == requests_ + (moment == Moment::Request ? 1 : 0));
}

bool StagedExtension::passes(Moment moment) {
  if (!isDoing(moment)) {
    return true;
  }
  switch (misdeed_.wrong) {
    case Wrong::Closes:
      (moment == Moment::NameLine ? server_ : connection_).close();
      return false;
    case Wrong::Stalls:
      return false;
    case Wrong::Garbage:
      send("nonsense");
      break;
    case Wrong::TooMuch:
      send(kSuccess);
      break;
    case Wrong::Nothing:
      break;
  }
  misdeed_ = {};
  return true;
}

// An answer that goes wrong after some of its bytes.
void StagedExtension::misanswer(const std::string& answer) {
  const std::string beginning = answer.substr(0, misdeed_.byte);
  switch (misdeed_.wrong) {
    case Wrong::Closes:
      if (!beginning.empty()) {
        send(beginning);
      }
      connection_.close();
      break;
    case Wrong::Stalls:
      heldBack_ = answer.substr(misdeed_.byte);
      if (!beginning.empty()) {
        send(beginning);
      }
      break;
    case Wrong::Garbage:
      send(beginning + "\x01" + answer.substr(misdeed_.byte));
      break;
    case Wrong::TooMuch:
      send(answer + answer.substr(0, misdeed_.byte));
      break;
    case Wrong::Nothing:
      break;
  }
  misdeed_ = {};
}

void StagedExtension::send(const std::string& text) {
  if (!connection_.isIdle()) {
    ::CancelIoEx(connection_.pipe, &connection_.operation);
    ::WaitForSingleObject(connection_.operation.hEvent, kPatienceMilliseconds);
  }
  connection_.bytes = text;
  ::WriteFile(connection_.pipe, connection_.bytes.data(), static_cast<DWORD>(connection_.bytes.size()),
              nullptr, &connection_.operation);
}

void StagedExtension::meet() {
  if (!passes(Moment::NameLine)) {
    return;
  }
  nameLine_ += readAll(server_);
  if (!nameLine_.ends_with('\n')) {
    return;
  }
  if (!passes(Moment::ConnectBack)) {
    return;
  }
  server_.close();
  const std::string name = nameLine_.substr(0, nameLine_.size() - 1);
  nameLine_.clear();
  const HANDLE pipe = ::CreateFileW(wide(name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
  if (pipe != INVALID_HANDLE_VALUE) {
    connection_.open(pipe);
    static_cast<void>(passes(Moment::Connected));
  }
}

void StagedExtension::converse() {
  DWORD available = 0;
  ::PeekNamedPipe(connection_.pipe, nullptr, 0, nullptr, &available, nullptr);
  if (available > 0 && !passes(Moment::Request)) {
    return;
  }
  // A request may need more than one reading: the library's write goes on as soon as there is room.
  for (std::string bytes = readAll(connection_); !bytes.empty(); bytes = readAll(connection_)) {
    request_ += bytes;
  }
  if (request_.ends_with(kRequestEnd)) {
    answerNext();
  }
}

// What lies in the pipe, without waiting for more.
std::string StagedExtension::readAll(End& end) {
  std::string bytes;
  DWORD available = 0;
  while (::PeekNamedPipe(end.pipe, nullptr, 0, nullptr, &available, nullptr) != FALSE && available > 0) {
    std::string piece(available, '\0');
    OVERLAPPED reading{};
    reading.hEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD count = 0;
    if (::ReadFile(end.pipe, piece.data(), available, nullptr, &reading) != FALSE ||
        ::GetLastError() == ERROR_IO_PENDING) {
      ::GetOverlappedResult(end.pipe, &reading, &count, TRUE);
    }
    ::CloseHandle(reading.hEvent);
    bytes.append(piece, 0, count);
  }
  return bytes;
}

void StagedExtension::answerNext() {
  ++requests_;
  const bool isExit = request_.find("\"type\" : \"exit\"") != std::string::npos;
  hasLeft_ = hasLeft_ || isExit;
  request_.clear();
  std::optional<std::string> answer = isExit ? exitAnswer : kSuccess;
  if (!isExit && !answers_.empty()) {
    answer = std::move(answers_.front());
    answers_.pop_front();
  }
  if (!answer) {
    return;
  }
  if (isDoing(Moment::Answer)) {
    misanswer(*answer);
    return;
  }
  send(*answer);
  static_cast<void>(passes(Moment::AfterAnswer));
}

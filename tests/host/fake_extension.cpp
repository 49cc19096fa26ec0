#include "host/fake_extension.h"

#include "support/win32/text.h"

#include <array>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace {

// Long enough for a slow machine, short enough for a test that has gone wrong.
constexpr std::chrono::seconds kPatience{60};

constexpr DWORD kPipeBytes = 4096;

// Every request is one JSON object over several lines. Line feeds inside texts are escaped, so its end is the
// only line that begins with the brace.
constexpr char kRequestEnd[] = "\n}";

}  // namespace

FakeExtension::FakeExtension(const std::string& serverPipe, AfterName afterName) : afterName_(afterName) {
  server_ = ::CreateNamedPipeW(wide(serverPipe).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                               PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, PIPE_UNLIMITED_INSTANCES,
                               kPipeBytes, kPipeBytes, 0, nullptr);
  if (server_ == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("could not serve " + serverPipe + ", error " + std::to_string(::GetLastError()));
  }
  // Listening before anybody can come: a client that came, wrote and left earlier could not be accepted any
  // more.
  if (::ConnectNamedPipe(server_, &listening_.get()) == FALSE && ::GetLastError() != ERROR_IO_PENDING) {
    throw std::runtime_error("could not listen on " + serverPipe + ", error " +
                             std::to_string(::GetLastError()));
  }
  thread_ = std::thread([this] { run(); });
}

FakeExtension::~FakeExtension() {
  hangsUpNow();
}

FakeExtension& FakeExtension::answers(const std::string& text) {
  return add({nullptr, {text}});
}

FakeExtension& FakeExtension::answersInPieces(const std::vector<std::string>& pieces) {
  return add({nullptr, pieces});
}

FakeExtension& FakeExtension::staysSilent() {
  return add({nullptr, {}});
}

FakeExtension& FakeExtension::hangsUp() {
  return add({nullptr, {}, Afterwards::HangUp});
}

FakeExtension& FakeExtension::answersThenHangsUp(const std::string& text) {
  return add({nullptr, {text}, Afterwards::HangUp});
}

FakeExtension& FakeExtension::stopsReading() {
  return add({nullptr, {kSuccess}, Afterwards::StopReading});
}

FakeExtension& FakeExtension::runs(const std::function<void()>& action) {
  return add({action, {kSuccess}});
}

FakeExtension& FakeExtension::add(Step step) {
  const std::lock_guard guard(mutex_);
  steps_.push_back(std::move(step));
  return *this;
}

void FakeExtension::says(const std::string& text) {
  if (!write(text)) {
    throw std::runtime_error("the library is not connected");
  }
}

void FakeExtension::hangsUpNow() {
  ::SetEvent(stop_.get());
  if (thread_.joinable()) {
    thread_.join();
  }
}

std::string FakeExtension::connectionData() {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, kPatience, [this] { return hasMet_ || hasEnded_; })) {
    throw std::runtime_error("the library did not come");
  }
  return connectionData_;
}

std::vector<std::string> FakeExtension::requests() {
  const std::lock_guard guard(mutex_);
  return requests_;
}

std::vector<std::string> FakeExtension::awaitRequests(std::size_t count) {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, kPatience, [&] { return requests_.size() >= count; })) {
    throw std::runtime_error("only " + std::to_string(requests_.size()) + " requests came");
  }
  return requests_;
}

bool FakeExtension::awaitGoodbye() {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience, [this] { return hasEnded_; });
}

void FakeExtension::run() {
  if (meet() && afterName_ == AfterName::ConnectBack && connectBack()) {
    serveRequests();
  }
  closeConnection();
  const std::lock_guard guard(mutex_);
  hasEnded_ = true;
  changed_.notify_all();
}

bool FakeExtension::meet() {
  DWORD count = 0;
  const bool isConnected = await(server_, listening_.get(), count);
  std::string data;
  std::array<char, kPipeBytes> buffer;
  while (isConnected) {
    const DWORD size = read(server_, buffer.data(), kPipeBytes);
    if (size == 0) {
      break;
    }
    data.append(buffer.data(), size);
  }
  ::CloseHandle(std::exchange(server_, INVALID_HANDLE_VALUE));

  const std::lock_guard guard(mutex_);
  connectionData_ = data;
  hasMet_ = isConnected;
  changed_.notify_all();
  return isConnected && data.ends_with('\n');
}

bool FakeExtension::connectBack() {
  const std::string name = connectionData_.substr(0, connectionData_.size() - 1);
  const HANDLE connection = ::CreateFileW(wide(name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
  const std::lock_guard guard(mutex_);
  connection_ = connection;
  return connection != INVALID_HANDLE_VALUE;
}

void FakeExtension::serveRequests() {
  std::string received;
  std::array<char, kPipeBytes> buffer;
  for (Afterwards afterwards = Afterwards::ReadOn; afterwards == Afterwards::ReadOn;) {
    const DWORD size = read(connection_, buffer.data(), kPipeBytes);
    if (size == 0) {
      return;
    }
    received.append(buffer.data(), size);
    if (received.ends_with(kRequestEnd)) {
      {
        const std::lock_guard guard(mutex_);
        requests_.push_back(std::exchange(received, {}));
        changed_.notify_all();
      }
      afterwards = takeStep();
      if (afterwards == Afterwards::StopReading) {
        ::WaitForSingleObject(stop_.get(), INFINITE);
      }
    }
  }
}

FakeExtension::Afterwards FakeExtension::takeStep() {
  Step step{nullptr, {kSuccess}};
  {
    const std::lock_guard guard(mutex_);
    if (!steps_.empty()) {
      step = std::move(steps_.front());
      steps_.pop_front();
    }
  }
  if (step.action) {
    step.action();
  }
  bool isFirst = true;
  for (const std::string& piece : step.pieces) {
    // The flush returns when the library has read what was sent before. It cannot be cancelled, so nothing is
    // flushed for which the library may never ask.
    if ((!isFirst && ::FlushFileBuffers(connection_) == FALSE) || !write(piece)) {
      return Afterwards::HangUp;
    }
    isFirst = false;
  }
  return step.afterwards;
}

// Waits for the operation to end, or for the extension to be stopped. True when it succeeded.
bool FakeExtension::await(HANDLE pipe, OVERLAPPED& operation, DWORD& count) const {
  const std::array<HANDLE, 2> handles = {operation.hEvent, stop_.get()};
  if (::WaitForMultipleObjects(2, handles.data(), FALSE, INFINITE) != WAIT_OBJECT_0) {
    ::CancelIoEx(pipe, &operation);
  }
  return ::GetOverlappedResult(pipe, &operation, &count, TRUE) != FALSE;
}

// The number of bytes read; 0 at the end of the connection.
DWORD FakeExtension::read(HANDLE pipe, char* buffer, DWORD size) const {
  Operation operation;
  DWORD count = 0;
  if (::ReadFile(pipe, buffer, size, &count, &operation.get()) != FALSE) {
    return count;
  }
  return ::GetLastError() == ERROR_IO_PENDING && await(pipe, operation.get(), count) ? count : 0;
}

bool FakeExtension::write(const std::string& text) const {
  Operation operation;
  DWORD count = 0;
  if (::WriteFile(connection_, text.data(), static_cast<DWORD>(text.size()), &count, &operation.get()) !=
      FALSE) {
    return count == text.size();
  }
  return ::GetLastError() == ERROR_IO_PENDING && await(connection_, operation.get(), count) &&
         count == text.size();
}

void FakeExtension::closeConnection() {
  const std::lock_guard guard(mutex_);
  if (connection_ != INVALID_HANDLE_VALUE) {
    ::CloseHandle(std::exchange(connection_, INVALID_HANDLE_VALUE));
  }
}

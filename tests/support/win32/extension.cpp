#include "support/win32/extension.h"

#include <chrono>
#include <stdexcept>
#include <utility>

namespace {

// Long enough for a slow machine, short enough for a test that has gone wrong.
constexpr std::chrono::seconds kPatience{60};

// Every request is one JSON object over several lines. Line feeds inside texts are escaped, so its end is the
// only line that begins with the brace.
constexpr char kRequestEnd[] = "\n}";

}  // namespace

Extension::Extension(const std::string& serverPipe, AfterName afterName)
    : server_(RawPipe::server(serverPipe)) {
  if (!server_) {
    throw std::runtime_error("could not serve " + serverPipe + ", error " + std::to_string(::GetLastError()));
  }
  server_.endStepsWith(stop_);
  thread_ = std::thread([this, afterName] { run(afterName); });
}

Extension::~Extension() {
  hangsUpNow();
  ::CloseHandle(stop_);
}

Extension& Extension::add(Step step) {
  const std::lock_guard guard(mutex_);
  steps_.push_back(std::move(step));
  return *this;
}

std::unique_lock<std::mutex> Extension::await(const std::function<bool()>& hasCome,
                                              const std::string& failure) {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, kPatience, hasCome)) {
    throw std::runtime_error(failure);
  }
  return lock;
}

void Extension::says(const std::string& text) {
  // Written without the lock: a long text is only taken while the extension goes on reading requests.
  await([this] { return connection_ || hasEnded_; }, "the library did not come").unlock();
  if (!connection_.write(text)) {
    throw std::runtime_error("the library is not connected");
  }
}

bool Extension::isConnected() {
  const auto lock = await([this] { return connection_ || hasEnded_; }, "the library did not come");
  return connection_.isConnected();
}

void Extension::hangsUpNow() {
  ::SetEvent(stop_);
  if (thread_.joinable()) {
    thread_.join();
  }
}

std::string Extension::connectionData() {
  const auto lock = await([this] { return hasMet_ || hasEnded_; }, "the library did not come");
  return connectionData_;
}

std::vector<std::string> Extension::requests() {
  const std::lock_guard guard(mutex_);
  return requests_;
}

std::vector<std::string> Extension::awaitRequests(std::size_t count) {
  const auto lock = await([&] { return requests_.size() >= count; }, "too few requests came");
  return requests_;
}

bool Extension::awaitGoodbye() {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kPatience, [this] { return hasEnded_; });
}

void Extension::run(AfterName afterName) {
  if (meet() && afterName == AfterName::ConnectBack && connectBack()) {
    serveRequests();
  }
  const std::lock_guard guard(mutex_);
  connection_.close();
  hasEnded_ = true;
  changed_.notify_all();
}

bool Extension::meet() {
  const bool isConnected = server_.accept();
  const std::string data = isConnected ? server_.readToEnd() : "";
  server_.close();

  const std::lock_guard guard(mutex_);
  connectionData_ = data;
  hasMet_ = isConnected;
  changed_.notify_all();
  return isConnected && data.ends_with('\n');
}

bool Extension::connectBack() {
  RawPipe connection = RawPipe::client(connectionData_.substr(0, connectionData_.size() - 1));
  connection.endStepsWith(stop_);
  const std::lock_guard guard(mutex_);
  connection_ = std::move(connection);
  changed_.notify_all();
  return static_cast<bool>(connection_);
}

void Extension::serveRequests() {
  std::string received;
  for (std::string piece = connection_.read(); !piece.empty(); piece = connection_.read()) {
    received += piece;
    if (!received.ends_with(kRequestEnd)) {
      continue;
    }
    {
      const std::lock_guard guard(mutex_);
      requests_.push_back(std::exchange(received, {}));
      changed_.notify_all();
    }
    const Afterwards afterwards = takeStep();
    if (afterwards == Afterwards::StopReading) {
      ::WaitForSingleObject(stop_, INFINITE);
    }
    if (afterwards != Afterwards::ReadOn) {
      return;
    }
  }
}

Extension::Afterwards Extension::takeStep() {
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
    // The flush returns when the library has read what was sent before. It cannot be cut short, therefore
    // nothing is flushed for which the library may never ask.
    if ((!isFirst && !connection_.flush()) || !connection_.write(piece)) {
      return Afterwards::HangUp;
    }
    isFirst = false;
  }
  return step.afterwards;
}

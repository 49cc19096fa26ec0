#include "browser/browser_instance.h"

#include "json/errors.h"
#include "log/log.h"

#include <new>
#include <utility>
#include <vector>

namespace kx {

namespace {

constexpr int kCaptureWebPage = 1;

// Hosts compare this text; its spelling stays.
constexpr char kMalformedResponseText[] = "Cought excpetion while processing response, maybe malformed data";

// A small response must not hold on to the memory that a large one has needed.
void shrinkIfFarTooLarge(std::vector<char>& bytes) {
  constexpr std::size_t kAlwaysKept = 65536;
  constexpr std::size_t kTooManyTimes = 8;
  if (bytes.capacity() > kAlwaysKept && bytes.capacity() / kTooManyTimes > bytes.size()) {
    bytes = std::vector<char>(bytes);
  }
}

}  // namespace

BrowserInstance::BrowserInstance(std::string browserType) : browserType_(std::move(browserType)) {}

bool BrowserInstance::initialise(bool openNewBrowser, bool launched, int timeoutSeconds) {
  return sendCommand(initRequest(openNewBrowser, launched), timeoutSeconds);
}

bool BrowserInstance::setVariable(std::string_view name, std::string_view value) {
  variables_.insert_or_assign(std::string(name), std::string(value));
  return true;
}

bool BrowserInstance::play(std::string_view source, int timeoutSeconds) {
  forgetPlay();
  if (!sendCommand(playRequest(source, variables_, useProfiler_), timeoutSeconds)) {
    return false;
  }
  // The browser has seen the variables, whether or not the macro succeeded.
  variables_.clear();
  return response_.errorNumber == kErrorSuccess;
}

bool BrowserInstance::display(const std::string& message, int timeoutSeconds) {
  __loginf("show message %s", message.c_str());
  return sendCommand(showRequest(message), timeoutSeconds);
}

bool BrowserInstance::capture(std::string_view path, int kind, int timeoutSeconds) {
  const CaptureKind captureKind = kind == kCaptureWebPage ? CaptureKind::WebPage : CaptureKind::Browser;
  return sendCommand(captureRequest(path, captureKind), timeoutSeconds);
}

void BrowserInstance::forgetPlay() {
  response_.extracts = {};
  response_.performance = {};
  response_.profilerData = {};
  if (!texts_.empty()) {
    reuse(std::move(texts_.back().bytes));
    texts_.clear();
  }
}

JoinedText BrowserInstance::extract(int index) const {
  return index == 0 || index == -1 ? response_.extracts.all() : response_.extracts.one(index);
}

const PerformanceEntry* BrowserInstance::performanceEntry(int index) const {
  const bool isThere = index >= 1 && static_cast<std::size_t>(index) <= response_.performance.size();
  return isThere ? &response_.performance[static_cast<std::size_t>(index) - 1] : nullptr;
}

void BrowserInstance::fail(int number, std::string text) {
  response_.errorNumber = number;
  response_.errorText = std::move(text);
}

bool BrowserInstance::processResponseBytes(const char* bytes, std::size_t length) {
  const std::size_t before = receiveBuffer_.size();
  keep([&] { receiveBuffer_.insert(receiveBuffer_.end(), bytes, bytes + length); });
  const std::size_t accepted = checker_.feedUntilComplete({bytes, length});
  if (!isDropped_) {
    receiveBuffer_.resize(before + accepted);
  }
  if (accepted < length && !checker_.isComplete()) {
    // The bytes before the rejected one stay in the buffer, and a later response is appended to them.
    checker_ = ResponseChecker();
    isDropped_ = false;
    const auto rejected = static_cast<signed char>(bytes[accepted]);
    __logerr(
        "BrowserInstance::processResponseBytes() Can not parse char %c(%d) at position %d, responce chunk "
        "'%s'",
        rejected, rejected, static_cast<int>(accepted), std::string(bytes, length).c_str());
    return false;
  }

  isResponseIncomplete_ = !checker_.isComplete();
  if (!isResponseIncomplete_) {
    checker_ = ResponseChecker();
    if (accepted < length) {
      keep([&] { pendingBytes_.assign(bytes + accepted, bytes + length); });
    }
    if (std::exchange(isDropped_, false)) {
      throw std::bad_alloc();
    }
  }
  return true;
}

template <typename Step>
void BrowserInstance::keep(Step step) {
  if (isDropped_) {
    return;
  }
  try {
    step();
  } catch (const std::bad_alloc&) {
    receiveBuffer_ = {};
    isDropped_ = true;
  }
}

void BrowserInstance::handleResponse() {
  ReceivedText text;
  text.bytes = std::exchange(receiveBuffer_, std::exchange(pendingBytes_, {}));
  isResponseIncomplete_ = true;
  shrinkIfFarTooLarge(text.bytes);

  // The two messages differ in their spaces; programs that read these logs match both as they are.
  Response received;
  try {
    received = readResponse(text);
  } catch (const json::Reader::ParseException& e) {
    __logerr("BrowserInstance::handleResponse() Caught json::ParseException: %s , line/offset: %d/%d",
             e.what(), e.m_locTokenBegin.m_nLine + 1, e.m_locTokenBegin.m_nLineOffset + 1);
    return;
  } catch (const json::Reader::ScanException& e) {
    __logerr("BrowserInstance::handleResponse() Caught json::ScanException: %s, line/offset: %d/%d ",
             e.what(), e.m_locError.m_nLine + 1, e.m_locError.m_nLineOffset + 1);
    return;
  }

  // The text is kept before, and others are dropped after anything is a view of it, whatever fails between.
  if (text.hasListItems || !received.profilerData.empty()) {
    texts_.push_back(std::move(text));
  } else {
    reuse(std::move(text.bytes));
  }
  merge(received, responseFields());
  dropUnusedTexts();
}

void BrowserInstance::merge(Response& received, std::span<const ResponseField> fields) {
  try {
    mergeFields(received, fields, response_);
  } catch (const json::Exception& e) {
    __logerr("BrowserInstance::handleResponse() caught exception %s", e.what());
    fail(kErrorGeneral, kMalformedResponseText);
  }
}

// Profiler data is a view of the latest text, or empty; the lists have their items in those that say so.
void BrowserInstance::dropUnusedTexts() {
  std::erase_if(texts_, [this](const ReceivedText& text) {
    const bool hasProfilerData = !response_.profilerData.empty() && &text == &texts_.back();
    return !text.hasListItems && !hasProfilerData;
  });
}

void BrowserInstance::reuse(std::vector<char> bytes) {
  if (receiveBuffer_.empty() && receiveBuffer_.capacity() < bytes.capacity()) {
    receiveBuffer_ = std::move(bytes);
    receiveBuffer_.clear();
  }
}

}  // namespace kx

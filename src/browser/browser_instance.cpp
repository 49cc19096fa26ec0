#include "browser/browser_instance.h"

#include "json/reader.h"
#include "log/log.h"

#include <sstream>
#include <utility>
#include <vector>

namespace {

constexpr char kExtractSeparator[] = "[EXTRACT]";
constexpr int kCaptureWebPage = 1;

// Hosts compare this text; its spelling stays.
constexpr char kMalformedResponseText[] = "Cought excpetion while processing response, maybe malformed data";

// The item of a list counted from 1, or null.
template <typename Item>
const Item* itemAt(const std::vector<Item>& items, int index) {
  const bool isInside = index >= 1 && static_cast<std::size_t>(index) <= items.size();
  return isInside ? &items[static_cast<std::size_t>(index) - 1] : nullptr;
}

std::string joined(const std::vector<std::string>& extracts) {
  std::string text;
  for (const std::string& extract : extracts) {
    if (&extract != &extracts.front()) {
      text += kExtractSeparator;
    }
    text += extract;
  }
  return text;
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
  response_.extracts.clear();
  response_.performance.clear();
  response_.profilerData.clear();
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

std::string BrowserInstance::extract(int index) const {
  if (index == 0 || index == -1) {
    return joined(response_.extracts);
  }
  const std::string* text = itemAt(response_.extracts, index);
  return text != nullptr ? *text : std::string();
}

const PerformanceEntry* BrowserInstance::performanceEntry(int index) const {
  return itemAt(response_.performance, index);
}

void BrowserInstance::fail(int number, std::string text) {
  response_.errorNumber = number;
  response_.errorText = std::move(text);
}

bool BrowserInstance::processResponseBytes(const char* bytes, std::size_t length) {
  const std::size_t accepted = checker_.feedUntilComplete({bytes, length});
  receiveBuffer_.append(bytes, accepted);
  if (accepted < length && !checker_.isComplete()) {
    const auto rejected = static_cast<signed char>(bytes[accepted]);
    __logerr(
        "BrowserInstance::processResponseBytes() Can not parse char %c(%d) at position %d, responce chunk "
        "'%s'",
        rejected, rejected, static_cast<int>(accepted), std::string(bytes, length).c_str());
    // The bytes before the rejected one stay in the buffer, and a later response is appended to them.
    checker_ = ResponseChecker();
    return false;
  }

  isResponseIncomplete_ = !checker_.isComplete();
  if (!isResponseIncomplete_) {
    checker_ = ResponseChecker();
    if (accepted < length) {
      pendingBytes_.assign(bytes + accepted, length - accepted);
    }
  }
  return true;
}

void BrowserInstance::handleResponse() {
  std::istringstream text(std::exchange(receiveBuffer_, std::exchange(pendingBytes_, {})));
  isResponseIncomplete_ = true;

  // The two messages differ in their blanks; programs that read these logs match both as they are.
  json::Object object;
  try {
    json::Reader::Read(object, text);
  } catch (const json::Reader::ParseException& e) {
    __logerr("BrowserInstance::handleResponse() Caught json::ParseException: %s , line/offset: %d/%d",
             e.what(), e.m_locTokenBegin.m_nLine + 1, e.m_locTokenBegin.m_nLineOffset + 1);
    return;
  } catch (const json::Reader::ScanException& e) {
    __logerr("BrowserInstance::handleResponse() Caught json::ScanException: %s, line/offset: %d/%d ",
             e.what(), e.m_locError.m_nLine + 1, e.m_locError.m_nLineOffset + 1);
    return;
  }

  takeOver(object, responseFields());
}

void BrowserInstance::takeOver(json::Object& object, std::span<const ResponseField> fields) {
  try {
    readResponse(object, fields, response_);
  } catch (const json::Exception& e) {
    __logerr("BrowserInstance::handleResponse() caught exception %s", e.what());
    fail(kErrorGeneral, kMalformedResponseText);
  }
}

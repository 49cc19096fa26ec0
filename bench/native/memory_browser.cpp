#include "memory_browser.h"

#include <algorithm>

namespace kx {

namespace {

constexpr std::size_t kPieceBytes = 4096;

}  // namespace

bool MemoryBrowser::connect(int) {
  return true;
}

bool MemoryBrowser::sendCommand(const json::Object&, int) {
  for (std::size_t sent = 0; sent < answer_->size(); sent += kPieceBytes) {
    if (!processResponseBytes(answer_->data() + sent, std::min(kPieceBytes, answer_->size() - sent))) {
      return false;
    }
  }
  if (isResponseIncomplete()) {
    return false;
  }
  handleResponse();
  return true;
}

bool tells(const BrowserInstance& browser, const ResponseFields& fields) {
  const int extracts = static_cast<int>(fields.extracts.size());
  for (int i = 0; i < extracts; ++i) {
    if (browser.extract(i + 1).toString() != fields.extracts[static_cast<std::size_t>(i)]) {
      return false;
    }
  }
  const int entries = static_cast<int>(fields.performance.size());
  for (int i = 0; i < entries; ++i) {
    const PerformanceEntry* entry = browser.performanceEntry(i + 1);
    const auto& [name, value] = fields.performance[static_cast<std::size_t>(i)];
    if (entry == nullptr || entry->name != name || entry->value != value) {
      return false;
    }
  }
  return browser.performanceEntry(entries + 1) == nullptr && browser.extract(extracts + 1).size() == 0 &&
         browser.errorText() == fields.status && browser.errorNumber() == fields.errorCode &&
         browser.profilerData() == fields.profilerData &&
         browser.waitForProcessId() == fields.waitForProcessId;
}

}  // namespace kx

// The state of one connection to one browser that carries the extension: what the last response said, the
// macro variables gathered for the next play, and the receiver that cuts responses out of a byte stream. The
// transport comes from a derived class. Owned by a context; used by one thread at a time.
#pragma once

#include "browser/browser_type.h"
#include "browser/requests.h"
#include "browser/response.h"
#include "browser/response_checker.h"
#include "json/elements.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kx {

// The error numbers that the library itself gives.
inline constexpr int kErrorSuccess = 1;
inline constexpr int kErrorGeneral = -1;
inline constexpr int kErrorTimeout = -3;
inline constexpr int kErrorProfileInUse = -4;

class BrowserInstance {
 public:
  explicit BrowserInstance(std::string browserType);
  BrowserInstance(const BrowserInstance&) = delete;
  BrowserInstance& operator=(const BrowserInstance&) = delete;

  // Opens the transport. False leaves the reason in the error number and text.
  virtual bool connect(int timeoutSeconds) = 0;

  // Sends a request and handles its response. True means that a response arrived, whatever it said; false
  // leaves the reason in the error number and text.
  virtual bool sendCommand(const json::Object& request, int timeoutSeconds) = 0;

  virtual ~BrowserInstance() = default;

  bool initialise(bool openNewBrowser, bool launched, int timeoutSeconds);
  bool setVariable(std::string_view name, std::string_view value);
  // Unlike the others, also looks at what the response says: true only for error number 1.
  bool play(std::string_view source, int timeoutSeconds);
  bool display(const std::string& message, int timeoutSeconds);
  // Kind 1 asks for the web page, every other value for the whole browser.
  bool capture(std::string_view path, int kind, int timeoutSeconds);

  // What the last play and the responses since have left. Valid until the next response or play.
  //
  // Index 0 or -1: all extracts, joined with "[EXTRACT]"; 1 to n: that extract; any other: the empty text.
  JoinedText extract(int index) const;
  // The entry of that index, counted from 1, or null.
  const PerformanceEntry* performanceEntry(int index) const;
  std::string_view profilerData() const { return response_.profilerData; }

  const std::string& browserType() const { return browserType_; }
  int errorNumber() const { return response_.errorNumber; }
  const std::string& errorText() const { return response_.errorText; }
  // Sets both, so that number and text always belong together.
  void fail(int number, std::string text);

  std::uint32_t browserProcessId() const { return browserProcessId_; }
  void setBrowserProcessId(std::uint32_t id) { browserProcessId_ = id; }
  std::uint32_t waitForProcessId() const { return response_.waitForProcessId; }
  void clearWaitForProcessId() { response_.waitForProcessId = 0; }
  void setUseProfiler(bool useProfiler) { useProfiler_ = useProfiler; }

  // Receives one piece of the byte stream. False when a byte was rejected; the bytes before it stay in the
  // receive buffer. A response for which there is no memory is still received to its end, so that the next
  // one is read from its beginning; then std::bad_alloc is thrown.
  bool processResponseBytes(const char* bytes, std::size_t length);
  bool isResponseIncomplete() const { return isResponseIncomplete_; }
  // Parses the response that has been received and merges what it says.
  void handleResponse();

 protected:
  // Merges what a response says. When that fails, the failure is the error number and text.
  void merge(Response& received, std::span<const ResponseField> fields);

 private:
  // Runs a step that keeps bytes of the response, unless the response was dropped. Drops it when there is no
  // memory.
  template <typename Step>
  void keep(Step step);
  void forgetPlay();
  void dropUnusedTexts();
  // Lets the next response use the memory of one that nobody looks at any more.
  void reuse(std::vector<char> bytes);

  std::string browserType_;
  Response response_;
  // What the texts in the response are views of, the latest last.
  std::vector<ReceivedText> texts_;
  bool useProfiler_ = false;
  MacroVariables variables_;

  ResponseChecker checker_;
  std::vector<char> receiveBuffer_;
  // Bytes behind the end of a complete response. They go to the receive buffer when that response is handled.
  std::vector<char> pendingBytes_;
  bool isResponseIncomplete_ = true;
  // There was no memory for the response that is being received: its bytes are checked and not kept.
  bool isDropped_ = false;

  std::uint32_t browserProcessId_ = 0;
};

}  // namespace kx

// The reply to one request: what the standard handling and the script put into it, and its JSON text. Owned
// by the thread that serves the connection. The text is written by hand, so that bytes which are no UTF-8
// pass unchanged.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kxsim {

// The number that means success.
constexpr int kSuccess = 1;

std::string quotedJson(std::string_view text);

// A readable text of exactly that many bytes.
std::string generatedText(std::size_t bytes);

class Reply {
 public:
  void setResult(long long errorCode, std::string status);
  void setStatus(std::string status) { status_ = std::move(status); }
  void setErrorCode(long long errorCode) { errorCode_ = errorCode; }
  void addExtract(std::string text) { extracts_.push_back(std::move(text)); }
  void clearExtracts() { extracts_.clear(); }
  void addPerformance(std::string name, std::string value);
  void addProfilerLine(std::string_view line);
  void setWaitForProcessId(long long id) { setMember("waitForProcessId", std::to_string(id)); }

  // Puts a member with this JSON text in, in place of one of the same name.
  void setMember(const std::string& name, const std::string& json);

  // Leaves the member of that name out.
  void dropMember(const std::string& name) { dropped_.push_back(name); }

  // Adds one generated extract that makes the whole text exactly that long; a text that is longer already
  // stays.
  void growTo(std::size_t bytes);

  std::string text() const;

 private:
  std::string status_ = "OK";
  long long errorCode_ = kSuccess;
  std::vector<std::string> extracts_;
  std::vector<std::pair<std::string, std::string>> performance_;
  std::optional<std::string> profilerData_;
  std::vector<std::pair<std::string, std::string>> members_;
  std::vector<std::string> dropped_;
};

}  // namespace kxsim

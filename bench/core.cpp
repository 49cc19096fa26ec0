// What the portable steps cost per byte of a response: the checker, the reader and the writer, on a response
// with many short extracts and on one with a single long text. Prints the best of several rounds, in
// megabytes per second.
#include "browser/response_checker.h"
#include "json/reader.h"
#include "json/writer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>

namespace {

constexpr int kRounds = 9;
constexpr std::size_t kResponseBytes = 4 << 20;

std::string responseOfShortExtracts() {
  std::string text = R"({"status":"OK","errorCode":1,"extractData":["first")";
  for (int i = 0; text.size() < kResponseBytes; ++i) {
    text += ",\"row " + std::to_string(i) + "\\t\\u00e9 and some words\"";
  }
  return text + "]}";
}

std::string responseOfOneLongText() {
  return R"({"status":"OK","errorCode":1,"profilerData":")" + std::string(kResponseBytes, 'x') + "\"}";
}

// The result of a step, so that the compiler cannot leave the step out.
std::size_t checkText(const std::string& text) {
  ResponseChecker checker;
  return checker.feedUntilComplete(text) + (checker.isComplete() ? 1 : 0);
}

std::size_t readText(const std::string& text) {
  std::istringstream stream(text);
  json::Object object;
  json::Reader::Read(object, stream);
  return object.Size();
}

std::size_t writeObject(const json::Object& object) {
  std::ostringstream stream;
  json::Writer::Write(object, stream);
  return stream.str().size();
}

template <typename Step>
void report(const char* response, const char* name, std::size_t bytes, Step step) {
  double best = 0;
  for (int round = 0; round < kRounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    const std::size_t result = step();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    if (result == 0) {
      std::printf("%s did nothing\n", name);
    }
    best = std::max(best, static_cast<double>(bytes) / taken.count() / 1e6);
  }
  std::printf("%-16s %-8s %8.1f MB/s\n", response, name, best);
}

void reportResponse(const char* name, const std::string& text) {
  std::istringstream stream(text);
  json::Object object;
  json::Reader::Read(object, stream);
  report(name, "check", text.size(), [&] { return checkText(text); });
  report(name, "read", text.size(), [&] { return readText(text); });
  report(name, "write", text.size(), [&] { return writeObject(object); });
}

}  // namespace

int main() {
  reportResponse("short extracts", responseOfShortExtracts());
  reportResponse("one long text", responseOfOneLongText());
  return 0;
}

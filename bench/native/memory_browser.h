// A browser instance without a pipe: every request is answered with a text that lies in memory, in pieces as
// large as the reads of a pipe.
#pragma once

#include "browser/browser_instance.h"
#include "texts/response_texts.h"

#include <string>

namespace kx {

class MemoryBrowser final : public BrowserInstance {
 public:
  MemoryBrowser() : BrowserInstance(kChrome) {}

  bool connect(int timeoutSeconds) override;
  bool sendCommand(const json::Object& request, int timeoutSeconds) override;

  // The text has to live until it was played.
  void answerWith(const std::string& json) { answer_ = &json; }

 private:
  const std::string* answer_ = nullptr;
};

// Whether the instance tells what the text was made to say.
bool tells(const BrowserInstance& browser, const ResponseFields& fields);

}  // namespace kx

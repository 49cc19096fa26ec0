#include "support/log_capture.h"

#include "common/platform.h"

LogCapture::LogCapture(Switch logging)
    : folder_("log"),
      path_(folder_.file("test.log")),
      switch_("KORVEX_LOG", logging == Switch::On ? "on" : "off"),
      pathVariable_("KORVEX_LOGPATH", path_) {}

std::string LogCapture::text() const {
  return fileBytes(path_).value_or("");
}

std::string logPrefix() {
  // The log prints both as signed numbers.
  const auto process = static_cast<std::int32_t>(kx::platform::currentProcessId());
  const auto thread = static_cast<std::int32_t>(kx::platform::currentThreadId());
  return "(" + std::to_string(process) + ", " + std::to_string(thread) + "): ";
}

std::string information(const std::string& message) {
  return logPrefix() + message + "\n";
}

std::string error(const std::string& message) {
  return "Error: " + message + "\n" + logPrefix();
}

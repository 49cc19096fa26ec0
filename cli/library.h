// The library as this program uses it: the functions of the public header, with texts instead of buffers. The
// program calls the DLL through it; tests put one of their own in its place. Different contexts may be used
// by different threads at once.
#pragma once

#include "cli/catalogue.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kx::cli {

struct PerformanceValue {
  std::string name;
  std::string value;
};

struct StartCall {
  std::string browser;
  std::string options;
  // Nothing stands for the place where the library looks.
  std::optional<std::string> program;
  bool openNewBrowser = false;
  int timeoutSeconds = 0;
};

class Library {
 public:
  Library() = default;
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  virtual ~Library() = default;

  virtual int createContext() = 0;
  virtual void destroyContext(int context) = 0;
  virtual int errorNumber(int context) = 0;
  virtual std::string errorText(int context) = 0;

  virtual int start(int context, const StartCall& call) = 0;
  virtual int setVariable(int context, const std::string& name, const std::string& value) = 0;
  virtual int play(int context, const std::string& macro, int timeoutSeconds) = 0;
  virtual int display(int context, const std::string& message, int timeoutSeconds) = 0;
  virtual int takeScreenshot(int context, const std::string& path, int type, int timeoutSeconds) = 0;
  virtual int exit(int context, int timeoutSeconds) = 0;

  // What the last play left.
  virtual std::vector<std::string> extracts(int context) = 0;
  virtual std::vector<PerformanceValue> performance(int context) = 0;
  virtual std::string profilerData(int context) = 0;
  // 0 for a browser that was running before.
  virtual std::uint32_t processId(int context) = 0;

  // The runner family: the browser's process belongs to this program, which starts it and sees to its end.
  // The result of the command line, and Windows' error number when the program cannot be started; 0 when both
  // went well.
  virtual int launchRunner(int context, const StartCall& call, std::string& failedExport) = 0;
  virtual int startRunner(int context, const StartCall& call) = 0;
  virtual int exitRunner(int context, int timeoutSeconds) = 0;
  // Waits for the end of the process that launchRunner() started, and ends it when it stays.
  virtual void endRunner(int context, int timeoutSeconds) = 0;
};

}  // namespace kx::cli

// The bridge as a child process: started in a job that ends it, and whatever it has started on Windows, as
// soon as this process is gone, however that comes about. Owned by the launcher's main thread.
#pragma once

#include "win32/unique_handle.h"

#include <string>

namespace kxbrowser {

class BridgeProcess {
 public:
  // 0, or the Windows error number. `output` is the file for all that the bridge prints.
  unsigned long start(const std::string& node, const std::string& script, const std::string& output);

  // Waits for its end and returns its exit code.
  unsigned long wait() const;

 private:
  kxsim::UniqueHandle job_;
  kxsim::UniqueHandle process_;
};

}  // namespace kxbrowser

// A browser instance that reaches its extension over named pipes. The extension serves a well-known pipe; the
// instance opens it only to send the name of a pipe of its own, to which the extension then connects, and
// closes it again. All requests and responses travel over the second pipe. Used by one thread, which should
// also be the one that destroys it: the start lock, which a failed connect keeps, belongs to the thread that
// took it.
#pragma once

#include "browser/browser_instance.h"
#include "pipe/win32/pipe.h"
#include "process/win32/start_lock.h"

#include <string>

namespace kx {

class PipeBrowserInstance final : public BrowserInstance {
 public:
  // The given pipe name may be a full pipe path, a short name, or empty: then it is the browser type's
  // default.
  PipeBrowserInstance(std::string browserType, const std::string& givenPipeName);

  // The time-out bounds the write of the connection data and the wait for the extension, each. Not the waits
  // for the start lock (ten minutes) and for a busy server pipe (five seconds, as often as somebody else
  // takes it first).
  bool connect(int timeoutSeconds) override;

  // The time-out bounds every single write and read.
  bool sendCommand(const json::Object& request, int timeoutSeconds) override;

  const std::string& serverPipeName() const { return serverPipeName_; }
  const std::string& profileName() const { return profileName_; }

 private:
  bool acquireStartLock();
  bool openServerPipe(UniquePipe& serverPipe);
  bool createCommunicationPipe(UniquePipe& communicationPipe);
  bool sendConnectionData(UniquePipe serverPipe, int timeoutSeconds);
  bool awaitExtension(pipe_handle* communicationPipe, int timeoutSeconds);

  bool sendText(const std::string& text, int timeoutSeconds);
  bool receiveResponse(int timeoutSeconds);

  std::string serverPipeName_;
  std::string communicationPipeName_;
  std::string profileName_;
  StartLock startLock_;
  UniquePipe communicationPipe_;  // behind the lock, so that it is closed before the lock is released
};

}  // namespace kx

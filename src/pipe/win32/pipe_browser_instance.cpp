#include "pipe/win32/pipe_browser_instance.h"

#include "common/last_error.h"
#include "common/platform.h"
#include "log/log.h"
#include "process/pipe_names.h"
#include "process/win32/profile_store.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <utility>

namespace kx {

namespace {

constexpr std::size_t kReadBufferBytes = 4096;

std::string userName() {
  return platform::environmentVariable("USERNAME").value_or("");
}

ServerPipe serverPipeFor(const std::string& browserType, const std::string& givenPipeName) {
  if (!givenPipeName.empty()) {
    return explicitServerPipe(browserType, givenPipeName, userName());
  }
  const FirefoxProfileList profiles = browserType == kFirefox ? readFirefoxProfiles() : FirefoxProfileList();
  return defaultServerPipe(browserType, userName(), profiles);
}

// The pipe primitives and the log count in int; a longer text goes out in several writes.
int countedLength(std::size_t length) {
  return static_cast<int>(std::min<std::size_t>(length, std::numeric_limits<int>::max()));
}

}  // namespace

PipeBrowserInstance::PipeBrowserInstance(std::string browserType, const std::string& givenPipeName)
    : BrowserInstance(std::move(browserType)) {
  ServerPipe server = serverPipeFor(this->browserType(), givenPipeName);
  serverPipeName_ = std::move(server.pipePath);
  profileName_ = std::move(server.profileName);
}

bool PipeBrowserInstance::connect(int timeoutSeconds) {
  UniquePipe serverPipe;
  UniquePipe communicationPipe;
  if (!acquireStartLock() || !openServerPipe(serverPipe)) {
    return false;
  }
  startLock_.release();
  if (!createCommunicationPipe(communicationPipe) ||
      !sendConnectionData(std::move(serverPipe), timeoutSeconds) ||
      !awaitExtension(communicationPipe.get(), timeoutSeconds)) {
    return false;
  }
  communicationPipe_ = std::move(communicationPipe);
  return true;
}

bool PipeBrowserInstance::acquireStartLock() {
  if (startLock_.acquire(startLockName(browserType(), profileName_, userName()))) {
    return true;
  }
  fail(kErrorGeneral, "Could not acquire connection lock");
  return false;
}

// The start lock stays held when this fails: the next attempt goes on with it, and other hosts wait
// meanwhile.
bool PipeBrowserInstance::openServerPipe(UniquePipe& serverPipe) {
  __loginf("Client: connecting to server using pipe %s", serverPipeName_.c_str());
  serverPipe.reset(pipe_open(serverPipeName_.c_str()));
  if (serverPipe) {
    return true;
  }
  fail(profileIsLocked(browserType(), profileName_) ? kErrorProfileInUse : kErrorGeneral,
       "Could not open server pipe " + serverPipeName_);
  return false;
}

bool PipeBrowserInstance::createCommunicationPipe(UniquePipe& communicationPipe) {
  communicationPipeName_ = communicationPipeName(browserType(), profileName_, platform::currentThreadId(),
                                                 platform::currentProcessId());
  __loginf("Client: creating  communication pipe %s", communicationPipeName_.c_str());
  communicationPipe.reset(pipe_create(communicationPipeName_.c_str()));
  if (communicationPipe) {
    return true;
  }
  const int error = lastErrorForLog();
  __logerr("BrowserInstance::connect() Error creating pipe cli=%s, error=%d", communicationPipeName_.c_str(),
           error);
  fail(error, "Could not create communication channel");
  return false;
}

bool PipeBrowserInstance::sendConnectionData(UniquePipe serverPipe, int timeoutSeconds) {
  const std::string data = communicationPipeName_ + "\n";
  const int length = countedLength(data.size());
  __loginf("Sending connection data [%s], len = %d", data.c_str(), length);
  const int written = pipe_write(serverPipe.get(), data.c_str(), length, timeoutSeconds);
  {
    // The message about the write comes after the close and names the write's error.
    const LastErrorGuard guard;
    serverPipe.reset();
  }
  if (written < 0) {
    __logerr("BrowserInstance::connect() writing into pipe error %d", lastErrorForLog());
    fail(written, "Could not write into pipe");
    return false;
  }
  return true;
}

bool PipeBrowserInstance::awaitExtension(pipe_handle* communicationPipe, int timeoutSeconds) {
  __loginf("Client: waiting for server connection");
  const int result = pipe_accept(communicationPipe, timeoutSeconds);
  if (result < 0) {
    __logerr("Client: (pipe_accept) error=%d", lastErrorForLog());
    fail(result, "Failed to establish connection");
    return false;
  }
  return true;
}

bool PipeBrowserInstance::sendCommand(const json::Object& request, int timeoutSeconds) {
  if (!sendText(requestText(request), timeoutSeconds)) {
    return false;
  }
  __loginf("Client: Message sent, receiving response");
  if (!receiveResponse(timeoutSeconds)) {
    return false;
  }
  __loginf("Client: handling response..");
  handleResponse();
  return true;
}

bool PipeBrowserInstance::sendText(const std::string& text, int timeoutSeconds) {
  std::size_t sent = 0;
  do {
    const char* const rest = text.c_str() + sent;
    const int length = countedLength(text.size() - sent);
    __loginf("Client: sending message to server [%s], msg len=%d", rest, length);
    const int written = pipe_write(communicationPipe_.get(), rest, length, timeoutSeconds);
    if (written < 0) {
      fail(written, "Error while sending request");
      __logerr("BrowserInstance::sendCommand() %s, error=%d", errorText().c_str(), written);
      return false;
    }
    sent += static_cast<std::size_t>(written);
  } while (sent < text.size());
  return true;
}

bool PipeBrowserInstance::receiveResponse(int timeoutSeconds) {
  std::array<char, kReadBufferBytes> buffer;
  do {
    const int count =
        pipe_read(communicationPipe_.get(), buffer.data(), static_cast<int>(buffer.size()), timeoutSeconds);
    __loginf("Client: Read %d bytes from communication pipe", count);
    if (count < 0) {
      fail(count, "Error while receiving response");
      __logerr("BrowserInstance::sendCommand() Couldn't receive message, error %d", lastErrorForLog());
      return false;
    }
    if (count == 0) {
      fail(kErrorGeneral, "Server unexpectedly closed connection");
      __logerr("BrowserInstance::sendCommand() %s, gla=%d", errorText().c_str(), lastErrorForLog());
      return false;
    }
    if (!processResponseBytes(buffer.data(), static_cast<std::size_t>(count))) {
      fail(kErrorGeneral, "Error in response processing");
      __logerr("BrowserInstance::sendCommand() %s", errorText().c_str());
      return false;
    }
  } while (isResponseIncomplete());
  return true;
}

}  // namespace kx

// Carries out the script's actions at one moment, in their order. A connection has one of these and runs it
// on its own thread; the moments outside any connection use one without a pipe.
#pragma once

#include "delivery.h"
#include "request.h"
#include "request_scanner.h"
#include "win32/pipe_end.h"
#include "win32/simulator.h"

#include <optional>
#include <string>
#include <vector>

namespace kxsim {

// Where an action finds what it works on; what a moment does not have is null.
struct ActionPlace {
  unsigned connection = 0;
  unsigned requestNumber = 0;
  PipeEnd* pipe = nullptr;
  RequestScanner* scanner = nullptr;
  const Request* request = nullptr;
  Delivery* delivery = nullptr;
};

class ActionRunner {
 public:
  enum class Next { kGoOn, kHangUp };

  explicit ActionRunner(Simulator& simulator) : simulator_(simulator) {}

  Next run(const std::vector<Moment>& moments, const ActionPlace& place);

  // Sends what is left of the reply, unless it was suppressed. kHangUp when the other end is gone.
  Next sendRest(const ActionPlace& place);

 private:
  Next runAction(const Action& action, const ActionPlace& place);
  Next runPipeAction(const Action& action, const ActionPlace& place);
  void runReplyAction(const Action& action, Delivery& delivery);
  void runBytesAction(const Action& action, Delivery& delivery);
  void setWaitForPid(const std::string& word, Reply& reply);
  void pause(long long milliseconds);
  Next waitForEvent(const std::string& name);
  void hold(PipeEnd* pipe);
  Next readPart(std::size_t bytes, const ActionPlace& place);
  Next sendPiece(std::string_view piece, const ActionPlace& place);
  std::string resolved(const std::string& text) const;
  std::string resolvedBytes(const std::string& text) const;
  std::optional<std::string> lookUp(const std::string& name) const;

  Simulator& simulator_;
  const ActionPlace* place_ = nullptr;  // of the run() that is going on
};

}  // namespace kxsim

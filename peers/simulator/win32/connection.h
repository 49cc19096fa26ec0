// One host's conversation: the name line on the well-known pipe, the connection back to the host's own pipe,
// and the requests on that. Runs from beginning to end on a thread of its own.
#pragma once

#include "request_scanner.h"
#include "win32/action_runner.h"
#include "win32/pipe_end.h"
#include "win32/simulator.h"

#include <optional>
#include <string>

namespace kxsim {

class Connection {
 public:
  Connection(Simulator& simulator, unsigned number, PipeEnd server);

  void run();

 private:
  using Next = ActionRunner::Next;

  void converse();
  Next shakeHands();
  Next connectEarly();
  std::optional<std::string> readNameLine();
  std::optional<std::string> peekNameLine();
  Next connectBack(const std::string& nameLine);
  Next serveRequest();
  Next answer(const std::string& bytes);
  std::optional<ScannedRequest> nextRequest();
  Next runMoment(const std::string& name, ActionPlace place);
  void event(const std::string& line);
  void show(const std::string& kind, const std::string& bytes);
  std::string fileName(const std::string& kind, unsigned count) const;

  Simulator& simulator_;
  const unsigned number_;
  PipeEnd server_;
  PipeEnd pipe_;
  RequestScanner scanner_;
  ActionRunner actions_;
  unsigned requests_ = 0;
  unsigned torn_ = 0;
};

}  // namespace kxsim

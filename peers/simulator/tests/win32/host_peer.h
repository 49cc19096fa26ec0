// Plays the library's side of the pipes against a real kxsim.exe, with nothing of the library in it. Each
// test owns one process, one folder and its own names, so that tests can run side by side.
#pragma once

#include "win32/pipe_end.h"
#include "win32/unique_handle.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kxsim {

// A folder of its own, an environment of its own, and at most one running simulator.
class SimulatorProcess {
 public:
  SimulatorProcess();
  ~SimulatorProcess();
  SimulatorProcess(const SimulatorProcess&) = delete;
  SimulatorProcess& operator=(const SimulatorProcess&) = delete;

  // The program is named like that in the command line; a path is made of it in the test's folder.
  void copyProgramAs(const std::string& fileName);

  // Lines are added to the script; the first ones already signal the event that start() waits for.
  void script(const std::string& line) { script_ += line + "\n"; }

  // Starts the process and waits until it serves its pipe.
  void start(const std::string& arguments = "");

  // Starts it and waits for nothing.
  void startOnly(const std::string& arguments = "");

  // Waits for its end and gives the exit code.
  DWORD exitCode();
  bool running() const;
  void terminate() { TerminateProcess(process_.get(), 99); }
  DWORD processId() const { return processId_; }

  // A Windows event with a name of this test's own.
  std::string eventName(const std::string& name) const;
  void signal(const std::string& name);
  void waitFor(const std::string& name);

  std::string path(const std::string& fileName) const { return folder_ + "\\" + fileName; }
  std::string recorded(const std::string& fileName) const;
  bool eventLogHas(const std::string& line) const;

  const std::string& userName() const { return userName_; }
  const std::string& program() const { return program_; }

  // What the process wrote to its standard output; only after its end.
  std::string output() const;

 private:
  HANDLE event(const std::string& name);

  std::string folder_;
  std::string userName_;
  std::string program_;
  std::string script_;
  UniqueHandle process_;
  DWORD processId_ = 0;
  std::vector<UniqueHandle> events_;
};

// One conversation with it.
class HostPeer {
 public:
  // Opens the well-known pipe. Empty pipe on failure.
  explicit HostPeer(const std::string& wellKnownPipe);

  bool reached() const { return static_cast<bool>(server_); }

  // Makes the own pipe and writes its name line.
  void sendNameLine();

  // Waits for the connection back.
  bool accept() { return own_.accept(); }
  bool shakeHands();

  bool send(std::string_view bytes) { return own_.write(bytes); }

  // One read; empty when the other end is gone.
  std::string readOnce();

  // Reads until a complete JSON text is there, and gives the sizes of the pieces too.
  std::string readReply();
  std::string exchange(std::string_view request);
  const std::vector<std::size_t>& pieces() const { return pieces_; }

  // True once the other end has closed and everything it sent has been read.
  bool ended();

  void hangUp();
  const std::string& ownName() const { return ownName_; }
  PipeEnd& server() { return server_; }
  PipeEnd& own() { return own_; }

 private:
  PipeEnd server_;
  PipeEnd own_;
  std::string ownName_;
  std::vector<std::size_t> pieces_;
};

// The text of a request, laid out as the library does.
std::string requestText(const std::string& type, const std::vector<std::string>& argumentLines = {});
std::string playText(const std::string& source);

}  // namespace kxsim

// kxsim.exe as the browser of a test: a program of its own name in a folder of its own, with its script
// beside it, and everything that it records. The library launches it by its path, or the test starts it for a
// host that attaches. The test's thread owns the object; when it goes, no process of that program is left.
#pragma once

#include "support/win32/helper_process.h"
#include "support/win32/pipe_name.h"
#include "support/win32/temp_folder.h"

#include <windows.h>
#include <optional>
#include <string>
#include <vector>

// A process that somebody else started, held by its id so that its end can be waited for.
class ObservedProcess {
 public:
  explicit ObservedProcess(DWORD id);
  ~ObservedProcess();
  ObservedProcess(ObservedProcess&& other) noexcept;
  ObservedProcess(const ObservedProcess&) = delete;
  ObservedProcess& operator=(const ObservedProcess&) = delete;

  DWORD id() const { return id_; }
  bool isRunning() const;
  // Waits for the end and gives the exit code.
  DWORD exitCode() const;
  void kill() const;

 private:
  DWORD id_;
  HANDLE handle_;
};

class SimulatedBrowser {
 public:
  // Thousands of conversations would leave ten thousands of files, so long runs do without.
  enum class Recording { On, Off };

  // A program called chrome... plays Chrome, and every other one Firefox, unless its switches or the script
  // say otherwise.
  explicit SimulatedBrowser(const std::string& programName = uniqueName("browser") + ".exe",
                            const std::string& folderName = "browser", Recording recording = Recording::On);
  // Ends what is left of it. A process that the test did not start and that still runs is a failure of the
  // test: the library left it behind.
  ~SimulatedBrowser();
  SimulatedBrowser(const SimulatedBrowser&) = delete;
  SimulatedBrowser& operator=(const SimulatedBrowser&) = delete;

  // What hosts hand to the library.
  const std::string& program() const { return program_; }
  const std::string& folder() const { return folder_; }

  // Adds a line to the script, for processes that start later.
  void script(const std::string& line);

  // Starts it as a user does, or with a runner's arguments, and waits until hosts can connect.
  void start(const std::string& arguments = "");
  // The same without the wait.
  void startOnly(const std::string& arguments = "");
  // Wait until a process of this program serves its pipe, has connected back to a host.
  void awaitServing() const { await(serving_, "does not serve its pipe"); }
  void awaitConnection() const { await(connected_, "does not connect back"); }

  // Says that a browser which the library launched is meant to outlive it.
  void mayStay() { mayStay_ = true; }

  // How many processes of this program run, by the system's own list.
  int runningCount() const;
  bool isRunning() const { return runningCount() > 0; }
  // The ids of all processes that ever started, as they noted them themselves.
  std::vector<DWORD> processIds() const;
  // The only one of them.
  DWORD processId() const;
  ObservedProcess process() const { return ObservedProcess(processId()); }

  // What it recorded.
  std::string commandLine() const { return recorded("command-line.txt"); }
  std::string workingDirectory() const { return recorded("working-directory.txt"); }
  std::string recorded(const std::string& fileName) const;
  bool hasRecorded(const std::string& fileName) const;
  // The lines of its event log that begin like this.
  std::vector<std::string> events(const std::string& beginning = "") const;
  std::string pipe() const;

 private:
  void await(const NamedEvent& event, const std::string& failure) const;
  std::string recordPath(const std::string& fileName) const { return folder_ + "\\record\\" + fileName; }

  TempFolder root_{"sim"};
  std::string folder_;
  std::string program_;
  std::string scriptPath_;
  const NamedEvent serving_;
  const NamedEvent connected_;
  std::optional<ObservedProcess> started_;
  bool mayStay_ = false;
};

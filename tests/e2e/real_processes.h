// The processes of the real browsers, as the system that runs them lists them. Under Wine that is Linux,
// whose programs no Windows call can see; its list of processes can be read as files all the same. Every
// process that a run of these tests starts carries the run's folder in its environment or on its command
// line. Any thread.
#pragma once

#include <functional>
#include <string>
#include <vector>

struct RealProcess {
  unsigned long id = 0;
  std::string program;
  std::vector<std::string> arguments;

  bool hasArgument(const std::string& text) const;
  std::string described() const;
};

// The folder that is this run's alone, named as Linux names it.
std::string runFolder();

// Everything that the run has started and that still lives, apart from the Windows processes of the hosts.
std::vector<RealProcess> processesOfRun();

// The browsers' own main processes among them: one per running browser.
std::vector<RealProcess> mainBrowserProcesses();

// Ends a process of the real system without giving it a chance to tidy up.
void killRealProcess(const RealProcess& process);

// Whether the condition comes true; looks at it again and again, since there is nothing to wait on for what
// happens outside Windows.
bool eventually(const std::function<bool()>& condition);

// How many processes of the run are left in the end: none, or those that would not go.
std::vector<RealProcess> leftoversOfRun();
std::string described(const std::vector<RealProcess>& processes);

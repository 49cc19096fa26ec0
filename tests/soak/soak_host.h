// Hosts in processes of their own: this test program, run again for one user. Each ends with 0 when all went
// well; otherwise what was wrong is in the file that it was given.
#pragma once

#include "support/win32/helper_process.h"

#include <optional>
#include <string>
#include <vector>

// The words that make a HelperProcess such a host:
using HostWords = std::vector<std::string>;

// Launches a browser, plays and exits so many times, and compares what its process holds.
HostWords launchingHost(const std::string& userName, const std::string& browser, const std::string& options,
                        const std::string& program, const std::string& reportPath, int cycles);

// Waits for the event. Then it starts, plays and exits with a browser that runs, so many times, and looks
// each time whether another process is kept out while it holds the start lock.
HostWords fightingHost(const NamedEvent& go, const std::string& reportPath, int cycles);

// Takes the start lock in a start and stays there: signals that it holds the lock, and never goes on.
HostWords holdingHost(const NamedEvent& holding);

// The exit code when this process was started as such a host, otherwise nothing.
std::optional<int> runAsSoakHost();

// The checks of kx selftest, by what they are about.
#pragma once

#include "cli/checks.h"
#include "cli/library.h"
#include "cli/machine.h"
#include "cli/win32/selftest/room.h"

#include <string>
#include <vector>

namespace kx::cli {

// What every check works with. It outlives the checks.
struct Scene {
  Room& room;
  Library& library;
  Machine machine;
};

// A browser is launched, attached to, found by a runner, or not there at all.
std::vector<Check> startChecks(Scene& scene);
// Everything that is asked of a browser, and all that it answers.
std::vector<Check> playChecks(Scene& scene);
// Browsers that are late, break off, hang or die.
std::vector<Check> troubleChecks(Scene& scene);
// Several contexts at once, and the log.
std::vector<Check> severalChecks(Scene& scene);
// Where Windows is expected to differ from Wine.
std::vector<Check> windowsChecks(Scene& scene);

// How the self-test's simulator ends when it ends by itself.
inline constexpr char kByItself[] = "code 7";
inline constexpr char kEndsByItself[] = "on exit exit-code 7";

// The texts of requests, byte for byte as a browser gets them; what stands in them is not escaped here.
std::string initRequest(bool isLaunched);
std::string playRequest(const std::string& source, const std::string& variables, bool isProfiled);
std::string showRequest(const std::string& message);
std::string captureRequest(const std::string& path, const std::string& type);
std::string exitRequest();

}  // namespace kx::cli

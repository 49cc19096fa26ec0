// kx log: what a log tells, as text or JSON.
#pragma once

#include "cli/arguments.h"
#include "cli/json.h"
#include "cli/log_story.h"
#include "cli/palette.h"
#include "cli/surroundings.h"

#include <functional>
#include <string>
#include <string_view>

namespace kx::cli {

// The whole log.
std::string logView(std::string_view log, const LogArguments& arguments, const Palette& palette);

Json stepJson(const LogStep& step, bool isRedacted);

// Reads a log that grows. Gives what has been added since it was last asked, after waiting a while.
using MoreOfLog = std::function<std::string()>;

// Prints step after step as they come, with the time since the step before of the same thread, until Ctrl-C.
void followLog(const MoreOfLog& more, const LogArguments& arguments, const Surroundings& around);

// Gives the exit code. The path is that of the environment's log, for when no file is named.
int runLog(const LogArguments& arguments, const std::string& environmentsLog, const MoreOfLog& more,
           const Surroundings& around);

}  // namespace kx::cli

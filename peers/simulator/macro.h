// The simulator's own little macro language, which stands in for what an extension would do with a page. A
// macro is text, one command per line; its outcome goes into the reply. Runs on the thread that serves the
// connection.
#pragma once

#include "reply.h"
#include "request.h"

#include <functional>
#include <string>

namespace kxsim {

// Error numbers that macros end with; "fail" may give any other.
constexpr int kMacroSyntaxError = -910;
constexpr int kMacroUnknownVariable = -911;

struct MacroSettings {
  bool lenient = false;  // lines that are no commands are passed over instead of failing the macro
  std::function<void(long long milliseconds)> pause;
};

// Plays the request's macro with the request's variables. What was extracted before a failure stays in the
// reply.
void playMacro(const Request& request, const MacroSettings& settings, Reply& reply);

}  // namespace kxsim

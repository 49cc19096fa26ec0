// The standard answer to each type of request, before the script changes anything about it.
#pragma once

#include "reply.h"
#include "request.h"
#include "win32/simulator.h"

namespace kxsim {

// Error numbers of requests that cannot be carried out.
constexpr int kUnknownRequestType = -900;
constexpr int kMalformedRequest = -901;
constexpr int kScreenshotNotWritten = -930;

void answerRequest(const Request& request, Simulator& simulator, Reply& reply);

}  // namespace kxsim

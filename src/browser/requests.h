// Builds the requests that go to the extension. Each is an object with a "type" and its "args", in this
// order; the extension reads them by name, and hosts' tests compare the text.
#pragma once

#include "json/elements.h"

#include <map>
#include <string>
#include <string_view>

namespace kx {

// Macro variables by name. The order of names is bytewise, and so is the order in which a request lists them.
using MacroVariables = std::map<std::string, std::string>;

// The "type" of the capture request's picture.
enum class CaptureKind { WebPage, Browser };

json::Object initRequest(bool openNewBrowser, bool launched);
json::Object playRequest(std::string_view source, const MacroVariables& variables, bool useProfiler);
json::Object showRequest(std::string_view message);
json::Object captureRequest(std::string_view path, CaptureKind kind);
json::Object exitRequest();

// The bytes of a request as they go on the pipe: the JSON text alone, without length, terminator or line end.
std::string requestText(const json::Object& request);

}  // namespace kx

#include "browser/requests.h"

#include "json/writer.h"

#include <utility>

namespace kx {

namespace {

json::String text(std::string_view value) {
  return json::String(std::string(value));
}

json::Object request(std::string_view type, json::Object arguments) {
  json::Object object;
  object["type"] = text(type);
  object["args"] = std::move(arguments);
  return object;
}

}  // namespace

json::Object initRequest(bool openNewBrowser, bool launched) {
  json::Object arguments;
  arguments["openNewBrowser"] = json::Boolean(openNewBrowser);
  arguments["launched"] = json::Boolean(launched);
  return request("init", std::move(arguments));
}

json::Object playRequest(std::string_view source, const MacroVariables& variables, bool useProfiler) {
  json::Object values;
  for (const auto& [name, value] : variables) {
    values[name] = text(value);
  }
  json::Object arguments;
  arguments["source"] = text(source);
  arguments["vars"] = std::move(values);
  // The extension looks for the member, not for its value: false is never written.
  if (useProfiler) {
    arguments["use_profiler"] = json::Boolean(true);
  }
  return request("play", std::move(arguments));
}

json::Object showRequest(std::string_view message) {
  json::Object arguments;
  arguments["message"] = text(message);
  return request("show", std::move(arguments));
}

json::Object captureRequest(std::string_view path, CaptureKind kind) {
  json::Object arguments;
  arguments["path"] = text(path);
  arguments["type"] = text(kind == CaptureKind::WebPage ? "webpage" : "browser");
  return request("capture", std::move(arguments));
}

json::Object exitRequest() {
  return request("exit", {});
}

std::string requestText(const json::Object& request) {
  return json::Writer::Write(request);
}

}  // namespace kx

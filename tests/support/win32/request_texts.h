// The requests, byte for byte as a browser receives them. Texts stand in a request as given here: the caller
// escapes them.
#pragma once

#include <string>
#include <utility>
#include <vector>

// A text as requests hold it.
inline std::string escapedForJson(const std::string& text) {
  const std::string plain = "\"\\\b\t\n\f\r";
  const std::string letters = "\"\\btnfr";
  std::string result;
  for (const char c : text) {
    const std::size_t at = plain.find(c);
    result += at == std::string::npos ? std::string(1, c) : std::string("\\") + letters[at];
  }
  return result;
}

using Variables = std::vector<std::pair<std::string, std::string>>;

inline std::string requestText(const std::string& type, const std::string& arguments) {
  return "{\n \"type\" : \"" + type + "\",\n \"args\" : " + arguments + "\n}";
}

inline std::string initRequest(bool openNewBrowser, bool launched) {
  const auto word = [](bool value) { return value ? "true" : "false"; };
  return requestText("init", std::string("{\n  \"openNewBrowser\" : ") + word(openNewBrowser) +
                                 ",\n  \"launched\" : " + word(launched) + "\n }");
}

inline std::string variablesText(const Variables& variables) {
  std::string text;
  for (const auto& [name, value] : variables) {
    text += (text.empty() ? "\n   \"" : ",\n   \"") + name + "\" : \"" + value + "\"";
  }
  return text.empty() ? "{}" : "{" + text + "\n  }";
}

inline std::string playRequest(const std::string& source, const Variables& variables = {}) {
  return requestText(
      "play", "{\n  \"source\" : \"" + source + "\",\n  \"vars\" : " + variablesText(variables) + "\n }");
}

inline std::string profiledPlayRequest(const std::string& source) {
  return requestText(
      "play", "{\n  \"source\" : \"" + source + "\",\n  \"vars\" : {},\n  \"use_profiler\" : true\n }");
}

inline std::string showRequest(const std::string& message) {
  return requestText("show", "{\n  \"message\" : \"" + message + "\"\n }");
}

inline std::string captureRequest(const std::string& path, const std::string& type) {
  return requestText("capture", "{\n  \"path\" : \"" + path + "\",\n  \"type\" : \"" + type + "\"\n }");
}

inline std::string exitRequest() {
  return requestText("exit", "{}");
}

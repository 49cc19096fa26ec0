// Has a conversation with the wrapper for C++: bindings/conversation/README.md tells how.
//
//     host STEPS KXTCP64.DLL
//
// "linked" in place of the DLL takes the one that the host is linked with. The arguments are ASCII, which is
// the same in UTF-8 and in the system's code page.
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <io.h>
#include <iostream>
#include <kxtcp64.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

// ---- JSON -------------------------------------------------------------------------------------------------

std::string json(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (c >= 0 && c < ' ') {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", c);
      quoted += escape;
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

std::string json(const kx::PlayResult& play) {
  std::string extracts;
  for (const std::string& extract : play.extracts) {
    extracts += (extracts.empty() ? "" : ", ") + json(extract);
  }
  std::string performance;
  for (const kx::PerformanceEntry& entry : play.performance) {
    performance += (performance.empty() ? "[" : ", [") + json(entry.name) + ", " + json(entry.value) + "]";
  }
  return "{\"extracts\": [" + extracts + "], \"performance\": [" + performance +
         "], \"profilerData\": " + json(play.profilerData.value_or("")) + "}";
}

std::string json(const kx::KxError& error) {
  return "{\"call\": " + json(error.call()) + ", \"result\": " + std::to_string(error.result()) +
         ", \"number\": " + std::to_string(error.number()) + ", \"text\": " + json(error.text()) + "}";
}

// ---- Steps ------------------------------------------------------------------------------------------------

std::chrono::seconds seconds(const std::string& field) {
  return std::chrono::seconds(std::stoi(field));
}

class Host {
 public:
  explicit Host(const std::string& dll)
      : library_(dll == "linked" ? kx::Library::linked() : kx::Library::load(std::filesystem::u8path(dll))) {}

  // What the step has come to, as members of an object.
  std::string outcome(const std::string& step, const std::vector<std::string>& fields) {
    try {
      return "\"gives\": " + given(step, fields);
    } catch (const kx::KxError& error) {
      return "\"fails\": " + json(error) + (step == "play" ? left() : "");
    }
  }

 private:
  std::string given(const std::string& step, const std::vector<std::string>& fields) {
    if (step == "start") {
      kx::StartOptions options;
      options.program = std::filesystem::u8path(fields.at(0));
      options.profile = fields.at(1);
      options.timeout = seconds(fields.at(2));
      options.profiler = true;
      options.openNewBrowser = true;
      browser_ = kx::Browser::start(library_, options);
      return browser_->processId() ? "{\"launched\": true}" : "{\"launched\": false}";
    }
    if (step == "variable") {
      browser_->setVariable(fields.at(0), fields.at(1));
    } else if (step == "play") {
      return json(browser_->play(fields.at(0), seconds(fields.at(1))));
    } else if (step == "show") {
      browser_->show(fields.at(0), seconds(fields.at(1)));
    } else if (step == "screenshot") {
      browser_->screenshot(std::filesystem::u8path(fields.at(1)),
                           fields.at(0) == "page" ? kx::ScreenshotArea::Page : kx::ScreenshotArea::Browser,
                           seconds(fields.at(2)));
    } else if (step == "exit") {
      browser_->exit(seconds(fields.at(0)));
    } else {
      throw std::invalid_argument("there is no step " + step);
    }
    return "{}";
  }

  // By a play that has failed; a browser that was closed has nothing.
  std::string left() const {
    try {
      return ", \"left\": " + json(browser_->lastPlay());
    } catch (const kx::KxError&) {
      return "";
    }
  }

  kx::Library library_;
  std::optional<kx::Browser> browser_;
};

// ---- The file of steps ------------------------------------------------------------------------------------

std::string withoutEscapes(const std::string& field) {
  std::string text;
  for (std::size_t at = 0; at < field.size(); ++at) {
    if (field[at] != '\\') {
      text += field[at];
      continue;
    }
    const char escape = field.at(++at);
    text += escape == 't' ? '\t' : escape == 'n' ? '\n' : escape == 'r' ? '\r' : escape;
  }
  return text;
}

// The last of them may be empty, which getline() would pass over.
std::vector<std::string> fieldsOf(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream rest(line + "\t");
  for (std::string field; std::getline(rest, field, '\t');) {
    fields.push_back(withoutEscapes(field));
  }
  return fields;
}

}  // namespace

int main(int count, char** arguments) try {
  if (count != 3) {
    return 2;
  }
  _setmode(_fileno(stdout), _O_BINARY);
  Host host(arguments[2]);
  std::ifstream steps(arguments[1], std::ios::binary);
  int number = 0;
  for (std::string line; std::getline(steps, line);) {
    const std::vector<std::string> fields = fieldsOf(line);
    const std::vector<std::string> rest(fields.begin() + 1, fields.end());
    std::cout << "{\"step\": " << ++number << ", " << host.outcome(fields.front(), rest) << "}\n"
              << std::flush;
  }
  return 0;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}

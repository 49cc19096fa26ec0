#include "pipe_choice.h"

#include <algorithm>
#include <string_view>

namespace kxsim {
namespace {

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

std::string chooseType(const CommandLine& line, const Overrides& overrides) {
  if (line.typeOption) {
    return *line.typeOption;
  }
  if (overrides.type) {
    return *overrides.type;
  }
  if (line.userDataDir) {
    return "cr";
  }
  if (line.profile || line.noRemote) {
    return "fx";
  }
  return lowered(fileNameOf(line.program)).find("chrome") != std::string::npos ? "cr" : "fx";
}

std::string completed(const std::string& name, const std::string& type, const Surroundings& surroundings) {
  static constexpr std::string_view kFullPathStart = "\\\\.";
  if (name.compare(0, kFullPathStart.size(), kFullPathStart) == 0) {
    return name;
  }
  return "\\\\.\\pipe\\kx-" + type + "-" + name + "." + surroundings.userName;
}

}  // namespace

PipeChoice choosePipe(const CommandLine& line, const Overrides& overrides, const Surroundings& surroundings) {
  PipeChoice choice;
  choice.type = chooseType(line, overrides);
  if (choice.type == "fx") {
    choice.profile =
        line.profile ? *line.profile : defaultProfileName(surroundings.firefoxProfiles).value_or("default");
  }

  std::string name;
  if (line.pipeOption) {
    name = *line.pipeOption;
    choice.source = "option";
  } else if (overrides.pipe) {
    name = *overrides.pipe;
    choice.source = "script";
  } else if (line.switchPipe) {
    name = *line.switchPipe;
    choice.source = "switch";
  } else if (line.startPagePipe) {
    name = *line.startPagePipe;
    choice.source = "start page";
  } else {
    name = choice.type == "fx" ? choice.profile : "default";
    choice.source = "default";
  }
  choice.pipe = completed(name, choice.type, surroundings);
  return choice;
}

}  // namespace kxsim

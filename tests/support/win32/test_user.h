// A user of the machine who exists for one test: name and folders, as programs find them in the environment.
// Default pipes, the start lock, the start page and the Firefox profiles depend on them.
#pragma once

#include "support/environment.h"
#include "support/win32/pipe_name.h"
#include "support/win32/temp_folder.h"

#include <string>

class TestUser {
 public:
  TestUser() {
    for (const std::string& folder : {temp(), roaming(), local()}) {
      std::filesystem::create_directories(wide(folder));
    }
  }

  const std::string& name() const { return name_; }
  std::string temp() const { return root_.path("temp"); }
  std::string roaming() const { return root_.path("roaming"); }
  std::string local() const { return root_.path("local"); }

  // Firefox's list of this user's profiles.
  void writeProfiles(const std::string& text) const {
    root_.write("roaming\\Mozilla\\Firefox\\profiles.ini", text);
  }
  std::string profilesPath() const { return roaming() + "\\Mozilla\\Firefox\\profiles.ini"; }

 private:
  TempFolder root_{"user"};
  std::string name_ = uniqueName("user");
  EnvironmentVariable userName_{"USERNAME", name_};
  EnvironmentVariable temp_{"TEMP", root_.path("temp")};
  EnvironmentVariable roaming_{"APPDATA", root_.path("roaming")};
  EnvironmentVariable local_{"LOCALAPPDATA", root_.path("local")};
};

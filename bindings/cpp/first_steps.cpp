// Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox.
//
//     first_steps BROWSER MACRO-TEXT
#include <iostream>
#include <kxtcp64.hpp>
#include <shellapi.h>

int main() try {
  // What main() would get is in the system's code page, and the wrapper takes UTF-8.
  int count = 0;
  wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
  if (count != 3) {
    return 2;
  }
  kx::StartOptions options;
  options.profile = "work";
  options.program = arguments[1];
  const auto macro = std::filesystem::path(arguments[2]).u8string();
  kx::Browser browser = kx::Browser::start(options);
  browser.setVariable("city", "Oslo");
  for (const std::string& extract : browser.play(std::string(macro.begin(), macro.end())).extracts) {
    std::cout << extract << '\n';
  }
} catch (const kx::KxError& error) {
  std::cerr << error.what() << '\n';
  return 1;
}

// Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox.
//
//     first_steps BROWSER MACRO-TEXT
#include <iostream>
#include <kxtcp64.hpp>

int main(int count, char** arguments) try {
  if (count != 3) {
    return 2;
  }
  kx::StartOptions options;
  options.profile = "work";
  options.program = arguments[1];
  kx::Browser browser = kx::Browser::start(options);
  browser.setVariable("city", "Oslo");
  for (const std::string& extract : browser.play(arguments[2]).extracts) {
    std::cout << extract << '\n';
  }
} catch (const kx::KxError& error) {
  std::cerr << error.what() << '\n';
  return 1;
}

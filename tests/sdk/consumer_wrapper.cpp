// A host in C++ that links no import library: the wrapper loads the DLL and tells why a start failed.
#include <iostream>
#include <kxtcp64.hpp>

int main() try {
  kx::StartOptions options;
  options.program = "none.exe";
  kx::Browser::start(kx::Library::load(), options);
  return 1;
} catch (const kx::KxError& error) {
  std::cout << error.what() << '\n';
  return error.call() == "kx_Init" && error.result() == 2 ? 0 : 1;
}

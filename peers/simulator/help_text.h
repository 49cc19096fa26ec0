// The text of --help, which is the full description of the macro and script languages, and that of --version.
#pragma once

#include <string>

namespace kxsim {

constexpr const char* kVersionText = "kxsim 1.0\n";

std::string helpText();

}  // namespace kxsim

// Files of the sources that are part of the program; the build writes the texts (cmake/EmbedText.cmake).
#pragma once

#include <string_view>

namespace kx::cli {

extern const std::string_view kErrorsJson;
// Made by report/assemble.py.
extern const std::string_view kReportPage;

}  // namespace kx::cli

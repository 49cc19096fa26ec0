// What a bug report has to tell about the machine and the files that are tried.
#pragma once

#include "cli/start_facts.h"

#include <string>
#include <vector>

namespace kx::cli {

std::vector<Fact> machineFacts(bool isElevated);

// In lower-case hexadecimal digits; empty when the file cannot be read.
std::string sha256OfFile(const std::string& path);

}  // namespace kx::cli

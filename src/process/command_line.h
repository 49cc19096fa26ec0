// Turns a program and its arguments into what Windows wants for a new process. Quoting is deliberately
// simple: a text with a space is put between double quotes unless it begins or ends with one, and nothing is
// escaped.
#pragma once

#include <string>
#include <vector>

namespace kx {

std::string quotedIfNeeded(const std::string& text);

// The program and its arguments with one space between each two, each quoted if needed.
std::string commandLine(const std::string& programPath, const std::vector<std::string>& arguments);

// The program's folder: the path up to its last backslash. A path without one is returned whole.
std::string workingDirectory(const std::string& programPath);

}  // namespace kx

// For a program that behaves as Firefox does on Windows: the process that was launched only starts the
// browser, as a second process, and ends. Used by main() alone, before anything is served or recorded.
#pragma once

#include <optional>
#include <string>

namespace kxsim {

// Starts this program once more, with the same command line, unless this is the process so started. That one
// gets the id of the process that was launched, once this has ended; the launched process gets nothing, and
// should end. Throws when no process can be started.
std::optional<unsigned long> handOverToSecondProcess(const std::string& program);

}  // namespace kxsim

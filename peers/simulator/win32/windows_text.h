// Text and files at the edge to Windows: everything inside the simulator is UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kxsim {

std::wstring toWide(std::string_view text);
std::string toUtf8(std::wstring_view text);

// Absent and empty count alike: nothing.
std::optional<std::string> environmentVariable(const std::string& name);

std::optional<std::string> readWholeFile(const std::string& path);

// The Windows error number; 0 for success.
unsigned long writeWholeFile(const std::string& path, std::string_view bytes);

}  // namespace kxsim

// Text helpers that several components share. Character classes are ASCII only and do not depend on the
// locale, which in a DLL is the host's: bytes from 128 up belong to no class.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kx {

bool isAsciiSpace(char c);
bool isAsciiLetter(char c);
bool isAsciiDigit(char c);

// Compares without regard to the case of ASCII letters.
bool equalsIgnoringCase(std::string_view left, std::string_view right);

// Removes one backslash from the end, if there is one. A second one stays.
std::string stripTrailingBackslash(std::string_view path);

// The texts with one space between each two.
std::string joinWithSpaces(const std::vector<std::string>& texts);

// The text between double quotes. Quotes inside it are left as they are.
std::string inDoubleQuotes(std::string_view text);

}  // namespace kx

// What a user may say about the stand-in, in the environment or in a file beside the program: where the
// bridge, Node and the real browsers are, and which browser is meant. Pure text work, used once at the start
// of the process.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kxbrowser {

using Variables = std::map<std::string, std::string>;
using Environment = std::function<std::optional<std::string>(const std::string& name)>;

// Lines of NAME=value; blank ones and those that begin with '#' are left out, as are blanks around name and
// value.
Variables parseSettings(std::string_view text);

// The settings that the file gives and the environment does not: the environment wins.
Variables missingIn(const Environment& environment, const Variables& file);

// "fx" or "cr" by the program's own name, so that a copy called firefox.exe or chrome.exe plays that browser
// even when its command line says nothing; nothing for any other name.
std::optional<std::string> typeByName(const std::string& program);

// A Chrome's data folder as the switch gives it. A folder that ends in a backslash escapes its own closing
// quote: what follows the quote is then no part of it.
std::string cleanFolder(const std::string& folder);

// A name for the mutex that one browser of a profile holds: the pipe's, without the characters that have a
// meaning.
std::string mutexName(const std::string& pipe);

}  // namespace kxbrowser

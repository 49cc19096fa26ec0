// Copies a text into a host's buffer, by the one rule that all exports share. Hosts give sizes as signed
// numbers; a negative one, widened with its sign and compared as unsigned, counts as unlimited. Hosts rely on
// it.
#pragma once

#include "browser/extracts.h"

#include <string_view>

namespace kx {

enum class CopyOut { SizeAsked, Copied, TooSmall };

// The text's size with its terminating zero, as an export gives it.
int sizeWithTerminator(std::string_view text);
int sizeWithTerminator(const JoinedText& text);

// A null buffer only asks for the size. A buffer that is too small stays untouched.
CopyOut copyOut(std::string_view text, char* buffer, int size);
CopyOut copyOut(const JoinedText& text, char* buffer, int size);

// The same with the rule of kxr_GetCommandLine, where a size of 0 counts as unlimited too.
CopyOut copyCommandLineOut(std::string_view line, char* buffer, int size);

}  // namespace kx

// Runs through the inside of a JSON string, plain bytes and escapes, for the response checker.
#pragma once

namespace kx {

// From inside a string, and not within an escape: the string's closing quote, or the first byte that may not
// stand there, or the beginning of an escape that is wrong or does not lie before last as a whole, or last.
const char* endOfStringRun(const char* first, const char* last);

// The same, found byte by byte.
const char* endOfStringRunBytewise(const char* first, const char* last);

}  // namespace kx

// Runs through the inside of a JSON string, plain bytes and escapes, for the response checker.
#pragma once

namespace kx {

// Starts inside a string, not within an escape. Stops at the first of these: the closing quote, a byte that
// may not stand in a string, the backslash of an escape that is wrong or not complete before last, last.
const char* endOfStringRun(const char* first, const char* last);

// The same, found byte by byte.
const char* endOfStringRunBytewise(const char* first, const char* last);

}  // namespace kx

// What the bare connection can ask the peer for, besides sending it a request of the library.
#pragma once

#include <cstddef>

// Every request is one JSON object over several lines. Line feeds inside texts are escaped, so its end is the
// only line that begins with the brace.
inline constexpr char kRequestEnd[] = "\n}";

// The last request of a browser: its size, as so many digits, and its text.
inline constexpr char kAskForSize[] = "the last request's size\n}";
inline constexpr char kAskForText[] = "the last request's text\n}";
inline constexpr std::size_t kSizeBytes = 16;

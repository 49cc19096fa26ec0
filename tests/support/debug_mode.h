// What the debug mode of the standard library adds to a process.
#pragma once

#include <cstddef>

// All containers of a module share 16 locks then. Each takes a block of memory when it is first used, and
// keeps it; which ones are used depends on where the containers lie.
#ifdef _GLIBCXX_DEBUG
inline constexpr std::size_t kBlocksOfSharedLocks = 16;
#else
inline constexpr std::size_t kBlocksOfSharedLocks = 0;
#endif
inline constexpr std::size_t kBytesOfSharedLock = 64;

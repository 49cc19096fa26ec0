// Memory held back for the moment when there is none: throwing and catching an exception takes some of its
// own, the first time in a thread above all, and a run-time that does not get it ends the process. An
// allocation that fails gives the reserve back before it throws.
#pragma once

namespace kx {

// Once, when the library is loaded: makes the reserve and has operator new use it. Throws std::bad_alloc.
void keepMemoryReserve();

// At the beginning of every export: makes the reserve again if it was used, as far as there is memory for it.
void refillMemoryReserve() noexcept;

// Once, when the library is unloaded.
void dropMemoryReserve() noexcept;

}  // namespace kx

// The groups of native benchmarks. Each registers its own.
#pragma once

namespace kx {

void registerFraming();
void registerLibraries();
void registerOptions();

}  // namespace kx

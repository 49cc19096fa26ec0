// The groups of native benchmarks. Each registers its own.
#pragma once

void registerFraming();
void registerLibraries();
void registerWriting();
void registerOptions();
void registerReadBack();

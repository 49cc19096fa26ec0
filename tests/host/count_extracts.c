/* What the examples count extracts with, calling the library that a test has loaded. */
#include "host/count_extracts.h"

#include "kxtcp64.h"

int (*countedGetLastExtract)(int context, char* buffer, int size, int index);

#define kx_GetLastExtract countedGetLastExtract
#include "../../examples/count_extracts.h"

int countExtractsAsExamplesDo(int context) {
  return countExtracts(context);
}

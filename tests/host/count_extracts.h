/* How the examples count extracts (examples/count_extracts.h), for a library that a test has loaded. One
 * thread. */
#ifndef KX_TESTS_HOST_COUNT_EXTRACTS_H
#define KX_TESTS_HOST_COUNT_EXTRACTS_H

#ifdef __cplusplus
extern "C" {
#endif

/* The loaded library's function; set it first. */
extern int (*countedGetLastExtract)(int context, char* buffer, int size, int index);

int countExtractsAsExamplesDo(int context);

#ifdef __cplusplus
}
#endif

#endif

/* The public header has to compile alone, before anything else is included. */
#include "kxtcp64.h"

/* A translation unit without a declaration of its own is no C89. */
int kx_header_test_once;

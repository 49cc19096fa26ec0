/* A second inclusion changes nothing, and macros of <windows.h> disturb nothing. */
#include "kxtcp64.h"
#include "kxtcp64.h"
#include <windows.h>

int kx_header_test_twice;

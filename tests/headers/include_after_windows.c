/* Hosts include the header after the system's as often as before. */
#include <windows.h>
#include "kxtcp64.h"

int kx_header_test_after_windows;

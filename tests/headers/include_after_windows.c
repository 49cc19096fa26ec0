/* Hosts include the header after the system's as often as before. */
/* clang-format off */
#include <windows.h>
#include "kxtcp64.h"
/* clang-format on */

int kx_header_test_after_windows;

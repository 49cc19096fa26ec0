/* A second inclusion changes nothing, and the system's headers may follow. */
/* clang-format off */
#include "kxtcp64.h"
#include "kxtcp64.h"
#include <windows.h>
/* clang-format on */

int kx_header_test_twice;

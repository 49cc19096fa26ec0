/* Starts Firefox with the profile "work", plays a macro, prints its first extract, and closes Firefox.
 *
 *     first_host BROWSER MACRO-TEXT
 *
 * BROWSER is the program, as a whole path with backslashes. MACRO-TEXT is the macro itself, not a file of it.
 * Keep both to ASCII: the library takes UTF-8, and main() gets the system's code page. */
#include "kxtcp64.h"

#include <stdio.h>

static int failed(int context, const char* call, int result) {
  char text[1000] = "";
  kx_GetLastErrorText(context, text, (int)sizeof text);
  printf("%s failed: result %d, error %d: %s\n", call, result, kx_GetLastErrorNumber(context), text);
  return 1;
}

static int play(int context, const char* macro) {
  char extract[1000] = "";
  int result;
  kx_SetVar(context, "city", "Oslo");
  result = kx_Play(context, macro, 30);
  if (result != KX_OK) {
    return failed(context, "kx_Play", result);
  }
  if (kx_GetLastExtract(context, extract, (int)sizeof extract, 1) < 0) {
    printf("the first extract is longer than %d bytes\n", (int)sizeof extract - 1);
    return 1;
  }
  printf("the first extract: %s\n", extract);
  return 0;
}

int main(int count, char** arguments) {
  int context, result, exitCode;
  if (count != 3) {
    printf("usage: first_host BROWSER MACRO-TEXT\n");
    return 2;
  }
  context = kx_ContextCreate();
  result = kx_Init(context, "fx", "-fxProfile work", arguments[1], 0, 0, 60);
  /* KX_OK means that the extension has answered. The number tells whether its answer was a success. */
  if (result != KX_OK || kx_GetLastErrorNumber(context) != KX_ERROR_SUCCESS) {
    exitCode = failed(context, "kx_Init", result);
  } else {
    exitCode = play(context, arguments[2]);
  }
  if (result == KX_OK) {
    kx_Exit(context, 10);
  }
  kx_ContextDestroy(context);
  return exitCode;
}

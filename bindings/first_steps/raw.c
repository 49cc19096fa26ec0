/* Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox: without a
 * wrapper.
 *
 *     raw BROWSER MACRO-TEXT */
#include "kxtcp64.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failed(int context, const char* call, int result) {
  const int size = kx_GetLastErrorText(context, NULL, 0);
  char* text = calloc((size_t)size + 1, 1);
  if (text != NULL) {
    kx_GetLastErrorText(context, text, size);
    fprintf(stderr, "%s failed: result %d, error %d: %s\n", call, result, kx_GetLastErrorNumber(context),
            text);
  }
  free(text);
  return 1;
}

/* An empty extract has the size that one beyond the last has; the size of all, joined, tells the end. */
static void printExtracts(int context) {
  const int whole = kx_GetLastExtract(context, NULL, 0, 0);
  int length = 0, index;
  for (index = 1; whole > 0 && (index == 1 || length + 1 < whole); ++index) {
    const int size = kx_GetLastExtract(context, NULL, 0, index);
    char* text = calloc((size_t)size + 1, 1);
    if (text == NULL || size < 0) {
      exit(1);
    }
    kx_GetLastExtract(context, text, size + 1, index);
    printf("%s\n", text);
    length += (int)strlen(text) + (index > 1 ? (int)strlen("[EXTRACT]") : 0);
    free(text);
  }
}

static int play(int context, const char* macro) {
  int result = kx_SetVar(context, "city", "Oslo");
  if (result != KX_OK) {
    return failed(context, "kx_SetVar", result);
  }
  result = kx_Play(context, macro, 60);
  if (result != KX_OK) {
    return failed(context, "kx_Play", result);
  }
  printExtracts(context);
  return 0;
}

int main(int count, char** arguments) {
  int context, result, exitCode;
  if (count != 3) {
    return 2;
  }
  context = kx_ContextCreate();
  result = kx_Init(context, "fx", "-fxProfile \"work\"", arguments[1], 0, 0, 60);
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

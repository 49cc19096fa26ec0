/* The least a host does: a context, a call that needs a browser, and the texts that tell why it failed. */
#include <kxtcp64/kxtcp64.h>
#include <stdio.h>

int main(void) {
  int context = kx_ContextCreate();
  int played = kx_Play(context, "", 1);
  int size = kx_GetLastErrorText(context, NULL, 0);

  kx_ContextDestroy(context);
  printf("context %d, play %d, size %d, afterwards %d\n", context, played, size, kx_Play(context, "", 1));
  return context == 0 && played == KX_FAILED && size == 1 && kx_Play(context, "", 1) == KX_NO_CONTEXT ? 0 : 1;
}

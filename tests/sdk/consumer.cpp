// The same from C++, with the header found without its folder as well.
#include <cstdio>
#include <kxtcp64.h>

int main() {
  const int context = kx_ContextCreate();
  const int number = kx_GetLastErrorNumber(context);
  kx_ContextDestroy(context);
  std::printf("context %d, error number %d\n", context, number);
  return context == 0 && number == KX_ERROR_NONE && kx_GetLastErrorNumber(context) == KX_NO_CONTEXT ? 0 : 1;
}

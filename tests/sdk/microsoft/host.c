/* Plays a macro in the browser that KX_BROWSER names, and prints its extract. There is no C run-time. */
#include <kxtcp64.h>

__declspec(dllimport) void ExitProcess(unsigned code);
__declspec(dllimport) unsigned GetEnvironmentVariableA(const char* name, char* buffer, unsigned size);
__declspec(dllimport) void* GetStdHandle(unsigned which);
__declspec(dllimport) int WriteFile(void* file, const void* bytes, unsigned count, unsigned* written,
                                    void* overlapped);

/* What the compiler may call by itself. */
void* memset(void* bytes, int value, unsigned long long count);
void* memset(void* bytes, int value, unsigned long long count) {
  char* to = (char*)bytes;
  while (count-- != 0) {
    *to++ = (char)value;
  }
  return bytes;
}

static void print(const char* text) {
  const unsigned kStandardOutput = (unsigned)-11;
  unsigned length = 0;
  while (text[length] != 0) {
    ++length;
  }
  WriteFile(GetStdHandle(kStandardOutput), text, length, &length, 0);
}

void start(void) {
  char path[500];
  char extract[100];
  const int context = kx_ContextCreate();
  unsigned code = 1;
  GetEnvironmentVariableA("KX_BROWSER", path, sizeof path);
  if (kx_Init(context, "fx", "-fxProfile work", path, 0, 0, 60) == KX_OK &&
      kx_GetLastErrorNumber(context) == KX_ERROR_SUCCESS) {
    if (kx_Play(context, "extract Hello", 30) == KX_OK &&
        kx_GetLastExtract(context, extract, (int)sizeof extract, 1) > 0) {
      print(extract);
      code = 0;
    }
    kx_Exit(context, 10);
  }
  kx_ContextDestroy(context);
  ExitProcess(code);
}

// KXTCP64.dll as it should not be: each function calls that of the real library, which lies beside it as
// real.dll, and those that the environment variable KX_SPOIL names, with commas between them, do it wrong.
// "no kx_Exit" is one that does nothing.
#include "kxtcp64.h"

#include <windows.h>
#include <string>

namespace {

struct Functions {
#define KX_FUNCTION(name) decltype(&::name) name = nullptr;
#include "bindings/functions.inc"
#undef KX_FUNCTION
};

// Both lie in the folder of the program.
Functions load() {
  const HMODULE module = ::LoadLibraryW(L"real.dll");
  Functions functions;
#define KX_FUNCTION(name) \
  functions.name =        \
      reinterpret_cast<decltype(&::name)>(reinterpret_cast<void*>(::GetProcAddress(module, #name)));
#include "bindings/functions.inc"
#undef KX_FUNCTION
  return functions;
}

const Functions& real() {
  static const Functions functions = load();
  return functions;
}

bool isSpoiled(const std::string& name) {
  std::string names(4096, '\0');
  names.resize(::GetEnvironmentVariableA("KX_SPOIL", names.data(), static_cast<DWORD>(names.size())));
  return ("," + names + ",").find("," + name + ",") != std::string::npos;
}

// What goes well fails.
int failed(const char* name, int result) {
  return isSpoiled(name) ? KX_FAILED : result;
}

// A text that is copied to a host begins with another letter.
int changed(const char* name, char* buffer, int result) {
  if (isSpoiled(name) && buffer != nullptr && result > 1) {
    buffer[0] = static_cast<char>(buffer[0] + 1);
  }
  return result;
}

}  // namespace

extern "C" {

int kx_ContextCreate(void) {
  return failed("kx_ContextCreate", real().kx_ContextCreate());
}
void kx_ContextDestroy(int context) {
  real().kx_ContextDestroy(context);
}
int kx_GetLastErrorNumber(int context) {
  return real().kx_GetLastErrorNumber(context) + (isSpoiled("kx_GetLastErrorNumber") ? 1 : 0);
}
int kx_GetLastErrorText(int context, char* buffer, int size) {
  return changed("kx_GetLastErrorText", buffer, real().kx_GetLastErrorText(context, buffer, size));
}
int kx_Init(int context, const char* browser, const char* options, const char* browserPath, int port,
            int openNewBrowser, int timeout) {
  return failed("kx_Init",
                real().kx_Init(context, browser, options, browserPath, port, openNewBrowser, timeout));
}
// The value gets lost.
int kx_SetVar(int context, const char* name, const char* value) {
  return isSpoiled("kx_SetVar") ? KX_OK : real().kx_SetVar(context, name, value);
}
int kx_Play(int context, const char* macro, int timeout) {
  return failed("kx_Play", real().kx_Play(context, macro, timeout));
}
int kx_Display(int context, const char* message, int timeout) {
  return real().kx_Display(context, isSpoiled("kx_Display") ? "something else" : message, timeout);
}
int kx_TakeBrowserScreenshot(int context, const char* path, int type, int timeout) {
  return real().kx_TakeBrowserScreenshot(context, path,
                                         isSpoiled("kx_TakeBrowserScreenshot") ? 1 - type : type, timeout);
}
int kx_GetLastExtract(int context, char* buffer, int size, int index) {
  return changed("kx_GetLastExtract", buffer, real().kx_GetLastExtract(context, buffer, size, index));
}
int kx_GetPerformance(int context, char* buffer, int size) {
  return isSpoiled("kx_GetPerformance") ? 1 : real().kx_GetPerformance(context, buffer, size);
}
int kx_GetLastPerformance(int context, int index, char* name, int* nameSize, char* value, int* valueSize) {
  return failed("kx_GetLastPerformance",
                real().kx_GetLastPerformance(context, index, name, nameSize, value, valueSize));
}
int kx_GetBrowserProcessId(int context) {
  return real().kx_GetBrowserProcessId(context) + (isSpoiled("kx_GetBrowserProcessId") ? 4 : 0);
}
int kx_Exit(int context, int timeout) {
  if (isSpoiled("no kx_Exit")) {
    return KX_OK;
  }
  return failed("kx_Exit", real().kx_Exit(context, timeout));
}
int kxr_GetCommandLine(const char* browser, const char* options, char* buffer, int size,
                       const char* pageText) {
  return failed("kxr_GetCommandLine", real().kxr_GetCommandLine(browser, options, buffer, size, pageText));
}
int kxr_Init(int context, const char* browser, const char* options, int openNewBrowser, int timeout) {
  return failed("kxr_Init", real().kxr_Init(context, browser, options, openNewBrowser, timeout));
}
int kxr_Exit(int context, int timeout) {
  return failed("kxr_Exit", real().kxr_Exit(context, timeout));
}

}  // extern "C"

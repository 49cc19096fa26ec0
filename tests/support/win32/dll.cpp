#include "support/win32/dll.h"

#include "support/environment.h"
#include "support/win32/text.h"

#include <stdexcept>
#include <utility>

namespace {

constexpr char kDefaultLibrary[] = "KXTCP64.dll";

template <typename Function>
void resolve(HMODULE module, const char* name, Function& function) {
  const FARPROC address = ::GetProcAddress(module, name);
  if (address == nullptr) {
    throw std::runtime_error(std::string("the library does not export ") + name);
  }
  // Windows hands out every function as one type; the real one is known by the name alone.
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

// Asks for the size, then for the text. Empty when the library refuses, or has nothing.
template <typename CopyOut>
std::string copiedText(CopyOut copyOut) {
  const int size = copyOut(nullptr, 0);
  if (size <= 0) {
    return {};
  }
  std::string text(static_cast<std::size_t>(size), '?');
  if (copyOut(text.data(), size) != size) {
    throw std::runtime_error("the library asked for one size and copied another");
  }
  text.pop_back();
  return text;
}

}  // namespace

KxLibrary::KxLibrary() {
  const std::string path = EnvironmentVariable::valueOf("KX_DLL").value_or(kDefaultLibrary);
  module_ = ::LoadLibraryW(wide(path).c_str());
  if (module_ == nullptr) {
    throw std::runtime_error("could not load " + path + ", error " + std::to_string(::GetLastError()));
  }
  resolve(module_, "kx_ContextCreate", kx_ContextCreate);
  resolve(module_, "kx_ContextDestroy", kx_ContextDestroy);
  resolve(module_, "kx_GetLastErrorNumber", kx_GetLastErrorNumber);
  resolve(module_, "kx_GetLastErrorText", kx_GetLastErrorText);
  resolve(module_, "kx_Init", kx_Init);
  resolve(module_, "kx_SetVar", kx_SetVar);
  resolve(module_, "kx_Play", kx_Play);
  resolve(module_, "kx_Display", kx_Display);
  resolve(module_, "kx_TakeBrowserScreenshot", kx_TakeBrowserScreenshot);
  resolve(module_, "kx_GetLastExtract", kx_GetLastExtract);
  resolve(module_, "kx_GetPerformance", kx_GetPerformance);
  resolve(module_, "kx_GetLastPerformance", kx_GetLastPerformance);
  resolve(module_, "kx_GetBrowserProcessId", kx_GetBrowserProcessId);
  resolve(module_, "kx_Exit", kx_Exit);
  resolve(module_, "kxr_GetCommandLine", kxr_GetCommandLine);
  resolve(module_, "kxr_Init", kxr_Init);
  resolve(module_, "kxr_Exit", kxr_Exit);
}

KxLibrary::~KxLibrary() {
  unload();
}

void KxLibrary::unload() {
  if (module_ != nullptr) {
    ::FreeLibrary(std::exchange(module_, nullptr));
    static_cast<KxExports&>(*this) = {};
  }
}

std::string KxLibrary::lastErrorText(int context) const {
  return copiedText([&](char* buffer, int size) { return kx_GetLastErrorText(context, buffer, size); });
}

std::string KxLibrary::extract(int context, int index) const {
  return copiedText([&](char* buffer, int size) { return kx_GetLastExtract(context, buffer, size, index); });
}

std::string KxLibrary::profilerData(int context) const {
  return copiedText([&](char* buffer, int size) { return kx_GetPerformance(context, buffer, size); });
}

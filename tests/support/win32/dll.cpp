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
#define KX_FUNCTION(name) resolve(module_, #name, name);
#include "bindings/functions.inc"
#undef KX_FUNCTION
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

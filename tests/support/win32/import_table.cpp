#include "support/win32/import_table.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace {

template <typename Structure>
Structure* at(HMODULE module, DWORD offset) {
  return reinterpret_cast<Structure*>(reinterpret_cast<std::uintptr_t>(module) + offset);
}

const IMAGE_DATA_DIRECTORY& importDirectory(HMODULE module) {
  const auto* dosHeader = at<IMAGE_DOS_HEADER>(module, 0);
  if (module == nullptr || dosHeader->e_magic != IMAGE_DOS_SIGNATURE) {
    throw std::runtime_error("not a loaded module");
  }
  const auto* headers = at<IMAGE_NT_HEADERS64>(module, static_cast<DWORD>(dosHeader->e_lfanew));
  return headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
}

void write(void** slot, void* address) {
  DWORD protection = 0;
  if (::VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection) == FALSE) {
    throw std::runtime_error("the import table cannot be changed, error " + std::to_string(::GetLastError()));
  }
  *slot = address;
  ::VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

}  // namespace

ImportTable::ImportTable(HMODULE module) {
  const IMAGE_DATA_DIRECTORY& directory = importDirectory(module);
  if (directory.Size == 0) {
    return;
  }
  for (const auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
       library->Name != 0; ++library) {
    const auto* name = at<IMAGE_THUNK_DATA64>(module, library->OriginalFirstThunk);
    auto* slot = at<void*>(module, library->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
      if (!IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal)) {
        const auto* import = at<IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(name->u1.AddressOfData));
        imports_.push_back({import->Name, slot, nullptr});
      }
    }
  }
}

ImportTable::~ImportTable() {
  for (const Import& import : imports_) {
    if (import.original != nullptr) {
      write(import.slot, import.original);
    }
  }
}

std::vector<std::string> ImportTable::names() const {
  std::vector<std::string> names;
  for (const Import& import : imports_) {
    names.push_back(import.name);
  }
  return names;
}

bool ImportTable::has(const std::string& name) const {
  return std::any_of(imports_.begin(), imports_.end(),
                     [&](const Import& import) { return isNamed(import, name); });
}

void* ImportTable::replaceAddress(const std::string& name, void* replacement) {
  const auto import = std::find_if(imports_.begin(), imports_.end(),
                                   [&](const Import& candidate) { return isNamed(candidate, name); });
  if (import == imports_.end()) {
    throw std::runtime_error("the module does not import " + name);
  }
  void* const previous = *import->slot;
  if (import->original == nullptr) {
    import->original = previous;
  }
  write(import->slot, replacement);
  return previous;
}

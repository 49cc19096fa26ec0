#include "pipe/win32/pipe_security.h"

#include "common/win32/unique_handle.h"
#include "common/win32/windows_calls.h"

namespace kx {

void PipeSecurityDeleter::operator()(SECURITY_ATTRIBUTES* attributes) const {
  const LocalMemory descriptor(attributes->lpSecurityDescriptor);
  std::default_delete<SECURITY_ATTRIBUTES>()(attributes);
}

PipeSecurity openToEveryone() {
  LocalMemory descriptor(::LocalAlloc(LPTR, SECURITY_DESCRIPTOR_MIN_LENGTH));
  if (!descriptor ||
      ::InitializeSecurityDescriptor(descriptor.get(), SECURITY_DESCRIPTOR_REVISION) == FALSE ||
      windowsCalls().setSecurityDescriptorDacl(descriptor.get(), TRUE, nullptr, FALSE) == FALSE) {
    return nullptr;
  }
  auto attributes = std::make_unique<SECURITY_ATTRIBUTES>();
  attributes->nLength = sizeof(SECURITY_ATTRIBUTES);
  attributes->bInheritHandle = FALSE;
  attributes->lpSecurityDescriptor = descriptor.release();
  return PipeSecurity(attributes.release());
}

}  // namespace kx

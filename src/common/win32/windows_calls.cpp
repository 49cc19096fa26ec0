#include "common/win32/windows_calls.h"

namespace kx {

namespace {

WindowsCalls calls;

}  // namespace

WindowsCalls& windowsCalls() {
  return calls;
}

}  // namespace kx

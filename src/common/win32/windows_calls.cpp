#include "common/win32/windows_calls.h"

namespace {

WindowsCalls calls;

}  // namespace

WindowsCalls& windowsCalls() {
  return calls;
}

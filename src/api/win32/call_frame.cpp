#include "api/win32/call_frame.h"

#include "log/log.h"

namespace kx {

ContextRecord* findContext(const ExportFrame& frame, int context) {
  ContextRecord* record = lookupContext(context);
  if (record == nullptr) {
    __logerr(frame.noContextMessage, context);
  }
  return record;
}

bool isInitialised(const ExportFrame& frame, const ContextRecord& record) {
  if (!record.instance) {
    __logerr("%s", frame.notInitialisedMessage);
  }
  return record.instance != nullptr;
}

bool allGiven(const ExportFrame& frame, RequiredTexts texts) {
  for (const RequiredText& required : texts) {
    if (required.text == nullptr) {
      __logerr("%s() error: argument %s is null", frame.name, required.argument);
      return false;
    }
  }
  return true;
}

void logException(const char* exportName, const char* what) noexcept {
  __logerr("%s() error: caught exception: %s", exportName, what);
}

}  // namespace kx

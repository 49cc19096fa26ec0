// The frame around every export: it checks the context, its instance and the texts, in this order, runs the
// body and catches everything. Nothing else in this component has a catch, but for the library's entry point,
// and no exception leaves the library.
#pragma once

#include "api/kxtcp64.h"
#include "api/memory_reserve.h"
#include "api/win32/context_registry.h"

#include <exception>
#include <initializer_list>

namespace kx {

// What an export gives when its call cannot be carried out.
struct FrameResults {
  int noContext = KX_NO_CONTEXT;
  int failed = KX_FAILED;
  int exception = KX_FAILED;
};

// The texts and results of one export. The messages are complete, so that a log line can be found in the
// source; the first one holds a "%d" for the context.
struct ExportFrame {
  const char* name;
  const char* noContextMessage;
  const char* notInitialisedMessage;
  FrameResults results = {};
};

// An argument that must not be null.
struct RequiredText {
  const char* argument;
  const char* text;
};
using RequiredTexts = std::initializer_list<RequiredText>;

// Each logs what is missing and gives null or false, or logs the exception that an export met.
ContextRecord* findContext(const ExportFrame& frame, int context);
bool isInitialised(const ExportFrame& frame, const ContextRecord& record);
bool allGiven(const ExportFrame& frame, RequiredTexts texts);
void logException(const char* exportName, const char* what) noexcept;

// Runs the body; whatever it throws becomes the given result.
template <typename Result, typename Body>
Result guarded(const char* exportName, Result onException, Body body) noexcept {
  refillMemoryReserve();
  try {
    return body();
  } catch (const std::exception& e) {
    logException(exportName, e.what());
  } catch (...) {
    logException(exportName, "unknown exception");
  }
  return onException;
}

// For an export that needs a context: body(ContextRecord&).
template <typename Body>
int withContext(const ExportFrame& frame, int context, RequiredTexts texts, Body body) noexcept {
  return guarded(frame.name, frame.results.exception, [&] {
    ContextRecord* record = findContext(frame, context);
    if (record == nullptr) {
      return frame.results.noContext;
    }
    return allGiven(frame, texts) ? body(*record) : frame.results.failed;
  });
}

// For an export that needs a context with a browser: body(ContextRecord&), whose instance is there.
template <typename Body>
int withBrowser(const ExportFrame& frame, int context, RequiredTexts texts, Body body) noexcept {
  return withContext(frame, context, {}, [&](ContextRecord& record) {
    return isInitialised(frame, record) && allGiven(frame, texts) ? body(record) : frame.results.failed;
  });
}

}  // namespace kx

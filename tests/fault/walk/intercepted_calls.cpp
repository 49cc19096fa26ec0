#include "fault/walk/intercepted_calls.h"

#include <algorithm>
#include <cwchar>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace {

constexpr DWORD kLongEnough = 2000;
constexpr DWORD kNobodyComes = 20;

InterceptedCalls* currentCalls = nullptr;

template <typename Result>
Result as(LONG_PTR value) {
  if constexpr (std::is_pointer_v<Result>) {
    return reinterpret_cast<Result>(value);
  } else {
    return static_cast<Result>(value);
  }
}

// Stands in the import table in place of one function. The body is what happens when the call does not fail;
// onFailure is what the walk has to know when it does.
template <auto kFunction>
struct Intercepted;

template <typename Result, typename... Arguments, Result (*kFunction)(Arguments...)>
struct Intercepted<kFunction> {
  using Function = Result(Arguments...);

  static inline const char* name = "";
  static inline std::vector<Failure> failures;
  static inline Function* real = nullptr;
  static inline std::function<void(Arguments...)> before;
  static inline std::function<Function> body;
  static inline std::function<void(Arguments...)> onFailure;

  static Result call(Arguments... arguments) {
    if (before) {
      before(arguments...);
    }
    if (const Failure* failure = InterceptedCalls::current().nextCall(name, failures)) {
      if (onFailure) {
        onFailure(arguments...);
      }
      ::SetLastError(failure->error);
      return as<Result>(failure->result);
    }
    return body ? body(arguments...) : real(arguments...);
  }
};

// How a function is entered in the table of fallible calls.
struct Entry {
  const char* name;
  std::vector<Failure> failures;
  void (*install)(ImportTable& imports, const Entry& entry);
};

template <auto kFunction>
void install(ImportTable& imports, const Entry& entry) {
  using Call = Intercepted<kFunction>;
  Call::name = entry.name;
  Call::failures = entry.failures;
  Call::before = nullptr;
  Call::body = nullptr;
  Call::onFailure = nullptr;
  Call::real = imports.replace(entry.name, &Call::call);
}

constexpr LONG_PTR kFalse = 0;
constexpr LONG_PTR kNull = 0;
constexpr LONG_PTR kAllOnes = -1;  // INVALID_HANDLE_VALUE, WAIT_FAILED, EOF

// Failures with a meaning of their own stand behind the general one.
const std::vector<Entry>& entries() {
  static const std::vector<Entry> table = {
      // pipes
      {"InitializeSecurityDescriptor", {{kFalse, kInjectedError}}, &install<&::InitializeSecurityDescriptor>},
      {"SetSecurityDescriptorDacl", {{kFalse, kInjectedError}}, &install<&::SetSecurityDescriptorDacl>},
      {"LocalAlloc", {{kNull, ERROR_NOT_ENOUGH_MEMORY}}, &install<&::LocalAlloc>},
      {"LocalFree", {{1, kInjectedError}}, &install<&::LocalFree>},
      {"CreateNamedPipeW", {{kAllOnes, kInjectedError}}, &install<&::CreateNamedPipeW>},
      {"CreateFileW",
       {{kAllOnes, kInjectedError}, {kAllOnes, ERROR_PIPE_BUSY}, {kAllOnes, ERROR_SHARING_VIOLATION}},
       &install<&::CreateFileW>},
      {"WaitNamedPipeW",
       {{kFalse, kInjectedError}, {kFalse, ERROR_SEM_TIMEOUT}},
       &install<&::WaitNamedPipeW>},
      {"SetNamedPipeHandleState", {{kFalse, kInjectedError}}, &install<&::SetNamedPipeHandleState>},
      {"CreateEventA", {{kNull, kInjectedError}}, &install<&::CreateEventA>},
      {"ConnectNamedPipe",
       {{kFalse, kInjectedError}, {kFalse, ERROR_NO_DATA}},
       &install<&::ConnectNamedPipe>},
      {"ReadFile", {{kFalse, kInjectedError}, {kFalse, ERROR_BROKEN_PIPE}}, &install<&::ReadFile>},
      {"WriteFile", {{kFalse, kInjectedError}, {kFalse, ERROR_NO_DATA}}, &install<&::WriteFile>},
      {"WaitForMultipleObjects",
       {{kAllOnes, kInjectedError}, {WAIT_TIMEOUT, ERROR_SUCCESS}},
       &install<&::WaitForMultipleObjects>},
      {"GetOverlappedResult",
       {{kFalse, kInjectedError}, {kFalse, ERROR_BROKEN_PIPE}},
       &install<&::GetOverlappedResult>},
      {"CancelIoEx", {{kFalse, kInjectedError}}, &install<&::CancelIoEx>},
      {"GetNamedPipeInfo", {{kFalse, kInjectedError}}, &install<&::GetNamedPipeInfo>},
      {"FlushFileBuffers", {{kFalse, kInjectedError}}, &install<&::FlushFileBuffers>},
      {"DisconnectNamedPipe", {{kFalse, kInjectedError}}, &install<&::DisconnectNamedPipe>},
      {"CloseHandle", {{kFalse, kInjectedError}}, &install<&::CloseHandle>},
      // processes and the start lock
      {"CreateMutexW", {{kNull, kInjectedError}}, &install<&::CreateMutexW>},
      {"ReleaseMutex", {{kFalse, kInjectedError}}, &install<&::ReleaseMutex>},
      {"WaitForSingleObject",
       {{kAllOnes, kInjectedError}, {WAIT_TIMEOUT, ERROR_SUCCESS}},
       &install<&::WaitForSingleObject>},
      {"FindFirstFileW",
       {{kAllOnes, kInjectedError}, {kAllOnes, ERROR_FILE_NOT_FOUND}},
       &install<&::FindFirstFileW>},
      {"FindClose", {{kFalse, kInjectedError}}, &install<&::FindClose>},
      {"CreateProcessW", {{kFalse, kInjectedError}}, &install<&::CreateProcessW>},
      {"OpenProcess", {{kNull, kInjectedError}}, &install<&::OpenProcess>},
      {"TerminateProcess", {{kFalse, kInjectedError}}, &install<&::TerminateProcess>},
      {"GetVersionExA", {{kFalse, kInjectedError}}, &install<&::GetVersionExA>},
      // texts and files
      {"GetEnvironmentVariableW",
       {{0, kInjectedError}, {0, ERROR_ENVVAR_NOT_FOUND}},
       &install<&::GetEnvironmentVariableW>},
      {"MultiByteToWideChar", {{0, kInjectedError}}, &install<&::MultiByteToWideChar>},
      {"WideCharToMultiByte", {{0, kInjectedError}}, &install<&::WideCharToMultiByte>},
      {"_wfopen", {{kNull, kInjectedError}}, &install<&::_wfopen>},
      {"fgetc", {{kAllOnes, kInjectedError}}, &install<&::fgetc>},
      {"fwrite", {{0, kInjectedError}}, &install<&::fwrite>},
      {"fclose", {{kAllOnes, kInjectedError}}, &install<&::fclose>},
  };
  return table;
}

// Calls that do not fail, but that the walks have to see.
void WINAPI hearDebuggerLine(LPCSTR line) {
  InterceptedCalls::current().addDebuggerLine(line);
}

void WINAPI sleepOnStage(DWORD milliseconds) {
  InterceptedCalls::current().stage.sleep(milliseconds);
}

// Everybody else acts before the library waits, on this same thread. What has not happened then does not
// happen, so no time-out has to be sat out, and a wait without one never ends.
DWORD waitFor(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
  InterceptedCalls& calls = InterceptedCalls::current();
  calls.stage.othersAct();
  const DWORD result =
      Intercepted<&::WaitForMultipleObjects>::real(count, handles, all, std::min(milliseconds, kNobodyComes));
  if (result == WAIT_TIMEOUT && milliseconds == INFINITE) {
    calls.addEndlessWait("WaitForMultipleObjects");
  }
  return result;
}

BOOL resultOf(HANDLE file, LPOVERLAPPED overlapped, LPDWORD count, BOOL waits) {
  const auto real = Intercepted<&::GetOverlappedResult>::real;
  if (waits != FALSE && ::WaitForSingleObject(overlapped->hEvent, kLongEnough) != WAIT_OBJECT_0) {
    InterceptedCalls::current().addEndlessWait("GetOverlappedResult");
    ::CancelIoEx(file, overlapped);
  }
  return real(file, overlapped, count, waits);
}

// Every log entry begins with reading one of its variables, and ends with the line for the debugger.
void noticeLogEntries() {
  Intercepted<& ::GetEnvironmentVariableW>::before = [](LPCWSTR name, LPWSTR, DWORD) {
    if (std::wcsncmp(name, L"KORVEX", 6) == 0) {
      InterceptedCalls::current().beginLogEntry();
    }
  };
}

void setTheStage() {
  Intercepted<& ::WaitForMultipleObjects>::body = waitFor;
  Intercepted<& ::GetOverlappedResult>::body = resultOf;
  Intercepted<& ::WaitForSingleObject>::body = [](HANDLE handle, DWORD milliseconds) {
    return Intercepted<&::WaitForSingleObject>::real(handle, std::min(milliseconds, kNobodyComes));
  };
  Intercepted<& ::WaitNamedPipeW>::body = [](LPCWSTR name, DWORD milliseconds) {
    InterceptedCalls::current().stage.othersAct();
    return Intercepted<&::WaitNamedPipeW>::real(name, std::min(milliseconds, kNobodyComes));
  };
  Intercepted<& ::FlushFileBuffers>::body = [](HANDLE file) {
    InterceptedCalls::current().stage.beforeFlush();
    return Intercepted<&::FlushFileBuffers>::real(file);
  };
  Intercepted<& ::WriteFile>::body = [](HANDLE file, LPCVOID bytes, DWORD length, LPDWORD count,
                                        LPOVERLAPPED overlapped) {
    const BOOL result = Intercepted<&::WriteFile>::real(file, bytes, length, count, overlapped);
    const DWORD error = ::GetLastError();
    InterceptedCalls::current().stage.afterWrite();
    ::SetLastError(error);
    return result;
  };
  Intercepted<& ::CreateProcessW>::body = [](LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES,
                                             BOOL, DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW,
                                             LPPROCESS_INFORMATION process) {
    return InterceptedCalls::current().stage.createProcess(process);
  };
  Intercepted<& ::OpenProcess>::body = [](DWORD, BOOL, DWORD id) {
    return InterceptedCalls::current().stage.openProcess(id);
  };
  Intercepted<& ::TerminateProcess>::body = [](HANDLE process, UINT) {
    return InterceptedCalls::current().stage.terminateProcess(process);
  };
}

void keepCount() {
  Intercepted<& ::_wfopen>::body = [](const wchar_t* path, const wchar_t* mode) {
    std::FILE* file = Intercepted<&::_wfopen>::real(path, mode);
    InterceptedCalls::current().countFile(file != nullptr ? 1 : 0);
    return file;
  };
  Intercepted<& ::fclose>::body = [](std::FILE* file) {
    InterceptedCalls::current().countFile(-1);
    return Intercepted<&::fclose>::real(file);
  };
  Intercepted<& ::LocalAlloc>::body = [](UINT flags, SIZE_T size) {
    InterceptedCalls::current().countLocalBlock(1);
    return Intercepted<&::LocalAlloc>::real(flags, size);
  };
  Intercepted<& ::LocalFree>::body = [](HLOCAL memory) {
    InterceptedCalls::current().countLocalBlock(-1);
    return Intercepted<&::LocalFree>::real(memory);
  };
}

// What a failing close leaves open is the walk's to close.
void keepWhatStaysOpen() {
  Intercepted<& ::CloseHandle>::onFailure = [](HANDLE handle) {
    InterceptedCalls::current().addUnclosed([=] { ::CloseHandle(handle); });
  };
  Intercepted<& ::FindClose>::onFailure = [](HANDLE search) {
    InterceptedCalls::current().addUnclosed([=] { ::FindClose(search); });
  };
  Intercepted<& ::fclose>::onFailure = [](std::FILE* file) {
    InterceptedCalls::current().addUnclosed([=] {
      InterceptedCalls::current().countFile(-1);
      std::fclose(file);
    });
  };
  Intercepted<& ::LocalFree>::onFailure = [](HLOCAL memory) {
    InterceptedCalls::current().addUnclosed([=] {
      InterceptedCalls::current().countLocalBlock(-1);
      ::LocalFree(memory);
    });
  };
}

}  // namespace

InterceptedCalls::InterceptedCalls(HMODULE library) : imports_(library) {
  if (currentCalls != nullptr) {
    throw std::logic_error("the library's calls are intercepted already");
  }
  currentCalls = this;
  for (const Entry& entry : entries()) {
    entry.install(imports_, entry);
  }
  imports_.replace("OutputDebugStringA", &hearDebuggerLine);
  imports_.replace("Sleep", &sleepOnStage);
  setTheStage();
  keepCount();
  keepWhatStaysOpen();
  noticeLogEntries();
}

InterceptedCalls::~InterceptedCalls() {
  currentCalls = nullptr;
}

std::vector<std::string> InterceptedCalls::fallibleNames() {
  std::vector<std::string> names;
  for (const Entry& entry : entries()) {
    names.emplace_back(entry.name);
  }
  return names;
}

InterceptedCalls& InterceptedCalls::current() {
  return *currentCalls;
}

void InterceptedCalls::start(std::optional<std::size_t> failingCall, Failure failure) {
  seen_.clear();
  debuggerLines_.clear();
  endlessWaits_.clear();
  failingCall_ = failingCall;
  failure_ = failure;
  hasFailed_ = false;
  isInLog_ = false;
  isWatching_ = true;
}

const Failure* InterceptedCalls::nextCall(const char* name, const std::vector<Failure>& failures) {
  if (!isWatching_) {
    return nullptr;
  }
  const std::size_t number = seen_.size();
  seen_.push_back({name, step_, isInLog_, failures});
  if (failingCall_ != number) {
    return nullptr;
  }
  hasFailed_ = true;
  return &failure_;
}

void InterceptedCalls::addDebuggerLine(const char* line) {
  isInLog_ = false;
  if (isWatching_) {
    debuggerLines_.push_back({step_, line});
  }
}

int InterceptedCalls::closeWhatCouldNotBeClosed() {
  for (const std::function<void()>& close : unclosed_) {
    close();
  }
  const int count = static_cast<int>(unclosed_.size());
  unclosed_.clear();
  return count;
}

#include "cli/win32/dll.h"

#include "cli/runs.h"
#include "cli/surroundings.h"
#include "cli/win32/processes.h"
#include "common/win32/utf16.h"
#include "kxtcp64.h"

#include <windows.h>
#include <map>
#include <mutex>
#include <vector>

namespace kx::cli {
namespace {

constexpr char kFileName[] = "KXTCP64.dll";

// The functions, by the types that the header gives them.
struct Functions {
  // NOLINTNEXTLINE(bugprone-macro-parentheses): a member cannot be declared between parentheses
#define KX_FUNCTION(name) decltype(&::name) name = nullptr;
#include "bindings/functions.inc"
#undef KX_FUNCTION
};

template <typename Function>
void find(HMODULE module, const char* name, Function& function) {
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
  if (function == nullptr) {
    throw Problem{kExitProblem,
                  libraryPath() + " has no function " + name + ": it is not the library of this program."};
  }
}

// The DLL's own folder is searched first for what it needs in turn.
HMODULE load() {
  const HMODULE module =
      ::LoadLibraryExW(utf16FromUtf8(libraryPath()).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (module == nullptr) {
    const DWORD error = ::GetLastError();
    throw Problem{kExitProblem,
                  libraryPath() + " cannot be loaded, error " + std::to_string(error) +
                      (error == ERROR_MOD_NOT_FOUND ? ": it is not there. It belongs beside kx.exe." : ".")};
  }
  return module;
}

// Copies a text of unknown length. The size counts the zero at the end.
template <typename Copy>
std::string copied(const Copy& copy) {
  const int size = copy(nullptr, 0);
  if (size <= 1) {
    return {};
  }
  std::string text(static_cast<std::size_t>(size), '\0');
  copy(text.data(), size);
  text.pop_back();
  return text;
}

class Dll final : public Library {
 public:
  Dll() {
    const HMODULE module = load();
#define KX_FUNCTION(name) find(module, #name, dll_.name);
#include "bindings/functions.inc"
#undef KX_FUNCTION
  }

  int createContext() override {
    return dll_.kx_ContextCreate();
  }
  void destroyContext(int context) override {
    dll_.kx_ContextDestroy(context);
  }
  int errorNumber(int context) override {
    return dll_.kx_GetLastErrorNumber(context);
  }
  std::string errorText(int context) override {
    return copied([&](char* buffer, int size) { return dll_.kx_GetLastErrorText(context, buffer, size); });
  }

  int start(int context, const StartCall& call) override {
    return dll_.kx_Init(context, call.browser.c_str(), call.options.c_str(),
                        call.program ? call.program->c_str() : nullptr, 0, call.openNewBrowser ? 1 : 0,
                        call.timeoutSeconds);
  }
  int setVariable(int context, const std::string& name, const std::string& value) override {
    return dll_.kx_SetVar(context, name.c_str(), value.c_str());
  }
  int play(int context, const std::string& macro, int timeoutSeconds) override {
    return dll_.kx_Play(context, macro.c_str(), timeoutSeconds);
  }
  int display(int context, const std::string& message, int timeoutSeconds) override {
    return dll_.kx_Display(context, message.c_str(), timeoutSeconds);
  }
  int takeScreenshot(int context, const std::string& path, int type, int timeoutSeconds) override {
    return dll_.kx_TakeBrowserScreenshot(context, path.c_str(), type, timeoutSeconds);
  }
  int exit(int context, int timeoutSeconds) override {
    return dll_.kx_Exit(context, timeoutSeconds);
  }

  std::vector<std::string> extracts(int context) override;
  std::vector<PerformanceValue> performance(int context) override;
  std::string profilerData(int context) override {
    return copied([&](char* buffer, int size) { return dll_.kx_GetPerformance(context, buffer, size); });
  }
  std::uint32_t processId(int context) override {
    return static_cast<std::uint32_t>(dll_.kx_GetBrowserProcessId(context));
  }

  int launchRunner(int context, const StartCall& call, std::string& failedExport) override;
  int startRunner(int context, const StartCall& call) override {
    return dll_.kxr_Init(context, call.browser.c_str(), call.options.c_str(), call.openNewBrowser ? 1 : 0,
                         call.timeoutSeconds);
  }
  int exitRunner(int context, int timeoutSeconds) override {
    return dll_.kxr_Exit(context, timeoutSeconds);
  }
  void endRunner(int context, int timeoutSeconds) override;

 private:
  std::string extract(int context, int index) {
    return copied(
        [&](char* buffer, int size) { return dll_.kx_GetLastExtract(context, buffer, size, index); });
  }

  Functions dll_;
  std::mutex mutex_;
  std::map<int, ChildProcess> runners_;
};

// Nothing gives their number: they are all there when their lengths and the separators between them add up to
// the length of all together. No extract and one that is empty are the same.
std::vector<std::string> Dll::extracts(int context) {
  constexpr std::size_t kSeparator = sizeof("[EXTRACT]") - 1;
  const std::size_t whole = extract(context, 0).size();
  std::vector<std::string> extracts;
  for (std::size_t length = 0; length < whole;) {
    extracts.push_back(extract(context, static_cast<int>(extracts.size()) + 1));
    length += extracts.back().size() + (extracts.size() > 1 ? kSeparator : 0);
  }
  return extracts;
}

std::vector<PerformanceValue> Dll::performance(int context) {
  std::vector<PerformanceValue> entries;
  int nameSize = 0;
  int valueSize = 0;
  for (int index = 1;
       dll_.kx_GetLastPerformance(context, index, nullptr, &nameSize, nullptr, &valueSize) == KX_OK;
       ++index) {
    std::string name(static_cast<std::size_t>(nameSize), '\0');
    std::string value(static_cast<std::size_t>(valueSize), '\0');
    dll_.kx_GetLastPerformance(context, index, name.data(), &nameSize, value.data(), &valueSize);
    name.pop_back();
    value.pop_back();
    entries.push_back({name, value});
  }
  return entries;
}

int Dll::launchRunner(int context, const StartCall& call, std::string& failedExport) {
  const int size = dll_.kxr_GetCommandLine(call.browser.c_str(), call.options.c_str(), nullptr, 0, nullptr);
  if (size <= 0) {
    failedExport = "kxr_GetCommandLine";
    return size;
  }
  std::string line(static_cast<std::size_t>(size), '\0');
  dll_.kxr_GetCommandLine(call.browser.c_str(), call.options.c_str(), line.data(), size, nullptr);
  line.pop_back();
  const std::string program = call.program.value_or(defaultProgram(call.browser));
  ChildProcess process;
  const std::uint32_t error = process.start(program, line);
  if (error != 0) {
    failedExport = "CreateProcessW";
    return static_cast<int>(error);
  }
  const std::lock_guard lock(mutex_);
  runners_[context] = std::move(process);
  return KX_OK;
}

void Dll::endRunner(int context, int timeoutSeconds) {
  ChildProcess process;
  {
    const std::lock_guard lock(mutex_);
    process = std::move(runners_[context]);
    runners_.erase(context);
  }
  process.end(timeoutSeconds);
}

}  // namespace

std::unique_ptr<Library> loadLibrary() {
  return std::make_unique<Dll>();
}

std::string libraryPath() {
  return ownFolder() + "\\" + kFileName;
}

std::string fileVersion(const std::string& path) {
  const std::wstring wide = utf16FromUtf8(path);
  const DWORD size = ::GetFileVersionInfoSizeW(wide.c_str(), nullptr);
  std::vector<char> data(size);
  VS_FIXEDFILEINFO* info = nullptr;
  UINT length = 0;
  if (size == 0 || ::GetFileVersionInfoW(wide.c_str(), 0, size, data.data()) == FALSE ||
      ::VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&info), &length) == FALSE) {
    return {};
  }
  return std::to_string(HIWORD(info->dwFileVersionMS)) + "." + std::to_string(LOWORD(info->dwFileVersionMS)) +
         "." + std::to_string(HIWORD(info->dwFileVersionLS));
}

}  // namespace kx::cli

// kxtcp64.hpp - KXTCP64.dll for C++17: this header and the DLL, nothing else.
//
//     kx::StartOptions options;
//     options.profile = "work";
//     kx::Browser browser = kx::Browser::start(options);
//     browser.setVariable("city", "Oslo");
//     for (const std::string& extract : browser.play(macro).extracts) std::cout << extract << '\n';
//
// A Browser has a context of the library and the browser of it, and ends both when it goes. What goes wrong
// is thrown as KxError. kxtcp64.h, which lies beside this file, tells what the calls do; here is what is
// different:
//
// Library.   Browser::start(options) takes the functions of the import library that the host is linked with.
//            Browser::start(Library::load(), options) needs none: the DLL is loaded at run time. It is never
//            freed again.
// Texts.     std::string and std::string_view in UTF-8. Paths are std::filesystem::path.
// Success.   The error number is looked at after every request: what returns has succeeded in the browser,
// too. Time-outs. Any std::chrono::duration above zero, rounded up to whole seconds, or Timeout::none().
// Threads.   One Browser may be used by several threads. Its calls wait for one another, in no set order. It
//            must not be moved or destroyed while another thread uses it.
// After a time-out, and after an answer that was not valid, further requests are refused: the library cannot
//            tell a late answer from the next one. Close the browser and start another.
#ifndef KXTCP64_HPP
#define KXTCP64_HPP

#include "kxtcp64.h"

#ifndef _WIN32
#error "KXTCP64.dll is for hosts on Windows."
#endif
#if __cplusplus < 201703L && (!defined(_MSVC_LANG) || _MSVC_LANG < 201703L)
#error "kxtcp64.hpp needs C++17."
#endif

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// clang-format off
// made from bindings/interface.json
#define KXTCP64_FUNCTIONS(apply) \
  apply(kx_ContextCreate) \
  apply(kx_ContextDestroy) \
  apply(kx_GetLastErrorNumber) \
  apply(kx_GetLastErrorText) \
  apply(kx_Init) \
  apply(kx_SetVar) \
  apply(kx_Play) \
  apply(kx_Display) \
  apply(kx_TakeBrowserScreenshot) \
  apply(kx_GetLastExtract) \
  apply(kx_GetPerformance) \
  apply(kx_GetLastPerformance) \
  apply(kx_GetBrowserProcessId) \
  apply(kx_Exit) \
  apply(kxr_GetCommandLine) \
  apply(kxr_Init) \
  apply(kxr_Exit)
// end of what is made
// clang-format on

namespace kx {

// What is thrown, and nothing else but std::bad_alloc.
class KxError : public std::runtime_error {
 public:
  KxError(std::string call, int result, int number, std::string text)
      : std::runtime_error(call + " failed: result " + std::to_string(result) + ", error " +
                           std::to_string(number) + ": " + text),
        call_(std::move(call)),
        result_(result),
        number_(number),
        text_(std::move(text)) {}

  // The function of kxtcp64.h, or what this header was asked for.
  const std::string& call() const noexcept { return call_; }
  // Its result; KX_FAILED when the call was not made. It is KX_OK when the browser answered with an error to
  // a start, a message or a screenshot.
  int result() const noexcept { return result_; }
  // The library's error number; KX_ERROR_NONE when the arguments were wrong.
  int number() const noexcept { return number_; }
  const std::string& text() const noexcept { return text_; }

 private:
  std::string call_;
  int result_;
  int number_;
  std::string text_;
};

// How long each single wait may last: a play waits for every write and read.
class Timeout {
 public:
  template <class Rep, class Period>
  Timeout(std::chrono::duration<Rep, Period> time)
      : seconds_(wholeSeconds(std::chrono::duration<double>(time).count())) {}

  // Waits without a limit for what the browser does.
  static Timeout none() noexcept { return Timeout(); }

  // As the library takes it.
  int seconds() const noexcept { return seconds_; }

 private:
  Timeout() noexcept = default;
  static int wholeSeconds(double seconds) {
    const double whole = std::ceil(seconds);
    // In parentheses max is no macro of <windows.h>.
    if (!(whole >= 1.0) || whole > (std::numeric_limits<int>::max)()) {
      throw KxError("kx::Timeout", KX_FAILED, KX_ERROR_NONE,
                    "a time-out is above zero, and below 68 years; for no limit there is Timeout::none()");
    }
    return static_cast<int>(whole);
  }

  int seconds_ = 0;
};

enum class BrowserType { Firefox, Chrome };
enum class ScreenshotArea { Browser = KX_SCREENSHOT_BROWSER, Page = KX_SCREENSHOT_PAGE };

struct StartOptions {
  BrowserType browser = BrowserType::Firefox;
  // Firefox's profile, by its name. Without it Firefox chooses one.
  std::optional<std::string> profile;
  // Chrome's user data directory. Without it Chrome's own.
  std::optional<std::filesystem::path> userDataDir;
  // The browser's program; a relative path starts from the current folder. Without it the usual place.
  std::optional<std::filesystem::path> program;
  // Plays leave profiler data.
  bool profiler = false;
  // The extension is asked for a new browser window.
  bool openNewBrowser = false;
  // Only a browser that is running already; none is launched.
  bool attachOnly = false;
  // Also sets the number of attempts, see kx_Init(). A runner's start refuses Timeout::none().
  Timeout timeout = std::chrono::seconds(60);
  // The time-out of the exit when a Browser goes that was not closed.
  Timeout exitTimeout = std::chrono::seconds(10);
};

struct PerformanceEntry {
  std::string name;
  std::string value;
};

// What a play left.
struct PlayResult {
  // In their order, empty ones included. A play that has left one empty extract looks like one that has left
  // none.
  std::vector<std::string> extracts;
  std::vector<PerformanceEntry> performance;
  // Nothing unless StartOptions::profiler asked for it.
  std::optional<std::string> profilerData;
};

// The functions of kxtcp64.h under their own names.
struct Functions {
#define KXTCP64_MEMBER(name) decltype(&::name) name = nullptr;
  KXTCP64_FUNCTIONS(KXTCP64_MEMBER)
#undef KXTCP64_MEMBER
};

// Where the functions come from. Copies share them.
class Library {
 public:
  // The import library that the host is linked with. A host that does not call this needs none.
  static Library linked() {
    Functions functions;
#define KXTCP64_LINK(name) functions.name = &::name;
    KXTCP64_FUNCTIONS(KXTCP64_LINK)
#undef KXTCP64_LINK
    return Library(functions);
  }

  // The DLL at that path; Windows searches for a mere name, first in the program's own folder.
  static Library load(const std::filesystem::path& file = L"KXTCP64.dll");

  const Functions& functions() const noexcept {
    return *functions_;
  }

 private:
  explicit Library(const Functions& functions) : functions_(std::make_shared<const Functions>(functions)) {}

  std::shared_ptr<const Functions> functions_;
};

namespace detail {

// Of a mistake that is found before the library is called.
[[noreturn]] inline void refuse(const char* call, const std::string& text, int number = KX_ERROR_NONE) {
  throw KxError(call, KX_FAILED, number, text);
}

inline std::string utf8(const std::filesystem::path& path) {
  const auto text = path.u8string();  // of char8_t since C++20
  return std::string(text.begin(), text.end());
}

// The library would take a zero for the text's end.
inline std::string zeroTerminated(const char* call, const char* what, std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    refuse(call, std::string(what) + " holds a zero character");
  }
  return std::string(text);
}

// True for what spoils a request or an options string.
inline bool hasQuoteOrControl(std::string_view text) {
  for (const char c : text) {
    if (c == '"' || (c >= 0 && c < ' ')) {
      return true;
    }
  }
  return false;
}

// Throws for a function that leaves the error number and text alone: theirs would tell of another call.
struct Failing {
  const char* call;
  void operator()(int result) const { throw KxError(call, result, KX_ERROR_NONE, "the log tells more"); }
};

// Asks copy(buffer, size) for the size, then for the text. The size counts the zero at the end; the text may
// hold more of them.
template <class Copy, class Fail>
std::string copied(const Copy& copy, const Fail& fail) {
  const int size = copy(nullptr, 0);
  if (size < 0) {
    fail(size);
  }
  if (size <= 1) {
    return {};
  }
  std::string text(static_cast<std::size_t>(size), '\0');
  const int result = copy(text.data(), size);
  if (result < 0) {
    fail(result);
  }
  text.pop_back();
  return text;
}

inline void appendOption(std::string& options, const char* call, const char* name, const std::string& value) {
  if (value.empty() || value.back() == '\\' || hasQuoteOrControl(value)) {
    refuse(call,
           std::string("the value of ") + name +
               " is empty, ends in a backslash, or holds a double quote or a control character: " + value);
  }
  options += std::string(" ") + name + "=\"" + zeroTerminated(call, name, value) + "\"";
}

inline const char* browserName(const StartOptions& options) {
  return options.browser == BrowserType::Firefox ? "fx" : "cr";
}

// The options string; quotes let a value begin with a hyphen and hold blanks.
inline std::string optionsText(const char* call, const StartOptions& options, bool runner) {
  const bool firefox = options.browser == BrowserType::Firefox;
  if (firefox ? options.userDataDir.has_value() : options.profile.has_value()) {
    refuse(call, firefox ? "userDataDir is for Chrome; Firefox has a profile"
                         : "profile is for Firefox; Chrome has a userDataDir");
  }
  if (runner && !options.profile && !options.userDataDir) {
    refuse(call, firefox ? "a runner's Firefox needs a profile" : "a runner's Chrome needs a userDataDir");
  }
  std::string text = runner ? "-runner" : "";
  if (options.profiler) {
    text += " -profiler";
  }
  if (options.profile) {
    appendOption(text, call, "-fxProfile", *options.profile);
  }
  if (options.userDataDir) {
    appendOption(text, call, "-crUserDataDir", utf8(*options.userDataDir));
  }
  return text;
}

// The program's path as the library wants it: whole, with backslashes. The empty one launches nothing.
inline std::string programText(const char* call, const StartOptions& options) {
  if (options.attachOnly) {
    if (options.program) {
      refuse(call, "attachOnly launches no program, so program means nothing with it");
    }
    return {};
  }
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(*options.program, error).make_preferred();
  if (options.program->empty() || error) {
    refuse(call, "program is no path");
  }
  return zeroTerminated(call, "program", utf8(whole));
}

// A context, and how it is ended. Its calls are made one at a time.
class Session {
 public:
  Session(Library library, bool runner, Timeout exitTimeout)
      : library_(std::move(library)),
        runner_(runner),
        exitTimeout_(exitTimeout),
        context_(dll().kx_ContextCreate()) {
    if (context_ < 0) {
      throw KxError("kx_ContextCreate", context_, KX_ERROR_NONE, "no memory for a context");
    }
  }
  // Closes the browser, if there is one; a failure of that is in the library's log.
  ~Session() {
    if (context_ >= 0) {
      callExit(exitTimeout_);
      destroy();
    }
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Lets one thread in, to an open context.
  std::unique_lock<std::mutex> enter(const char* call) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (context_ < 0) {
      throw KxError(call, KX_NO_CONTEXT, KX_ERROR_NONE, "the browser was closed");
    }
    return lock;
  }
  // The same for what sends a request.
  std::unique_lock<std::mutex> enterRequest(const char* call) {
    std::unique_lock<std::mutex> lock = enter(call);
    if (outOfStep_ != nullptr) {
      refuse(call, std::string(outOfStep_) + "; close this browser and start another", outOfStepNumber_);
    }
    return lock;
  }

  const Functions& dll() const { return library_.functions(); }
  int context() const { return context_; }

  // Throws what a call and the browser's answer to it come to, unless both tell of success.
  void check(const char* call, int result) {
    const int number = dll().kx_GetLastErrorNumber(context_);
    if (result == KX_OK && number == KX_ERROR_SUCCESS) {
      return;
    }
    const std::string text = errorText();
    if (number == KX_ERROR_TIMEOUT &&
        (text == "Error while sending request" || text == "Error while receiving response")) {
      outOfStep_ = "an earlier request has timed out, and its late answer would count as the next one's";
    } else if (number == KX_ERROR_GENERAL && text == "Error in response processing") {
      outOfStep_ = "an earlier answer was not valid, and what is left of it would spoil the next one";
    }
    outOfStepNumber_ = number;
    throw KxError(call, result, number, text);
  }

  // The same for a start. One that was answered leaves a browser to be closed, any other leaves none.
  void checkStart(const char* call, int result, const char* reason = nullptr) {
    if (result == KX_OK) {
      check(call, result);
      return;
    }
    const KxError error(call, result, dll().kx_GetLastErrorNumber(context_),
                        reason != nullptr ? reason : errorText());
    destroy();
    throw error;
  }

  void exit(Timeout timeout) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (context_ < 0) {
      return;
    }
    const int result = callExit(timeout);
    if (result != KX_OK) {
      throw KxError(runner_ ? "kxr_Exit" : "kx_Exit", result, dll().kx_GetLastErrorNumber(context_),
                    errorText());
    }
    destroy();
  }

  PlayResult readBack() const {
    PlayResult left;
    left.extracts = extracts();
    for (int index = 1;; ++index) {
      std::optional<PerformanceEntry> entry = performance(index);
      if (!entry) {
        break;
      }
      left.performance.push_back(std::move(*entry));
    }
    std::string data =
        copied([&](char* buffer, int size) { return dll().kx_GetPerformance(context_, buffer, size); },
               Failing{"kx_GetPerformance"});
    if (!data.empty()) {
      left.profilerData = std::move(data);
    }
    return left;
  }

 private:
  int callExit(Timeout timeout) const {
    return runner_ ? dll().kxr_Exit(context_, timeout.seconds()) : dll().kx_Exit(context_, timeout.seconds());
  }

  void destroy() { dll().kx_ContextDestroy(std::exchange(context_, KX_NO_CONTEXT)); }

  std::string errorText() const {
    return copied([&](char* buffer, int size) { return dll().kx_GetLastErrorText(context_, buffer, size); },
                  [](int) {});
  }

  // An empty extract has the size that one beyond the last has. The size of all, joined by "[EXTRACT]", tells
  // when the last one was read.
  std::vector<std::string> extracts() const {
    constexpr std::size_t kSeparator = 9;
    const Failing fail{"kx_GetLastExtract"};
    const int whole = dll().kx_GetLastExtract(context_, nullptr, 0, 0);
    if (whole < 0) {
      fail(whole);
    }
    std::vector<std::string> found;
    for (std::size_t length = 0;
         whole > 0 && (found.empty() || length + 1 < static_cast<std::size_t>(whole));) {
      const int index = static_cast<int>(found.size()) + 1;
      found.push_back(copied(
          [&](char* buffer, int size) { return dll().kx_GetLastExtract(context_, buffer, size, index); },
          fail));
      length += found.back().size() + (index > 1 ? kSeparator : 0);
    }
    return found;
  }

  std::optional<PerformanceEntry> performance(int index) const {
    int nameSize = 0;
    int valueSize = 0;
    if (dll().kx_GetLastPerformance(context_, index, nullptr, &nameSize, nullptr, &valueSize) != KX_OK) {
      return std::nullopt;
    }
    PerformanceEntry entry{std::string(static_cast<std::size_t>(nameSize), '\0'),
                           std::string(static_cast<std::size_t>(valueSize), '\0')};
    const int result = dll().kx_GetLastPerformance(context_, index, entry.name.data(), &nameSize,
                                                   entry.value.data(), &valueSize);
    if (result != KX_OK) {
      Failing{"kx_GetLastPerformance"}(result);
    }
    entry.name.pop_back();
    entry.value.pop_back();
    return entry;
  }

  std::mutex mutex_;
  Library library_;
  bool runner_;
  Timeout exitTimeout_;
  int context_;
  // Why requests and answers no longer go together; null while they do.
  const char* outOfStep_ = nullptr;
  int outOfStepNumber_ = KX_ERROR_NONE;
};

}  // namespace detail

// A browser that was started or attached to. Moves, but is not copied.
class Browser {
 public:
  // Attaches to the running browser of that profile, or launches it.
  static Browser start(const StartOptions& options = {}) { return start(Library::linked(), options); }
  static Browser start(const Library& library, const StartOptions& options) {
    constexpr char call[] = "kx_Init";
    const std::string text = detail::optionsText(call, options, false);
    const bool usualPlace = !options.program && !options.attachOnly;
    const std::string program = usualPlace ? std::string() : detail::programText(call, options);
    Browser browser(library, false, options.exitTimeout);
    const int result = library.functions().kx_Init(browser.session_->context(), detail::browserName(options),
                                                   text.c_str(), usualPlace ? nullptr : program.c_str(), 0,
                                                   options.openNewBrowser ? 1 : 0, options.timeout.seconds());
    const bool nobodyThere = options.attachOnly && result > KX_OK;  // the launch that had to fail was tried
    browser.session_->checkStart(
        call, result,
        nobodyThere ? "no running browser serves the extension's pipe, and attachOnly launches none"
                    : nullptr);
    return browser;
  }

  // The runner family: the host starts the browser's program itself, with the arguments that these options
  // come to. program and attachOnly are not looked at. page is Chrome's start page, without it a generated
  // one.
  static std::string runnerArguments(const StartOptions& options) {
    return runnerArguments(Library::linked(), options);
  }
  static std::string runnerArguments(const Library& library, const StartOptions& options,
                                     const std::optional<std::filesystem::path>& page = std::nullopt) {
    constexpr char call[] = "kxr_GetCommandLine";
    const std::string text = detail::optionsText(call, options, true);
    const std::string pageText =
        page ? detail::zeroTerminated(call, "page", detail::utf8(*page)) : std::string();
    return detail::copied(
        [&](char* buffer, int size) {
          return library.functions().kxr_GetCommandLine(detail::browserName(options), text.c_str(), buffer,
                                                        size, page ? pageText.c_str() : nullptr);
        },
        detail::Failing{call});
  }
  // Attaches to it. Closing asks that browser to exit, and does not wait for its process.
  static Browser startRunner(const StartOptions& options) { return startRunner(Library::linked(), options); }
  static Browser startRunner(const Library& library, const StartOptions& options) {
    constexpr char call[] = "kxr_Init";
    const std::string text = detail::optionsText(call, options, true);
    if (options.timeout.seconds() == 0) {  // the library would make one attempt, which may fail at once
      detail::refuse(call, "a runner's timeout has an end, for it sets the number of attempts");
    }
    Browser browser(library, true, options.exitTimeout);
    browser.session_->checkStart(
        call,
        library.functions().kxr_Init(browser.session_->context(), detail::browserName(options), text.c_str(),
                                     options.openNewBrowser ? 1 : 0, options.timeout.seconds()));
    return browser;
  }

  // A variable for the next play.
  void setVariable(std::string_view name, std::string_view value) {
    constexpr char call[] = "kx_SetVar";
    if (name.find('\\') != std::string_view::npos || detail::hasQuoteOrControl(name)) {
      detail::refuse(call, "the variable's name holds a double quote, a backslash or a control character");
    }
    const std::string nameText(name);
    const std::string valueText = detail::zeroTerminated(call, "the variable's value", value);
    detail::Session& session = open(call);
    const auto lock = session.enterRequest(call);
    const int result = session.dll().kx_SetVar(session.context(), nameText.c_str(), valueText.c_str());
    if (result != KX_OK) {
      detail::Failing{call}(result);
    }
  }

  // Plays a macro, and gives all that it left.
  PlayResult play(std::string_view macro, Timeout timeout = std::chrono::seconds(60)) {
    constexpr char call[] = "kx_Play";
    const std::string text = detail::zeroTerminated(call, "the macro", macro);
    detail::Session& session = open(call);
    const auto lock = session.enterRequest(call);
    session.check(call, session.dll().kx_Play(session.context(), text.c_str(), timeout.seconds()));
    return session.readBack();
  }

  // The same once more; after a play that has failed, what it had left by then. The profiler data are those
  // of the last answer, which may be another one than the play's.
  PlayResult lastPlay() const {
    constexpr char call[] = "kx_GetLastExtract";
    detail::Session& session = open(call);
    const auto lock = session.enter(call);
    return session.readBack();
  }

  // Shows a message to the user, in the browser.
  void show(std::string_view message, Timeout timeout = std::chrono::seconds(60)) {
    constexpr char call[] = "kx_Display";
    const std::string text = detail::zeroTerminated(call, "the message", message);
    detail::Session& session = open(call);
    const auto lock = session.enterRequest(call);
    session.check(call, session.dll().kx_Display(session.context(), text.c_str(), timeout.seconds()));
  }

  // Has the browser save a picture of itself to a file, as the browser's process understands the path.
  void screenshot(const std::filesystem::path& file, ScreenshotArea area = ScreenshotArea::Page,
                  Timeout timeout = std::chrono::seconds(60)) {
    constexpr char call[] = "kx_TakeBrowserScreenshot";
    const std::string path = detail::zeroTerminated(call, "the path", detail::utf8(file));
    detail::Session& session = open(call);
    const auto lock = session.enterRequest(call);
    session.check(call, session.dll().kx_TakeBrowserScreenshot(session.context(), path.c_str(),
                                                               static_cast<int>(area), timeout.seconds()));
  }

  // Of the process that was launched; nothing for a browser that was running.
  std::optional<unsigned long> processId() const {
    constexpr char call[] = "kx_GetBrowserProcessId";
    detail::Session& session = open(call);
    const auto lock = session.enter(call);
    const int id = session.dll().kx_GetBrowserProcessId(session.context());
    return id == 0 ? std::nullopt : std::optional<unsigned long>(static_cast<unsigned int>(id));
  }

  // Closes the browser, also one that was attached to. A Browser that is closed refuses every call but this
  // one. When this throws, the browser is still there, and may be closed again.
  void exit(Timeout timeout = std::chrono::seconds(10)) {
    if (session_ != nullptr) {
      session_->exit(timeout);
    }
  }

 private:
  Browser(const Library& library, bool runner, Timeout exitTimeout)
      : session_(std::make_unique<detail::Session>(library, runner, exitTimeout)) {}

  detail::Session& open(const char* call) const {
    if (session_ == nullptr) {
      detail::refuse(call, "this Browser was moved to another one");
    }
    return *session_;
  }

  std::unique_ptr<detail::Session> session_;
};

namespace detail {

template <class Function>
void findFunction(HMODULE module, const std::filesystem::path& file, const char* name, Function& function) {
  // Windows gives every function out as one type; the real one is known by the name alone.
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
  if (function == nullptr) {
    refuse("kx::Library::load", utf8(file) + " has no function " + name);
  }
}

}  // namespace detail

inline Library Library::load(const std::filesystem::path& file) {
  const HMODULE module = ::LoadLibraryW(file.c_str());
  if (module == nullptr) {
    const int error = static_cast<int>(::GetLastError());
    throw KxError("kx::Library::load", error, -error, detail::utf8(file) + " cannot be loaded");
  }
  Functions functions;
#define KXTCP64_FIND(name) detail::findFunction(module, file, #name, functions.name);
  KXTCP64_FUNCTIONS(KXTCP64_FIND)
#undef KXTCP64_FIND
  return Library(functions);
}

}  // namespace kx

#undef KXTCP64_FUNCTIONS

#endif  // KXTCP64_HPP

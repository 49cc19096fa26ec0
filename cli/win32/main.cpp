// kx.exe: the library at the command line.
#include "cli/arguments.h"
#include "cli/explain.h"
#include "cli/log_tail.h"
#include "cli/log_view.h"
#include "cli/play.h"
#include "cli/runs.h"
#include "cli/sim.h"
#include "cli/surroundings.h"
#include "cli/win32/console.h"
#include "cli/win32/dll.h"
#include "cli/win32/processes.h"
#include "cli/win32/selftest/this_selftest.h"
#include "cli/win32/simulator_program.h"
#include "cli/win32/this_machine.h"
#include "common/win32/utf16.h"
#include "log/log.h"

#include <windows.h>
#include <exception>
#include <functional>
#include <memory>
#include <ostream>
#include <thread>

namespace kx::cli {
namespace {

std::string wholePath(const std::string& path) {
  std::vector<wchar_t> whole(32768);
  const DWORD length = ::GetFullPathNameW(utf16FromUtf8(path).c_str(), static_cast<DWORD>(whole.size()),
                                          whole.data(), nullptr);
  return utf8FromUtf16({whole.data(), length});
}

bool fileExists(const std::string& path) {
  return ::GetFileAttributesW(utf16FromUtf8(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string versions() {
  const std::string dll = fileVersion(libraryPath());
  return std::string("kx            " KX_VERSION_TEXT "\n") + "KXTCP64.dll   " +
         (dll.empty() ? "not there" : dll) + "   " + libraryPath() + "\n" +
         "kxtcp64.h     " KX_VERSION_TEXT "\n";
}

// A log is looked at five times a second.
std::string pausedMore(LogTail& tail) {
  constexpr DWORD kPause = 200;
  std::string more = tail.more();
  if (more.empty()) {
    ::Sleep(kPause);
  }
  return more;
}

Whereabouts whereabouts(const std::vector<std::string>& words) {
  const std::string dll = fileVersion(libraryPath());
  return {words,
          wholePath("."),
          KX_VERSION_TEXT,
          dll,
          libraryPath(),
          systemText(),
          std::thread::hardware_concurrency()};
}

int run(const Arguments& arguments, const Surroundings& around) {
  switch (arguments.verb) {
    case Verb::Play: {
      const Descendants browsers(arguments.play.stay);
      return runPlay(arguments.play, around);
    }
    case Verb::Explain:
      around.out << explain(arguments.explain, thisMachine(), around.outPalette);
      return kExitSuccess;
    case Verb::Log: {
      const std::string environmentsLog = logFilePath();
      LogTail tail(arguments.log.file.empty() ? environmentsLog : arguments.log.file);
      return runLog(
          arguments.log, environmentsLog, [&] { return pausedMore(tail); }, around);
    }
    case Verb::Sim: {
      const Descendants simulators(false);
      return runSim(arguments.sim, thisMachine(), simulatorProgram(around.interruption), around);
    }
    case Verb::SelfTest:
      return selfTest(arguments.selfTest, around);
    case Verb::Completion:
      around.out << powerShellCompletion();
      return kExitSuccess;
  }
  return kExitProblem;
}

int main() {
  OutputBuffer outBuffer(STD_OUTPUT_HANDLE);
  OutputBuffer errBuffer(STD_ERROR_HANDLE);
  std::ostream out(&outBuffer);
  std::ostream err(&errBuffer);
  std::unique_ptr<Library> library;
  const std::vector<std::string> words = commandLineWords();
  const auto sayAndEnd = [&](int code, const std::string& sentence) {
    out.flush();
    err << errBuffer.palette().paint(errBuffer.palette().bad, "kx: ") << sentence << std::endl;
    return code;
  };
  const auto codeOf = [&](const std::function<int()>& work) {
    try {
      const int code = work();
      out.flush();
      return outBuffer.hasFailed() ? sayAndEnd(kExitProblem, "The output could not be written.") : code;
    } catch (const Problem& problem) {
      return sayAndEnd(problem.exitCode, problem.sentence);
    } catch (const std::exception& exception) {
      return sayAndEnd(kExitProblem, std::string("This should not have happened: ") + exception.what());
    }
  };
  const Surroundings around{out,
                            err,
                            outBuffer.palette(),
                            errBuffer.palette(),
                            errBuffer.isTerminal(),
                            errBuffer.columns(),
                            isInputTerminal(),
                            watchForInterruption(),
                            standardInput,
                            [&]() -> Library& {
                              if (!library) {
                                library = loadLibrary();
                              }
                              return *library;
                            },
                            wholePath,
                            fileExists,
                            [](const std::string& path) { ::DeleteFileW(utf16FromUtf8(path).c_str()); },
                            [&] { return whereabouts(words); },
                            logForReport,
                            isGivenUp,
                            [&](const std::function<int()>& lastWork) {
                              const int code = codeOf(lastWork);
                              outBuffer.close();
                              errBuffer.close();
                              endDescendants();
                              ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(code));
                            }};
  return codeOf([&] {
    const ParsedArguments parsed = parseArguments(words);
    switch (parsed.kind) {
      case ParsedArguments::Kind::Help:
        out << parsed.text;
        break;
      case ParsedArguments::Kind::Version:
        out << versions();
        break;
      case ParsedArguments::Kind::Refused:
        throw Problem{kExitWrongUse, parsed.text};
      case ParsedArguments::Kind::Run:
        return run(parsed.arguments, around);
    }
    return int{kExitSuccess};
  });
}

}  // namespace
}  // namespace kx::cli

int main() {
  return kx::cli::main();
}

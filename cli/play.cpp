#include "cli/play.h"

#include "cli/csv.h"
#include "cli/progress.h"
#include "cli/report.h"
#include "cli/results.h"
#include "cli/runs.h"
#include "cli/text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <variant>

namespace kx::cli {
namespace {

constexpr auto kRedrawPause = std::chrono::milliseconds(100);

struct ContextEnded {
  int context = 1;
  LogRange closing;
};
using Event = std::variant<Step, EndedStep, RunResult, ContextEnded>;

// What the contexts' threads tell the program's own thread, which alone prints.
class EventQueue {
 public:
  void put(Event event) {
    {
      const std::lock_guard lock(mutex_);
      events_.push_back(std::move(event));
    }
    arrived_.notify_one();
  }

  // All that has come by then; possibly nothing.
  std::deque<Event> takeAll(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    arrived_.wait_for(lock, patience, [&] { return !events_.empty(); });
    return std::exchange(events_, {});
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<Event> events_;
};

[[noreturn]] void refuse(const std::string& sentence) {
  throw Problem{kExitWrongUse, sentence};
}

std::string textOf(std::string bytes, const std::string& name) {
  std::string problem;
  std::string text = plainText(std::move(bytes), name, problem);
  if (!problem.empty()) {
    refuse(problem);
  }
  return text;
}

std::vector<Macro> macrosOf(const PlayArguments& arguments, const Surroundings& around) {
  std::vector<Macro> macros;
  for (const std::string& text : arguments.macros) {
    const std::string name =
        arguments.macros.size() == 1 ? "the macro" : "macro " + std::to_string(macros.size() + 1);
    macros.push_back({name, textOf(replacedAll(text, "\\n", "\n"), name)});
  }
  std::vector<std::string> files = arguments.files;
  if (files.empty() && macros.empty()) {
    if (around.isInTerminal) {
      refuse("There is no macro. Give a file, --macro TEXT, or - and the macro as standard input.");
    }
    files.emplace_back("-");
  }
  for (const std::string& file : files) {
    const bool isInput = file == "-";
    const std::string name = isInput ? "standard input" : file;
    macros.push_back({name, textOf(isInput ? around.standardInput() : fileBytes(file), name)});
  }
  return macros;
}

std::vector<std::vector<Variable>> rowsOf(const std::string& file) {
  std::vector<std::vector<Variable>> rows;
  if (file.empty()) {
    return rows;
  }
  std::string problem;
  const CsvTable table = readCsv(textOf(fileBytes(file), file), file, problem);
  if (!problem.empty()) {
    refuse(problem);
  }
  for (const std::vector<std::string>& values : table.rows) {
    std::vector<Variable> row;
    for (std::size_t i = 0; i < values.size(); ++i) {
      row.emplace_back(table.header[i], values[i]);
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

// The browser's process saves the picture, in a folder of its own: it gets the whole path.
void settleScreenshot(PlayArguments& arguments, const std::vector<Run>& runs, const Surroundings& around) {
  std::string& pattern = arguments.screenshot;
  if (pattern.empty()) {
    return;
  }
  if (runs.size() > 1 && pattern.find("{run}") == std::string::npos) {
    refuse("--screenshot names one file, and there are " + counted(runs.size(), "run") +
           ". Write {run} where the run's number is to stand, for example shot-{run}.png.");
  }
  pattern = around.wholePath(pattern);
  for (const Run& run : runs) {
    const std::string path = screenshotPath(pattern, run.number);
    if (around.fileExists(path)) {
      if (!arguments.overwrite) {
        refuse("The picture's file is there already: " + path +
               ". Choose another name, or give --overwrite.");
      }
      around.err << "The picture replaces " << path << ".\n";
    }
  }
}

// Prints what is going on, and each result at the place where it belongs.
class Reporter {
 public:
  Reporter(const PlayArguments& arguments, const Surroundings& around, std::size_t runs)
      : arguments_(arguments),
        around_(around),
        runs_(runs),
        ended_(runs, false),
        board_(arguments.parallel),
        live_(around.err, around.errColumns),
        begin_(std::chrono::steady_clock::now()),
        closings_(static_cast<std::size_t>(arguments.parallel)) {}

  void began(const Step& step) {
    board_.begin(step, std::chrono::steady_clock::now());
    if (!arguments_.quiet && !around_.isErrTerminal) {
      around_.err << plainLine(step) << std::endl;
    }
  }

  void ended(RunResult&& result) {
    ended_[result.run.number - 1] = true;
    if (arguments_.form == OutputForm::AsJson) {
      live_.clear();
      around_.out << jsonText(resultJson(result), runs_ == 1 ? kReadable : kOneLine) << std::endl;
    }
    if (arguments_.form == OutputForm::AsTable) {
      live_.clear();
      around_.out << resultTable(result, runs_ > 1, around_.outPalette) << std::flush;
    } else if (result.outcome != Outcome::Ok) {
      live_.clear();
      around_.err << resultTable(result, runs_ > 1, around_.errPalette) << std::flush;
    }
    results_.push_back(std::move(result));
    board_.count(results_.size(), runs_);
  }

  void stepEnded(EndedStep step) {
    if (!arguments_.report.empty()) {
      steps_.push_back(std::move(step));
    }
  }

  void rest(const ContextEnded& ended) {
    board_.rest(ended.context);
    closings_[static_cast<std::size_t>(ended.context) - 1] = ended.closing;
  }

  void draw() {
    if (!arguments_.quiet && around_.isErrTerminal) {
      live_.draw(board_, std::chrono::steady_clock::now());
    }
  }

  int finish(const std::vector<Run>& runs, ReportFile* report, const std::vector<Macro>& macros) {
    for (const Run& run : runs) {
      if (!ended_[run.number - 1]) {
        endedWithout(run);
      }
    }
    live_.clear();
    std::sort(results_.begin(), results_.end(),
              [](const RunResult& one, const RunResult& other) { return one.run.number < other.run.number; });
    if (arguments_.form == OutputForm::AsCsv) {
      around_.out << resultCsv(results_) << std::flush;
    }
    if (runs_ > 1 && !arguments_.quiet) {
      around_.err << summaryOf(results_) << std::endl;
    }
    const int exitCode = exitCodeOf(results_);
    if (report != nullptr) {
      PlayedAll all;
      all.arguments = &arguments_;
      all.macros = &macros;
      all.begin = begin_;
      all.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
      all.results = std::move(results_);
      all.steps = std::move(steps_);
      all.closings = std::move(closings_);
      report->write(std::move(all));
    }
    return exitCode;
  }

 private:
  // Nobody has played it to its end.
  void endedWithout(const Run& run) {
    RunResult result;
    result.run = run;
    result.outcome = around_.interruption ? Outcome::Interrupted : Outcome::NotPlayed;
    ended(std::move(result));
  }

  const PlayArguments& arguments_;
  const Surroundings& around_;
  std::size_t runs_;
  // By the runs' numbers.
  std::vector<bool> ended_;
  ProgressBoard board_;
  LiveLines live_;
  Moment begin_;
  std::vector<RunResult> results_;
  std::vector<EndedStep> steps_;
  std::vector<LogRange> closings_;
};

void playInContext(int number, Library& library, const PlayArguments& arguments,
                   const std::vector<Macro>& macros, const Interruption& interruption, RunQueue& queue,
                   EventQueue& events, const std::string& logPath) {
  LogRange closing;
  {
    Player player(library, arguments, macros, number, interruption,
                  {[&](const Step& step) { events.put(step); },
                   [&](RunResult result) { events.put(std::move(result)); },
                   [&](const EndedStep& step) { events.put(step); },
                   [&] { return logPath.empty() ? 0 : logSize(logPath); }});
    closing = player.playAll(queue);
  }
  events.put(ContextEnded{number, closing});
}

}  // namespace

int runPlay(PlayArguments arguments, const Surroundings& around) {
  const std::vector<Macro> macros = macrosOf(arguments, around);
  const std::vector<Run> runs = runsOf(arguments, rowsOf(arguments.rowsFile));
  settleScreenshot(arguments, runs, around);
  arguments.parallel =
      static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(arguments.parallel), runs.size()));
  // Before the library is loaded: it is to find the log switched on.
  std::unique_ptr<ReportFile> report =
      arguments.report.empty() ? nullptr : std::make_unique<ReportFile>(arguments, around);
  const std::string logPath = report ? report->logPath() : std::string();
  Library& library = around.library();

  RunQueue queue(runs);
  EventQueue events;
  Reporter reporter(arguments, around, runs.size());
  std::vector<std::thread> threads;
  for (int number = 1; number <= arguments.parallel; ++number) {
    threads.emplace_back([&, number] {
      playInContext(number, library, arguments, macros, around.interruption, queue, events, logPath);
    });
  }
  int working = arguments.parallel;
  while (working > 0 && !(around.isGivenUp && around.isGivenUp())) {
    for (Event& event : events.takeAll(kRedrawPause)) {
      if (const auto* step = std::get_if<Step>(&event)) {
        reporter.began(*step);
      } else if (auto* ended = std::get_if<EndedStep>(&event)) {
        reporter.stepEnded(std::move(*ended));
      } else if (auto* result = std::get_if<RunResult>(&event)) {
        reporter.ended(std::move(*result));
      } else {
        reporter.rest(std::get<ContextEnded>(event));
        --working;
      }
    }
    reporter.draw();
  }
  const auto finish = [&] {
    const std::unique_ptr<ReportFile> page = std::move(report);
    return reporter.finish(runs, page.get(), macros);
  };
  if (working > 0) {
    // The threads are inside the library, and use what lies here.
    around.endNow(finish);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  return working > 0 ? kExitInterrupted : finish();
}

}  // namespace kx::cli

#include "cli/report.h"

#include "cli/embedded.h"
#include "cli/json.h"
#include "cli/log_view.h"
#include "cli/results.h"
#include "cli/text.h"
#include "common/platform.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>

namespace kx::cli {
namespace {

constexpr std::string_view kDataPlace = "<!--DATA-->";

// A page with more would take web browsers too long to open.
constexpr std::size_t kMostPictureBytes = 64U << 20U;
constexpr std::size_t kMostLogSteps = 400;
constexpr std::size_t kLongestRequest = 4000;

using Write = std::function<void(std::string_view)>;

// JSON inside a page: nothing in it can end the element that it stands in, or begin another one.
std::string pageJson(const Json& value) {
  std::string text = replacedAll(jsonText(value, kOneLine), "<", "\\u003c");
  text = replacedAll(std::move(text), "\xE2\x80\xA8", "\\u2028");
  return replacedAll(std::move(text), "\xE2\x80\xA9", "\\u2029");
}

std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto byte = [&](std::size_t index) {
      return index < bytes.size() ? static_cast<unsigned>(static_cast<unsigned char>(bytes[index])) : 0U;
    };
    const unsigned group = byte(i) << 16U | byte(i + 1) << 8U | byte(i + 2);
    text += kDigits[group >> 18U];
    text += kDigits[group >> 12U & 63U];
    text += i + 1 < bytes.size() ? kDigits[group >> 6U & 63U] : '=';
    text += i + 2 < bytes.size() ? kDigits[group & 63U] : '=';
  }
  return text;
}

double rounded(double seconds) {
  return std::round(seconds * 10000) / 10000;
}

std::string onlySize(const std::string& text) {
  return text.empty() ? text : "<" + counted(text.size(), "byte") + ">";
}

bool isNumber(const std::string& text) {
  char* end = nullptr;
  std::strtod(text.c_str(), &end);
  return !text.empty() && *end == '\0';
}

const char* nameOf(StepKind kind) {
  constexpr std::array names = {"start", "play", "message", "picture", "close"};
  return names.at(static_cast<std::size_t>(kind));
}

class Report {
 public:
  Report(const PlayedAll& all, const LogParts* log, const PictureBytes& picture, const Write& write)
      : all_(all), log_(log), picture_(picture), write_(write) {}

  std::string write() {
    const std::string_view page = kReportPage;
    const std::size_t place = page.find(kDataPlace);
    write_(page.substr(0, place));
    writeRuns();
    writeSteps();
    if (!isRedacted()) {
      writePictures();
    }
    writeElement("type=\"application/json\" id=\"data-about\"", pageJson(about()));
    write_(page.substr(place + kDataPlace.size()));
    return leftOut_;
  }

 private:
  bool isRedacted() const { return all_.arguments->isReportRedacted; }
  // The text without names of users, when that is asked for.
  std::string shown(const std::string& text) const { return isRedacted() ? redacted(text) : text; }
  double since(Moment moment) const {
    return rounded(std::chrono::duration<double>(moment - all_.begin).count());
  }

  void writeElement(const std::string& attributes, std::string_view content) {
    write_("<script " + attributes + ">");
    write_(content);
    write_("</script>\n");
  }

  void writeRuns() {
    write_("<script type=\"application/json\" id=\"data-runs\">[");
    for (const RunResult& result : all_.results) {
      write_(&result == &all_.results.front() ? "\n" : ",\n");
      write_(pageJson(runJson(result)));
    }
    write_("]</script>\n");
  }

  Json runJson(const RunResult& result) {
    Json json = resultJson(result);
    json["began"] = result.attempts > 0 ? since(result.began) : 0;
    if (isRedacted()) {
      redact(json);
    }
    addLog(json, result.log);
    return json;
  }

  static void redact(Json& json) {
    for (Json& value : json["variables"]) {
      value = kRemoved;
    }
    for (Json& extract : json["extracts"]) {
      extract = onlySize(extract);
    }
    for (Json& entry : json["performance"]) {
      if (!isNumber(entry["value"])) {
        entry["value"] = onlySize(entry["value"]);
      }
    }
    json["profiler"] = onlySize(json["profiler"]);
    for (const char* const name : {"profile", "text", "screenshot", "macro"}) {
      if (json.contains(name) && json[name].is_string()) {
        json[name] = redacted(json[name].get<std::string>());
      }
    }
  }

  void addLog(Json& json, const LogRange& range) {
    const Json steps = logJson(range);
    Json& shownSteps = json["log"] = Json::array();
    const std::size_t left = steps.size() > kMostLogSteps ? steps.size() - kMostLogSteps : 0;
    for (std::size_t i = 0; i < steps.size(); ++i) {
      if (i < kMostLogSteps / 2 || i >= kMostLogSteps / 2 + left) {
        shownSteps.push_back(steps[i]);
      }
    }
    json["logLeftOut"] = left;
  }

  Json logJson(const LogRange& range) {
    Json json = Json::array();
    for (LogStep& step : log_ != nullptr ? log_->steps(range) : std::vector<LogStep>()) {
      if (step.kind == LogStep::Kind::Launch) {
        launches_.push_back(shown(step.text));
      }
      step.request = shortened(step.request, kLongestRequest);
      json.push_back(stepJson(step, isRedacted()));
    }
    return json;
  }

  void writeSteps() {
    std::map<std::string, std::size_t> numbers;
    Json whats = Json::array();
    Json steps = Json::array();
    for (const EndedStep& ended : all_.steps) {
      const Step& step = ended.step;
      const auto [number, isNew] = numbers.try_emplace(step.what, numbers.size());
      if (isNew) {
        whats.push_back(shown(step.what));
      }
      steps.push_back({step.context, step.run, nameOf(step.kind), number->second, since(step.begun),
                       since(ended.ended), ended.isGood ? 1 : 0});
    }
    writeElement("type=\"application/json\" id=\"data-steps\"",
                 pageJson({{"steps", steps}, {"whats", whats}}));
  }

  void writePictures() {
    std::size_t bytes = 0;
    std::size_t without = 0;
    for (const RunResult& result : all_.results) {
      if (result.screenshot.empty()) {
        continue;
      }
      const std::optional<std::string> picture = picture_(result.screenshot);
      if (!picture || bytes + picture->size() > kMostPictureBytes) {
        ++without;
        continue;
      }
      bytes += picture->size();
      writeElement("type=\"text/plain\" data-picture=\"" + std::to_string(result.run.number) + "\"",
                   base64(*picture));
    }
    if (without > 0) {
      leftOut_ = counted(without, "picture") + (without == 1 ? " is" : " are") +
                 " not in the report: it takes " + std::to_string(kMostPictureBytes >> 20U) +
                 " MB of them, and those that can be read.";
    }
  }

  std::string logText() const {
    if (all_.log.isOwn) {
      return "switched on for this report, in a file that is removed again";
    }
    return shown(all_.log.path) +
           (all_.log.hasOnlyErrors ? "; KORVEX_LOG is off: errors alone are in it" : "");
  }

  Json about() {
    const PlayArguments& arguments = *all_.arguments;
    Json notes = Json::array();
    if (isRedacted()) {
      notes.push_back(
          "Values of variables, macros, extracts, profiler data, pictures, requests and user names are left "
          "out.");
    }
    if (!leftOut_.empty()) {
      notes.push_back(leftOut_);
    }
    Json macros = Json::array();
    for (const Macro& macro : *all_.macros) {
      macros.push_back(
          {{"name", shown(macro.name)}, {"text", isRedacted() ? onlySize(macro.text) : macro.text}});
    }
    Json contexts = Json::array();
    for (std::size_t i = 0; i < all_.closings.size(); ++i) {
      contexts.push_back({{"number", i + 1}, {"closing", logJson(all_.closings[i])}});
    }
    Json json = {{"command", shown(commandLineText(all_.where.commandLine, arguments))}};
    json["folder"] = shown(all_.where.folder);
    json["started"] =
        std::chrono::duration_cast<std::chrono::milliseconds>(all_.started.time_since_epoch()).count();
    json["seconds"] = rounded(all_.seconds);
    json["versions"] = {{"kx", all_.where.programVersion}, {"library", all_.where.libraryVersion}};
    json["libraryPath"] = shown(all_.where.libraryPath);
    json["system"] = all_.where.system;
    json["processors"] = all_.where.processors;
    json["browser"] = {{"type", arguments.browser.type},
                       {"how", howText(arguments.browser)},
                       {"timeout", arguments.browser.timeoutSeconds}};
    json["log"] = {{"isThere", log_ != nullptr}, {"text", logText()}};
    json["notes"] = notes;
    json["macros"] = macros;
    json["contexts"] = contexts;
    json["launches"] = launches_;
    return json;
  }

  static std::string howText(const BrowserChoice& browser) {
    return std::string(browser.attach ? "attached to" : "launched") +
           (browser.runner ? " as a runner does (kxr_ functions)" : " (kx_ functions)");
  }

  const PlayedAll& all_;
  const LogParts* log_;
  const PictureBytes& picture_;
  const Write& write_;
  std::vector<std::string> launches_;
  std::string leftOut_;
};

std::string quoted(const std::string& word) {
  if (!word.empty() && word.find_first_of(" \t\n\"&|<>^") == std::string::npos) {
    return word;
  }
  return "\"" + replacedAll(word, "\"", "\\\"") + "\"";
}

// The word without the value that it holds or ends with.
std::string withoutValue(const std::string& word, const PlayArguments& arguments) {
  const auto holds = [&](const std::string& value) {
    return !value.empty() && (word.starts_with('-') ? word.ends_with(value) : word == value);
  };
  for (const auto& [name, value] : arguments.variables) {
    if (holds(std::string(name).append("=").append(value))) {
      return word.substr(0, word.size() - value.size()) + kRemoved;
    }
  }
  std::vector<std::string> texts = arguments.macros;
  texts.push_back(arguments.message);
  for (const std::string& text : texts) {
    if (holds(text)) {
      return word.substr(0, word.size() - text.size()) + kRemoved;
    }
  }
  return word;
}

}  // namespace

std::string commandLineText(const std::vector<std::string>& words, const PlayArguments& arguments) {
  std::string text = "kx";
  for (const std::string& word : words) {
    text += " " + quoted(arguments.isReportRedacted ? withoutValue(word, arguments) : word);
  }
  return text;
}

std::string writeReport(const PlayedAll& all, const LogParts* log, const PictureBytes& picture,
                        const Write& write) {
  return Report(all, log, picture, write).write();
}

ReportFile::ReportFile(const PlayArguments& arguments, const Surroundings& around)
    : arguments_(arguments),
      around_(around),
      path_(around.wholePath(arguments.report)),
      isNew_(!around.fileExists(path_)),
      started_(std::chrono::system_clock::now()) {
  if (!isNew_ && !arguments.overwrite) {
    throw Problem{kExitWrongUse, "The report's file is there already: " + path_ +
                                     ". Choose another name, or give --overwrite."};
  }
  std::FILE* const file = platform::openFile(path_, "ab");
  if (file == nullptr) {
    throw Problem{kExitWrongUse, "The report cannot be written: " + path_ +
                                     ". Is its folder there, and may you write to it?"};
  }
  std::fclose(file);
  if (!isNew_) {
    around.err << "The report replaces " << path_ << ".\n";
  }
  log_ = around.logForReport();
  logBegin_ = logSize(log_.path);
}

ReportFile::~ReportFile() {
  if (isNew_ && !isWritten_) {
    around_.removeFile(path_);
  }
  if (log_.isOwn) {
    around_.removeFile(log_.path);
  }
}

void ReportFile::write(PlayedAll all) {
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  all.started = started_;
  all.where = around_.whereabouts();
  all.log = log_;
  std::unique_ptr<std::FILE, Closer> file(platform::openFile(path_, "wb"));
  bool isGood = file != nullptr;
  const LogParts log(log_.path, logBegin_);
  const auto picture = [](const std::string& path) -> std::optional<std::string> {
    try {
      return fileBytes(path);
    } catch (const Problem&) {
      return std::nullopt;
    }
  };
  std::string leftOut;
  if (isGood) {
    leftOut = writeReport(all, &log, picture, [&](std::string_view piece) {
      isGood = std::fwrite(piece.data(), 1, piece.size(), file.get()) == piece.size() && isGood;
    });
    isGood = std::fclose(file.release()) == 0 && isGood;
  }
  if (!isGood) {
    throw Problem{kExitProblem, "The report could not be written: " + path_ + ". Is the disk full?"};
  }
  isWritten_ = true;
  if (!leftOut.empty()) {
    around_.err << leftOut << "\n";
  }
  if (!arguments_.quiet) {
    around_.err << "The report is " << path_ << std::endl;
  }
}

}  // namespace kx::cli

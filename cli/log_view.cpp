#include "cli/log_view.h"

#include "cli/json.h"
#include "cli/runs.h"
#include "cli/text.h"

#include <nlohmann/json.hpp>

#include <array>
#include <chrono>
#include <cstdio>
#include <map>

namespace kx::cli {
namespace {

using Kind = LogStep::Kind;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kColumns = 110;

// Texts that no step is made of, and errors that the library does not have, may be pieces of requests and
// answers.
std::string shownText(LogStep step, bool isRedacted) {
  if (!isRedacted) {
    return textOf(step);
  }
  if (step.kind == Kind::Other || (step.kind == Kind::Error && step.row == nullptr)) {
    return "<" + counted(step.text.size(), "byte") + ">";
  }
  step.text = redacted(step.text);
  return textOf(step);
}

std::string whoText(const std::optional<LogIds>& ids) {
  return ids ? "Process " + std::to_string(ids->process) + ", thread " + std::to_string(ids->thread)
             : "Without ids";
}

std::string body(const LogStep& step) {
  std::string text;
  for (const char c : step.request) {
    const bool isBlank = c == ' ' || c == '\n';
    if (!isBlank || !text.ends_with(' ')) {
      text += isBlank ? ' ' : c;
    }
  }
  return text;
}

// One step, and what is known of it.
std::string stepText(const LogStep& step, bool isRedacted, const Palette& palette) {
  const std::string indentation(22, ' ');
  const std::string_view colour = step.kind == Kind::Error  ? palette.bad
                                  : step.kind == Kind::Note ? palette.faint
                                                            : std::string_view();
  std::string number = std::to_string(step.line);
  number.insert(0, 8 - std::min<std::size_t>(8, number.size()), ' ');
  std::string text = palette.paint(palette.faint, number) + "  " + padded(nameOf(step.kind), 12) +
                     palette.paint(colour, shownText(step, isRedacted)) + "\n";
  if (!step.request.empty() && !isRedacted) {
    text +=
        palette.paint(palette.faint, indentation + shortened(onOneLine(body(step)), kColumns - 22)) + "\n";
  }
  if (step.row != nullptr && step.kind == Kind::Error) {
    text += wrapped("Why: " + step.row->cause, kColumns, indentation) + "\n" +
            wrapped("What to do: " + step.row->remedy, kColumns, indentation) + "\n";
  } else if (step.row != nullptr) {
    text += palette.paint(palette.faint, wrapped(step.row->remedy, kColumns, indentation)) + "\n";
  }
  return text;
}

std::string summaryOf(const LogStory& story) {
  return counted(story.count(Kind::Start), "start") + ", " + counted(story.count(Kind::Request), "request") +
         " (" + std::to_string(story.answered()) + " answered), " +
         counted(story.count(Kind::Error), "error") + ", " + counted(story.count(Kind::Note), "note") + "\n";
}

std::string viewJson(const LogStory& story, bool isRedacted) {
  Json json = {{"starts", story.count(Kind::Start)}, {"requests", story.count(Kind::Request)},
               {"answered", story.answered()},       {"errors", story.count(Kind::Error)},
               {"notes", story.count(Kind::Note)},   {"conversations", Json::array()}};
  for (const Conversation& conversation : story.conversations()) {
    Json one = {{"process", conversation.ids ? Json(conversation.ids->process) : Json()},
                {"thread", conversation.ids ? Json(conversation.ids->thread) : Json()},
                {"steps", Json::array()}};
    for (const LogStep& step : conversation.steps) {
      one["steps"].push_back(stepJson(step, isRedacted));
    }
    json["conversations"].push_back(std::move(one));
  }
  return jsonText(json, kReadable) + "\n";
}

std::string secondsText(Clock::duration duration) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%+8.2f s  ", std::chrono::duration<double>(duration).count());
  return text.data();
}

}  // namespace

Json stepJson(const LogStep& step, bool isRedacted) {
  Json json = {{"line", step.line}, {"kind", nameOf(step.kind)}, {"text", shownText(step, isRedacted)}};
  json["count"] = step.count;
  if (step.kind == Kind::Request) {
    json["answered"] = step.isAnswered;
    json["answerBytes"] = step.answerBytes;
    json["answerPieces"] = step.answerPieces;
    if (!isRedacted) {
      json["request"] = step.request;
    }
  }
  if (step.row != nullptr) {
    json["error"] = {{"id", step.row->id},
                     {"cause", step.row->cause},
                     {"remedy", step.row->remedy},
                     {"page", step.row->page}};
  }
  return json;
}

std::string logView(std::string_view log, const LogArguments& arguments, const Palette& palette) {
  LogReader reader;
  reader.feed(log);
  reader.finish();
  LogStory story;
  for (const LogEntry& entry : reader.take()) {
    story.add(entry);
  }
  if (arguments.json) {
    return viewJson(story, arguments.redact);
  }
  std::string text;
  for (const Conversation& conversation : story.conversations()) {
    text += palette.paint(palette.strong, whoText(conversation.ids)) + "\n";
    for (const LogStep& step : conversation.steps) {
      text += stepText(step, arguments.redact, palette);
    }
    text += "\n";
  }
  return text + summaryOf(story);
}

void followLog(const MoreOfLog& more, const LogArguments& arguments, const Surroundings& around) {
  LogReader reader;
  LogStory story;
  std::map<std::pair<int, int>, Clock::time_point> last;
  while (!around.interruption) {
    const std::string added = more();
    if (added.empty()) {
      reader.pause();
    } else {
      reader.feed(added);
    }
    const Clock::time_point now = Clock::now();
    for (const LogEntry& entry : reader.take()) {
      const LogStep* const step = story.add(entry);
      if (step == nullptr) {
        continue;
      }
      const LogIds ids = entry.ids.value_or(LogIds());
      const auto previous = last.try_emplace({ids.process, ids.thread}, now).first;
      const std::string time = secondsText(now - std::exchange(previous->second, now));
      if (arguments.json) {
        Json json = stepJson(*step, arguments.redact);
        json["process"] = ids.process;
        json["thread"] = ids.thread;
        around.out << jsonText(json, kOneLine) << std::endl;
      } else {
        around.out << around.outPalette.paint(around.outPalette.faint, whoText(entry.ids) + time) << "\n"
                   << stepText(*step, arguments.redact, around.outPalette) << std::flush;
      }
    }
  }
}

int runLog(const LogArguments& arguments, const std::string& environmentsLog, const MoreOfLog& more,
           const Surroundings& around) {
  const std::string path = arguments.file.empty() ? environmentsLog : arguments.file;
  if (path.empty()) {
    throw Problem{
        kExitWrongUse,
        "There is no log: name the file, or set KORVEX_LOGPATH as it is set for the program that logs."};
  }
  if (arguments.follow) {
    followLog(more, arguments, around);
    return kExitSuccess;
  }
  around.out << logView(path == "-" ? around.standardInput() : fileBytes(path), arguments, around.outPalette);
  return kExitSuccess;
}

}  // namespace kx::cli

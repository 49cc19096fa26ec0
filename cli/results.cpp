#include "cli/results.h"

#include "cli/csv.h"
#include "cli/text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>

namespace kx::cli {
namespace {

constexpr std::size_t kColumns = 100;

std::string secondsText(double seconds) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.2f", seconds);
  return text.data();
}

std::string joined(const std::vector<Variable>& variables) {
  std::string text;
  for (const auto& [name, value] : variables) {
    text += text.empty() ? "" : ", ";
    text.append(name).append("=").append(value);
  }
  return text;
}

// A text of several lines, those behind the first one indented; other control characters made visible.
std::string indented(const std::string& text, const std::string& indentation) {
  std::string result;
  std::size_t begin = 0;
  while (true) {
    const std::size_t end = text.find('\n', begin);
    result += replacedAll(onOneLine(text.substr(begin, end - begin)), "\\t", "\t");
    if (end == std::string::npos) {
      return result;
    }
    result += "\n" + indentation;
    begin = end + 1;
  }
}

bool isGood(const RunResult& result) {
  return result.outcome == Outcome::Ok;
}

// "kx_Play() gave -1, error number -50: There is no such button"
std::string callText(const RunResult& result) {
  const CallResult& call = result.call;
  std::string text = call.exportName + "() gave " + std::to_string(call.result);
  if (call.number != 0 || !call.text.empty()) {
    text += ", error number " + std::to_string(call.number) + ": " + onOneLine(call.text);
  }
  return text;
}

std::string paragraph(const std::string& label, const std::string& text) {
  constexpr std::size_t kLabelColumns = 14;
  const std::string body = wrapped(text, kColumns, std::string(kLabelColumns, ' '));
  return padded("  " + label, kLabelColumns) + body.substr(std::min(kLabelColumns, body.size())) + "\n";
}

}  // namespace

std::string explanationOf(const RunResult& result, const Palette& palette) {
  if (isGood(result)) {
    return {};
  }
  if (result.call.exportName.empty()) {
    return result.outcome == Outcome::NotPlayed
               ? paragraph("Why:",
                           "No context was left that could play it: the failed start above tells why.")
               : std::string();
  }
  std::string text =
      paragraph("What:", callText(result) + (result.macro.empty() ? "" : ", in " + result.macro));
  if (result.reason != nullptr) {
    text += paragraph("Why:", result.reason->cause);
    text += paragraph("What to do:", result.reason->remedy);
    text +=
        palette.paint(palette.faint, paragraph("See:", result.reason->page + " (" + result.reason->id + ")"));
  } else if (result.outcome != Outcome::Interrupted) {
    text += paragraph("What to do:", "Switch the log on (KORVEX_LOG=on) and look at it with `kx log`.");
  }
  return text;
}

std::string resultTable(const RunResult& result, bool hasHeading, const Palette& palette) {
  std::string heading;
  if (hasHeading) {
    const std::string variables = joined(result.run.variables);
    heading = "Run " + std::to_string(result.run.number) +
              (variables.empty() ? "" : "  " + onOneLine(variables)) + "  ";
  }
  const std::string_view colour = isGood(result) ? palette.good : palette.bad;
  std::string text = palette.paint(palette.strong, heading) + palette.paint(colour, nameOf(result.outcome));
  if (isGood(result)) {
    text += "  " + onOneLine(result.call.text);
  }
  text += palette.paint(palette.faint, "  " + secondsText(result.seconds) + " s");
  text += (result.attempts > 1 ? "  at attempt " + std::to_string(result.attempts) : std::string()) + "\n";
  text += explanationOf(result, palette);
  const std::size_t digits = std::to_string(result.extracts.size()).size();
  for (std::size_t i = 0; i < result.extracts.size(); ++i) {
    const std::string number = std::to_string(i + 1);
    text += "  " + std::string(digits - number.size(), ' ') + palette.paint(palette.faint, number) + "  " +
            indented(result.extracts[i], std::string(digits + 4, ' ')) + "\n";
  }
  for (const PerformanceValue& entry : result.performance) {
    text += "  " + palette.paint(palette.faint, "performance") + "  " + onOneLine(entry.name) + " = " +
            onOneLine(entry.value) + "\n";
  }
  if (!result.profilerData.empty()) {
    text += "  " + palette.paint(palette.faint, "profiler") + "  " +
            indented(result.profilerData, std::string(12, ' ')) + "\n";
  }
  if (!result.screenshot.empty()) {
    text += "  " + palette.paint(palette.faint, "picture") + "  " + onOneLine(result.screenshot) + "\n";
  }
  return text;
}

std::string resultCsv(const std::vector<RunResult>& results) {
  std::vector<std::string> header = {"run", "outcome", "number", "text", "seconds"};
  std::vector<std::string> variables;
  std::size_t extracts = 0;
  for (const RunResult& result : results) {
    extracts = std::max(extracts, result.extracts.size());
    for (const auto& [name, value] : result.run.variables) {
      if (std::find(variables.begin(), variables.end(), name) == variables.end()) {
        variables.push_back(name);
      }
    }
  }
  header.insert(header.end(), variables.begin(), variables.end());
  for (std::size_t i = 1; i <= extracts; ++i) {
    header.push_back("extract " + std::to_string(i));
  }
  std::string text = csvLine(header);
  for (const RunResult& result : results) {
    std::vector<std::string> line = {std::to_string(result.run.number), nameOf(result.outcome),
                                     std::to_string(result.call.number), result.call.text,
                                     secondsText(result.seconds)};
    for (const std::string& name : variables) {
      const auto& own = result.run.variables;
      const auto found =
          std::find_if(own.begin(), own.end(), [&](const Variable& one) { return one.first == name; });
      line.push_back(found != own.end() ? found->second : std::string());
    }
    line.insert(line.end(), result.extracts.begin(), result.extracts.end());
    line.resize(header.size());
    text += csvLine(line);
  }
  return text;
}

Json resultJson(const RunResult& result) {
  Json variables = Json::object();
  for (const auto& [name, value] : result.run.variables) {
    variables[name] = value;
  }
  Json performance = Json::array();
  for (const PerformanceValue& entry : result.performance) {
    performance.push_back({{"name", entry.name}, {"value", entry.value}});
  }
  Json json = {{"run", result.run.number}, {"outcome", nameOf(result.outcome)}};
  json["context"] = result.context;
  json["profile"] = result.profile ? Json(*result.profile) : Json();
  json["variables"] = variables;
  json["call"] = result.call.exportName;
  json["result"] = result.call.result;
  json["number"] = result.call.number;
  json["text"] = result.call.text;
  json["seconds"] = static_cast<double>(static_cast<long long>(result.seconds * 1000)) / 1000;
  json["attempts"] = result.attempts;
  json["extracts"] = result.extracts;
  json["performance"] = performance;
  json["profiler"] = result.profilerData;
  json["screenshot"] = result.screenshot;
  if (!isGood(result)) {
    json["macro"] = result.macro;
    json["failure"] = result.reason != nullptr ? Json{{"id", result.reason->id},
                                                      {"cause", result.reason->cause},
                                                      {"remedy", result.reason->remedy},
                                                      {"page", result.reason->page}}
                                               : Json();
  }
  return json;
}

std::string summaryOf(const std::vector<RunResult>& results) {
  const auto count = [&](Outcome outcome) {
    return static_cast<std::size_t>(std::count_if(
        results.begin(), results.end(), [&](const RunResult& result) { return result.outcome == outcome; }));
  };
  std::string text = std::to_string(count(Outcome::Ok)) + " of " + counted(results.size(), "run") + " ok";
  for (const Outcome outcome :
       {Outcome::MacroFailed, Outcome::ConnectionFailed, Outcome::Interrupted, Outcome::NotPlayed}) {
    if (count(outcome) > 0) {
      text += ", " + std::to_string(count(outcome)) + " " + nameOf(outcome);
    }
  }
  return text;
}

}  // namespace kx::cli

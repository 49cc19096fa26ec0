#include "cli/explain.h"

#include "cli/json.h"
#include "cli/start_facts.h"
#include "cli/text.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace kx::cli {
namespace {

Json jsonOf(const StartFacts& facts) {
  Json json = {{"verdict", facts.verdict}, {"facts", Json::object()}, {"warnings", Json::array()}};
  for (const Fact& fact : facts.facts) {
    json["facts"][fact.key] = {{"value", fact.value}, {"why", fact.why}};
  }
  for (const Warning& warning : facts.warnings) {
    json["warnings"].push_back({{"id", warning.id}, {"what", warning.what}, {"wayRound", warning.wayRound}});
  }
  return json;
}

std::string textOf(const StartFacts& facts, const Palette& palette) {
  constexpr std::size_t kColumns = 100;
  std::size_t keyColumns = 0;
  for (const Fact& fact : facts.facts) {
    keyColumns = std::max(keyColumns, width(fact.key) + 2);
  }
  const std::string indentation(keyColumns, ' ');
  std::string text = palette.paint(palette.strong, facts.verdict) + "\n\n";
  for (const Fact& fact : facts.facts) {
    text += padded(fact.key, keyColumns) + onOneLine(fact.value) + "\n";
    if (!fact.why.empty()) {
      text += palette.paint(palette.faint, wrapped(onOneLine(fact.why), kColumns, indentation)) + "\n";
    }
  }
  for (const Warning& warning : facts.warnings) {
    text += "\n" + palette.paint(palette.warning, "Warning (" + warning.id + ")") + "\n" +
            wrapped(onOneLine(warning.what), kColumns, "  ") + "\n" +
            wrapped("What to do: " + onOneLine(warning.wayRound), kColumns, "  ") + "\n";
  }
  return text;
}

}  // namespace

std::string explain(const ExplainArguments& arguments, const Machine& machine, const Palette& palette) {
  const StartFacts facts = startFacts(arguments.browser, machine);
  return arguments.json ? jsonText(jsonOf(facts), kReadable) + "\n" : textOf(facts, palette);
}

}  // namespace kx::cli

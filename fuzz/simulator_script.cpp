// A script means what its lines mean one by one, and the first line that is wrong alone is the one complained
// about. The notations of its texts can be undone.
#include "escapes.h"
#include "fuzz/property.h"
#include "script.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using kxsim::Action;
using kxsim::Rule;
using kxsim::Script;
using kxsim::ScriptError;

bool isSame(const Rule& one, const Rule& other) {
  return one.moment == other.moment && one.connection == other.connection && one.first == other.first &&
         one.last == other.last && one.action.kind == other.action.kind &&
         one.action.numbers == other.action.numbers && one.action.word == other.action.word &&
         one.action.text == other.action.text;
}

std::vector<std::string> linesOf(std::string_view text) {
  if (text.starts_with("\xef\xbb\xbf")) {
    text.remove_prefix(3);
  }
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

struct Parsed {
  std::optional<Script> script;
  std::string complaint;
};

Parsed parsed(std::string_view text) {
  try {
    return {kxsim::parseScript(text), {}};
  } catch (const ScriptError& error) {
    return {std::nullopt, error.what()};
  }
}

// Each line behind a blank, so that none begins with a byte order mark.
Parsed parsedAlone(const std::string& line) {
  return parsed(' ' + line);
}

void checkRules(const Script& script, const std::vector<Rule>& expected) {
  FUZZ_PROPERTY(script.rules.size() == expected.size(), "each rule comes from one line");
  for (std::size_t i = 0; i < expected.size(); ++i) {
    FUZZ_PROPERTY(isSame(script.rules[i], expected[i]), "a rule is what its line says alone");
    const Rule& rule = script.rules[i];
    FUZZ_PROPERTY(script.hasRulesFor(rule.moment), "a rule's moment has rules");
    const std::vector<const Action*> actions =
        script.actionsFor({{rule.moment, rule.connection, rule.first, rule.first}});
    const bool isSelected = rule.last != 0 && rule.last < rule.first;  // an empty range selects nothing
    bool isThere = false;
    for (const Action* action : actions) {
      isThere = isThere || action == &rule.action;
    }
    FUZZ_PROPERTY(isThere != isSelected, "the first occurrence that a rule names selects its action");
  }
}

void checkNotations(std::string_view text) {
  std::string doubledBackslashes;
  std::string doubledDollars;
  for (const char c : text) {
    doubledBackslashes.append(c == '\\' ? 2 : 1, c);
    doubledDollars.append(c == '$' ? 2 : 1, c);
  }
  FUZZ_PROPERTY(kxsim::unescapeBytes(doubledBackslashes) == text, "a doubled backslash is one");
  const auto nothing = [](const std::string&) -> std::optional<std::string> { return std::nullopt; };
  const kxsim::Substituted same = kxsim::substitute(doubledDollars, nothing);
  FUZZ_PROPERTY(same.text == text && !same.unknownName, "a doubled dollar sign is one");
  const auto itself = [](const std::string& name) -> std::optional<std::string> { return "$(" + name + ")"; };
  const kxsim::Substituted known = kxsim::substitute(text, itself);
  FUZZ_PROPERTY(!known.unknownName, "no name is unknown when all are known");
  const kxsim::Substituted unknown = kxsim::substitute(text, nothing);
  FUZZ_PROPERTY(unknown.text == known.text, "an unknown name stays as it is written");
  const std::string shown = kxsim::escapeForLog(text);
  for (const char c : shown) {
    FUZZ_PROPERTY(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f, "no control byte gets into the log");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  const Parsed whole = parsed(text);

  std::vector<Rule> expected;
  int number = 0;
  for (const std::string& line : linesOf(text)) {
    ++number;
    const Parsed alone = parsedAlone(line);
    if (!alone.script) {
      FUZZ_PROPERTY(!whole.script, "a script with a wrong line is refused");
      FUZZ_PROPERTY(whole.complaint == "line " + std::to_string(number) +
                                           alone.complaint.substr(std::string_view("line 1").size()),
                    "the complaint is about the first wrong line");
      checkNotations(text);
      return 0;
    }
    expected.insert(expected.end(), alone.script->rules.begin(), alone.script->rules.end());
  }
  FUZZ_PROPERTY(whole.script.has_value(), "a script of right lines is right");
  checkRules(*whole.script, expected);
  checkNotations(text);
  return 0;
}

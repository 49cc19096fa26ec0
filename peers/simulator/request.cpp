#include "request.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <optional>

namespace kxsim {
namespace {

using Json = nlohmann::ordered_json;

std::string textMember(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool trueMember(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_boolean() && found->get<bool>();
}

Request fromJson(const Json& root) {
  Request request;
  request.wellFormed = true;
  request.type = textMember(root, "type");
  const auto found = root.find("args");
  if (found == root.end() || !found->is_object()) {
    return request;
  }
  const Json& args = *found;
  request.openNewBrowser = trueMember(args, "openNewBrowser");
  request.launched = trueMember(args, "launched");
  request.source = textMember(args, "source");
  request.useProfiler = trueMember(args, "use_profiler");
  request.message = textMember(args, "message");
  request.path = textMember(args, "path");
  request.captureType = textMember(args, "type");
  const auto vars = args.find("vars");
  if (vars != args.end() && vars->is_object()) {
    for (const auto& [name, value] : vars->items()) {
      if (value.is_string()) {
        request.variables.emplace_back(name, value.get<std::string>());
      }
    }
  }
  return request;
}

// Walks over text that is nearly JSON. Every step leaves the place alone when it does not apply.
class Walker {
 public:
  explicit Walker(std::string_view text, std::size_t at = 0) : text_(text), at_(at) {}

  std::size_t at() const { return at_; }

  void skipBlanks() {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\n' || text_[at_] == '\t')) {
      ++at_;
    }
  }

  bool take(char c) {
    skipBlanks();
    if (at_ >= text_.size() || text_[at_] != c) {
      return false;
    }
    ++at_;
    return true;
  }

  // Goes behind the next `"name" :`.
  bool seekMember(std::string_view name) {
    const std::string quoted = '"' + std::string(name) + '"';
    for (std::size_t found = text_.find(quoted, at_); found != std::string_view::npos;
         found = text_.find(quoted, found + 1)) {
      Walker behind(text_, found + quoted.size());
      if (behind.take(':')) {
        at_ = behind.at_;
        return true;
      }
    }
    return false;
  }

  std::optional<std::string> takeString() {
    if (!take('"')) {
      return std::nullopt;
    }
    std::string value;
    while (at_ < text_.size() && text_[at_] != '"') {
      value += text_[at_] == '\\' && at_ + 1 < text_.size() ? unescaped(text_[++at_]) : text_[at_];
      ++at_;
    }
    at_ = std::min(at_ + 1, text_.size());
    return value;
  }

  // A name is not escaped: it ends where a quote is followed by the separator that the sender puts behind
  // names.
  std::optional<std::string> takeName() {
    static constexpr std::string_view kNameEnd = "\" : ";
    if (!take('"')) {
      return std::nullopt;
    }
    const std::size_t end = text_.find(kNameEnd, at_);
    if (end == std::string_view::npos) {
      return std::nullopt;
    }
    std::string name(text_.substr(at_, end - at_));
    at_ = end + kNameEnd.size();
    return name;
  }

  bool takesTrue() {
    skipBlanks();
    return text_.substr(at_, 4) == "true";
  }

 private:
  static char unescaped(char c) {
    switch (c) {
      case 'b':
        return '\b';
      case 't':
        return '\t';
      case 'n':
        return '\n';
      case 'f':
        return '\f';
      case 'r':
        return '\r';
      default:
        return c;
    }
  }

  std::string_view text_;
  std::size_t at_;
};

std::string looseText(std::string_view bytes, std::size_t from, std::string_view name) {
  Walker walker(bytes, from);
  return walker.seekMember(name) ? walker.takeString().value_or("") : std::string();
}

bool looseTrue(std::string_view bytes, std::size_t from, std::string_view name) {
  Walker walker(bytes, from);
  return walker.seekMember(name) && walker.takesTrue();
}

Request fromLooseText(std::string_view bytes) {
  Request request;
  request.type = looseText(bytes, 0, "type");
  Walker args(bytes);
  if (!args.seekMember("args")) {
    return request;
  }
  const std::size_t from = args.at();

  // A variable may be named like any member, so members are looked for before the variables and behind them.
  std::string_view before = bytes;
  std::string_view behind = bytes.substr(from);
  Walker vars(bytes, from);
  if (vars.seekMember("vars")) {
    before = bytes.substr(0, vars.at());
    if (vars.take('{')) {
      while (auto name = vars.takeName()) {
        auto value = vars.takeString();
        if (!value) {
          break;
        }
        request.variables.emplace_back(std::move(*name), std::move(*value));
        vars.take(',');
      }
    }
    behind = bytes.substr(vars.at());
  }
  request.openNewBrowser = looseTrue(before, from, "openNewBrowser");
  request.launched = looseTrue(before, from, "launched");
  request.source = looseText(before, from, "source");
  request.message = looseText(before, from, "message");
  request.path = looseText(before, from, "path");
  request.captureType = looseText(before, from, "type");
  request.useProfiler = looseTrue(behind, 0, "use_profiler");
  return request;
}

}  // namespace

Request readRequest(std::string_view bytes) {
  const Json root = Json::parse(bytes, nullptr, false);
  return root.is_object() ? fromJson(root) : fromLooseText(bytes);
}

}  // namespace kxsim

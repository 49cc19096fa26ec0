#include "texts/response_texts.h"

#include "texts/random_text.h"

#include <stdexcept>
#include <string>

namespace {

constexpr char kBegin[] = R"({"status":"OK","errorCode":1)";

struct ShapeName {
  Shape shape;
  const char* name;
};

constexpr ShapeName kNames[] = {
    {Shape::Small, "small"},     {Shape::OneString, "one_string"},   {Shape::OneExtract, "one_extract"},
    {Shape::Escapes, "escapes"}, {Shape::ShortItems, "short_items"}, {Shape::Members, "members"},
    {Shape::Layout, "layout"},   {Shape::Numbers, "numbers"},
};

// A character as it stands in the JSON text, and as it is meant.
struct Escape {
  const char* json;
  const char* meaning;
};

constexpr Escape kEscapes[] = {
    {R"(\")", "\""},    {R"(\\)", "\\"},         {R"(\/)", "/"},          {R"(\b)", "\b"},
    {R"(\f)", "\f"},    {R"(\n)", "\n"},         {R"(\r)", "\r"},         {R"(\t)", "\t"},
    {R"(\u0041)", "A"}, {R"(\u00e9)", "\u00e9"}, {R"(\u20AC)", "\u20ac"}, {R"(\ud83d\ude00)", "\U0001F600"},
};

std::string quoted(std::string_view text) {
  return '"' + std::string(text) + '"';
}

// Text as pages hold it: words with blanks between, some letters outside ASCII, nothing that needs an escape.
std::string longText(RandomText& random, std::size_t size) {
  std::string text;
  text.reserve(size + 64);
  while (text.size() < size) {
    text += random.below(16) == 0 ? "caf\u00e9" : random.word(2, 12);
    text += ' ';
  }
  return text;
}

void addOneString(RandomText& random, std::size_t size, ResponseText& text) {
  text.fields.profilerData = longText(random, size);
  text.json += ",\"profilerData\":" + quoted(text.fields.profilerData);
}

void addOneExtract(RandomText& random, std::size_t size, ResponseText& text) {
  text.fields.extracts.push_back(longText(random, size));
  text.json += ",\"extractData\":[" + quoted(text.fields.extracts.front()) + "]";
}

void addEscapes(RandomText& random, std::size_t size, ResponseText& text) {
  text.json += ",\"profilerData\":\"";
  while (text.json.size() < size) {
    const Escape& escape = kEscapes[random.below(std::size(kEscapes))];
    const std::string plain = random.word(0, 3);
    text.json += escape.json + plain;
    text.fields.profilerData += escape.meaning + plain;
  }
  text.json += '"';
}

// A short text, as JSON; one in eight holds an escape.
std::string addShortText(RandomText& random, std::string& meaning) {
  std::string json = random.word(3, 24);
  meaning = json;
  if (random.below(8) == 0) {
    const Escape& escape = kEscapes[random.below(std::size(kEscapes))];
    json += escape.json;
    meaning += escape.meaning;
  }
  return quoted(json);
}

void addExtracts(RandomText& random, std::size_t end, const char* separator, ResponseText& text) {
  text.json += ",\"extractData\":[";
  for (const char* before = ""; text.json.size() < end; before = separator) {
    text.json += before + addShortText(random, text.fields.extracts.emplace_back());
  }
  text.json += ']';
}

void addShortItems(RandomText& random, std::size_t size, ResponseText& text) {
  addExtracts(random, size / 2, ",", text);
  text.json += ",\"lastPerformance\":[";
  for (const char* before = ""; text.json.size() < size; before = ",") {
    auto& [name, value] = text.fields.performance.emplace_back();
    const std::string nameJson = addShortText(random, name);
    value = random.number();
    text.json += before + (R"({"name":)" + nameJson + R"(,"value":)" + quoted(value) + "}");
  }
  text.json += ']';
}

std::string unknownValue(RandomText& random) {
  std::string ignored;
  switch (random.below(7)) {
    case 0:
      return random.number();
    case 1:
      return "true";
    case 2:
      return "null";
    case 3:
      return "[" + random.number() + "," + addShortText(random, ignored) + "]";
    case 4:
      return R"({"inner":)" + addShortText(random, ignored) + "}";
    default:
      return addShortText(random, ignored);
  }
}

void addMembers(RandomText& random, std::size_t count, ResponseText& text) {
  for (std::size_t i = 0; i < count; ++i) {
    // The number makes the name one of its own.
    text.json += ",\"" + random.word(2, 10) + std::to_string(i) + "\":" + unknownValue(random);
  }
}

void addNumbers(RandomText& random, std::size_t size, ResponseText& text) {
  text.json += ",\"samples\":[0";
  while (text.json.size() < size) {
    text.json += "," + random.number();
  }
  text.json += ']';
}

}  // namespace

const char* nameOf(Shape shape) {
  for (const ShapeName& entry : kNames) {
    if (entry.shape == shape) {
      return entry.name;
    }
  }
  return "";
}

Shape shapeNamed(std::string_view name) {
  for (const ShapeName& entry : kNames) {
    if (entry.name == name) {
      return entry.shape;
    }
  }
  throw std::runtime_error("there is no shape " + std::string(name));
}

void ResponseFields::clear() {
  status.clear();
  errorCode = 0;
  extracts.clear();
  performance.clear();
  waitForProcessId = 0;
  profilerData.clear();
}

ResponseText responseText(Shape shape, std::size_t size, std::uint32_t seed) {
  RandomText random(seed);
  ResponseText text;
  text.fields.status = "OK";
  text.fields.errorCode = 1;
  text.json = kBegin;
  switch (shape) {
    case Shape::Small:
      break;
    case Shape::OneString:
      addOneString(random, size, text);
      break;
    case Shape::OneExtract:
      addOneExtract(random, size, text);
      break;
    case Shape::Escapes:
      addEscapes(random, size, text);
      break;
    case Shape::ShortItems:
      addShortItems(random, size, text);
      break;
    case Shape::Members:
      addMembers(random, size, text);
      break;
    case Shape::Layout:
      addExtracts(random, size, ",\r\n        ", text);
      break;
    case Shape::Numbers:
      addNumbers(random, size, text);
      break;
  }
  text.json += '}';
  return text;
}

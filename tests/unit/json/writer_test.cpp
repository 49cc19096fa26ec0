#include "json/writer.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace kx {

namespace {

std::string written(json::UnknownElement value) {
  json::Object object;
  object["a"] = std::move(value);
  return json::Writer::Write(object);
}

std::string withMember(const std::string& value) {
  return "{\n \"a\" : " + value + "\n}";
}

TEST(JsonWriter, WordsAreWrittenInLowerCaseAndAnEmptyObjectStaysOnOneLine) {
  EXPECT_EQ(json::Writer::Write(json::Object()), "{}");
  EXPECT_EQ(written(json::Object()), withMember("{}"));
  EXPECT_EQ(written(json::Boolean(true)), withMember("true"));
  EXPECT_EQ(written(json::Boolean(false)), withMember("false"));
  EXPECT_EQ(written({}), withMember("null"));
}

TEST(JsonWriter, EachMemberStandsOnALineOfItsOwnIndentedByItsDepth) {
  json::Object inner;
  inner["x"] = json::Boolean(false);
  inner["y"] = json::Object();
  json::Object object;
  object["a"] = inner;
  object["b"] = json::String("text");

  EXPECT_EQ(json::Writer::Write(object),
            "{\n"
            " \"a\" : {\n"
            "  \"x\" : false,\n"
            "  \"y\" : {}\n"
            " },\n"
            " \"b\" : \"text\"\n"
            "}");
}

TEST(JsonWriter, SevenCharactersOfATextAreEscapedAndEveryOtherByteIsWrittenAsItIs) {
  const std::string escaped = "\b\t\n\f\r\"\\";
  const std::string letters = "btnfr\"\\";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const std::size_t place = escaped.find(c);
    const std::string expected =
        place == std::string::npos ? std::string(1, c) : "\\" + letters.substr(place, 1);
    EXPECT_EQ(written(json::String(std::string(1, c))), withMember("\"" + expected + "\"")) << byte;
  }
}

TEST(JsonWriter, AMemberNameIsWrittenWithoutEscapes) {
  json::Object object;
  object["a\"b\\c\nd"] = json::UnknownElement();

  EXPECT_EQ(json::Writer::Write(object), "{\n \"a\"b\\c\nd\" : null\n}");
}

}  // namespace

}  // namespace kx

#include "json/writer.h"

#include "support/foreign_locale.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace {

std::string written(const json::UnknownElement& element) {
  std::ostringstream stream;
  json::Writer::Write(element, stream);
  return stream.str();
}

std::string writtenNumber(double value) {
  return written(json::Number(value));
}

json::Array arrayOf(std::initializer_list<json::UnknownElement> items) {
  json::Array array;
  for (const json::UnknownElement& item : items) {
    array.Insert(item);
  }
  return array;
}

TEST(JsonWriter, EmptyContainersStayOnOneLine) {
  EXPECT_EQ(written(json::Object()), "{}");
  EXPECT_EQ(written(json::Array()), "[]");
}

TEST(JsonWriter, WordsAreWrittenInLowerCase) {
  EXPECT_EQ(written(json::Boolean(true)), "true");
  EXPECT_EQ(written(json::Boolean(false)), "false");
  EXPECT_EQ(written(json::UnknownElement()), "null");
}

TEST(JsonWriter, EachMemberStandsOnALineOfItsOwnIndentedByItsDepth) {
  json::Object inner;
  inner["x"] = json::Boolean(false);
  inner["y"] = json::Object();
  json::Object object;
  object["a"] = inner;
  object["b"] = json::String("text");

  EXPECT_EQ(written(object),
            "{\n"
            " \"a\" : {\n"
            "  \"x\" : false,\n"
            "  \"y\" : {}\n"
            " },\n"
            " \"b\" : \"text\"\n"
            "}");
}

TEST(JsonWriter, EachItemStandsOnALineOfItsOwnIndentedByItsDepth) {
  json::Object object;
  object["list"] =
      arrayOf({json::Number(1), arrayOf({json::UnknownElement(), json::Array()}), json::Object()});

  EXPECT_EQ(written(object),
            "{\n"
            " \"list\" : [\n"
            "  1,\n"
            "  [\n"
            "   null,\n"
            "   []\n"
            "  ],\n"
            "  {}\n"
            " ]\n"
            "}");
}

TEST(JsonWriter, AnObjectIsWrittenLikeTheElementThatHoldsIt) {
  json::Object object;
  object["a"] = json::Number(1);
  std::ostringstream stream;

  json::Writer::Write(object, stream);

  EXPECT_EQ(stream.str(), written(object));
  EXPECT_EQ(stream.str(), "{\n \"a\" : 1\n}");
}

TEST(JsonWriter, SevenCharactersOfATextAreEscaped) {
  EXPECT_EQ(written(json::String("\b\t\n\f\r\"\\")), R"("\b\t\n\f\r\"\\")");
}

TEST(JsonWriter, EveryOtherByteOfATextIsWrittenAsItIs) {
  const std::string escaped = "\b\t\n\f\r\"\\";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (escaped.find(c) == std::string::npos) {
      EXPECT_EQ(written(json::String(std::string(1, c))), std::string("\"") + c + "\"") << byte;
    }
  }
}

TEST(JsonWriter, AMemberNameIsWrittenWithoutEscapes) {
  json::Object object;
  object["a\"b\\c\nd"] = json::UnknownElement();

  EXPECT_EQ(written(object), "{\n \"a\"b\\c\nd\" : null\n}");
}

TEST(JsonWriter, WholeNumbersHaveNoPoint) {
  EXPECT_EQ(writtenNumber(0), "0");
  EXPECT_EQ(writtenNumber(-0.0), "-0");
  EXPECT_EQ(writtenNumber(1), "1");
  EXPECT_EQ(writtenNumber(-42), "-42");
  EXPECT_EQ(writtenNumber(4294967295.0), "4294967295");
}

TEST(JsonWriter, NumbersHaveTwentySignificantDigits) {
  EXPECT_EQ(writtenNumber(0.5), "0.5");
  EXPECT_EQ(writtenNumber(0.1), "0.10000000000000000555");
  EXPECT_EQ(writtenNumber(2.0 / 3.0), "0.66666666666666662966");
  EXPECT_EQ(writtenNumber(12345678901234567890.0), "12345678901234567168");
  EXPECT_EQ(writtenNumber(1e20), "1e+20");
  EXPECT_EQ(writtenNumber(1e-5), "1.0000000000000000818e-05");
  EXPECT_EQ(writtenNumber(1.7976931348623157e308), "1.7976931348623157081e+308");
  EXPECT_EQ(writtenNumber(5e-324), "4.9406564584124654418e-324");
}

TEST(JsonWriter, NumbersDoNotDependOnTheHostsLocale) {
  const ForeignLocale locale;
  std::ostringstream stream;

  json::Writer::Write(json::UnknownElement(json::Number(1234567.5)), stream);

  EXPECT_EQ(stream.str(), "1234567.5");
}

}  // namespace

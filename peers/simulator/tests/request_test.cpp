#include "request.h"

#include <gtest/gtest.h>

#include <string>

namespace kxsim {
namespace {

TEST(Request, AWellFormedPlayIsReadInFull) {
  const Request request = readRequest(
      "{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"a\\n\\\"b\\\"\",\n  \"vars\" : {\n   \"x\" "
      ": \"1\",\n"
      "   \"y\" : \"2\"\n  },\n  \"use_profiler\" : true\n }\n}");

  EXPECT_TRUE(request.wellFormed);
  EXPECT_EQ("play", request.type);
  EXPECT_EQ("a\n\"b\"", request.source);
  EXPECT_EQ((Variables{{"x", "1"}, {"y", "2"}}), request.variables);
  EXPECT_TRUE(request.useProfiler);
}

TEST(Request, TheArgumentsOfInitAreFlags) {
  const Request request = readRequest(
      "{\n \"type\" : \"init\",\n \"args\" : {\n  \"openNewBrowser\" : true,\n  \"launched\" : false\n }\n}");

  EXPECT_EQ("init", request.type);
  EXPECT_TRUE(request.openNewBrowser);
  EXPECT_FALSE(request.launched);
}

TEST(Request, TheTypeOfACaptureIsNotTheTypeOfTheRequest) {
  const Request request = readRequest(
      "{\n \"type\" : \"capture\",\n \"args\" : {\n  \"path\" : \"C:\\\\x.png\",\n  \"type\" : \"browser\"\n "
      "}\n}");

  EXPECT_EQ("capture", request.type);
  EXPECT_EQ("C:\\x.png", request.path);
  EXPECT_EQ("browser", request.captureType);
}

TEST(Request, RawControlCharactersAndBytesThatAreNoUtf8ComeThroughUnchanged) {
  const Request request =
      readRequest("{\n \"type\" : \"show\",\n \"args\" : {\n  \"message\" : \"a\x01\x1f\xff\\t\"\n }\n}");

  EXPECT_FALSE(request.wellFormed);
  EXPECT_EQ("show", request.type);
  EXPECT_EQ("a\x01\x1f\xff\t", request.message);
}

TEST(Request, UnescapedQuotesAndLineFeedsInNamesAreRead) {
  const Request request = readRequest(
      "{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"s\",\n  \"vars\" : {\n   \"a\"b\" : \"1\",\n"
      "   \"c\nd\" : \"\\\"2\\\"\",\n   \"e\" : \"3\"\n  },\n  \"use_profiler\" : true\n }\n}");

  EXPECT_FALSE(request.wellFormed);
  EXPECT_EQ("s", request.source);
  EXPECT_EQ((Variables{{"a\"b", "1"}, {"c\nd", "\"2\""}, {"e", "3"}}), request.variables);
  EXPECT_TRUE(request.useProfiler);
}

TEST(Request, AVariableNamedLikeAMemberOfAMalformedRequestIsAVariable) {
  const Request request = readRequest(
      "{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"\xC6\",\n  \"vars\" : {\n   \"launched\" : "
      "\"true\",\n   \"path\" : \"p\",\n   \"type\" : \"t\",\n   \"use_profiler\" : \"u\"\n  }\n }\n}");

  EXPECT_FALSE(request.wellFormed);
  EXPECT_EQ((Variables{{"launched", "true"}, {"path", "p"}, {"type", "t"}, {"use_profiler", "u"}}),
            request.variables);
  EXPECT_EQ("", request.path);
  EXPECT_EQ("", request.captureType);
  EXPECT_FALSE(request.launched);
  EXPECT_FALSE(request.useProfiler);
}

TEST(Request, AVariableThatNeverEndsIsTheLastOfAMalformedRequest) {
  const Request request = readRequest(
      "{\n \"type\" : \"play\",\n \"args\" : {\n  \"vars\" : {\n   \"a\" : \"1\",\n   \"b\" : \"2, "
      "\"use_profiler\" : true");

  EXPECT_EQ("play", request.type);
  EXPECT_EQ((Variables{{"a", "1"}, {"b", "2, "}}), request.variables);
  EXPECT_EQ((Variables{{"a", ""}}), readRequest("{\"args\" : {\"vars\" : {\"a\" : \"").variables);
}

TEST(Request, AMalformedRequestWithoutProfilerAsksForNone) {
  const Request request = readRequest(
      "{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"\x01 \\\"use_profiler\\\" : true\",\n  "
      "\"vars\" : {}\n }\n}");

  EXPECT_FALSE(request.wellFormed);
  EXPECT_FALSE(request.useProfiler);
  EXPECT_TRUE(request.variables.empty());
}

TEST(Request, TextThatIsNoRequestHasNoType) {
  EXPECT_EQ("", readRequest("").type);
  EXPECT_EQ("", readRequest("[1,2]").type);
  EXPECT_EQ("", readRequest("{\"type\":").type);
  EXPECT_EQ("", readRequest("{\"type\":5}").type);
}

}  // namespace
}  // namespace kxsim

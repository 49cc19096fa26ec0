#include "request_scanner.h"

#include <gtest/gtest.h>

#include <string>

namespace kxsim {
namespace {

const std::string kExit = "{\n \"type\" : \"exit\",\n \"args\" : {}\n}";

std::string playWithVariable(const std::string& name) {
  return "{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"\",\n  \"vars\" : {\n   \"" + name +
         "\" : \"v\"\n  }\n }\n}";
}

TEST(RequestScanner, ARequestEndsWithItsLastBrace) {
  RequestScanner scanner;
  scanner.feed(kExit.substr(0, kExit.size() - 1));
  EXPECT_FALSE(scanner.next().has_value());

  scanner.feed("}");

  const auto request = scanner.next();
  ASSERT_TRUE(request.has_value());
  EXPECT_EQ(kExit, request->bytes);
  EXPECT_FALSE(request->torn);
  EXPECT_EQ("", scanner.pending());
}

TEST(RequestScanner, ARequestThatArrivesInSingleBytesIsFoundOnce) {
  RequestScanner scanner;
  int found = 0;
  for (const char c : playWithVariable("name")) {
    scanner.feed(std::string(1, c));
    found += scanner.next().has_value() ? 1 : 0;
  }

  EXPECT_EQ(1, found);
}

TEST(RequestScanner, BracesAndEscapedQuotesInsideStringsDoNotCount) {
  const std::string request =
      "{\n \"type\" : \"show\",\n \"args\" : {\n  \"message\" : \"}}\\\"{\\\\\"\n }\n}";
  RequestScanner scanner;
  scanner.feed(request);

  EXPECT_EQ(request, scanner.next().value_or(ScannedRequest{}).bytes);
}

TEST(RequestScanner, ARequestInOneLineEndsWhereItsBracesMatch) {
  RequestScanner scanner;
  scanner.feed(R"({"type":"exit","args":{}} {"type")");

  EXPECT_EQ(R"({"type":"exit","args":{}})", scanner.next().value_or(ScannedRequest{}).bytes);
  EXPECT_FALSE(scanner.next().has_value());
}

TEST(RequestScanner, TwoRequestsInOnePieceAreTwo) {
  RequestScanner scanner;
  scanner.feed(kExit + playWithVariable("n"));

  EXPECT_EQ(kExit, scanner.next().value_or(ScannedRequest{}).bytes);
  EXPECT_EQ(playWithVariable("n"), scanner.next().value_or(ScannedRequest{}).bytes);
}

TEST(RequestScanner, ANameWithAQuoteMakesTheEndUncertain) {
  RequestScanner scanner;
  scanner.feed(playWithVariable("a\"b"));

  EXPECT_FALSE(scanner.next().has_value());
  ASSERT_TRUE(scanner.maybeEnded());
  EXPECT_EQ(playWithVariable("a\"b"), scanner.takeAll().bytes);
  EXPECT_EQ("", scanner.pending());
}

TEST(RequestScanner, AnUncertainEndIsSettledByTheNextRequest) {
  RequestScanner scanner;
  scanner.feed(playWithVariable("a\"b") + kExit);

  const auto first = scanner.next();

  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(playWithVariable("a\"b"), first->bytes);
  EXPECT_FALSE(first->torn);
  EXPECT_EQ(kExit, scanner.next().value_or(ScannedRequest{}).bytes);
}

TEST(RequestScanner, ARequestThatStopsHalfWayIsNotTakenForEnded) {
  RequestScanner scanner;
  scanner.feed("{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"x");

  EXPECT_FALSE(scanner.next().has_value());
  EXPECT_FALSE(scanner.maybeEnded());
}

TEST(RequestScanner, ARequestThatIsBrokenOffByAnotherIsTorn) {
  const std::string half = "{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"x";
  RequestScanner scanner;
  scanner.feed(half + kExit);

  const auto torn = scanner.next();

  ASSERT_TRUE(torn.has_value());
  EXPECT_EQ(half, torn->bytes);
  EXPECT_TRUE(torn->torn);
  EXPECT_EQ(kExit, scanner.next().value_or(ScannedRequest{}).bytes);
}

TEST(RequestScanner, AMacroThatQuotesARequestIsNotTorn) {
  // Values come with their line feeds escaped, so the beginning of a request can never stand in one.
  const std::string request =
      "{\n \"type\" : \"show\",\n \"args\" : {\n  \"message\" : \"{\\n \\\"type\\\" : \\\"exit\\\"\"\n }\n}";
  RequestScanner scanner;
  scanner.feed(request);

  EXPECT_EQ(request, scanner.next().value_or(ScannedRequest{}).bytes);
}

}  // namespace
}  // namespace kxsim

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

std::string nextOf(RequestScanner& scanner) {
  return scanner.next().value_or(ScannedRequest{}).bytes;
}

TEST(RequestScanner, ARequestThatArrivesInSingleBytesEndsWithItsLastBrace) {
  RequestScanner scanner;
  for (const char c : kExit) {
    EXPECT_FALSE(scanner.next().has_value());
    scanner.feed(std::string(1, c));
  }

  const auto request = scanner.next();
  ASSERT_TRUE(request.has_value());
  EXPECT_EQ(kExit, request->bytes);
  EXPECT_FALSE(request->torn);
  EXPECT_EQ("", scanner.pending());
}

TEST(RequestScanner, BracesQuotesAndRequestsInsideStringsDoNotCount) {
  // Values come with their line feeds escaped, so the beginning of a request can never stand in one.
  for (const char* message : {"}}\\\"{\\\\", "{\\n \\\"type\\\" : \\\"exit\\\""}) {
    const std::string request =
        "{\n \"type\" : \"show\",\n \"args\" : {\n  \"message\" : \"" + std::string(message) + "\"\n }\n}";
    RequestScanner scanner;
    scanner.feed(request);
    EXPECT_EQ(request, nextOf(scanner));
  }
}

TEST(RequestScanner, ARequestInOneLineEndsWhereItsBracesMatch) {
  RequestScanner scanner;
  scanner.feed(R"({"type":"exit","args":{}} {"type")");

  EXPECT_EQ(R"({"type":"exit","args":{}})", nextOf(scanner));
  EXPECT_FALSE(scanner.next().has_value());
}

TEST(RequestScanner, TwoRequestsInOnePieceAreTwo) {
  RequestScanner scanner;
  scanner.feed(kExit + playWithVariable("n"));

  EXPECT_EQ(kExit, nextOf(scanner));
  EXPECT_EQ(playWithVariable("n"), nextOf(scanner));
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
  EXPECT_EQ(kExit, nextOf(scanner));
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
  EXPECT_EQ(kExit, nextOf(scanner));
}

}  // namespace
}  // namespace kxsim

#include "reply.h"

#include "delivery.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace kxsim {
namespace {

using Json = nlohmann::json;
using Pieces = std::vector<std::string_view>;

TEST(Reply, SuccessIsTheBeginning) {
  EXPECT_EQ(R"({"status":"OK","errorCode":1})", Reply().text());
}

TEST(Reply, TextsAreEscapedSoThatJsonReadsThemBack) {
  std::string text = "\"\\/\n\r\t\xc3\xa9";
  for (char c = 1; c < 0x20; ++c) {
    text += c;
  }
  Reply reply;
  reply.addExtract(text);

  EXPECT_EQ(text, Json::parse(reply.text())["extractData"][0].get<std::string>());
}

TEST(Reply, BytesThatAreNoUtf8PassUnchanged) {
  EXPECT_EQ("\"\xff\x80\"", quotedJson("\xff\x80"));
}

TEST(Reply, AMemberCanBeReplacedInItsPlaceOrLeftOut) {
  Reply reply;
  reply.setMember("status", "[1]");
  reply.setMember("more", "null");
  EXPECT_EQ(R"({"status":[1],"errorCode":1,"more":null})", reply.text());

  reply.dropMember("errorCode");
  EXPECT_EQ(R"({"status":[1],"more":null})", reply.text());
}

TEST(Reply, GrowingGivesExactlyThatSizeAndNeverLessThanThereIs) {
  for (const std::size_t size : {48U, 49U, 4096U, 100000U}) {
    Reply reply;
    reply.growTo(size);
    EXPECT_EQ(size, reply.text().size());
    EXPECT_TRUE(Json::accept(reply.text()));
    reply.growTo(10);
    EXPECT_EQ(size, reply.text().size());
  }
}

TEST(Delivery, ItsPiecesAreFollowedByTheRestInChunksAndWhatWasTakenIsNotTakenAgain) {
  const struct {
    std::vector<std::size_t> pieceSizes;
    std::size_t chunkSize;
    Pieces expected;
  } cases[] = {
      {{}, 0, {"0123456789"}},
      {{1, 3}, 0, {"0", "123", "456789"}},
      {{1}, 4, {"0", "1234", "5678", "9"}},
      {{8, 8, 8}, 0, {"01234567", "89"}},
  };
  for (const auto& c : cases) {
    Delivery delivery;
    delivery.raw = "0123456789";
    delivery.pieceSizes = c.pieceSizes;
    delivery.chunkSize = c.chunkSize;
    EXPECT_EQ(c.expected, delivery.takeRest());
    EXPECT_EQ(Pieces{}, delivery.takeRest());
  }
  Delivery delivery;
  delivery.raw = "0123456789";
  EXPECT_EQ("012", delivery.take(3));
  EXPECT_EQ((Pieces{"3456789"}), delivery.takeRest());
  EXPECT_EQ("", delivery.take(3));
}

TEST(Delivery, BytesAreAddedAndThenTruncated) {
  Delivery delivery;
  delivery.raw = "01";
  delivery.prefix = "<";
  delivery.suffix = ">";
  delivery.twice = true;
  EXPECT_EQ("<0101>", Delivery(delivery).bytes());

  delivery.truncatedTo = 4;
  EXPECT_EQ("<010", delivery.bytes());
}

}  // namespace
}  // namespace kxsim

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

TEST(Reply, AMemberCanBeReplacedInItsPlace) {
  Reply reply;
  reply.setMember("status", "[1]");
  reply.setMember("more", "null");

  EXPECT_EQ(R"({"status":[1],"errorCode":1,"more":null})", reply.text());
}

TEST(Reply, AMemberCanBeLeftOut) {
  Reply reply;
  reply.dropMember("errorCode");

  EXPECT_EQ(R"({"status":"OK"})", reply.text());
}

TEST(Reply, GrowingGivesExactlyThatSize) {
  for (const std::size_t size : {48U, 49U, 4096U, 100000U}) {
    Reply reply;
    reply.growTo(size);
    EXPECT_EQ(size, reply.text().size());
    EXPECT_TRUE(Json::accept(reply.text()));
  }
}

TEST(Reply, GrowingToLessThanThereIsChangesNothing) {
  Reply reply;
  reply.growTo(10);

  EXPECT_EQ(Reply().text(), reply.text());
}

class DeliveryOfDigits : public testing::Test {
 protected:
  DeliveryOfDigits() { delivery_.raw = "0123456789"; }

  Delivery delivery_;
};

TEST_F(DeliveryOfDigits, WithoutAPlanItIsOnePiece) {
  EXPECT_EQ((Pieces{"0123456789"}), delivery_.takeRest());
  EXPECT_EQ(Pieces{}, delivery_.takeRest());
}

TEST_F(DeliveryOfDigits, PiecesAreFollowedByTheRest) {
  delivery_.pieceSizes = {1, 3};

  EXPECT_EQ((Pieces{"0", "123", "456789"}), delivery_.takeRest());
}

TEST_F(DeliveryOfDigits, ChunksCutTheRest) {
  delivery_.pieceSizes = {1};
  delivery_.chunkSize = 4;

  EXPECT_EQ((Pieces{"0", "1234", "5678", "9"}), delivery_.takeRest());
}

TEST_F(DeliveryOfDigits, APieceLargerThanTheRestIsTheRest) {
  delivery_.pieceSizes = {8, 8, 8};

  EXPECT_EQ((Pieces{"01234567", "89"}), delivery_.takeRest());
}

TEST_F(DeliveryOfDigits, WhatWasTakenIsNotTakenAgain) {
  EXPECT_EQ("012", delivery_.take(3));
  EXPECT_EQ((Pieces{"3456789"}), delivery_.takeRest());
  EXPECT_EQ("", delivery_.take(3));
}

TEST_F(DeliveryOfDigits, BytesAreAddedAndThenTruncated) {
  delivery_.prefix = "<";
  delivery_.suffix = ">";
  delivery_.twice = true;
  EXPECT_EQ("<01234567890123456789>", Delivery(delivery_).bytes());

  delivery_.truncatedTo = 4;

  EXPECT_EQ("<012", delivery_.bytes());
}

}  // namespace
}  // namespace kxsim

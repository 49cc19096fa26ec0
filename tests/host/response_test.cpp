// What a host sees of an answer: whole, in pieces, cut short, or refused. Which bytes are an answer, and what
// its members mean, is tested without the library.
#include "host/host_test.h"

#include <string>
#include <vector>

namespace {

class Answer : public AttachedHostTest {};

TEST_F(Answer, AnAnswerOfMembersInAnyOrderIsReadWhole) {
  EXPECT_EQ(playAnswered(R"({"profilerData":"p","extractData":["e"],"unknown":{"a":[null,true,1.5e3]},)"
                         R"("errorCode":1,"lastPerformance":[{"value":"v","name":"n"}],"status":"s\u00e4"})"),
            KX_OK);

  char name[2] = {};
  char value[2] = {};
  int size = 2;
  expectError(1, "s\xC3\xA4");
  EXPECT_EQ(dll.extract(context, 1), "e");
  EXPECT_EQ(dll.profilerData(context), "p");
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, name, &size, value, &size), KX_OK);
  EXPECT_STREQ(name, "n");
  EXPECT_STREQ(value, "v");
}

TEST_F(Answer, AnAnswerInSingleBytesIsReadOnceItIsWhole) {
  const std::string answer = R"({"errorCode":1,"status":"b}{"})";
  std::vector<std::string> pieces;
  HostLog expected;
  expected.sent(playRequest("macro"));
  for (const char byte : answer) {
    pieces.emplace_back(1, byte);
    expected.read(1);
  }
  extension.answersInPieces(pieces);

  EXPECT_EQ(play(), KX_OK);

  expectError(1, "b}{");
  expectLog(expected.info("Client: handling response.."));
}

TEST_F(Answer, AnAnswerOfAMegabyteIsReadWhole) {
  const std::string status(1000000, 's');

  EXPECT_EQ(playAnswered(R"({"errorCode":1,"status":")" + status + "\"}"), KX_OK);

  expectError(1, status);
}

TEST_F(Answer, AnAnswerThatIsNotValidJsonIsRefusedAndItsPlaceLogged) {
  EXPECT_EQ(playAnswered("%s%n%d"), KX_FAILED);

  expectError(-1, "Error in response processing");
  expectLog(HostLog().refusedAtOnce(playRequest("macro"), "%s%n%d"));
}

TEST_F(Answer, AnAnswerBehindAnotherInOnePieceSpoilsTheNextOneWhoseOutcomeIsThatOfTheFirst) {
  ASSERT_EQ(playAnswered(R"({"errorCode":1,"status":"first"}{"errorCode":1,"status":"second"})"), KX_OK);
  expectError(1, "first");
  log.clear();

  const std::string answer = R"({"errorCode":3,"status":"third"})";
  EXPECT_EQ(playAnswered(answer), KX_OK);

  expectError(1, "first");
  expectLog(HostLog()
                .exchanged(playRequest("macro"), answer)
                .error("BrowserInstance::handleResponse() Caught json::ParseException: Expected End of token "
                       "stream; found { , line/offset: 1/34"));
}

}  // namespace

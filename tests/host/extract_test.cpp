// Which of the extracts a host gets for which index.
#include "host/count_extracts.h"
#include "host/host_test.h"

#include <climits>
#include <string>
#include <vector>

namespace {

class Extracts : public AttachedHostTest {
 protected:
  void playReturns(const std::string& items) {
    extension.answers("{\"status\":\"OK\",\"errorCode\":1,\"extractData\":[" + items + "]}");
    ASSERT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
  }

  int sizeOf(int index) const { return dll.kx_GetLastExtract(context, nullptr, 0, index); }
};

TEST_F(Extracts, AreAllJoinedForIndexZeroAndMinusOne) {
  playReturns("\"one\",\"two\",\"three\"");

  EXPECT_EQ(dll.extract(context, 0), "one[EXTRACT]two[EXTRACT]three");
  EXPECT_EQ(dll.extract(context, -1), "one[EXTRACT]two[EXTRACT]three");
  EXPECT_EQ(sizeOf(0), 30);
}

TEST_F(Extracts, AreCountedFromOne) {
  playReturns("\"one\",\"two\",\"three\"");

  EXPECT_EQ(dll.extract(context, 1), "one");
  EXPECT_EQ(dll.extract(context, 2), "two");
  EXPECT_EQ(dll.extract(context, 3), "three");
}

TEST_F(Extracts, AreEmptyForEveryOtherIndex) {
  playReturns("\"one\",\"two\",\"three\"");

  for (const int index : {4, 5, -2, -3, INT_MIN, INT_MAX}) {
    EXPECT_EQ(sizeOf(index), 0) << index;
  }
}

TEST_F(Extracts, OfOneItemAreThatItemWithoutASeparator) {
  playReturns("\"alone\"");

  EXPECT_EQ(dll.extract(context, 0), "alone");
}

TEST_F(Extracts, ThatAreEmptyTextsKeepTheirSeparators) {
  playReturns("\"\",\"\"");

  EXPECT_EQ(dll.extract(context, 0), "[EXTRACT]");
  EXPECT_EQ(sizeOf(1), 0);
}

TEST_F(Extracts, ThatDoNotExistGiveTheEmptyText) {
  for (const int index : {0, -1, 1}) {
    EXPECT_EQ(sizeOf(index), 0) << index;
  }
}

TEST_F(Extracts, ThatAreNumbersInTheAnswerAreEmptyInTheirPlace) {
  playReturns("\"one\",2,\"three\"");

  EXPECT_EQ(dll.extract(context, 0), "one[EXTRACT][EXTRACT]three");
}

TEST_F(Extracts, AreCountedByTheirSizesAndThatOfAll) {
  struct Case {
    std::string items;
    int count;
  };
  countedGetLastExtract = dll.kx_GetLastExtract;
  EXPECT_EQ(countExtractsAsExamplesDo(context), 0);

  for (const Case& it : std::vector<Case>{{R"("one")", 1},
                                          {R"("one","two","three")", 3},
                                          {R"("","")", 2},
                                          {R"("one","","")", 3},
                                          {R"("","one")", 2},
                                          {R"("[EXTRACT]")", 1},
                                          {R"("a[EXTRACT]b","c","")", 3},
                                          {R"("a\u0000b","c")", 2},
                                          {R"("")", 0}}) {
    playReturns(it.items);

    EXPECT_EQ(countExtractsAsExamplesDo(context), it.count) << it.items;
  }
}

TEST_F(Extracts, OfThePlayBeforeAreForgottenWithTheNext) {
  playReturns("\"one\"");

  playReturns("\"two\"");

  EXPECT_EQ(dll.extract(context, 0), "two");
}

TEST_F(Extracts, OfRequestsThatAreNoPlayAreAdded) {
  playReturns("\"one\"");
  extension.answers("{\"errorCode\":1,\"extractData\":[\"two\"]}");

  ASSERT_EQ(dll.kx_Display(context, "message", 10), KX_OK);

  EXPECT_EQ(dll.extract(context, 0), "one[EXTRACT]two");
}

TEST_F(Extracts, AreReadWithoutAWordInTheLog) {
  playReturns("\"one\"");
  log.clear();

  dll.extract(context, 0);
  dll.extract(context, 9);

  EXPECT_FALSE(fileExists(log.path()));
}

}  // namespace

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
    ASSERT_EQ(playAnswered(R"({"status":"OK","errorCode":1,"extractData":[)" + items + "]}"), KX_OK);
    log.clear();
  }

  int sizeOf(int index) const { return dll.kx_GetLastExtract(context, nullptr, 0, index); }
};

TEST_F(Extracts, ExtractsAreAllJoinedForZeroAndMinusOneOneFromOneUpAndEmptyForEveryOtherIndex) {
  EXPECT_EQ(sizeOf(0), 0);
  EXPECT_EQ(sizeOf(1), 0);
  playReturns(R"("one","two","three")");

  EXPECT_EQ(dll.extract(context, 0), "one[EXTRACT]two[EXTRACT]three");
  EXPECT_EQ(dll.extract(context, -1), "one[EXTRACT]two[EXTRACT]three");
  EXPECT_EQ(sizeOf(0), 30);
  EXPECT_EQ(dll.extract(context, 1), "one");
  EXPECT_EQ(dll.extract(context, 2), "two");
  EXPECT_EQ(dll.extract(context, 3), "three");
  for (const int index : {4, 5, -2, -3, INT_MIN, INT_MAX}) {
    EXPECT_EQ(sizeOf(index), 0) << index;
  }
  expectLog(HostLog());
}

TEST_F(Extracts, ExtractsAreCountedByTheirSizesAndThatOfAll) {
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

}  // namespace

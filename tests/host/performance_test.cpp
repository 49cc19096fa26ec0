// What a host reads of a play's performance entries.
#include "host/guarded_buffer.h"
#include "host/host_test.h"

#include <climits>
#include <string>
#include <vector>

namespace {

class PerformanceEntries : public AttachedHostTest {
 protected:
  void SetUp() override {
    AttachedHostTest::SetUp();
    ASSERT_EQ(playAnswered(R"({"status":"OK","errorCode":1,"lastPerformance":[)"
                           R"({"name":"Load","value":"12.5s"},{"name":"","value":"x"}]})"),
              KX_OK);
    log.clear();
  }
};

// "Load" and "12.5s" take 5 and 6 bytes.
TEST_F(PerformanceEntries, PerformanceEntriesAreMeasuredByNullBuffersAndCopiedIntoThoseThatHoldThem) {
  constexpr bool kNull = true;
  struct Case {
    bool nameIsNull;
    int nameSize;
    bool valueIsNull;
    int valueSize;
    int result;
    int nameSizeAfter;
    int valueSizeAfter;
    std::string name;  // what is written
    std::string value;
  };
  const std::string name = withZero("Load");
  const std::string value = withZero("12.5s");
  for (const Case& it : std::vector<Case>{
           {kNull, 0, kNull, 0, KX_OK, 5, 6, "", ""},
           {kNull, -1, kNull, INT_MAX, KX_OK, 5, 6, "", ""},
           {kNull, 0, false, 6, KX_OK, 5, 6, "", value},
           {false, 5, kNull, 0, KX_OK, 5, 6, name, ""},
           {false, 5, false, 6, KX_OK, 5, 6, name, value},
           {false, 16, false, 15, KX_OK, 16, 15, name, value},
           {false, -1, false, INT_MIN, KX_OK, -1, INT_MIN, name, value},
           {false, 4, false, 16, KX_BUFFER_TOO_SMALL, 4, 16, "", ""},
           {false, 4, kNull, 99, KX_BUFFER_TOO_SMALL, 4, 99, "", ""},
           {false, 0, false, 0, KX_BUFFER_TOO_SMALL, 0, 0, "", ""},
           {false, 5, false, 5, KX_BUFFER_TOO_SMALL, 5, 5, name, ""},
           {kNull, 0, false, 5, KX_BUFFER_TOO_SMALL, 5, 5, "", ""},
       }) {
    SCOPED_TRACE(::testing::Message() << "sizes " << it.nameSize << " and " << it.valueSize);
    GuardedBuffer nameBuffer(16);
    GuardedBuffer valueBuffer(16);
    int nameSize = it.nameSize;
    int valueSize = it.valueSize;

    EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, it.nameIsNull ? nullptr : nameBuffer.get(), &nameSize,
                                        it.valueIsNull ? nullptr : valueBuffer.get(), &valueSize),
              it.result);

    EXPECT_EQ(nameSize, it.nameSizeAfter);
    EXPECT_EQ(valueSize, it.valueSizeAfter);
    EXPECT_TRUE(nameBuffer.holdsOnly(it.name));
    EXPECT_TRUE(valueBuffer.holdsOnly(it.value));
    expectLog(HostLog());
  }
}

TEST_F(PerformanceEntries, PerformanceEntriesAreCountedFromOneAndOutsideTheListThereAreNone) {
  GuardedBuffer name(16);
  GuardedBuffer value(16);
  int nameSize = 1;
  int valueSize = 2;

  EXPECT_EQ(dll.kx_GetLastPerformance(context, 2, name.get(), &nameSize, value.get(), &valueSize), KX_OK);
  EXPECT_TRUE(name.holdsOnly(withZero("")));
  EXPECT_TRUE(value.holdsOnly(withZero("x")));

  for (const int index : {0, -1, 3, INT_MIN, INT_MAX}) {
    EXPECT_EQ(dll.kx_GetLastPerformance(context, index, nullptr, &nameSize, nullptr, &valueSize), KX_FAILED);
    EXPECT_EQ(nameSize, 1) << index;
    EXPECT_EQ(valueSize, 2) << index;
  }
  expectLog(HostLog());
}

TEST_F(PerformanceEntries, PerformanceEntriesNeedBothSizes) {
  GuardedBuffer name(16);
  GuardedBuffer value(16);
  int size = 16;

  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, name.get(), nullptr, value.get(), &size), KX_FAILED);
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, name.get(), &size, value.get(), nullptr), KX_FAILED);

  EXPECT_TRUE(name.isUntouched());
  EXPECT_TRUE(value.isUntouched());
  expectLog(HostLog());
}

}  // namespace

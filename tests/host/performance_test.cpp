// What a host reads of a play's performance: single entries, and the profiler's data.
#include "host/guarded_buffer.h"
#include "host/host_test.h"

#include <climits>
#include <string>
#include <utility>

namespace {

constexpr char kTwoEntries[] =
    "{\"status\":\"OK\",\"errorCode\":1,\"lastPerformance\":["
    "{\"name\":\"Load\",\"value\":\"12.5s\"},{\"name\":\"\",\"value\":\"x\"}]}";

class PerformanceEntries : public AttachedHostTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(AttachedHostTest::SetUp());
    extension.answers(kTwoEntries);
    ASSERT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
    log.clear();
  }

  int get(int index, char* nameBuffer, char* valueBuffer) {
    return dll.kx_GetLastPerformance(context, index, nameBuffer, &nameSize, valueBuffer, &valueSize);
  }

  // "Load" and "12.5s" take 5 and 6 bytes.
  GuardedBuffer name{16};
  GuardedBuffer value{16};
  int nameSize = 0;
  int valueSize = 0;
};

using Sizes = std::pair<int, int>;

TEST_F(PerformanceEntries, TellBothSizesToNullBuffers) {
  EXPECT_EQ(get(1, nullptr, nullptr), KX_OK);

  EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(5, 6));
}

TEST_F(PerformanceEntries, TellSizesWhateverTheHostHadInThem) {
  for (const int size : {-1, INT_MIN, INT_MAX, 1}) {
    nameSize = size;
    valueSize = size;

    EXPECT_EQ(get(1, nullptr, nullptr), KX_OK);

    EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(5, 6)) << size;
  }
}

TEST_F(PerformanceEntries, FitBuffersOfExactlyTheirSizes) {
  nameSize = 5;
  valueSize = 6;

  EXPECT_EQ(get(1, name.get(), value.get()), KX_OK);

  EXPECT_TRUE(name.holdsOnly(withZero("Load")));
  EXPECT_TRUE(value.holdsOnly(withZero("12.5s")));
}

TEST_F(PerformanceEntries, LeaveTheSizesOfBuffersThatAreGiven) {
  nameSize = 16;
  valueSize = 15;

  EXPECT_EQ(get(1, name.get(), value.get()), KX_OK);

  EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(16, 15));
  EXPECT_TRUE(name.holdsOnly(withZero("Load")));
  EXPECT_TRUE(value.holdsOnly(withZero("12.5s")));
}

TEST_F(PerformanceEntries, DoNotLookAtTheValueWhenTheNameDoesNotFit) {
  nameSize = 4;
  valueSize = 16;

  EXPECT_EQ(get(1, name.get(), value.get()), KX_BUFFER_TOO_SMALL);

  EXPECT_TRUE(name.isUntouched());
  EXPECT_TRUE(value.isUntouched());
  EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(4, 16));
}

TEST_F(PerformanceEntries, DoNotTellTheValuesSizeWhenTheNameDoesNotFit) {
  nameSize = 4;
  valueSize = 99;

  EXPECT_EQ(get(1, name.get(), nullptr), KX_BUFFER_TOO_SMALL);

  EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(4, 99));
}

TEST_F(PerformanceEntries, KeepTheNameWhenOnlyTheValueDoesNotFit) {
  nameSize = 5;
  valueSize = 5;

  EXPECT_EQ(get(1, name.get(), value.get()), KX_BUFFER_TOO_SMALL);

  EXPECT_TRUE(name.holdsOnly(withZero("Load")));
  EXPECT_TRUE(value.isUntouched());
  EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(5, 5));
}

TEST_F(PerformanceEntries, TellTheNamesSizeAlsoWhenTheValueDoesNotFit) {
  valueSize = 5;

  EXPECT_EQ(get(1, nullptr, value.get()), KX_BUFFER_TOO_SMALL);

  EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(5, 5));
  EXPECT_TRUE(value.isUntouched());
}

TEST_F(PerformanceEntries, MixANullBufferWithAGivenOne) {
  valueSize = 6;

  EXPECT_EQ(get(1, nullptr, value.get()), KX_OK);

  EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(5, 6));
  EXPECT_TRUE(value.holdsOnly(withZero("12.5s")));
}

TEST_F(PerformanceEntries, MixAGivenBufferWithANullOne) {
  nameSize = 5;

  EXPECT_EQ(get(1, name.get(), nullptr), KX_OK);

  EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(5, 6));
  EXPECT_TRUE(name.holdsOnly(withZero("Load")));
}

TEST_F(PerformanceEntries, DoNotFitSizeZero) {
  EXPECT_EQ(get(1, name.get(), value.get()), KX_BUFFER_TOO_SMALL);

  EXPECT_TRUE(name.isUntouched());
  EXPECT_TRUE(value.isUntouched());
}

TEST_F(PerformanceEntries, TakeNegativeSizesForUnlimited) {
  nameSize = -1;
  valueSize = INT_MIN;

  EXPECT_EQ(get(1, name.get(), value.get()), KX_OK);

  EXPECT_TRUE(name.holdsOnly(withZero("Load")));
  EXPECT_TRUE(value.holdsOnly(withZero("12.5s")));
  EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(-1, INT_MIN));
}

TEST_F(PerformanceEntries, WithAnEmptyNameTakeOneByte) {
  nameSize = 1;
  valueSize = 2;

  EXPECT_EQ(get(2, name.get(), value.get()), KX_OK);

  EXPECT_TRUE(name.holdsOnly(withZero("")));
  EXPECT_TRUE(value.holdsOnly(withZero("x")));
}

TEST_F(PerformanceEntries, OutsideTheListAreNone) {
  for (const int index : {0, -1, 3, INT_MIN, INT_MAX}) {
    nameSize = 77;
    valueSize = 78;

    EXPECT_EQ(get(index, nullptr, nullptr), KX_FAILED) << index;

    EXPECT_EQ(Sizes(nameSize, valueSize), Sizes(77, 78)) << index;
  }
}

TEST_F(PerformanceEntries, NeedBothSizes) {
  nameSize = 16;
  valueSize = 16;

  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, name.get(), nullptr, value.get(), &valueSize), KX_FAILED);
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, name.get(), &nameSize, value.get(), nullptr), KX_FAILED);
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, nullptr, nullptr, nullptr, nullptr), KX_FAILED);

  EXPECT_TRUE(name.isUntouched());
  EXPECT_TRUE(value.isUntouched());
}

TEST_F(PerformanceEntries, AreReadWithoutAWordInTheLogWhateverTheResult) {
  get(1, nullptr, nullptr);
  get(9, nullptr, nullptr);
  nameSize = 1;
  get(1, name.get(), value.get());
  dll.kx_GetLastPerformance(context, 1, nullptr, nullptr, nullptr, nullptr);

  EXPECT_FALSE(fileExists(log.path()));
}

TEST_F(PerformanceEntries, OfThePlayBeforeAreForgottenWithTheNext) {
  ASSERT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);

  EXPECT_EQ(get(1, nullptr, nullptr), KX_FAILED);
}

TEST_F(PerformanceEntries, OfRequestsThatAreNoPlayAreAdded) {
  extension.answers("{\"errorCode\":1,\"lastPerformance\":[{\"name\":\"Third\"}]}");
  ASSERT_EQ(dll.kx_Display(context, "message", 10), KX_OK);
  nameSize = 16;
  valueSize = 16;

  EXPECT_EQ(get(3, name.get(), value.get()), KX_OK);

  EXPECT_TRUE(name.holdsOnly(withZero("Third")));
  EXPECT_TRUE(value.holdsOnly(withZero("")));
}

TEST_F(PerformanceEntries, AreNotLookedForWithoutABrowserOrAContext) {
  const int other = dll.kx_ContextCreate();

  EXPECT_EQ(dll.kx_GetLastPerformance(other, 1, nullptr, nullptr, nullptr, nullptr), KX_FAILED);
  EXPECT_EQ(dll.kx_GetLastPerformance(99, 1, nullptr, nullptr, nullptr, nullptr), KX_NO_CONTEXT);

  EXPECT_EQ(log.text(), ExpectedLog()
                            .error("kx_GetLastExtract() error: not initialized")
                            .error("kx_GetLastPerformance(): context 99 does not exist")
                            .text());
}

class ProfilerData : public AttachedHostTest {};

TEST_F(ProfilerData, AreReplacedByEveryAnswer) {
  extension.answers("{\"errorCode\":1,\"profilerData\":\"first\"}")
      .answers("{\"errorCode\":1,\"profilerData\":\"second\"}")
      .answers("{\"errorCode\":1}");

  dll.kx_Play(context, "macro", 10);
  EXPECT_EQ(dll.profilerData(context), "first");
  dll.kx_Display(context, "message", 10);
  EXPECT_EQ(dll.profilerData(context), "second");
  dll.kx_Display(context, "message", 10);
  EXPECT_EQ(dll.profilerData(context), "");
}

TEST_F(ProfilerData, AreEmptyInAFreshContext) {
  EXPECT_EQ(dll.kx_GetPerformance(context, nullptr, 0), 1);
}

}  // namespace

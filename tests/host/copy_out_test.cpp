// How texts are copied into the host's buffers: the same rule for the error's text, the extracts and the
// profiler data.
#include "host/guarded_buffer.h"
#include "host/host_test.h"

#include <climits>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace {

struct TextExport {
  std::string name;
  std::function<int(const KxExports&, int context, char* buffer, int size)> copy;
  int emptyResult;  // of a call that found the empty text
};

void PrintTo(const TextExport& text, std::ostream* stream) {
  *stream << text.name;
}

std::string nameOf(const ::testing::TestParamInfo<TextExport>& info) {
  return info.param.name;
}

class CopiedText : public AttachedHostTest, public ::testing::WithParamInterface<TextExport> {
 protected:
  // Has the browser leave this text, written as in JSON, wherever a text can be.
  void leave(const std::string& text) {
    extension.answers("{\"status\":\"" + text + "\",\"errorCode\":1,\"extractData\":[\"" + text +
                      "\"],\"profilerData\":\"" + text + "\"}");
    ASSERT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
    log.clear();
  }

  int copy(char* buffer, int size) const { return GetParam().copy(dll, context, buffer, size); }
};

TEST_P(CopiedText, IsMeasuredByANullBufferWhateverTheSize) {
  leave("hello");

  for (const int size : {0, 1, 5, 6, 100, -1, INT_MIN, INT_MAX}) {
    EXPECT_EQ(copy(nullptr, size), 6) << size;
  }
}

TEST_P(CopiedText, FitsABufferOfExactlyItsSize) {
  leave("hello");
  GuardedBuffer buffer(6);

  EXPECT_EQ(copy(buffer.get(), 6), 6);

  EXPECT_TRUE(buffer.holdsOnly(withZero("hello")));
}

TEST_P(CopiedText, DoesNotFitABufferOfOneByteLessAndLeavesItUntouched) {
  leave("hello");
  GuardedBuffer buffer(6);

  EXPECT_EQ(copy(buffer.get(), 5), KX_FAILED);

  EXPECT_TRUE(buffer.isUntouched());
}

TEST_P(CopiedText, DoesNotFitSizesOneAndZero) {
  leave("hello");
  GuardedBuffer buffer(6);

  EXPECT_EQ(copy(buffer.get(), 1), KX_FAILED);
  EXPECT_EQ(copy(buffer.get(), 0), KX_FAILED);

  EXPECT_TRUE(buffer.isUntouched());
}

TEST_P(CopiedText, LeavesTheRestOfALargerBufferUntouched) {
  leave("hello");
  GuardedBuffer buffer(100);

  EXPECT_EQ(copy(buffer.get(), 100), 6);

  EXPECT_TRUE(buffer.holdsOnly(withZero("hello")));
}

TEST_P(CopiedText, TakesNegativeSizesForUnlimited) {
  for (const int size : {-1, -2, -6, INT_MIN}) {
    leave("hello");
    GuardedBuffer buffer(6);

    EXPECT_EQ(copy(buffer.get(), size), 6) << size;

    EXPECT_TRUE(buffer.holdsOnly(withZero("hello"))) << size;
  }
}

TEST_P(CopiedText, TakesTheLargestSize) {
  leave("hello");
  GuardedBuffer buffer(6);

  EXPECT_EQ(copy(buffer.get(), INT_MAX), 6);

  EXPECT_TRUE(buffer.holdsOnly(withZero("hello")));
}

TEST_P(CopiedText, IsCountedInBytes) {
  leave("\\u00fc\\u20ac");
  GuardedBuffer buffer(6);

  EXPECT_EQ(copy(buffer.get(), 5), KX_FAILED);
  EXPECT_EQ(copy(buffer.get(), 6), 6);

  EXPECT_TRUE(buffer.holdsOnly(withZero("\xC3\xBC\xE2\x82\xAC")));
}

TEST_P(CopiedText, IsCopiedWholeWhenItHoldsAZero) {
  leave("a\\u0000b");
  GuardedBuffer buffer(4);

  EXPECT_EQ(copy(nullptr, 0), 4);
  EXPECT_EQ(copy(buffer.get(), 3), KX_FAILED);
  EXPECT_EQ(copy(buffer.get(), 4), 4);

  EXPECT_TRUE(buffer.holdsOnly(withZero(std::string("a\0b", 3))));
}

TEST_P(CopiedText, IsCopiedWholeWhenItIsLong) {
  const std::string text(300000, 'x');
  leave(text);
  GuardedBuffer buffer(text.size() + 1);

  EXPECT_EQ(copy(buffer.get(), 300000), KX_FAILED);
  EXPECT_EQ(copy(buffer.get(), 300001), 300001);

  EXPECT_TRUE(buffer.holdsOnly(withZero(text)));
}

TEST_P(CopiedText, IsCopiedAsOftenAsAsked) {
  leave("hello");

  for (int i = 0; i < 3; ++i) {
    GuardedBuffer buffer(6);
    EXPECT_EQ(copy(buffer.get(), 6), 6);
    EXPECT_TRUE(buffer.holdsOnly(withZero("hello")));
  }
}

TEST_P(CopiedText, ThatDoesNotFitIsNotLogged) {
  leave("hello");
  GuardedBuffer buffer(6);

  EXPECT_EQ(copy(buffer.get(), 5), KX_FAILED);

  EXPECT_FALSE(fileExists(log.path()));
}

TEST_P(CopiedText, ThatIsEmptyIsMeasured) {
  leave("");

  EXPECT_EQ(copy(nullptr, 0), GetParam().emptyResult);
}

TEST_P(CopiedText, ThatIsEmptyNeedsRoomForItsZero) {
  leave("");
  GuardedBuffer buffer(1);

  EXPECT_EQ(copy(buffer.get(), 0), KX_FAILED);
  EXPECT_TRUE(buffer.isUntouched());

  EXPECT_EQ(copy(buffer.get(), 1), GetParam().emptyResult);
  EXPECT_TRUE(buffer.holdsOnly(withZero("")));
}

TEST_P(CopiedText, ThatIsEmptyIsAlsoWrittenToAnUnlimitedBuffer) {
  leave("");
  GuardedBuffer buffer(1);

  EXPECT_EQ(copy(buffer.get(), -1), GetParam().emptyResult);

  EXPECT_TRUE(buffer.holdsOnly(withZero("")));
}

INSTANTIATE_TEST_SUITE_P(
    Of, CopiedText,
    ::testing::Values(TextExport{"LastErrorText",
                                 [](const KxExports& dll, int c, char* buffer, int size) {
                                   return dll.kx_GetLastErrorText(c, buffer, size);
                                 },
                                 1},
                      TextExport{"Performance",
                                 [](const KxExports& dll, int c, char* buffer, int size) {
                                   return dll.kx_GetPerformance(c, buffer, size);
                                 },
                                 1},
                      TextExport{"LastExtract",
                                 [](const KxExports& dll, int c, char* buffer, int size) {
                                   return dll.kx_GetLastExtract(c, buffer, size, 1);
                                 },
                                 0},
                      TextExport{"AllExtracts",
                                 [](const KxExports& dll, int c, char* buffer, int size) {
                                   return dll.kx_GetLastExtract(c, buffer, size, 0);
                                 },
                                 0}),
    nameOf);

// The same rule holds where there is no browser to ask.
class KeptErrorText : public HostTest {};

TEST_F(KeptErrorText, OfAFreshContextIsEmptyAndTakesOneByte) {
  const int context = dll.kx_ContextCreate();
  GuardedBuffer buffer(1);

  EXPECT_EQ(dll.kx_GetLastErrorText(context, nullptr, 0), 1);
  EXPECT_EQ(dll.kx_GetLastErrorText(context, buffer.get(), 0), KX_FAILED);
  EXPECT_TRUE(buffer.isUntouched());
  EXPECT_EQ(dll.kx_GetLastErrorText(context, buffer.get(), 1), 1);
  EXPECT_TRUE(buffer.holdsOnly(withZero("")));
}

TEST_F(KeptErrorText, OfAFailedStartIsCopiedByTheSameRule) {
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, "", 0, 0, 1), 3);
  const std::string text = "Error finding browser binary";
  const int size = static_cast<int>(text.size()) + 1;
  GuardedBuffer buffer(text.size() + 1);

  EXPECT_EQ(dll.kx_GetLastErrorText(context, nullptr, 0), size);
  EXPECT_EQ(dll.kx_GetLastErrorText(context, buffer.get(), size - 1), KX_FAILED);
  EXPECT_TRUE(buffer.isUntouched());
  EXPECT_EQ(dll.kx_GetLastErrorText(context, buffer.get(), size), size);
  EXPECT_TRUE(buffer.holdsOnly(withZero(text)));
}

TEST_F(KeptErrorText, IsNotTouchedForANumberWithoutAContext) {
  GuardedBuffer buffer(16);

  EXPECT_EQ(dll.kx_GetLastErrorText(-1, buffer.get(), -1), KX_NO_CONTEXT);
  EXPECT_EQ(dll.kx_GetLastExtract(-1, buffer.get(), -1, 0), KX_NO_CONTEXT);
  EXPECT_EQ(dll.kx_GetPerformance(-1, buffer.get(), -1), KX_NO_CONTEXT);

  EXPECT_TRUE(buffer.isUntouched());
}

TEST_F(KeptErrorText, BuffersStayUntouchedForAContextWithoutABrowser) {
  const int context = dll.kx_ContextCreate();
  GuardedBuffer buffer(16);

  EXPECT_EQ(dll.kx_GetLastExtract(context, buffer.get(), 16, 0), KX_FAILED);
  EXPECT_EQ(dll.kx_GetPerformance(context, buffer.get(), 16), KX_FAILED);

  EXPECT_TRUE(buffer.isUntouched());
}

}  // namespace

// How texts are copied into the host's buffers: by one rule for the error's text, the extracts and the
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

class CopiedText : public AttachedHostTest, public ::testing::WithParamInterface<TextExport> {
 protected:
  // Has the browser leave this text, written as in JSON, wherever a text can be.
  void leave(const std::string& text) {
    ASSERT_EQ(playAnswered(R"({"status":")" + text + R"(","errorCode":1,"extractData":[")" + text +
                           R"("],"profilerData":")" + text + R"("})"),
              KX_OK);
    log.clear();
  }

  int copy(char* buffer, int size) const { return GetParam().copy(dll, context, buffer, size); }

  // The text is measured and copied with these sizes, and no other byte is written.
  void expectCopied(const std::string& text, const std::vector<int>& sizes, int result) const {
    for (const int size : sizes) {
      GuardedBuffer buffer(text.size() + 1);
      EXPECT_EQ(copy(nullptr, size), result) << size;
      EXPECT_EQ(copy(buffer.get(), size), result) << size;
      EXPECT_TRUE(buffer.holdsOnly(withZero(text))) << size;
    }
  }
  // The text does not fit these sizes, and nothing is written or logged.
  void expectTooLarge(const std::vector<int>& sizes) const {
    for (const int size : sizes) {
      GuardedBuffer buffer(6);
      EXPECT_EQ(copy(buffer.get(), size), KX_FAILED) << size;
      EXPECT_TRUE(buffer.isUntouched()) << size;
    }
    EXPECT_FALSE(fileExists(log.path()));
  }
};

TEST_P(CopiedText, ACopiedTextFitsItsSizeAndLargerOnesAndNegativeSizesAreUnlimited) {
  leave("hello");

  expectCopied("hello", {6, 100, INT_MAX, -1, -6, INT_MIN}, 6);
  expectTooLarge({5, 1, 0});
  EXPECT_EQ(copy(nullptr, 0), 6);
}

TEST_P(CopiedText, ACopiedTextIsCountedInBytes) {
  leave("\\u00fc\\u20ac");

  expectCopied("\xC3\xBC\xE2\x82\xAC", {6}, 6);
  expectTooLarge({5});
}

TEST_P(CopiedText, ACopiedTextIsCopiedWholeWhenItHoldsAZero) {
  leave("a\\u0000b");

  expectCopied(std::string("a\0b", 3), {4}, 4);
  expectTooLarge({3});
}

TEST_P(CopiedText, ACopiedTextIsCopiedWholeWhenItIsLong) {
  const std::string text(300000, 'x');
  leave(text);

  expectCopied(text, {300001}, 300001);
}

TEST_P(CopiedText, ACopiedTextThatIsEmptyNeedsRoomForItsZero) {
  leave("");

  expectCopied("", {1, -1}, GetParam().emptyResult);
  expectTooLarge({0});
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
    [](const auto& test) { return test.param.name; });

class TextWithoutABrowser : public HostTest {};

TEST_F(TextWithoutABrowser, ATextWithoutABrowserOfTheErrorIsCopiedByTheSameRule) {
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(startMissing(context), 2);
  const int size = static_cast<int>(sizeof(kMissingText));
  GuardedBuffer buffer(sizeof(kMissingText));

  EXPECT_EQ(dll.kx_GetLastErrorText(context, nullptr, 0), size);
  EXPECT_EQ(dll.kx_GetLastErrorText(context, buffer.get(), size - 1), KX_FAILED);
  EXPECT_TRUE(buffer.isUntouched());
  EXPECT_EQ(dll.kx_GetLastErrorText(context, buffer.get(), size), size);
  EXPECT_TRUE(buffer.holdsOnly(withZero(kMissingText)));
}

TEST_F(TextWithoutABrowser, ATextWithoutABrowserOfAnyOtherKindLeavesTheBufferUntouched) {
  GuardedBuffer buffer(16);

  for (const int context : {-1, dll.kx_ContextCreate()}) {
    const int result = context == -1 ? KX_NO_CONTEXT : KX_FAILED;
    EXPECT_EQ(dll.kx_GetLastExtract(context, buffer.get(), -1, 0), result);
    EXPECT_EQ(dll.kx_GetPerformance(context, buffer.get(), -1), result);
  }
  EXPECT_EQ(dll.kx_GetLastErrorText(-1, buffer.get(), -1), KX_NO_CONTEXT);

  EXPECT_TRUE(buffer.isUntouched());
}

}  // namespace

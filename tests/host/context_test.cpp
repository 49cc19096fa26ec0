// Contexts as a host meets them. The table behind them is tested without the library.
#include "host/host_test.h"
#include "support/win32/debugger_lines.h"

#include <climits>
#include <vector>

namespace {

class Contexts : public HostTest {
 protected:
  std::vector<int> create(int count) const {
    std::vector<int> numbers;
    for (int i = 0; i < count; ++i) {
      numbers.push_back(dll.kx_ContextCreate());
    }
    return numbers;
  }
};

using Numbers = std::vector<int>;

TEST_F(Contexts, ContextsAreNumberedFromZeroAndTakeTheLowestFreeNumberWithoutAWordInTheLog) {
  const DebuggerLines debugger;
  EXPECT_EQ(create(6), (Numbers{0, 1, 2, 3, 4, 5}));

  for (const int context : {4, 0, 3, -1, 3, 6, 255, 256, 100000, INT_MIN, INT_MAX}) {
    dll.kx_ContextDestroy(context);
  }

  EXPECT_EQ(create(5), (Numbers{0, 3, 4, 6, 7}));
  expectLog(HostLog());
  EXPECT_TRUE(debugger.lines().empty());
}

TEST_F(Contexts, ContextsStartWithoutAnErrorAlsoUnderANumberThatHadOne) {
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kxr_Init(context, "cr", "-runner -crUserDataDir=C:\\nobody", 0, 0), KX_FAILED);
  ASSERT_EQ(dll.kx_GetLastErrorNumber(context), -1);

  dll.kx_ContextDestroy(context);

  ASSERT_EQ(dll.kx_ContextCreate(), context);
  expectError(context, 0, "");
}

TEST_F(Contexts, ContextsDestroyedWithABrowserLeaveItRunningAndConnected) {
  Extension extension(defaultPipe());
  const int context = attach();
  log.clear();

  dll.kx_ContextDestroy(context);

  // The connection still carries bytes, and nothing was asked of the browser.
  EXPECT_NO_THROW(extension.says("{}"));
  EXPECT_EQ(extension.requests().size(), 1U);
  expectLog(HostLog());
  EXPECT_EQ(dll.kx_Play(context, "x", 1), KX_NO_CONTEXT);
}

}  // namespace

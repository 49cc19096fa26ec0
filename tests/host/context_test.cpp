// Contexts: their numbers, their life, and many of them at once.
#include "host/host_test.h"
#include "support/win32/debugger_lines.h"

#include <atomic>
#include <climits>
#include <mutex>
#include <set>
#include <thread>
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

  bool exists(int context) const { return dll.kx_GetLastErrorNumber(context) == 0; }
};

using Numbers = std::vector<int>;

void inParallel(int threads, const std::function<void(int)>& body) {
  std::vector<std::thread> running;
  for (int index = 0; index < threads; ++index) {
    running.emplace_back(body, index);
  }
  for (std::thread& thread : running) {
    thread.join();
  }
}

TEST_F(Contexts, AreNumberedFromZero) {
  EXPECT_EQ(create(4), (Numbers{0, 1, 2, 3}));
}

TEST_F(Contexts, TakeTheNumberOfADestroyedOneFirst) {
  ASSERT_EQ(create(3), (Numbers{0, 1, 2}));

  dll.kx_ContextDestroy(1);

  EXPECT_EQ(create(2), (Numbers{1, 3}));
}

TEST_F(Contexts, TakeFreeNumbersLowestFirstWhateverTheOrderOfDestruction) {
  create(6);

  for (const int context : {4, 0, 3, 1}) {
    dll.kx_ContextDestroy(context);
  }

  EXPECT_EQ(create(6), (Numbers{0, 1, 3, 4, 6, 7}));
}

TEST_F(Contexts, TakeTheLastNumberAgainWhenItWasDestroyed) {
  create(2);

  dll.kx_ContextDestroy(1);

  EXPECT_EQ(create(2), (Numbers{1, 2}));
}

TEST_F(Contexts, AreGoneOnceDestroyed) {
  create(2);

  dll.kx_ContextDestroy(0);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(0), KX_NO_CONTEXT);
  EXPECT_TRUE(exists(1));
}

TEST_F(Contexts, IgnoreTheDestructionOfNumbersThatAreNoneWithoutAWord) {
  const DebuggerLines debugger;
  create(2);
  dll.kx_ContextDestroy(1);

  for (const int context : {-1, 1, 2, 255, 256, 100000, INT_MIN, INT_MAX}) {
    dll.kx_ContextDestroy(context);
  }

  EXPECT_FALSE(fileExists(log.path()));
  EXPECT_TRUE(debugger.lines().empty());
  EXPECT_EQ(create(2), (Numbers{1, 2}));
}

TEST_F(Contexts, AreCreatedAndDestroyedWithoutAWord) {
  const DebuggerLines debugger;

  dll.kx_ContextDestroy(dll.kx_ContextCreate());

  EXPECT_FALSE(fileExists(log.path()));
  EXPECT_TRUE(debugger.lines().empty());
}

TEST_F(Contexts, StartWithoutAnErrorAlsoUnderANumberThatHadOne) {
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kxr_Init(context, "cr", "-runner -crUserDataDir=C:\\nobody", 0, 0), KX_FAILED);
  ASSERT_EQ(dll.kx_GetLastErrorNumber(context), -1);

  dll.kx_ContextDestroy(context);

  ASSERT_EQ(dll.kx_ContextCreate(), context);
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 0);
  EXPECT_EQ(dll.kx_GetLastErrorText(context, nullptr, 0), 1);
}

TEST_F(Contexts, GrowFarBeyondTheRoomTheyStartWith) {
  constexpr int kCount = 5000;

  const Numbers numbers = create(kCount);

  for (int context = 0; context < kCount; ++context) {
    ASSERT_EQ(numbers[static_cast<std::size_t>(context)], context);
    ASSERT_TRUE(exists(context)) << context;
  }
  EXPECT_EQ(dll.kx_GetLastErrorNumber(kCount), KX_NO_CONTEXT);
}

TEST_F(Contexts, AreFoundAgainInTheGapsOfALongRow) {
  constexpr int kCount = 3000;
  create(kCount);
  for (int context = kCount - 1; context >= 0; context -= 3) {
    dll.kx_ContextDestroy(context);
  }

  for (int context = 2; context < kCount; context += 3) {
    ASSERT_EQ(dll.kx_ContextCreate(), context);
  }
  EXPECT_EQ(dll.kx_ContextCreate(), kCount);
}

TEST_F(Contexts, GetDifferentNumbersInThreadsThatCreateAtTheSameTime) {
  constexpr int kThreads = 8;
  constexpr int kEach = 500;
  std::vector<Numbers> numbers(kThreads);

  inParallel(kThreads, [&](int index) { numbers[static_cast<std::size_t>(index)] = create(kEach); });

  std::set<int> all;
  for (const Numbers& some : numbers) {
    all.insert(some.begin(), some.end());
  }
  EXPECT_EQ(all.size(), std::size_t{kThreads * kEach});
  EXPECT_EQ(*all.begin(), 0);
  EXPECT_EQ(*all.rbegin(), kThreads * kEach - 1);
}

TEST_F(Contexts, CanBeUsedWhileOtherThreadsCreateThousands) {
  constexpr int kCreators = 2;
  constexpr int kReaders = 2;
  constexpr int kEach = 6000;
  const int first = dll.kx_ContextCreate();
  std::atomic<int> running{kCreators};
  std::atomic<int> lookUps{0};
  std::atomic<int> misses{0};

  inParallel(kCreators + kReaders, [&](int index) {
    if (index < kCreators) {
      for (int i = 0; i < kEach; ++i) {
        misses += exists(dll.kx_ContextCreate()) ? 0 : 1;
      }
      --running;
      return;
    }
    do {
      misses += exists(first) ? 0 : 1;
      ++lookUps;
    } while (running > 0);
  });

  EXPECT_EQ(misses, 0);
  EXPECT_GE(lookUps, kReaders);
  EXPECT_EQ(dll.kx_ContextCreate(), 1 + kCreators * kEach);
}

TEST_F(Contexts, AreOwnedByOneThreadEachWhileManyCreateAndDestroy) {
  constexpr int kThreads = 6;
  constexpr int kEach = 2000;
  std::vector<std::atomic<int>> owners(kThreads);
  std::atomic<int> problems{0};

  inParallel(kThreads, [&](int) {
    for (int i = 0; i < kEach; ++i) {
      const int context = dll.kx_ContextCreate();
      // As each thread has one context at most, no number is as high as the number of threads.
      if (context < 0 || context >= kThreads || ++owners[static_cast<std::size_t>(context)] != 1) {
        ++problems;
        return;
      }
      --owners[static_cast<std::size_t>(context)];
      dll.kx_ContextDestroy(context);
    }
  });

  EXPECT_EQ(problems, 0);
  EXPECT_EQ(create(2), (Numbers{0, 1}));
}

TEST_F(Contexts, DestroyedWithABrowserLeaveItRunningAndConnected) {
  FakeExtension extension(defaultPipe());
  const int context = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  log.clear();

  dll.kx_ContextDestroy(context);

  // The connection still carries bytes, and nothing was asked of the browser.
  EXPECT_NO_THROW(extension.says("{}"));
  EXPECT_EQ(extension.requests().size(), 1U);
  EXPECT_FALSE(fileExists(log.path()));
  EXPECT_EQ(dll.kx_Play(context, "x", 1), KX_NO_CONTEXT);
}

}  // namespace

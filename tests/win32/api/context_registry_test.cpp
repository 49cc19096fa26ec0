// The table of contexts: numbers and their reuse, records, growth, and look-ups while other threads create.
#include "api/win32/context_registry.h"

#include "support/fake_browser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kx {

using testing::Each;
using testing::ElementsAre;
using testing::IsNull;
using testing::NotNull;

namespace {

// Tells whether it is still there.
class WatchedBrowser final : public FakeBrowser {
 public:
  explicit WatchedBrowser(bool& isThere) : isThere_(isThere) { isThere_ = true; }
  ~WatchedBrowser() override { isThere_ = false; }

 private:
  bool& isThere_;
};

std::vector<int> created(ContextRegistry& registry, int count) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i) {
    numbers.push_back(registry.create());
  }
  return numbers;
}

std::vector<int> fromZero(int count) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i) {
    numbers.push_back(i);
  }
  return numbers;
}

// Numbers that nobody has, given a few contexts.
constexpr int kNobodys[] = {
    -1, 2, 255, 256, 100000, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};

TEST(ContextRegistry, NumbersCountFromZeroAndTheLowestFreeOneIsGivenFirstAndOnce) {
  ContextRegistry registry;
  EXPECT_EQ(created(registry, 10), fromZero(10));
  for (const int context : {7, 2, 9, 0, 4, 0, 7}) {
    registry.destroy(context);
  }
  EXPECT_THAT(created(registry, 7), ElementsAre(0, 2, 4, 7, 9, 10, 11));
}

TEST(ContextRegistry, NumbersCountFromZeroAgainWhenAllAreDestroyed) {
  ContextRegistry registry;
  created(registry, 300);
  for (int context = 299; context >= 0; --context) {
    registry.destroy(context);
  }
  EXPECT_EQ(created(registry, 301), fromZero(301));
}

TEST(ContextRegistry, ALookUpFindsTheRecordsOfContextsOnly) {
  ContextRegistry registry;
  EXPECT_THAT(registry.lookup(0), IsNull());
  created(registry, 2);
  for (const int context : kNobodys) {
    EXPECT_THAT(registry.lookup(context), IsNull()) << context;
    registry.destroy(context);
  }
  EXPECT_THAT(registry.lookup(0), NotNull());
  EXPECT_THAT(registry.lookup(1), NotNull());
  EXPECT_NE(registry.lookup(0), registry.lookup(1));
  registry.destroy(0);
  EXPECT_THAT(registry.lookup(0), IsNull());
  EXPECT_THAT(registry.lookup(1), NotNull());
  EXPECT_THAT(created(registry, 2), ElementsAre(0, 2));
}

TEST(ContextRegistry, ARecordIsFreshAlsoOfANumberThatIsGivenAgain) {
  ContextRegistry registry;
  for (int round = 0; round < 2; ++round) {
    ContextRecord* record = registry.lookup(registry.create());
    EXPECT_EQ(record, registry.lookup(0));
    EXPECT_EQ(record->instance, nullptr);
    EXPECT_EQ(errorNumber(*record), 0);
    EXPECT_EQ(errorText(*record), "");
    record->lastErrorNumber = -3;
    record->lastErrorText = "Connection timed out";
    registry.destroy(0);
  }
}

TEST(ContextRegistry, TheRegistryGrowsToTenThousandsAndMovesNoRecord) {
  constexpr int kCount = 20000;
  ContextRegistry registry;
  std::vector<ContextRecord*> records;
  for (int context = 0; context < kCount; ++context) {
    ASSERT_EQ(registry.create(), context);
    records.push_back(registry.lookup(context));
  }
  EXPECT_THAT(records, Each(NotNull()));
  EXPECT_EQ(std::set<ContextRecord*>(records.begin(), records.end()).size(), records.size());
  for (int context = 0; context < kCount; ++context) {
    ASSERT_EQ(registry.lookup(context), records[static_cast<std::size_t>(context)]);
  }
  EXPECT_THAT(registry.lookup(kCount), IsNull());
}

TEST(ContextRegistry, TheRegistryLooksForNoSlotBehindTheLastOfASegment) {
  using Place = ContextRegistry::Place;
  EXPECT_EQ(ContextRegistry::placeOf(0), (Place{0, 0}));
  EXPECT_EQ(ContextRegistry::placeOf(255), (Place{0, 255}));
  EXPECT_EQ(ContextRegistry::placeOf(256), (Place{1, 0}));
  EXPECT_EQ(ContextRegistry::placeOf(256 + 511), (Place{1, 511}));
  EXPECT_EQ(ContextRegistry::placeOf(256 + 512), (Place{2, 0}));
  EXPECT_EQ(ContextRegistry::placeOf(std::numeric_limits<int>::max()).segment, 23U);
}

TEST(ContextRegistry, EveryNumberIsGivenOnceToThreadsThatCreateAtTheSameTime) {
  constexpr int kThreads = 8;
  constexpr int kEach = 1000;
  ContextRegistry registry;
  std::vector<std::vector<int>> numbers(kThreads);
  std::vector<std::thread> threads;
  for (std::vector<int>& mine : numbers) {
    threads.emplace_back([&registry, &mine] { mine = created(registry, kEach); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::vector<int> all;
  for (const std::vector<int>& mine : numbers) {
    all.insert(all.end(), mine.begin(), mine.end());
  }
  std::sort(all.begin(), all.end());
  EXPECT_EQ(all, fromZero(kThreads * kEach));
}

TEST(ContextRegistry, ALookUpFindsItsRecordWhileOtherThreadsCreateAndDestroy) {
  ContextRegistry registry;
  const int context = registry.create();
  ContextRecord* const record = registry.lookup(context);
  std::atomic<int> busy{4};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        for (const int mine : created(registry, 200)) {
          EXPECT_THAT(registry.lookup(mine), NotNull());
          registry.destroy(mine);
        }
      }
      --busy;
    });
  }
  while (busy > 0) {
    ASSERT_EQ(registry.lookup(context), record);
    registry.lookup(100000);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(registry.create(), 1);
}

TEST(ContextRegistry, DestroyingAContextOrTheRegistryLeavesBrowsersAlone) {
  bool isThere[2] = {};
  const std::unique_ptr<BrowserInstance> owners[] = {std::make_unique<WatchedBrowser>(isThere[0]),
                                                     std::make_unique<WatchedBrowser>(isThere[1])};
  {
    ContextRegistry registry;
    created(registry, 3);
    registry.lookup(0)->instance.reset(owners[0].get());
    registry.lookup(1)->instance.reset(owners[1].get());
    registry.destroy(0);
    EXPECT_TRUE(isThere[0]);
  }
  EXPECT_TRUE(isThere[0] && isThere[1]);
}

TEST(ContextRegistry, TheProcessHasContextsBetweenOpeningAndClosing) {
  for (const bool processEnds : {false, true, false}) {
    openContextRegistry();
    EXPECT_EQ(createContext(), 0);
    EXPECT_EQ(createContext(), 1);
    EXPECT_THAT(lookupContext(0), NotNull());
    destroyContext(0);
    EXPECT_THAT(lookupContext(0), IsNull());
    closeContextRegistry(processEnds);

    EXPECT_THAT(lookupContext(1), IsNull());
    EXPECT_EQ(createContext(), std::nullopt);
    destroyContext(1);
  }
}

TEST(ErrorOfAContext, AContextsErrorIsTheBrowsersWhileThereIsOneAndElseTheKeptOne) {
  ContextRecord record;
  const auto expectError = [&record](int number, const char* text) {
    EXPECT_EQ(errorNumber(record), number);
    EXPECT_EQ(errorText(record), text);
  };
  record.lastErrorNumber = 7;
  record.lastErrorText = "kept";
  expectError(7, "kept");
  record.instance = std::make_unique<FakeBrowser>();
  record.instance->fail(-3, "of the browser");
  expectError(-3, "of the browser");
  const std::unique_ptr<BrowserInstance> owner = std::exchange(record.instance, nullptr);
  expectError(7, "kept");

  record.instance = std::make_unique<FakeBrowser>();
  record.instance->fail(-4, "Could not open server pipe");
  keepInstanceError(record);
  record.instance.reset();
  expectError(-4, "Could not open server pipe");
}

TEST(InstanceStartTest, AStartThatSucceedsLeavesItsBrowserInTheRecord) {
  ContextRecord record;
  bool isThere = false;
  {
    InstanceStart start(record, std::make_unique<WatchedBrowser>(isThere));
    EXPECT_EQ(&start.browser(), record.instance.get());
    start.succeed();
  }
  EXPECT_TRUE(isThere);
  ASSERT_NE(record.instance, nullptr);
  record.instance.reset();
}

TEST(InstanceStartTest, AStartThatDoesNotSucceedTakesItsBrowserAway) {
  ContextRecord record;
  bool isThere = false;
  { const InstanceStart start(record, std::make_unique<WatchedBrowser>(isThere)); }
  EXPECT_FALSE(isThere);
  EXPECT_EQ(record.instance, nullptr);
}

TEST(InstanceStartTest, AStartLeavesABrowserThatWasThereBeforeAlone) {
  ContextRecord record;
  bool isThere = false;
  bool isNewOneThere = false;
  BrowserInstance* old = new WatchedBrowser(isThere);
  record.instance.reset(old);
  { const InstanceStart start(record, std::make_unique<WatchedBrowser>(isNewOneThere)); }
  EXPECT_TRUE(isThere);
  EXPECT_FALSE(isNewOneThere);
  const std::unique_ptr<BrowserInstance> owner(old);
}

}  // namespace

}  // namespace kx

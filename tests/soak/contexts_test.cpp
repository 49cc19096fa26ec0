// Many contexts at once, each with a connection of its own to one browser.
#include "scenario/conversation.h"
#include "soak/share.h"

#include <algorithm>
#include <atomic>
#include <barrier>
#include <set>
#include <thread>

namespace {

constexpr int kUsers = 16;
constexpr int kVisitors = 4;
constexpr int kRounds = 3;

class ManyContexts : public Conversation {
 protected:
  ManyContexts() {
    browser_.script("on exit stay");
    browser_.script("on exit wait-for-pid none");
    browser_.script("idle-limit 600");
    browser_.start();
  }

  // What one thread does with its contexts: all are connected before the first is used.
  void use(const std::vector<int>& contexts, std::barrier<>& allConnected) {
    for (const int context : contexts) {
      EXPECT_EQ(init(context, {}), KX_OK) << dll_.lastErrorText(context);
    }
    allConnected.arrive_and_wait();
    for (int round = 0; round < kRounds; ++round) {
      for (const int context : contexts) {
        const std::string text = std::to_string(context) + " in round " + std::to_string(round);
        EXPECT_EQ(dll_.kx_SetVar(context, "text", text.c_str()), KX_OK);
        EXPECT_EQ(dll_.kx_Play(context, "extract $(text)", 0), KX_OK) << dll_.lastErrorText(context);
        EXPECT_EQ(dll_.extract(context, 1), text);
      }
    }
    for (const int context : contexts) {
      EXPECT_EQ(dll_.kx_Exit(context, 0), KX_OK);
    }
  }

  // Creates and destroys contexts until it is told to stop; none may be one of those that are used.
  void comeAndGo(const std::set<int>& used, const std::atomic<bool>& isOver) {
    while (!isOver) {
      const int context = dll_.kx_ContextCreate();
      EXPECT_GE(context, 0);
      EXPECT_FALSE(used.contains(context)) << context;
      EXPECT_EQ(dll_.kx_Play(context, "extract x", 1), KX_FAILED);
      dll_.kx_ContextDestroy(context);
      ++visits_;
    }
  }

  SimulatedBrowser browser_{uniqueName("browser") + ".exe", "browser", SimulatedBrowser::Recording::Off};
  std::atomic<int> visits_{0};
};

TEST_F(ManyContexts, AThousandContextsServeSixteenThreadsWhileOthersComeAndGo) {
  const int count = shareOf(1000);
  std::vector<std::vector<int>> shares(kUsers);
  std::set<int> used;
  for (int i = 0; i < count; ++i) {
    const int context = dll_.kx_ContextCreate();
    shares[static_cast<std::size_t>(i % kUsers)].push_back(context);
    used.insert(context);
  }
  ASSERT_EQ(used.size(), static_cast<std::size_t>(count));
  std::atomic<bool> isOver{false};
  std::barrier allConnected(kUsers);

  std::vector<std::thread> visitors;
  for (int i = 0; i < kVisitors; ++i) {
    visitors.emplace_back([&] { comeAndGo(used, isOver); });
  }
  std::vector<std::thread> users;
  for (const std::vector<int>& contexts : shares) {
    users.emplace_back([&] { use(contexts, allConnected); });
  }
  for (std::thread& user : users) {
    user.join();
  }
  isOver = true;
  for (std::thread& visitor : visitors) {
    visitor.join();
  }

  EXPECT_GT(visits_, 0);
  for (const int context : used) {
    EXPECT_EQ(dll_.kx_Play(context, "extract x", 1), KX_FAILED)
        << "the browser of " << context << " has gone";
    dll_.kx_ContextDestroy(context);
  }
  EXPECT_EQ(dll_.kx_ContextCreate(), *used.begin()) << "all numbers are free again";
}

}  // namespace

// Many contexts: the first thousand against ten thousand, one against 64 in turn, and 16 threads at once.
#include "win32/bench.h"
#include "win32/windows_error.h"

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kFew = 1000;
constexpr int kMany = 10000;

// Contexts that some legs create, some look up, and some destroy.
class Contexts {
 public:
  explicit Contexts(const KxLibrary& library) : library_(library) {}
  Contexts(const Contexts&) = delete;
  Contexts& operator=(const Contexts&) = delete;
  ~Contexts() { destroy(); }

  void create(int count) {
    for (int i = 0; i < count; ++i) {
      numbers_.push_back(library_.kx_ContextCreate());
    }
  }

  void lookUp() const {
    for (const int number : numbers_) {
      require(library_.kx_GetLastErrorNumber(number) == 0, "a context is not there");
    }
  }

  void destroy() {
    for (const int number : numbers_) {
      library_.kx_ContextDestroy(number);
    }
    numbers_.clear();
  }

 private:
  const KxLibrary& library_;
  std::vector<int> numbers_;
};

// The time per context of the first leg, with many, against that of the second, with few.
void measureContexts(Bench& bench, const char* row, void (*prepare)(Contexts& contexts, int count),
                     void (*run)(Contexts& contexts, int count)) {
  Contexts contexts(bench.library());
  const auto leg = [&](int count) {
    return Leg{[&contexts, run, count] { run(contexts, count); },
               [&contexts, prepare, count] { prepare(contexts, count); }, static_cast<double>(count)};
  };
  Effort effort = bench.effort(3);
  effort.legMilliseconds = 0;
  bench.compare(row, {leg(kMany), leg(kFew)}, effort);
}

void empty(Contexts& contexts, int) {
  contexts.destroy();
}

void filled(Contexts& contexts, int count) {
  contexts.destroy();
  contexts.create(count);
}

void measureTurns(Bench& bench) {
  constexpr int kContexts = 64;
  std::vector<std::unique_ptr<LibraryContext>> contexts;
  contexts.reserve(kContexts);
  for (int i = 0; i < kContexts; ++i) {
    contexts.push_back(std::make_unique<LibraryContext>(bench.library(), bench.peer().profile()));
  }
  const auto useOne = [&contexts](std::size_t which) {
    return [&contexts, which] {
      for (int i = 0; i < kContexts; ++i) {
        contexts[which]->display();
      }
    };
  };
  bench.compare("contexts_64_in_turn",
                {{[&contexts] {
                   for (const auto& context : contexts) {
                     context->display();
                   }
                 }},
                 {useOne(0)},
                 {useOne(1)}},
                bench.effort(6));
}

// Runs the action once on each of so many threads, all at once. Throws when one of them did.
template <typename Action>
void onThreads(int count, Action action) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  std::vector<std::exception_ptr> failures(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&action, &failures, i] {
      try {
        action(static_cast<std::size_t>(i));
      } catch (...) {
        failures[static_cast<std::size_t>(i)] = std::current_exception();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const std::exception_ptr& failure : failures) {
    if (failure) {
      std::rethrow_exception(failure);
    }
  }
}

void measureThreads(Bench& bench) {
  constexpr int kThreads = 16;
  constexpr int kTrips = 20;
  std::vector<std::unique_ptr<LibraryContext>> contexts;
  std::vector<std::unique_ptr<BareConnection>> connections;
  for (int i = 0; i < kThreads; ++i) {
    contexts.push_back(std::make_unique<LibraryContext>(bench.library(), bench.peer().profile()));
    connections.push_back(std::make_unique<BareConnection>(bench.peer().pipe()));
  }
  contexts.front()->display();
  const std::string request = bench.bare().lastRequest();
  const std::size_t answerBytes = responseText(Shape::Small, 0, 0).json.size();
  const auto bareTrips = [&] {
    onThreads(kThreads, [&](std::size_t thread) {
      for (int i = 0; i < kTrips; ++i) {
        connections[thread]->exchange(request, answerBytes);
      }
    });
  };
  bench.compare("threads_16_at_once",
                {{[&] {
                   onThreads(kThreads, [&](std::size_t thread) {
                     for (int i = 0; i < kTrips; ++i) {
                       contexts[thread]->display();
                     }
                   });
                 }},
                 {bareTrips},
                 {bareTrips}},
                bench.effort(8));
}

}  // namespace

std::vector<Row> contextRows() {
  return {
      {"contexts_created",
       [](Bench& b) {
         measureContexts(b, "contexts_created", empty, [](Contexts& c, int count) { c.create(count); });
       }},
      {"contexts_looked_up",
       [](Bench& b) {
         measureContexts(b, "contexts_looked_up", filled, [](Contexts& c, int) { c.lookUp(); });
       }},
      {"contexts_destroyed",
       [](Bench& b) {
         measureContexts(b, "contexts_destroyed", filled, [](Contexts& c, int) { c.destroy(); });
       }},
      {"contexts_64_in_turn", measureTurns},
      {"threads_16_at_once", measureThreads},
  };
}

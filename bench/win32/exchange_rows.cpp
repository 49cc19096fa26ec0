// What the library adds to the pipe: round trips, plays with answers of every shape and size, the handshake.
#include "win32/bench.h"
#include "win32/windows_error.h"

#include <cstdint>
#include <cstring>
#include <deque>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;

// One play and the same bytes for the bare connections.
struct Exchange {
  std::string source;
  std::string request;
  std::size_t answerBytes = 0;
};

// The library's results, read back as a host reads them, against what the text was made to say.
void checkResults(const KxLibrary& library, int context, const ResponseFields& fields) {
  require(library.kx_GetLastErrorNumber(context) == fields.errorCode, "another error number");
  require(library.lastErrorText(context) == fields.status, "another status");
  require(library.profilerData(context) == fields.profilerData, "other profiler data");
  std::string joined;
  for (std::size_t i = 0; i < fields.extracts.size(); ++i) {
    joined += (i == 0 ? "" : "[EXTRACT]") + fields.extracts[i];
  }
  require(library.extract(context, 0) == joined, "other extracts");
  // A few entries stand for all: each look-up walks through an export.
  for (std::size_t i = 0; i < fields.performance.size(); i += 1 + fields.performance.size() / 100) {
    std::string name(4096, '\0');
    std::string value(4096, '\0');
    int nameSize = static_cast<int>(name.size());
    int valueSize = static_cast<int>(value.size());
    require(library.kx_GetLastPerformance(context, static_cast<int>(i) + 1, name.data(), &nameSize,
                                          value.data(), &valueSize) == KX_OK,
            "a performance entry is missing");
    require(std::strcmp(name.data(), fields.performance[i].first.c_str()) == 0 &&
                std::strcmp(value.data(), fields.performance[i].second.c_str()) == 0,
            "another performance entry");
  }
}

// Plays it once, which also has the peer make the text, and compares what arrived.
Exchange preparedExchange(Bench& bench, const LibraryContext& context, Shape shape, std::size_t size,
                          std::uint32_t seed) {
  const ResponseText text = responseText(shape, size, seed);
  Exchange exchange;
  exchange.source = wish(shape, size, seed);
  exchange.answerBytes = text.json.size();
  context.play(exchange.source);
  checkResults(bench.library(), context.number(), text.fields);
  exchange.request = bench.bare().lastRequest();
  require(bench.bare().answer(exchange.request, exchange.answerBytes) == text.json,
          "the bare connection gets other bytes than the library");
  return exchange;
}

// A leg that takes the exchanges in turn.
template <typename Run>
Leg inTurn(const std::vector<Exchange>& exchanges, Run run) {
  return {[&exchanges, run, next = std::size_t{0}]() mutable { run(exchanges[next++ % exchanges.size()]); }};
}

std::vector<Exchange> preparedExchanges(Bench& bench, const LibraryContext& context, Shape shape,
                                        std::size_t size) {
  std::vector<Exchange> exchanges;
  for (const std::uint32_t seed : kSeeds) {
    exchanges.push_back(preparedExchange(bench, context, shape, size, seed));
  }
  return exchanges;
}

std::vector<Leg> exchangeLegs(Bench& bench, const LibraryContext& context,
                              const std::vector<Exchange>& exchanges) {
  return {
      inTurn(exchanges, [&context](const Exchange& e) { context.play(e.source); }),
      inTurn(exchanges, [&bench](const Exchange& e) { bench.bare().exchange(e.request, e.answerBytes); }),
      inTurn(exchanges, [&bench](const Exchange& e) { bench.control().exchange(e.request, e.answerBytes); })};
}

// A quick run has smaller texts.
std::size_t sized(const Bench& bench, Shape shape, std::size_t size) {
  return shape != Shape::Members ? bench.sized(size) : bench.isQuick() ? size / 10 : size;
}

Row play(const char* name, Shape shape, std::size_t size, double seconds = 4) {
  return {name, [=](Bench& bench) {
            const LibraryContext context(bench.library(), bench.peer().profile());
            const std::vector<Exchange> exchanges =
                preparedExchanges(bench, context, shape, sized(bench, shape, size));
            bench.compare(name, exchangeLegs(bench, context, exchanges), bench.effort(seconds));
          }};
}

void measureRoundTrip(Bench& bench) {
  const LibraryContext context(bench.library(), bench.peer().profile());
  context.display();
  const std::string request = bench.bare().lastRequest();
  const std::size_t answerBytes = responseText(Shape::Small, 0, 0).json.size();
  bench.compare("round_trip",
                {{[&] { context.display(); }}, {[&] { bench.bare().exchange(request, answerBytes); }}, {[&] {
                   bench.control().exchange(request, answerBytes);
                 }}},
                bench.effort(8));
}

// The start and the end of a conversation: once against a bare one that takes every step which other
// processes can see, the start lock among them, and once against the pipes alone.
void measureHandshake(Bench& bench) {
  const KxLibrary& library = bench.library();
  const std::string options = runnerOptions(bench.peer().profile());
  std::string initRequest;
  {
    const LibraryContext context(library, bench.peer().profile());
    initRequest = bench.bare().lastRequest();
  }
  const std::string exitRequest = bench.bare().lastRequest();
  const std::size_t answerBytes = responseText(Shape::Small, 0, 0).json.size();

  const int context = library.kx_ContextCreate();
  const auto libraryHandshake = [&] {
    require(library.kxr_Init(context, "fx", options.c_str(), 0, kTimeoutSeconds) == KX_OK &&
                library.kxr_Exit(context, kTimeoutSeconds) == KX_OK,
            "the library does not connect");
  };
  const auto bareHandshake = [&](Handshake handshake) {
    return [&, handshake] {
      BareConnection connection(bench.peer().pipe(), handshake);
      connection.exchange(initRequest, answerBytes);
      connection.exchange(exitRequest, answerBytes);
      connection.close();
    };
  };
  bench.compare("handshake",
                {{libraryHandshake},
                 {bareHandshake(Handshake::AsTheLibrary)},
                 {bareHandshake(Handshake::AsTheLibrary)}},
                bench.effort(8));
  bench.compare(
      "handshake_pipes_only",
      {{libraryHandshake}, {bareHandshake(Handshake::PipesOnly)}, {bareHandshake(Handshake::PipesOnly)}},
      bench.effort());
  library.kx_ContextDestroy(context);
}

std::string variableName(int index) {
  return "variable_" + std::to_string(index);
}

void measureVariables(Bench& bench, const char* row, int count) {
  const LibraryContext context(bench.library(), bench.peer().profile());
  const std::string source = wish(Shape::Small, 0, 0);
  const auto setAll = [&] {
    for (int i = 0; i < count; ++i) {
      bench.library().kx_SetVar(context.number(), variableName(i).c_str(), "a value of some length");
    }
  };
  setAll();
  context.play(source);
  const std::string request = bench.bare().lastRequest();
  const std::size_t answerBytes = responseText(Shape::Small, 0, 0).json.size();
  bench.compare(row,
                {{[&] { context.play(source); }, setAll},
                 {[&] { bench.bare().exchange(request, answerBytes); }},
                 {[&] { bench.control().exchange(request, answerBytes); }}},
                bench.effort());
}

// How much more each byte, or each member, of a large answer takes than of a small one.
void measureGrowth(Bench& bench, const char* row, Shape shape, std::size_t smallSize, std::size_t largeSize,
                   int timesSmall) {
  const std::size_t small = sized(bench, shape, smallSize);
  const std::size_t large = sized(bench, shape, largeSize);
  const LibraryContext context(bench.library(), bench.peer().profile());
  const Exchange smallOne = preparedExchange(bench, context, shape, small, kSeeds[0]);
  const Exchange largeOne = preparedExchange(bench, context, shape, large, kSeeds[0]);
  const double growth = shape == Shape::Members ? static_cast<double>(large) / static_cast<double>(small)
                                                : static_cast<double>(largeOne.answerBytes) /
                                                      static_cast<double>(smallOne.answerBytes);
  bench.compare(row,
                {{[&] { context.play(largeOne.source); }, nullptr, growth},
                 {[&] {
                    for (int i = 0; i < timesSmall; ++i) {
                      context.play(smallOne.source);
                    }
                  },
                  nullptr, static_cast<double>(timesSmall)}},
                bench.effort(6));
}

}  // namespace

std::vector<Row> exchangeRows() {
  return {
      {"round_trip", measureRoundTrip},
      play("play_small", Shape::Small, 0, 8),
      {"handshake", measureHandshake},
      play("play_10_kb", Shape::OneString, 10000, 6),
      play("play_one_string_1_mb", Shape::OneString, kMegabyte),
      play("play_one_string_16_mb", Shape::OneString, 16 * kMegabyte, 6),
      play("play_one_string_64_mb", Shape::OneString, 64 * kMegabyte, 8),
      play("play_one_extract_8_mb", Shape::OneExtract, 8 * kMegabyte),
      play("play_escapes_16_mb", Shape::Escapes, 16 * kMegabyte, 6),
      play("play_short_items_1_mb", Shape::ShortItems, kMegabyte),
      play("play_short_items_16_mb", Shape::ShortItems, 16 * kMegabyte, 6),
      play("play_members_10000", Shape::Members, 10000),
      play("play_members_100000", Shape::Members, 100000, 6),
      {"growth_one_string",
       [](Bench& b) {
         measureGrowth(b, "growth_one_string", Shape::OneString, kMegabyte, 64 * kMegabyte, 16);
       }},
      {"growth_members",
       [](Bench& b) { measureGrowth(b, "growth_members", Shape::Members, 10000, 100000, 4); }},
      {"play_variables_1000", [](Bench& b) { measureVariables(b, "play_variables_1000", 1000); }},
      {"play_variables_100000",
       [](Bench& b) { measureVariables(b, "play_variables_100000", b.isQuick() ? 10000 : 100000); }},
  };
}

std::vector<Row> plotRows() {
  return {{"plot", [](Bench& bench) {
             const LibraryContext context(bench.library(), bench.peer().profile());
             for (const Shape shape : {Shape::OneString, Shape::ShortItems}) {
               for (std::size_t size = 1024; size <= bench.sized(64 * kMegabyte); size *= 4) {
                 const std::vector<Exchange> exchanges = {
                     preparedExchange(bench, context, shape, size, kSeeds[0])};
                 Effort effort = bench.effort(1);
                 effort.fewestRounds = 3;
                 const Times times = timeInTurn(exchangeLegs(bench, context, exchanges), effort);
                 bench.reportPoint(nameOf(shape), exchanges.front().answerBytes, medianOf(times[0]),
                                   medianOf(times[1]));
               }
             }
           }}};
}

// What reading a play's results back costs beside copying the bytes, and setting a variable beside a map.
#include "win32/bench.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;
constexpr char kSeparator[] = "[EXTRACT]";

// Asks for a text: a null buffer for its size only.
using CopyText = int (*)(const KxLibrary& library, int context, char* buffer, int size);

int copyFirstExtract(const KxLibrary& library, int context, char* buffer, int size) {
  return library.kx_GetLastExtract(context, buffer, size, 1);
}

int copyAllExtracts(const KxLibrary& library, int context, char* buffer, int size) {
  return library.kx_GetLastExtract(context, buffer, size, 0);
}

int copyProfilerData(const KxLibrary& library, int context, char* buffer, int size) {
  return library.kx_GetPerformance(context, buffer, size);
}

char* append(char* end, const std::string& text) {
  return std::copy(text.begin(), text.end(), end);
}

std::size_t joinByHand(const std::vector<std::string>& extracts, char* buffer) {
  char* end = buffer;
  for (std::size_t i = 0; i < extracts.size(); ++i) {
    if (i != 0) {
      end = append(end, kSeparator);
    }
    end = append(end, extracts[i]);
  }
  *end = '\0';
  return static_cast<std::size_t>(end - buffer) + 1;
}

// A text of 8 MB against a memcpy of as many bytes.
void measureCopy(Bench& bench, const char* row, Shape shape, CopyText copy) {
  const LibraryContext context(bench.library(), bench.peer().profile());
  context.play(wish(shape, bench.sized(8 * kMegabyte), kSeeds[0]));
  const int size = copy(bench.library(), context.number(), nullptr, 0);
  const std::string source(static_cast<std::size_t>(size), 's');
  std::vector<char> target(static_cast<std::size_t>(size));
  const auto copyByHand = [&] { std::memcpy(target.data(), source.data(), target.size()); };
  bench.compare(row,
                {{[&] {
                   require(copy(bench.library(), context.number(), target.data(), size) == size,
                           "the text was not copied");
                 }},
                 {copyByHand},
                 {copyByHand}},
                bench.effort());
}

void measureJoined(Bench& bench) {
  const LibraryContext context(bench.library(), bench.peer().profile());
  const std::size_t bytes = bench.sized(16 * kMegabyte);
  context.play(wish(Shape::ShortItems, bytes, kSeeds[0]));
  const std::vector<std::string> extracts = responseText(Shape::ShortItems, bytes, kSeeds[0]).fields.extracts;
  const int size = copyAllExtracts(bench.library(), context.number(), nullptr, 0);
  std::vector<char> target(static_cast<std::size_t>(size));
  const auto join = [&] {
    require(static_cast<int>(joinByHand(extracts, target.data())) == size, "the joined texts differ");
  };
  bench.compare("read_all_extracts_joined",
                {{[&] {
                   require(copyAllExtracts(bench.library(), context.number(), target.data(), size) == size,
                           "the texts were not copied");
                 }},
                 {join},
                 {join}},
                bench.effort());
}

// Asking how long a text is, for one of many megabytes and for one of a kilobyte.
void measureSizeQuery(Bench& bench, const char* row, Shape shape, std::size_t bytes, CopyText copy) {
  const LibraryContext large(bench.library(), bench.peer().profile());
  const LibraryContext small(bench.library(), bench.peer().profile());
  large.play(wish(shape, bench.sized(bytes), kSeeds[0]));
  small.play(wish(shape, 1024, kSeeds[0]));
  const auto ask = [&bench, copy](const LibraryContext& context) {
    require(copy(bench.library(), context.number(), nullptr, 0) > 0, "there is no text");
  };
  bench.compare(row, {{[&] { ask(large); }}, {[&] { ask(small); }}, {[&] { ask(small); }}}, bench.effort(2));
}

void measureSetVariable(Bench& bench) {
  constexpr int kCount = 1000;
  const LibraryContext context(bench.library(), bench.peer().profile());
  std::vector<std::string> names;
  names.reserve(kCount);
  for (int i = 0; i < kCount; ++i) {
    names.push_back("variable_" + std::to_string(i));
  }
  constexpr char kValue[] = "a value of some length";
  using Variables = std::map<std::string, std::string>;
  std::vector<Variables> maps(2);
  const auto fill = [&](Variables& variables) {
    for (const std::string& name : names) {
      variables.insert_or_assign(name.c_str(), kValue);
    }
  };
  bench.compare("set_variable",
                {{[&] {
                    for (const std::string& name : names) {
                      bench.library().kx_SetVar(context.number(), name.c_str(), kValue);
                    }
                  },
                  [&] { context.play(wish(Shape::Small, 0, 0)); }},
                 {[&] { fill(maps[0]); }, [&] { maps[0].clear(); }},
                 {[&] { fill(maps[1]); }, [&] { maps[1].clear(); }}},
                bench.effort());
}

}  // namespace

std::vector<Row> readBackRows() {
  const auto copy = [](const char* name, Shape shape, CopyText copyText) {
    return Row{name, [=](Bench& b) { measureCopy(b, name, shape, copyText); }};
  };
  const auto size = [](const char* name, Shape shape, std::size_t bytes, CopyText copyText) {
    return Row{name, [=](Bench& b) { measureSizeQuery(b, name, shape, bytes, copyText); }};
  };
  return {
      {"set_variable", measureSetVariable},
      copy("read_one_extract", Shape::OneExtract, copyFirstExtract),
      copy("read_profiler_data", Shape::OneString, copyProfilerData),
      {"read_all_extracts_joined", measureJoined},
      size("size_of_one_extract", Shape::OneExtract, 8 * kMegabyte, copyFirstExtract),
      size("size_of_all_extracts", Shape::ShortItems, 16 * kMegabyte, copyAllExtracts),
      size("size_of_profiler_data", Shape::OneString, 8 * kMegabyte, copyProfilerData),
  };
}

// Reading an options string, the usual one and a megabyte of every shape, against a plain scan by hand that
// fills the same map.
#include "api/options.h"
#include "benches.h"
#include "texts/option_texts.h"

#include <benchmark/benchmark.h>
#include <cctype>
#include <string>

namespace kx {

namespace {

constexpr std::size_t kBytes = std::size_t{1} << 20;

bool isName(unsigned char c) {
  return std::isalnum(c) != 0 || c == '_' || c == '-';
}

bool isBlank(unsigned char c) {
  return std::isspace(c) != 0;
}

const char* skipWhitespace(const char* p) {
  while (isBlank(static_cast<unsigned char>(*p))) {
    ++p;
  }
  return p;
}

// The value at p, without its quotes; p is moved behind it.
std::string takeValue(const char*& p) {
  const char* const first = p;
  if (*p == '"') {
    const char* end = p + 1;
    while (*end != '\0' && *end != '"') {
      ++end;
    }
    if (*end == '"') {
      p = end + 1;
      const std::string inner(first + 1, end);
      return inner.find_first_of("\r\n") == std::string::npos ? inner : std::string(first, p);
    }
  }
  while (*p != '\0' && !isBlank(static_cast<unsigned char>(*p))) {
    ++p;
  }
  return {first, p};
}

Options scanByHand(const char* text) {
  Options options;
  for (const char* p = text; *p != '\0';) {
    if (*p != '-' || !isName(static_cast<unsigned char>(p[1]))) {
      ++p;
      continue;
    }
    const char* const first = p++;
    while (isName(static_cast<unsigned char>(*p))) {
      ++p;
    }
    const std::string name(first, p);
    const char* const next = skipWhitespace(p);
    const char* const behindSign = *next == '=' ? skipWhitespace(next + 1) : next;
    std::string value;
    if (*next == '=' && *behindSign != '\0') {
      p = behindSign;
      value = takeValue(p);
    } else if (next != p && *next != '\0' && *next != '-') {
      p = next;
      value = takeValue(p);
    }
    options[name] = value;
  }
  return options;
}

void parse(benchmark::State& state, const OptionText& options, Options (*read)(const char*)) {
  if (parseOptions(options.text.c_str()) != scanByHand(options.text.c_str())) {
    state.SkipWithError("the two scans differ");
    return;
  }
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(read(options.text.c_str()));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(options.text.size()));
}

}  // namespace

void registerOptions() {
  static const std::vector<OptionText> texts = optionTexts(kBytes);
  for (const OptionText& text : texts) {
    const std::string name = std::string("options/") + text.name + "/";
    benchmark::RegisterBenchmark((name + "by_hand").c_str(), parse, text, scanByHand);
    benchmark::RegisterBenchmark((name + "ours").c_str(), parse, text, parseOptions);
  }
}

}  // namespace kx

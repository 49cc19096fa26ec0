#include "texts/option_texts.h"

#include "texts/random_text.h"

namespace {

constexpr std::uint32_t kSeed = 20;

template <typename Piece>
std::string repeated(std::size_t size, Piece piece) {
  RandomText random(kSeed);
  std::string text;
  while (text.size() < size) {
    text += piece(random);
  }
  return text;
}

}  // namespace

std::vector<OptionText> optionTexts(std::size_t size) {
  return {
      {"usual", R"(-fxProfile "C:\Users\somebody\profiles\work" -profiler -runner)"},
      {"short_options",
       repeated(size, [](RandomText& r) { return "-" + r.word(2, 9) + " " + r.word(1, 9) + " "; })},
      {"equal_signs",
       repeated(size, [](RandomText& r) { return "-" + r.word(2, 9) + " = " + r.word(1, 9) + "\t"; })},
      {"quoted_values", repeated(size,
                                 [](RandomText& r) {
                                   return "-" + r.word(2, 9) + "=\"" + r.word(1, 9) + " " + r.word(1, 9) +
                                          "\" ";
                                 })},
      {"one_name", "-" + repeated(size, [](RandomText& r) { return r.word(8, 8); })},
      {"one_value", "-name=" + repeated(size, [](RandomText& r) { return r.word(8, 8); })},
      {"one_quoted_value",
       "-name \"" + repeated(size, [](RandomText& r) { return r.word(8, 8) + " "; }) + "\""},
      {"no_option", repeated(size, [](RandomText& r) { return r.word(1, 9) + " "; })},
      {"blanks", "-name" + std::string(size, ' ') + "value"},
      {"hyphens", std::string(size, '-')},
      {"noise", repeated(size, [](RandomText& r) { return std::string(1, "-=\" \tab"[r.below(7)]); })},
  };
}

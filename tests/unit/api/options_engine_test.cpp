// Compares the options scan with a regular expression engine, on every text over a small alphabet and on many
// longer ones. The engine recurses once per character, so it is good for short texts only.

#include "api/options.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>

namespace kx {

namespace {

Options parsedByEngine(const std::string& text) {
  static const std::regex kOption(R"re((-[\w-]+)(?:(?:\s*=\s*|\s+(?=[^-]))("[^"]*"|\S+))?)re");
  static const std::regex kQuoted("^\"(.*)\"$");

  Options options;
  for (std::sregex_iterator match(text.begin(), text.end(), kOption); match != std::sregex_iterator();
       ++match) {
    const std::string value = (*match)[2].matched ? (*match)[2].str() : std::string();
    std::smatch quoted;
    options[(*match)[1].str()] = std::regex_search(value, quoted, kQuoted) ? quoted[1].str() : value;
  }
  return options;
}

void expectSameAsEngine(const std::string& text) {
  const Options scanned = parseOptions(text.c_str());
  const Options expected = parsedByEngine(text);
  if (scanned != expected) {
    ADD_FAILURE() << "the two differ on <" << text << ">: " << testing::PrintToString(scanned) << " and "
                  << testing::PrintToString(expected);
  }
}

// Every text of a length over an alphabet, each behind the same beginning.
void expectSameForAllTexts(const std::string& beginning, const std::string& alphabet, std::size_t length) {
  std::string text = beginning + std::string(length, alphabet.front());
  std::vector<std::size_t> digits(length, 0);
  for (;;) {
    expectSameAsEngine(text);
    std::size_t place = 0;
    while (place < length && ++digits[place] == alphabet.size()) {
      digits[place] = 0;
      text[beginning.size() + place] = alphabet.front();
      ++place;
    }
    if (place == length) {
      return;
    }
    text[beginning.size() + place] = alphabet[digits[place]];
  }
}

TEST(OptionsEngine,
     ScanAndEngineAgreeOnEveryTextOfUpToFiveCharactersAloneBehindAnOptionAndBehindAnOpenQuote) {
  for (const char* beginning : {"", "-a", "-a=\""}) {
    for (std::size_t length = 0; length <= 5; ++length) {
      expectSameForAllTexts(beginning, "-a= \"\n", length);
    }
  }
}

TEST(OptionsEngine, ScanAndEngineAgreeOnEveryByteWithinAnOption) {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }

  for (const char* beginning : {"", "-", "-a", "-a ", "-a=", "-a=\"\""}) {
    expectSameForAllTexts(beginning, bytes, 1);
  }
  for (const char byte : bytes) {
    const std::string c(1, byte);
    expectSameAsEngine("-a" + c + "x");
    expectSameAsEngine("-a x" + c + "y");
    expectSameAsEngine("-a \"x" + c + "y\"");
    expectSameAsEngine("-" + c + "x y");
    expectSameAsEngine(c + "-a y");
  }
}

TEST(OptionsEngine, ScanAndEngineAgreeOnManyLongerTexts) {
  const std::string pieces[] = {"-",    "a",   "=",       " ",          "\"",  "\n", "\t",
                                "--",   "-b",  "_0Z",     "x y",        "\r",  "\\", "\xC3",
                                "\xA0", " = ", "\"q r\"", "-fxProfile", ".",   " -", "C:\\d\\",
                                "\v",   "'",   "\"\"",    "\f",         "=\"", "  ", "-crUserDataDir="};
  std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): the same texts in every run
  for (int i = 0; i < 8000; ++i) {
    std::string text;
    const std::size_t count = random() % 20;
    for (std::size_t piece = 0; piece < count; ++piece) {
      text += pieces[random() % std::size(pieces)];
    }
    expectSameAsEngine(text);
  }
}

}  // namespace

}  // namespace kx

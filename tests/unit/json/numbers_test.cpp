#include "json/numbers.h"

#include "support/foreign_locale.h"
#include "unit/json/reading.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <utility>

namespace kx {

namespace {

double readNumber(const std::string& text) {
  json::Parser parser(text);
  const double number = parser.readNumber();
  parser.readEnd();
  return number;
}

// Equal in every bit, the sign of a zero included.
void expectSameAsRunTime(const std::string& text) {
  const double expected = std::strtod(text.c_str(), nullptr);

  EXPECT_EQ(std::bit_cast<std::uint64_t>(readNumber(text)), std::bit_cast<std::uint64_t>(expected))
      << text << " is " << pictureOf(expected) << ", read as " << pictureOf(readNumber(text));
}

std::string numberError(const std::string& token) {
  try {
    read("[" + token + "]");
  } catch (const json::Reader::ParseException& e) {
    EXPECT_EQ(e.m_locTokenBegin.m_nDocOffset, 1);
    EXPECT_EQ(e.m_locTokenEnd.m_nDocOffset, 1 + static_cast<int>(token.size()));
    return e.what();
  }
  return "none";
}

TEST(JsonNumber, ANumberHasTheValueThatTheRunTimeGives) {
  std::istringstream numbers(
      "0 1 -1 1234567890 2.5 -0.125 1e3 1E+3 25e-1 0.5e5 1. 0. -7. 1.e5 0.e5 -0 -0.0e5 1e308 1e309 "
      "1e310 -1e309 1.7976931348623157e308 1.7976931348623158e308 1.7976931348623159e308 1.8e308 "
      "0.1e309 0.1e310 0.01e310 0.0000001e315 0.0000001e316 17976931348623157e292 "
      "17976931348623159e292 1e400 1E+400 10e400 1.5e400 1.e400 1.e309 1e-307 1e-308 1e-309 "
      "2.2250738585072014e-308 2.2250738585072011e-308 5e-324 4.9406564584124654e-324 3e-324 2.5e-324 "
      "2.4703282292062328e-324 2.4703282292062327e-324 2e-324 1e-324 1e-325 1e-400 -1e-400 100e-400 "
      "123456789e-330 0.0001e-321 0.0 0.0e400 0.0e-400 -0.0e400 0.e400 0.e-400 0.0e2147483647 "
      "0.0e-2147483648 0.0e99999999999999999999 0.0e-99999999999999999999 1e2147483647 1e-2147483648 "
      "1e4294967296 -1e4294967297 1e-4294967296 1e9223372036854775807 1.e9223372036854775807 "
      "12e9223372036854775807 1e-9223372036854775807 0.01e-9223372036854775807 1e9223372036854775808 "
      "1e-9223372036854775808 1e-9223372036854775809 1e18446744073709551616 1e-18446744073709551616 "
      "1e99999999999999999999 -1e99999999999999999999 1e-99999999999999999999 -1e-99999999999999999999 "
      "0.001e99999999999999999999 100e-99999999999999999999 1e+0000000000000000000000000000005 "
      "1e-0000000000000000000000000000005 1e000000000000000000000000000309 ");
  for (std::string text; numbers >> text;) {
    expectSameAsRunTime(text);
  }
  EXPECT_EQ(readNumber("-2.5e3"), -2500.0);
  EXPECT_EQ(readNumber("1e309"), HUGE_VAL);
  EXPECT_TRUE(std::signbit(readNumber("-1e-400")));
}

TEST(JsonNumber, TheFirstCharacterThatDoesNotFitIsNamedAndOfOneThatIsCutShortTheLast) {
  const std::pair<const char*, char> cases[] = {
      {"01", '1'},    {"00", '0'},   {"-01", '1'},   {"0e5", 'e'},   {"-0E5", 'E'},
      {"--1", '-'},   {"-+1", '+'},  {"-.5", '.'},   {"-e5", 'e'},   {"1-2", '-'},
      {"1+2", '+'},   {"1..2", '.'}, {"1.2.3", '.'}, {"1.-2", '-'},  {"1e5.0", '.'},
      {"1e5e5", 'e'}, {"1e.5", '.'}, {"1e+-5", '-'}, {"1e5-", '-'},  {"-", '-'},
      {"1e", 'e'},    {"1E", 'E'},   {"1e+", '+'},   {"1.5e-", '-'}, {"0.e", 'e'},
  };
  for (const auto& [token, named] : cases) {
    EXPECT_EQ(numberError(token), std::string("Unexpected character in NUMBER token: ") + named) << token;
  }
}

TEST(JsonNumber, LettersEndANumber) {
  EXPECT_THROW(read("[0x10]"), json::Reader::ScanException);
}

TEST(JsonNumber, ANumberOfManyDigitsHasTheValueThatTheRunTimeGives) {
  const std::string zeros(1000, '0');
  const std::string some(400, '0');
  for (const std::string& text :
       {std::string(400, '9'), "-" + std::string(309, '1'), std::string(308, '1') + ".5e0", "0." + some + "1",
        "0." + some + "1e400", "0." + some + "1e800", "1" + some + "e-400", "1" + some + ".0e-800",
        "0." + zeros + "9", "0." + zeros + "1e400", "0." + zeros + "1e+400", "-0." + zeros + "1E+400",
        "1" + zeros + "e-400", "-1" + zeros + ".0e-400", "0." + std::string(1000, '3'),
        std::string("9007199254740993"), std::string("9007199254740992.99999999999999999999999"),
        std::string("9007199254740993.00000000000000000000001")}) {
    expectSameAsRunTime(text);
  }
}

TEST(JsonNumber, EveryNumberHasTheValueThatTheRunTimeGives) {
  std::mt19937_64 random(20240229);  // NOLINT(cert-msc51-cpp): the same numbers in every run
  const auto below = [&random](std::uint64_t limit) { return random() % limit; };
  const auto digits = [&](std::uint64_t count) {
    std::string text;
    for (std::uint64_t i = 0; i < count; ++i) {
      text += static_cast<char>('0' + below(10));
    }
    return text;
  };

  for (int i = 0; i < 20000; ++i) {
    std::string text = below(2) == 0 ? "-" : "";
    const bool leadingZero = below(4) == 0;
    text += leadingZero ? "0" : std::string(1, static_cast<char>('1' + below(9))) + digits(below(25));
    const bool hasPoint = leadingZero || below(2) == 0;
    text += hasPoint ? "." + digits(below(25)) : "";
    if (below(2) == 0) {
      const std::string signs[] = {"", "+", "-"};
      text += (below(2) == 0 ? "e" : "E") + signs[below(3)] + std::to_string(below(340));
    }
    expectSameAsRunTime(text);
  }
}

TEST(JsonNumber, EveryDoubleIsReadBackFromItsDigits) {
  std::mt19937_64 random(42);  // NOLINT(cert-msc51-cpp): the same numbers in every run
  for (int i = 0; i < 20000; ++i) {
    const double value = std::bit_cast<double>(random());
    if (std::isfinite(value)) {
      EXPECT_EQ(readNumber(pictureOf(value)), value);
    }
  }
}

TEST(JsonNumber, ANumberDoesNotDependOnTheHostsLocale) {
  const ForeignLocale locale;

  EXPECT_EQ(readNumber("2.5"), 2.5);
  EXPECT_EQ(readNumber("1234567.25e1"), 12345672.5);
}

}  // namespace

}  // namespace kx

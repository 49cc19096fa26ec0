#include "json/numbers.h"

#include "support/foreign_locale.h"
#include "unit/json/reading.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

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

TEST(JsonNumber, HasTheValueOfItsText) {
  EXPECT_EQ(readNumber("0"), 0.0);
  EXPECT_EQ(readNumber("1"), 1.0);
  EXPECT_EQ(readNumber("-1"), -1.0);
  EXPECT_EQ(readNumber("1234567890"), 1234567890.0);
  EXPECT_EQ(readNumber("2.5"), 2.5);
  EXPECT_EQ(readNumber("-0.125"), -0.125);
  EXPECT_EQ(readNumber("1e3"), 1000.0);
  EXPECT_EQ(readNumber("1E+3"), 1000.0);
  EXPECT_EQ(readNumber("25e-1"), 2.5);
  EXPECT_EQ(readNumber("0.5e5"), 50000.0);
}

TEST(JsonNumber, APointNeedsNoDigitsBehindIt) {
  EXPECT_EQ(readNumber("1."), 1.0);
  EXPECT_EQ(readNumber("0."), 0.0);
  EXPECT_EQ(readNumber("-7."), -7.0);
  EXPECT_EQ(readNumber("1.e5"), 100000.0);
  EXPECT_EQ(readNumber("0.e5"), 0.0);
}

TEST(JsonNumber, AMinusSignStaysWithAZero) {
  EXPECT_TRUE(std::signbit(readNumber("-0")));
  EXPECT_TRUE(std::signbit(readNumber("-0.0e5")));
  EXPECT_FALSE(std::signbit(readNumber("0")));
}

TEST(JsonNumber, TheFirstCharacterThatDoesNotFitIsNamed) {
  const std::string message = "Unexpected character in NUMBER token: ";

  EXPECT_EQ(numberError("01"), message + "1");
  EXPECT_EQ(numberError("00"), message + "0");
  EXPECT_EQ(numberError("-01"), message + "1");
  EXPECT_EQ(numberError("0e5"), message + "e");
  EXPECT_EQ(numberError("-0E5"), message + "E");
  EXPECT_EQ(numberError("--1"), message + "-");
  EXPECT_EQ(numberError("-+1"), message + "+");
  EXPECT_EQ(numberError("-.5"), message + ".");
  EXPECT_EQ(numberError("-e5"), message + "e");
  EXPECT_EQ(numberError("1-2"), message + "-");
  EXPECT_EQ(numberError("1+2"), message + "+");
  EXPECT_EQ(numberError("1..2"), message + ".");
  EXPECT_EQ(numberError("1.2.3"), message + ".");
  EXPECT_EQ(numberError("1.-2"), message + "-");
  EXPECT_EQ(numberError("1e5.0"), message + ".");
  EXPECT_EQ(numberError("1e5e5"), message + "e");
  EXPECT_EQ(numberError("1e.5"), message + ".");
  EXPECT_EQ(numberError("1e+-5"), message + "-");
  EXPECT_EQ(numberError("1e5-"), message + "-");
}

TEST(JsonNumber, ANumberThatIsCutShortNamesItsLastCharacter) {
  const std::string message = "Unexpected character in NUMBER token: ";

  EXPECT_EQ(numberError("-"), message + "-");
  EXPECT_EQ(numberError("1e"), message + "e");
  EXPECT_EQ(numberError("1E"), message + "E");
  EXPECT_EQ(numberError("1e+"), message + "+");
  EXPECT_EQ(numberError("1.5e-"), message + "-");
  EXPECT_EQ(numberError("0.e"), message + "e");
}

TEST(JsonNumber, LettersEndANumber) {
  EXPECT_THROW(read("[0x10]"), json::Reader::ScanException);
}

TEST(JsonNumber, OutsideTheRangeItIsInfinityOrZero) {
  const double infinity = HUGE_VAL;

  EXPECT_EQ(readNumber("1e309"), infinity);
  EXPECT_EQ(readNumber("-1e309"), -infinity);
  EXPECT_EQ(readNumber("1e-400"), 0.0);
  EXPECT_TRUE(std::signbit(readNumber("-1e-400")));
}

TEST(JsonNumber, AnExponentOfAnyLengthHasTheValueThatTheRunTimeGives) {
  for (const char* text : {"1e308",
                           "1e309",
                           "1e310",
                           "-1e309",
                           "1.7976931348623157e308",
                           "1.7976931348623158e308",
                           "1.7976931348623159e308",
                           "1.8e308",
                           "0.1e309",
                           "0.1e310",
                           "0.01e310",
                           "0.0000001e315",
                           "0.0000001e316",
                           "17976931348623157e292",
                           "17976931348623159e292",
                           "1e400",
                           "1E+400",
                           "10e400",
                           "1.5e400",
                           "1.e400",
                           "1.e309",
                           "1e-307",
                           "1e-308",
                           "1e-309",
                           "2.2250738585072014e-308",
                           "2.2250738585072011e-308",
                           "5e-324",
                           "4.9406564584124654e-324",
                           "3e-324",
                           "2.5e-324",
                           "2.4703282292062328e-324",
                           "2.4703282292062327e-324",
                           "2e-324",
                           "1e-324",
                           "1e-325",
                           "1e-400",
                           "-1e-400",
                           "100e-400",
                           "123456789e-330",
                           "0.0001e-321",
                           "0.0",
                           "0.0e400",
                           "0.0e-400",
                           "-0.0e400",
                           "0.e400",
                           "0.e-400",
                           "0.0e2147483647",
                           "0.0e-2147483648",
                           "0.0e99999999999999999999",
                           "0.0e-99999999999999999999",
                           "1e2147483647",
                           "1e-2147483648",
                           "1e4294967296",
                           "-1e4294967297",
                           "1e-4294967296",
                           "1e9223372036854775807",
                           "1.e9223372036854775807",
                           "12e9223372036854775807",
                           "1e-9223372036854775807",
                           "0.01e-9223372036854775807",
                           "1e9223372036854775808",
                           "1e-9223372036854775808",
                           "1e-9223372036854775809",
                           "1e18446744073709551616",
                           "1e-18446744073709551616",
                           "1e99999999999999999999",
                           "-1e99999999999999999999",
                           "1e-99999999999999999999",
                           "-1e-99999999999999999999",
                           "0.001e99999999999999999999",
                           "100e-99999999999999999999",
                           "1e+0000000000000000000000000000005",
                           "1e-0000000000000000000000000000005",
                           "1e000000000000000000000000000309"}) {
    expectSameAsRunTime(text);
  }
}

TEST(JsonNumber, ManyDigitsHaveTheValueThatTheRunTimeGives) {
  expectSameAsRunTime(std::string(400, '9'));
  expectSameAsRunTime("-" + std::string(309, '1'));
  expectSameAsRunTime(std::string(308, '1') + ".5e0");
  expectSameAsRunTime("0." + std::string(400, '0') + "1");
  expectSameAsRunTime("0." + std::string(400, '0') + "1e400");
  expectSameAsRunTime("0." + std::string(400, '0') + "1e800");
  expectSameAsRunTime("1" + std::string(400, '0') + "e-400");
  expectSameAsRunTime("1" + std::string(400, '0') + ".0e-800");
  expectSameAsRunTime("0." + std::string(1000, '0') + "9");
  expectSameAsRunTime("0." + std::string(1000, '0') + "1e400");
  expectSameAsRunTime("0." + std::string(1000, '0') + "1e+400");
  expectSameAsRunTime("-0." + std::string(1000, '0') + "1E+400");
  expectSameAsRunTime("1" + std::string(1000, '0') + "e-400");
  expectSameAsRunTime("-1" + std::string(1000, '0') + ".0e-400");
  expectSameAsRunTime("0." + std::string(1000, '3'));
  expectSameAsRunTime("9007199254740993");
  expectSameAsRunTime("9007199254740992.99999999999999999999999");
  expectSameAsRunTime("9007199254740993.00000000000000000000001");
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

TEST(JsonNumber, DoesNotDependOnTheHostsLocale) {
  const ForeignLocale locale;

  EXPECT_EQ(readNumber("2.5"), 2.5);
  EXPECT_EQ(readNumber("1234567.25e1"), 12345672.5);
}

}  // namespace

}  // namespace kx

// Texts on their way to the wide Windows calls and back.
#include "common/win32/utf16.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <string_view>

namespace kx {

namespace {

TEST(Utf16, TheConversionOfAnEmptyTextIsEmpty) {
  EXPECT_EQ(utf16FromUtf8(""), L"");
  EXPECT_EQ(utf8FromUtf16(L""), "");
}

TEST(Utf16, TheConversionHasEveryCharacterOfTheText) {
  EXPECT_EQ(utf16FromUtf8("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), L"a\u00E4\u20AC\xD83D\xDE00");
  EXPECT_EQ(utf8FromUtf16(L"a\u00E4\u20AC\xD83D\xDE00"), "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Utf16, TheConversionEndsWhereTheTextEnds) {
  EXPECT_EQ(utf16FromUtf8(std::string_view("abc", 2)), L"ab");
  EXPECT_EQ(utf8FromUtf16(std::wstring_view(L"abc", 2)), "ab");
  EXPECT_EQ(utf16FromUtf8(std::string(300, 'x')), std::wstring(300, L'x'));
}

TEST(Utf16, TheConversionOfBytesThatAreNoUtf8IsTheReplacementCharacter) {
  EXPECT_EQ(utf16FromUtf8("a\xFFz"), L"a\uFFFDz");
}

TEST(Utf16, TheConversionKeepsTheLastError) {
  ::SetLastError(4711);
  // What cannot be converted is replaced. Only a text that is not there makes Windows set an error.
  EXPECT_EQ(utf16FromUtf8(std::string_view(nullptr, 1)), L"");
  EXPECT_EQ(::GetLastError(), 4711U);
  EXPECT_EQ(utf8FromUtf16(std::wstring_view(nullptr, 1)), "");
  EXPECT_EQ(::GetLastError(), 4711U);
}

}  // namespace

}  // namespace kx

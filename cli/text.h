// Texts for people: UTF-8 looked at character by character, columns, and words that were meant.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kx::cli {

// A place in a text, both counted from 1; columns are characters, not bytes.
struct Place {
  std::size_t line = 1;
  std::size_t column = 1;
};

Place placeOf(std::string_view text, std::size_t offset);

// The offset of the first byte that is not UTF-8, or nothing when the whole text is.
std::optional<std::size_t> firstNonUtf8(std::string_view text);

// What a text file holds, ready for use: without the mark that some editors put first. What is wrong with it,
// with its line and column, goes to `problem`.
std::string plainText(std::string bytes, const std::string& name, std::string& problem);

// How many columns the text takes, one for each character.
std::size_t width(std::string_view text);
std::string padded(std::string_view text, std::size_t columns);
// Not longer than so many columns; what was cut off is told by three dots.
std::string shortened(std::string_view text, std::size_t columns);

// On one line: line ends, tabs and other control characters are written as \n, \t and \xHH.
std::string onOneLine(std::string_view text);

// "1 run", "2 runs".
std::string counted(std::size_t count, std::string_view thing);

// Puts words into lines of at most so many columns, each beginning with the indentation.
std::string wrapped(std::string_view text, std::size_t columns, std::string_view indentation);

// The candidate that was most likely meant, or nothing when none is near.
std::optional<std::string> nearest(std::string_view word, std::span<const std::string> candidates);

// Whether the text has the pattern's form, where each {word} stands for any text.
bool fits(std::string_view pattern, std::string_view text);

// The word as one argument of a Windows command line.
std::string quotedWord(std::string_view word);

std::string replacedAll(std::string text, std::string_view what, std::string_view by);

}  // namespace kx::cli

#include "cli/catalogue.h"

#include "cli/text.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

namespace kx::cli {
namespace {

std::string idOf(const ErrorRow* row) {
  return row != nullptr ? row->id : "none";
}

TEST(ErrorCatalogue, EachRowHasAnIdOfItsOwnACauseAndARemedy) {
  std::set<std::string> ids;
  for (const ErrorRow& row : Catalogue::builtIn().rows()) {
    EXPECT_TRUE(ids.insert(row.id).second) << row.id;
    EXPECT_FALSE(row.cause.empty()) << row.id;
    EXPECT_FALSE(row.remedy.empty()) << row.id;
    EXPECT_FALSE(row.exports.empty()) << row.id;
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(KX_SOURCES_DIR) / ".." / "docs" / row.page))
        << row.id;
  }
}

TEST(ErrorCatalogue, ACallThatFailedHasItsRow) {
  const std::pair<CallResult, std::string> cases[] = {
      {{"kx_Init", -1, -1, "Could not open server pipe \\\\.\\pipe\\kx-fx-default.ada"}, "pipe-not-served"},
      {{"kx_Init", -1, -4, "Could not open server pipe \\\\.\\pipe\\kx-fx-default.ada"}, "profile-in-use"},
      {{"kx_Init", -1, -1, "Could not open server pipe "}, "no-pipe-name"},
      {{"kx_Init", -3, -3, "Failed to establish connection"}, "no-connection-back"},
      {{"kx_Init", -1, -1, "Failed to establish connection"}, "extension-left"},
      {{"kx_Init", 2, -2, "Browser binary C:\\no.exe doesn't exists"}, "no-program"},
      {{"kx_Init", 3, -3, "Error finding browser binary"}, "no-folder"},
      {{"kx_Init", 123, -123, "Error finding browser binary"}, "path-characters"},
      {{"kx_Init", 21, -21, "Error finding browser binary"}, "path-not-searched"},
      {{"kx_Init", 193, -193, "Couldn't start browser binary C:\\x.txt"}, "no-executable"},
      {{"kx_Init", 5, -5, "Couldn't start browser binary C:\\x.exe"}, "program-not-started"},
      {{"kx_Init", -1, -1, "Could not open temp file C:\\t\\x.html"}, "no-start-page"},
      {{"kx_Init", 0, -7, "no window"}, "answered-with-an-error"},
      {{"kxr_Init", -1, -3, "Connection timed out"}, "runner-attempts-used-up"},
      {{"kxr_GetCommandLine", -2, 0, ""}, "buffer-too-small"},
      {{"kx_Play", -1, -50, "There is no such button"}, "macro-failed"},
      {{"kx_Play", -1, 0, "odd"}, "no-number"},
      {{"kx_Play", -1, -3, "Error while receiving response"}, "answer-late"},
      {{"kx_Play", -1, -1, "Server unexpectedly closed connection"}, "browser-gone"},
      {{"kx_Play", -1, -1, "Error in response processing"}, "answer-not-json"},
      {{"kx_Play", -5, -5, ""}, "no-context"},
      {{"kxr_Exit", -3, 1, "OK"}, "exit-not-confirmed"},
      {{"kx_SetVar", -1, 0, ""}, "none"},
  };
  for (const auto& [call, id] : cases) {
    EXPECT_EQ(idOf(Catalogue::builtIn().find(call)), id) << call.exportName << " " << call.text;
  }
}

// The message as it would be with a value at each place of its format.
std::string example(std::string format) {
  format = replacedAll(format, "%s", "text");
  format = replacedAll(format, "%c", "x");
  format = replacedAll(format, "%d", "7");
  return replacedAll(format, "\\\"", "\"");
}

// The literals behind "__logerr(", those of a broken call put together; and the tables of refusals.
std::vector<std::string> errorEntriesOf(const std::string& source) {
  static const std::regex call(
      R"re((?:__logerr\(|constexpr RefusalMessages \w+ = \{|constexpr ExportFrame \w+ = \{)[^;]*;)re");
  static const std::regex literal(R"re("((?:[^"\\]|\\.)*)")re");
  std::vector<std::string> entries;
  for (std::sregex_iterator found(source.begin(), source.end(), call), end; found != end; ++found) {
    const std::string text = std::regex_replace(found->str(), std::regex("\"\\s*\\n\\s*\""), "");
    for (std::sregex_iterator one(text.begin(), text.end(), literal); one != end; ++one) {
      entries.push_back((*one)[1].str());
    }
  }
  return entries;
}

TEST(ErrorCatalogue, EveryErrorEntryThatTheLibraryWritesHasARow) {
  // What stands for a text that another entry or a table has; the names of exports.
  const std::set<std::string> composed = {"%s",
                                          "kx_Init(): %s, error (%d)",
                                          "kxr_Init() %s, error (%d)",
                                          "BrowserInstance::sendCommand() %s, error=%d",
                                          "BrowserInstance::sendCommand() %s, gla=%d",
                                          "BrowserInstance::sendCommand() %s"};
  static const std::regex name("kxr?_[A-Za-z]+|[a-z]+");
  std::size_t count = 0;
  for (const auto& file : std::filesystem::recursive_directory_iterator(KX_SOURCES_DIR)) {
    if (file.path().extension() != ".cpp") {
      continue;
    }
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string source{std::istreambuf_iterator<char>(stream), {}};
    for (const std::string& entry : errorEntriesOf(source)) {
      if (!composed.contains(entry) && !std::regex_match(entry, name)) {
        ++count;
        EXPECT_NE(Catalogue::builtIn().findLogEntry(example(entry)), nullptr) << file.path() << ": " << entry;
      }
    }
  }
  EXPECT_GT(count, 50U) << "the sources are read";
}

TEST(ErrorCatalogue, AnEntryThatNamesAnErrorTextHasTheRowOfThatText) {
  const std::pair<std::string, std::string> cases[] = {
      {"kx_Init(): Could not open server pipe \\\\.\\pipe\\x, error (-1)", "pipe-not-served"},
      {"kx_Init(): Could not open server pipe \\\\.\\pipe\\x, error (-4)", "profile-in-use"},
      {"kx_Init(): Browser binary C:\\no.exe doesn't exists, error (2)", "no-program"},
      {"kxr_Init() Connection timed out, error (-3)", "runner-attempts-used-up"},
      {"BrowserInstance::sendCommand() Error while sending request, error=-3", "request-not-taken"},
      {"BrowserInstance::sendCommand() Error while sending request, error=-1", "request-not-sent"},
      {"BrowserInstance::sendCommand() Server unexpectedly closed connection, gla=109", "browser-gone"},
      {"Could not disconnect pipe, error=536", "not-connected-yet"},
      {"Could not get pipe info, error=233", "pipe-info"},
      {"something new", "none"},
  };
  for (const auto& [entry, id] : cases) {
    EXPECT_EQ(idOf(Catalogue::builtIn().findLogEntry(entry)), id) << entry;
  }
}

}  // namespace
}  // namespace kx::cli

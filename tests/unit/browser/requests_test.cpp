#include "browser/requests.h"

#include "support/golden.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

TEST(InitRequest, TellsTheTwoFlags) {
  EXPECT_EQ(requestText(initRequest(false, true)),
            "{\n"
            " \"type\" : \"init\",\n"
            " \"args\" : {\n"
            "  \"openNewBrowser\" : false,\n"
            "  \"launched\" : true\n"
            " }\n"
            "}");
  expectGolden("request_init_launched.json", requestText(initRequest(false, true)));
  expectGolden("request_init_new_browser.json", requestText(initRequest(true, false)));
}

TEST(PlayRequest, WithoutVariablesHasAnEmptyObjectAndNoProfilerMember) {
  EXPECT_EQ(requestText(playRequest("URL GOTO=x", {}, false)),
            "{\n"
            " \"type\" : \"play\",\n"
            " \"args\" : {\n"
            "  \"source\" : \"URL GOTO=x\",\n"
            "  \"vars\" : {}\n"
            " }\n"
            "}");
}

TEST(PlayRequest, TheProfilerIsTheLastMember) {
  EXPECT_EQ(requestText(playRequest("", {}, true)),
            "{\n"
            " \"type\" : \"play\",\n"
            " \"args\" : {\n"
            "  \"source\" : \"\",\n"
            "  \"vars\" : {},\n"
            "  \"use_profiler\" : true\n"
            " }\n"
            "}");
}

TEST(PlayRequest, ListsVariablesInBytewiseOrder) {
  const std::string text =
      requestText(playRequest("m", {{"b", "2"}, {"a", "1"}, {"B", "3"}, {"\xC3\xA9", "4"}}, true));

  EXPECT_EQ(text,
            "{\n"
            " \"type\" : \"play\",\n"
            " \"args\" : {\n"
            "  \"source\" : \"m\",\n"
            "  \"vars\" : {\n"
            "   \"B\" : \"3\",\n"
            "   \"a\" : \"1\",\n"
            "   \"b\" : \"2\",\n"
            "   \"\xC3\xA9\" : \"4\"\n"
            "  },\n"
            "  \"use_profiler\" : true\n"
            " }\n"
            "}");
  expectGolden("request_play.json", text);
}

TEST(PlayRequest, AValueIsEscapedAndANameIsNot) {
  const std::string text = requestText(playRequest("m", {{"na\"me\n", "va\"lue\n"}}, false));

  EXPECT_NE(text.find("   \"na\"me\n\" : \"va\\\"lue\\n\"\n"), std::string::npos) << text;
}

TEST(PlayRequest, TheSourceIsVerbatimExceptForTheSevenEscapes) {
  std::string source;
  for (int byte = 1; byte < 256; ++byte) {
    source += static_cast<char>(byte);
  }

  expectGolden("request_play_every_byte.json", requestText(playRequest(source, {}, false)));
}

TEST(ShowRequest, CarriesTheMessage) {
  EXPECT_EQ(requestText(showRequest("Hello \"you\"")),
            "{\n"
            " \"type\" : \"show\",\n"
            " \"args\" : {\n"
            "  \"message\" : \"Hello \\\"you\\\"\"\n"
            " }\n"
            "}");
  expectGolden("request_show.json", requestText(showRequest("Hello \"you\"")));
}

TEST(CaptureRequest, NamesTheFileAndWhatIsAskedFor) {
  EXPECT_EQ(requestText(captureRequest("C:\\a b.png", CaptureKind::WebPage)),
            "{\n"
            " \"type\" : \"capture\",\n"
            " \"args\" : {\n"
            "  \"path\" : \"C:\\\\a b.png\",\n"
            "  \"type\" : \"webpage\"\n"
            " }\n"
            "}");
  expectGolden("request_capture_webpage.json",
               requestText(captureRequest("C:\\a b.png", CaptureKind::WebPage)));
  expectGolden("request_capture_browser.json",
               requestText(captureRequest("C:\\a b.png", CaptureKind::Browser)));
}

TEST(ExitRequest, HasNoArguments) {
  EXPECT_EQ(requestText(exitRequest()),
            "{\n"
            " \"type\" : \"exit\",\n"
            " \"args\" : {}\n"
            "}");
  expectGolden("request_exit.json", requestText(exitRequest()));
}

}  // namespace

}  // namespace kx

#include "browser/requests.h"

#include "support/golden.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

TEST(Requests, RequestsHaveTheApprovedTexts) {
  expectGolden("request_init_launched.json", requestText(initRequest(false, true)));
  expectGolden("request_init_new_browser.json", requestText(initRequest(true, false)));
  expectGolden("request_show.json", requestText(showRequest("Hello \"you\"")));
  expectGolden("request_exit.json", requestText(exitRequest()));
  const std::string path = "C:\\a b.png";
  expectGolden("request_capture_webpage.json", requestText(captureRequest(path, CaptureKind::WebPage)));
  expectGolden("request_capture_browser.json", requestText(captureRequest(path, CaptureKind::Browser)));
}

TEST(Requests, APlayListsVariablesInBytewiseOrderAndHasTheProfilerBehindThem) {
  const MacroVariables variables = {{"b", "2"}, {"a", "1"}, {"B", "3"}, {"\xC3\xA9", "4"}};

  expectGolden("request_play.json", requestText(playRequest("m", variables, true)));
}

TEST(Requests, APlayWithoutVariablesHasAnEmptyObjectAndNoProfilerMember) {
  EXPECT_EQ(requestText(playRequest("URL GOTO=x", {}, false)),
            "{\n"
            " \"type\" : \"play\",\n"
            " \"args\" : {\n"
            "  \"source\" : \"URL GOTO=x\",\n"
            "  \"vars\" : {}\n"
            " }\n"
            "}");
}

TEST(Requests, TheValueOfAVariableIsEscapedAndItsNameIsNot) {
  const std::string text = requestText(playRequest("m", {{"na\"me\n", "va\"lue\n"}}, false));

  EXPECT_NE(text.find("   \"na\"me\n\" : \"va\\\"lue\\n\"\n"), std::string::npos) << text;
}

TEST(Requests, TheSourceIsVerbatimExceptForTheSevenEscapes) {
  std::string source;
  for (int byte = 1; byte < 256; ++byte) {
    source += static_cast<char>(byte);
  }

  expectGolden("request_play_every_byte.json", requestText(playRequest(source, {}, false)));
}

}  // namespace

}  // namespace kx

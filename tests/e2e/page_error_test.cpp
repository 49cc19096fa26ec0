// Plays that fail on real pages: the number and text that tell why, and that the next play works again.
#include "e2e/shared_browser.h"

#include <gmock/gmock.h>

using ::testing::HasSubstr;

namespace {

KX_ON_BOTH_BROWSERS(PageErrors);

struct FailingMacro {
  const char* macro;
  int number;  // of the stand-in, as its page of macros lists them, or of the macro itself
  const char* text;
};

constexpr FailingMacro kFailingMacros[] = {
    {"await open(variables.site + '/form');\nlet x = ;", -11, "(line 2)"},
    {"const nothing = null;\n\nnothing.x;", -12, "(line 3)"},
    {"await open(variables.site + '/throws'); extractText('not reached');", -13, "broken while loading"},
    {"await open(variables.site + '/throws-on-click'); await click('#break');", -13, "broken by a click"},
    {"await open(variables.site + '/slow?seconds=60', 1);", -14, "The page was not there within 1 s"},
    {"await open(variables.site + '/form'); await click('#nowhere', 0.5);", -15,
     "The page has no element #nowhere"},
    {"await open('http://127.0.0.1:1/');", -16, ""},
    {"fail(-77, 'Kein Knopf „Senden“');", -77, "Kein Knopf „Senden“"},
};

TEST_P(PageErrors, AFailedPlayIsToldAndDoesNotTouchTheNext) {
  for (const FailingMacro& failing : kFailingMacros) {
    SCOPED_TRACE(failing.macro);

    EXPECT_EQ(host().play(failing.macro), KX_FAILED);

    EXPECT_EQ(host().errorNumber(), failing.number);
    EXPECT_THAT(host().errorText(), HasSubstr(failing.text));
    EXPECT_EQ(host().extract(), "");
    play("await open(variables.site + '/form'); await extract('header');");
    EXPECT_EQ(host().errorNumber(), KX_ERROR_SUCCESS);
    EXPECT_EQ(host().errorText(), "OK");
    EXPECT_EQ(host().extract(), "Order form");
  }
}

TEST_P(PageErrors, AMacroMayAllowThePageToThrow) {
  play(R"(
    allowPageErrors();
    await open(variables.site + '/throws-on-click');
    await click('#break');
    await extract('#text');
  )");

  EXPECT_EQ(host().extract(), "Clicked.");
}

}  // namespace

// Plays that fail on real pages: the number and text that tell why, and that the next play works again.
#include "e2e/shared_browser.h"
#include "e2e/site.h"

#include <gmock/gmock.h>

using ::testing::HasSubstr;

namespace {

KX_ON_BOTH_BROWSERS(PageErrors);

// The stand-in's numbers, as its page of macros lists them.
constexpr int kSyntax = -11;
constexpr int kMacroError = -12;
constexpr int kPageError = -13;
constexpr int kTimedOut = -14;
constexpr int kNoSuchElement = -15;
constexpr int kNavigationFailed = -16;

TEST_P(PageErrors, AnErrorThatThePageThrowsFailsThePlay) {
  EXPECT_EQ(host().play("await open(variables.site + '/throws'); extractText('not reached');"), KX_FAILED);

  EXPECT_EQ(host().errorNumber(), kPageError);
  EXPECT_THAT(host().errorText(), HasSubstr("broken while loading"));
  EXPECT_EQ(host().extract(), "");
}

TEST_P(PageErrors, AnErrorThatAClickCausesFailsThePlay) {
  EXPECT_EQ(host().play("await open(variables.site + '/throws-on-click'); await click('#break');"),
            KX_FAILED);

  EXPECT_EQ(host().errorNumber(), kPageError);
  EXPECT_THAT(host().errorText(), HasSubstr("broken by a click"));
}

TEST_P(PageErrors, AMacroMayAllowThePageToThrow) {
  play(R"(
    allowPageErrors();
    await open(variables.site + '/throws-on-click');
    await click('#break');
    await extract('#text');
  )");

  EXPECT_EQ(host().extract(), "Clicked.");
  EXPECT_EQ(host().errorNumber(), KX_ERROR_SUCCESS);
}

TEST_P(PageErrors, AMissingElementFailsThePlayAndIsNamed) {
  EXPECT_EQ(host().play("await open(variables.site + '/form'); await click('#nowhere', 0.5);"), KX_FAILED);

  EXPECT_EQ(host().errorNumber(), kNoSuchElement);
  EXPECT_EQ(host().errorText(), "The page has no element #nowhere");
}

TEST_P(PageErrors, APageThatIsNotThereInTimeFailsThePlay) {
  EXPECT_EQ(host().play("await open(variables.site + '/slow?seconds=60', 1);"), KX_FAILED);

  EXPECT_EQ(host().errorNumber(), kTimedOut);
  EXPECT_EQ(host().errorText(), "The page was not there within 1 s");
}

TEST_P(PageErrors, AnAddressThatNobodyServesFailsThePlay) {
  EXPECT_EQ(host().play("await open('http://127.0.0.1:1/');"), KX_FAILED);

  EXPECT_EQ(host().errorNumber(), kNavigationFailed);
}

TEST_P(PageErrors, AMacroCanFailWithANumberAndATextOfItsOwn) {
  EXPECT_EQ(host().play("fail(-77, 'Kein Knopf „Senden“');"), KX_FAILED);

  EXPECT_EQ(host().errorNumber(), -77);
  EXPECT_EQ(host().errorText(), "Kein Knopf „Senden“");
}

TEST_P(PageErrors, AMacroThatIsNoJavaScriptIsNotPlayed) {
  EXPECT_EQ(host().play("await open(variables.site + '/form');\nlet x = ;"), KX_FAILED);

  EXPECT_EQ(host().errorNumber(), kSyntax);
  EXPECT_THAT(host().errorText(), HasSubstr("(line 2)"));
}

TEST_P(PageErrors, AnErrorOfTheMacroItselfTellsItsLine) {
  EXPECT_EQ(host().play("const nothing = null;\n\nnothing.x;"), KX_FAILED);

  EXPECT_EQ(host().errorNumber(), kMacroError);
  EXPECT_THAT(host().errorText(), HasSubstr("(line 3)"));
}

TEST_P(PageErrors, WhatWasExtractedBeforeTheFailureIsKept) {
  EXPECT_EQ(host().play("extractText('one'); extractText('two'); fail(-50, 'enough');"), KX_FAILED);

  EXPECT_EQ(host().extract(0), "one[EXTRACT]two");
}

TEST_P(PageErrors, ThePlayAfterAFailedOneSucceeds) {
  ASSERT_EQ(host().play("await open(variables.site + '/throws');"), KX_FAILED);

  EXPECT_EQ(host().play("await open(variables.site + '/form'); await extract('header');"), KX_OK);

  EXPECT_EQ(host().errorNumber(), KX_ERROR_SUCCESS);
  EXPECT_EQ(host().errorText(), "OK");
  EXPECT_EQ(host().extract(), "Order form");
}

}  // namespace

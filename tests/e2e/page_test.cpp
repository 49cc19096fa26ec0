// Plays on real pages: what is sent to them, what is read from them, how long it takes, and what they ask.
#include "e2e/shared_browser.h"
#include "e2e/site.h"

#include <gmock/gmock.h>

#include <chrono>

using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

KX_ON_BOTH_BROWSERS(Pages);

constexpr char kFillForm[] = R"(
  await open(variables.site + '/form');
  await fill('#customer', variables.customer);
  await fill('#city', variables.city);
  await choose('#size', variables.size);
  await fill('#count', variables.count);
  await follow('#send');
  for (const field of ['#greeting', '#destination', '#total', '#checksum']) {
    await extract(field);
  }
)";

struct Order {
  std::string customer;
  std::string city;
  std::string size;
  std::string count;
  std::string total;
  std::string checksum;  // that the site makes of all fields
};

TEST_P(Pages, VariablesReachTheFormAsTheHostGaveThem) {
  for (const Order& order : {Order{"Łukasz 山田 \"👩‍👩‍👧‍👦\" <b> \\ O'Brien",
                                   "القاهرة & Ærøskøbing", "medium", "3", "75", "351808"},
                             Order{"Ada", "nowhere", "large", "12", "480", "763415"}}) {
    host().setVariable("customer", order.customer);
    host().setVariable("city", order.city);
    host().setVariable("size", order.size);
    host().setVariable("count", order.count);

    play(kFillForm);

    EXPECT_THAT(host().extracts(4), ElementsAre("Welcome, " + order.customer, "On its way to " + order.city,
                                                order.total, order.checksum));
  }
}

TEST_P(Pages, AllRowsOfATableAreExtractedAsThePageHasThem) {
  const std::vector<std::string> rows = site::tableRows();
  ASSERT_EQ(rows.size(), 1000U);

  play("await open(variables.site + '/table'); await extractTable('#names');");

  EXPECT_EQ(host().extracts(1000), rows);
  EXPECT_EQ(host().extract(1001), "");
}

TEST_P(Pages, MeasuredTimesLieWithinTheWholeCall) {
  constexpr double kRounding = 0.001;
  const auto began = std::chrono::steady_clock::now();

  play(R"(
    await measure('slow page', () => open(variables.site + '/slow?seconds=1'));
    await measure('quick page', () => open(variables.site + '/form'));
  )");

  const std::chrono::duration<double> whole = std::chrono::steady_clock::now() - began;
  const auto entries = host().performance();
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].first, "slow page");
  EXPECT_EQ(entries[1].first, "quick page");
  EXPECT_EQ(entries[2].first, "Total");
  const double slow = std::stod(entries[0].second);
  const double quick = std::stod(entries[1].second);
  const double total = std::stod(entries[2].second);
  EXPECT_GE(slow, 1.0);
  EXPECT_GT(quick, 0.0);
  EXPECT_GE(total, slow + quick - 2 * kRounding);
  EXPECT_LE(total, whole.count() + kRounding);
}

TEST_P(Pages, ProfilerDataTellWhichStepsThePlayTook) {
  play("await open(variables.site + '/form'); await fill('#customer', 'Ada');");

  const std::string data = host().profilerData();
  const std::string product = isFirefox(kind()) ? "firefox/" : "Chrome/";
  EXPECT_THAT(data, HasSubstr("\"browser\":\""));
  EXPECT_THAT(data, HasSubstr(product));
  EXPECT_THAT(data, HasSubstr("\"step\":\"open\",\"on\":\"" + site::address() + "/form\""));
  EXPECT_THAT(data, HasSubstr("\"step\":\"fill\",\"on\":\"#customer\""));
  EXPECT_LT(data.find("\"step\":\"open\""), data.find("\"step\":\"fill\""));
}

TEST_P(Pages, ASlowResourceIsWaitedFor) {
  play("await open(variables.site + '/slow?seconds=2'); await extract('#waited');");

  EXPECT_EQ(host().extract(), "2");
}

TEST_P(Pages, DialogsAreAnsweredAsTheMacroSays) {
  play(R"(
    await open(variables.site + '/dialog');
    await click('#alert');
    await extract('#answer');
    onDialog('accept');
    await click('#ask');
    await extract('#answer');
    onDialog('dismiss');
    await click('#ask');
    await extract('#answer');
    onDialog('accept', 'Łukasz');
    await click('#prompt');
    await extract('#answer');
    extractText(dialogs().map((dialog) => dialog.type + ': ' + dialog.message).join('; '));
  )");

  EXPECT_THAT(
      host().extracts(5),
      ElementsAre("seen", "yes", "no", "Łukasz",
                  "alert: Look here; confirm: Are you sure?; confirm: Are you sure?; prompt: Your name?"));
}

TEST_P(Pages, AMessageOfTheHostIsShownInThePage) {
  play("await open(variables.site + '/form');");

  EXPECT_EQ(host().display("Grüße, 世界 <not markup>"), KX_OK);

  EXPECT_EQ(host().errorNumber(), KX_ERROR_SUCCESS);
  play("await extract('#kx-message');");
  EXPECT_EQ(host().extract(), "Grüße, 世界 <not markup>");
}

}  // namespace

// How an instance cuts responses out of a byte stream and takes over what they say.

#include "browser/browser_instance.h"
#include "support/fake_browser.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <array>

namespace kx {

namespace {

constexpr char kResponse[] =
    "{\"status\":\"O\\u004B\",\"errorCode\":1,\"extractData\":[\"a\",\"b\"],\"profilerData\":\"{}[]\\\"\"}";

bool feed(FakeBrowser& browser, std::string_view piece) {
  return browser.processResponseBytes(piece.data(), piece.size());
}

// What the instance says after a response, in one line.
std::string describe(const FakeBrowser& browser) {
  const PerformanceEntry* entry = browser.performanceEntry(1);
  return std::to_string(browser.errorNumber()) + " '" + browser.errorText() + "' extracts '" +
         browser.extract(0).toString() + "' performance " +
         (entry != nullptr ? std::string(entry->name) + "=" + std::string(entry->value) : "none") + " wait " +
         std::to_string(browser.waitForProcessId()) + " profiler '" + std::string(browser.profilerData()) +
         "'";
}

constexpr char kTakenOver[] = "1 'OK' extracts 'a[EXTRACT]b' performance none wait 0 profiler '{}[]\"'";
constexpr char kMalformedText[] = "Cought excpetion while processing response, maybe malformed data";

std::string notParsed(const std::string& character, int number, int position, const std::string& piece) {
  return error("BrowserInstance::processResponseBytes() Can not parse char " + character + "(" +
               std::to_string(number) + ") at position " + std::to_string(position) + ", responce chunk '" +
               piece + "'");
}

// ---- cutting ----

TEST(Receiver, AWholeResponseInOnePieceIsComplete) {
  const LogCapture log;
  FakeBrowser browser;

  EXPECT_TRUE(feed(browser, kResponse));
  EXPECT_FALSE(browser.isResponseIncomplete());
  browser.handleResponse();

  EXPECT_EQ(describe(browser), kTakenOver);
  EXPECT_TRUE(browser.isResponseIncomplete());
  EXPECT_EQ(log.text(), "");
}

TEST(Receiver, SinglesBytesMakeAResponseThatIsCompleteWithItsLast) {
  const std::string response = kResponse;
  FakeBrowser browser;

  for (std::size_t i = 0; i < response.size(); ++i) {
    EXPECT_TRUE(feed(browser, response.substr(i, 1)));
    EXPECT_EQ(browser.isResponseIncomplete(), i + 1 < response.size()) << i;
  }
  browser.handleResponse();

  EXPECT_EQ(describe(browser), kTakenOver);
}

TEST(Receiver, AResponseMayBeSplitAnywhere) {
  const std::string response = kResponse;
  for (std::size_t split = 1; split < response.size(); ++split) {
    FakeBrowser browser;

    EXPECT_TRUE(feed(browser, response.substr(0, split)));
    EXPECT_TRUE(browser.isResponseIncomplete());
    EXPECT_TRUE(feed(browser, response.substr(split)));
    EXPECT_FALSE(browser.isResponseIncomplete());
    browser.handleResponse();

    EXPECT_EQ(describe(browser), kTakenOver) << split;
  }
}

TEST(Receiver, APieceOfLengthZeroLeavesTheResponseIncomplete) {
  FakeBrowser browser;

  EXPECT_TRUE(feed(browser, ""));
  EXPECT_TRUE(browser.isResponseIncomplete());
  EXPECT_TRUE(feed(browser, "{"));
  EXPECT_TRUE(feed(browser, ""));
  EXPECT_TRUE(feed(browser, "}"));
  EXPECT_FALSE(browser.isResponseIncomplete());
}

TEST(Receiver, APieceOfLengthZeroBehindACompleteResponseAsksForMore) {
  FakeBrowser browser;
  feed(browser, "{}");

  EXPECT_TRUE(feed(browser, ""));
  EXPECT_TRUE(browser.isResponseIncomplete());
}

TEST(Receiver, BlanksBeforeTheResponseAreAcceptedAndKept) {
  const LogCapture log;
  FakeBrowser browser;

  EXPECT_TRUE(feed(browser, " \t\r\n"));
  EXPECT_FALSE(feed(browser, "{\"status\":01}"));
  browser.handleResponse();

  // The place in the message counts the blanks, as the buffer holds them.
  EXPECT_EQ(
      log.text(),
      notParsed("1", '1', 11, "{\"status\":01}") +
          error("BrowserInstance::handleResponse() Caught json::ParseException: Unexpected end of token "
                "stream , line/offset: 2/11"));
}

TEST(Receiver, TheNextResponseStartsAfresh) {
  FakeBrowser browser;
  browser.receive(R"({"status":"one","errorCode":1})");

  browser.receive(R"({"status":"two","errorCode":2})");

  EXPECT_EQ(browser.errorText(), "two");
  EXPECT_EQ(browser.errorNumber(), 2);
}

TEST(Receiver, TheCheckerStartsAfreshBehindACompleteResponse) {
  FakeBrowser browser;
  feed(browser, "{}");
  browser.handleResponse();

  EXPECT_TRUE(feed(browser, "{"));
  EXPECT_TRUE(browser.isResponseIncomplete());
  EXPECT_TRUE(feed(browser, "}"));
  EXPECT_FALSE(browser.isResponseIncomplete());
}

TEST(Receiver, ATopLevelArrayIsCompleteToo) {
  FakeBrowser browser;

  EXPECT_TRUE(feed(browser, "[1]"));
  EXPECT_FALSE(browser.isResponseIncomplete());
}

// ---- what follows a complete response ----

TEST(Pending, BytesBehindAResponseStartTheNextWithoutBeingChecked) {
  const LogCapture log;
  FakeBrowser browser;

  EXPECT_TRUE(feed(browser, R"({"status":"one","errorCode":1}{"status":"two","errorCode":2})"));
  EXPECT_FALSE(browser.isResponseIncomplete());
  browser.handleResponse();

  EXPECT_EQ(browser.errorText(), "one");
  EXPECT_TRUE(browser.isResponseIncomplete());
  EXPECT_TRUE(feed(browser, ""));
  EXPECT_TRUE(browser.isResponseIncomplete());
  // The second response is in the buffer whole; it is handled when somebody asks.
  browser.handleResponse();
  EXPECT_EQ(browser.errorText(), "two");
  EXPECT_EQ(browser.errorNumber(), 2);
  EXPECT_EQ(log.text(), "");
}

TEST(Pending, BytesBehindAResponseStandBeforeTheNextPiece) {
  const LogCapture log;
  FakeBrowser browser;
  feed(browser, R"({"errorCode":1}xy)");
  browser.handleResponse();

  EXPECT_TRUE(feed(browser, R"({"errorCode":2})"));
  EXPECT_FALSE(browser.isResponseIncomplete());
  browser.handleResponse();

  EXPECT_EQ(browser.errorNumber(), 1);
  EXPECT_EQ(log.text(),
            error("BrowserInstance::handleResponse() Caught json::ScanException: Unexpected character in "
                  "stream: x, line/offset: 1/1 "));
}

TEST(Pending, BytesBehindAResponseStandBeforeTheAnswerToTheNextPlayAndNoOther) {
  const LogCapture log;
  FakeBrowser browser;
  browser.answer(R"({"status":"first","errorCode":1}x)");
  browser.play("macro", 5);

  browser.play("macro", 5);

  EXPECT_EQ(browser.errorText(), "first");
  browser.play("macro", 5);
  EXPECT_EQ(browser.errorText(), "OK");
}

TEST(Pending, BlanksBehindAResponseDoNoHarm) {
  FakeBrowser browser;
  browser.receive("{\"errorCode\":1}\r\n");

  browser.receive("{\"errorCode\":2}\r\n");

  EXPECT_EQ(browser.errorNumber(), 2);
}

TEST(Pending, BytesOfALaterPieceReplaceThoseBefore) {
  const LogCapture log;
  FakeBrowser browser;
  feed(browser, "{\"errorCode\":1}x");
  feed(browser, "  {}y");
  browser.handleResponse();
  EXPECT_EQ(log.text(),
            error("BrowserInstance::handleResponse() Caught json::ParseException: Expected End of token "
                  "stream; found { , line/offset: 1/18"));

  feed(browser, "{}");
  browser.handleResponse();

  EXPECT_EQ(log.text(),
            error("BrowserInstance::handleResponse() Caught json::ParseException: Expected End of token "
                  "stream; found { , line/offset: 1/18") +
                error("BrowserInstance::handleResponse() Caught json::ScanException: Unexpected character in "
                      "stream: y, line/offset: 1/1 "));
}

TEST(Pending, ACompleteResponseWithNothingBehindItLeavesEarlierPendingBytes) {
  const LogCapture log;
  FakeBrowser browser;
  feed(browser, "{}x");
  feed(browser, " {}");
  browser.handleResponse();

  feed(browser, "{}");
  browser.handleResponse();

  EXPECT_EQ(log.text(),
            error("BrowserInstance::handleResponse() Caught json::ParseException: Expected End of token "
                  "stream; found { , line/offset: 1/4") +
                error("BrowserInstance::handleResponse() Caught json::ScanException: Unexpected character in "
                      "stream: x, line/offset: 1/1 "));
}

// ---- rejected bytes ----

TEST(RejectedByte, IsLoggedWithItsPlaceInThePiece) {
  const LogCapture log;
  FakeBrowser browser;

  EXPECT_FALSE(feed(browser, "{\"a\":?}"));

  EXPECT_EQ(log.text(), notParsed("?", 63, 5, "{\"a\":?}"));
}

TEST(RejectedByte, ThePlaceIsThatInItsOwnPiece) {
  const LogCapture log;
  FakeBrowser browser;
  feed(browser, "{\"a\"");

  EXPECT_FALSE(feed(browser, " :x"));

  EXPECT_EQ(log.text(), notParsed("x", 'x', 2, " :x"));
}

TEST(RejectedByte, Above127IsLoggedAsANegativeNumber) {
  const LogCapture log;
  FakeBrowser browser;

  EXPECT_FALSE(feed(browser, "\xE9"));
  EXPECT_FALSE(feed(browser, "\x80"));

  EXPECT_EQ(log.text(), notParsed("\xE9", -23, 0, "\xE9") + notParsed("\x80", -128, 0, "\x80"));
}

TEST(RejectedByte, OfZeroIsLoggedAndCutsThePiece) {
  const LogCapture log;
  FakeBrowser browser;

  EXPECT_FALSE(feed(browser, std::string_view("{\0}", 3)));

  EXPECT_EQ(log.text(), notParsed(std::string(1, '\0'), 0, 1, "{"));
}

TEST(RejectedByte, LeavesTheErrorTheExtractsAndTheFlagAsTheyAre) {
  FakeBrowser browser;
  browser.receive(kResponse);
  const std::string before = describe(browser);

  EXPECT_FALSE(feed(browser, "?"));
  EXPECT_EQ(describe(browser), before);
  EXPECT_TRUE(browser.isResponseIncomplete());

  feed(browser, "{}");
  EXPECT_FALSE(feed(browser, "?"));
  EXPECT_FALSE(browser.isResponseIncomplete());
}

TEST(RejectedByte, KeepsTheBytesBeforeItAndALaterResponseIsAppended) {
  const LogCapture log;
  FakeBrowser browser;
  browser.fail(7, "before");
  feed(browser, "{\"x\":1,");
  EXPECT_FALSE(feed(browser, " \"y\":?"));

  // The checker starts afresh, so the next response is complete; the buffer still begins with the old bytes.
  EXPECT_TRUE(feed(browser, "{\"errorCode\":1}"));
  EXPECT_FALSE(browser.isResponseIncomplete());
  browser.handleResponse();

  EXPECT_EQ(browser.errorNumber(), 7);
  EXPECT_EQ(browser.errorText(), "before");
  EXPECT_EQ(
      log.text(),
      notParsed("?", 63, 5, " \"y\":?") +
          error("BrowserInstance::handleResponse() Caught json::ParseException: Unexpected end of token "
                "stream , line/offset: 1/27"));
}

TEST(RejectedByte, OnceHandledTheOldBytesAreGone) {
  FakeBrowser browser;
  EXPECT_FALSE(feed(browser, "[?"));
  browser.receive("{\"errorCode\":1}");
  EXPECT_EQ(browser.errorNumber(), 0);

  browser.receive("{\"errorCode\":1}");

  EXPECT_EQ(browser.errorNumber(), 1);
}

TEST(RejectedByte, TheOldBytesAndTheNewMayMakeAResponse) {
  FakeBrowser browser;
  EXPECT_FALSE(feed(browser, "  ?"));

  browser.receive("{\"errorCode\":3}");

  EXPECT_EQ(browser.errorNumber(), 3);
}

TEST(RejectedByte, LeavesThePendingBytes) {
  const LogCapture log;
  FakeBrowser browser;
  feed(browser, "{}x");
  EXPECT_FALSE(feed(browser, "?"));
  browser.handleResponse();
  feed(browser, "{}");
  browser.handleResponse();

  EXPECT_EQ(log.text(),
            notParsed("?", 63, 0, "?") +
                error("BrowserInstance::handleResponse() Caught json::ScanException: Unexpected character in "
                      "stream: x, line/offset: 1/1 "));
}

TEST(RejectedByte, TheTwentiethOpenContainerIsOneInEveryResponse) {
  const LogCapture log;
  FakeBrowser browser;
  const std::string deep = std::string(20, '[');

  EXPECT_FALSE(feed(browser, deep));
  EXPECT_FALSE(feed(browser, deep));
  EXPECT_TRUE(feed(browser, std::string(19, '[') + std::string(19, ']')));
  EXPECT_FALSE(feed(browser, deep));

  const std::string rejected = notParsed("[", '[', 19, deep);
  EXPECT_EQ(log.text(), rejected + rejected + rejected);
}

// ---- what the parser refuses ----

struct EarlierResponse : FakeBrowser {
  EarlierResponse() {
    receive(R"({"status":"before","errorCode":7,"extractData":["e"],
                "lastPerformance":[{"name":"n","value":"v"}],"waitForProcessId":42,"profilerData":"p"})");
  }
};

constexpr char kBefore[] = "7 'before' extracts 'e' performance n=v wait 42 profiler 'p'";

TEST(RefusedResponse, ATopLevelArrayIsLoggedAndChangesNothing) {
  const LogCapture log;
  EarlierResponse browser;

  browser.receive("[]");

  EXPECT_EQ(describe(browser), kBefore);
  EXPECT_TRUE(browser.isResponseIncomplete());
  EXPECT_EQ(log.text(),
            error("BrowserInstance::handleResponse() Caught json::ParseException: Unexpected token: [ , "
                  "line/offset: 1/1"));
}

TEST(RefusedResponse, ADuplicateMemberIsLoggedWithItsPlaceAndChangesNothing) {
  const LogCapture log;
  EarlierResponse browser;

  browser.receive("{\n  \"errorCode\":1,\n  \"errorCode\":2}");

  EXPECT_EQ(describe(browser), kBefore);
  EXPECT_EQ(log.text(),
            error("BrowserInstance::handleResponse() Caught json::ParseException: Duplicate object member "
                  "token: errorCode , line/offset: 3/3"));
}

TEST(RefusedResponse, AScanErrorIsLoggedInItsOwnFormAndChangesNothing) {
  const LogCapture log;
  EarlierResponse browser;
  feed(browser, "[\n\"?");
  feed(browser, "\x01");

  browser.receive("{}");

  EXPECT_EQ(describe(browser), kBefore);
  EXPECT_EQ(log.text(),
            notParsed("\x01", 1, 0, "\x01") +
                error("BrowserInstance::handleResponse() Caught json::ScanException: Expected string: \", "
                      "line/offset: 2/5 "));
}

TEST(RefusedResponse, HandlingWithoutAnyBytesIsLoggedAndChangesNothing) {
  const LogCapture log;
  EarlierResponse browser;

  browser.handleResponse();

  EXPECT_EQ(describe(browser), kBefore);
  EXPECT_EQ(log.text(),
            error("BrowserInstance::handleResponse() Caught json::ParseException: Unexpected end of token "
                  "stream , line/offset: 1/1"));
}

TEST(RefusedResponse, APlayReportsTheOutcomeOfTheResponseBefore) {
  FakeBrowser browser;
  EXPECT_TRUE(browser.play("m", 5));
  browser.answer("[]");
  EXPECT_TRUE(browser.play("m", 5));

  browser.answer(R"({"errorCode":-2})");
  EXPECT_FALSE(browser.play("m", 5));
  browser.answer("[]");
  EXPECT_FALSE(browser.play("m", 5));
  EXPECT_EQ(browser.errorNumber(), -2);
}

TEST(RefusedResponse, TheNextResponseIsReadAsUsual) {
  EarlierResponse browser;
  browser.receive("[]");

  browser.receive(R"({"status":"after","errorCode":8})");

  EXPECT_EQ(browser.errorText(), "after");
  EXPECT_EQ(browser.errorNumber(), 8);
}

TEST(RefusedResponse, NestingBeyondTheCheckersLimitNeverReachesTheReader) {
  const LogCapture log;
  FakeBrowser browser;
  std::string text = "{\"a\":";
  text += std::string(600, '[');

  EXPECT_FALSE(feed(browser, text));

  EXPECT_EQ(log.text(), notParsed("[", '[', 23, text));
}

// ---- what the response says ----

TEST(HandledResponse, WithoutErrorCodeTheNumberIsZero) {
  EarlierResponse browser;

  browser.receive(R"({"status":"s"})");

  EXPECT_EQ(browser.errorNumber(), 0);
  EXPECT_EQ(browser.errorText(), "s");
}

TEST(HandledResponse, WithoutStatusTheTextIsEmpty) {
  EarlierResponse browser;

  browser.receive(R"({"errorCode":1})");

  EXPECT_EQ(browser.errorNumber(), 1);
  EXPECT_EQ(browser.errorText(), "");
}

TEST(HandledResponse, AnEmptyObjectLeavesTheListsAndEmptiesTheRest) {
  EarlierResponse browser;

  browser.receive("{}");

  EXPECT_EQ(describe(browser), "0 '' extracts 'e' performance n=v wait 0 profiler ''");
}

TEST(HandledResponse, NumbersAreTruncatedTowardZero) {
  FakeBrowser browser;

  browser.receive(R"({"errorCode":2.9})");
  EXPECT_EQ(browser.errorNumber(), 2);
  browser.receive(R"({"errorCode":-1.5})");
  EXPECT_EQ(browser.errorNumber(), -1);
  browser.receive(R"({"errorCode":1.e0})");
  EXPECT_EQ(browser.errorNumber(), 1);
}

TEST(HandledResponse, AnExtractThatIsANumberIsAnEmptyExtract) {
  FakeBrowser browser;

  browser.receive(R"({"extractData":["a",5,"b"]})");

  EXPECT_EQ(browser.extract(0).toString(), "a[EXTRACT][EXTRACT]b");
  EXPECT_EQ(browser.extract(2).toString(), "");
}

TEST(HandledResponse, TextsMayHoldAnyCharacter) {
  FakeBrowser browser;

  browser.receive(R"({"status":"\u0000\u00e9\uD83D\uDE00 )"
                  "\xC3\xA9"
                  R"("})");

  EXPECT_EQ(browser.errorText(), std::string("\0\xC3\xA9\xF0\x9F\x98\x80 \xC3\xA9", 10));
}

// ---- texts that stay ----

TEST(KeptText, ExtractsOutliveTheResponsesBehindThem) {
  FakeBrowser browser;
  browser.receive(
      R"({"extractData":["first","se\u0063ond"],"lastPerformance":[{"name":"n\n","value":"v"}]})");

  for (int i = 0; i < 20; ++i) {
    browser.receive(R"({"status":"x","profilerData":")" + std::string(100, 'p') + "\"}");
  }
  browser.receive(R"({"extractData":["third"],"profilerData":"last"})");

  EXPECT_EQ(describe(browser),
            "0 '' extracts 'first[EXTRACT]second[EXTRACT]third' performance n\n=v wait 0 profiler 'last'");
}

TEST(KeptText, PerformanceEntriesAloneOutliveTheResponsesBehindThem) {
  FakeBrowser browser;
  const std::string value(1000, 'v');
  browser.receive(R"({"lastPerformance":[{"name":"n\n","value":")" + value + R"("}]})");

  // Each is large enough for the memory of the first, if that were free.
  for (int i = 0; i < 3; ++i) {
    browser.receive(R"({"status":")" + std::string(1000, 's') + "\"}");
  }

  ASSERT_NE(browser.performanceEntry(1), nullptr);
  EXPECT_EQ(browser.performanceEntry(1)->name, "n\n");
  EXPECT_EQ(browser.performanceEntry(1)->value, value);
}

TEST(KeptText, ProfilerDataIsKeptWithoutAnythingElse) {
  FakeBrowser browser;
  browser.receive(R"({"extractData":["e"]})");
  browser.receive(R"({"profilerData":")" + std::string(1000, 'p') + "\"}");
  // Takes the place of a text that was dropped.
  const std::string another(1000, 'q');

  EXPECT_EQ(browser.profilerData(), std::string(1000, 'p'));
}

TEST(KeptText, ProfilerDataOutlivesBytesThatAreRefused) {
  FakeBrowser browser;
  browser.receive(R"({"profilerData":")" + std::string(1000, 'p') + "\"}");

  EXPECT_FALSE(feed(browser, "{\"" + std::string(900, 'q') + "\" !"));

  EXPECT_EQ(browser.profilerData(), std::string(1000, 'p'));
}

TEST(KeptText, ProfilerDataGoesWithTheResponseBehindIt) {
  FakeBrowser browser;
  browser.receive(R"({"profilerData":"one"})");

  browser.receive(R"({"status":"two"})");

  EXPECT_EQ(describe(browser), "0 'two' extracts '' performance none wait 0 profiler ''");
}

TEST(KeptText, APlayReusesTheBufferOfTheOneBeforeWhateverTheSizes) {
  FakeBrowser browser;
  for (const std::size_t size : {10U, 1000000U, 10U, 300000U, 2000000U, 0U, 5U}) {
    const std::string data(size, 'd');
    browser.answer(R"({"status":"OK","errorCode":1,"extractData":["e"],"profilerData":")" + data + "\"}");

    EXPECT_TRUE(browser.play("m", 5));

    EXPECT_EQ(browser.profilerData(), data);
    EXPECT_EQ(browser.extract(0).toString(), "e");
  }
}

// Where the profiler data of a play lies whose answer holds that much of it.
const char* placeOfPlayed(FakeBrowser& browser, std::size_t size) {
  browser.answer(R"({"errorCode":1,"profilerData":")" + std::string(size, 'd') + "\"}");
  EXPECT_TRUE(browser.play("m", 5));
  EXPECT_EQ(browser.profilerData().size(), size);
  return browser.profilerData().data();
}

TEST(KeptText, AResponseAboutAsLargeAsTheOneBeforeLiesInItsMemory) {
  FakeBrowser browser;
  const char* const place = placeOfPlayed(browser, 1000000);

  EXPECT_EQ(placeOfPlayed(browser, 1000000), place);
  EXPECT_EQ(placeOfPlayed(browser, 500000), place);
}

TEST(KeptText, AMuchSmallerResponseLetsGoOfTheMemoryOfALargeOne) {
  FakeBrowser browser;
  const char* const place = placeOfPlayed(browser, 1000000);

  EXPECT_NE(placeOfPlayed(browser, 50000), place);
}

TEST(KeptText, MemoryOfLessThan64KIsNeverTooLarge) {
  FakeBrowser browser;
  const char* const place = placeOfPlayed(browser, 30000);

  EXPECT_EQ(placeOfPlayed(browser, 10), place);
}

TEST(KeptText, ARefusedResponseLeavesWhatWasThere) {
  EarlierResponse browser;

  for (int i = 0; i < 20; ++i) {
    browser.receive(R"({"extractData":["x\n"],"profilerData":"y","a":1,"a":2})");
  }

  EXPECT_EQ(describe(browser), kBefore);
}

// ---- fields that fail ----

void failToTake(Response& /*received*/, Response& gathered) {
  gathered.extracts.add("x");
  throw json::Exception("broken field");
}

TEST(FailingField, ThatIsNotOptionalIsTheInstancesError) {
  const LogCapture log;
  EarlierResponse browser;
  Response received;
  constexpr std::array<ResponseField, 1> kFields = {{{"a", false, nullptr, failToTake}}};

  browser.merge(received, kFields);

  EXPECT_EQ(browser.errorNumber(), -1);
  EXPECT_EQ(browser.errorText(), kMalformedText);
  EXPECT_EQ(log.text(), error("BrowserInstance::handleResponse() caught exception broken field"));
}

TEST(FailingField, ThatIsOptionalIsAbandonedSilently) {
  const LogCapture log;
  EarlierResponse browser;
  Response received;
  constexpr std::array<ResponseField, 1> kFields = {{{"a", true, nullptr, failToTake}}};

  browser.merge(received, kFields);

  EXPECT_EQ(describe(browser), "7 'before' extracts 'e[EXTRACT]x' performance n=v wait 42 profiler 'p'");
  EXPECT_EQ(log.text(), "");
}

}  // namespace

}  // namespace kx

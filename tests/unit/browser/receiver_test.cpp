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
constexpr char kTakenOver[] = "1 'OK' extracts 'a[EXTRACT]b' performance none wait 0 profiler '{}[]\"'";

constexpr char kEarlier[] = R"({"status":"before","errorCode":7,"extractData":["e"],
  "lastPerformance":[{"name":"n","value":"v"}],"waitForProcessId":42,"profilerData":"p"})";
constexpr char kBefore[] = "7 'before' extracts 'e' performance n=v wait 42 profiler 'p'";

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

std::string notParsed(char c, int position, const std::string& piece) {
  return error("BrowserInstance::processResponseBytes() Can not parse char " + std::string(1, c) + "(" +
               std::to_string(static_cast<signed char>(c)) + ") at position " + std::to_string(position) +
               ", responce chunk '" + piece + "'");
}
std::string parseError(const std::string& text, const std::string& place) {
  return error("BrowserInstance::handleResponse() Caught json::ParseException: " + text +
               " , line/offset: " + place);
}
std::string scanError(const std::string& text, const std::string& place) {
  return error("BrowserInstance::handleResponse() Caught json::ScanException: " + text +
               ", line/offset: " + place + " ");
}
std::string unexpected(const std::string& character) {
  return scanError("Unexpected character in stream: " + character, "1/1");
}

struct Receiver : testing::Test {
  LogCapture log;
  FakeBrowser browser;
};

// ---- cutting ----

TEST_F(Receiver, AResponseIsCompleteWithItsLastByteWhereverItIsSplit) {
  const std::string response = kResponse;
  for (std::size_t split = 0; split <= response.size(); ++split) {
    FakeBrowser another;
    for (const std::string& piece : {response.substr(0, split), response.substr(split)}) {
      EXPECT_TRUE(another.isResponseIncomplete() || piece.empty());
      EXPECT_TRUE(feed(another, piece));
    }
    EXPECT_EQ(another.isResponseIncomplete(), split == response.size()) << "an empty piece asks for more";
    another.handleResponse();
    EXPECT_EQ(describe(another), kTakenOver) << split;
    EXPECT_TRUE(another.isResponseIncomplete());
  }
  EXPECT_EQ(log.text(), "");
}

TEST_F(Receiver, SingleBytesMakeResponsesThatAreCompleteWithTheirLast) {
  const std::string response = kResponse;
  for (const char* extracts : {"a[EXTRACT]b", "a[EXTRACT]b[EXTRACT]a[EXTRACT]b"}) {
    for (std::size_t i = 0; i < response.size(); ++i) {
      EXPECT_TRUE(feed(browser, response.substr(i, 1)));
      EXPECT_EQ(browser.isResponseIncomplete(), i + 1 < response.size()) << i;
    }
    browser.handleResponse();
    EXPECT_EQ(browser.extract(0).toString(), extracts);
  }
}

TEST_F(Receiver, WhitespaceBeforeTheResponseIsAcceptedAndKept) {
  EXPECT_TRUE(feed(browser, " \t\r\n"));
  EXPECT_FALSE(feed(browser, "{\"status\":01}"));
  browser.handleResponse();

  // The place in the message counts the whitespace, as the buffer holds it.
  EXPECT_EQ(log.text(),
            notParsed('1', 11, "{\"status\":01}") + parseError("Unexpected end of token stream", "2/11"));
}

// ---- what follows a complete response ----

using Pending = Receiver;

TEST_F(Pending, BytesBehindAResponseStartTheNextWithoutBeingChecked) {
  EXPECT_TRUE(feed(browser, R"({"status":"one","errorCode":1}{"status":"two","errorCode":2})"));
  EXPECT_FALSE(browser.isResponseIncomplete());
  browser.handleResponse();

  EXPECT_EQ(browser.errorText(), "one");
  EXPECT_TRUE(feed(browser, ""));
  EXPECT_TRUE(browser.isResponseIncomplete());
  // The second response is in the buffer whole; it is handled when somebody asks.
  browser.handleResponse();
  EXPECT_EQ(browser.errorText(), "two");
  EXPECT_EQ(log.text(), "");
}

TEST_F(Pending, BytesBehindAResponseStandBeforeTheAnswerToTheNextPlayAndNoOther) {
  browser.answer(R"({"status":"first","errorCode":1}xy)");
  browser.play("macro", 5);

  browser.play("macro", 5);

  EXPECT_EQ(browser.errorText(), "first");
  EXPECT_EQ(log.text(), unexpected("x"));
  browser.play("macro", 5);
  EXPECT_EQ(browser.errorText(), "OK");
}

TEST_F(Pending, WhitespaceBehindAResponseDoesNoHarm) {
  browser.receive("{\"errorCode\":1}\r\n");
  browser.receive("{\"errorCode\":2}\r\n");

  EXPECT_EQ(browser.errorNumber(), 2);
}

TEST_F(Pending, BytesOfALaterPieceReplaceThoseBefore) {
  feed(browser, "{\"errorCode\":1}x");
  feed(browser, "  {}y");
  browser.handleResponse();
  browser.receive("{}");

  EXPECT_EQ(log.text(), parseError("Expected End of token stream; found {", "1/18") + unexpected("y"));
}

TEST_F(Pending, ACompleteResponseWithNothingBehindItLeavesEarlierPendingBytes) {
  feed(browser, "{}x");
  feed(browser, " {}");
  browser.handleResponse();
  browser.receive("{}");

  EXPECT_EQ(log.text(), parseError("Expected End of token stream; found {", "1/4") + unexpected("x"));
}

// ---- rejected bytes ----

using RejectedByte = Receiver;

TEST_F(RejectedByte, ARejectedByteIsLoggedWithItsPlaceInItsPieceAndItsSignedNumber) {
  EXPECT_FALSE(feed(browser, "{\"a\":?}"));
  EXPECT_TRUE(feed(browser, "{\"a\""));
  EXPECT_FALSE(feed(browser, " :x"));
  EXPECT_FALSE(feed(browser, "\xE9"));
  EXPECT_FALSE(feed(browser, "\x80"));
  EXPECT_FALSE(feed(browser, std::string_view("{\0}", 3)));

  // A zero byte cuts the piece.
  EXPECT_EQ(log.text(), notParsed('?', 5, "{\"a\":?}") + notParsed('x', 2, " :x") +
                            notParsed('\xE9', 0, "\xE9") + notParsed('\x80', 0, "\x80") +
                            notParsed('\0', 1, "{"));
}

TEST_F(RejectedByte, ARejectedByteLeavesTheErrorTheExtractsAndTheFlagAsTheyAre) {
  browser.receive(kEarlier);

  EXPECT_FALSE(feed(browser, "?"));
  EXPECT_EQ(describe(browser), kBefore);
  EXPECT_TRUE(browser.isResponseIncomplete());

  feed(browser, "{}");
  EXPECT_FALSE(feed(browser, "?"));
  EXPECT_FALSE(browser.isResponseIncomplete());
}

TEST_F(RejectedByte, ARejectedByteKeepsTheBytesBeforeItAndALaterResponseIsAppended) {
  browser.fail(7, "before");
  feed(browser, "{\"x\":1,");
  EXPECT_FALSE(feed(browser, " \"y\":?"));

  // The checker starts afresh, so the next response is complete; the buffer still begins with the old bytes.
  EXPECT_TRUE(feed(browser, "{\"errorCode\":1}"));
  EXPECT_FALSE(browser.isResponseIncomplete());
  browser.handleResponse();

  EXPECT_EQ(browser.errorNumber(), 7);
  EXPECT_EQ(browser.errorText(), "before");
  EXPECT_EQ(log.text(), notParsed('?', 5, " \"y\":?") + parseError("Unexpected end of token stream", "1/27"));
  browser.receive("{\"errorCode\":1}");
  EXPECT_EQ(browser.errorNumber(), 1) << "once handled, the old bytes are gone";
}

TEST_F(RejectedByte, TheBytesBeforeItAndNewOnesMayMakeAResponse) {
  EXPECT_FALSE(feed(browser, "  ?"));

  browser.receive("{\"errorCode\":3}");

  EXPECT_EQ(browser.errorNumber(), 3);
}

TEST_F(RejectedByte, ARejectedByteLeavesThePendingBytes) {
  feed(browser, "{}x");
  EXPECT_FALSE(feed(browser, "?"));
  browser.handleResponse();
  browser.receive("{}");

  EXPECT_EQ(log.text(), notParsed('?', 0, "?") + unexpected("x"));
}

TEST_F(RejectedByte, TheTwentiethOpenContainerIsOneInEveryResponse) {
  const std::string deep = std::string(20, '[');

  EXPECT_FALSE(feed(browser, deep));
  EXPECT_FALSE(feed(browser, deep));
  EXPECT_TRUE(feed(browser, std::string(19, '[') + std::string(19, ']')));
  EXPECT_FALSE(feed(browser, deep));

  const std::string rejected = notParsed('[', 19, deep);
  EXPECT_EQ(log.text(), rejected + rejected + rejected);
}

// ---- what the parser refuses ----

using RefusedResponse = Receiver;

TEST_F(RefusedResponse, ARefusedResponseIsLoggedAndChangesNothing) {
  browser.receive(kEarlier);
  browser.receive("[]");
  browser.receive("{\n  \"errorCode\":1,\n  \"errorCode\":2}");
  browser.handleResponse();
  feed(browser, "[\n\"?");
  feed(browser, "\x01");
  browser.receive("{}");

  EXPECT_EQ(describe(browser), kBefore);
  EXPECT_TRUE(browser.isResponseIncomplete());
  EXPECT_EQ(log.text(), parseError("Unexpected token: [", "1/1") +
                            parseError("Duplicate object member token: errorCode", "3/3") +
                            parseError("Unexpected end of token stream", "1/1") +
                            notParsed('\x01', 0, "\x01") + scanError("Expected string: \"", "2/5"));
  browser.receive(R"({"status":"after","errorCode":8})");
  EXPECT_EQ(browser.errorText(), "after");
}

TEST_F(RefusedResponse, APlayWithARefusedResponseReportsTheOutcomeOfTheResponseBefore) {
  EXPECT_TRUE(browser.play("m", 5));
  browser.answer("[]");
  EXPECT_TRUE(browser.play("m", 5));

  browser.answer(R"({"errorCode":-2})");
  EXPECT_FALSE(browser.play("m", 5));
  browser.answer("[]");
  EXPECT_FALSE(browser.play("m", 5));
  EXPECT_EQ(browser.errorNumber(), -2);
}

TEST_F(RefusedResponse, ARefusedResponseThatComesAgainAndAgainLeavesWhatWasThere) {
  browser.receive(kEarlier);

  for (int i = 0; i < 20; ++i) {
    browser.receive(R"({"extractData":["x\n"],"profilerData":"y","a":1,"a":2})");
  }

  EXPECT_EQ(describe(browser), kBefore);
}

TEST_F(RefusedResponse, AFieldThatFailsAndIsNotOptionalIsTheInstancesError) {
  const auto failToMerge = [](Response&, Response&) { throw json::Exception("broken field"); };
  const std::array<ResponseField, 1> fields = {{{"a", false, nullptr, failToMerge}}};
  Response received;

  browser.merge(received, fields);

  EXPECT_EQ(browser.errorNumber(), -1);
  EXPECT_EQ(browser.errorText(), "Cought excpetion while processing response, maybe malformed data");
  EXPECT_EQ(log.text(), error("BrowserInstance::handleResponse() caught exception broken field"));
}

// ---- texts that stay ----

using KeptText = Receiver;

TEST_F(KeptText, ExtractsOutliveTheResponsesBehindThem) {
  browser.receive(
      R"({"extractData":["first","se\u0063ond"],"lastPerformance":[{"name":"n\n","value":"v"}]})");

  for (int i = 0; i < 20; ++i) {
    browser.receive(R"({"status":"x","profilerData":")" + std::string(100, 'p') + "\"}");
  }
  browser.receive(R"({"extractData":["third"],"profilerData":"last"})");

  EXPECT_EQ(describe(browser),
            "0 '' extracts 'first[EXTRACT]second[EXTRACT]third' performance n\n=v wait 0 profiler 'last'");
}

TEST_F(KeptText, PerformanceEntriesAloneOutliveTheResponsesBehindThem) {
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

TEST_F(KeptText, ProfilerDataIsKeptAloneAndThroughBytesThatAreRefused) {
  browser.receive(R"({"extractData":["e"]})");
  browser.receive(R"({"profilerData":")" + std::string(1000, 'p') + "\"}");
  // Takes the place of a text that was dropped.
  const std::string another(1000, 'q');
  EXPECT_EQ(browser.profilerData(), std::string(1000, 'p'));

  EXPECT_FALSE(feed(browser, "{\"" + std::string(900, 'q') + "\" !"));
  EXPECT_EQ(browser.profilerData(), std::string(1000, 'p'));
}

TEST_F(KeptText, ProfilerDataGoesWithTheResponseBehindIt) {
  browser.receive(R"({"profilerData":"one"})");
  browser.receive(R"({"status":"two"})");

  EXPECT_EQ(describe(browser), "0 'two' extracts '' performance none wait 0 profiler ''");
}

// Where the profiler data of a play lies whose answer holds that much of it, and perhaps an extract.
const char* placeOfPlayed(FakeBrowser& browser, std::size_t size, const char* extracts = "") {
  const std::string data(size, 'd');
  browser.answer(R"({"errorCode":1,)" + std::string(extracts) + R"("profilerData":")" + data + "\"}");
  EXPECT_TRUE(browser.play("m", 5));
  EXPECT_EQ(browser.extract(0).toString(), *extracts == '\0' ? "" : "e");
  EXPECT_EQ(browser.profilerData(), data);
  return browser.profilerData().data();
}

TEST_F(KeptText, APlayReusesTheMemoryOfTheOneBeforeUnlessThatIsFarTooLarge) {
  const char* const place = placeOfPlayed(browser, 1000000);
  EXPECT_EQ(placeOfPlayed(browser, 1000000), place);
  EXPECT_EQ(placeOfPlayed(browser, 500000), place);
  EXPECT_NE(placeOfPlayed(browser, 50000), place);

  FakeBrowser another;
  const char* const small = placeOfPlayed(another, 30000);
  EXPECT_EQ(placeOfPlayed(another, 10), small) << "memory of less than 64 kB is never too large";
  for (const std::size_t size : {10U, 1000000U, 10U, 300000U, 2000000U, 0U, 5U}) {
    placeOfPlayed(browser, size, R"("extractData":["e"],)");
  }
}

}  // namespace
}  // namespace kx

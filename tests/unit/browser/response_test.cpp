#include "browser/response.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

namespace kx {

namespace {

// All fields in one line, so that a test sees whatever changes.
std::string describe(const Response& response) {
  std::string text = std::to_string(response.errorNumber) + " '" + response.errorText + "' extracts";
  for (const std::string_view extract : response.extracts.texts()) {
    text += " '" + std::string(extract) + "'";
  }
  text += " performance";
  for (const PerformanceEntry& entry : response.performance) {
    text += " '" + std::string(entry.name) + "'='" + std::string(entry.value) + "'";
  }
  return text + " wait " + std::to_string(response.waitForProcessId) + " profiler '" +
         std::string(response.profilerData) + "'";
}

Response earlierResponse() {
  Response response;
  response.errorText = "before";
  response.errorNumber = 7;
  response.extracts.add("old");
  response.performance = {{"on", "ov"}};
  response.waitForProcessId = 42;
  response.profilerData = "data";
  return response;
}

std::string afterReading(const std::string& text) {
  ReceivedText responseText;
  responseText.bytes.assign(text.begin(), text.end());
  Response received = readResponse(responseText);
  Response response = earlierResponse();
  mergeFields(received, responseFields(), response);
  return describe(response);
}

constexpr char kNothingSaid[] = "0 '' extracts 'old' performance 'on'='ov' wait 0 profiler ''";

TEST(ReadResponse, EveryMemberIsTakenOver) {
  EXPECT_EQ(afterReading(R"({"status":"OK","errorCode":1,"extractData":["a","b"],
                             "lastPerformance":[{"name":"n1","value":"v1"},{"name":"n2","value":"v2"}],
                             "waitForProcessId":1234,"profilerData":"p"})"),
            "1 'OK' extracts 'old' 'a' 'b' performance 'on'='ov' 'n1'='v1' 'n2'='v2' wait 1234 profiler 'p'");
}

TEST(ReadResponse, MembersMayComeInAnyOrderAndOthersAreIgnored) {
  EXPECT_EQ(
      afterReading(
          R"({"x":[{}],"profilerData":"p","waitForProcessId":5,"errorCode":-3,"status":"s","Status":"t"})"),
      "-3 's' extracts 'old' performance 'on'='ov' wait 5 profiler 'p'");
}

TEST(ReadResponse, MissingMembersCountAsEmptyOnes) {
  EXPECT_EQ(afterReading("{}"), kNothingSaid);
}

TEST(ReadResponse, AMemberOfAnotherTypeCountsAsAnEmptyOne) {
  for (const char* wrong : {"null", "true", "12", "\"12\"", "[]", "{}", "[1]", R"({"a":1})"}) {
    SCOPED_TRACE(wrong);
    const bool isText = *wrong == '"';
    const bool isNumber = *wrong == '1';
    const std::string value = wrong;

    EXPECT_EQ(afterReading("{\"errorCode\":" + value + "}"),
              std::string(isNumber ? "12" : "0") + std::string(kNothingSaid).substr(1));
    EXPECT_EQ(afterReading("{\"status\":" + value + "}"),
              isText ? "0 '12' extracts 'old' performance 'on'='ov' wait 0 profiler ''" : kNothingSaid);
    EXPECT_EQ(afterReading("{\"waitForProcessId\":" + value + "}"),
              isNumber ? "0 '' extracts 'old' performance 'on'='ov' wait 12 profiler ''" : kNothingSaid);
    EXPECT_EQ(afterReading("{\"profilerData\":" + value + "}"),
              isText ? "0 '' extracts 'old' performance 'on'='ov' wait 0 profiler '12'" : kNothingSaid);
  }
}

TEST(ReadResponse, ListsOfAnotherTypeCountAsEmptyOnes) {
  for (const char* wrong : {"null", "true", "12", "\"12\"", "{}", R"({"a":1})", "[]"}) {
    SCOPED_TRACE(wrong);
    EXPECT_EQ(afterReading("{\"extractData\":" + std::string(wrong) + "}"), kNothingSaid);
    EXPECT_EQ(afterReading("{\"lastPerformance\":" + std::string(wrong) + "}"), kNothingSaid);
  }
}

TEST(ReadResponse, AnExtractOfAnotherTypeIsAnEmptyOneInItsPlace) {
  EXPECT_EQ(afterReading(R"({"extractData":["a",1,null,["x"],{},true,"b"]})"),
            "0 '' extracts 'old' 'a' '' '' '' '' '' 'b' performance 'on'='ov' wait 0 profiler ''");
}

TEST(ReadResponse, APerformanceEntryOfAnotherTypeIsAnEmptyOneInItsPlace) {
  EXPECT_EQ(afterReading(R"({"lastPerformance":["x",{"name":"n"},{"value":"v"},{"name":1,"value":2},[]]})"),
            "0 '' extracts 'old' performance 'on'='ov' ''='' 'n'='' ''='v' ''='' ''='' wait 0 profiler ''");
}

TEST(ReadResponse, NumbersAreTruncatedTowardZero) {
  EXPECT_EQ(afterReading(R"({"errorCode":2.9,"waitForProcessId":7.99})"),
            "2 '' extracts 'old' performance 'on'='ov' wait 7 profiler ''");
  EXPECT_EQ(afterReading(R"({"errorCode":-1.5,"waitForProcessId":-0.5})"),
            "-1 '' extracts 'old' performance 'on'='ov' wait 0 profiler ''");
}

TEST(ReadResponse, NumbersSaturateAtTheEndsOfTheirFields) {
  EXPECT_EQ(afterReading(R"({"errorCode":1e300,"waitForProcessId":1e300})"),
            "2147483647 '' extracts 'old' performance 'on'='ov' wait 4294967295 profiler ''");
  EXPECT_EQ(afterReading(R"({"errorCode":-1e999,"waitForProcessId":-1})"),
            "-2147483648 '' extracts 'old' performance 'on'='ov' wait 0 profiler ''");
}

// Fields of a test's own, which fail where no field of a real response can.

void failToTake(Response& /*received*/, Response& gathered) {
  gathered.extracts.add("taken before the failure");
  throw json::Exception("broken");
}

void takeNumber(Response& received, Response& gathered) {
  gathered.errorNumber = received.errorNumber;
}

void takeProcessId(Response& received, Response& gathered) {
  gathered.waitForProcessId = received.waitForProcessId;
}

Response receivedNumbers() {
  Response received;
  received.errorNumber = 5;
  received.waitForProcessId = 6;
  return received;
}

TEST(MergeFields, TroubleInAnOptionalFieldAbandonsThatFieldAlone) {
  constexpr std::array<ResponseField, 2> kFields = {
      {{"a", true, nullptr, failToTake}, {"b", false, nullptr, takeNumber}}};
  Response received = receivedNumbers();
  Response response;

  mergeFields(received, kFields, response);

  EXPECT_EQ(describe(response), "5 '' extracts 'taken before the failure' performance wait 0 profiler ''");
}

TEST(MergeFields, TroubleInAnyOtherFieldEndsTheTaking) {
  constexpr std::array<ResponseField, 3> kFields = {{{"b", false, nullptr, takeNumber},
                                                     {"a", false, nullptr, failToTake},
                                                     {"c", false, nullptr, takeProcessId}}};
  Response received = receivedNumbers();
  Response response;

  EXPECT_THROW(mergeFields(received, kFields, response), json::Exception);
  EXPECT_EQ(describe(response), "5 '' extracts 'taken before the failure' performance wait 0 profiler ''");
}

TEST(MergeFields, OnlyStatusAndErrorCodeAreNotOptional) {
  std::string fields;
  for (const ResponseField& field : responseFields()) {
    fields += std::string(field.name) + (field.isOptional ? "? " : " ");
  }

  EXPECT_EQ(fields, "status errorCode extractData? lastPerformance? waitForProcessId? profilerData? ");
}

TEST(ResponseNumber, AsASignedFieldIsTruncatedAndSaturates) {
  EXPECT_EQ(toInt32(0.0), 0);
  EXPECT_EQ(toInt32(2.9), 2);
  EXPECT_EQ(toInt32(-1.5), -1);
  EXPECT_EQ(toInt32(-0.9), 0);
  EXPECT_EQ(toInt32(2147483646.5), 2147483646);
  EXPECT_EQ(toInt32(2147483647.0), 2147483647);
  EXPECT_EQ(toInt32(2147483647.5), 2147483647);
  EXPECT_EQ(toInt32(2147483648.0), 2147483647);
  EXPECT_EQ(toInt32(-2147483647.5), -2147483647);
  EXPECT_EQ(toInt32(-2147483648.0), std::numeric_limits<int>::min());
  EXPECT_EQ(toInt32(-2147483649.0), std::numeric_limits<int>::min());
  EXPECT_EQ(toInt32(HUGE_VAL), 2147483647);
  EXPECT_EQ(toInt32(-HUGE_VAL), std::numeric_limits<int>::min());
  EXPECT_EQ(toInt32(std::nan("")), 0);
}

TEST(ResponseNumber, AsAnUnsignedFieldIsTruncatedAndSaturates) {
  EXPECT_EQ(toUint32(0.0), 0U);
  EXPECT_EQ(toUint32(1.9), 1U);
  EXPECT_EQ(toUint32(-0.5), 0U);
  EXPECT_EQ(toUint32(-1.0), 0U);
  EXPECT_EQ(toUint32(-1e300), 0U);
  EXPECT_EQ(toUint32(2147483648.0), 2147483648U);
  EXPECT_EQ(toUint32(4294967294.5), 4294967294U);
  EXPECT_EQ(toUint32(4294967295.0), 4294967295U);
  EXPECT_EQ(toUint32(4294967296.0), 4294967295U);
  EXPECT_EQ(toUint32(HUGE_VAL), 4294967295U);
  EXPECT_EQ(toUint32(std::nan("")), 0U);
}

}  // namespace

}  // namespace kx

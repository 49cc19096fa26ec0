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
  for (const std::string wrong : {"null", "true", "12", "\"12\"", "[]", "{}", "[1]", R"({"a":1})"}) {
    SCOPED_TRACE(wrong);
    const std::string number = wrong == "12" ? "12" : "0";
    const std::string text = wrong == "\"12\"" ? "12" : "";
    const std::string lists = "' extracts 'old' performance 'on'='ov' wait ";

    EXPECT_EQ(afterReading("{\"errorCode\":" + wrong + "}"), number + " '" + lists + "0 profiler ''");
    EXPECT_EQ(afterReading("{\"status\":" + wrong + "}"), "0 '" + text + lists + "0 profiler ''");
    EXPECT_EQ(afterReading("{\"waitForProcessId\":" + wrong + "}"), "0 '" + lists + number + " profiler ''");
    EXPECT_EQ(afterReading("{\"profilerData\":" + wrong + "}"), "0 '" + lists + "0 profiler '" + text + "'");
    if (wrong != "[1]") {
      EXPECT_EQ(afterReading("{\"extractData\":" + wrong + "}"), kNothingSaid);
      EXPECT_EQ(afterReading("{\"lastPerformance\":" + wrong + "}"), kNothingSaid);
    }
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

TEST(ReadResponse, NumbersAreTruncatedTowardZeroAndSaturateAtTheEndsOfTheirFields) {
  EXPECT_EQ(afterReading(R"({"errorCode":-1.5,"waitForProcessId":7.99})"),
            "-1 '' extracts 'old' performance 'on'='ov' wait 7 profiler ''");
  EXPECT_EQ(afterReading(R"({"errorCode":-1e999,"waitForProcessId":1e300})"),
            "-2147483648 '' extracts 'old' performance 'on'='ov' wait 4294967295 profiler ''");
}

// Fields of a test's own, which fail where no field of a real response can.
TEST(MergeFields, TroubleInAnOptionalFieldAbandonsThatFieldAloneAndInAnyOtherEndsTheMerging) {
  const auto mergeNumber = [](Response& r, Response& gathered) { gathered.errorNumber = r.errorNumber; };
  const auto mergeProcessId = [](Response& r, Response& gathered) {
    gathered.waitForProcessId = r.waitForProcessId;
  };
  const auto failToMerge = [](Response&, Response& gathered) {
    gathered.extracts.add("merged before the failure");
    throw json::Exception("broken");
  };
  for (const bool isOptional : {true, false}) {
    const std::array<ResponseField, 3> fields = {{{"a", false, nullptr, mergeNumber},
                                                  {"b", isOptional, nullptr, failToMerge},
                                                  {"c", false, nullptr, mergeProcessId}}};
    Response received;
    received.errorNumber = 5;
    received.waitForProcessId = 6;
    Response response;
    if (isOptional) {
      mergeFields(received, fields, response);
    } else {
      EXPECT_THROW(mergeFields(received, fields, response), json::Exception);
    }
    EXPECT_EQ(describe(response), std::string("5 '' extracts 'merged before the failure' performance wait ") +
                                      (isOptional ? "6" : "0") + " profiler ''");
  }
}

TEST(MergeFields, OnlyStatusAndErrorCodeAreNotOptional) {
  std::string fields;
  for (const ResponseField& field : responseFields()) {
    fields += std::string(field.name) + (field.isOptional ? "? " : " ");
  }

  EXPECT_EQ(fields, "status errorCode extractData? lastPerformance? waitForProcessId? profilerData? ");
}

TEST(ResponseNumber, ANumberIsTruncatedAndSaturatesAtTheEndsOfItsField) {
  constexpr int kLowest = std::numeric_limits<int>::min();
  struct Case {
    double number;
    int asSigned;
    std::uint32_t asUnsigned;
  };
  for (const Case& c : {Case{0.0, 0, 0},
                        {2.9, 2, 2},
                        {-0.9, 0, 0},
                        {-1.5, -1, 0},
                        {2147483646.5, 2147483646, 2147483646},
                        {2147483647.0, 2147483647, 2147483647},
                        {2147483647.5, 2147483647, 2147483647},
                        {2147483648.0, 2147483647, 2147483648},
                        {-2147483647.5, -2147483647, 0},
                        {-2147483648.0, kLowest, 0},
                        {-2147483649.0, kLowest, 0},
                        {4294967294.5, 2147483647, 4294967294},
                        {4294967295.0, 2147483647, 4294967295},
                        {4294967296.0, 2147483647, 4294967295},
                        {HUGE_VAL, 2147483647, 4294967295},
                        {-HUGE_VAL, kLowest, 0},
                        {std::nan(""), 0, 0}}) {
    EXPECT_EQ(toInt32(c.number), c.asSigned) << c.number;
    EXPECT_EQ(toUint32(c.number), c.asUnsigned) << c.number;
  }
}

}  // namespace

}  // namespace kx

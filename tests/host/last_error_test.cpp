// The number and text of a context's last error.
#include "host/host_test.h"
#include "support/win32/import_table.h"

#include <climits>
#include <string>
#include <utility>
#include <vector>

namespace {

class LastError : public AttachedHostTest {
 protected:
  // Has the browser answer a request with this status and number.
  void answerWith(const std::string& status, const std::string& number) {
    extension.answers("{\"status\":\"" + status + "\",\"errorCode\":" + number + "}");
    ASSERT_EQ(dll.kx_Display(context, "ask", 10), KX_OK);
    log.clear();
  }

  int numberAfter(const std::string& number) {
    answerWith("", number);
    return dll.kx_GetLastErrorNumber(context);
  }
};

TEST_F(LastError, NumberOfSuccessIsOne) {
  EXPECT_EQ(numberAfter("1"), 1);
}

TEST_F(LastError, NumberOfAnAnswerWithoutOneIsZero) {
  EXPECT_EQ(numberAfter("0"), 0);
}

TEST_F(LastError, NumbersAboveOneBecomeNegative) {
  EXPECT_EQ(numberAfter("7"), -7);
  EXPECT_EQ(numberAfter("2"), -2);
  EXPECT_EQ(numberAfter("2147483647"), -INT_MAX);
}

TEST_F(LastError, NegativeNumbersStayAsTheyAre) {
  EXPECT_EQ(numberAfter("-1"), -1);
  EXPECT_EQ(numberAfter("-3"), -3);
  EXPECT_EQ(numberAfter("-2147483648"), INT_MIN);
}

TEST_F(LastError, NumbersOutsideTheRangeStopAtItsEnds) {
  EXPECT_EQ(numberAfter("1e300"), -INT_MAX);
  EXPECT_EQ(numberAfter("-1e300"), INT_MIN);
}

TEST_F(LastError, NumbersAreCutTowardsZero) {
  EXPECT_EQ(numberAfter("2.9"), -2);
  EXPECT_EQ(numberAfter("-1.5"), -1);
  EXPECT_EQ(numberAfter("1.9"), 1);
}

TEST_F(LastError, IsReadWithoutAWordInTheLog) {
  answerWith("seven", "7");

  dll.kx_GetLastErrorNumber(context);
  dll.lastErrorText(context);
  char small[2] = {};
  dll.kx_GetLastErrorText(context, small, 2);

  EXPECT_FALSE(fileExists(log.path()));
}

TEST_F(LastError, TextIsTheStatusOfTheLastAnswer) {
  answerWith("first", "1");
  answerWith("a second, \\u00fcber", "1");

  EXPECT_EQ(dll.lastErrorText(context),
            "a second, \xC3\xBC"
            "ber");
}

TEST_F(LastError, TextIsEmptyWhenTheAnswerHasNoStatus) {
  answerWith("before", "5");
  extension.answers("{}");
  ASSERT_EQ(dll.kx_Display(context, "ask", 10), KX_OK);

  EXPECT_EQ(dll.kx_GetLastErrorText(context, nullptr, 0), 1);
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 0);
}

TEST_F(LastError, IsFreshInANewContextWhateverTheOthersHave) {
  answerWith("seven", "7");

  const int other = dll.kx_ContextCreate();

  EXPECT_EQ(dll.kx_GetLastErrorNumber(other), 0);
  EXPECT_EQ(dll.kx_GetLastErrorText(other, nullptr, 0), 1);
  EXPECT_EQ(dll.lastErrorText(context), "seven");
}

TEST_F(LastError, OfAFailedStartIsKeptWithTheSameSignRule) {
  const int other = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(other, "fx", nullptr, "C:\\windows\\no_such_browser.exe", 0, 0, 1), 2);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(other), -2);
  EXPECT_EQ(dll.lastErrorText(other), "Browser binary C:\\windows\\no_such_browser.exe doesn't exists");
}

DWORD systemError = ERROR_SUCCESS;

HANDLE WINAPI findNothing(LPCWSTR, LPWIN32_FIND_DATAW) {
  ::SetLastError(systemError);
  return INVALID_HANDLE_VALUE;
}

TEST_F(LastError, OfAFailedStartMayLookLikeSuccessOrLikeAnotherFailure) {
  ImportTable imports(dll.module());
  imports.replace("FindFirstFileW", &findNothing);
  const int other = dll.kx_ContextCreate();
  const std::vector<std::pair<DWORD, int>> numbers = {{ERROR_INVALID_FUNCTION, KX_ERROR_SUCCESS},
                                                      {ERROR_PATH_NOT_FOUND, KX_ERROR_TIMEOUT},
                                                      {ERROR_TOO_MANY_OPEN_FILES, KX_ERROR_PROFILE_IN_USE},
                                                      {ERROR_ACCESS_DENIED, KX_NO_CONTEXT}};
  for (const auto& [error, number] : numbers) {
    systemError = error;
    // Nobody serves Chrome's pipe: the launch is tried.
    EXPECT_EQ(dll.kx_Init(other, "cr", nullptr, "C:\\windows\\browser.exe", 0, 0, 1),
              static_cast<int>(error));

    EXPECT_EQ(dll.kx_GetLastErrorNumber(other), number);
    EXPECT_EQ(dll.lastErrorText(other), "Error finding browser binary");
  }
}

TEST_F(LastError, OfAFailedStartGivesWayToTheBrowsersOwnAndComesBackAfterTheExit) {
  ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, "C:\\windows\\no_such_browser.exe", 0, 0, 1), 2);
  ASSERT_EQ(dll.kx_GetLastErrorNumber(context), -2);
  FakeExtension again(defaultPipe());
  again.answers("{\"status\":\"fine\",\"errorCode\":1}");

  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 1);
  EXPECT_EQ(dll.lastErrorText(context), "fine");

  ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -2);
  EXPECT_EQ(dll.lastErrorText(context), "Browser binary C:\\windows\\no_such_browser.exe doesn't exists");
}

TEST_F(LastError, OfABrowserThatHasExitedIsGoneWithIt) {
  answerWith("seven", "7");

  ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 0);
  EXPECT_EQ(dll.lastErrorText(context), "");
}

}  // namespace

// The number and text of a context's last error.
#include "host/host_test.h"

#include <climits>
#include <string>
#include <utility>
#include <vector>

namespace {

class LastError : public AttachedHostTest {};

TEST_F(LastError, TheLastErrorNumberOfSuccessIsOneAndEveryOtherIsZeroOrNegative) {
  for (const auto& [answered, number] :
       std::vector<std::pair<std::string, int>>{{"1", 1},
                                                {"0", 0},
                                                {"2", -2},
                                                {"3", KX_ERROR_TIMEOUT},
                                                {"4", KX_ERROR_PROFILE_IN_USE},
                                                {"5", KX_NO_CONTEXT},
                                                {"2147483647", -INT_MAX},
                                                {"-1", -1},
                                                {"-2147483648", INT_MIN}}) {
    extension.answers(R"({"status":"said","errorCode":)" + answered + "}");
    ASSERT_EQ(dll.kx_Display(context, "ask", 10), KX_OK);
    log.clear();

    expectError(number, "said");

    EXPECT_FALSE(fileExists(log.path())) << "both are read without a word in the log";
  }
}

TEST_F(LastError, TheLastErrorOfAFailedStartIsCoveredByTheNextBrowsersAndComesBackAfterItsExit) {
  ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);
  ASSERT_EQ(startMissing(context), 2);
  expectError(-2, kMissingText);
  Extension again(defaultPipe());
  again.answers(R"({"status":"fine","errorCode":1})");

  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  expectError(1, "fine");

  ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);
  expectError(-2, kMissingText);
}

}  // namespace

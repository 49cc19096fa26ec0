// The numbers that hosts were compiled with. They are written out here, because the library is built with the
// same header.
#include "kxtcp64.h"

#include <gtest/gtest.h>

namespace {

TEST(HeaderConstants, ConstantsOfResultsKeepTheirValues) {
  EXPECT_EQ(KX_OK, 0);
  EXPECT_EQ(KX_FAILED, -1);
  EXPECT_EQ(KX_BUFFER_TOO_SMALL, -2);
  EXPECT_EQ(KX_TIMEOUT, -3);
  EXPECT_EQ(KX_NO_CONTEXT, -5);
}

TEST(HeaderConstants, ConstantsOfErrorsKeepTheirValues) {
  EXPECT_EQ(KX_ERROR_NONE, 0);
  EXPECT_EQ(KX_ERROR_SUCCESS, 1);
  EXPECT_EQ(KX_ERROR_GENERAL, -1);
  EXPECT_EQ(KX_ERROR_TIMEOUT, -3);
  EXPECT_EQ(KX_ERROR_PROFILE_IN_USE, -4);
}

TEST(HeaderConstants, ConstantsOfScreenshotsKeepTheirValues) {
  EXPECT_EQ(KX_SCREENSHOT_BROWSER, 0);
  EXPECT_EQ(KX_SCREENSHOT_PAGE, 1);
}

}  // namespace

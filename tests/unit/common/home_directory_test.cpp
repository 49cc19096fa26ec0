#include "common/home_directory.h"

#include "support/environment.h"

#include <gtest/gtest.h>

#include <optional>

namespace kx {

namespace {

std::string homeWith(std::optional<std::string> drive, std::optional<std::string> path) {
  const EnvironmentVariable driveVariable("HOMEDRIVE", drive);
  const EnvironmentVariable pathVariable("HOMEPATH", path);
  return homeDirectory();
}

TEST(HomeDirectory, TheHomeDirectoryIsTheDriveOrDriveCFollowedByThePathAndEmptyWithoutAPath) {
  EXPECT_EQ(homeWith("D:", "\\Users\\alice"), "D:\\Users\\alice");
  EXPECT_EQ(homeWith(std::nullopt, "\\Users\\alice"), "c:\\Users\\alice");
  EXPECT_EQ(homeWith("D:", std::nullopt), "");
  // An empty value is a value.
  EXPECT_EQ(homeWith("D:", ""), "D:");
  EXPECT_EQ(homeWith("", "\\Users\\alice"), "\\Users\\alice");
}

}  // namespace

}  // namespace kx

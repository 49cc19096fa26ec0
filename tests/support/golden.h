// Approved texts: files in tests/golden, compared byte for byte. With the environment variable
// KX_GOLDEN_UPDATE set to 1 they are rewritten instead, and the difference is reviewed before it is
// committed.
#pragma once

#include "support/environment.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <string>

inline void expectGolden(const std::string& name, const std::string& actual) {
  const std::string path = std::string(KX_GOLDEN_DIR) + "/" + name;
  if (EnvironmentVariable::valueOf("KX_GOLDEN_UPDATE") == "1") {
    writeFile(path, actual);
  }
  EXPECT_EQ(fileBytes(path), actual) << name;
}

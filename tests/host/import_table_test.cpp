// The import table of the loaded library, as tests patch it.
#include "support/win32/import_table.h"

#include "support/win32/dll.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <stdexcept>

namespace {

int logEntries = 0;

void WINAPI countLine(LPCSTR) {
  ++logEntries;
}

class ImportTableOfTheLibrary : public ::testing::Test {
 protected:
  void SetUp() override { logEntries = 0; }

  const KxLibrary dll;
};

TEST_F(ImportTableOfTheLibrary, NamesWhatTheLibraryCalls) {
  const ImportTable imports(dll.module());

  EXPECT_TRUE(imports.has("CreateNamedPipeW"));
  EXPECT_TRUE(imports.has("malloc"));
  EXPECT_FALSE(imports.has("MessageBoxW"));
  EXPECT_GT(imports.names().size(), 50U);
}

TEST_F(ImportTableOfTheLibrary, TakesAReplacementThatTheLibraryThenCalls) {
  ImportTable imports(dll.module());

  const auto real = imports.replace("OutputDebugStringA", &countLine);

  EXPECT_TRUE(real == &::OutputDebugStringA);
  EXPECT_EQ(dll.kx_Exit(-1, 0), KX_NO_CONTEXT);
  EXPECT_EQ(logEntries, 1);
}

TEST_F(ImportTableOfTheLibrary, LeavesOtherModulesAlone) {
  ImportTable imports(dll.module());
  imports.replace("OutputDebugStringA", &countLine);

  ::OutputDebugStringA("from the test itself");

  EXPECT_EQ(logEntries, 0);
}

TEST_F(ImportTableOfTheLibrary, IsPutBackAtTheEnd) {
  {
    ImportTable imports(dll.module());
    imports.replace("OutputDebugStringA", &countLine);
  }

  EXPECT_EQ(dll.kx_Exit(-1, 0), KX_NO_CONTEXT);

  EXPECT_EQ(logEntries, 0);
}

TEST_F(ImportTableOfTheLibrary, RefusesAFunctionThatIsNotImported) {
  ImportTable imports(dll.module());

  EXPECT_THROW(imports.replace("MessageBoxW", &countLine), std::runtime_error);
}

TEST_F(ImportTableOfTheLibrary, IsThereForModulesOnly) {
  EXPECT_THROW(ImportTable(nullptr), std::runtime_error);
}

}  // namespace

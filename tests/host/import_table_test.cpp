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

TEST(ImportTableOfTheLibrary, TheImportTableTakesAReplacementThatTheLibraryAloneCallsUntilItIsPutBack) {
  const KxLibrary dll;
  logEntries = 0;
  {
    ImportTable imports(dll.module());
    EXPECT_TRUE(imports.replace("OutputDebugStringA", &countLine) == &::OutputDebugStringA);

    EXPECT_EQ(dll.kx_Exit(-1, 0), KX_NO_CONTEXT);
    ::OutputDebugStringA("from the test itself");

    EXPECT_EQ(logEntries, 1);
  }
  EXPECT_EQ(dll.kx_Exit(-1, 0), KX_NO_CONTEXT);

  EXPECT_EQ(logEntries, 1);
}

TEST(ImportTableOfTheLibrary, TheImportTableHasWhatTheLibraryCallsAndRefusesEverythingElse) {
  const KxLibrary dll;
  ImportTable imports(dll.module());

  EXPECT_TRUE(imports.has("CreateNamedPipeW"));
  EXPECT_GT(imports.names().size(), 50U);
  EXPECT_FALSE(imports.has("MessageBoxW"));
  EXPECT_THROW(imports.replace("MessageBoxW", &countLine), std::runtime_error);
  EXPECT_THROW(ImportTable(nullptr), std::runtime_error);
}

}  // namespace

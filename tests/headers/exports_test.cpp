// What a host sees of the DLL once it is loaded: the export table in memory, name by name.
#include <gtest/gtest.h>

#include <windows.h>
#include <fstream>
#include <set>
#include <string>

namespace {

std::set<std::string> approvedNames() {
  std::ifstream file(KX_GOLDEN_DIR "/exports.txt");
  std::set<std::string> names;
  for (std::string name; std::getline(file, name);) {
    names.insert(name);
  }
  return names;
}

// The DLL lies beside this program.
class LoadedLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    library_ = LoadLibraryA("KXTCP64.dll");
    ASSERT_NE(library_, nullptr) << "error " << GetLastError();
  }
  void TearDown() override { FreeLibrary(library_); }

  template <typename Entry>
  const Entry* at(DWORD address) const {
    return reinterpret_cast<const Entry*>(reinterpret_cast<const char*>(library_) + address);
  }

  const IMAGE_NT_HEADERS64& headers() const {
    return *at<IMAGE_NT_HEADERS64>(static_cast<DWORD>(at<IMAGE_DOS_HEADER>(0)->e_lfanew));
  }

  const IMAGE_EXPORT_DIRECTORY& exportDirectory() const {
    return *at<IMAGE_EXPORT_DIRECTORY>(
        headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
  }

  HMODULE library_ = nullptr;
};

TEST_F(LoadedLibrary, ExportsExactlyTheApprovedNames) {
  const IMAGE_EXPORT_DIRECTORY& directory = exportDirectory();
  const DWORD* names = at<DWORD>(directory.AddressOfNames);

  std::set<std::string> exported;
  for (DWORD index = 0; index < directory.NumberOfNames; ++index) {
    exported.insert(at<char>(names[index]));
  }

  EXPECT_EQ(exported, approvedNames());
  EXPECT_EQ(exported.size(), 17U);
}

TEST_F(LoadedLibrary, ExportsNothingWithoutAName) {
  EXPECT_EQ(exportDirectory().NumberOfFunctions, exportDirectory().NumberOfNames);
}

TEST_F(LoadedLibrary, NamesItselfAsHostsLoadIt) {
  EXPECT_STREQ(at<char>(exportDirectory().Name), "KXTCP64.dll");
}

TEST_F(LoadedLibrary, ResolvesEveryApprovedNameToItsOwnFunction) {
  const std::set<std::string> names = approvedNames();
  ASSERT_FALSE(names.empty());

  std::set<FARPROC> functions;
  for (const std::string& name : names) {
    const FARPROC function = GetProcAddress(library_, name.c_str());
    EXPECT_NE(function, nullptr) << name;
    functions.insert(function);
  }

  EXPECT_EQ(functions.size(), names.size());
}

TEST_F(LoadedLibrary, MayBePlacedAnywhereAndRunsNoData) {
  const WORD flags = headers().OptionalHeader.DllCharacteristics;

  EXPECT_TRUE(flags & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE);
  EXPECT_TRUE(flags & IMAGE_DLLCHARACTERISTICS_NX_COMPAT);
  EXPECT_TRUE(flags & IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA);
}

TEST_F(LoadedLibrary, CarriesAVersionResource) {
  EXPECT_NE(FindResourceA(library_, MAKEINTRESOURCEA(1), MAKEINTRESOURCEA(16)), nullptr);
}

}  // namespace

// Firefox's profiles on disk: the list as it is read from profiles.ini, and the lock file that a running
// browser holds.
#include "process/win32/profile_store.h"

#include "browser/browser_instance.h"
#include "support/win32/debugger_lines.h"
#include "support/win32/helper_process.h"
#include "support/win32/log_file.h"
#include "support/win32/test_user.h"
#include "support/win32/windows_calls_override.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <vector>

namespace kx {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class FirefoxProfilesFile : public testing::Test {
 protected:
  TestUser user;
  LogFile log;
};

TEST_F(FirefoxProfilesFile, TheListIsReadAsTextWithBytesOutsideAsciiAsTheyAreUpToTheEndOfTextCharacter) {
  user.writeProfiles("[Profile0]\r\nName=grün\r\n[Profile1]\nName=\xFF\xFE\n\x1A[Profile2]\nName=dev\n");
  EXPECT_EQ(readFirefoxProfiles(),
            (FirefoxProfileList{{"Profile0", {{"Name", "grün"}}}, {"Profile1", {{"Name", "\xFF\xFE"}}}}));
  EXPECT_EQ(log.text(), "");
  EXPECT_TRUE(::DeleteFileW(wide(user.profilesPath()).c_str())) << "it is closed afterwards";
}

// The run-time that the library shares with its host opens files as the host has told it, unless it is told
// otherwise.
TEST_F(FirefoxProfilesFile, TheListIsReadAsTextAlsoInAHostThatOpensFilesAsBytes) {
  user.writeProfiles("[Profile0]\r\nName=dev\r\n\x1A[Profile1]\nName=other\n");
  const int usual = _fmode;
  _fmode = _O_BINARY;
  const FirefoxProfileList profiles = readFirefoxProfiles();
  _fmode = usual;
  EXPECT_EQ(profiles, (FirefoxProfileList{{"Profile0", {{"Name", "dev"}}}}));
}

TEST_F(FirefoxProfilesFile, TheListMayLieInAFolderWithCharactersOutsideAscii) {
  const TempFolder folder("pröfile-日本");
  folder.write("Mozilla\\Firefox\\profiles.ini", "[Profile0]\nName=dev\n");
  const EnvironmentVariable applicationData("APPDATA", folder.path());
  EXPECT_EQ(readFirefoxProfiles(), (FirefoxProfileList{{"Profile0", {{"Name", "dev"}}}}));
}

TEST_F(FirefoxProfilesFile, AListThatIsMissingIsLoggedWithItsPathAndGivesNoProfiles) {
  EXPECT_THAT(readFirefoxProfiles(), IsEmpty());
  EXPECT_EQ(
      log.text(),
      ExpectedLog().error("Can not open " + user.roaming() + "\\Mozilla\\Firefox\\profiles.ini file").text());
}

TEST_F(FirefoxProfilesFile, TheListIsLookedForInTheRootWithoutAFolderForApplicationData) {
  EnvironmentVariable applicationData("APPDATA");
  applicationData.remove();
  EXPECT_THAT(readFirefoxProfiles(), IsEmpty());
  EXPECT_EQ(log.text(), ExpectedLog().error("Can not open \\Mozilla\\Firefox\\profiles.ini file").text());
}

class FirefoxProfileLock : public testing::Test {
 protected:
  std::string lockOf(const std::string& profileFolder) const { return profileFolder + "\\parent.lock"; }

  TestUser user;
  TempFolder profile{"profile"};
  LogFile log;
};

// Holds a file open from another process for as long as it lives.
class HeldFile {
 public:
  explicit HeldFile(const std::string& path) : process_({"hold-file", path, ready_.name(), end_.name()}) {
    EXPECT_TRUE(ready_.wait());
  }
  void release() const {
    end_.signal();
    EXPECT_EQ(process_.exitCode(), 0U);
  }

 private:
  NamedEvent ready_;
  NamedEvent end_;
  HelperProcess process_;
};

// Records which lock files are asked for, and answers each with the given error.
class RecordedLockFiles {
 public:
  explicit RecordedLockFiles(DWORD error)
      : create_([this, error](LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                              DWORD disposition, DWORD flags, HANDLE model) {
          paths.push_back(narrow(path));
          EXPECT_EQ(access, DWORD{GENERIC_READ});
          EXPECT_EQ(share, DWORD{FILE_SHARE_READ});
          EXPECT_EQ(security, nullptr);
          EXPECT_EQ(disposition, DWORD{OPEN_EXISTING});
          EXPECT_EQ(flags, DWORD{FILE_ATTRIBUTE_NORMAL});
          EXPECT_EQ(model, nullptr);
          return failWith(error, INVALID_HANDLE_VALUE);
        }) {}

  std::vector<std::string> paths;

 private:
  SubstitutedCall<&WindowsCalls::createFile> create_;
};

TEST_F(FirefoxProfileLock, TheLockIsHeldWhileAnotherProcessHoldsTheFileOpen) {
  user.writeProfiles("[Profile0]\nName=dev\nIsRelative=0\nPath=" + profile.path() + "\n");
  const HeldFile lock(lockOf(profile.path()));
  EXPECT_TRUE(profileIsLocked(kFirefox, "dev"));
  lock.release();
  EXPECT_FALSE(profileIsLocked(kFirefox, "dev"));
  EXPECT_EQ(log.text(), "");
}

TEST_F(FirefoxProfileLock, TheLockOfAProfileBelowTheFoldersOfTheUserIsFoundToo) {
  user.writeProfiles("[Profile0]\nName=dev\nIsRelative=1\nPath=Profiles/abc.default\n");
  const std::string folder = user.roaming() + "\\Mozilla\\Firefox\\Profiles\\abc.default";
  std::filesystem::create_directories(wide(folder));
  const HeldFile lock(lockOf(folder));
  EXPECT_TRUE(profileIsLocked(kFirefox, "dev"));
}

TEST_F(FirefoxProfileLock, TheLockIsNotHeldWithoutAFileNorWhenItMayBeReadAndTheFileIsClosedAgain) {
  user.writeProfiles("[Profile0]\nName=dev\nIsRelative=0\nPath=" + profile.path() + "\n");
  EXPECT_FALSE(profileIsLocked(kFirefox, "dev"));
  EXPECT_FALSE(fileExists(lockOf(profile.path())));
  EXPECT_EQ(log.text(), "");
  profile.write("parent.lock", "");
  EXPECT_FALSE(profileIsLocked(kFirefox, "dev"));
  EXPECT_TRUE(::DeleteFileW(wide(lockOf(profile.path())).c_str()));
}

TEST_F(FirefoxProfileLock, TheLockOfAPathOutsideAsciiIsUtf8) {
  user.writeProfiles("[Profile0]\nName=dev\nIsRelative=0\nPath=C:\\grün-日本\n");
  const RecordedLockFiles files(ERROR_SHARING_VIOLATION);
  EXPECT_TRUE(profileIsLocked(kFirefox, "dev"));
  EXPECT_THAT(files.paths, ElementsAre("C:\\grün-日本\\parent.lock"));
}

TEST_F(FirefoxProfileLock, TheLockIsLookedForWhereTheListSaysNow) {
  const RecordedLockFiles files(ERROR_SHARING_VIOLATION);
  for (const std::string folder : {"C:\\one", "C:\\two"}) {
    user.writeProfiles("[Profile0]\nName=dev\nPath=" + folder + "\n");
    EXPECT_TRUE(profileIsLocked(kFirefox, "dev"));
  }
  EXPECT_THAT(files.paths, ElementsAre("C:\\one\\parent.lock", "C:\\two\\parent.lock"));
}

TEST_F(FirefoxProfileLock, TheLockIsHeldOnlyWhenSharingIsRefused) {
  user.writeProfiles("[Profile0]\nName=dev\nPath=C:\\p\n");
  for (const DWORD error : {2U, 3U, 5U, 31U, 33U}) {
    const RecordedLockFiles files(error);
    EXPECT_FALSE(profileIsLocked(kFirefox, "dev")) << error;
    EXPECT_EQ(files.paths.size(), 1U);
  }
}

TEST_F(FirefoxProfileLock, TheLockOfAProfileThatIsNotListedIsNotHeld) {
  user.writeProfiles("[Profile0]\nName=dev\nPath=C:\\p\n");
  const RecordedLockFiles files(ERROR_SHARING_VIOLATION);
  EXPECT_FALSE(profileIsLocked(kFirefox, "Dev"));
  EXPECT_THAT(files.paths, IsEmpty());
}

TEST_F(FirefoxProfileLock, WithoutAListTheLockIsNotHeld) {
  const RecordedLockFiles files(ERROR_SHARING_VIOLATION);
  EXPECT_FALSE(profileIsLocked(kFirefox, "default"));
  EXPECT_THAT(files.paths, IsEmpty());
  EXPECT_EQ(
      log.text(),
      ExpectedLog().error("Can not open " + user.roaming() + "\\Mozilla\\Firefox\\profiles.ini file").text());
}

TEST_F(FirefoxProfileLock, TheLockExistsForFirefoxOnly) {
  const RecordedLockFiles files(ERROR_SHARING_VIOLATION);
  EXPECT_FALSE(profileIsLocked(kChrome, "default"));
  EXPECT_FALSE(profileIsLocked("", "default"));
  EXPECT_FALSE(profileIsLocked("FX", "default"));
  EXPECT_THAT(files.paths, IsEmpty());
  // The list is not even read.
  EXPECT_EQ(log.text(), "");
}

}  // namespace

}  // namespace kx

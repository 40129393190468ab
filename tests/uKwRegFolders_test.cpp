#include "uKwRegFolders.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

#include "TestSupport.h"

namespace fs = std::filesystem;

namespace {

// Sets or unsets one environment variable for the lifetime of the object.
class TEnvironmentValue {
 public:
  TEnvironmentValue(const char* name, const char* value) : FName(name) {
    if (const char* old = std::getenv(name)) FOld = old;
    if (value)
      setenv(name, value, 1);
    else
      unsetenv(name);
  }
  ~TEnvironmentValue() {
    if (FOld)
      setenv(FName, FOld->c_str(), 1);
    else
      unsetenv(FName);
  }

 private:
  const char* FName;
  std::optional<std::string> FOld;
};

std::string Home(const TTempHome& home) { return (home.Path() / "home").string() + "/"; }

TEST(SettingsFolderTest, QuillonHomeReplacesTheWholeSettingsFolder) {
  TTempHome home;
  EXPECT_EQ(GetSettingsFolder(), Home(home));
  EXPECT_EQ(GetCommonSettingsFolder(), Home(home) + "Common/");
  EXPECT_TRUE(fs::is_directory(Home(home) + "Common"));
  EXPECT_EQ(GetExtractLogsFolder(), Home(home) + "Common/Logs/");
  EXPECT_EQ(GetSourceLogsFolder(), Home(home) + "Common/SourceLogs/");
  EXPECT_TRUE(fs::is_directory(Home(home) + "Common/Logs"));
  EXPECT_TRUE(fs::is_directory(Home(home) + "Common/SourceLogs"));

  TEnvironmentValue slashed("QUILLON_HOME", (Home(home)).c_str());
  EXPECT_EQ(GetSettingsFolder(), Home(home));
}

TEST(SettingsFolderTest, FollowsXdgDataHomeAndFallsBackToHome) {
  TTempDir dir;
  TEnvironmentValue noQuillonHome("QUILLON_HOME", nullptr);
  TEnvironmentValue userHome("HOME", (dir / "user").c_str());
  {
    TEnvironmentValue xdg("XDG_DATA_HOME", (dir / "data").c_str());
    EXPECT_EQ(GetSettingsFolder(), (dir / "data").string() + "/Quillon Desktop/");
    GetCommonSettingsFolder();
    EXPECT_TRUE(fs::is_directory(dir / "data/Quillon Desktop/Common"));
  }
  for (const char* ignored : {"", "relative/data"}) {
    TEnvironmentValue xdg("XDG_DATA_HOME", ignored);
    EXPECT_EQ(GetSettingsFolder(), (dir / "user").string() + "/.local/share/Quillon Desktop/");
  }
}

TEST(DataFoldersTest, LiveInTheCommonFolderUntilTheUserPicksAnother) {
  TTempHome home;
  std::string common = Home(home) + "Common/";
  EXPECT_EQ(GetPersistentDataFolder(), common);
  EXPECT_EQ(GetEmailCacheFolder(), common + "EmailCache/");
  EXPECT_EQ(GetImagesCacheFolder(), common + "ImagesCache/");
  EXPECT_TRUE(fs::is_directory(common + "EmailCache"));

  std::string chosen = (home.Path() / "big disk/data").string();
  ASSERT_TRUE(RegistryWriteString("PersistentDataFolder", chosen));
  EXPECT_EQ(GetPersistentDataFolder(), chosen + "/");
  EXPECT_EQ(GetEmailCacheFolder(), chosen + "/EmailCache/");
  EXPECT_EQ(GetLocalStorageFolder(), chosen + "/LocalStorage/");
  EXPECT_EQ(GetImagesCacheFolder(), chosen + "/ImagesCache/");
  EXPECT_EQ(GetThumbnailsFolder(), chosen + "/Thumbnails/");
  EXPECT_EQ(GetCacheFolder(), chosen + "/Cache/");
  EXPECT_TRUE(fs::is_directory(chosen + "/Thumbnails"));
  EXPECT_EQ(GetTargetsFolder(), common + "Targets/");
}

TEST(TempFolderTest, IsAPrivateFolderUnderTheSystemTempFolder) {
  TTempDir dir;
  TEnvironmentValue tmp("TMPDIR", dir.Path().c_str());
  std::string expected = dir.Path().string() + "/Quillon-" + std::to_string(geteuid()) + "/";
  EXPECT_EQ(GetTempFolder(), expected);
  struct stat info {};
  ASSERT_EQ(stat(expected.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
}

TEST(TempFolderTest, DoesNotFollowALinkPlantedUnderItsName) {
  TTempDir dir;
  TEnvironmentValue tmp("TMPDIR", dir.Path().c_str());
  fs::create_directory(dir / "elsewhere");
  fs::create_directory_symlink(dir / "elsewhere", dir / ("Quillon-" + std::to_string(geteuid())));
  std::string folder = GetTempFolder();
  ASSERT_FALSE(folder.empty());
  EXPECT_FALSE(fs::is_symlink(fs::path(folder).parent_path()));
  EXPECT_TRUE(fs::is_directory(folder));
  EXPECT_EQ(GetTempFolder(), folder);  // the substitute is kept for the process
  fs::remove_all(folder);
}

// ---- Registry stand-in ----

TEST(RegistryTest, RoundTripsValuesAndKeepsOtherLines) {
  TTempHome home;
  WriteFileText(GetRegistryFilename(), "# written by hand\r\nOther=1\r\n");
  ASSERT_TRUE(RegistryWriteString("PersistentDataFolder", "/data/a=b"));
  ASSERT_TRUE(RegistryWriteString("EmptyEmailCache", ""));
  std::string value;
  ASSERT_TRUE(RegistryReadString("PersistentDataFolder", value));
  EXPECT_EQ(value, "/data/a=b");
  ASSERT_TRUE(RegistryReadString("emptyemailcache", value));
  EXPECT_EQ(value, "");

  ASSERT_TRUE(RegistryWriteString("persistentDATAfolder", "/second"));
  EXPECT_EQ(ReadFileText(GetRegistryFilename()),
            "# written by hand\nOther=1\npersistentDATAfolder=/second\nEmptyEmailCache=\n");
}

TEST(RegistryTest, ReadsBooleansLikeTheRegistryDid) {
  TTempHome home;
  EXPECT_FALSE(RegistryReadBool("EmptyEmailCache"));
  EXPECT_TRUE(RegistryReadBool("EmptyEmailCache", true));
  for (const char* truth : {"1", "true", "TRUE", " yes "}) {
    RegistryWriteString("EmptyEmailCache", truth);
    EXPECT_TRUE(RegistryReadBool("EmptyEmailCache", false)) << truth;
  }
  for (const char* falsehood : {"0", "false", "", "2"}) {
    RegistryWriteString("EmptyEmailCache", falsehood);
    EXPECT_FALSE(RegistryReadBool("EmptyEmailCache", true)) << falsehood;
  }
  ASSERT_TRUE(RegistryWriteBool("EmptyEmailCache", true));
  EXPECT_TRUE(RegistryReadBool("EmptyEmailCache"));
  ASSERT_TRUE(RegistryDeleteValue("EmptyEmailCache"));
  EXPECT_TRUE(RegistryReadBool("EmptyEmailCache", true));
  EXPECT_TRUE(RegistryDeleteValue("EmptyEmailCache"));
}

// ---- Error paths ----

TEST(RegistryErrorPathTest, MissingFileReadsAsAbsent) {
  TTempHome home;
  std::string value = "untouched";
  EXPECT_FALSE(RegistryReadString("PersistentDataFolder", value));
  EXPECT_EQ(value, "untouched");
  EXPECT_FALSE(fs::exists(GetRegistryFilename()));
}

TEST(RegistryErrorPathTest, RefusesKeysAndValuesTheFileCannotHold) {
  TTempHome home;
  EXPECT_FALSE(RegistryWriteString("", "x"));
  EXPECT_FALSE(RegistryWriteString("a=b", "x"));
  EXPECT_FALSE(RegistryWriteString("Key", "two\nlines"));
  EXPECT_FALSE(fs::exists(GetRegistryFilename()));
}

TEST(RegistryErrorPathTest, ReportsAFileThatCannotBeReplaced) {
  TTempHome home;
  fs::create_directories(GetRegistryFilename() + "/blocked");
  EXPECT_FALSE(RegistryWriteString("Key", "value"));
  std::string value;
  EXPECT_FALSE(RegistryReadString("Key", value));
}

TEST(RegistryErrorPathTest, ReportsAnUnwritableSettingsFolder) {
  if (geteuid() == 0) GTEST_SKIP() << "permissions do not bind root";
  TTempHome home;
  std::string common = GetCommonSettingsFolder();
  chmod(common.c_str(), 0500);
  EXPECT_FALSE(RegistryWriteString("Key", "value"));
  chmod(common.c_str(), 0700);
}

}  // namespace

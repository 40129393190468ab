// The single-files target around the writers: what it tells the e-mail cache.

#include "uKwTargetSingleFiles.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwEmailCache.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"

namespace fs = std::filesystem;

namespace {

const char* kMessage =
    "From: ann@example.org\r\nTo: team@example.com\r\nSubject: Minutes\r\n"
    "Date: Mon, 15 Jan 2024 10:00:00 +0000\r\nMessage-ID: <m1@example.org>\r\n\r\nSee you.\r\n";

class TKwTargetSingleFilesTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TKwGlobalOptions FGlobal;
  TKwFoldersTree FFolders;
  TKwMailMessage FMessage;

  void SetUp() override {
    FFolders.AddChild(nullptr).Info().FolderName = "Inbox";
    FMessage.LoadMIMEFromString(kMessage);
  }
  // One run of target over FMessage; the written file's name.
  std::string Run(TKwTargetMailSingleFiles& target) {
    target.GlobalOptions = &FGlobal;
    target.InitializeExtractProcess(FFolders);
    FFolders.ForEach([&](TKwFolderNode& node) {
      target.InitializeFolder(node.Info());
      target.ProcessMessage(FMessage);
      target.FinalizeFolder();
    });
    target.FinalizeExtractProcess();
    EXPECT_EQ(target.GetLog().ErrorsCount(), 0);
    return FMessage.LastSavedFilename;
  }
  std::string CachedIdOf(const std::string& fileName) {
    TKwEmailCacheExplorer cache;
    EXPECT_TRUE(cache.Open()) << cache.ErrorText();
    return cache.GetUniqueIdFromFilename(fileName);
  }
};

}  // namespace

TEST_F(TKwTargetSingleFilesTest, WithIndexEmailEveryWrittenFileIsKnownToTheEmailCache) {
  TKwTargetMailSingleFiles target;
  target.Options->TargetFolder = (FHome / "out").string();
  target.Options->DuplicatedFilesAction = dfRename;
  const std::string uniqueId = FMessage.Headers->GetUniqueId();

  const std::string unindexed = Run(target);
  ASSERT_TRUE(fs::exists(unindexed));
  EXPECT_EQ(CachedIdOf(unindexed), "") << "the cache is left alone without IndexEmail";

  FGlobal.IndexEmail = true;
  const std::string first = Run(target);  // renamed: the first file is there
  ASSERT_NE(first, unindexed);
  EXPECT_EQ(CachedIdOf(first), uniqueId);
  const std::string second = Run(target);  // the cache holds the message: one more file of it
  EXPECT_EQ(CachedIdOf(second), uniqueId);
  EXPECT_EQ(CachedIdOf(first), uniqueId);
}

// ---------------------------------------------------------------- error paths

TEST_F(TKwTargetSingleFilesTest, AFileThatCannotBeWrittenIsNotCached) {
  FGlobal.IndexEmail = true;
  WriteFileText(FHome / "blocker", "x");
  TKwTargetMailSingleFiles target;
  target.Options->TargetFolder = (FHome / "blocker").string();
  target.GlobalOptions = &FGlobal;
  target.InitializeExtractProcess(FFolders);
  FFolders.ForEach([&](TKwFolderNode& node) {
    target.InitializeFolder(node.Info());
    target.ProcessMessage(FMessage);
  });
  target.FinalizeExtractProcess();
  EXPECT_EQ(target.GetSaveStatus(), ssError);
  EXPECT_EQ(target.GetLog().ErrorsCount(), 1);
  EXPECT_EQ(FMessage.LastSavedFilename, "");
}

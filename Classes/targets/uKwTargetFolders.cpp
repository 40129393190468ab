#include "uKwTargetFolders.h"

#include <filesystem>

#include "uKwActionLog.h"
#include "uKwFoldersTree.h"
#include "uKwSubs.h"

void TKwTargetMailFolders::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.String("TargetFolder", TargetFolder);
}

void TKwTargetMailFolders::InitializeFolder(const TKwFolderInfo& folder) {
  TKwTargetMailBase::InitializeFolder(folder);
  std::string path = IncludeTrailingPathDelimiter(TargetFolder) +
                     IncludeTrailingPathDelimiter(FFolderInfo->FolderPathClean);
  std::error_code ec;
  std::filesystem::create_directories(path, ec);
  if (ec || !std::filesystem::is_directory(path)) {
    FSaveStatus = ssError;
    Log->AddErrorFull("Could not create folder on disk", FFolderInfo->GetFolderName(), path,
                      FFolderInfo->FolderName, "", "", 0);
  }
}

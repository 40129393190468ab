#pragma once
// Recreates the source's folder structure on disk under TargetFolder, one folder per
// source folder as it starts.

#include "uKwTargetBase.h"

class TKwTargetMailFolders : public TKwTargetMailBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailFolders"; }
  void Publish(TKwPublisher& publisher) override;
  void InitializeFolder(const TKwFolderInfo& folder) override;

  std::string TargetFolder;
};

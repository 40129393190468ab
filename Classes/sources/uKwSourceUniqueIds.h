#pragma once
// Re-reads messages that are already stored locally (local storage or e-mail cache),
// given their unique ids in the UniqueIdList of its one folder, "Root".

#include "uKwSourceBase.h"

class TKwSourceUniqueIds : public TKwSourceMailBase {
 public:
  std::string_view ClassName() const override { return "TKwSourceUniqueIds"; }

  bool InitializeExtraction() override;
  void ProcessMailFolder(TKwFolderNode& folder) override;

 protected:
  // The ids the caller put into the tree are kept: the tree becomes the one "Root" folder
  // holding all of them.
  bool InitializeSourceFolders() override;
};

#pragma once
// Writes every message as a file of its own in the format of Options, under a folder
// tree built from the message (sender, domain, date, source folders) and named by the
// name templates. Duplicates are skipped, overwritten or renamed as Options say.

#include <memory>

#include "uKwParameters.h"
#include "uKwTargetBase.h"

class TKwTargetMailSingleFiles : public TKwTargetMailBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailSingleFiles"; }
  void Publish(TKwPublisher& publisher) override;

  void InitializeFolder(const TKwFolderInfo& folder) override;
  void ProcessMessage(TKwMailMessage& message) override;

  const std::unique_ptr<TKwSingleFilesOptions> Options = std::make_unique<TKwSingleFilesOptions>();

 private:
  void RecordStatus(const std::string& targetFolder, const std::string& fileName, const std::string& error);
  int32_t FFolderSummaryLine = -1;  // this folder's line in the log's folder list
};

#pragma once
// Writes every message as a file of its own in the format of Options, under a folder
// tree built from the message (sender, domain, date, source folders) and named by the
// name templates. Duplicates are skipped, overwritten or renamed as Options say. With
// the global option IndexEmail, every written file is made known to the e-mail cache, so
// that a later run reading these files finds each message's unique id by its file.

#include <memory>

#include "uKwParameters.h"
#include "uKwTargetBase.h"

class TKwEmailCacheExplorer;

class TKwTargetMailSingleFiles : public TKwTargetMailBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailSingleFiles"; }
  void Publish(TKwPublisher& publisher) override;

  TKwTargetMailSingleFiles();
  ~TKwTargetMailSingleFiles() override;

  void InitializeExtractProcess(TKwFoldersTree& folders) override;
  void InitializeFolder(const TKwFolderInfo& folder) override;
  void ProcessMessage(TKwMailMessage& message) override;
  void FinalizeExtractProcess() override;
  // The e-mail cache keeps bodies and attachments of what it indexes.
  TKwDecodeDepth OwnDecodeDepth() const override;
  bool ReadsBounceVerdict() const override { return false; }

  const std::unique_ptr<TKwSingleFilesOptions> Options = std::make_unique<TKwSingleFilesOptions>();

 private:
  void RecordStatus(const std::string& targetFolder, const std::string& fileName, const std::string& error);
  void AddToEmailCache(TKwMailMessage& message, const std::string& fileName);

  std::unique_ptr<TKwEmailCacheExplorer> FCache;  // open from the run's start to its end, with IndexEmail
  int32_t FFolderSummaryLine = -1;  // this folder's line in the log's folder list
};

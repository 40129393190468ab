#pragma once
// Appends messages to mbox files: one file for the whole run (TargetFilename) or one per
// source folder under TargetFolder. A message whose unique id the file already holds is
// never written again. The file is written when its span ends (the run or the folder).

#include <memory>

#include "uKwTargetBase.h"

class TKwMbox;

class TKwTargetMailMbox : public TKwTargetMailBase {
 public:
  TKwTargetMailMbox();
  ~TKwTargetMailMbox() override;
  std::string_view ClassName() const override { return "TKwTargetMailMbox"; }
  void Publish(TKwPublisher& publisher) override;

  void InitializeExtractProcess(TKwFoldersTree& folders) override;
  void InitializeFolder(const TKwFolderInfo& folder) override;
  void ProcessMessage(TKwMailMessage& message) override;
  void FinalizeFolder() override;
  void FinalizeExtractProcess() override;
  bool ExistMessage(const std::string& uniqueId) override;
  // The file takes each message's own bytes; images are embedded from its attachments.
  TKwDecodeDepth OwnDecodeDepth() const override {
    return IncludeImagesInTarget ? TKwDecodeDepth::Everything : TKwDecodeDepth::Headers;
  }
  bool ReadsBounceVerdict() const override { return false; }

  bool IncludeImagesInTarget = false;
  bool OneFilePerMailFolder = false;
  std::string TargetFilename;
  std::string TargetFolder;

 private:
  void OpenFile(const std::string& fileName);
  void SaveFile();

  std::unique_ptr<TKwMbox> FMbox;
  bool FOpen = false;
};

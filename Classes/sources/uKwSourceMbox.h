#pragma once
// The "Mbox" mail source: one folder, the mbox file named by SourceOptions.Filename, whose
// messages it cuts out one at a time and hands on as mail messages.

#include <memory>

#include "uKwSourceBase.h"

class TKwMbox;
class TKwMessagePrefetcher;

class TKwSourceMailMbox : public TKwSourceMailBase {
 public:
  TKwSourceMailMbox();
  ~TKwSourceMailMbox() override;
  std::string_view ClassName() const override { return "TKwSourceMailMbox"; }

  bool LoadFolders() override;
  void ProcessMailFolder(TKwFolderNode& folder) override;
  bool DoLoadMailItem(const TKwMailItem& item, TKwMailMessage& message) override;
  std::unique_ptr<TKwMailMessage> TakeDecodedMessage(const TKwMailItem& item) override;
  void RecycleMessage(std::unique_ptr<TKwMailMessage> message) override;
  // Loads message number id (0-based, decimal text) of the open file into message.
  bool DownloadMessage(const std::string& id, TKwMailMessage& message);

 private:
  // Opens the folder's file for reading; false (with the error logged) when it cannot be.
  bool OpenFolderFile(const TKwFolderInfo& info);

  std::unique_ptr<TKwMbox> FMbox;
  int64_t FCurrentMessage = -1;
  // The current message as decoded ahead, until the loop takes it.
  std::unique_ptr<TKwMailMessage> FDecoded;
  bool FLoadedCurrent = false;  // whether the loop loaded the current message
  TKwMessagePrefetcher* FPrefetcher = nullptr;  // during ProcessMailFolder
};

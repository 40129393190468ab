#include "uKwTargetSingleFiles.h"

#include <filesystem>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwEmailCache.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwMessageOutput.h"

TKwTargetMailSingleFiles::TKwTargetMailSingleFiles() = default;

TKwTargetMailSingleFiles::~TKwTargetMailSingleFiles() = default;

void TKwTargetMailSingleFiles::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Object("Options", *Options);
}

void TKwTargetMailSingleFiles::InitializeExtractProcess(TKwFoldersTree& folders) {
  TKwTargetMailBase::InitializeExtractProcess(folders);
  FCache.reset();
  if (!IsAvailable() || !GlobalOptions || !GlobalOptions->IndexEmail) return;
  FCache = std::make_unique<TKwEmailCacheExplorer>();
  if (FCache->Open()) return;
  Log->AddErrorFull(FCache->ErrorText(), "Opening the e-mail cache", "", "", "", "", 0);
  FCache.reset();
}

void TKwTargetMailSingleFiles::FinalizeExtractProcess() {
  TKwTargetMailBase::FinalizeExtractProcess();
  FCache.reset();
}

void TKwTargetMailSingleFiles::InitializeFolder(const TKwFolderInfo& folder) {
  TKwTargetMailBase::InitializeFolder(folder);
  Log->FoldersList.push_back("0=" + Options->TargetFolder);
  FFolderSummaryLine = static_cast<int32_t>(Log->FoldersList.size()) - 1;
  Options->Filename->EmailClientFolderName = FFolderInfo->GetFolderName();
  Options->Filename->EmailClientFolderPath = FFolderInfo->FolderPathClean;
  FMailMessage->SaveOptions->Assign(*Options);
}

TKwDecodeDepth TKwTargetMailSingleFiles::OwnDecodeDepth() const {
  if (GlobalOptions && GlobalOptions->IndexEmail) return TKwDecodeDepth::Everything;
  return SaveAsDecodeDepth(*Options);
}

void TKwTargetMailSingleFiles::ProcessMessage(TKwMailMessage& message) {
  TKwTargetMailBase::ProcessMessage(message);
  if (!IsAvailable()) return;
  TKwMailMessage& working = *FMailMessage;

  TKwOutputFilename output;
  std::string error;
  if (!MakeFilename(working, Options->Compression->CompressionMethod, output)) {
    FSaveStatus = output.Result.Status;
    error = output.Result.ErrorMessage;
  } else {
    TSaveResult result = SaveAs(working, output);
    FSaveStatus = result.Status;
    error = result.ErrorMessage;
    message.LastSavedFilename = working.LastSavedFilename;
    if (!working.LastSavedFilename.empty()) AddToEmailCache(message, working.LastSavedFilename);
  }
  RecordStatus(output.TargetFolder, output.Filename, error);
}

// A message the cache holds already (the source cached it) gets the file as one more of
// its files; a new one is cached under the file.
void TKwTargetMailSingleFiles::AddToEmailCache(TKwMailMessage& message, const std::string& fileName) {
  std::error_code ec;
  if (!FCache || !std::filesystem::exists(fileName, ec) || !FCache->GetUniqueIdFromFilename(fileName).empty()) return;
  const std::string uniqueId = message.Headers->GetUniqueId();
  const bool added = FCache->ExistMessage(uniqueId) ? FCache->AddFilename(uniqueId, fileName)
                                                    : FCache->AddMessage(message, uniqueId, fileName);
  if (!added) Log->AddErrorFull(FCache->ErrorText(), "Adding to the e-mail cache", fileName, "", "", "", 0);
}

void TKwTargetMailSingleFiles::RecordStatus(const std::string& targetFolder, const std::string& fileName,
                                            const std::string& error) {
  const TKwHeaders& h = *FMailMessage->Headers;
  TDateTime localDate = GmtToLocal(h.SubmitDate.GmtDate);
  int32_t summary = -1;
  switch (FSaveStatus) {
    case ssSaved: Log->IncSaved(); summary = Log->Saved; break;
    case ssRenamed: Log->IncRenamed(); summary = Log->Renamed; break;
    case ssSkipped: Log->IncSkipped(); summary = Log->Saved + Log->Renamed + Log->Overwritten; break;
    case ssOverwritten: Log->IncOverwritten(); summary = Log->Overwritten; break;
    case ssError:
      Log->AddErrorFull(error, "Saving message", fileName, FFolderInfo->GetFolderName(), h.From.Address,
                        h.Subject, localDate);
      break;
    default: break;
  }
  if (summary >= 0 && FFolderSummaryLine >= 0 && FFolderSummaryLine < static_cast<int32_t>(Log->FoldersList.size()))
    Log->FoldersList[FFolderSummaryLine] = std::to_string(summary) + "=" + targetFolder;
  if (GlobalOptions && GlobalOptions->DetailedLog)
    Log->AddMessageStatusFull(FSaveStatus, h.From.Address, h.Subject, localDate);
}

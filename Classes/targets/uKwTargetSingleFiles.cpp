#include "uKwTargetSingleFiles.h"

#include <filesystem>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwMessageOutput.h"

void TKwTargetMailSingleFiles::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Object("Options", *Options);
}

void TKwTargetMailSingleFiles::InitializeFolder(const TKwFolderInfo& folder) {
  TKwTargetMailBase::InitializeFolder(folder);
  Log->FoldersList.push_back("0=" + Options->TargetFolder);
  FFolderSummaryLine = static_cast<int32_t>(Log->FoldersList.size()) - 1;
}

void TKwTargetMailSingleFiles::ProcessMessage(TKwMailMessage& message) {
  TKwTargetMailBase::ProcessMessage(message);
  if (!IsAvailable()) return;
  TKwMailMessage& working = *FMailMessage;
  Options->Filename->EmailClientFolderName = FFolderInfo->GetFolderName();
  Options->Filename->EmailClientFolderPath = FFolderInfo->FolderPathClean;
  working.SaveOptions->Assign(*Options);

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
  }
  RecordStatus(output.TargetFolder, output.Filename, error);
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

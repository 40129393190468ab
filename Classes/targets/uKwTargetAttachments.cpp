#include "uKwTargetAttachments.h"

#include <filesystem>
#include <system_error>

#include "uKwActionLog.h"
#include "uKwAttachments.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwMessageName.h"
#include "uKwMessageOutput.h"
#include "uKwRunFileCache.h"
#include "uKwSubs.h"

namespace fs = std::filesystem;

// ---------------------------------------------------------------- filter

void TKwTargetAttachmentsFilter::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Boolean("Enable", Enable);
  p.Boolean("RemoveAll", RemoveAll);
  p.Strings("AttachmentsList", AttachmentsList);
}

int TKwTargetAttachmentsFilter::StripAttachments(TKwAttachmentsList& attachments) const {
  if (!Enable || attachments.GetCount() == 0) return 0;
  const int before = attachments.GetCount();
  if (RemoveAll) {
    for (int i = attachments.GetCount() - 1; i >= 0; --i) attachments.Delete(i);
    return before;
  }
  for (const std::string& name : AttachmentsList) {
    for (int i = attachments.GetCount() - 1; i >= 0; --i) {
      const TKwAttachment& attachment = attachments.GetAttachment(i);
      if (attachment.IsOrdinary() && SameAttachmentName(attachment.FileName, name))
        attachments.Delete(i);
    }
  }
  return before - attachments.GetCount();
}

void TKwTargetAttachmentsFilter::ProcessMessage(TKwMailMessage& message) {
  if (!IsAvailable()) return;
  // The source lines still hold what was removed: later mail files must be encoded anew.
  if (StripAttachments(*message.Attachments) > 0) message.Changed = true;
  TKwTargetMailPassBase::ProcessMessage(message);
  if (GlobalOptions && GlobalOptions->DetailedLog) {
    const TKwHeaders& headers = *message.Headers;
    Log->AddMessageStatusFull(ssProcessed, headers.From.Address, headers.Subject,
                              headers.SubmitDate.LocalDate());
  }
}

// ---------------------------------------------------------------- attachments target

void TKwTargetMailAttachments::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Object("Options", *Options);
}

std::string TKwTargetMailAttachments::AttachmentsFolderFor(const TKwMailMessage& message) const {
  const std::string messageFolder = MessageFolder(message, *Options);
  const std::string folder =
      ::AttachmentsFolderFor(message, *Options, messageFolder, MessageFileName(message, *Options));
  return folder.empty() ? messageFolder : folder;  // afpNone: no message file to hold them
}

std::string TKwTargetMailAttachments::AttachmentNameTemplate(const TKwMailMessage& message) const {
  const TKwAttachmentFilenameOptions& naming = *Options->AttachmentFilename;
  if (!naming.Enabled || naming.Parts.empty()) return {};
  const TKwHeaders& h = *message.Headers;
  std::string nameTemplate = BuildUserDefinedEmailFileName(
      h.From.Name, h.From.Address, h.From.Domain(), h.ToList.FirstAddress(), h.ToList.FirstDomain(),
      h.Subject, h.MessageID, message.SourceFilename, naming.Parts, h.SubmitDate.LocalDate(),
      h.DeliveryDate.LocalDate(), message.Attachments->GetCount() > 0, naming.Separator, ffNone,
      0, Options->Variable1, Options->Variable2, Options->Variable3,
      Options->Filename->AttachmentSign, Options->Filename->FilenameLength);
  return nameTemplate.find(kAttachmentFilenameMarker) == std::string::npos ? std::string()
                                                                             : nameTemplate;
}

void TKwTargetMailAttachments::LogError(const std::string& error, const std::string& fileName) {
  const TKwHeaders& h = *FMailMessage->Headers;
  Log->AddErrorFull(error, "Cannot save attachment", fileName, FFolderInfo->FolderName, h.From.Address,
                    h.Subject, h.SubmitDate.LocalDate());
}

void TKwTargetMailAttachments::RecordResults(const TKwAttachmentsList& attachments) {
  for (const TKwAttachmentSaveResult& result : attachments.LastResults()) {
    switch (result.Save.Status) {
      case ssSaved: Log->IncSaved(); ++FWritten; break;
      case ssRenamed: Log->IncRenamed(); ++FWritten; break;
      case ssOverwritten: Log->IncOverwritten(); ++FWritten; break;
      case ssSkipped: Log->IncSkipped(); ++FSkipped; break;
      default:
        ++FFailed;
        LogError(result.Save.ErrorMessage, result.Save.FileName);
    }
  }
}

void TKwTargetMailAttachments::SaveMessageAttachments(TKwMailMessage& message) {
  TKwAttachmentsList& attachments = *FMailMessage->Attachments;
  if (Options->TargetFolder.empty()) {
    ++FFailed;
    LogError("No target folder", "");
    return;
  }
  const std::string folder = AttachmentsFolderFor(*FMailMessage);
  if (std::string error; !EnsureRunFolder(folder, error)) {
    ++FFailed;
    LogError("Cannot create folder \"" + folder + "\". " + error, folder);
    return;
  }
  attachments.DuplicatedFilesAction = Options->DuplicatedFilesAction;
  attachments.SaveAttachments(folder, Options->TargetFolder, AttachmentNameTemplate(*FMailMessage),
                              Options->SaveInlineAttachments);
  RecordResults(attachments);
  // The links let a later target of the same message point at the files.
  message.Attachments->Links = attachments.Links;
  if (Options->SaveImagesToAttachmentsFolder) {
    attachments.SaveInlineImages(folder);
    RecordResults(attachments);
  }
}

void TKwTargetMailAttachments::LogMessageStatus() {
  if (!GlobalOptions || !GlobalOptions->DetailedLog) return;
  const TKwHeaders& h = *FMailMessage->Headers;
  Log->AddMessageStatusFull(FSaveStatus, h.From.Address, h.Subject, h.SubmitDate.LocalDate());
}

void TKwTargetMailAttachments::InitializeFolder(const TKwFolderInfo& folder) {
  TKwTargetMailBase::InitializeFolder(folder);
  Options->Filename->EmailClientFolderName = FFolderInfo->GetFolderName();
  Options->Filename->EmailClientFolderPath = FFolderInfo->FolderPathClean;
  FMailMessage->SaveOptions->Assign(*Options);
}

void TKwTargetMailAttachments::ProcessMessage(TKwMailMessage& message) {
  if (!IsAvailable()) return;
  TKwTargetMailBase::ProcessMessage(message);
  FWritten = FSkipped = FFailed = 0;
  const TKwAttachmentsList& attachments = *FMailMessage->Attachments;
  bool hasWork = attachments.GetAttachCount() > 0 ||
                 (attachments.GetInlineCount() > 0 &&
                  (Options->SaveInlineAttachments || Options->SaveImagesToAttachmentsFolder));
  if (hasWork) SaveMessageAttachments(message);
  FSaveStatus = FFailed > 0 ? ssError : FWritten > 0 ? ssSaved : FSkipped > 0 ? ssSkipped : ssProcessed;
  LogMessageStatus();
}

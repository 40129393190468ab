#pragma once
// The two actions that deal with a message's attachments:
// - TKwTargetAttachmentsFilter, a pass that strips attachments from the message it
//   receives (all, or those of listed names) and hands the message on to its children;
// - TKwTargetMailAttachments, a target that saves each message's attachments as files.
//
// Each owns its settings; both refer to the message only for the length of a call. Used
// from the thread that runs their tree.

#include <memory>
#include <string>

#include "uKwParameters.h"
#include "uKwTargetBase.h"

class TKwAttachmentsList;

class TKwTargetAttachmentsFilter : public TKwTargetMailPassBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetAttachmentsFilter"; }
  void Publish(TKwPublisher& publisher) override;
  // Strips the attachments from `message` itself, so every later target sees it without
  // them; then takes its copy and hands the message to the children.
  void ProcessMessage(TKwMailMessage& message) override;

  // The stripping rule alone. Names are compared in lower case; inline parts are never
  // removed by name. Nothing happens unless Enable is set. Returns how many went.
  int StripAttachments(TKwAttachmentsList& attachments) const;

  bool Enable = true;
  bool RemoveAll = false;
  TStringList AttachmentsList;  // file names to strip when RemoveAll is false
};

// Saves attachments under Options.TargetFolder, in the folders the single-files target
// would give the message (one rule, MessageFolder and AttachmentsFolderFor of
// uKwMessageOutput); afpNone, having no message file to keep them in, saves them in the
// message's folder.
// - AttachmentFilename, when Enabled with Parts holding fpAttachmentFilename, names each
//   file by the template; otherwise files keep their own (cleaned) names;
// - DuplicatedFilesAction decides about names already taken; SaveInlineAttachments adds
//   the inline parts, SaveImagesToAttachmentsFolder the body's embedded images.
// Each file's outcome is counted in the log (saved, renamed, skipped, overwritten) or
// logged as an error; the message's status is ssError when any file failed, else ssSaved
// when any was written, else ssSkipped, and ssProcessed for a message with nothing to save.
class TKwTargetMailAttachments : public TKwTargetMailBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailAttachments"; }
  void Publish(TKwPublisher& publisher) override;
  // The working copy takes Options once per folder, the folder's name and path in them.
  void InitializeFolder(const TKwFolderInfo& folder) override;
  void ProcessMessage(TKwMailMessage& message) override;
  bool ReadsBounceVerdict() const override { return false; }

  // Where the attachments of `message` go, with a trailing "/".
  std::string AttachmentsFolderFor(const TKwMailMessage& message) const;
  // The name template for `message`'s attachments; "" when file names are kept.
  std::string AttachmentNameTemplate(const TKwMailMessage& message) const;

  const std::unique_ptr<TKwSingleFilesOptions> Options = std::make_unique<TKwSingleFilesOptions>();

 private:
  void SaveMessageAttachments(TKwMailMessage& message);
  void RecordResults(const TKwAttachmentsList& attachments);
  void LogError(const std::string& error, const std::string& fileName);
  void LogMessageStatus();

  int FWritten = 0, FSkipped = 0, FFailed = 0;  // files of the current message
};

#include "uKwIgnoredSettings.h"

#include <initializer_list>
#include <span>

#include "uKwActionBase.h"

namespace {

using TNames = std::span<const std::string_view>;

// The tree computes each action's depth itself when it writes a report.
constexpr std::string_view kEveryAction[] = {"Level"};

// No source of this build deletes on a target's request, and nothing reads Overwrite.
constexpr std::string_view kMailTarget[] = {"DeleteSourceMessage", "Overwrite"};

// TLS trusts the system's store (and the global CaFile); tokens are refreshed from the
// global token store, never from these.
constexpr std::string_view kRemoteIgnored[] = {"Remote.Authorization", "Remote.RefreshToken", "Remote.SSLCert."};

// What the source loop and the processed-message log read is everything else of the
// source base; these belong to the desktop program's windows or to stores this build
// has no reader for. Sources read Filters, never the copy under SourceOptions.
constexpr std::string_view kMailSource[] = {
    "SourceFolders.Bookmarks", "SourceFolders.RecentPaths", "SourceOptions.AdminPrivilege",
    "SourceOptions.CanConnect", "SourceOptions.DoNotProcessMessages", "SourceOptions.DownloadImages",
    "SourceOptions.Drive", "SourceOptions.IndexMessages", "SourceOptions.Password", "SourceOptions.ProfileName",
    "SourceOptions.SourceLocation", "SourceOptions.FoldersView", "SourceOptions.ForceOnline",
    "SourceOptions.IncludeThreadedReplies", "SourceOptions.LoadPublicFolders", "SourceOptions.LoadTopFoldersOnly",
    "SourceOptions.Mailbox", "SourceOptions.MailboxDN", "SourceOptions.OneEmailPerThread",
    "SourceOptions.ParseBodyWords", "SourceOptions.UseOutlookToReadMsgFiles", "SourceOptions.AmazonS3.",
    "SourceOptions.Filters.", "SourceOptions.RestApi.", "SourceOptions.SMIMECert.",
    "SourceOptions.Remote.Authorization", "SourceOptions.Remote.RefreshToken", "SourceOptions.Remote.SSLCert.",
    "Filters.Resume.", "Filters.AlreadyFiltered"};
constexpr std::string_view kNoServer[] = {"SourceOptions.Remote."};
constexpr std::string_view kNoMboxFile[] = {"SourceOptions.Filename"};
constexpr std::string_view kNoMessageFolder[] = {"SourceOptions.Folder"};
// Only the message-files source opens encrypted files and PDFs.
constexpr std::string_view kNoFileSecrets[] = {"SourceOptions.EncryptionAlgorithm",
                                               "SourceOptions.EncryptionPassword", "SourceOptions.PDFPassword"};
// Only the IMAP sources delete from their store and let the server search. The others
// tell the mail filter no read state before a message is loaded, so that condition lets
// every message through.
constexpr std::string_view kNoServerSide[] = {"SourceOptions.DeleteMessages", "Filters.Mail.GmailSearch",
                                              "Filters.Mail.UseGmailSyntax", "Filters.Mail.NotReadFlag"};
// The stored copies are filtered by their cached summary, which holds no recipients.
constexpr std::string_view kNoRecipients[] = {"Filters.Mail.To"};
// The sources of stored copies build their one folder themselves.
constexpr std::string_view kNoFolderNames[] = {"SourceOptions.FolderName."};

// The single-files options that neither file target reads. The folder's own name and path
// are set by the target for each folder, over what is stored.
constexpr std::string_view kSingleFilesOptions[] = {
    "Options.Drive", "Options.IncludeImagesInTarget", "Options.PrinterName", "Options.ProfileName",
    "Options.TargetFolderId", "Options.Remote.", "Options.Filename.EmailClientFolderName",
    "Options.Filename.EmailClientFolderPath", "Options.Filename.Script", "Options.Filename.ScriptLanguage",
    "Options.Filename.TrimSubject"};
// Archives take libarchive's default level; PDF/A and signing are refused, not done.
constexpr std::string_view kSingleFilesTarget[] = {
    "Options.SaveImagesToAttachmentsFolder", "Options.Compression.CompressionLevel",
    "Options.Compression.SevenZipEncryptionMethod", "Options.ZIP.Compress", "Options.ZIP.CompressionLevel",
    "Options.Page.FitWidthToPage", "Options.PDF.UsePDFAMode", "Options.PDF.Signature."};
// The attachments target writes no message file: what shapes one is not read.
constexpr std::string_view kAttachmentsTarget[] = {
    "Options.Compression.", "Options.ZIP.", "Options.PDF.", "Options.Page.", "Options.EmbedAttachmentsInBody",
    "Options.FileEncoding", "Options.InsertAttachmentsInTarget", "Options.PutEmailHeaders",
    "Options.PutFullEmailHeaders", "Options.SaveBodyPart", "Options.TargetFileFormat"};

// CSV is always rewritten, as the desktop program did.
constexpr std::string_view kColumnarTarget[] = {"AppendToFile"};
// A message is uploaded as its source, or as MIME rebuilt when it has none.
constexpr std::string_view kImapTarget[] = {"IncludeImagesInTarget"};
// The mail filter runs on the message's headers, never as a server search.
constexpr std::string_view kMailFilter[] = {"Filter.GmailSearch", "Filter.UseGmailSyntax"};
// The bounce filter decides by the bounce type alone.
constexpr std::string_view kBounceFilter[] = {"Filter."};
// No scheduler runs jobs (the schedule only reaches the job file's trailer), and the
// detailed log is the global option's.
constexpr std::string_view kJob[] = {"DetailedLog", "JobType", "Schedule."};

void Add(std::vector<std::string_view>& names, std::initializer_list<TNames> groups) {
  for (TNames group : groups) names.insert(names.end(), group.begin(), group.end());
}

void AddSourceKind(std::vector<std::string_view>& names, TSourceTargetItem kind) {
  Add(names, {kMailSource});
  switch (kind) {
    case stiMailSrcMbox:
      Add(names, {kNoServer, kNoMessageFolder, kNoFileSecrets, kNoServerSide});
      break;
    case stiMailSrcSingleFiles:
      Add(names, {kNoServer, kNoMboxFile, kNoServerSide});
      break;
    case stiMailUniqueIds:
      Add(names, {kNoServer, kNoMboxFile, kNoMessageFolder, kNoFileSecrets, kNoServerSide, kNoFolderNames, kNoRecipients});
      break;
    case stiMailSrcPOP:
      Add(names, {kNoMboxFile, kNoMessageFolder, kNoFileSecrets, kNoServerSide});
      break;
    case stiMailSrcIMAP:
    case stiMailSrcGmail:
    case stiMailSrcOutlookCom:
    case stiMailSrcYahooIMAP:
    case stiMailSrcICloudMail:
      Add(names, {kNoMboxFile, kNoMessageFolder, kNoFileSecrets});
      break;
    default: break;
  }
}

void AddKind(std::vector<std::string_view>& names, TSourceTargetItem kind) {
  switch (kind) {
    case stiJob: Add(names, {kJob}); break;
    case stiMailTarSingleFiles:
      Add(names, {kSingleFilesOptions, kSingleFilesTarget});
      break;
    case stiMailTarAttachments:
      Add(names, {kSingleFilesOptions, kAttachmentsTarget});
      break;
    case stiMailTarEmailParts:
    case stiMailTarEDataColumnar: Add(names, {kColumnarTarget}); break;
    case stiMailTarIMAP:
    case stiMailTarGmail:
    case stiMailTarOutlookCom:
    case stiMailTarYahooIMAP:
      Add(names, {kImapTarget, kRemoteIgnored});
      break;
    case stiMailTarEmailForwarder:
    case stiMailTarEDataSendEmail:
    case stiSendEmail: Add(names, {kRemoteIgnored}); break;
    case stiMailPasFilter: Add(names, {kMailFilter}); break;
    case stiMailPasBounceFilter: Add(names, {kBounceFilter}); break;
    default: break;
  }
}

bool Covers(std::string_view entry, std::string_view path) {
  return entry.ends_with('.') ? path.starts_with(entry) : path == entry;
}

}  // namespace

std::vector<std::string_view> IgnoredSettingsOf(TSourceTargetItem kind) {
  std::vector<std::string_view> names(std::begin(kEveryAction), std::end(kEveryAction));
  const TActionRol role = GetItemActionRol(kind);
  if (role == arSource) AddSourceKind(names, kind);
  if (role == arPass || role == arTarget) Add(names, {kMailTarget});
  AddKind(names, kind);
  return names;
}

bool IsSettingActedOn(TKwActionBase& action, std::string_view path) {
  if (!action.IsAvailable()) return false;
  for (std::string_view entry : IgnoredSettingsOf(action.ItemType))
    if (Covers(entry, path)) return false;
  return true;
}

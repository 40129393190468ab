#pragma once
// The option objects that configure actions. Each is a persistable record whose
// published properties (in the order Publish lists them) are stored inside the owning
// action's property stream under dotted names ("SourceOptions.Remote.Port").
//
// Every property is a public member named as the property. Nested option objects are
// created with their owner, owned by it and never null (the pointers are const); Assign
// copies them by their own Assign. Objects are used from one thread.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "uKwFilters.h"
#include "uKwPersistent.h"
#include "uKwTypes.h"

#define KW_OPTION_CLASS(Name)                                      \
  std::string_view ClassName() const override { return #Name; }    \
  void Publish(TKwPublisher& publisher) override

class TKwCertificateOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwCertificateOptions);
  void Clear();

  std::string CertEncoded, CertStore, CertSubject;
};

// Connection to a mail or web server.
class TKwRemoteOptions : public TKwPersistent {
 public:
  TKwRemoteOptions() { Clear(); }
  KW_OPTION_CLASS(TKwRemoteOptions);
  // Resets SSLCert too.
  void Clear();

  std::string AccessToken, Authorization;
  TImapAuthMechanism ImapAuthMechanism = iamUserPassword;
  std::string Password;
  int32_t Port = 993;
  std::string RefreshToken, Server;
  const std::unique_ptr<TKwCertificateOptions> SSLCert = std::make_unique<TKwCertificateOptions>();
  std::string Username;
  bool UseSSL = false;
};

class TKwMailAccountOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwMailAccountOptions);
  void Clear();

  std::string AccountName, EmailAddress, Organization, ReplyAddress, UserName;
};

class TKwRestApiOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwRestApiOptions);

  std::string AccessToken, ApiKey, Password;
  bool SSLEndpoint = false;
  std::string SubDomain, Username;
};

class TKwAmazonStorageOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwAmazonStorageOptions);
  // Leaves SSLCert as it is (unlike TKwRemoteOptions::Clear).
  void Clear();

  std::string AwsAccesKey, AwsSecretKey;
  const std::unique_ptr<TKwCertificateOptions> SSLCert = std::make_unique<TKwCertificateOptions>();
  std::string StorageName;
};

class TKwScheduleOptions : public TKwPersistent {
 public:
  TKwScheduleOptions() { Clear(); }
  KW_OPTION_CLASS(TKwScheduleOptions);
  // Resets every property; StartDateTime becomes the current local time.
  void Clear();
  // The schedule as a sentence for job lists and the job file's trailer:
  //   "Not scheduled"                    when not Enabled, or SchedulingInterval is siNone
  //   "Once at 2024-01-31 08:00"         siDateTime, at StartDateTime
  //   "Daily at 08:00"                   siOnceADay, at the time of day of StartTime
  //   "Every 30 minutes from 08:00"      siDailyAtIntervals, from the time of StartTime
  // Repeating kinds name their days unless all seven are set: "Weekdays at 08:00",
  // "Mon, Wed and Fri at 08:00", "Every hour from 08:00 on weekends"; with no day set
  // the text is "Not scheduled (no week day chosen)".
  std::string GetStatusText() const;

  bool Enabled = false;
  int32_t MinutesInterval = 0;
  std::string Password;
  bool RunOnlyWhenLoggedOn = true;
  bool RunWithHighestPrivileges = false;
  TSchedulingInterval SchedulingInterval = siDateTime;
  TDateTime StartDateTime = 0;
  TDateTime StartTime = 0;
  std::string TaskName, UserName;
  int32_t WeekDays = 127;  // bit mask of the seven week days: bit 0 Sunday ... bit 6 Saturday
};

class TKwPDFEncryptionOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwPDFEncryptionOptions);

  bool CanAddNotes = true, CanAssemble = true, CanChange = true, CanCopy = true;
  bool CanCopyAccess = true, CanFillFields = true, CanPrint = true, CanPrintFull = true;
  bool Encrypt = false;
  TPDFEncryptionLevel EncryptionLevel = pel40bit;
  std::string OwnerPassword, UserPassword;
};

class TKwPDFSigningOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwPDFSigningOptions);

  std::string ContactInfo, Location, PFXFilename, PFXPassword, Reason;
  bool Sign = false;
};

class TKwPDFOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwPDFOptions);

  const std::unique_ptr<TKwPDFEncryptionOptions> Encryption = std::make_unique<TKwPDFEncryptionOptions>();
  bool InsertEmailAttachments = false, InsertEmailHeaders = false, InsertEmailMetadata = true;
  const std::unique_ptr<TKwPDFSigningOptions> Signature = std::make_unique<TKwPDFSigningOptions>();
  bool UsePDFAMode = false;
};

class TKwZIPCompressionOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwZIPCompressionOptions);

  bool Compress = false;
  TZIPCompressionLevel CompressionLevel = zclNormal;
  TZIPEncryptionMethod EncryptionMethod = zemNone;
  std::string Password;
};

class TKwCompressionOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwCompressionOptions);

  int32_t CompressionLevel = 0;
  TCompressionMethod CompressionMethod = cmNone;
  TEncryptionAlgorithm EncryptionAlgorithm = eaNone;
  std::string Password;
  TSevenZipEncryptionMethod SevenZipEncryptionMethod = semNone;
};

// How single message files are named.
class TKwFilenameOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwFilenameOptions);

  std::string AttachmentSign = "[+]";
  std::string EmailClientFolderName, EmailClientFolderPath;
  TSFFileNameFormat Format = fnfDateFromIdSubject;
  TSFFilenameMethod Method = fnmDefault;
  std::string Parts, Script;
  std::string Separator = "-";
  int32_t FilenameLength = 128;
  TScriptLanguage ScriptLanguage = slBasic;
  bool TrimSubject = false;
};

class TKwAttachmentFilenameOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwAttachmentFilenameOptions);

  bool Enabled = false;
  std::string Parts;
  std::string Separator = "-";
};

class TKwPageOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwPageOptions);

  double BottomMargin = 0.5;
  bool FitWidthToPage = false;
  double LeftMargin = 1.0;
  TPrinterOrientation Orientation = poPortrait;
  TSFPaperSize PaperSize = psLetter;
  double RightMargin = 0.5, TopMargin = 0.5;
};

class TKwFolderOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwFolderOptions);

  std::string AuthorizationCode;
  TDrive Drive = dLocalDisk;
  std::string FolderId, Path;
};

// Layout of single message files written by a target.
class TKwSingleFilesOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwSingleFilesOptions);

  const std::unique_ptr<TKwAttachmentFilenameOptions> AttachmentFilename =
      std::make_unique<TKwAttachmentFilenameOptions>();
  TAttachmentsFolderPlacement AttachmentsFolder = afpNone;
  const std::unique_ptr<TKwCompressionOptions> Compression = std::make_unique<TKwCompressionOptions>();
  TDrive Drive = dLocalDisk;
  TSFDuplicatedFilesAction DuplicatedFilesAction = dfSkip;
  bool EmbedAttachmentsInBody = false;
  TKwEncoding FileEncoding = meUnicode;
  const std::unique_ptr<TKwFilenameOptions> Filename = std::make_unique<TKwFilenameOptions>();
  bool FolderStructureUseVariable1 = false, IncludeImagesInTarget = false, InsertAttachmentsInTarget = true;
  const std::unique_ptr<TKwPageOptions> Page = std::make_unique<TKwPageOptions>();
  const std::unique_ptr<TKwPDFOptions> PDF = std::make_unique<TKwPDFOptions>();
  std::string PrinterName, ProfileName;
  bool PutEmailHeaders = false, PutFullEmailHeaders = false;
  const std::unique_ptr<TKwRemoteOptions> Remote = std::make_unique<TKwRemoteOptions>();
  bool SaveBodyPart = false, SaveImagesToAttachmentsFolder = false, SaveInlineAttachments = false;
  bool SubFolderComputerName = false;
  TSFSubFolderStructure SubFolderStructure = sfsDontCreateSubFolders;
  bool SubFolderUserName = false, SubFolderYearMonth = false;
  TFileFormat TargetFileFormat = ffSfEml;
  std::string TargetFolder, TargetFolderId, Variable1, Variable2, Variable3;
  const std::unique_ptr<TKwZIPCompressionOptions> ZIP = std::make_unique<TKwZIPCompressionOptions>();
};

class TKwEmailCacheOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwEmailCacheOptions);

  bool Enabled = false, EncryptCache = false;
  std::string Folder, Password;
};

class TKwFolderNameOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwFolderNameOptions);

  std::string InvalidCharacters = "#$%&*./\\:<>?";
  std::string ReplaceChar = "_";
  bool ReplaceInvalidCharacters = false;
};

class TKwFirewallOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwFirewallOptions);

  bool AutoDetect = false;
  TFirewallType FirewallType = ftNone;
  std::string Host, Password;
  int32_t Port = 0;
  std::string Username;
};

class TKwProxyOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwProxyOptions);

  TProxyAuthScheme AuthScheme = pasBasic;
  bool AutoDetect = false;
  std::string Password;
  int32_t Port = 80;
  std::string Server;
  TProxySSLType SSLtype = pstAutomatic;
  std::string User;
};

// How exports and the command line write a message's date: the locale's date and time
// (the default), or ISO 8601 with the offset of the message's own Date header. Typed by
// users as "locale" and "iso", hence identifiers without the usual type prefix.
enum class TKwDateFormat : int { Locale, Iso };
template <>
struct TKwEnumTraits<TKwDateFormat> {
  static constexpr std::string_view TypeName = "TKwDateFormat";
  static constexpr std::string_view Names[] = {"locale", "iso"};
};

// Application-wide settings, created by the host and shared by reference with every
// action of a tree. Also the store of OAuth tokens, kept in clear text.
class TKwGlobalOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwGlobalOptions);

  // The tokens stored for `key` (matched case-insensitively). False, with empty outputs
  // and a zero expiry, when no line holds the key. The expiry is local time; a line
  // without an expiry, or with an unreadable one, gives zero.
  bool OauthGetTokens(std::string_view key, std::string& accessToken, std::string& refreshToken,
                      TDateTime& expiry) const;
  // Replaces the line of `key`, or appends one: "key=access:refresh~unixtime", the
  // expiry taken as local time and stored as seconds since 1970-01-01 UTC.
  void OauthSetTokens(std::string_view key, std::string_view accessToken, std::string_view refreshToken,
                      TDateTime expiry);

  const std::unique_ptr<TKwCompressionOptions> LocalStorageCompression = std::make_unique<TKwCompressionOptions>();
  bool CopySFtoStorage = false, DetailedLog = false;
  const std::unique_ptr<TKwFirewallOptions> Firewall = std::make_unique<TKwFirewallOptions>();
  bool IndexEmail = false;
  const std::unique_ptr<TKwZIPCompressionOptions> LocalStorageZIPOptions =
      std::make_unique<TKwZIPCompressionOptions>();
  TStringList OauthList;  // "key=access:refresh~unixtime" lines
  const std::unique_ptr<TKwProxyOptions> Proxy = std::make_unique<TKwProxyOptions>();
  bool UseLocalStorage = false;
  std::string CaFile;  // a certificate bundle trusted beside the system's, for TLS connections
  TKwDateFormat DateFormat = TKwDateFormat::Locale;

 private:
  int FindOauthLine(std::string_view key) const;  // index into OauthList, or -1
};

// Where and how a mail source reads.
class TKwSourceOptions : public TKwPersistent {
 public:
  KW_OPTION_CLASS(TKwSourceOptions);

  bool AdminPrivilege = false;
  const std::unique_ptr<TKwAmazonStorageOptions> AmazonS3 = std::make_unique<TKwAmazonStorageOptions>();
  bool CanConnect = false, CopyToSourceLog = false, CopyToStorage = false, DeleteMessages = false;
  bool DoNotProcessMessages = false, DownloadImages = false;
  TDrive Drive = dLocalDisk;
  TEncryptionAlgorithm EncryptionAlgorithm = eaNone;
  std::string EncryptionPassword, Filename;
  const std::unique_ptr<TKwFilterOptions> Filters = std::make_unique<TKwFilterOptions>();
  std::string Folder;
  const std::unique_ptr<TKwFolderNameOptions> FolderName = std::make_unique<TKwFolderNameOptions>();
  bool IndexMessages = true;  // declared default true: stored only when false
  std::string Password, ProfileName;
  TSourceLocation SourceLocation = slDefaultLocation;
  const std::unique_ptr<TKwRemoteOptions> Remote = std::make_unique<TKwRemoteOptions>();
  TSourceFoldersView FoldersView = sfvFolders;
  bool ForceOnline = false;
  bool IncludeThreadedReplies = true;  // declared default true
  bool LoadPublicFolders = false, LoadTopFoldersOnly = false;
  std::string Mailbox, MailboxDN;
  bool OneEmailPerThread = true;  // declared default true
  bool ParseBodyWords = false;
  std::string PDFPassword;
  const std::unique_ptr<TKwRestApiOptions> RestApi = std::make_unique<TKwRestApiOptions>();
  const std::unique_ptr<TKwCertificateOptions> SMIMECert = std::make_unique<TKwCertificateOptions>();
  bool UseOutlookToReadMsgFiles = false;
};

#undef KW_OPTION_CLASS

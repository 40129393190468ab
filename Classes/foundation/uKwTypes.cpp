#include "uKwTypes.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "uKwAssert.h"

namespace {

constexpr std::string_view kUnitName = "Classes/uKwTypes";

// The text of an ordinal in a table indexed by ordinal; "" outside the table.
template <std::size_t N>
std::string TextAt(const std::string_view (&texts)[N], int ordinal) {
  if (ordinal < 0 || static_cast<std::size_t>(ordinal) >= N) return {};
  return std::string(texts[ordinal]);
}

template <class E>
std::string IdentifierWithoutPrefix(E value, std::size_t prefixLength) {
  const std::string_view identifier = EnumInfo<E>().Name(static_cast<int>(value));
  if (identifier.size() < prefixLength) return {};
  return std::string(identifier.substr(prefixLength));
}

// ---- Action kinds ----

struct TItemEntry {
  TSourceTargetItem Item;
  std::string_view ShortName;  // "" for the kinds without an entry
  std::string_view Caption;
  bool IsRemote;  // member of TRemoteItemsRol
};

// Short names are not unique (a source and a target of one store share theirs); the
// value identifier is what identifies a kind.
constexpr TItemEntry kItemEntries[] = {
    {stiOther, "", "", false},
    {stiJob, "BatchJob", "Batch Extract Job", false},
    {stiJobRemote, "RemoteJob", "Remote Job", false},
    {stiJobTarget, "TargetJob", "Target Profile", false},
    {stiMailSrcSingleFiles, "LocalFiles", "Local Files", false},
    {stiMailUniqueIds, "UniqueIds", "UniqueIds", false},
    {stiMailSrcPOP, "POPServer", "POP Server", true},
    {stiMailSrcOutlookCom, "Outlook.com", "Outlook.com / Hotmail", true},
    {stiMailSrcICloudMail, "iCloudMail", "iCloud Mail", true},
    {stiMailSrcIMAP, "IMAPServer", "IMAP Server", true},
    {stiMailSrcGmail, "GMail", "GMail", true},
    {stiMailSrcYahooIMAP, "YahooMailImap", "Yahoo! Mail", true},
    {stiMailSrcGmailApi, "GMailAPI", "GMail API", false},
    {stiMailSrcExchangeApi, "", "", false},
    {stiMailSrcExchange, "ExchangeServer", "Exchange Server", false},
    {stiMailSrcOutlook, "Outlook", "MS Outlook / Exchange", false},
    {stiMailSrcOutlookMapi, "OutlookMapi", "MS Outlook MAPI", false},
    {stiMailSrcOutlookExpress, "OutlookExpress", "Outlook Express", false},
    {stiMailSrcWindowsMail, "WindowsMail", "Windows Mail", false},
    {stiMailSrcWindowsLiveMail, "WindowsLiveMail", "Windows Live Mail", false},
    {stiMailSrcThunderbird, "Thunderbird", "Thunderbird", false},
    {stiMailSrcIncrediMail, "IncrediMail", "IncrediMail", false},
    {stiMailSrcEudora, "Eudora", "Eudora", false},
    {stiMailSrcPegasus, "Pegasus", "Pegasus", false},
    {stiMailSrcOperaMail, "OperaMail", "Opera Mail", false},
    {stiMailSrcLotusNotes, "LotusNotes", "Lotus Notes", false},
    {stiMailSrcLocalArchive, "LocalArchive", "Local Archive", false},
    {stiMailSrcLocalStorage, "LocalStorage", "Local Storage", false},
    {stiMailSrcAS3, "AmazonS3", "Amazon S3", true},
    {stiMailSrcFacebook, "Facebook", "Facebook", true},
    {stiMailSrcZendesk, "Zendesk", "Zendesk", true},
    {stiMailSrcHelpScout, "HelpScout", "HelpScout", true},
    {stiMailSrcFreshdesk, "Freshdesk", "Freshdesk", true},
    {stiMailSrcDesk, "Desk", "Desk", true},
    {stiMailSrcGroove, "Groove", "Groove", true},
    {stiMailSrcHappyfox, "HappyFox", "HappyFox", true},
    {stiMailSrcMbox, "Mbox", "Mbox Format", false},
    {stiMailSrcDbx, "Dbx", "Dbx", false},
    {stiMailPasFilter, "MailFilter", "Mail Filter", true},
    {stiMailPassBlacklistFilter, "BlacklistsFilter", "Blacklists Filter", true},
    {stiMailPasBounceFilter, "BouncedMailFilter", "Bounced Mail Filter", true},
    {stiMailPasFilterTrue, "FilterTrue", "Filter Condition: True", true},
    {stiMailPasFilterFalse, "FilterFalse", "Filter Condition: False", true},
    {stiMailPasEmailDataParser, "EmailParser", "Email Parser", false},
    {stiMailPasEmailDataDBCollect, "CollectData", "Collect Data", false},
    {stiMailPasImagesDownloader, "ImagesDownloader", "Images Downloader", false},
    {stiMailPasAttachmentsFilter, "AttachmentsFilter", "Attachments Filter", false},
    {stiMailPasTargetsFolder, "Folder", "Folder", false},
    {stiMailTarRemotePC, "RemotePC", "Remote PC", false},
    {stiMailPasTargetAddressTable, "AddressTable", "Address Table", true},
    {stiMailTarSingleFiles, "LocalFiles", "Local Files", false},
    {stiMailTarCompilation, "Compilation", "Compilation", false},
    {stiMailTarPrinter, "BatchPrinter", "Batch Printer", false},
    {stiMailTarDownloadManager, "Downloadmanager", "Download Manager", false},
    {stiMailTarFolders, "SourceFoldersStructure", "Source Folders Structure", false},
    {stiMailTarAttachments, "Attachments", "Attachments", false},
    {stiMailTarEmailForwarder, "EmailForwarder", "Email Forwarder", true},
    {stiMailTarScript, "Script", "Script", true},
    {stiMailTarExchange, "ExchangeServer", "Exchange Server", false},
    {stiMailTarOutlook, "Outlook", "MS Outlook / Exchange", false},
    {stiMailTarOutlookMapi, "OutlookMapi", "MS Outlook MAPI", false},
    {stiMailTarThunderbird, "Thunderbird", "Thunderbird", false},
    {stiMailTarIMAP, "IMAPServer", "IMAP Server", true},
    {stiMailTarGmail, "GMail", "GMail", true},
    {stiMailTarOutlookCom, "Outlook.com", "Outlook.com / Hotmail", true},
    {stiMailTarYahooIMAP, "YahooMailImap", "Yahoo! Mail", true},
    {stiMailTarGmailApi, "GMailAPI", "GMail API", true},
    {stiMailTarExchangeApi, "", "", true},
    {stiMailTarAS3, "AmazonS3", "Amazon S3", true},
    {stiMailTarDesk, "Desk", "Desk", true},
    {stiMailTarFreshdesk, "Freshdesk", "Freshdesk", true},
    {stiMailTarHelpScout, "HelpScout", "HelpScout", true},
    {stiMailTarZendesk, "Zendesk", "Zendesk", true},
    {stiMailTarZohoDesk, "ZohoDesk", "Zoho Desk", true},
    {stiMailTarMbox, "Mbox", "Mbox Format", false},
    {stiMailTarLocalArchive, "LocalArchive", "Local Archive", false},
    {stiMailTarStorageLocal, "LocalStorage", "Local Storage", false},
    {stiMailTarEmailParts, "ExportParts", "Export Parts", false},
    {stiMailTarEDataColumnar, "Columnar", "Columnar", false},
    {stiMailTarEDataSendEmail, "SendEmail", "Send Email", false},
    {stiMailTarReport, "Report", "Report", false},
    {stiMailTarDB, "Database", "Database", false},
    {stiMailTarBatchBook, "Batchbook", "Batchbook", true},
    {stiMailTarCapsule, "Capsule", "Capsule", true},
    {stiMailTarHighrise, "Highrise", "Highrise", true},
    {stiMailTarInsightly, "Insightly", "Insightly", true},
    {stiMailTarAgile, "AgileCRM", "Agile CRM", true},
    {stiMailTarOnePage, "OnePageCRM", "OnePage CRM", true},
    {stiMailTarGetBase, "BaseCRM", "Base CRM", true},
    {stiMailTarPipedrive, "Pipedrive", "Pipedrive", true},
    {stiMailTarProsperWorks, "ProsperWorks", "ProsperWorks", true},
    {stiMailTarZoho, "ZohoCRM", "Zoho CRM", true},
    {stiMailTarSolve360, "Solve360", "Solve360", true},
    {stiFolderOperation, "FolderOperations", "Folder Operations", false},
    {stiFileOperation, "FileOperations", "File Operations", false},
    {stiZipCompress, "ZipCompress", "Zip Compress", false},
    {stiZipDecompress, "ZipDecompress", "Zip DeCompress", false},
    {stiEncryption, "Encryption", "Encryption", false},
    {stiRunApplication, "ExecuteApplication", "Execute Application", false},
    {stiRunDosCommand, "ExecuteDOSCommand", "Execute DOS Command", false},
    {stiSendEmail, "SendEmail", "Send Email", false},
    {stiFTPFolderOperation, "FTPFolderOperation", "FTP Folder Operation", false},
    {stiFTPFileOperation, "FTPFileOperation", "FTP File Operation", false},
};
static_assert(std::size(kItemEntries) == TSourceTargetItemCount);

template <class Table>
constexpr bool IsIndexedByOrdinal(const Table& table) {
  for (std::size_t i = 0; i < std::size(table); ++i)
    if (static_cast<std::size_t>(table[i].Item) != i) return false;
  return true;
}
static_assert(IsIndexedByOrdinal(kItemEntries));

const TItemEntry* FindItemEntry(TSourceTargetItem item) {
  const int ordinal = static_cast<int>(item);
  if (ordinal < 0 || ordinal >= TSourceTargetItemCount) return nullptr;
  return &kItemEntries[ordinal];
}

// Asking for the display text of a kind without one is a programming error.
const TItemEntry& ItemEntryWithTexts(TSourceTargetItem item) {
  const TItemEntry* entry = FindItemEntry(item);
  if (entry == nullptr || entry->ShortName.empty()) AssertionFailure(kUnitName, __LINE__);
  return *entry;
}

// Roles are fixed by ordinal range, whatever a value's prefix says.
struct TRolRange {
  TSourceTargetItem First;
  TSourceTargetItem Last;
  TActionRol Rol;
};

constexpr TRolRange kRolRanges[] = {
    {stiJob, stiJobRemote, arJob},
    {stiJobTarget, stiJobTarget, arJobTarget},
    {stiMailSrcSingleFiles, stiMailSrcDbx, arSource},
    {stiMailPasFilter, stiMailPasTargetAddressTable, arPass},
    {stiMailTarSingleFiles, stiMailTarSolve360, arTarget},
    {stiFolderOperation, stiFTPFileOperation, arSimple},
};
static_assert(stiFTPFileOperation == TSourceTargetItemCount - 1);

// Which child roles each parent role accepts, indexed by TActionRol.
constexpr unsigned RolBit(TActionRol rol) { return 1u << static_cast<unsigned>(rol); }
constexpr unsigned kAcceptedChildRols[] = {
    /* arNil */ RolBit(arJob) | RolBit(arJobTarget),
    /* arJob */ RolBit(arSource) | RolBit(arSimple),
    /* arJobTarget */ RolBit(arPass) | RolBit(arTarget) | RolBit(arSimple),
    /* arSource */ RolBit(arPass) | RolBit(arTarget),
    /* arPass */ RolBit(arPass) | RolBit(arTarget),
    /* arTarget */ 0,
    /* arSimple */ 0,
    /* arNone */ 0,
};
static_assert(std::size(kAcceptedChildRols) == TActionRolCount);

bool IsOneOf(TSourceTargetItem item, std::initializer_list<TSourceTargetItem> items) {
  return std::find(items.begin(), items.end(), item) != items.end();
}

// ---- File formats ----

struct TFileFormatEntry {
  TFileFormat Item;
  std::string_view Name;
  std::string_view Extension;
};

constexpr TFileFormatEntry kFileFormatEntries[] = {
    {ffColExcel, "Excel (*.xls)", ".xls"},
    {ffColXlsx, "Excel (*.xlsx)", ".xlsx"},
    {ffColCsv, "Comma Separated (*.csv)", ".csv"},
    {ffColTxt, "Text (*.txt)", ".txt"},
    {ffColXml, "XML (*.xml)", ".xml"},
    {ffColSqL3, "SQLite3 (*.db3)", ".db3"},
    {ffColHtml, "HTML (*.html)", ".html"},
    {ffColAccess, "MS Access (*.accdb)", ".accdb"},
    {ffColGSSheet, "Google Spreadsheet", ""},
    {ffComPdf, "Acrobat PDF (*.pdf)", ".pdf"},
    {ffComChm, "Windows Help (*.chm)", ".chm"},
    {ffSfEml, "Mime (*.eml)", ".eml"},
    {ffSfPdf, "PDF (*.pdf)", ".pdf"},
    {ffSfMsg, "Outlook MSG (*.msg)", ".msg"},
    {ffSfMht, "MSHTML (*.mht)", ".mht"},
    {ffSfHtm, "HTML (*.htm)", ".htm"},
    {ffSfTxt, "Text (*.txt)", ".txt"},
    {ffSfRtf, "RTF (*.rtf)", ".rtf"},
    {ffSfTiff, "TIFF (*.tif)", ".tif"},
    {ffSfPng, "PNG (*.png)", ".png"},
    {ffSfJpeg, "JPEG (*.jpg)", ".jpg"},
    {ffSfBmp, "BMP (*.bmp)", ".bmp"},
    {ffSfGif, "GIF (*.gif)", ".gif"},
    {ffSfEmf, "EMF (*.emf)", ".emf"},
    {ffSfZip, "ZIP (*.zip)", ".zip"},
    {ffSf7z, "7-Zip (*.7z)", ".7z"},
    {ffXls, "", ""},
    {ffXslx, "", ""},
    {ffDoc, "", ""},
    {ffDocx, "", ""},
    {ffNone, "", ""},
};
static_assert(std::size(kFileFormatEntries) == TFileFormatCount);
static_assert(IsIndexedByOrdinal(kFileFormatEntries));

const TFileFormatEntry* FindFileFormatEntry(TFileFormat format) {
  const int ordinal = static_cast<int>(format);
  if (ordinal < 0 || ordinal >= TFileFormatCount) return nullptr;
  return &kFileFormatEntries[ordinal];
}

// Formats outside these ranges are ffgOther: the images and archives stay "other"
// although their identifiers carry the single-file prefix.
struct TFileFormatGroupRange {
  TFileFormat First;
  TFileFormat Last;
  TFileFormatGroup Group;
};

constexpr TFileFormatGroupRange kFileFormatGroupRanges[] = {
    {ffColExcel, ffColAccess, ffgColumnar},
    {ffComPdf, ffComChm, ffgCompilation},
    {ffSfEml, ffSfRtf, ffgSingleFiles},
};

// Checked in this order. ".xslx" (not ".xlsx") is the spelling that maps to ffXslx, and
// the long spellings html, jpeg and tiff are deliberately not recognised.
struct TExtensionEntry {
  std::string_view Extension;
  TFileFormat Format;
};

constexpr TExtensionEntry kSingleFileExtensions[] = {
    {".msg", ffSfMsg}, {".eml", ffSfEml}, {".mht", ffSfMht},  {".pdf", ffSfPdf}, {".htm", ffSfHtm},
    {".txt", ffSfTxt}, {".rtf", ffSfRtf}, {".tif", ffSfTiff}, {".png", ffSfPng}, {".jpg", ffSfJpeg},
    {".bmp", ffSfBmp}, {".gif", ffSfGif}, {".emf", ffSfEmf},  {".zip", ffSfZip}, {".7z", ffSf7z},
    {".xls", ffXls},   {".xslx", ffXslx}, {".doc", ffDoc},    {".docx", ffDocx},
};

constexpr std::string_view kHiddenExtensionPrefix = "._";

// The extension with its dot, from the last dot of the last path component; "" if none.
std::string LowerCaseExtension(std::string_view fileName) {
  const std::size_t dot = fileName.find_last_of("./");
  if (dot == std::string_view::npos || fileName[dot] != '.') return {};
  std::string extension(fileName.substr(dot));
  std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  });
  return extension;
}

TFileFormat ExtensionToSingleFileFormat(std::string_view lowerCaseExtension) {
  for (const TExtensionEntry& entry : kSingleFileExtensions)
    if (entry.Extension == lowerCaseExtension) return entry.Format;
  return ffNone;
}

// ---- Display texts of the smaller enumerations, indexed by ordinal ----

constexpr std::string_view kEncodingTexts[] = {
    "ANSI Default", "Unicode", "UTF7", "UTF8", "BigEndianUnicode", "ASCII",
};
static_assert(std::size(kEncodingTexts) == TKwEncodingCount);

constexpr std::string_view kColumnFieldNames[] = {
    "SubmitDate",      "DeliveryDate",
    "FromName",        "FromAddress",
    "ToList",          "ToComma",
    "CCList",          "CcComma",
    "Subject",         "Headers",
    "TextPart",        "HtmlPart",
    "MessageId",       "AttachmentsCount",
    "AttachmentsList", "AttachmentsComma",
    "Priority",        "XMailer",
    "Organization",    "ReturnPath",
    "EnvelopeTo",      "ReplyTo",
    "SourceFilename",  "Folder",
    "Labels",          "FromIP",
    "BounceType",      "BounceDescription",
    "BounceRecipient", "LastSavedFilename",
};
static_assert(std::size(kColumnFieldNames) == TColumnFieldCount);

constexpr std::string_view kFilenamePartNames[] = {
    "Attachment Filename", "UniqueId",          "Submit Date",      "Submit Time",
    "Delivery Date",       "Delivery Time",     "Sender Name",      "Sender Address",
    "Sender Domain",       "Recipient Address", "Recipient Domain", "Subject",
    "MessageId",           "Source Filename",   "Computer Name",    "User Name",
    "Local Domain Name",   "@Variable1",        "@Variable2",       "@Variable3",
    "Attachment Sign",
};
static_assert(std::size(kFilenamePartNames) == TSFFilenamePartCount);

constexpr std::string_view kDriveTexts[] = {
    "Local Disk", "Google Drive", "Amazon Drive", "Box", "DropBox", "OneDrive",
};
static_assert(std::size(kDriveTexts) == TDriveCount);

constexpr std::string_view kDBTypeTexts[] = {
    "MS Access", "Interbase", "MySQL", "SQL Server", "Oracle", "SQL Lite", "ODBC",
};
static_assert(std::size(kDBTypeTexts) == TDBTypeCount);

constexpr std::string_view kZIPEncryptionMethodTexts[] = {"None", "AES128", "AES192", "AES256"};
static_assert(std::size(kZIPEncryptionMethodTexts) == TZIPEncryptionMethodCount);

constexpr std::string_view kEncryptionAlgorithmTexts[] = {
    "None", "AES", "Blowfish", "CAST", "DES", "IDEA", "RC2", "RC4", "TEA", "TripleDES", "Twofish",
};
static_assert(std::size(kEncryptionAlgorithmTexts) == TEncryptionAlgorithmCount);

constexpr std::string_view kSevenZipEncryptionTexts[] = {"None", "AES256"};
static_assert(std::size(kSevenZipEncryptionTexts) == TSevenZipEncryptionMethodCount);

constexpr int kSTypeFFItemFactor = 100;

}  // namespace

// ---- Conversions between value and identifier text ----

std::string SourceTargetItemToString(TSourceTargetItem value) { return EnumToString(value); }
int StringToSourceTargetItem(std::string_view text) {
  return StringToEnum<TSourceTargetItem>(text);
}
std::string FileFormatToString(TFileFormat value) { return EnumToString(value); }
int StringToFileFormat(std::string_view text) { return StringToEnum<TFileFormat>(text); }
std::string ColumnFieldToString(TColumnField value) { return EnumToString(value); }
int StringToColumnField(std::string_view text) { return StringToEnum<TColumnField>(text); }
std::string SFFileNameFormatToString(TSFFileNameFormat value) { return EnumToString(value); }
int StringToSFFileNameFormat(std::string_view text) {
  return StringToEnum<TSFFileNameFormat>(text);
}
std::string SFSubFolderStructureToString(TSFSubFolderStructure value) {
  return EnumToString(value);
}
int StringToSFSubFolderStructure(std::string_view text) {
  return StringToEnum<TSFSubFolderStructure>(text);
}
std::string SaveStatusToString(TSaveStatus value) { return EnumToString(value); }
int StringToSaveStatus(std::string_view text) { return StringToEnum<TSaveStatus>(text); }
std::string DriveToString(TDrive value) { return EnumToString(value); }
int StringToDrive(std::string_view text) { return StringToEnum<TDrive>(text); }
std::string ScriptLanguageToString(TScriptLanguage value) { return EnumToString(value); }
int StringToScriptLanguage(std::string_view text) { return StringToEnum<TScriptLanguage>(text); }
std::string HelpdeskTicketStatusToString(THelpdeskTicketStatus value) {
  return EnumToString(value);
}
int StringToHelpdeskTicketStatus(std::string_view text) {
  return StringToEnum<THelpdeskTicketStatus>(text);
}
std::string HelpdeskTicketTypeToString(THelpdeskTicketType value) { return EnumToString(value); }
int StringToHelpdeskTicketType(std::string_view text) {
  return StringToEnum<THelpdeskTicketType>(text);
}
std::string DBTypeToString(TDBType value) { return EnumToString(value); }
int StringToDBType(std::string_view text) { return StringToEnum<TDBType>(text); }

// ---- Action kinds ----

std::string GetSourceTargetItemName(TSourceTargetItem item) {
  return std::string(ItemEntryWithTexts(item).ShortName);
}

std::string GetSourceTargetItemCaption(TSourceTargetItem item) {
  return std::string(ItemEntryWithTexts(item).Caption);
}

TActionRol GetItemActionRol(TSourceTargetItem item) {
  for (const TRolRange& range : kRolRanges)
    if (item >= range.First && item <= range.Last) return range.Rol;
  return arNil;
}

bool IsRemoteItem(TSourceTargetItem item) {
  const TItemEntry* entry = FindItemEntry(item);
  return entry != nullptr && entry->IsRemote;
}

// The pairings are two-way: a filter takes only its condition branches and the branches
// live only under a filter; the email-data chain is parser, then collect / send / report /
// database, then columnar under collect.
bool IsChildItemPossible(TSourceTargetItem parent, TSourceTargetItem child, bool onlyRemote) {
  if (onlyRemote && !IsRemoteItem(child)) return false;
  const unsigned childRolBit = RolBit(GetItemActionRol(child));
  if ((kAcceptedChildRols[GetItemActionRol(parent)] & childRolBit) == 0) return false;

  const bool isConditionBranch = IsOneOf(child, {stiMailPasFilterTrue, stiMailPasFilterFalse});
  const bool isBranchingFilter =
      IsOneOf(parent, {stiMailPasFilter, stiMailPassBlacklistFilter, stiMailPasBounceFilter});
  if (isConditionBranch != isBranchingFilter) return false;

  const bool isParsedDataStep = IsOneOf(
      child,
      {stiMailPasEmailDataDBCollect, stiMailTarEDataSendEmail, stiMailTarReport, stiMailTarDB});
  if (isParsedDataStep != (parent == stiMailPasEmailDataParser)) return false;

  return (child == stiMailTarEDataColumnar) == (parent == stiMailPasEmailDataDBCollect);
}

// ---- File formats ----

TFileFormatGroup GetFileFormatGroup(TFileFormat format) {
  for (const TFileFormatGroupRange& range : kFileFormatGroupRanges)
    if (format >= range.First && format <= range.Last) return range.Group;
  return ffgOther;
}

std::string GetFileFormatName(TFileFormat format) {
  const TFileFormatEntry* entry = FindFileFormatEntry(format);
  return entry == nullptr ? std::string() : std::string(entry->Name);
}

std::string GetFileFormatExtension(TFileFormat format) {
  const TFileFormatEntry* entry = FindFileFormatEntry(format);
  return entry == nullptr ? std::string() : std::string(entry->Extension);
}

std::string GetFileFormatExtensionEx(TFileFormat format, bool /*hidden*/) {
  const std::string extension = GetFileFormatExtension(format);
  return std::string(kHiddenExtensionPrefix) + (extension.empty() ? "" : extension.substr(1));
}

TFileFormat FilenameToSingleFileFormat(std::string_view fileName) {
  return ExtensionToSingleFileFormat(LowerCaseExtension(fileName));
}

// A file saved as "name._eml" is a hidden message file; archives and unknown extensions
// are never hidden.
TFileFormat FilenameToSingleFileFormatEx(std::string_view fileName, bool& hidden) {
  const std::string extension = LowerCaseExtension(fileName);
  if (!extension.starts_with(kHiddenExtensionPrefix)) {
    hidden = false;
    return ExtensionToSingleFileFormat(extension);
  }
  const TFileFormat format =
      ExtensionToSingleFileFormat("." + extension.substr(kHiddenExtensionPrefix.size()));
  hidden = format != ffSfZip && format != ffSf7z && format != ffNone;
  return format;
}

// ---- Display texts of the smaller enumerations ----

std::string GetColumnFieldName(TColumnField field) { return TextAt(kColumnFieldNames, field); }
std::string GetFilenamePartName(TSFFilenamePart part) { return TextAt(kFilenamePartNames, part); }
std::string SaveStatusToStringFormated(TSaveStatus status) {
  return IdentifierWithoutPrefix(status, 2);
}
std::string GetPaperSizeName(TSFPaperSize size) { return IdentifierWithoutPrefix(size, 2); }
std::string KwEncodingToStr(TKwEncoding encoding) { return TextAt(kEncodingTexts, encoding); }
std::string DriveToText(TDrive drive) { return TextAt(kDriveTexts, drive); }
std::string ZIPEncryptionMethodToStr(TZIPEncryptionMethod method) {
  return TextAt(kZIPEncryptionMethodTexts, method);
}
std::string EncryptionAlgorithmToStr(TEncryptionAlgorithm algorithm) {
  return TextAt(kEncryptionAlgorithmTexts, algorithm);
}
std::string SevenZipEncryptionToStr(TSevenZipEncryptionMethod method) {
  return TextAt(kSevenZipEncryptionTexts, method);
}
std::string DBTypeToText(TDBType type) { return TextAt(kDBTypeTexts, type); }

// ---- STypeFF ----

int ItemTypeFileFormatToSTypeFF(TSourceTargetItem item, TFileFormat format) {
  return static_cast<int>(item) * kSTypeFFItemFactor + static_cast<int>(format);
}

void STypeFFToItemTypeFileFormat(int value, TSourceTargetItem& item, TFileFormat& format) {
  item = STypeFFToItemType(value);
  format = STypeFFToFileFormat(value);
}

TSourceTargetItem STypeFFToItemType(int value) {
  return static_cast<TSourceTargetItem>(value / kSTypeFFItemFactor);
}

// A truncating remainder: for a negative number its sign follows the number, as the
// fractional part of number / 100 does.
TFileFormat STypeFFToFileFormat(int value) {
  return static_cast<TFileFormat>(value % kSTypeFFItemFactor);
}

#pragma once
// The engine's vocabulary: every action kind, role, file format, column field and
// status, with their display texts and the rules between them. Constant tables only;
// safe from any thread.

#include <string>
#include <string_view>

#include "uKwEnum.h"

// Days since 1899-12-30 00:00, local time unless a name says GMT.
using TDateTime = double;

// persisted: never reorder
#define KW_SOURCE_TARGET_ITEM(X)                                                          \
  X(stiOther) X(stiJob) X(stiJobRemote) X(stiJobTarget) X(stiMailSrcSingleFiles)          \
  X(stiMailUniqueIds) X(stiMailSrcPOP) X(stiMailSrcOutlookCom) X(stiMailSrcICloudMail)    \
  X(stiMailSrcIMAP) X(stiMailSrcGmail) X(stiMailSrcYahooIMAP) X(stiMailSrcGmailApi)       \
  X(stiMailSrcExchangeApi) X(stiMailSrcExchange) X(stiMailSrcOutlook)                     \
  X(stiMailSrcOutlookMapi) X(stiMailSrcOutlookExpress) X(stiMailSrcWindowsMail)           \
  X(stiMailSrcWindowsLiveMail) X(stiMailSrcThunderbird) X(stiMailSrcIncrediMail)          \
  X(stiMailSrcEudora) X(stiMailSrcPegasus) X(stiMailSrcOperaMail) X(stiMailSrcLotusNotes) \
  X(stiMailSrcLocalArchive) X(stiMailSrcLocalStorage) X(stiMailSrcAS3)                    \
  X(stiMailSrcFacebook) X(stiMailSrcZendesk) X(stiMailSrcHelpScout)                       \
  X(stiMailSrcFreshdesk) X(stiMailSrcDesk) X(stiMailSrcGroove) X(stiMailSrcHappyfox)      \
  X(stiMailSrcMbox) X(stiMailSrcDbx) X(stiMailPasFilter) X(stiMailPassBlacklistFilter)    \
  X(stiMailPasBounceFilter) X(stiMailPasFilterTrue) X(stiMailPasFilterFalse)              \
  X(stiMailPasEmailDataParser) X(stiMailPasEmailDataDBCollect)                            \
  X(stiMailPasImagesDownloader) X(stiMailPasAttachmentsFilter)                            \
  X(stiMailPasTargetsFolder) X(stiMailTarRemotePC) X(stiMailPasTargetAddressTable)        \
  X(stiMailTarSingleFiles) X(stiMailTarCompilation) X(stiMailTarPrinter)                  \
  X(stiMailTarDownloadManager) X(stiMailTarFolders) X(stiMailTarAttachments)              \
  X(stiMailTarEmailForwarder) X(stiMailTarScript) X(stiMailTarExchange)                   \
  X(stiMailTarOutlook) X(stiMailTarOutlookMapi) X(stiMailTarThunderbird)                  \
  X(stiMailTarIMAP) X(stiMailTarGmail) X(stiMailTarOutlookCom) X(stiMailTarYahooIMAP)     \
  X(stiMailTarGmailApi) X(stiMailTarExchangeApi) X(stiMailTarAS3) X(stiMailTarDesk)       \
  X(stiMailTarFreshdesk) X(stiMailTarHelpScout) X(stiMailTarZendesk)                      \
  X(stiMailTarZohoDesk) X(stiMailTarMbox) X(stiMailTarLocalArchive)                       \
  X(stiMailTarStorageLocal) X(stiMailTarEmailParts) X(stiMailTarEDataColumnar)            \
  X(stiMailTarEDataSendEmail) X(stiMailTarReport) X(stiMailTarDB) X(stiMailTarBatchBook)  \
  X(stiMailTarCapsule) X(stiMailTarHighrise) X(stiMailTarInsightly) X(stiMailTarAgile)    \
  X(stiMailTarOnePage) X(stiMailTarGetBase) X(stiMailTarPipedrive)                        \
  X(stiMailTarProsperWorks) X(stiMailTarZoho) X(stiMailTarSolve360) X(stiFolderOperation) \
  X(stiFileOperation) X(stiZipCompress) X(stiZipDecompress) X(stiEncryption)              \
  X(stiRunApplication) X(stiRunDosCommand) X(stiSendEmail) X(stiFTPFolderOperation)       \
  X(stiFTPFileOperation)
KW_ENUM(TSourceTargetItem, KW_SOURCE_TARGET_ITEM);
static_assert(TSourceTargetItemCount == 103);

#define KW_ACTION_ROL(X) X(arNil) X(arJob) X(arJobTarget) X(arSource) X(arPass) X(arTarget) X(arSimple) X(arNone)
KW_ENUM(TActionRol, KW_ACTION_ROL);
static_assert(TActionRolCount == 8);

// persisted: never reorder. The sixth value is spelled with "re" on purpose.
#define KW_RUNNING_STATUS(X)                                                            \
  X(rsIdle) X(rsInitializing) X(rsInitialized) X(rsProcessing) X(rsDownloadingImages)   \
  X(reInitializingFolders) X(rsProcessingMessages) X(rsAborted) X(rsFinished)           \
  X(rsExtractCompleted) X(rsMarquee)
KW_ENUM(TRunningStatus, KW_RUNNING_STATUS);
static_assert(TRunningStatusCount == 11);

// persisted: never reorder
#define KW_SAVE_STATUS(X) X(ssSaved) X(ssRenamed) X(ssSkipped) X(ssOverwritten) X(ssError) X(ssProcessed) X(ssOther)
KW_ENUM(TSaveStatus, KW_SAVE_STATUS);
static_assert(TSaveStatusCount == 7);

#define KW_FILE_FORMAT_GROUP(X) X(ffgOther) X(ffgColumnar) X(ffgCompilation) X(ffgSingleFiles)
KW_ENUM(TFileFormatGroup, KW_FILE_FORMAT_GROUP);
static_assert(TFileFormatGroupCount == 4);

// persisted: never reorder (ordinals are packed into STypeFF numbers)
#define KW_FILE_FORMAT(X)                                                                   \
  X(ffColExcel) X(ffColXlsx) X(ffColCsv) X(ffColTxt) X(ffColXml) X(ffColSqL3) X(ffColHtml)  \
  X(ffColAccess) X(ffColGSSheet) X(ffComPdf) X(ffComChm) X(ffSfEml) X(ffSfPdf) X(ffSfMsg)   \
  X(ffSfMht) X(ffSfHtm) X(ffSfTxt) X(ffSfRtf) X(ffSfTiff) X(ffSfPng) X(ffSfJpeg) X(ffSfBmp) \
  X(ffSfGif) X(ffSfEmf) X(ffSfZip) X(ffSf7z) X(ffXls) X(ffXslx) X(ffDoc) X(ffDocx) X(ffNone)
KW_ENUM(TFileFormat, KW_FILE_FORMAT);
static_assert(TFileFormatCount == 31);

#define KW_ENCODING(X) X(meDefault) X(meUnicode) X(meUTF7) X(meUTF8) X(meBigEndian) X(meASCII)
KW_ENUM(TKwEncoding, KW_ENCODING);
static_assert(TKwEncodingCount == 6);

// persisted: never reorder
#define KW_COLUMN_FIELD(X)                                                                 \
  X(cfSubmitDate) X(cfDeliveryDate) X(cfFromName) X(cfFromAddress) X(cfToList) X(cfToComma) \
  X(cfCCList) X(cfCcComma) X(cfSubject) X(cfHeaders) X(cfTextPart) X(cfHtmlPart)           \
  X(cfMessageId) X(cfAttachCount) X(cfAttachList) X(cfAttachComma) X(cfPriority)           \
  X(cfXMailer) X(cfOrganization) X(cfReturnPath) X(cfEnvelopeTo) X(cfReplyTo) X(cfFilename) \
  X(cfFolderName) X(cfLabels) X(cfFromIP) X(cfBounceType) X(cfBounceDescription)           \
  X(cfBounceRecipient) X(cfLastSavedFile)
KW_ENUM(TColumnField, KW_COLUMN_FIELD);
static_assert(TColumnFieldCount == 30);

// Two values carry the prefix "ft" on purpose.
#define KW_SF_FILENAME_PART(X)                                                            \
  X(fpAttachmentFilename) X(fpUniqueId) X(fpSubmitDate) X(fpSubmitTime) X(fpDeliveryDate) \
  X(fpDeliveryTime) X(fpFromName) X(fpFromAddress) X(ftFromDomain) X(fpToAddress)         \
  X(ftToDomain) X(fpSubject) X(fpMessageId) X(fpSourceFilename) X(fpComputerName)         \
  X(fpUserName) X(fpDomainName) X(fpVar1) X(fpVar2) X(fpVar3) X(fpAttachmentSign)
KW_ENUM(TSFFilenamePart, KW_SF_FILENAME_PART);
static_assert(TSFFilenamePartCount == 21);

#define KW_DRIVE(X) X(dLocalDisk) X(dGoogleDrive) X(dAmazonDrive) X(dBox) X(dDropBox) X(dOneDrive)
KW_ENUM(TDrive, KW_DRIVE);
static_assert(TDriveCount == 6);

#define KW_DB_TYPE(X) X(dbAccess) X(dbInterbase) X(dbMySQL) X(dbSQLServer) X(dbOracle) X(dbSQLLite) X(dbODBC)
KW_ENUM(TDBType, KW_DB_TYPE);
static_assert(TDBTypeCount == 7);

#define KW_ZIP_ENCRYPTION_METHOD(X) X(zemNone) X(zemAes128) X(zemAes192) X(zemAes256)
KW_ENUM(TZIPEncryptionMethod, KW_ZIP_ENCRYPTION_METHOD);

#define KW_ENCRYPTION_ALGORITHM(X) \
  X(eaNone) X(eaAES) X(eaBlowfish) X(eaCAST) X(eaDES) X(eaIDEA) X(eaRC2) X(eaRC4) X(eaTEA) X(eaTripleDES) X(eaTwofish)
KW_ENUM(TEncryptionAlgorithm, KW_ENCRYPTION_ALGORITHM);
static_assert(TEncryptionAlgorithmCount == 11);

#define KW_SEVEN_ZIP_ENCRYPTION_METHOD(X) X(semNone) X(semAes256)
KW_ENUM(TSevenZipEncryptionMethod, KW_SEVEN_ZIP_ENCRYPTION_METHOD);

#define KW_EXTRACT_SELECTION(X) X(esSelectedMessages) X(esSelectedFolder) X(esOther)
KW_ENUM(TExtractSelection, KW_EXTRACT_SELECTION);

#define KW_FIREWALL_TYPE(X) X(ftNone) X(ftTunnel) X(ftSocks4) X(ftSocks5)
KW_ENUM(TFirewallType, KW_FIREWALL_TYPE);

#define KW_EMAIL_ADDRESS_TYPE(X) X(eatFrom) X(eatTo) X(eatCc)
KW_ENUM(TEmailAddressType, KW_EMAIL_ADDRESS_TYPE);

#define KW_SOURCE_LOCATION(X) \
  X(slDefaultLocation) X(slCustomLocation) X(slRemoteLocation) X(slAmazonS3Location) X(slExchangeLocation) X(slRestApi) X(slNone)
KW_ENUM(TSourceLocation, KW_SOURCE_LOCATION);

#define KW_SCHEDULING_INTERVAL(X) X(siNone) X(siDateTime) X(siOnceADay) X(siDailyAtIntervals)
KW_ENUM(TSchedulingInterval, KW_SCHEDULING_INTERVAL);

#define KW_PDF_ENCRYPTION_LEVEL(X) X(pel40bit) X(pel128bitRc4) X(pel128bitAes) X(pel256bitAes)
KW_ENUM(TPDFEncryptionLevel, KW_PDF_ENCRYPTION_LEVEL);

#define KW_ZIP_COMPRESSION_LEVEL(X) X(zclNone) X(zclNormal) X(zclFastest) X(zclMaximum)
KW_ENUM(TZIPCompressionLevel, KW_ZIP_COMPRESSION_LEVEL);

#define KW_COMPRESSION_METHOD(X) X(cmNone) X(cmSevenZip) X(cmZip)
KW_ENUM(TCompressionMethod, KW_COMPRESSION_METHOD);

#define KW_IMAP_AUTH_MECHANISM(X) \
  X(iamUserPassword) X(iamCRAMMD5) X(iamNTLM) X(iamSASLPlain) X(iamSASLDigestMD5) X(iamKerberos) X(iamXOAUTH2)
KW_ENUM(TImapAuthMechanism, KW_IMAP_AUTH_MECHANISM);

#define KW_PROXY_AUTH_SCHEME(X) X(pasBasic) X(pasDigest) X(pasProprietary) X(pasNone) X(pasNtlm) X(pasNegotiate)
KW_ENUM(TProxyAuthScheme, KW_PROXY_AUTH_SCHEME);

#define KW_PROXY_SSL_TYPE(X) X(pstAutomatic) X(pstAlways) X(pstNever) X(pstTunnel)
KW_ENUM(TProxySSLType, KW_PROXY_SSL_TYPE);

#define KW_SF_FILENAME_METHOD(X) X(fnmDefault) X(fnmAdvanced) X(fnmScript)
KW_ENUM(TSFFilenameMethod, KW_SF_FILENAME_METHOD);

#define KW_SF_DUPLICATED_FILES_ACTION(X) X(dfSkip) X(dfOverwrite) X(dfRename)
KW_ENUM(TSFDuplicatedFilesAction, KW_SF_DUPLICATED_FILES_ACTION);

#define KW_SF_FILE_NAME_FORMAT(X)                                                            \
  X(fnfDateFromToIdSubject) X(fnfDateFromIdSubject) X(fnfDateFromToSubject)                  \
  X(fnfDateFromSubject) X(fnfUidFromSubject) X(fnfUidSubject) X(fnfUidDomain) X(fnfUid)      \
  X(fnfSource) X(fnfUserDefined) X(fnfUnknown)
KW_ENUM(TSFFileNameFormat, KW_SF_FILE_NAME_FORMAT);
static_assert(TSFFileNameFormatCount == 11);

#define KW_SF_SUB_FOLDER_STRUCTURE(X)                                                        \
  X(sfsDontCreateSubFolders) X(sfsLikeEmailSourceFolders) X(sfsCreateFromAddressPart)        \
  X(sfsCreateFromDomainPart) X(sfsFromDomainFromAddress) X(sfsFromHashAddress)               \
  X(sfsOnlyCreateParents)
KW_ENUM(TSFSubFolderStructure, KW_SF_SUB_FOLDER_STRUCTURE);

#define KW_SF_PAPER_SIZE(X) \
  X(psLetter) X(psLegal) X(psStatement) X(psTabloid) X(psLedger) X(psExecutive) X(psFolio) X(psA3) X(psA4) X(psA5) X(psB4) X(psB5)
KW_ENUM(TSFPaperSize, KW_SF_PAPER_SIZE);
static_assert(TSFPaperSizeCount == 12);

// The printer orientation of the page options (a framework type on the desktop).
#define KW_PRINTER_ORIENTATION(X) X(poPortrait) X(poLandscape)
KW_ENUM(TPrinterOrientation, KW_PRINTER_ORIENTATION);

#define KW_ATTACHMENTS_FOLDER_PLACEMENT(X)                                                   \
  X(afpNone) X(afpCommonRoot) X(afpCommonSubfolder) X(afpSameFolderAsMessage)                \
  X(afpNamedAsMessage) X(afpNamedAsSenderAddress) X(afpNamedAsSenderDomain)                  \
  X(afpNamedAsSenderDomainAddress)
KW_ENUM(TAttachmentsFolderPlacement, KW_ATTACHMENTS_FOLDER_PLACEMENT);

// The second value is spelled "cdf" on purpose.
#define KW_COLUMNS_FIELD_DELIMITER(X) \
  X(cfdNone) X(cdfFixed) X(cfdTab) X(cfdSemicolon) X(cfdComma) X(cfdSpace) X(cfdUserDefined)
KW_ENUM(TColumnsFieldDelimiter, KW_COLUMNS_FIELD_DELIMITER);

#define KW_COLUMNS_LAYOUT(X) X(clColumnar) X(clTabular)
KW_ENUM(TColumnsLayout, KW_COLUMNS_LAYOUT);

#define KW_SMTP_FORWARD_SUBJECT(X) X(sfsForwardPrefixOriginalSubject) X(sfsOriginalSubject) X(sfsNewSubject)
KW_ENUM(TSMTPForwardSubject, KW_SMTP_FORWARD_SUBJECT);

#define KW_SOURCE_FOLDERS_VIEW(X) X(sfvFolders) X(sfvStorage)
KW_ENUM(TSourceFoldersView, KW_SOURCE_FOLDERS_VIEW);

#define KW_FILTERS_SENT_AGE(X) X(fsaDate) X(fsaToday) X(fsaYesterday) X(fsaLastWeek) X(fsaLastMonth)
KW_ENUM(TFiltersSentAge, KW_FILTERS_SENT_AGE);

#define KW_CONTENT_TYPE(X) X(ctUndefined) X(ctHtml) X(ctText) X(ctEither) X(ctHtmlAsText) X(ctTextAsHtml)
KW_ENUM(TContentType, KW_CONTENT_TYPE);

#define KW_SCRIPT_LANGUAGE(X) X(slBasic) X(slPascal) X(slUndefined)
KW_ENUM(TScriptLanguage, KW_SCRIPT_LANGUAGE);

#define KW_HELPDESK_TICKET_STATUS(X) X(htsNone) X(htsOpen) X(htsPending) X(htsClosed)
KW_ENUM(THelpdeskTicketStatus, KW_HELPDESK_TICKET_STATUS);

#define KW_HELPDESK_TICKET_TYPE(X) X(httNone) X(httMail) X(httCall) X(httChat) X(httNote) X(httTwitter) X(httFacebook)
KW_ENUM(THelpdeskTicketType, KW_HELPDESK_TICKET_TYPE);

// How much of a message a load decodes, in increasing cost. A run decodes no more than
// its stages read: names, folders and byte-for-byte copies need the headers alone, the
// bounce columns and filter the bounce verdict as well, table columns the bodies and the
// list of attachments (names, not bytes), anything else everything. Not persisted.
enum class TKwDecodeDepth { Headers, BounceVerdict, AllButAttachmentBytes, Everything };

// ---- Conversions between value and identifier text (-1 for an unknown text) ----
std::string SourceTargetItemToString(TSourceTargetItem value);
int StringToSourceTargetItem(std::string_view text);
std::string FileFormatToString(TFileFormat value);
int StringToFileFormat(std::string_view text);
std::string ColumnFieldToString(TColumnField value);
int StringToColumnField(std::string_view text);
std::string SFFileNameFormatToString(TSFFileNameFormat value);
int StringToSFFileNameFormat(std::string_view text);
std::string SFSubFolderStructureToString(TSFSubFolderStructure value);
int StringToSFSubFolderStructure(std::string_view text);
std::string SaveStatusToString(TSaveStatus value);
int StringToSaveStatus(std::string_view text);
std::string DriveToString(TDrive value);
int StringToDrive(std::string_view text);
std::string ScriptLanguageToString(TScriptLanguage value);
int StringToScriptLanguage(std::string_view text);
std::string HelpdeskTicketStatusToString(THelpdeskTicketStatus value);
int StringToHelpdeskTicketStatus(std::string_view text);
std::string HelpdeskTicketTypeToString(THelpdeskTicketType value);
int StringToHelpdeskTicketType(std::string_view text);
std::string DBTypeToString(TDBType value);
int StringToDBType(std::string_view text);

// ---- Display functions ----
// Short name and caption; "" and an EAssertionFailed naming Classes/uKwTypes for the
// three kinds without an entry (stiOther, stiMailSrcExchangeApi, stiMailTarExchangeApi).
std::string GetSourceTargetItemName(TSourceTargetItem item);
std::string GetSourceTargetItemCaption(TSourceTargetItem item);
TActionRol GetItemActionRol(TSourceTargetItem item);
bool IsRemoteItem(TSourceTargetItem item);  // member of TRemoteItemsRol
bool IsChildItemPossible(TSourceTargetItem parent, TSourceTargetItem child, bool onlyRemote);

TFileFormatGroup GetFileFormatGroup(TFileFormat format);
std::string GetFileFormatName(TFileFormat format);
std::string GetFileFormatExtension(TFileFormat format);
// "._" and the extension without its dot; `hidden` has no effect (kept for callers).
std::string GetFileFormatExtensionEx(TFileFormat format, bool hidden);
TFileFormat FilenameToSingleFileFormat(std::string_view fileName);
TFileFormat FilenameToSingleFileFormatEx(std::string_view fileName, bool& hidden);

std::string GetColumnFieldName(TColumnField field);
std::string GetFilenamePartName(TSFFilenamePart part);
std::string SaveStatusToStringFormated(TSaveStatus status);
std::string GetPaperSizeName(TSFPaperSize size);
std::string KwEncodingToStr(TKwEncoding encoding);
std::string DriveToText(TDrive drive);
std::string ZIPEncryptionMethodToStr(TZIPEncryptionMethod method);
std::string EncryptionAlgorithmToStr(TEncryptionAlgorithm algorithm);
std::string SevenZipEncryptionToStr(TSevenZipEncryptionMethod method);
std::string DBTypeToText(TDBType type);

// ---- STypeFF: an action kind and a file format packed into one number ----
int ItemTypeFileFormatToSTypeFF(TSourceTargetItem item, TFileFormat format);
void STypeFFToItemTypeFileFormat(int value, TSourceTargetItem& item, TFileFormat& format);
TSourceTargetItem STypeFFToItemType(int value);
TFileFormat STypeFFToFileFormat(int value);

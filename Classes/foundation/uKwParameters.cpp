#include "uKwParameters.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <vector>

#include <fmt/format.h>

#include "uKwDateTime.h"

namespace {

constexpr double kUnixEpochDateTime = 25569.0;  // 1970-01-01 as days since 1899-12-30
constexpr double kSecondsPerDay = 86400.0;

// Offset of local time from UTC, in seconds, at the given instant.
long LocalOffsetAt(int64_t unixTime) {
  const auto t = static_cast<time_t>(unixTime);
  std::tm local{};
  localtime_r(&t, &local);
  return local.tm_gmtoff;
}

TDateTime UnixToLocalDateTime(int64_t unixTime) {
  return static_cast<double>(unixTime + LocalOffsetAt(unixTime)) / kSecondsPerDay + kUnixEpochDateTime;
}

// The offset is looked up twice so that a time just after a change of the offset (for
// daylight saving) is converted with the offset that applies to it.
int64_t LocalDateTimeToUnix(TDateTime value) {
  const double localSeconds = std::round((value - kUnixEpochDateTime) * kSecondsPerDay);
  const auto guess = static_cast<int64_t>(localSeconds) - LocalOffsetAt(static_cast<int64_t>(localSeconds));
  return static_cast<int64_t>(localSeconds) - LocalOffsetAt(guess);
}

TDateTime LocalNow() {
  using namespace std::chrono;
  const auto sinceEpoch = duration<double>(system_clock::now().time_since_epoch()).count();
  const auto offset = LocalOffsetAt(static_cast<int64_t>(sinceEpoch));
  return (sinceEpoch + static_cast<double>(offset)) / kSecondsPerDay + kUnixEpochDateTime;
}

bool SameTextAscii(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

// Whole decimal number, optionally signed; false for anything else.
bool ParseInt64(const std::string& text, int64_t& value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const long long parsed = std::strtoll(text.c_str(), &end, 10);
  if (errno != 0 || end != text.c_str() + text.size()) return false;
  value = parsed;
  return true;
}

}  // namespace

// ---- Certificates, connections, accounts ----

void TKwCertificateOptions::Publish(TKwPublisher& publisher) {
  publisher.String("CertEncoded", CertEncoded);
  publisher.String("CertStore", CertStore);
  publisher.String("CertSubject", CertSubject);
}

void TKwCertificateOptions::Clear() {
  CertEncoded.clear();
  CertStore.clear();
  CertSubject.clear();
}

void TKwRemoteOptions::Publish(TKwPublisher& publisher) {
  publisher.String("AccessToken", AccessToken);
  publisher.String("Authorization", Authorization);
  publisher.Enum("ImapAuthMechanism", ImapAuthMechanism);
  publisher.String("Password", Password);
  publisher.Integer("Port", Port);
  publisher.String("RefreshToken", RefreshToken);
  publisher.String("Server", Server);
  publisher.Object("SSLCert", *SSLCert);
  publisher.String("Username", Username);
  publisher.Boolean("UseSSL", UseSSL);
}

void TKwRemoteOptions::Clear() {
  AccessToken.clear();
  Authorization.clear();
  ImapAuthMechanism = iamUserPassword;
  Password.clear();
  Port = 993;
  RefreshToken.clear();
  Server.clear();
  SSLCert->Clear();
  Username.clear();
  UseSSL = false;
}

void TKwMailAccountOptions::Publish(TKwPublisher& publisher) {
  publisher.String("AccountName", AccountName);
  publisher.String("EmailAddress", EmailAddress);
  publisher.String("Organization", Organization);
  publisher.String("ReplyAddress", ReplyAddress);
  publisher.String("UserName", UserName);
}

void TKwMailAccountOptions::Clear() {
  AccountName.clear();
  EmailAddress.clear();
  Organization.clear();
  ReplyAddress.clear();
  UserName.clear();
}

void TKwRestApiOptions::Publish(TKwPublisher& publisher) {
  publisher.String("AccessToken", AccessToken);
  publisher.String("ApiKey", ApiKey);
  publisher.String("Password", Password);
  publisher.Boolean("SSLEndpoint", SSLEndpoint);
  publisher.String("SubDomain", SubDomain);
  publisher.String("Username", Username);
}

void TKwAmazonStorageOptions::Publish(TKwPublisher& publisher) {
  publisher.String("AwsAccesKey", AwsAccesKey);
  publisher.String("AwsSecretKey", AwsSecretKey);
  publisher.Object("SSLCert", *SSLCert);
  publisher.String("StorageName", StorageName);
}

void TKwAmazonStorageOptions::Clear() {
  AwsAccesKey.clear();
  AwsSecretKey.clear();
  StorageName.clear();
}

// ---- Scheduling ----

void TKwScheduleOptions::Publish(TKwPublisher& publisher) {
  publisher.Boolean("Enabled", Enabled);
  publisher.Integer("MinutesInterval", MinutesInterval);
  publisher.String("Password", Password);
  publisher.Boolean("RunOnlyWhenLoggedOn", RunOnlyWhenLoggedOn);
  publisher.Boolean("RunWithHighestPrivileges", RunWithHighestPrivileges);
  publisher.Enum("SchedulingInterval", SchedulingInterval);
  publisher.DateTime("StartDateTime", StartDateTime);
  publisher.DateTime("StartTime", StartTime);
  publisher.String("TaskName", TaskName);
  publisher.String("UserName", UserName);
  publisher.Integer("WeekDays", WeekDays);
}

void TKwScheduleOptions::Clear() {
  Enabled = false;
  MinutesInterval = 0;
  Password.clear();
  RunOnlyWhenLoggedOn = true;
  RunWithHighestPrivileges = false;
  SchedulingInterval = siDateTime;
  StartDateTime = LocalNow();
  StartTime = 0;
  TaskName.clear();
  UserName.clear();
  WeekDays = 127;
}

namespace {

constexpr int kAllWeekDays = 0x7F;
constexpr int kWorkWeekDays = 0x3E;  // Monday to Friday
constexpr int kWeekendDays = 0x41;   // Sunday and Saturday
constexpr const char* kDayNames[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
// 0001-01-01 and 10000-01-01: a stored date outside them is shown as midnight 1899-12-30.
constexpr TDateTime kFirstDate = -693593.0, kPastLastDate = 2958466.0;

TDateTime SaneDate(TDateTime value) { return value >= kFirstDate && value < kPastLastDate ? value : 0; }

std::string ScheduleClock(TDateTime value) {
  TKwDateParts p = DecodeDateTime(SaneDate(value));
  return fmt::format("{:02}:{:02}", p.Hour, p.Minute);
}

std::string ScheduleDate(TDateTime value) {
  TKwDateParts p = DecodeDateTime(SaneDate(value));
  return fmt::format("{:04}-{:02}-{:02}", p.Year, p.Month, p.Day);
}

// "Mon, Wed and Fri", Monday first as a calendar reads.
std::string DayList(int days) {
  std::vector<std::string> names;
  for (int i = 1; i <= 7; ++i)
    if (days & (1 << (i % 7))) names.emplace_back(kDayNames[i % 7]);
  std::string text;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 == names.size() ? " and " : ", ";
    text += names[i];
  }
  return text;
}

std::string IntervalText(int minutes) {
  if (minutes == 1) return "Every minute";
  if (minutes == 60) return "Every hour";
  if (minutes % 60 == 0) return fmt::format("Every {} hours", minutes / 60);
  return fmt::format("Every {} minutes", minutes);
}

// "Daily at 08:00", "Weekdays at 08:00", "Mon and Thu at 08:00".
std::string DailyText(int days, const std::string& clock) {
  if (days == kAllWeekDays) return "Daily at " + clock;
  if (days == kWorkWeekDays) return "Weekdays at " + clock;
  if (days == kWeekendDays) return "Weekends at " + clock;
  return DayList(days) + " at " + clock;
}

std::string OnDaysText(int days) {
  if (days == kAllWeekDays) return "";
  if (days == kWorkWeekDays) return " on weekdays";
  if (days == kWeekendDays) return " on weekends";
  return " on " + DayList(days);
}

}  // namespace

std::string TKwScheduleOptions::GetStatusText() const {
  if (!Enabled || SchedulingInterval == siNone) return "Not scheduled";
  if (SchedulingInterval == siDateTime)
    return "Once at " + ScheduleDate(StartDateTime) + " " + ScheduleClock(StartDateTime);
  int days = WeekDays & kAllWeekDays;
  if (days == 0) return "Not scheduled (no week day chosen)";
  std::string clock = ScheduleClock(StartTime);
  if (SchedulingInterval == siOnceADay || MinutesInterval <= 0) return DailyText(days, clock);
  return IntervalText(MinutesInterval) + " from " + clock + OnDaysText(days);
}

// ---- PDF, compression ----

void TKwPDFEncryptionOptions::Publish(TKwPublisher& publisher) {
  publisher.Boolean("CanAddNotes", CanAddNotes);
  publisher.Boolean("CanAssemble", CanAssemble);
  publisher.Boolean("CanChange", CanChange);
  publisher.Boolean("CanCopy", CanCopy);
  publisher.Boolean("CanCopyAccess", CanCopyAccess);
  publisher.Boolean("CanFillFields", CanFillFields);
  publisher.Boolean("CanPrint", CanPrint);
  publisher.Boolean("CanPrintFull", CanPrintFull);
  publisher.Boolean("Encrypt", Encrypt);
  publisher.Enum("EncryptionLevel", EncryptionLevel);
  publisher.String("OwnerPassword", OwnerPassword);
  publisher.String("UserPassword", UserPassword);
}

void TKwPDFSigningOptions::Publish(TKwPublisher& publisher) {
  publisher.String("ContactInfo", ContactInfo);
  publisher.String("Location", Location);
  publisher.String("PFXFilename", PFXFilename);
  publisher.String("PFXPassword", PFXPassword);
  publisher.String("Reason", Reason);
  publisher.Boolean("Sign", Sign);
}

void TKwPDFOptions::Publish(TKwPublisher& publisher) {
  publisher.Object("Encryption", *Encryption);
  publisher.Boolean("InsertEmailAttachments", InsertEmailAttachments);
  publisher.Boolean("InsertEmailHeaders", InsertEmailHeaders);
  publisher.Boolean("InsertEmailMetadata", InsertEmailMetadata);
  publisher.Object("Signature", *Signature);
  publisher.Boolean("UsePDFAMode", UsePDFAMode);
}

void TKwZIPCompressionOptions::Publish(TKwPublisher& publisher) {
  publisher.Boolean("Compress", Compress);
  publisher.Enum("CompressionLevel", CompressionLevel);
  publisher.Enum("EncryptionMethod", EncryptionMethod);
  publisher.String("Password", Password);
}

void TKwCompressionOptions::Publish(TKwPublisher& publisher) {
  publisher.Integer("CompressionLevel", CompressionLevel);
  publisher.Enum("CompressionMethod", CompressionMethod);
  publisher.Enum("EncryptionAlgorithm", EncryptionAlgorithm);
  publisher.String("Password", Password);
  publisher.Enum("SevenZipEncryptionMethod", SevenZipEncryptionMethod);
}

// ---- Single files ----

void TKwFilenameOptions::Publish(TKwPublisher& publisher) {
  publisher.String("AttachmentSign", AttachmentSign);
  publisher.String("EmailClientFolderName", EmailClientFolderName);
  publisher.String("EmailClientFolderPath", EmailClientFolderPath);
  publisher.Enum("Format", Format);
  publisher.Enum("Method", Method);
  publisher.String("Parts", Parts);
  publisher.String("Script", Script);
  publisher.String("Separator", Separator);
  publisher.Integer("FilenameLength", FilenameLength);
  publisher.Enum("ScriptLanguage", ScriptLanguage);
  publisher.Boolean("TrimSubject", TrimSubject);
}

void TKwAttachmentFilenameOptions::Publish(TKwPublisher& publisher) {
  publisher.Boolean("Enabled", Enabled);
  publisher.String("Parts", Parts);
  publisher.String("Separator", Separator);
}

void TKwPageOptions::Publish(TKwPublisher& publisher) {
  publisher.Double("BottomMargin", BottomMargin);
  publisher.Boolean("FitWidthToPage", FitWidthToPage);
  publisher.Double("LeftMargin", LeftMargin);
  publisher.Enum("Orientation", Orientation);
  publisher.Enum("PaperSize", PaperSize);
  publisher.Double("RightMargin", RightMargin);
  publisher.Double("TopMargin", TopMargin);
}

void TKwFolderOptions::Publish(TKwPublisher& publisher) {
  publisher.String("AuthorizationCode", AuthorizationCode);
  publisher.Enum("Drive", Drive);
  publisher.String("FolderId", FolderId);
  publisher.String("Path", Path);
}

void TKwSingleFilesOptions::Publish(TKwPublisher& publisher) {
  publisher.Object("AttachmentFilename", *AttachmentFilename);
  publisher.Enum("AttachmentsFolder", AttachmentsFolder);
  publisher.Object("Compression", *Compression);
  publisher.Enum("Drive", Drive);
  publisher.Enum("DuplicatedFilesAction", DuplicatedFilesAction);
  publisher.Boolean("EmbedAttachmentsInBody", EmbedAttachmentsInBody);
  publisher.Enum("FileEncoding", FileEncoding);
  publisher.Object("Filename", *Filename);
  publisher.Boolean("FolderStructureUseVariable1", FolderStructureUseVariable1);
  publisher.Boolean("IncludeImagesInTarget", IncludeImagesInTarget);
  publisher.Boolean("InsertAttachmentsInTarget", InsertAttachmentsInTarget);
  publisher.Object("Page", *Page);
  publisher.Object("PDF", *PDF);
  publisher.String("PrinterName", PrinterName);
  publisher.String("ProfileName", ProfileName);
  publisher.Boolean("PutEmailHeaders", PutEmailHeaders);
  publisher.Boolean("PutFullEmailHeaders", PutFullEmailHeaders);
  publisher.Object("Remote", *Remote);
  publisher.Boolean("SaveBodyPart", SaveBodyPart);
  publisher.Boolean("SaveImagesToAttachmentsFolder", SaveImagesToAttachmentsFolder);
  publisher.Boolean("SaveInlineAttachments", SaveInlineAttachments);
  publisher.Boolean("SubFolderComputerName", SubFolderComputerName);
  publisher.Enum("SubFolderStructure", SubFolderStructure);
  publisher.Boolean("SubFolderUserName", SubFolderUserName);
  publisher.Boolean("SubFolderYearMonth", SubFolderYearMonth);
  publisher.Enum("TargetFileFormat", TargetFileFormat);
  publisher.String("TargetFolder", TargetFolder);
  publisher.String("TargetFolderId", TargetFolderId);
  publisher.String("Variable1", Variable1);
  publisher.String("Variable2", Variable2);
  publisher.String("Variable3", Variable3);
  publisher.Object("ZIP", *ZIP);
}

// ---- Cache, folder names, network ----

void TKwEmailCacheOptions::Publish(TKwPublisher& publisher) {
  publisher.Boolean("Enabled", Enabled);
  publisher.Boolean("EncryptCache", EncryptCache);
  publisher.String("Folder", Folder);
  publisher.String("Password", Password);
}

void TKwFolderNameOptions::Publish(TKwPublisher& publisher) {
  publisher.String("InvalidCharacters", InvalidCharacters);
  publisher.String("ReplaceChar", ReplaceChar);
  publisher.Boolean("ReplaceInvalidCharacters", ReplaceInvalidCharacters);
}

void TKwFirewallOptions::Publish(TKwPublisher& publisher) {
  publisher.Boolean("AutoDetect", AutoDetect);
  publisher.Enum("FirewallType", FirewallType);
  publisher.String("Host", Host);
  publisher.String("Password", Password);
  publisher.Integer("Port", Port);
  publisher.String("Username", Username);
}

void TKwProxyOptions::Publish(TKwPublisher& publisher) {
  publisher.Enum("AuthScheme", AuthScheme);
  publisher.Boolean("AutoDetect", AutoDetect);
  publisher.String("Password", Password);
  publisher.Integer("Port", Port);
  publisher.String("Server", Server);
  publisher.Enum("SSLtype", SSLtype);
  publisher.String("User", User);
}

// ---- Global options and the OAuth token store ----

void TKwGlobalOptions::Publish(TKwPublisher& publisher) {
  publisher.Object("LocalStorageCompression", *LocalStorageCompression);
  publisher.Boolean("CopySFtoStorage", CopySFtoStorage);
  publisher.Boolean("DetailedLog", DetailedLog);
  publisher.Object("Firewall", *Firewall);
  publisher.Boolean("IndexEmail", IndexEmail);
  publisher.Object("LocalStorageZIPOptions", *LocalStorageZIPOptions);
  publisher.Strings("OauthList", OauthList);
  publisher.Object("Proxy", *Proxy);
  publisher.Boolean("UseLocalStorage", UseLocalStorage);
  publisher.String("CaFile", CaFile);
  publisher.Enum("DateFormat", DateFormat, TKwDateFormat::Locale);
}

// A line's name is the text before its first "="; a line without "=" names nothing.
int TKwGlobalOptions::FindOauthLine(std::string_view key) const {
  for (size_t i = 0; i < OauthList.size(); ++i) {
    const std::string_view line = OauthList[i];
    const auto equals = line.find('=');
    if (equals != std::string_view::npos && SameTextAscii(line.substr(0, equals), key)) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

// A value without ":" is all access token.
bool TKwGlobalOptions::OauthGetTokens(std::string_view key, std::string& accessToken,
                                      std::string& refreshToken, TDateTime& expiry) const {
  accessToken.clear();
  refreshToken.clear();
  expiry = 0;
  const int index = FindOauthLine(key);
  if (index < 0) return false;
  const std::string& line = OauthList[static_cast<size_t>(index)];
  const std::string value = line.substr(line.find('=') + 1);
  const auto colon = value.find(':');
  accessToken = value.substr(0, colon);
  if (colon == std::string::npos) return true;
  const std::string rest = value.substr(colon + 1);
  const auto tilde = rest.find('~');
  refreshToken = rest.substr(0, tilde);
  int64_t unixTime = 0;
  if (tilde != std::string::npos && ParseInt64(rest.substr(tilde + 1), unixTime)) {
    expiry = UnixToLocalDateTime(unixTime);
  }
  return true;
}

void TKwGlobalOptions::OauthSetTokens(std::string_view key, std::string_view accessToken,
                                      std::string_view refreshToken, TDateTime expiry) {
  std::string line = fmt::format("{}={}:{}~{}", key, accessToken, refreshToken, LocalDateTimeToUnix(expiry));
  const int index = FindOauthLine(key);
  if (index < 0) {
    OauthList.push_back(std::move(line));
  } else {
    OauthList[static_cast<size_t>(index)] = std::move(line);
  }
}

// ---- Source ----

void TKwSourceOptions::Publish(TKwPublisher& publisher) {
  publisher.Boolean("AdminPrivilege", AdminPrivilege);
  publisher.Object("AmazonS3", *AmazonS3);
  publisher.Boolean("CanConnect", CanConnect);
  publisher.Boolean("CopyToSourceLog", CopyToSourceLog);
  publisher.Boolean("CopyToStorage", CopyToStorage);
  publisher.Boolean("DeleteMessages", DeleteMessages);
  publisher.Boolean("DoNotProcessMessages", DoNotProcessMessages);
  publisher.Boolean("DownloadImages", DownloadImages);
  publisher.Enum("Drive", Drive);
  publisher.Enum("EncryptionAlgorithm", EncryptionAlgorithm);
  publisher.String("EncryptionPassword", EncryptionPassword);
  publisher.String("Filename", Filename);
  publisher.Object("Filters", *Filters);
  publisher.String("Folder", Folder);
  publisher.Object("FolderName", *FolderName);
  publisher.Boolean("IndexMessages", IndexMessages, true);
  publisher.String("Password", Password);
  publisher.String("ProfileName", ProfileName);
  publisher.Enum("SourceLocation", SourceLocation);
  publisher.Object("Remote", *Remote);
  publisher.Enum("FoldersView", FoldersView);
  publisher.Boolean("ForceOnline", ForceOnline);
  publisher.Boolean("IncludeThreadedReplies", IncludeThreadedReplies, true);
  publisher.Boolean("LoadPublicFolders", LoadPublicFolders);
  publisher.Boolean("LoadTopFoldersOnly", LoadTopFoldersOnly);
  publisher.String("Mailbox", Mailbox);
  publisher.String("MailboxDN", MailboxDN);
  publisher.Boolean("OneEmailPerThread", OneEmailPerThread, true);
  publisher.Boolean("ParseBodyWords", ParseBodyWords);
  publisher.String("PDFPassword", PDFPassword);
  publisher.Object("RestApi", *RestApi);
  publisher.Object("SMIMECert", *SMIMECert);
  publisher.Boolean("UseOutlookToReadMsgFiles", UseOutlookToReadMsgFiles);
}

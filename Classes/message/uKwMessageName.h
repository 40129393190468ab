#pragma once
// Names under which messages and attachments are written, and the message unique id by
// which the processed-message log, the e-mail cache and file names recognise a message.
//
// Unique id: 25 upper-case hexadecimal characters, in three fields:
//   1-9   the GMT date-time: 4 digits of the shrunken date (days since 1970-01-01),
//         5 digits of the seconds of the day;
//   10-17 CRC32String of the sender's address as ParseEmailAddress gives it;
//   18-25 CRC32String of the Message-ID's text inside its angle brackets, "00000000" when
//         there is none.
// Its file form is the id followed by "!", which is how ids are found in file names.
//
// Text is UTF-8; lengths count characters (code points). Hashes are taken over the
// UTF-16LE bytes of the text so that ids match those the desktop program wrote; a byte that
// is not valid UTF-8 hashes as the code unit of its own value. Pure functions, except that
// name templates read the computer, user and domain names; safe from any thread.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "uKwTypes.h"

// The separator of the default name scheme (and of the file-name options by default).
inline constexpr std::string_view kDefaultFilenameSeparator = "-";
// The id of a message that has none of its own.
inline constexpr std::string_view kEmptyUniqueId = "0000000000000000000000000";
inline constexpr int kUniqueIdLength = 25;
inline constexpr int kDefaultMaxFilenameLength = 260;
// What fpAttachmentFilename writes; the attachment writer replaces it by the file's name.
inline constexpr std::string_view kAttachmentFilenameMarker = "fpAttachmentFilename";

// ---- Name templates ----
// partCodes: two decimal digits per TSFFilenamePart in output order ("020311": date, time,
// subject); each code is taken modulo 128, codes above 20 and pairs that are not two digits
// produce nothing, an odd last character is ignored. Dates are local. Only the subject is
// shortened to keep the name within maxLength (see TrimSubject).
std::string BuildUserDefinedEmailFileName(
    std::string_view FromName, std::string_view FromAddress, std::string_view FromDomain,
    std::string_view ToAddress, std::string_view ToDomain, std::string_view Subject,
    std::string_view MessageId, std::string_view SourceFilename, std::string_view PartCodes,
    TDateTime SubmitDate, TDateTime DeliveryDate, bool HasAttachments, std::string_view Separator,
    TFileFormat FileFormat, int Counter, std::string_view Var1, std::string_view Var2,
    std::string_view Var3, std::string_view AttachmentSign, int MaxLength);

// The name used when no template is configured:
//   YYYYMMDD-HHMMSS-(sender)-subject.ext
// with the local submit date. Sender and subject have invalid file-name characters replaced
// by "_" (and the sender its parentheses too, so that it ends at the first ")"); the subject
// is shortened to maxLength as in templates. ParseEmailFilename reads such a name back.
std::string BuildDefaultEmailFileName(std::string_view fromAddress, std::string_view subject,
                                      TDateTime submitDate, TFileFormat fileFormat,
                                      int maxLength = 0);
// Splits a name written by BuildDefaultEmailFileName (a folder in front and a known
// single-file extension are dropped) into subject, sender and local date. False when the
// name does not follow the scheme: subject is then the name without folder and extension,
// sender empty and date 0. Characters that the writer replaced by "_" stay "_".
bool ParseEmailFilename(std::string_view fileName, std::string& subject, std::string& sender,
                        TDateTime& date);

// Shortens subject so that before + subject + after fits the limit: maxLength when >= 1,
// else defaultMaxLength when >= 1, else 260. Empty when before + after alone reach the
// limit; cut and trimmed of blanks when the three together exceed it.
std::string TrimSubject(std::string_view before, std::string_view subject, std::string_view after,
                        int maxLength, int defaultMaxLength);
// "dir/name.eml", 3 -> "dir/name_3.eml"; unchanged when counter < 1.
std::string AddCounterToFilename(std::string_view fileName, int counter);

// ---- Unique ids ----
// gmtDate is the message's submit date in GMT.
std::string BuildUniqueId(std::string_view messageId, std::string_view fromAddress,
                          TDateTime gmtDate);
std::string BuildUniqueIdFile(std::string_view messageId, std::string_view fromAddress,
                              TDateTime gmtDate);  // the id and "!"
// From a local date (converted to GMT here) and an already computed Message-ID CRC text.
std::string BuildUniqueIdParts(TDateTime localDate, std::string_view fromAddress,
                               std::string_view messageIdCrc);
// Characters 1-9, 10-17 and 18-25; parts beyond the end of a short id are empty.
void DecomposeUniqueId(std::string_view id, std::string& datePart, std::string& fromPart,
                       std::string& idPart);
// A name carries an id when some "!" in its last path component follows 25 upper-case
// hexadecimal digits; the first such id is given back (without the "!").
bool IsUniqueIdInFilename(std::string_view fileName);
bool IsUniqueIdInFilename(std::string_view fileName, std::string& id);
// Three-way comparison of two ids, each either bare or in file form ("!" at the end),
// ignoring case: < 0, 0 or > 0.
int CompareUniqueIds(std::string_view a, std::string_view b);
// Index of the first entry that is the id, or a file name carrying it; -1 when none.
int SearchUniqueIdInList(std::string_view id, const std::vector<std::string>& list);

// ---- Dates ----
// 4 hex digits of ShrinkEmailDate, then 5 of the seconds of the day.
std::string MessageDateTimeToHexString(TDateTime date);
// The inverse; the first 9 characters of text must be hexadecimal (a whole id will do),
// else 0. A shrunken date of 0 comes back as 9999-01-01 with the time of day.
TDateTime UidStringToMessageDateTime(std::string_view text);
// Whole days after 1970-01-01; 0 for a zero date, 1970-01-01 itself, any date before it
// and any date more than 65535 days after it.
uint16_t ShrinkEmailDate(TDateTime date);
TDateTime ExpandEmailDate(uint16_t days);         // 0 gives 9999-01-01, the value for "no date"
std::string MessageDateToString(TDateTime date);  // YYYYMMDD
std::string MessageTimeToString(TDateTime date);  // HHMMSS
std::string MessageDateTimeToString(TDateTime date, std::string_view separator);
// Reads "YYYYMMDD" + any separator + "HHMMSS", or "YYYYMMDD" alone; 0 when invalid.
TDateTime StringToMessageDateTime(std::string_view text);

// ---- Hashes over the text's UTF-16LE bytes, upper-case hexadecimal ----
// CRC-32 (zlib); the four result bytes in memory order, least significant first.
std::string CRC32String(std::string_view text);
uint32_t CRC32Int(std::string_view text);
// CRC-16/ARC (reflected polynomial 0xA001, initial value 0); two bytes in memory order.
std::string CRC16String(std::string_view text);
// CRC-64/XZ (ECMA-182 polynomial, reflected, initial value and final XOR all ones); eight
// bytes in memory order.
std::string CRC64String(std::string_view text);
std::string MD5String(std::string_view text);  // the 16 digest bytes in order
// ELF hash over the UTF-16 code units, modulo 4093, hexadecimal without padding; "" for "".
std::string MessageIDHash(std::string_view text);

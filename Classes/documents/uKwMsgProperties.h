#pragma once
// The property layer of Outlook message files: the "__properties_version1.0" stream of
// 16-byte entries and the "__substg1.0_TTTTTTTT" streams that hold variable-length values,
// inside one storage of a compound file (uKwOleStorage). Shared by the writer and the
// reader of .msg files.
//
// On disk (little-endian): the properties stream opens with a header (32 bytes for the
// top-level message, 24 for an embedded one, 8 for a recipient or attachment), then one
// entry per property: tag (type in the low 16 bits, id in the high 16), flags, 8 value
// bytes. Fixed-size values sit in the entry; a string or binary entry holds its size and
// its bytes live in the substg stream named by the tag in upper-case hex. Unicode strings
// are UTF-16LE; the size counts a terminating NUL that the stream itself leaves out.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "uKwOleStorage.h"
#include "uKwTypes.h"

namespace msgprop {
// Property types.
inline constexpr uint16_t kLong = 0x0003;
inline constexpr uint16_t kBoolean = 0x000B;
inline constexpr uint16_t kObject = 0x000D;
inline constexpr uint16_t kString8 = 0x001E;
inline constexpr uint16_t kUnicode = 0x001F;
inline constexpr uint16_t kSysTime = 0x0040;
inline constexpr uint16_t kBinary = 0x0102;

// Property ids.
inline constexpr uint16_t kImportance = 0x0017;
inline constexpr uint16_t kMessageClass = 0x001A;
inline constexpr uint16_t kSubject = 0x0037;
inline constexpr uint16_t kClientSubmitTime = 0x0039;
inline constexpr uint16_t kSentRepresentingName = 0x0042;
inline constexpr uint16_t kSentRepresentingAddrType = 0x0064;
inline constexpr uint16_t kSentRepresentingEmail = 0x0065;
inline constexpr uint16_t kTransportHeaders = 0x007D;
inline constexpr uint16_t kRecipientType = 0x0C15;
inline constexpr uint16_t kSenderName = 0x0C1A;
inline constexpr uint16_t kSenderAddrType = 0x0C1E;
inline constexpr uint16_t kSenderEmail = 0x0C1F;
inline constexpr uint16_t kDisplayCc = 0x0E03;
inline constexpr uint16_t kDisplayTo = 0x0E04;
inline constexpr uint16_t kDeliveryTime = 0x0E06;
inline constexpr uint16_t kMessageFlags = 0x0E07;
inline constexpr uint16_t kHasAttach = 0x0E1B;
inline constexpr uint16_t kAttachNum = 0x0E21;
inline constexpr uint16_t kBody = 0x1000;
inline constexpr uint16_t kRtfCompressed = 0x1009;
inline constexpr uint16_t kHtml = 0x1013;
inline constexpr uint16_t kInternetMessageId = 0x1035;
inline constexpr uint16_t kInReplyTo = 0x1042;
inline constexpr uint16_t kReferences = 0x1039;
inline constexpr uint16_t kRowId = 0x3000;
inline constexpr uint16_t kDisplayName = 0x3001;
inline constexpr uint16_t kAddrType = 0x3002;
inline constexpr uint16_t kEmailAddress = 0x3003;
inline constexpr uint16_t kStoreSupportMask = 0x340D;
inline constexpr uint16_t kAttachData = 0x3701;
inline constexpr uint16_t kAttachExtension = 0x3703;
inline constexpr uint16_t kAttachFilename = 0x3704;
inline constexpr uint16_t kAttachMethod = 0x3705;
inline constexpr uint16_t kAttachLongFilename = 0x3707;
inline constexpr uint16_t kAttachMimeTag = 0x370E;
inline constexpr uint16_t kAttachContentId = 0x3712;
inline constexpr uint16_t kAttachFlags = 0x3714;
inline constexpr uint16_t kSmtpAddress = 0x39FE;
inline constexpr uint16_t kMessageCodepage = 0x3FFD;
inline constexpr uint16_t kInternetCodepage = 0x3FDE;
inline constexpr uint16_t kSenderSmtpAddress = 0x5D01;
inline constexpr uint16_t kSentRepresentingSmtpAddress = 0x5D02;
inline constexpr uint16_t kAttachmentHidden = 0x7FFE;

inline constexpr int kAttachByValue = 1;
inline constexpr int kAttachEmbeddedMessage = 5;
inline constexpr int kAttachMhtmlRef = 4;  // a flag of kAttachFlags: referenced from the HTML body

inline constexpr uint32_t Tag(uint16_t id, uint16_t type) { return (uint32_t{id} << 16) | type; }
}  // namespace msgprop

// The substg stream name of a tag: "__substg1.0_0037001F".
std::string SubstgName(uint32_t tag);

// UTF-8 to UTF-16LE bytes (invalid sequences become U+FFFD) and back (unpaired surrogates
// become U+FFFD; a trailing NUL and anything after it is dropped).
std::string Utf8ToUtf16LeBytes(std::string_view utf8);
std::string Utf16LeBytesToUtf8(std::string_view bytes);

// TDateTime in GMT to a FILETIME count of 100 ns since 1601-01-01, and back (0 stays 0).
uint64_t DateTimeToFileTime(TDateTime gmt);
TDateTime FileTimeToDateTime(uint64_t fileTime);

// Collects the properties of one object and writes them into its storage.
class TKwMsgPropertyWriter {
 public:
  void AddUnicode(uint16_t id, std::string_view utf8);  // nothing for an empty text
  void AddBinary(uint16_t id, std::string_view bytes);
  void AddLong(uint16_t id, int32_t value);
  void AddBoolean(uint16_t id, bool value);
  void AddTime(uint16_t id, TDateTime gmt);  // nothing for 0
  void AddObject(uint16_t id);               // the value lives in the "…000D" storage
  // The properties stream (after `header`) and the substg streams, added to storage.
  void WriteInto(TKwOleNode& storage, std::string_view header);

 private:
  void AddEntry(uint32_t tag, uint64_t value);
  std::string FEntries;
  std::vector<std::pair<uint32_t, std::string>> FStreams;
};

// Reads the properties of one object from its storage. Any value may be missing or
// damaged; the getters then give nothing.
class TKwMsgPropertyReader {
 public:
  // headerSize: 32, 24 or 8 (see above).
  TKwMsgPropertyReader(const TKwOleNode& storage, size_t headerSize);

  // A Unicode string, else an 8-bit one read in codepage (a Windows code page number;
  // 0: the storage's own PR_MESSAGE_CODEPAGE, else windows-1252).
  std::string String(uint16_t id, uint32_t codepage = 0) const;
  std::optional<std::string> Binary(uint16_t id) const;
  std::optional<int32_t> Long(uint16_t id) const;
  bool Boolean(uint16_t id) const;
  TDateTime Time(uint16_t id) const;  // 0 when absent

 private:
  std::optional<uint64_t> FixedValue(uint32_t tag) const;
  const TKwOleNode& FStorage;
  std::string FEntries;
};

// The charset name of a Windows code page, for ConvertToUtf8.
std::string CodepageCharset(uint32_t codepage);

#include "uKwMessageName.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

#include "uKwDateTime.h"
#include "uKwHeaders.h"
#include "uKwSubs.h"

namespace {

// ---- UTF-8 text as characters ----

// Length in bytes of the UTF-8 sequence at text[pos], or 0 when the byte there does not
// start a valid sequence (it then stands for itself).
std::size_t Utf8SequenceLength(std::string_view text, std::size_t pos) {
  const auto lead = static_cast<unsigned char>(text[pos]);
  std::size_t length = lead < 0x80                   ? 1
                       : lead >= 0xC2 && lead < 0xE0 ? 2
                       : lead >= 0xE0 && lead < 0xF0 ? 3
                       : lead >= 0xF0 && lead < 0xF5 ? 4
                                                     : 0;
  if (length == 0 || pos + length > text.size()) return length == 1 ? 1 : 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((static_cast<unsigned char>(text[pos + i]) & 0xC0) != 0x80) return 0;
  return length;
}

// Calls sink(codePoint, byteLength) per character.
template <class Sink>
void ForEachCharacter(std::string_view text, Sink sink) {
  for (std::size_t pos = 0; pos < text.size();) {
    const std::size_t length = Utf8SequenceLength(text, pos);
    const auto lead = static_cast<unsigned char>(text[pos]);
    if (length <= 1) {
      sink(static_cast<char32_t>(lead), std::size_t{1});
      ++pos;
      continue;
    }
    char32_t code = lead & (0xFF >> (length + 1));
    for (std::size_t i = 1; i < length; ++i)
      code = (code << 6) | (static_cast<unsigned char>(text[pos + i]) & 0x3F);
    sink(code, length);
    pos += length;
  }
}

std::u16string ToUtf16(std::string_view text) {
  std::u16string units;
  ForEachCharacter(text, [&](char32_t code, std::size_t) {
    if (code < 0x10000) {
      units.push_back(static_cast<char16_t>(code));
    } else {
      code -= 0x10000;
      units.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
    }
  });
  return units;
}

std::string ToUtf16LeBytes(std::string_view text) {
  std::string bytes;
  for (char16_t unit : ToUtf16(text)) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}

std::size_t CharacterCount(std::string_view text) {
  std::size_t count = 0;
  ForEachCharacter(text, [&](char32_t, std::size_t) { ++count; });
  return count;
}

// The first `count` characters of text.
std::string_view LeadingCharacters(std::string_view text, std::size_t count) {
  std::size_t bytes = 0;
  ForEachCharacter(text, [&](char32_t, std::size_t length) {
    if (count > 0) {
      bytes += length;
      --count;
    }
  });
  return text.substr(0, bytes);
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && static_cast<unsigned char>(text.front()) <= ' ') text.remove_prefix(1);
  while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ') text.remove_suffix(1);
  return text;
}

bool IsUpperHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); }

bool IsHexDigit(char c) { return IsUpperHexDigit(c) || (c >= 'a' && c <= 'f'); }

bool AllDigits(std::string_view text) {
  for (char c : text)
    if (c < '0' || c > '9') return false;
  return true;
}

int DigitsValue(std::string_view digits) {
  int value = 0;
  for (char c : digits) value = value * 10 + (c - '0');
  return value;
}

std::string BytesToHex(const unsigned char* bytes, std::size_t count) {
  std::string hex;
  for (std::size_t i = 0; i < count; ++i) hex += fmt::format("{:02X}", bytes[i]);
  return hex;
}

template <class Unsigned>
std::string LittleEndianHex(Unsigned value) {
  std::array<unsigned char, sizeof(Unsigned)> bytes{};
  for (auto& byte : bytes) {
    byte = static_cast<unsigned char>(value & 0xFF);
    value = static_cast<Unsigned>(value >> 8);
  }
  return BytesToHex(bytes.data(), bytes.size());
}

// DecodeDateTime is only defined for dates the calendar can hold; anything else reads as 0.
TKwDateParts SafeDecode(TDateTime date) {
  constexpr double kBeyondYear9999 = 2958466.0;
  return DecodeDateTime(std::isfinite(date) && std::fabs(date) < kBeyondYear9999 ? date : 0.0);
}

// The last path component without its extension.
std::string FileStem(std::string_view fileName) {
  return std::filesystem::path(std::string(fileName)).stem().string();
}

// ---- Name templates ----

struct TNameSources {
  std::string_view FromName, FromAddress, FromDomain, ToAddress, ToDomain, Subject, MessageId,
      SourceFilename;
  TDateTime SubmitDate = 0, DeliveryDate = 0;
  bool HasAttachments = false;
  std::string_view Var1, Var2, Var3, AttachmentSign;
};

std::string CleanPart(std::string_view text) { return ReplaceInvalidCharactersFilename(text, "_"); }

std::string_view MessageIdInnerText(std::string_view messageId) {
  messageId = TrimBlanks(messageId);
  const std::size_t open = messageId.find('<');
  if (open == std::string_view::npos) return messageId;
  messageId.remove_prefix(open + 1);
  // Blanks inside the brackets belong to the id: trimming them would give the message
  // another unique id than the one earlier runs stored.
  return messageId.substr(0, messageId.find('>'));
}

std::string PartText(int code, const TNameSources& s) {
  switch (code) {
    case fpAttachmentFilename:
      return std::string(kAttachmentFilenameMarker);
    case fpUniqueId:
      return BuildUniqueIdFile(s.MessageId, s.FromAddress, LocalToGmt(s.SubmitDate));
    case fpSubmitDate:
      return MessageDateToString(s.SubmitDate);
    case fpSubmitTime:
      return MessageTimeToString(s.SubmitDate);
    case fpDeliveryDate:
      return MessageDateToString(s.DeliveryDate);
    case fpDeliveryTime:
      return MessageTimeToString(s.DeliveryDate);
    case fpFromName:
      return CleanPart(s.FromName);
    case fpFromAddress:
      return CleanPart(s.FromAddress);
    case ftFromDomain:
      return CleanPart(s.FromDomain);
    case fpToAddress:
      return CleanPart(s.ToAddress);
    case ftToDomain:
      return CleanPart(s.ToDomain);
    case fpSubject:
      return CleanPart(s.Subject);
    case fpMessageId:
      return CleanPart(MessageIdInnerText(s.MessageId));
    case fpSourceFilename:
      return FileStem(s.SourceFilename);
    case fpComputerName:
      return GetComputerName();
    case fpUserName:
      return GetUserName();
    case fpDomainName:
      return GetDomainName();
    case fpVar1:
      return std::string(s.Var1);
    case fpVar2:
      return std::string(s.Var2);
    case fpVar3:
      return std::string(s.Var3);
    case fpAttachmentSign:
      return s.HasAttachments ? std::string(s.AttachmentSign) : "";
    default:
      return {};
  }
}

// One entry per two-character pair; -1 for a pair that is not two digits.
std::vector<int> ParsePartCodes(std::string_view partCodes) {
  std::vector<int> codes;
  for (std::size_t pos = 0; pos + 2 <= partCodes.size(); pos += 2) {
    const std::string_view pair = partCodes.substr(pos, 2);
    codes.push_back(AllDigits(pair) ? DigitsValue(pair) % 128 : -1);
  }
  return codes;
}

struct TNameMarks {
  std::string Opening, Closing;
};

TNameMarks SplitSeparator(std::string_view separator) {
  // The shared cleaning trims blanks at the ends, but a blank separator is meant as one:
  // guard the ends while cleaning.
  std::string cleaned = ReplaceInvalidCharactersFilename("x" + std::string(separator) + "x", "-");
  cleaned = cleaned.substr(1, cleaned.size() - 2);
  if (CharacterCount(cleaned) != 2) return {"", cleaned};
  const std::string_view first = LeadingCharacters(cleaned, 1);
  return {std::string(first), cleaned.substr(first.size())};
}

std::string BuildTemplateName(const TNameSources& sources, std::string_view partCodes,
                              std::string_view separator, TFileFormat fileFormat, int counter,
                              int maxLength) {
  const TNameMarks marks = SplitSeparator(separator);
  const std::vector<int> codes = ParsePartCodes(partCodes);
  std::string before, subject, after;
  bool subjectMet = false;
  for (std::size_t i = 0; i < codes.size(); ++i) {
    const std::string text = PartText(codes[i], sources);
    if (text.empty()) continue;
    const std::string& closing = i + 1 == codes.size() ? std::string() : marks.Closing;
    if (codes[i] == fpSubject && !subjectMet) {
      subjectMet = true;
      before += marks.Opening;
      subject = text;
      after += closing;
    } else if (subjectMet) {
      after += text + closing;
    } else {
      before += marks.Opening + text + closing;
    }
  }
  if (counter > 0) after += marks.Closing + std::to_string(counter);
  after += GetFileFormatExtension(fileFormat);
  if (subjectMet) subject = TrimSubject(before, subject, after, maxLength, 0);
  return before + subject + after;
}

// ---- Hashes ----

uint16_t Crc16Arc(std::string_view bytes) {
  uint16_t crc = 0;
  for (char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? (crc >> 1) ^ 0xA001 : crc >> 1;
  }
  return crc;
}

uint64_t Crc64Xz(std::string_view bytes) {
  constexpr uint64_t kPolynomial = 0xC96C5795D7870F42ULL;
  uint64_t crc = ~0ULL;
  for (char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? (crc >> 1) ^ kPolynomial : crc >> 1;
  }
  return ~crc;
}

// MD5 (RFC 1321).
class TMd5 {
 public:
  std::array<unsigned char, 16> Digest(std::string_view bytes) {
    std::string message(bytes);
    const uint64_t bitLength = static_cast<uint64_t>(bytes.size()) * 8;
    message.push_back(static_cast<char>(0x80));
    while (message.size() % 64 != 56) message.push_back('\0');
    for (int i = 0; i < 8; ++i) message.push_back(static_cast<char>(bitLength >> (8 * i)));
    for (std::size_t block = 0; block < message.size(); block += 64)
      Transform(reinterpret_cast<const unsigned char*>(message.data()) + block);
    std::array<unsigned char, 16> digest{};
    for (int i = 0; i < 16; ++i)
      digest[i] = static_cast<unsigned char>(State[i / 4] >> (8 * (i % 4)));
    return digest;
  }

 private:
  std::array<uint32_t, 4> State{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};

  static uint32_t RotateLeft(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }

  // The sine-derived constants of RFC 1321, section 3.4.
  static const std::array<uint32_t, 64>& SineConstants() {
    static const std::array<uint32_t, 64> constants = [] {
      std::array<uint32_t, 64> table{};
      for (int i = 0; i < 64; ++i)
        table[i] = static_cast<uint32_t>(std::fabs(std::sin(i + 1.0)) * 4294967296.0);
      return table;
    }();
    return constants;
  }

  // The round function and message word of step i.
  static void RoundStep(int i, uint32_t b, uint32_t c, uint32_t d, uint32_t& f, int& word) {
    switch (i / 16) {
      case 0:
        f = (b & c) | (~b & d);
        word = i;
        break;
      case 1:
        f = (d & b) | (~d & c);
        word = (5 * i + 1) % 16;
        break;
      case 2:
        f = b ^ c ^ d;
        word = (3 * i + 5) % 16;
        break;
      default:
        f = c ^ (b | ~d);
        word = (7 * i) % 16;
        break;
    }
  }

  void Transform(const unsigned char* block) {
    static constexpr int kShifts[] = {7, 12, 17, 22, 5, 9, 14, 20, 4, 11, 16, 23, 6, 10, 15, 21};
    uint32_t words[16];
    for (int i = 0; i < 16; ++i)
      words[i] = block[i * 4] | block[i * 4 + 1] << 8 | block[i * 4 + 2] << 16 |
                 static_cast<uint32_t>(block[i * 4 + 3]) << 24;
    uint32_t a = State[0], b = State[1], c = State[2], d = State[3];
    for (int i = 0; i < 64; ++i) {
      uint32_t f = 0;
      int word = 0;
      RoundStep(i, b, c, d, f, word);
      const uint32_t sum = a + f + SineConstants()[i] + words[word];
      a = d;
      d = c;
      c = b;
      b += RotateLeft(sum, kShifts[(i / 16) * 4 + i % 4]);
    }
    State[0] += a;
    State[1] += b;
    State[2] += c;
    State[3] += d;
  }
};

}  // namespace

// ---- Name templates ----

std::string BuildUserDefinedEmailFileName(
    std::string_view FromName, std::string_view FromAddress, std::string_view FromDomain,
    std::string_view ToAddress, std::string_view ToDomain, std::string_view Subject,
    std::string_view MessageId, std::string_view SourceFilename, std::string_view PartCodes,
    TDateTime SubmitDate, TDateTime DeliveryDate, bool HasAttachments, std::string_view Separator,
    TFileFormat FileFormat, int Counter, std::string_view Var1, std::string_view Var2,
    std::string_view Var3, std::string_view AttachmentSign, int MaxLength) {
  const TNameSources sources{FromName,   FromAddress,  FromDomain,     ToAddress,
                             ToDomain,   Subject,      MessageId,      SourceFilename,
                             SubmitDate, DeliveryDate, HasAttachments, Var1,
                             Var2,       Var3,         AttachmentSign};
  return BuildTemplateName(sources, PartCodes, Separator, FileFormat, Counter, MaxLength);
}

std::string BuildDefaultEmailFileName(std::string_view fromAddress, std::string_view subject,
                                      TDateTime submitDate, TFileFormat fileFormat, int maxLength) {
  std::string sender = CleanPart(fromAddress);
  for (char& c : sender)
    if (c == '(' || c == ')') c = '_';
  const std::string sep(kDefaultFilenameSeparator);
  const std::string before =
      MessageDateTimeToString(submitDate, sep) + sep + "(" + sender + ")" + sep;
  const std::string after = GetFileFormatExtension(fileFormat);
  return before + TrimSubject(before, CleanPart(subject), after, maxLength, 0) + after;
}

bool ParseEmailFilename(std::string_view fileName, std::string& subject, std::string& sender,
                        TDateTime& date) {
  std::string name = std::filesystem::path(std::string(fileName)).filename().string();
  bool hidden = false;
  if (FilenameToSingleFileFormatEx(name, hidden) != ffNone) name = FileStem(name);
  subject = name;
  sender.clear();
  date = 0;
  const std::string_view sep = kDefaultFilenameSeparator;
  const std::size_t dateLength = 8 + sep.size() + 6;
  const std::string_view text = name;
  const std::size_t senderStart = dateLength + sep.size() + 1;
  if (text.size() < senderStart || text.substr(8, sep.size()) != sep ||
      text.substr(dateLength, sep.size()) != sep || text[senderStart - 1] != '(')
    return false;
  const std::size_t senderEnd = text.find(')', senderStart);
  if (senderEnd == std::string_view::npos || text.substr(senderEnd + 1, sep.size()) != sep)
    return false;
  // 0 is also what a zero date reads as; only its own text may give it.
  const std::string_view dateText = text.substr(0, dateLength);
  const TDateTime parsedDate = StringToMessageDateTime(dateText);
  if (parsedDate == 0 && dateText != MessageDateTimeToString(0, sep)) return false;
  date = parsedDate;
  sender = text.substr(senderStart, senderEnd - senderStart);
  subject = text.substr(senderEnd + 1 + sep.size());
  return true;
}

std::string TrimSubject(std::string_view before, std::string_view subject, std::string_view after,
                        int maxLength, int defaultMaxLength) {
  const std::size_t limit = maxLength >= 1          ? maxLength
                            : defaultMaxLength >= 1 ? defaultMaxLength
                                                    : kDefaultMaxFilenameLength;
  const std::size_t others = CharacterCount(before) + CharacterCount(after);
  if (limit <= others) return {};
  if (others + CharacterCount(subject) <= limit) return std::string(subject);
  return std::string(TrimBlanks(LeadingCharacters(subject, limit - others)));
}

std::string AddCounterToFilename(std::string_view fileName, int counter) {
  if (counter < 1) return std::string(fileName);
  const std::size_t dot = fileName.find_last_of("./");
  const std::size_t insertAt =
      dot != std::string_view::npos && fileName[dot] == '.' ? dot : fileName.size();
  return std::string(fileName.substr(0, insertAt)) + "_" + std::to_string(counter) +
         std::string(fileName.substr(insertAt));
}

// ---- Unique ids ----

std::string BuildUniqueId(std::string_view messageId, std::string_view fromAddress,
                          TDateTime gmtDate) {
  const std::string_view inner = MessageIdInnerText(messageId);
  const std::string idCrc = inner.empty() ? std::string(8, '0') : CRC32String(inner);
  std::string name, address;
  ParseEmailAddress(fromAddress, name, address);
  return MessageDateTimeToHexString(gmtDate) + CRC32String(address) + idCrc;
}

std::string BuildUniqueIdFile(std::string_view messageId, std::string_view fromAddress,
                              TDateTime gmtDate) {
  return BuildUniqueId(messageId, fromAddress, gmtDate) + "!";
}

std::string BuildUniqueIdParts(TDateTime localDate, std::string_view fromAddress,
                               std::string_view messageIdCrc) {
  std::string name, address;
  ParseEmailAddress(fromAddress, name, address);
  return MessageDateTimeToHexString(LocalToGmt(localDate)) + CRC32String(address) +
         std::string(messageIdCrc);
}

void DecomposeUniqueId(std::string_view id, std::string& datePart, std::string& fromPart,
                       std::string& idPart) {
  auto field = [id](std::size_t from, std::size_t length) {
    return from < id.size() ? std::string(id.substr(from, length)) : std::string();
  };
  datePart = field(0, 9);
  fromPart = field(9, 8);
  idPart = field(17, 8);
}

bool IsUniqueIdInFilename(std::string_view fileName) {
  std::string id;
  return IsUniqueIdInFilename(fileName, id);
}

bool IsUniqueIdInFilename(std::string_view fileName, std::string& id) {
  id.clear();
  const std::size_t slash = fileName.find_last_of('/');
  const std::string_view name =
      slash == std::string_view::npos ? fileName : fileName.substr(slash + 1);
  for (std::size_t mark = name.find('!'); mark != std::string_view::npos;
       mark = name.find('!', mark + 1)) {
    if (mark < static_cast<std::size_t>(kUniqueIdLength)) continue;
    const std::string_view candidate = name.substr(mark - kUniqueIdLength, kUniqueIdLength);
    bool allHex = true;
    for (char c : candidate) allHex = allHex && IsUpperHexDigit(c);
    if (allHex) {
      id = candidate;
      return true;
    }
  }
  return false;
}

int CompareUniqueIds(std::string_view a, std::string_view b) {
  auto normal = [](std::string_view id) {
    if (id.ends_with('!')) id.remove_suffix(1);
    std::string upper(id);
    for (char& c : upper)
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return upper;
  };
  return normal(a).compare(normal(b));
}

int SearchUniqueIdInList(std::string_view id, const std::vector<std::string>& list) {
  for (std::size_t i = 0; i < list.size(); ++i) {
    std::string embedded;
    if (CompareUniqueIds(id, list[i]) == 0 ||
        (IsUniqueIdInFilename(list[i], embedded) && CompareUniqueIds(id, embedded) == 0))
      return static_cast<int>(i);
  }
  return -1;
}

// ---- Dates ----

std::string MessageDateTimeToHexString(TDateTime date) {
  const TKwDateParts parts = SafeDecode(date);
  const int seconds = parts.Hour * 3600 + parts.Minute * 60 + parts.Second;
  return fmt::format("{:04X}{:05X}", ShrinkEmailDate(date), seconds);
}

TDateTime UidStringToMessageDateTime(std::string_view text) {
  if (text.size() < 9) return 0;
  for (char c : text.substr(0, 9))
    if (!IsHexDigit(c)) return 0;
  const auto days = static_cast<uint16_t>(std::stoul(std::string(text.substr(0, 4)), nullptr, 16));
  const auto seconds = std::stoul(std::string(text.substr(4, 5)), nullptr, 16);
  return ExpandEmailDate(days) + static_cast<double>(seconds) / kSecondsPerDay;
}

uint16_t ShrinkEmailDate(TDateTime date) {
  constexpr double kMaxDays = 65535;
  if (!(date >= kUnixEpochDateTime + 1 && date < kUnixEpochDateTime + kMaxDays + 1)) return 0;
  const TKwDateParts parts = SafeDecode(date);
  const double days = EncodeDateTime(parts.Year, parts.Month, parts.Day) - kUnixEpochDateTime;
  return days >= 1 && days <= kMaxDays ? static_cast<uint16_t>(days) : 0;
}

TDateTime ExpandEmailDate(uint16_t days) {
  return days == 0 ? EncodeDateTime(9999, 1, 1) : kUnixEpochDateTime + days;
}

std::string MessageDateToString(TDateTime date) {
  const TKwDateParts parts = SafeDecode(date);
  return fmt::format("{:04}{:02}{:02}", parts.Year, parts.Month, parts.Day);
}

std::string MessageTimeToString(TDateTime date) {
  const TKwDateParts parts = SafeDecode(date);
  return fmt::format("{:02}{:02}{:02}", parts.Hour, parts.Minute, parts.Second);
}

std::string MessageDateTimeToString(TDateTime date, std::string_view separator) {
  return MessageDateToString(date) + std::string(separator) + MessageTimeToString(date);
}

TDateTime StringToMessageDateTime(std::string_view text) {
  if (text.size() != 8 && text.size() < 14) return 0;
  const std::string_view datePart = text.substr(0, 8);
  const std::string_view timePart = text.size() == 8 ? "000000" : text.substr(text.size() - 6);
  if (!AllDigits(datePart) || !AllDigits(timePart)) return 0;
  TKwDateParts parts{DigitsValue(datePart.substr(0, 4)), DigitsValue(datePart.substr(4, 2)),
                     DigitsValue(datePart.substr(6, 2)), DigitsValue(timePart.substr(0, 2)),
                     DigitsValue(timePart.substr(2, 2)), DigitsValue(timePart.substr(4, 2))};
  TDateTime value = 0;
  return TryEncodeDateTime(parts, value) ? value : 0;
}

// ---- Hashes ----

std::string CRC32String(std::string_view text) { return LittleEndianHex(CRC32Int(text)); }

uint32_t CRC32Int(std::string_view text) {
  uLong crc = crc32(0L, Z_NULL, 0);
  const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (!ascii) {
    const std::string bytes = ToUtf16LeBytes(text);
    return static_cast<uint32_t>(crc32(crc, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
  }
  // ASCII is its UTF-16LE code units with a zero high byte, widened a piece at a time
  // (ids are hashed for every message, and this spares building the wide text).
  Bytef wide[512];
  for (size_t done = 0; done < text.size();) {
    const size_t piece = std::min(text.size() - done, sizeof(wide) / 2);
    for (size_t i = 0; i < piece; ++i) {
      wide[2 * i] = static_cast<Bytef>(text[done + i]);
      wide[2 * i + 1] = 0;
    }
    crc = crc32(crc, wide, static_cast<uInt>(2 * piece));
    done += piece;
  }
  return static_cast<uint32_t>(crc);
}

std::string CRC16String(std::string_view text) {
  return LittleEndianHex(Crc16Arc(ToUtf16LeBytes(text)));
}

std::string CRC64String(std::string_view text) {
  return LittleEndianHex(Crc64Xz(ToUtf16LeBytes(text)));
}

std::string MD5String(std::string_view text) {
  const auto digest = TMd5().Digest(ToUtf16LeBytes(text));
  return BytesToHex(digest.data(), digest.size());
}

std::string MessageIDHash(std::string_view text) {
  if (text.empty()) return {};
  uint32_t h = 0;
  for (char16_t unit : ToUtf16(text)) {
    h = (h << 4) + unit;
    const uint32_t g = h & 0xF0000000u;
    if (g != 0) h = (h ^ (g >> 24)) & 0x0FFFFFFFu;
  }
  return fmt::format("{:X}", h % 4093);
}

#include "uKwMsgProperties.h"

#include <cmath>
#include <cstring>

#include <fmt/format.h>

#include "uKwGMime.h"
#include "uKwUtf8.h"

namespace {

// Days from 1601-01-01 (FILETIME's epoch) to 1899-12-30 (TDateTime's), and FILETIME
// ticks per day.
constexpr double kFileTimeEpochDays = 109205.0;
constexpr double kTicksPerDay = 864000000000.0;
constexpr size_t kEntrySize = 16;
constexpr uint32_t kFlagsReadWrite = 0x00000006;

void PutLe32(std::string& out, uint32_t value) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

void PutLe64(std::string& out, uint64_t value) {
  for (int i = 0; i < 8; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

uint64_t GetLe(std::string_view bytes, size_t pos, int count) {
  uint64_t value = 0;
  for (int i = count - 1; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(bytes[pos + i]);
  return value;
}

void PutUtf16Unit(std::string& out, uint32_t unit) {
  out.push_back(static_cast<char>(unit & 0xFF));
  out.push_back(static_cast<char>(unit >> 8));
}

}  // namespace

std::string SubstgName(uint32_t tag) { return fmt::format("__substg1.0_{:08X}", tag); }

std::string Utf8ToUtf16LeBytes(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size() * 2);
  for (size_t pos = 0; pos < utf8.size();) {
    const size_t length = Utf8SequenceLength(utf8, pos);
    char32_t c = 0xFFFD;
    if (length == 0) {
      ++pos;
    } else {
      c = DecodeUtf8Sequence(utf8, pos, length);
      pos += length;
    }
    if (c >= 0x10000) {
      c -= 0x10000;
      PutUtf16Unit(out, 0xD800 + (c >> 10));
      PutUtf16Unit(out, 0xDC00 + (c & 0x3FF));
    } else {
      PutUtf16Unit(out, c);
    }
  }
  return out;
}

std::string Utf16LeBytesToUtf8(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size() / 2);
  auto append = [&out](char32_t c) {
    AppendUtf8(out, c);
  };
  const size_t units = bytes.size() / 2;
  for (size_t i = 0; i < units; ++i) {
    const char32_t unit = static_cast<char32_t>(GetLe(bytes, 2 * i, 2));
    if (unit == 0) break;
    if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < units) {
      const char32_t low = static_cast<char32_t>(GetLe(bytes, 2 * (i + 1), 2));
      if (low >= 0xDC00 && low < 0xE000) {
        append(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
        ++i;
        continue;
      }
    }
    append(unit >= 0xD800 && unit < 0xE000 ? char32_t{0xFFFD} : unit);
  }
  return out;
}

uint64_t DateTimeToFileTime(TDateTime gmt) {
  if (gmt == 0) return 0;
  const double ticks = std::round((gmt + kFileTimeEpochDays) * kTicksPerDay);
  return ticks <= 0 ? 0 : static_cast<uint64_t>(ticks);
}

TDateTime FileTimeToDateTime(uint64_t fileTime) {
  if (fileTime == 0 || fileTime >= uint64_t{0x7FFFFFFFFFFFFFFF}) return 0;
  const TDateTime value = static_cast<double>(fileTime) / kTicksPerDay - kFileTimeEpochDays;
  // Outside 0001..9999 nothing downstream can show or store the date.
  return value < -693593.0 || value > 2958465.0 ? 0 : value;
}

std::string CodepageCharset(uint32_t codepage) {
  switch (codepage) {
    case 65001: return "utf-8";
    case 20127: return "us-ascii";
    case 28591: return "iso-8859-1";
    case 28592: return "iso-8859-2";
    case 28605: return "iso-8859-15";
    case 20866: return "koi8-r";
    case 21866: return "koi8-u";
    case 932: return "shift_jis";
    case 936: return "gb2312";
    case 949: return "euc-kr";
    case 950: return "big5";
    case 50220: return "iso-2022-jp";
    case 51932: return "euc-jp";
    case 54936: return "gb18030";
    case 1200: return "utf-16le";
    case 0: return "windows-1252";
    default: return fmt::format("windows-{}", codepage);
  }
}

// ---------------------------------------------------------------- writer

void TKwMsgPropertyWriter::AddEntry(uint32_t tag, uint64_t value) {
  PutLe32(FEntries, tag);
  PutLe32(FEntries, kFlagsReadWrite);
  PutLe64(FEntries, value);
}

void TKwMsgPropertyWriter::AddUnicode(uint16_t id, std::string_view utf8) {
  if (utf8.empty()) return;
  std::string bytes = Utf8ToUtf16LeBytes(utf8);
  const uint32_t tag = msgprop::Tag(id, msgprop::kUnicode);
  AddEntry(tag, bytes.size() + 2);
  FStreams.emplace_back(tag, std::move(bytes));
}

void TKwMsgPropertyWriter::AddBinary(uint16_t id, std::string_view bytes) {
  const uint32_t tag = msgprop::Tag(id, msgprop::kBinary);
  AddEntry(tag, bytes.size());
  FStreams.emplace_back(tag, std::string(bytes));
}

void TKwMsgPropertyWriter::AddLong(uint16_t id, int32_t value) {
  AddEntry(msgprop::Tag(id, msgprop::kLong), static_cast<uint32_t>(value));
}

void TKwMsgPropertyWriter::AddBoolean(uint16_t id, bool value) {
  AddEntry(msgprop::Tag(id, msgprop::kBoolean), value ? 1 : 0);
}

void TKwMsgPropertyWriter::AddTime(uint16_t id, TDateTime gmt) {
  if (gmt != 0) AddEntry(msgprop::Tag(id, msgprop::kSysTime), DateTimeToFileTime(gmt));
}

void TKwMsgPropertyWriter::AddObject(uint16_t id) {
  // Size 0xFFFFFFFF and reserved 1: how an embedded object's entry reads.
  AddEntry(msgprop::Tag(id, msgprop::kObject), 0x00000001FFFFFFFFull);
}

void TKwMsgPropertyWriter::WriteInto(TKwOleNode& storage, std::string_view header) {
  storage.AddStream("__properties_version1.0", std::string(header) + FEntries);
  for (auto& [tag, bytes] : FStreams) storage.AddStream(SubstgName(tag), std::move(bytes));
  FEntries.clear();
  FStreams.clear();
}

// ---------------------------------------------------------------- reader

TKwMsgPropertyReader::TKwMsgPropertyReader(const TKwOleNode& storage, size_t headerSize) : FStorage(storage) {
  if (const std::string* stream = storage.StreamData("__properties_version1.0"); stream && stream->size() > headerSize)
    FEntries = stream->substr(headerSize, (stream->size() - headerSize) / kEntrySize * kEntrySize);
}

std::optional<uint64_t> TKwMsgPropertyReader::FixedValue(uint32_t tag) const {
  for (size_t pos = 0; pos + kEntrySize <= FEntries.size(); pos += kEntrySize)
    if (GetLe(FEntries, pos, 4) == tag) return GetLe(FEntries, pos + 8, 8);
  return std::nullopt;
}

std::string TKwMsgPropertyReader::String(uint16_t id, uint32_t codepage) const {
  if (const std::string* unicode = FStorage.StreamData(SubstgName(msgprop::Tag(id, msgprop::kUnicode))))
    return Utf16LeBytesToUtf8(*unicode);
  const std::string* narrow = FStorage.StreamData(SubstgName(msgprop::Tag(id, msgprop::kString8)));
  if (narrow == nullptr) return {};
  std::string_view bytes = *narrow;
  if (const size_t nul = bytes.find('\0'); nul != std::string_view::npos) bytes = bytes.substr(0, nul);
  if (codepage == 0) codepage = static_cast<uint32_t>(Long(msgprop::kMessageCodepage).value_or(0));
  return ConvertToUtf8(bytes, CodepageCharset(codepage));
}

std::optional<std::string> TKwMsgPropertyReader::Binary(uint16_t id) const {
  const std::string* bytes = FStorage.StreamData(SubstgName(msgprop::Tag(id, msgprop::kBinary)));
  if (bytes == nullptr) return std::nullopt;
  return *bytes;
}

std::optional<int32_t> TKwMsgPropertyReader::Long(uint16_t id) const {
  const auto value = FixedValue(msgprop::Tag(id, msgprop::kLong));
  if (!value) return std::nullopt;
  return static_cast<int32_t>(static_cast<uint32_t>(*value & 0xFFFFFFFF));
}

bool TKwMsgPropertyReader::Boolean(uint16_t id) const {
  const auto value = FixedValue(msgprop::Tag(id, msgprop::kBoolean));
  return value && (*value & 0xFFFF) != 0;
}

TDateTime TKwMsgPropertyReader::Time(uint16_t id) const {
  const auto value = FixedValue(msgprop::Tag(id, msgprop::kSysTime));
  return value ? FileTimeToDateTime(*value) : 0;
}

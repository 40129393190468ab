#include "uKwTableCells.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "uKwDateTime.h"
#include "uKwUtf8.h"

namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

bool IsXmlCharacter(char32_t c) {
  if (c < 0x20) return c == 0x09 || c == 0x0A || c == 0x0D;
  return c != 0xFFFE && c != 0xFFFF;
}

std::string SystemError(std::string_view what) {
  return fmt::format("{}: {}", what, std::strerror(errno));
}

}  // namespace

std::string NumberText(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "INF" : "-INF";
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

std::string IsoDateTimeText(TDateTime value) {
  const TKwDateParts p = DecodeDateTime(value);
  std::string text = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", p.Year, p.Month, p.Day,
                                 p.Hour, p.Minute, p.Second);
  if (p.Millisecond != 0) text += fmt::format(".{:03}", p.Millisecond);
  return text;
}

std::string CellText(const TKwTableValue& value, TKwColumnKind kind, TKwDateText dateText) {
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  if (std::holds_alternative<std::monostate>(value)) return {};
  const double number = std::holds_alternative<int64_t>(value)
                            ? static_cast<double>(std::get<int64_t>(value))
                            : std::get<double>(value);
  switch (kind) {
    case TKwColumnKind::Boolean:
      return number != 0 ? "True" : "False";
    case TKwColumnKind::DateTime:
      switch (dateText) {
        case TKwDateText::Iso: return IsoDateTimeText(number);
        case TKwDateText::IsoWithOffset:
          return number == 0 ? "" : DateTimeToIsoText(LocalToGmt(number), LocalOffsetMinutes(number));
        case TKwDateText::Locale: break;
      }
      return DateTimeToLocaleString(number);
    default:
      break;
  }
  if (const auto* integer = std::get_if<int64_t>(&value)) return std::to_string(*integer);
  return NumberText(number);
}

std::string ValidUtf8(std::string_view text) {
  if (IsValidUtf8(text)) return std::string(text);
  std::string result;
  result.reserve(text.size() + 16);
  for (size_t pos = 0; pos < text.size();) {
    const size_t length = Utf8SequenceLength(text, pos);
    if (length == 0) {
      result += kReplacementCharacter;
      ++pos;
    } else {
      result.append(text, pos, length);
      pos += length;
    }
  }
  return result;
}

std::string XmlText(std::string_view text) {
  const std::string valid = ValidUtf8(text);
  std::string result;
  result.reserve(valid.size());
  for (size_t pos = 0; pos < valid.size();) {
    const size_t length = Utf8SequenceLength(valid, pos);
    if (IsXmlCharacter(DecodeUtf8Sequence(valid, pos, length))) result.append(valid, pos, length);
    pos += length;
  }
  return result;
}

size_t CodePointCount(std::string_view text) {
  size_t count = 0;
  for (const char c : text)
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
  return count;
}

size_t Utf16Length(std::string_view validUtf8) {
  size_t units = 0;
  for (const char c : validUtf8) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) != 0x80) units += byte >= 0xF0 ? 2 : 1;
  }
  return units;
}

size_t Utf16Prefix(std::string_view validUtf8, size_t maxUnits) {
  size_t units = 0;
  for (size_t pos = 0; pos < validUtf8.size(); ++pos) {
    const auto byte = static_cast<unsigned char>(validUtf8[pos]);
    if ((byte & 0xC0) == 0x80) continue;
    units += byte >= 0xF0 ? 2 : 1;
    if (units > maxUnits) return pos;
  }
  return validUtf8.size();
}

std::u16string Utf8ToUtf16(std::string_view validUtf8) {
  std::u16string result;
  result.reserve(validUtf8.size());
  for (size_t pos = 0; pos < validUtf8.size();) {
    size_t length = Utf8SequenceLength(validUtf8, pos);
    const char32_t c = length == 0 ? U'\uFFFD' : DecodeUtf8Sequence(validUtf8, pos, length);
    pos += length == 0 ? 1 : length;
    if (c < 0x10000) {
      result += static_cast<char16_t>(c);
    } else {
      result += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      result += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    }
  }
  return result;
}

std::string WithinCellLimit(std::string validUtf8) {
  validUtf8.resize(Utf16Prefix(validUtf8, kSpreadsheetCellLimit));
  return validUtf8;
}

bool FitCellText(std::string& validUtf8, int64_t dataRow, const std::string& columnName,
                 std::vector<std::string>& warnings) {
  if (validUtf8.size() <= kSpreadsheetCellLimit) return false;  // bytes >= UTF-16 units
  const size_t length = Utf16Length(validUtf8);
  if (length <= kSpreadsheetCellLimit) return false;
  validUtf8.resize(Utf16Prefix(validUtf8, kSpreadsheetCellLimit));
  warnings.push_back(fmt::format("Row {}, column \"{}\": text of {} characters cut to {}", dataRow,
                                 columnName, length, kSpreadsheetCellLimit));
  return true;
}

// ---- TKwOutputFile ----

TKwOutputFile::TKwOutputFile(const std::string& fileName) {
  FFile = std::fopen(fileName.c_str(), "wb");
  if (FFile == nullptr) throw std::runtime_error(SystemError("cannot create the file"));
  std::setvbuf(FFile, nullptr, _IOFBF, 1 << 16);
}

TKwOutputFile::~TKwOutputFile() {
  if (FFile != nullptr) std::fclose(FFile);
}

void TKwOutputFile::Write(std::string_view bytes) {
  if (bytes.empty()) return;
  if (std::fwrite(bytes.data(), 1, bytes.size(), FFile) != bytes.size())
    throw std::runtime_error(SystemError("cannot write the file"));
}

void TKwOutputFile::Close() {
  std::FILE* file = std::exchange(FFile, nullptr);
  if (file == nullptr) return;
  if (std::fclose(file) != 0) throw std::runtime_error(SystemError("cannot write the file"));
}

// ---- TKwSpoolFile ----

TKwSpoolFile::TKwSpoolFile() {
  FFile = std::tmpfile();
  if (FFile == nullptr) throw std::runtime_error(SystemError("cannot create a temporary file"));
}

TKwSpoolFile::~TKwSpoolFile() { std::fclose(FFile); }

void TKwSpoolFile::Write(const void* data, size_t size) {
  if (size == 0) return;
  if (std::fwrite(data, 1, size, FFile) != size)
    throw std::runtime_error(SystemError("cannot write a temporary file"));
  FSize += size;
}

void TKwSpoolFile::WriteString(std::string_view text) {
  const uint64_t length = text.size();
  Write(&length, sizeof length);
  Write(text);
}

void TKwSpoolFile::Rewind() {
  if (std::fflush(FFile) != 0 || std::fseek(FFile, 0, SEEK_SET) != 0)
    throw std::runtime_error(SystemError("cannot read a temporary file"));
}

void TKwSpoolFile::Read(void* data, size_t size) {
  if (size != 0 && std::fread(data, 1, size, FFile) != size)
    throw std::runtime_error("cannot read a temporary file back");
}

std::string TKwSpoolFile::ReadString() {
  uint64_t length = 0;
  Read(&length, sizeof length);
  std::string text(length, '\0');
  Read(text.data(), text.size());
  return text;
}

void TKwSpoolFile::CopyRest(uint64_t bytes, const std::function<void(std::string_view)>& write) {
  std::string buffer(1 << 16, '\0');
  while (bytes > 0) {
    const size_t chunk = static_cast<size_t>(std::min<uint64_t>(bytes, buffer.size()));
    Read(buffer.data(), chunk);
    write(std::string_view(buffer.data(), chunk));
    bytes -= chunk;
  }
}

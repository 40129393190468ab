#pragma once
// What the table writers share: cell values as text, text made valid UTF-8 or fit for XML,
// text measured and cut at a spreadsheet's cell limit, an output file that reports every
// failed write, and a temporary spool for writers that pass over the rows twice.
// Pure functions and single-owner objects; safe from any thread.

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uKwTableWriter.h"

// Excel keeps at most this many UTF-16 code units in a cell, in both of its formats.
constexpr size_t kSpreadsheetCellLimit = 32767;

// The text a value shows in a text format. NULL is "", Booleans "True"/"False", numbers the
// shortest text that reads back to the same number, dates by dateText.
std::string CellText(const TKwTableValue& value, TKwColumnKind kind, TKwDateText dateText);
std::string NumberText(double value);
std::string IsoDateTimeText(TDateTime value);  // "2024-03-05T14:07:09", ".123" when there are ms

// Every byte that does not start a well-formed UTF-8 sequence becomes U+FFFD (so do encoded
// surrogates and overlong forms).
std::string ValidUtf8(std::string_view text);
// Valid UTF-8 without the characters XML 1.0 forbids (C0 controls but tab, LF and CR;
// U+FFFE, U+FFFF). HTML wants the same.
std::string XmlText(std::string_view text);

size_t CodePointCount(std::string_view text);  // counts lead bytes; any byte >= 0x80 not 10xxxxxx
size_t Utf16Length(std::string_view validUtf8);
// The number of leading bytes of validUtf8 that hold at most maxUnits UTF-16 code units,
// never splitting a character.
size_t Utf16Prefix(std::string_view validUtf8, size_t maxUnits);
std::u16string Utf8ToUtf16(std::string_view validUtf8);

// validUtf8 cut at kSpreadsheetCellLimit without a word (column names in header cells).
std::string WithinCellLimit(std::string validUtf8);

// Cuts validUtf8 at kSpreadsheetCellLimit and says so in warnings, naming the data row
// (1-based) and the column. True when the text was cut.
bool FitCellText(std::string& validUtf8, int64_t dataRow, const std::string& columnName,
                 std::vector<std::string>& warnings);

// A file opened for writing; every failure throws std::runtime_error with the system's
// reason. Close() must be called for the data to count as written; the destructor only
// releases the handle.
class TKwOutputFile {
 public:
  explicit TKwOutputFile(const std::string& fileName);
  ~TKwOutputFile();
  TKwOutputFile(const TKwOutputFile&) = delete;
  TKwOutputFile& operator=(const TKwOutputFile&) = delete;

  void Write(std::string_view bytes);
  void Close();

 private:
  std::FILE* FFile = nullptr;
};

// An anonymous temporary file (gone when the object is), written once and then read back
// from the start. Throws std::runtime_error when the disk refuses.
class TKwSpoolFile {
 public:
  TKwSpoolFile();
  ~TKwSpoolFile();
  TKwSpoolFile(const TKwSpoolFile&) = delete;
  TKwSpoolFile& operator=(const TKwSpoolFile&) = delete;

  void Write(const void* data, size_t size);
  void Write(std::string_view bytes) { Write(bytes.data(), bytes.size()); }
  // Length-prefixed text, read back by ReadString.
  void WriteString(std::string_view text);
  uint64_t Size() const { return FSize; }
  void Rewind();
  // Exactly size bytes, or throws.
  void Read(void* data, size_t size);
  std::string ReadString();
  // The next bytes of the file, in pieces, to write (which may throw).
  void CopyRest(uint64_t bytes, const std::function<void(std::string_view)>& write);

 private:
  std::FILE* FFile = nullptr;
  uint64_t FSize = 0;
};

#include "uKwTableWriterXls.h"

#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-utils.h>

#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "uKwTableCells.h"

namespace {

// ---- BIFF8 records ----

// Record identifiers of the workbook stream.
enum : uint16_t {
  kBof = 0x0809, kEof = 0x000A, kInterfaceHdr = 0x00E1, kMms = 0x00C1, kInterfaceEnd = 0x00E2,
  kWriteAccess = 0x005C, kCodepage = 0x0042, kDsf = 0x0161, kTabId = 0x013D,
  kWindowProtect = 0x0019, kProtect = 0x0012, kPassword = 0x0013, kProt4Rev = 0x01AF,
  kProt4RevPass = 0x01BC, kWindow1 = 0x003D, kBackup = 0x0040, kHideObj = 0x008D,
  kDateMode = 0x0022, kPrecision = 0x000E, kRefreshAll = 0x01B7, kBookBool = 0x00DA,
  kFont = 0x0031, kFormat = 0x041E, kXf = 0x00E0, kStyle = 0x0293, kBoundSheet = 0x0085,
  kSst = 0x00FC, kContinue = 0x003C, kExtSst = 0x00FF, kDimensions = 0x0200, kWindow2 = 0x023E,
  kLabelSst = 0x00FD, kNumber = 0x0203, kRk = 0x027E, kBoolErr = 0x0205,
};

constexpr size_t kMaxRecordData = 8224;
constexpr int64_t kDataRowsPerSheet = 65535;  // 65,536 rows, the header takes one
constexpr size_t kMaxColumns = 256;
constexpr uint16_t kDateFormatIndex = 164;  // the first index free for own formats
constexpr uint16_t kCellXf = 15, kDateXf = 16, kHeaderXf = 17;
constexpr uint16_t kBoldFont = 5;  // font index 4 does not exist: the fifth FONT is index 5

// Little-endian fields appended to a byte string.
class TBytes {
 public:
  TBytes& U8(uint8_t value) {
    FData += static_cast<char>(value);
    return *this;
  }
  TBytes& U16(uint16_t value) { return U8(value & 0xFF).U8(value >> 8); }
  TBytes& U32(uint32_t value) { return U16(value & 0xFFFF).U16(value >> 16); }
  TBytes& F64(double value) {
    uint64_t bits = 0;
    static_assert(sizeof bits == sizeof value);
    std::memcpy(&bits, &value, sizeof bits);
    return U32(static_cast<uint32_t>(bits)).U32(static_cast<uint32_t>(bits >> 32));
  }
  TBytes& Append(std::string_view bytes) {
    FData += bytes;
    return *this;
  }
  const std::string& Data() const { return FData; }
  size_t Size() const { return FData.size(); }

 private:
  std::string FData;
};

std::string Record(uint16_t type, const TBytes& data = {}) {
  return TBytes().U16(type).U16(static_cast<uint16_t>(data.Size())).Append(data.Data()).Data();
}

std::string BofRecord(uint16_t substream) {
  return Record(kBof, TBytes().U16(0x0600).U16(substream).U16(0x0DBB).U16(0x07CC).U32(0).U32(6));
}

// A text of at most 255 Latin-1 characters with an 8-bit length (sheet names, font names).
TBytes ShortString(std::string_view ascii) {
  return TBytes().U8(static_cast<uint8_t>(ascii.size())).U8(0).Append(ascii);
}

std::string FontRecord(bool bold) {
  return Record(kFont, TBytes()
                           .U16(200)  // 10 points in twips
                           .U16(bold ? 1 : 0)
                           .U16(0x7FFF)  // the window text colour
                           .U16(bold ? 700 : 400)
                           .U16(0)
                           .U8(0)
                           .U8(2)  // sans serif
                           .U8(0)
                           .U8(0)
                           .Append(ShortString("Arial").Data()));
}

std::string XfRecord(uint16_t font, uint16_t format, bool isStyle) {
  return Record(kXf, TBytes()
                         .U16(font)
                         .U16(format)
                         .U16(isStyle ? 0xFFF5 : 0x0001)  // style: parent FFF; cell: parent 0
                         .U8(0x20)                        // bottom aligned
                         .U8(0)
                         .U8(0)
                         .U8(isStyle ? 0xF4 : 0xF8)
                         .U32(0)
                         .U32(0)
                         .U16(0x20C0));  // default pattern colours
}

std::string FormatRecord(uint16_t index, std::string_view ascii) {
  return Record(kFormat, TBytes().U16(index).U16(static_cast<uint16_t>(ascii.size())).U8(0).Append(ascii));
}

// The workbook globals before the sheet list: fixed, whatever the table.
std::string GlobalsHead(size_t sheetCount) {
  std::string head = BofRecord(0x0005);
  head += Record(kInterfaceHdr, TBytes().U16(1200)) + Record(kMms, TBytes().U16(0)) +
          Record(kInterfaceEnd);
  std::string user(112, ' ');
  user.replace(0, 10, std::string_view("\x07\x00\x00Quillon", 10));
  head += Record(kWriteAccess, TBytes().Append(user)) + Record(kCodepage, TBytes().U16(1200)) +
          Record(kDsf, TBytes().U16(0));
  TBytes tabIds;
  for (size_t i = 0; i < sheetCount && i < 4000; ++i) tabIds.U16(static_cast<uint16_t>(i + 1));
  head += Record(kTabId, tabIds);
  for (const uint16_t type : {kWindowProtect, kProtect, kPassword, kProt4Rev, kProt4RevPass})
    head += Record(type, TBytes().U16(0));
  head += Record(kWindow1, TBytes().U16(0).U16(0).U16(0x3A5C).U16(0x23BE).U16(0x0038).U16(0).U16(0).U16(1).U16(0x0258));
  head += Record(kBackup, TBytes().U16(0)) + Record(kHideObj, TBytes().U16(0)) +
          Record(kDateMode, TBytes().U16(0)) + Record(kPrecision, TBytes().U16(1)) +
          Record(kRefreshAll, TBytes().U16(0)) + Record(kBookBool, TBytes().U16(0));
  for (int i = 0; i < 4; ++i) head += FontRecord(false);
  head += FontRecord(true);
  head += FormatRecord(kDateFormatIndex, "yyyy\\-mm\\-dd\\ hh:mm:ss");
  for (int i = 0; i < 15; ++i) head += XfRecord(0, 0, true);
  head += XfRecord(0, 0, false);                 // kCellXf
  head += XfRecord(0, kDateFormatIndex, false);  // kDateXf
  head += XfRecord(kBoldFont, 0, false);         // kHeaderXf
  head += Record(kStyle, TBytes().U16(0x8000).U8(0).U8(0xFF));  // built-in "Normal" on XF 0
  return head;
}

std::string SheetName(size_t index) { return fmt::format("Sheet{}", index + 1); }

std::string BoundSheetRecord(uint32_t offset, size_t index) {
  return Record(kBoundSheet, TBytes().U32(offset).U8(0).U8(0).Append(ShortString(SheetName(index)).Data()));
}

// ---- Shared strings ----

// The SST record and its CONTINUE records, spooled as strings arrive. Every text cell gets
// a string of its own (no search for repeats), so the table needs no memory per string.
// The places of every FStride-th string are kept for the EXTSST index; when they grow too
// many, every other one is dropped and the stride doubles, so the index stays small.
class TSharedStrings {
 public:
  uint32_t Add(const std::u16string& text) {
    const bool wide = IsWide(text);
    const size_t charSize = wide ? 2 : 1;
    if (kMaxRecordData - FRecord.Size() < 3 + (text.empty() ? 0 : charSize)) Flush();
    if (FCount % FStride == 0) KeepPlace();
    FRecord.U16(static_cast<uint16_t>(text.size())).U8(wide ? 1 : 0);
    for (size_t i = 0; i < text.size(); ++i) {
      if (kMaxRecordData - FRecord.Size() < charSize) {
        Flush();
        FRecord.U8(wide ? 1 : 0);  // a continued string repeats its flags
      }
      if (wide)
        FRecord.U16(text[i]);
      else
        FRecord.U8(static_cast<uint8_t>(text[i]));
    }
    return FCount++;
  }

  void Finish() { Flush(); }
  uint32_t Count() const { return FCount; }
  uint64_t Size() const { return FSpool.Size(); }

  // The spooled records, with the counts in the SST record filled in.
  void CopyTo(const std::function<void(std::string_view)>& write) {
    FSpool.Rewind();
    char header[12];
    FSpool.Read(header, sizeof header);
    write(std::string_view(header, 4));
    write(TBytes().U32(FCount).U32(FCount).Data());
    FSpool.CopyRest(FSpool.Size() - sizeof header, write);
  }

  // EXTSST: the place of every dsst-th string, for at most 128 buckets.
  std::string ExtSstRecord(uint64_t sstOffset) const {
    const size_t step = Step();
    TBytes data;
    data.U16(static_cast<uint16_t>(FStride * step));
    for (size_t i = 0; i < FPlaces.size(); i += step)
      data.U32(static_cast<uint32_t>(sstOffset + FPlaces[i].Offset)).U16(FPlaces[i].InRecord).U16(0);
    return Record(kExtSst, data);
  }

  size_t ExtSstSize() const { return 4 + 2 + 8 * ((FPlaces.size() + Step() - 1) / Step()); }

 private:
  struct TPlace {
    uint64_t Offset;    // of the string's length field, from the start of the SST record
    uint16_t InRecord;  // the same from the start of its record, header included
  };

  static constexpr size_t kMaxPlaces = 4096;

  void KeepPlace() {
    FPlaces.push_back({FSpool.Size() + 4 + FRecord.Size(), static_cast<uint16_t>(4 + FRecord.Size())});
    if (FPlaces.size() < kMaxPlaces) return;
    for (size_t i = 0; 2 * i < FPlaces.size(); ++i) FPlaces[i] = FPlaces[2 * i];
    FPlaces.resize((FPlaces.size() + 1) / 2);
    FStride *= 2;
  }

  // Places per bucket: 128 buckets at most, while dsst still fits its 16 bits.
  size_t Step() const {
    return std::max<size_t>(1, std::min<size_t>((FPlaces.size() + 127) / 128, 0xFFFF / FStride));
  }

  static bool IsWide(const std::u16string& text) {
    for (const char16_t c : text)
      if (c > 0xFF) return true;
    return false;
  }

  void Flush() {
    if (FRecord.Size() == 0 && !FFirst) return;
    FSpool.Write(TBytes().U16(FFirst ? kSst : kContinue).U16(static_cast<uint16_t>(FRecord.Size())).Data());
    FSpool.Write(FRecord.Data());
    FRecord = TBytes();
    FFirst = false;
  }

  TKwSpoolFile FSpool;
  TBytes FRecord = TBytes().U32(0).U32(0);  // the counts, filled in when copied out
  bool FFirst = true;
  uint32_t FCount = 0;
  uint32_t FStride = 8;  // Excel wants at least 8 strings a bucket
  std::vector<TPlace> FPlaces;
};

// ---- Sheets ----

struct TSheet {
  TKwSpoolFile Cells;
  uint32_t Rows = 0;  // header included

  // The records before the spooled cells, and those after them (the view settings follow
  // the cell table).
  std::string Head(uint16_t columns) const {
    return BofRecord(0x0010) +
           Record(kDimensions, TBytes().U32(0).U32(columns > 0 ? Rows : 0).U16(0).U16(columns).U16(0));
  }
  static std::string Tail(bool isFirst) {
    const uint16_t flags = isFirst ? 0x06B6 : 0x00B6;  // grid, headers, zeros; first one selected
    return Record(kWindow2, TBytes().U16(flags).U16(0).U16(0).U16(64).U16(0).U16(0).U16(0).U32(0)) +
           Record(kEof);
  }
  uint64_t Size(uint16_t columns) const { return Head(columns).size() + Cells.Size() + Tail(false).size(); }
};

// ---- The OLE2 container ----

template <typename T>
struct TGObjectUnref {
  void operator()(T* object) const noexcept { g_object_unref(object); }
};
template <typename T>
using TGObjectHandle = std::unique_ptr<T, TGObjectUnref<T>>;

std::string GsfErrorText(GsfOutput* output, std::string_view what) {
  const GError* error = gsf_output_error(output);
  return fmt::format("{}: {}", what, error != nullptr ? error->message : "unknown error");
}

// A compound file with one stream, "Workbook". Close() must be called for it to be whole.
class TWorkbookFile {
 public:
  explicit TWorkbookFile(const std::string& fileName) {
    static std::once_flag initialised;
    std::call_once(initialised, [] { gsf_init(); });
    GError* error = nullptr;
    FSink.reset(gsf_output_stdio_new(fileName.c_str(), &error));
    if (!FSink) {
      const std::string text = error != nullptr ? error->message : "cannot create the file";
      if (error != nullptr) g_error_free(error);
      throw std::runtime_error(text);
    }
    FOutfile.reset(gsf_outfile_msole_new(FSink.get()));
    if (FOutfile) FStream.reset(gsf_outfile_new_child(FOutfile.get(), "Workbook", FALSE));
    if (!FStream) throw std::runtime_error("cannot create the workbook stream");
  }

  void Write(std::string_view bytes) {
    if (!gsf_output_write(FStream.get(), bytes.size(), reinterpret_cast<const guint8*>(bytes.data())))
      throw std::runtime_error(GsfErrorText(FStream.get(), "cannot write the workbook"));
    FWritten += bytes.size();
  }

  void Close() {
    // Streams under 4096 bytes would go to the container's small-block area, which some
    // readers of workbooks do not look in.
    if (FWritten < 4096) Write(std::string(4096 - FWritten, '\0'));
    if (!gsf_output_close(FStream.get()))
      throw std::runtime_error(GsfErrorText(FStream.get(), "cannot write the workbook"));
    if (!gsf_output_close(GSF_OUTPUT(FOutfile.get())))
      throw std::runtime_error(GsfErrorText(GSF_OUTPUT(FOutfile.get()), "cannot write the container"));
    // Closing the container closes the file under it, unless that was already closed.
    if (!gsf_output_is_closed(FSink.get()) && !gsf_output_close(FSink.get()))
      throw std::runtime_error(GsfErrorText(FSink.get(), "cannot write the file"));
  }

 private:
  TGObjectHandle<GsfOutput> FSink;
  TGObjectHandle<GsfOutfile> FOutfile;
  TGObjectHandle<GsfOutput> FStream;  // destroyed first: it refers to FOutfile
  uint64_t FWritten = 0;
};

// ---- The writer ----

bool TryExcelSerial(TDateTime value, double& serial) {
  if (!(value >= 2.0) || value >= 2958466.0) return false;  // 1900-01-01 .. 9999-12-31
  serial = value < 61.0 ? value - 1.0 : value;  // Excel's day 1900-02-29 that never was
  return true;
}

class TXlsTableWriter {
 public:
  TXlsTableWriter(TKwTableRows& rows, TKwTableWriteResult& result)
      : FRows(rows), FResult(result), FColumns(rows.Columns()) {
    FColumnCount = static_cast<uint16_t>(std::min(FColumns.size(), kMaxColumns));
    if (FColumns.size() > kMaxColumns)
      FResult.Warnings.push_back(fmt::format("Only the first {} of {} columns are written",
                                             kMaxColumns, FColumns.size()));
  }

  void Write(const std::string& fileName) {
    StartSheet();
    TKwTableRow row;
    while (FRows.Next(row)) {
      if (FSheets.back()->Rows > kDataRowsPerSheet) StartSheet();
      ++FResult.Rows;
      for (uint16_t column = 0; column < FColumnCount; ++column) WriteCell(column, row[column]);
      ++FSheets.back()->Rows;
    }
    if (FSheets.size() > 1)
      FResult.Warnings.push_back(fmt::format("{} rows do not fit on one sheet: written on {} sheets",
                                             FResult.Rows, FSheets.size()));
    FStrings.Finish();
    Assemble(fileName);
  }

 private:
  void StartSheet() {
    FSheets.push_back(std::make_unique<TSheet>());
    for (uint16_t column = 0; column < FColumnCount; ++column)
      WriteString(column, WithinCellLimit(ValidUtf8(FColumns[column].Name)), kHeaderXf);
    FSheets.back()->Rows = 1;
  }

  TBytes CellHead(uint16_t column, uint16_t xf) const {
    return TBytes().U16(static_cast<uint16_t>(FSheets.back()->Rows)).U16(column).U16(xf);
  }

  void WriteString(uint16_t column, const std::string& text, uint16_t xf) {
    const uint32_t index = FStrings.Add(Utf8ToUtf16(text));
    FSheets.back()->Cells.Write(Record(kLabelSst, CellHead(column, xf).U32(index)));
  }

  // An empty text is no cell at all, as in the other workbook format.
  void WriteText(uint16_t column, const std::string& value) {
    if (value.empty()) return;
    std::string text = ValidUtf8(value);
    FitCellText(text, FResult.Rows, FColumns[column].Name, FResult.Warnings);
    WriteString(column, text, kCellXf);
  }

  void WriteDouble(uint16_t column, double value, uint16_t xf) {
    FSheets.back()->Cells.Write(Record(kNumber, CellHead(column, xf).F64(value)));
  }

  void WriteInteger(uint16_t column, int64_t value) {
    constexpr int64_t kRkLimit = int64_t{1} << 29;  // an RK integer has 30 bits
    if (value < -kRkLimit || value >= kRkLimit) return WriteDouble(column, static_cast<double>(value), kCellXf);
    const auto rk = static_cast<uint32_t>(static_cast<int32_t>(value) * 4) | 0x2;
    FSheets.back()->Cells.Write(Record(kRk, CellHead(column, kCellXf).U32(rk)));
  }

  void WriteNumber(uint16_t column, const TKwTableValue& value, TKwColumnKind kind) {
    const auto* integer = std::get_if<int64_t>(&value);
    const double number = integer != nullptr ? static_cast<double>(*integer) : std::get<double>(value);
    double serial = 0;
    if (kind == TKwColumnKind::Boolean)
      FSheets.back()->Cells.Write(Record(kBoolErr, CellHead(column, kCellXf).U8(number != 0).U8(0)));
    else if (kind == TKwColumnKind::DateTime && TryExcelSerial(number, serial))
      WriteDouble(column, serial, kDateXf);
    else if (kind != TKwColumnKind::DateTime && integer != nullptr)
      WriteInteger(column, *integer);
    else if (kind != TKwColumnKind::DateTime && std::isfinite(number))
      WriteDouble(column, number, kCellXf);
    else
      WriteText(column, CellText(value, kind, TKwDateText::Iso));
  }

  void WriteCell(uint16_t column, const TKwTableValue& value) {
    if (const auto* text = std::get_if<std::string>(&value))
      WriteText(column, *text);
    else if (!std::holds_alternative<std::monostate>(value))
      WriteNumber(column, value, FColumns[column].Kind);
  }

  // Globals (with the sheets' stream offsets), then each sheet's substream.
  void Assemble(const std::string& fileName) {
    const std::string head = GlobalsHead(FSheets.size());
    uint64_t sheetListSize = 0;
    for (size_t i = 0; i < FSheets.size(); ++i) sheetListSize += BoundSheetRecord(0, i).size();
    std::string sheetList;
    uint64_t offset = head.size() + sheetListSize + FStrings.Size() + FStrings.ExtSstSize() + 4;
    for (size_t i = 0; i < FSheets.size(); ++i) {
      if (offset > std::numeric_limits<uint32_t>::max())
        throw std::runtime_error("the table is too large for an Excel 97-2003 workbook");
      sheetList += BoundSheetRecord(static_cast<uint32_t>(offset), i);
      offset += FSheets[i]->Size(FColumnCount);
    }
    TWorkbookFile file(fileName);
    file.Write(head);
    file.Write(sheetList);
    FStrings.CopyTo([&](std::string_view bytes) { file.Write(bytes); });
    file.Write(FStrings.ExtSstRecord(head.size() + sheetList.size()));
    file.Write(Record(kEof));
    for (size_t i = 0; i < FSheets.size(); ++i) WriteSheet(file, *FSheets[i], i == 0);
    file.Close();
  }

  void WriteSheet(TWorkbookFile& file, TSheet& sheet, bool isFirst) {
    file.Write(sheet.Head(FColumnCount));
    sheet.Cells.Rewind();
    sheet.Cells.CopyRest(sheet.Cells.Size(), [&](std::string_view bytes) { file.Write(bytes); });
    file.Write(TSheet::Tail(isFirst));
  }

  TKwTableRows& FRows;
  TKwTableWriteResult& FResult;
  const std::vector<TKwTableColumn>& FColumns;
  uint16_t FColumnCount = 0;
  TSharedStrings FStrings;
  std::vector<std::unique_ptr<TSheet>> FSheets;
};

}  // namespace

void WriteXlsTable(const std::string& fileName, TKwTableRows& rows, TKwTableWriteResult& result) {
  TXlsTableWriter(rows, result).Write(fileName);
}

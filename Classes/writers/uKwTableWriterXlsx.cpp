#include "uKwTableWriterXlsx.h"

#include <xlsxwriter.h>

#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>

#include "uKwTableCells.h"

namespace {

constexpr int64_t kDataRowsPerSheet = LXW_ROW_MAX - 1;  // the header takes one

struct TWorkbookFree {
  void operator()(lxw_workbook* workbook) const noexcept { lxw_workbook_free(workbook); }
};
using TWorkbookHandle = std::unique_ptr<lxw_workbook, TWorkbookFree>;

void Check(lxw_error error) {
  if (error != LXW_NO_ERROR) throw std::runtime_error(lxw_strerror(error));
}

// Excel counts a day 1900-02-29 that never was, so its serial numbers before March 1900
// are one below the TDateTime; before 1900 it has no dates at all.
bool TryExcelSerial(TDateTime value, double& serial) {
  if (!(value >= 2.0) || value >= 2958466.0) return false;  // 1900-01-01 .. 9999-12-31
  serial = value < 61.0 ? value - 1.0 : value;
  return true;
}

class TXlsxTableWriter {
 public:
  TXlsxTableWriter(const std::string& fileName, TKwTableRows& rows, TKwTableWriteResult& result)
      : FRows(rows), FResult(result), FColumns(rows.Columns()) {
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    options.use_zip64 = LXW_TRUE;  // a large export may pass 4 GB before compression
    FWorkbook.reset(workbook_new_opt(fileName.c_str(), &options));
    if (!FWorkbook) throw std::runtime_error("cannot create the workbook");
    FHeaderFormat = workbook_add_format(FWorkbook.get());
    format_set_bold(FHeaderFormat);
    FDateFormat = workbook_add_format(FWorkbook.get());
    format_set_num_format(FDateFormat, "yyyy-mm-dd hh:mm:ss");
    FColumnCount = static_cast<lxw_col_t>(std::min<size_t>(FColumns.size(), LXW_COL_MAX));
    if (FColumns.size() > LXW_COL_MAX)
      FResult.Warnings.push_back(fmt::format("Only the first {} of {} columns are written",
                                             LXW_COL_MAX, FColumns.size()));
  }

  void Write() {
    StartSheet();
    TKwTableRow row;
    while (FRows.Next(row)) {
      if (FSheetRow > kDataRowsPerSheet) StartSheet();
      ++FResult.Rows;
      for (lxw_col_t column = 0; column < FColumnCount; ++column)
        WriteCell(column, row[column]);
      ++FSheetRow;
    }
    if (FSheetCount > 1)
      FResult.Warnings.push_back(fmt::format("{} rows do not fit on one sheet: written on {} sheets",
                                             FResult.Rows, FSheetCount));
    Check(workbook_close(FWorkbook.release()));
  }

 private:
  void StartSheet() {
    FSheet = workbook_add_worksheet(FWorkbook.get(), nullptr);
    if (FSheet == nullptr) throw std::runtime_error("cannot add a worksheet");
    ++FSheetCount;
    for (lxw_col_t column = 0; column < FColumnCount; ++column)
      Check(worksheet_write_string(FSheet, 0, column, WithinCellLimit(XmlText(FColumns[column].Name)).c_str(),
                                   FHeaderFormat));
    FSheetRow = 1;
  }

  void WriteText(lxw_col_t column, const std::string& value) {
    std::string text = XmlText(value);
    FitCellText(text, FResult.Rows, FColumns[column].Name, FResult.Warnings);
    Check(worksheet_write_string(FSheet, Row(), column, text.c_str(), nullptr));
  }

  void WriteNumber(lxw_col_t column, double number, TKwColumnKind kind) {
    double serial = 0;
    if (kind == TKwColumnKind::Boolean)
      Check(worksheet_write_boolean(FSheet, Row(), column, number != 0, nullptr));
    else if (kind != TKwColumnKind::DateTime && std::isfinite(number))
      Check(worksheet_write_number(FSheet, Row(), column, number, nullptr));
    else if (kind == TKwColumnKind::DateTime && TryExcelSerial(number, serial))
      Check(worksheet_write_number(FSheet, Row(), column, serial, FDateFormat));
    else
      WriteText(column, CellText(number, kind, TKwDateText::Iso));
  }

  void WriteCell(lxw_col_t column, const TKwTableValue& value) {
    if (const auto* text = std::get_if<std::string>(&value))
      WriteText(column, *text);
    else if (const auto* integer = std::get_if<int64_t>(&value))
      WriteNumber(column, static_cast<double>(*integer), FColumns[column].Kind);
    else if (const auto* real = std::get_if<double>(&value))
      WriteNumber(column, *real, FColumns[column].Kind);
  }

  lxw_row_t Row() const { return static_cast<lxw_row_t>(FSheetRow); }

  TKwTableRows& FRows;
  TKwTableWriteResult& FResult;
  const std::vector<TKwTableColumn>& FColumns;
  TWorkbookHandle FWorkbook;
  lxw_format* FHeaderFormat = nullptr;  // owned by the workbook
  lxw_format* FDateFormat = nullptr;    // owned by the workbook
  lxw_worksheet* FSheet = nullptr;      // owned by the workbook
  lxw_col_t FColumnCount = 0;
  int64_t FSheetRow = 0;
  int FSheetCount = 0;
};

}  // namespace

void WriteXlsxTable(const std::string& fileName, TKwTableRows& rows, TKwTableWriteResult& result) {
  TXlsxTableWriter(fileName, rows, result).Write();
}

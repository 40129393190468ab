#pragma once
// Writes one table (a header row of column names, then every row in order) into a file of
// one of the columnar formats: Excel 97-2003 (BIFF8 in an OLE2 container), Excel workbook,
// plain text with a chosen separator, XML and an HTML page. The rows come from a
// forward-only source, so a table of any length is written holding one row at a time.
//
// CSV and Access are not here: their writers read the scratch table themselves.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "uKwTypes.h"

class TKwSqliteDatabase;

// How a date cell is shown as text: the locale's date and time, ISO 8601 local time, or
// ISO 8601 with the local zone's offset at that date.
enum class TKwDateText { Locale, Iso, IsoWithOffset };

// How a column's values are to be shown; Text covers short text and memo alike.
enum class TKwColumnKind { Boolean, DateTime, Float, Integer, Text };

struct TKwTableColumn {
  std::string Name;
  TKwColumnKind Kind = TKwColumnKind::Text;
};

// One cell. monostate is NULL. A DateTime column holds a local TDateTime as double, a
// Boolean column 0 or 1 as int64_t, a Text column UTF-8 text (not necessarily valid UTF-8:
// writers that need valid text repair it).
using TKwTableValue = std::variant<std::monostate, int64_t, double, std::string>;
using TKwTableRow = std::vector<TKwTableValue>;

// A forward-only source of rows. Next throws std::runtime_error when the rows cannot be
// read (the message says why).
class TKwTableRows {
 public:
  virtual ~TKwTableRows() = default;
  virtual const std::vector<TKwTableColumn>& Columns() const = 0;
  // Fills row with one value per column; false after the last row.
  virtual bool Next(TKwTableRow& row) = 0;
};

// The rows of a query on a scratch database. The query's result columns are matched to
// columns by position. REAL values of DateTime columns are Julian day numbers in the
// database and come out as TDateTime. Throws std::runtime_error with SQLite's message
// when the query cannot be prepared.
class TKwSqliteTableRows : public TKwTableRows {
 public:
  TKwSqliteTableRows(TKwSqliteDatabase& database, std::string_view sql,
                     std::vector<TKwTableColumn> columns);
  ~TKwSqliteTableRows() override;
  const std::vector<TKwTableColumn>& Columns() const override;
  bool Next(TKwTableRow& row) override;

 private:
  struct TImpl;
  std::unique_ptr<TImpl> FImpl;
};

struct TKwTableWriteOptions {
  // Plain text only: cfdNone separates by one character of code 0, cdfFixed pads every
  // column to its widest value (which needs a first pass over the rows: the writer keeps
  // the rows in a temporary file, not in memory).
  TColumnsFieldDelimiter Delimiter = cfdTab;
  std::string OtherDelimiter;  // one character (UTF-8) for cfdUserDefined
  TKwDateText DateText = TKwDateText::Locale;  // plain text only
};

struct TKwTableWriteResult {
  bool Written = false;               // false: the format has no table writer here
  int64_t Rows = 0;                   // data rows written
  std::vector<std::string> Warnings;  // e.g. a cell cut at the spreadsheet's limit
};

// Writes rows into fileName by format: ffColExcel, ffColXlsx, ffColTxt, ffColXml,
// ffColHtml. Any other format writes nothing and returns Written = false. An existing file
// is replaced. Throws std::runtime_error with a readable message (naming the file) when the
// file cannot be written; a partly written file is removed.
TKwTableWriteResult WriteTableFile(TFileFormat format, const std::string& fileName,
                                   TKwTableRows& rows, const TKwTableWriteOptions& options = {});

#include "uKwTableWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <random>
#include <stdexcept>

#include "uKwSourceLogDB.h"
#include "uKwSqlite.h"
#include "uKwTableWriterText.h"
#include "uKwTableWriterXls.h"
#include "uKwTableWriterXlsx.h"

// ---- TKwSqliteTableRows ----

struct TKwSqliteTableRows::TImpl {
  TKwSqliteStatement Statement;
  std::vector<TKwTableColumn> Columns;
};

TKwSqliteTableRows::TKwSqliteTableRows(TKwSqliteDatabase& database, std::string_view sql,
                                       std::vector<TKwTableColumn> columns)
    : FImpl(std::make_unique<TImpl>()) {
  FImpl->Columns = std::move(columns);
  if (!FImpl->Statement.Prepare(database, sql))
    throw std::runtime_error(FImpl->Statement.LastError());
}

TKwSqliteTableRows::~TKwSqliteTableRows() = default;

const std::vector<TKwTableColumn>& TKwSqliteTableRows::Columns() const { return FImpl->Columns; }

namespace {

// A stored value as its column's kind wants it. Text stays text whatever the kind, so a
// date stored as text is shown as it was stored rather than lost.
TKwTableValue ReadValue(const TKwSqliteStatement& statement, int column, TKwColumnKind kind) {
  const TKwSqliteType type = statement.ColumnType(column);
  if (type == TKwSqliteType::Null) return std::monostate{};
  if (type == TKwSqliteType::Text || type == TKwSqliteType::Blob || kind == TKwColumnKind::Text)
    return statement.ColumnText(column);
  switch (kind) {
    case TKwColumnKind::DateTime:
      return JulianDateToDateTime(statement.ColumnDouble(column));
    case TKwColumnKind::Boolean:
      return int64_t{statement.ColumnDouble(column) != 0};
    case TKwColumnKind::Float:
      return statement.ColumnDouble(column);
    default:
      break;
  }
  if (type == TKwSqliteType::Integer) return statement.ColumnInt64(column);
  return statement.ColumnDouble(column);
}

}  // namespace

bool TKwSqliteTableRows::Next(TKwTableRow& row) {
  switch (FImpl->Statement.Step()) {
    case TKwSqliteStep::Done:
      return false;
    case TKwSqliteStep::Error:
      throw std::runtime_error(FImpl->Statement.LastError());
    case TKwSqliteStep::Row:
      break;
  }
  const int available = FImpl->Statement.ColumnCount();
  row.resize(FImpl->Columns.size());
  for (size_t i = 0; i < row.size(); ++i) {
    const int column = static_cast<int>(i);
    row[i] = column < available ? ReadValue(FImpl->Statement, column, FImpl->Columns[i].Kind)
                                : TKwTableValue{};
  }
  return true;
}

// ---- WriteTableFile ----

namespace {

// The writers index a row by column; a source that hands out short rows must not make them
// read past the end.
class TWholeRows : public TKwTableRows {
 public:
  explicit TWholeRows(TKwTableRows& rows) : FRows(rows) {}
  const std::vector<TKwTableColumn>& Columns() const override { return FRows.Columns(); }
  bool Next(TKwTableRow& row) override {
    if (!FRows.Next(row)) return false;
    row.resize(FRows.Columns().size());
    return true;
  }

 private:
  TKwTableRows& FRows;
};

bool HasTableWriter(TFileFormat format) {
  return format == ffColExcel || format == ffColXlsx || format == ffColTxt || format == ffColXml ||
         format == ffColHtml;
}

// A fresh, empty file beside the target, created with the permissions a new file would get.
// Writing goes there and is renamed over the target at the end, so the target is never
// seen half written and an old file survives a failed run.
std::string CreateSiblingFile(const std::string& fileName) {
  std::random_device random;
  for (int attempt = 0; attempt < 100; ++attempt) {
    const std::string name = fmt::format("{}.{:08x}.part", fileName, random());
    const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0) {
      ::close(fd);
      return name;
    }
    if (errno != EEXIST) throw std::runtime_error(std::strerror(errno));
  }
  throw std::runtime_error("no free name for a temporary file");
}

void WriteByFormat(TFileFormat format, const std::string& fileName, const std::string& title,
                   TKwTableRows& rows, const TKwTableWriteOptions& options,
                   TKwTableWriteResult& result) {
  switch (format) {
    case ffColExcel:
      WriteXlsTable(fileName, rows, result);
      break;
    case ffColXlsx:
      WriteXlsxTable(fileName, rows, result);
      break;
    case ffColTxt:
      WriteTextTable(fileName, rows, options, result);
      break;
    case ffColXml:
      WriteXmlTable(fileName, rows, result);
      break;
    default:
      WriteHtmlTable(fileName, title, rows, result);
      break;
  }
}

}  // namespace

TKwTableWriteResult WriteTableFile(TFileFormat format, const std::string& fileName,
                                   TKwTableRows& rows, const TKwTableWriteOptions& options) {
  TKwTableWriteResult result;
  if (!HasTableWriter(format)) return result;
  std::string partName;
  try {
    partName = CreateSiblingFile(fileName);
    const std::string title = std::filesystem::path(fileName).stem().string();
    TWholeRows wholeRows(rows);
    WriteByFormat(format, partName, title, wholeRows, options, result);
    std::error_code error;
    std::filesystem::rename(partName, fileName, error);
    if (error) throw std::runtime_error(error.message());
  } catch (const std::exception& e) {
    if (!partName.empty()) {
      std::error_code ignored;
      std::filesystem::remove(partName, ignored);
    }
    throw std::runtime_error(fmt::format("Cannot write \"{}\": {}", fileName, e.what()));
  }
  result.Written = true;
  return result;
}

#include "uKwTargetMailColumnar.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "uKwActionLog.h"
#include "uKwParameters.h"
#include "uKwSqlite.h"
#include "uKwTableCells.h"
#include "uKwTempDB.h"
#include "uKwTempDBColumnar.h"
#include "uKwVariables.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kCsvBufferSize = 1 << 16;

TKwColumnKind ColumnKind(TVariableType type) {
  switch (type) {
    case vtBoolean: return TKwColumnKind::Boolean;
    case vtDateTime: return TKwColumnKind::DateTime;
    case vtDouble: return TKwColumnKind::Float;
    case vtInteger: return TKwColumnKind::Integer;
    default: return TKwColumnKind::Text;
  }
}

bool HasTableWriter(TFileFormat format) {
  return format == ffColExcel || format == ffColXlsx || format == ffColTxt || format == ffColXml ||
         format == ffColHtml;
}

void EnsureParentFolder(const std::string& fileName) {
  const fs::path parent = fs::path(fileName).parent_path();
  std::error_code ec;
  if (parent.empty() || fs::is_directory(parent, ec)) return;
  fs::create_directories(parent, ec);
  if (ec) throw std::runtime_error("Cannot create the folder " + parent.string() + ": " + ec.message());
}

std::string SelectSql(const std::vector<TKwTableColumn>& columns) {
  std::string names;
  for (const TKwTableColumn& column : columns) names += (names.empty() ? "\"" : ", \"") + column.Name + "\"";
  return "Select " + names + " from MSG;";
}

void OpenCollected(TKwSqliteDatabase& connection, const std::string& fileName) {
  if (!connection.Open(fileName, TKwSqliteDatabase::omReadOnly))
    throw std::runtime_error("Opening " + fileName + ": " + connection.LastError());
}

}  // namespace

void TKwTargetMailColumnarEmailData::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  PublishOutput(p);
}

void TKwTargetMailColumnarEmailData::Assign(const TKwPersistent& source) {
  bool keep = AppendToFile;
  TKwTargetMailBase::Assign(source);
  AppendToFile = keep;
}

void TKwTargetMailColumnarEmailData::FinalizeExtractProcess() {
  TKwTargetMailBase::FinalizeExtractProcess();
  if (DatabaseFilename.empty()) return;
  // The bar has nothing to count while the file is written.
  TriggerProgressEvent(0, "", "", rsMarquee);
  TriggerStatusEvent("Exporting", "Generating target format ...");
  if (TargetFormat == ffColSqL3) {
    CopyDatabase();
    return;
  }
  try {
    InitializeQuery();
    GenerateTarget(TargetFilename);
    FSaveStatus = ssSaved;
  } catch (const std::exception& e) {
    FSaveStatus = ssError;
    Log->AddErrorFull(e.what(), "Generating target format", TargetFilename, "", "", "", 0);
  }
}

void TKwTargetMailColumnarEmailData::CopyDatabase() {
  std::error_code ec;
  fs::create_directories(fs::path(TargetFilename).parent_path(), ec);
  fs::copy_file(DatabaseFilename, TargetFilename, fs::copy_options::overwrite_existing, ec);
  FSaveStatus = ec ? ssError : ssSaved;
  if (ec) Log->AddErrorFull(ec.message(), "Copying the table to " + TargetFilename, TargetFilename, "", "", "", 0);
}

std::vector<TKwTableColumn> TKwTargetMailColumnarEmailData::ExportColumns(bool withoutMemo) const {
  std::vector<TKwTableColumn> columns;
  for (const TKwVariable* variable : ExportedVariables(EmailParts, Fields))
    if (!withoutMemo || variable->VariableType != vtMemo)
      columns.push_back({variable->Name, ColumnKind(variable->VariableType)});
  return columns;
}

void TKwTargetMailColumnarEmailData::InitializeQuery() {
  FQueryColumns = ExportColumns(false);
  FQuerySql = SelectSql(FQueryColumns);
}

void TKwTargetMailColumnarEmailData::GenerateTarget(const std::string& fileName) {
  if (TargetFormat == ffColCsv) {
    EnsureParentFolder(fileName);
    GenerateCSVFile(fileName, false);
  } else if (TargetFormat == ffColAccess) {
    GenerateAccessDb(fileName);
  } else if (HasTableWriter(TargetFormat)) {
    EnsureParentFolder(fileName);
    WriteTable(fileName);
  }
}

void TKwTargetMailColumnarEmailData::WriteTable(const std::string& fileName) {
  std::vector<TKwTableColumn> columns = TargetFormat == ffColTxt ? ExportColumns(true) : FQueryColumns;
  if (columns.empty()) throw std::runtime_error("No variables to export");
  const std::string sql = TargetFormat == ffColTxt ? SelectSql(columns) : FQuerySql;
  TKwSqliteDatabase connection;
  OpenCollected(connection, DatabaseFilename);
  TKwSqliteTableRows rows(connection, sql, std::move(columns));
  TKwTableWriteOptions options;
  options.Delimiter = FieldDelimiter;
  options.OtherDelimiter = OtherFieldDelimiter;
  options.DateText = TextDates();
  TKwTableWriteResult result = WriteTableFile(TargetFormat, fileName, rows, options);
  for (const std::string& warning : result.Warnings) Log->Notes.push_back(warning);
}

// The CSV writer of the email-parts table reads every REAL as a date; here a REAL may be
// an amount, so each column is written by its variable's type instead.
void TKwTargetMailColumnarEmailData::GenerateCSVFile(const std::string& fileName, bool append) {
  const std::vector<TKwTableColumn> columns = ExportColumns(false);
  TKwSqliteDatabase connection;
  OpenCollected(connection, DatabaseFilename);
  TKwSqliteTableRows rows(connection, columns.empty() ? "SELECT * FROM MSG" : SelectSql(columns), columns);

  std::vector<char> buffer(kCsvBufferSize);
  std::ofstream out;
  out.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
  out.open(fileName, std::ios::binary | (append ? std::ios::app : std::ios::trunc));
  if (!out) throw std::runtime_error("Cannot write \"" + fileName + "\"");
  for (size_t i = 0; i < columns.size(); ++i) out << (i ? ",\"" : "\"") << columns[i].Name << '"';
  out << "\r\n";
  const TKwDateText dateText = TextDates();
  TKwTableRow row;
  while (rows.Next(row)) {
    for (size_t i = 0; i < columns.size(); ++i) {
      if (i) out << ',';
      out << CsvQuoted(CellText(row[i], columns[i].Kind, dateText));
    }
    out << "\r\n";
  }
  out.close();
  if (!out) throw std::runtime_error("Cannot write \"" + fileName + "\"");
}

// The collected dates are local date-times whose header zone is no longer known: the ISO
// form gives them the local zone's offset.
TKwDateText TKwTargetMailColumnarEmailData::TextDates() const {
  return GlobalOptions && GlobalOptions->DateFormat == TKwDateFormat::Iso ? TKwDateText::IsoWithOffset
                                                                           : TKwDateText::Locale;
}

void TKwTargetMailColumnarEmailData::GenerateAccessDb(const std::string&) {
  throw std::runtime_error(kAccessEngineMissingMessage);
}

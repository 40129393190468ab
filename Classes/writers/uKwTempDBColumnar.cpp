#include "uKwTempDBColumnar.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "uKwDateTime.h"
#include "uKwMailMessage.h"
#include "uKwSourceLogDB.h"
#include "uKwSqlite.h"

const char* const kAccessEngineMissingMessage =
    "Microsoft Access Database Engine 2010 Redistributable needed.\n"
    "Download it from https://www.microsoft.com/en-us/download/details.aspx?id=13255";

namespace {

// Nothing else opens the scratch file while a run writes it, and a crash only loses what
// a new run recreates: durability would cost a disk flush per message, and taking and
// releasing the file lock two system calls per message.
constexpr std::string_view kScratchPragmas =
    "PRAGMA synchronous=OFF; PRAGMA journal_mode=MEMORY; PRAGMA locking_mode=EXCLUSIVE";

constexpr size_t kCsvBufferSize = 1 << 16;

enum class TStoredKind { Real, Integer, Text };

TStoredKind StoredKind(TColumnField field) {
  switch (field) {
    case cfSubmitDate:
    case cfDeliveryDate: return TStoredKind::Real;
    case cfAttachCount:
    case cfPriority: return TStoredKind::Integer;
    default: return TStoredKind::Text;
  }
}

const char* SqlType(TStoredKind kind) {
  switch (kind) {
    case TStoredKind::Real: return "REAL";
    case TStoredKind::Integer: return "INTEGER";
    case TStoredKind::Text: break;
  }
  return "TEXT";
}

// Columns of a table we did not create read as text.
TStoredKind StoredKindOfColumn(const std::string& name) {
  for (int i = 0; i < TColumnFieldCount; ++i)
    if (GetColumnFieldName(static_cast<TColumnField>(i)) == name) return StoredKind(static_cast<TColumnField>(i));
  return TStoredKind::Text;
}

[[noreturn]] void Raise(std::string_view context, const std::string& error) {
  throw std::runtime_error(std::string(context) + ": " + error);
}

// A date the header did not give stays NULL rather than becoming 1899-12-30. An ISO text
// is not a number, so SQLite keeps it as text in the REAL column.
bool BindDate(TKwSqliteStatement& insert, int index, const TKwDate& date, bool isoDate) {
  if (date.GmtDate == 0) return insert.BindNull(index);
  if (isoDate) return insert.BindText(index, date.IsoDateTime());
  return insert.BindDouble(index, DateTimeToJulianDate(GmtToLocal(date.GmtDate)));
}

bool BindField(TKwSqliteStatement& insert, int index, const TKwMailMessage& message, TColumnField field,
               bool isoDates) {
  const TKwHeaders& h = *message.Headers;
  switch (field) {
    case cfSubmitDate: return BindDate(insert, index, h.SubmitDate, isoDates);
    case cfDeliveryDate: return BindDate(insert, index, h.DeliveryDate, isoDates);
    case cfAttachCount: return insert.BindInt(index, message.Attachments->GetCount());
    case cfPriority: return insert.BindInt(index, static_cast<int>(h.Priority));
    case cfLastSavedFile: return insert.BindText(index, message.LastSavedFilename);
    default: return insert.BindText(index, message.ColumnFieldToDataString(field));
  }
}

// Opens the store's database for the length of one call when the caller had not.
class TOpenForCall {
 public:
  explicit TOpenForCall(TKwTempDBColumnar& store) : FStore(store), FOpened(!store.IsOpen()) {
    if (FOpened) FStore.OpenSQLDatabase();
  }
  ~TOpenForCall() {
    if (FOpened) FStore.CloseSQLDatabase();
  }
  TOpenForCall(const TOpenForCall&) = delete;
  TOpenForCall& operator=(const TOpenForCall&) = delete;

 private:
  TKwTempDBColumnar& FStore;
  bool FOpened;
};

void WriteCsvValue(std::ostream& out, const TKwSqliteStatement& select, int column, TStoredKind kind) {
  if (select.ColumnIsNull(column)) return;
  switch (kind) {
    case TStoredKind::Integer: out << select.ColumnInt64(column); return;
    case TStoredKind::Real:
      if (select.ColumnType(column) == TKwSqliteType::Text) out << CsvQuoted(select.ColumnTextView(column));
      else out << CsvQuoted(DateTimeToLocaleString(JulianDateToDateTime(select.ColumnDouble(column))));
      return;
    case TStoredKind::Text: out << CsvQuoted(select.ColumnTextView(column)); return;
  }
}

}  // namespace

std::vector<TColumnField> ColumnsStringToColumnList(std::string_view columns) {
  std::vector<TColumnField> list;
  for (size_t i = 0; i + 2 <= columns.size(); i += 2) {
    const char high = columns[i], low = columns[i + 1];
    if (high < '0' || high > '9' || low < '0' || low > '9') continue;
    const int code = (high - '0') * 10 + (low - '0');
    if (code >= TColumnFieldCount) continue;
    const auto field = static_cast<TColumnField>(code);
    // SQLite refuses a table with two columns of one name.
    if (std::find(list.begin(), list.end(), field) == list.end()) list.push_back(field);
  }
  return list;
}

std::string CsvQuoted(std::string_view value) {
  if (value.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(value);
  std::string quoted = "\"";
  for (char c : value) {
    quoted += c;
    if (c == '"') quoted += '"';
  }
  quoted += '"';
  return quoted;
}

TKwTempDBColumnar::TKwTempDBColumnar() : FDatabase(std::make_unique<TKwSqliteDatabase>()) {}

TKwTempDBColumnar::~TKwTempDBColumnar() { CloseSQLDatabase(); }

void TKwTempDBColumnar::CreateDatabase(const std::string& fileName, std::string_view columns) {
  CloseSQLDatabase();
  FFileName = fileName;
  std::error_code ec;
  std::filesystem::remove(fileName, ec);
  if (ec) Raise("Deleting " + fileName, ec.message());
  CreateTables(columns);
}

void TKwTempDBColumnar::CreateTables(std::string_view columns) {
  std::string sql = "CREATE TABLE IF NOT EXISTS \"MSG\" (\"msg_id\" INTEGER NOT NULL,";
  for (TColumnField field : ColumnsStringToColumnList(columns))
    sql += "\"" + GetColumnFieldName(field) + "\" " + SqlType(StoredKind(field)) + ",";
  sql += "PRIMARY KEY (\"msg_id\"));";
  TOpenForCall open(*this);
  if (!FDatabase->Exec(sql)) Raise("Creating the table MSG", FDatabase->LastError());
}

void TKwTempDBColumnar::OpenSQLDatabase() {
  CloseSQLDatabase();
  if (!FDatabase->Open(FFileName) || !FDatabase->Exec(kScratchPragmas)) {
    std::string error = FDatabase->LastError();
    FDatabase->Close();
    Raise("Opening " + FFileName, error);
  }
}

void TKwTempDBColumnar::CloseSQLDatabase() {
  FInsert.reset();
  FInsertFields.clear();
  FDatabase->Close();
}

bool TKwTempDBColumnar::IsOpen() const { return FDatabase->IsOpen(); }

TKwSqliteStatement& TKwTempDBColumnar::InsertStatement(const TColumnFields& fields) {
  if (FInsert && FInsertFields == fields) return *FInsert;
  std::string names, values;
  for (TColumnField field : fields) {  // a std::set walks in ascending ordinal order
    names += ", " + GetColumnFieldName(field);
    values += "?,";
  }
  if (!names.empty()) names.erase(0, 2);
  if (!values.empty()) values.pop_back();
  // Without fields only msg_id gets a value.
  std::string sql = fields.empty() ? "INSERT INTO MSG DEFAULT VALUES"
                                   : "INSERT INTO MSG (" + names + ") VALUES (" + values + ")";
  auto insert = std::make_unique<TKwSqliteStatement>(*FDatabase, sql);
  if (!insert->IsPrepared()) Raise("Preparing the row", insert->LastError());
  FInsert = std::move(insert);
  FInsertFields = fields;
  return *FInsert;
}

void TKwTempDBColumnar::AddMessageToDB(const TKwMailMessage& message, const TColumnFields& fields) {
  TOpenForCall open(*this);
  TKwSqliteStatement& insert = InsertStatement(fields);
  TKwSqliteTransaction transaction(*FDatabase);
  if (!transaction.IsActive()) Raise("Adding the row", FDatabase->LastError());
  int index = 1;
  for (TColumnField field : fields)
    if (!BindField(insert, index++, message, field, FIsoDates)) Raise("Adding the row", insert.LastError());
  bool stepped = insert.Execute();
  insert.ClearBindings();
  if (!stepped) Raise("Adding the row", insert.LastError());
  if (!transaction.Commit()) Raise("Adding the row", transaction.LastError());
}

void TKwTempDBColumnar::GenerateCSVFile(const std::string& fileName, bool append) {
  TOpenForCall open(*this);
  TKwSqliteStatement select(*FDatabase, "SELECT * FROM MSG");
  if (!select.IsPrepared()) Raise("Reading the table MSG", select.LastError());

  std::vector<char> buffer(kCsvBufferSize);
  std::ofstream out;
  out.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
  out.open(fileName, std::ios::binary | (append ? std::ios::app : std::ios::trunc));
  if (!out) Raise("Writing " + fileName, std::strerror(errno));

  // Column 0 is msg_id, never written. The names are read before the first step, since
  // an empty table gives no row to read them from.
  std::vector<TStoredKind> kinds;
  for (int column = 1; column < select.ColumnCount(); ++column) {
    const std::string name = select.ColumnName(column);
    out << (column > 1 ? ",\"" : "\"") << name << '"';
    kinds.push_back(StoredKindOfColumn(name));
  }
  out << "\r\n";

  TKwSqliteStep step;
  while ((step = select.Step()) == TKwSqliteStep::Row) {
    for (int column = 1; column < select.ColumnCount(); ++column) {
      if (column > 1) out << ',';
      WriteCsvValue(out, select, column, kinds[column - 1]);
    }
    out << "\r\n";
  }
  out.close();
  if (step == TKwSqliteStep::Error) Raise("Reading the table MSG", select.LastError());
  if (!out) Raise("Writing " + fileName, std::strerror(errno));
}

bool TKwTempDBColumnar::GenerateAccessDb(const std::string&, std::string_view, std::string& errorText) {
  errorText = kAccessEngineMissingMessage;
  return false;
}

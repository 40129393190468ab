#include "uKwSqlite.h"

#include <sqlite3.h>

#include <climits>
#include <utility>

namespace {

// SQLite's message for a connection, or for a code when there is no connection to ask.
std::string ErrorText(sqlite3* database, int code) {
  if (database != nullptr && sqlite3_errcode(database) != SQLITE_OK)
    return sqlite3_errmsg(database);
  return sqlite3_errstr(code);
}

int OpenFlags(TKwSqliteDatabase::TOpenMode mode) {
  const int common = SQLITE_OPEN_NOMUTEX;
  switch (mode) {
    case TKwSqliteDatabase::omReadOnly:
      return common | SQLITE_OPEN_READONLY;
    case TKwSqliteDatabase::omReadWrite:
      return common | SQLITE_OPEN_READWRITE;
    case TKwSqliteDatabase::omReadWriteCreate:
      break;
  }
  return common | SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
}

// SQLite takes lengths as int; longer texts are refused rather than cut.
bool FitsInt(std::string_view text) { return text.size() <= static_cast<size_t>(INT_MAX); }

}  // namespace

// ---- TKwSqliteDatabase ----

TKwSqliteDatabase::~TKwSqliteDatabase() { Close(); }

TKwSqliteDatabase::TKwSqliteDatabase(TKwSqliteDatabase&& other) noexcept
    : FHandle(std::exchange(other.FHandle, nullptr)),
      FLastError(std::move(other.FLastError)),
      FLastErrorCode(other.FLastErrorCode) {}

TKwSqliteDatabase& TKwSqliteDatabase::operator=(TKwSqliteDatabase&& other) noexcept {
  if (this != &other) {
    Close();
    FHandle = std::exchange(other.FHandle, nullptr);
    FLastError = std::move(other.FLastError);
    FLastErrorCode = other.FLastErrorCode;
  }
  return *this;
}

bool TKwSqliteDatabase::Fail(int code, std::string_view context) {
  FLastErrorCode = code;
  FLastError = ErrorText(FHandle, code);
  if (!context.empty()) FLastError = std::string(context) + ": " + FLastError;
  return false;
}

bool TKwSqliteDatabase::Open(const std::string& fileName, TOpenMode mode) {
  Close();
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(fileName.c_str(), &handle, OpenFlags(mode), nullptr);
  if (code != SQLITE_OK) {
    // SQLite hands back a connection even when opening failed; it only carries the message.
    FLastErrorCode = code;
    FLastError = handle != nullptr ? sqlite3_errmsg(handle) : sqlite3_errstr(code);
    FLastError += " (" + fileName + ")";
    sqlite3_close_v2(handle);
    return false;
  }
  sqlite3_extended_result_codes(handle, 1);
  FHandle = handle;
  return true;
}

bool TKwSqliteDatabase::Close() {
  if (FHandle == nullptr) return true;
  // close_v2 defers the close until statements still prepared on it are finalised.
  const int code = sqlite3_close_v2(FHandle);
  FHandle = nullptr;
  if (code == SQLITE_OK) return true;
  FLastErrorCode = code;
  FLastError = sqlite3_errstr(code);
  return false;
}

bool TKwSqliteDatabase::Exec(std::string_view sql) {
  if (FHandle == nullptr) return Fail(SQLITE_MISUSE, "database not open");
  // sqlite3_exec needs a terminated string.
  const std::string text(sql);
  char* message = nullptr;
  const int code = sqlite3_exec(FHandle, text.c_str(), nullptr, nullptr, &message);
  if (code == SQLITE_OK) return true;
  FLastErrorCode = code;
  FLastError = message != nullptr ? message : sqlite3_errstr(code);
  sqlite3_free(message);
  return false;
}

bool TKwSqliteDatabase::SetBusyTimeout(int milliseconds) {
  if (FHandle == nullptr) return Fail(SQLITE_MISUSE, "database not open");
  const int code = sqlite3_busy_timeout(FHandle, milliseconds);
  return code == SQLITE_OK || Fail(code);
}

int64_t TKwSqliteDatabase::LastInsertRowId() const {
  return FHandle != nullptr ? sqlite3_last_insert_rowid(FHandle) : 0;
}

int TKwSqliteDatabase::Changes() const { return FHandle != nullptr ? sqlite3_changes(FHandle) : 0; }

bool TKwSqliteDatabase::IsInTransaction() const {
  return FHandle != nullptr && sqlite3_get_autocommit(FHandle) == 0;
}

// ---- TKwSqliteStatement ----

TKwSqliteStatement::TKwSqliteStatement(TKwSqliteDatabase& database, std::string_view sql) {
  Prepare(database, sql);
}

TKwSqliteStatement::~TKwSqliteStatement() { Finalize(); }

TKwSqliteStatement::TKwSqliteStatement(TKwSqliteStatement&& other) noexcept
    : FHandle(std::exchange(other.FHandle, nullptr)),
      FDatabase(std::exchange(other.FDatabase, nullptr)),
      FLastError(std::move(other.FLastError)),
      FLastErrorCode(other.FLastErrorCode) {}

TKwSqliteStatement& TKwSqliteStatement::operator=(TKwSqliteStatement&& other) noexcept {
  if (this != &other) {
    Finalize();
    FHandle = std::exchange(other.FHandle, nullptr);
    FDatabase = std::exchange(other.FDatabase, nullptr);
    FLastError = std::move(other.FLastError);
    FLastErrorCode = other.FLastErrorCode;
  }
  return *this;
}

bool TKwSqliteStatement::Check(int code, std::string_view context) {
  if (code == SQLITE_OK) return true;
  FLastErrorCode = code;
  FLastError = ErrorText(FDatabase, code);
  if (!context.empty()) FLastError = std::string(context) + ": " + FLastError;
  return false;
}

bool TKwSqliteStatement::Refuse(int code, std::string_view text) {
  FLastErrorCode = code;
  FLastError = text;
  return false;
}

bool TKwSqliteStatement::Prepare(TKwSqliteDatabase& database, std::string_view sql) {
  Finalize();
  FDatabase = database.Handle();
  if (FDatabase == nullptr) return Refuse(SQLITE_MISUSE, "database not open");
  if (!FitsInt(sql)) return Refuse(SQLITE_TOOBIG, "statement too long");
  const int code =
      sqlite3_prepare_v2(FDatabase, sql.data(), static_cast<int>(sql.size()), &FHandle, nullptr);
  if (code == SQLITE_OK && FHandle == nullptr) return Refuse(SQLITE_MISUSE, "empty statement");
  return Check(code, {});
}

void TKwSqliteStatement::Finalize() {
  if (FHandle != nullptr) sqlite3_finalize(FHandle);
  FHandle = nullptr;
}

bool TKwSqliteStatement::BindText(int index, std::string_view value) {
  if (FHandle == nullptr) return Refuse(SQLITE_MISUSE, "statement not prepared");
  if (!FitsInt(value)) return Refuse(SQLITE_TOOBIG, "text too long");
  // An empty view may carry a null pointer, which SQLite would bind as NULL.
  const char* bytes = value.data() != nullptr ? value.data() : "";
  return Check(
      sqlite3_bind_text(FHandle, index, bytes, static_cast<int>(value.size()), SQLITE_TRANSIENT),
      "bind");
}

bool TKwSqliteStatement::BindInt(int index, int value) {
  if (FHandle == nullptr) return Refuse(SQLITE_MISUSE, "statement not prepared");
  return Check(sqlite3_bind_int(FHandle, index, value), "bind");
}

bool TKwSqliteStatement::BindInt64(int index, int64_t value) {
  if (FHandle == nullptr) return Refuse(SQLITE_MISUSE, "statement not prepared");
  return Check(sqlite3_bind_int64(FHandle, index, value), "bind");
}

bool TKwSqliteStatement::BindDouble(int index, double value) {
  if (FHandle == nullptr) return Refuse(SQLITE_MISUSE, "statement not prepared");
  return Check(sqlite3_bind_double(FHandle, index, value), "bind");
}

bool TKwSqliteStatement::BindNull(int index) {
  if (FHandle == nullptr) return Refuse(SQLITE_MISUSE, "statement not prepared");
  return Check(sqlite3_bind_null(FHandle, index), "bind");
}

bool TKwSqliteStatement::ClearBindings() {
  if (FHandle == nullptr) return Refuse(SQLITE_MISUSE, "statement not prepared");
  return Check(sqlite3_clear_bindings(FHandle), {});
}

int TKwSqliteStatement::ParameterCount() const {
  return FHandle != nullptr ? sqlite3_bind_parameter_count(FHandle) : 0;
}

TKwSqliteStep TKwSqliteStatement::Step() {
  if (FHandle == nullptr) {
    Refuse(SQLITE_MISUSE, "statement not prepared");
    return TKwSqliteStep::Error;
  }
  const int code = sqlite3_step(FHandle);
  if (code == SQLITE_ROW) return TKwSqliteStep::Row;
  if (code == SQLITE_DONE) return TKwSqliteStep::Done;
  Check(code, {});
  return TKwSqliteStep::Error;
}

bool TKwSqliteStatement::Reset() {
  if (FHandle == nullptr) return Refuse(SQLITE_MISUSE, "statement not prepared");
  return Check(sqlite3_reset(FHandle), {});
}

bool TKwSqliteStatement::Execute() {
  const TKwSqliteStep result = Step();
  if (result == TKwSqliteStep::Error) {
    if (FHandle != nullptr) sqlite3_reset(FHandle);  // keeps the step's message, not reset's
    return false;
  }
  return Reset();
}

int TKwSqliteStatement::ColumnCount() const {
  return FHandle != nullptr ? sqlite3_column_count(FHandle) : 0;
}

std::string TKwSqliteStatement::ColumnName(int column) const {
  const char* name = FHandle != nullptr ? sqlite3_column_name(FHandle, column) : nullptr;
  return name != nullptr ? name : "";
}

int TKwSqliteStatement::ColumnIndex(std::string_view name) const {
  const int count = ColumnCount();
  for (int column = 0; column < count; ++column)
    if (sqlite3_column_name(FHandle, column) == name) return column;
  return -1;
}

bool TKwSqliteStatement::ColumnIsNull(int column) const {
  return FHandle == nullptr || sqlite3_column_type(FHandle, column) == SQLITE_NULL;
}

TKwSqliteType TKwSqliteStatement::ColumnType(int column) const {
  switch (FHandle != nullptr ? sqlite3_column_type(FHandle, column) : SQLITE_NULL) {
    case SQLITE_INTEGER:
      return TKwSqliteType::Integer;
    case SQLITE_FLOAT:
      return TKwSqliteType::Real;
    case SQLITE_TEXT:
      return TKwSqliteType::Text;
    case SQLITE_BLOB:
      return TKwSqliteType::Blob;
    default:
      return TKwSqliteType::Null;
  }
}

std::string TKwSqliteStatement::ColumnText(int column) const {
  return std::string(ColumnTextView(column));
}

std::string_view TKwSqliteStatement::ColumnTextView(int column) const {
  if (FHandle == nullptr) return {};
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(FHandle, column));
  if (text == nullptr) return {};
  return {text, static_cast<size_t>(sqlite3_column_bytes(FHandle, column))};
}

int TKwSqliteStatement::ColumnInt(int column) const {
  return FHandle != nullptr ? sqlite3_column_int(FHandle, column) : 0;
}

int64_t TKwSqliteStatement::ColumnInt64(int column) const {
  return FHandle != nullptr ? sqlite3_column_int64(FHandle, column) : 0;
}

double TKwSqliteStatement::ColumnDouble(int column) const {
  return FHandle != nullptr ? sqlite3_column_double(FHandle, column) : 0.0;
}

// ---- TKwSqliteTransaction ----

TKwSqliteTransaction::TKwSqliteTransaction(TKwSqliteDatabase& database, bool immediate)
    : FDatabase(database) {
  FActive = FDatabase.Exec(immediate ? "BEGIN IMMEDIATE TRANSACTION" : "BEGIN TRANSACTION");
}

TKwSqliteTransaction::~TKwSqliteTransaction() {
  if (FActive) Rollback();
}

bool TKwSqliteTransaction::Commit() {
  if (!FActive) return false;
  if (!FDatabase.Exec("COMMIT")) return false;
  FActive = false;
  return true;
}

bool TKwSqliteTransaction::Rollback() {
  if (!FActive) return false;
  FActive = false;
  // SQLite may already have rolled back on its own (after an I/O or full-disk error).
  if (!FDatabase.IsInTransaction()) return true;
  return FDatabase.Exec("ROLLBACK");
}

std::string SqliteLibraryVersion() { return sqlite3_libversion(); }

#pragma once
// A thin RAII layer over the SQLite 3 C API, shared by every unit that keeps a database of
// its own (processed-message log, IP-to-country table, scratch tables, SQLite output).
// Only this unit includes sqlite3.h.
//
// Errors: nothing here throws. Each call that can fail returns false (or
// TKwSqliteStep::Error) and keeps SQLite's message in LastError() of the object it was
// called on, until the next failure of that object. Callers that need an exception make
// it themselves from that text.
//
// Threads: an object is used from one thread at a time; connections are opened in
// SQLite's multi-thread mode (no per-connection mutex).

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

// A connection. Move-only; the destructor closes it. Statements prepared on it may outlive
// the object: the connection is then closed when the last of them is finalised.
class TKwSqliteDatabase {
 public:
  enum TOpenMode { omReadWriteCreate, omReadWrite, omReadOnly };

  TKwSqliteDatabase() = default;
  ~TKwSqliteDatabase();
  TKwSqliteDatabase(TKwSqliteDatabase&& other) noexcept;
  TKwSqliteDatabase& operator=(TKwSqliteDatabase&& other) noexcept;
  TKwSqliteDatabase(const TKwSqliteDatabase&) = delete;
  TKwSqliteDatabase& operator=(const TKwSqliteDatabase&) = delete;

  // Closes any open connection first. fileName is passed to SQLite as its bytes (UTF-8);
  // ":memory:" opens a private in-memory database. SQLite reads the file lazily, so a file
  // that is not a database is only reported by the first statement that touches it.
  bool Open(const std::string& fileName, TOpenMode mode = omReadWriteCreate);
  // True also when nothing was open.
  bool Close();
  bool IsOpen() const { return FHandle != nullptr; }

  // Runs one or more statements separated by ";", without results.
  bool Exec(std::string_view sql);
  // How long a statement waits for another connection's lock before failing with
  // "database is locked"; 0 fails at once.
  bool SetBusyTimeout(int milliseconds);

  int64_t LastInsertRowId() const;
  int Changes() const;  // rows changed by the last INSERT, UPDATE or DELETE
  bool IsInTransaction() const;

  const std::string& LastError() const { return FLastError; }
  int LastErrorCode() const { return FLastErrorCode; }  // extended SQLite result code, 0 when none
  sqlite3* Handle() const { return FHandle; }           // for TKwSqliteStatement; null when closed

 private:
  friend class TKwSqliteStatement;
  bool Fail(int code, std::string_view context = {});

  sqlite3* FHandle = nullptr;
  std::string FLastError;
  int FLastErrorCode = 0;
};

enum class TKwSqliteStep { Row, Done, Error };

// The storage class of one value of a result row.
enum class TKwSqliteType { Integer, Real, Text, Blob, Null };

// One prepared statement. Move-only; the destructor finalises it. Prepare once, then for
// each use: bind, step until Done, Reset. Parameter and column indexes: parameters count
// from 1, columns from 0, as in SQLite.
class TKwSqliteStatement {
 public:
  TKwSqliteStatement() = default;
  // Prepares at once; check IsPrepared() / LastError().
  TKwSqliteStatement(TKwSqliteDatabase& database, std::string_view sql);
  ~TKwSqliteStatement();
  TKwSqliteStatement(TKwSqliteStatement&& other) noexcept;
  TKwSqliteStatement& operator=(TKwSqliteStatement&& other) noexcept;
  TKwSqliteStatement(const TKwSqliteStatement&) = delete;
  TKwSqliteStatement& operator=(const TKwSqliteStatement&) = delete;

  // Finalises any previous statement. Only the first statement of sql is prepared.
  bool Prepare(TKwSqliteDatabase& database, std::string_view sql);
  void Finalize();
  bool IsPrepared() const { return FHandle != nullptr; }

  // Values are copied by SQLite; text is stored as UTF-8 bytes, unchanged.
  bool BindText(int index, std::string_view value);
  bool BindInt(int index, int value);
  bool BindInt64(int index, int64_t value);
  bool BindDouble(int index, double value);
  bool BindNull(int index);
  bool ClearBindings();
  int ParameterCount() const;

  TKwSqliteStep Step();
  // Makes the statement ready to run again; bindings are kept. An error of the last step
  // is reported again here, so the result is ignored after a failed step.
  bool Reset();
  // Step once and reset: for statements without result rows.
  bool Execute();

  // Valid after Step() gave Row, until the next Step/Reset. NULL reads as "", 0 or 0.0.
  int ColumnCount() const;
  std::string ColumnName(int column) const;
  int ColumnIndex(std::string_view name) const;  // -1 when there is no such column
  bool ColumnIsNull(int column) const;
  TKwSqliteType ColumnType(int column) const;  // Null when nothing is prepared
  std::string ColumnText(int column) const;
  // The same text without a copy; valid until the next Step, Reset or column call on it.
  std::string_view ColumnTextView(int column) const;
  int ColumnInt(int column) const;
  int64_t ColumnInt64(int column) const;
  double ColumnDouble(int column) const;

  const std::string& LastError() const { return FLastError; }
  int LastErrorCode() const { return FLastErrorCode; }

 private:
  bool Check(int code, std::string_view context);
  bool Refuse(int code, std::string_view text);  // a call refused before reaching SQLite

  sqlite3_stmt* FHandle = nullptr;
  sqlite3* FDatabase = nullptr;  // not owned; kept alive by SQLite while FHandle exists
  std::string FLastError;
  int FLastErrorCode = 0;
};

// A transaction that rolls back on destruction unless Commit() succeeded. Refers to its
// database, which must outlive it.
class TKwSqliteTransaction {
 public:
  // Runs "BEGIN TRANSACTION" (or "BEGIN IMMEDIATE TRANSACTION" to take the write lock at
  // once); IsActive() tells whether it began.
  explicit TKwSqliteTransaction(TKwSqliteDatabase& database, bool immediate = false);
  ~TKwSqliteTransaction();
  TKwSqliteTransaction(const TKwSqliteTransaction&) = delete;
  TKwSqliteTransaction& operator=(const TKwSqliteTransaction&) = delete;

  bool IsActive() const { return FActive; }
  // "COMMIT". On failure the transaction stays active and the destructor rolls it back.
  bool Commit();
  bool Rollback();
  const std::string& LastError() const { return FDatabase.LastError(); }

 private:
  TKwSqliteDatabase& FDatabase;
  bool FActive = false;
};

// The version of the SQLite library in use, for diagnostics.
std::string SqliteLibraryVersion();

#pragma once
// TKwTempDBColumnar: the scratch table in which a columnar export gathers one row per
// message before the run's end writes it out as CSV (or, on Windows, an Access database).
//
// File: one SQLite database with one table,
//   MSG("msg_id" INTEGER NOT NULL, one column per chosen field, PRIMARY KEY ("msg_id"))
// Columns are named by GetColumnFieldName and typed by field: the two dates REAL (Julian
// day of the local date; with SetIsoDates, TEXT values in ISO 8601 with the offset of the
// message's own header), the attachment count and priority INTEGER, the rest TEXT (UTF-8).
// msg_id is never given, so rows keep their insertion order.
//
// The file is ours alone: it is written without syncing and with the rollback journal in
// memory, so that committing every message on its own stays cheap. A crash loses the
// scratch file, which a new run recreates anyway.
//
// Errors: SQLite's failures and unwritable output files are raised as std::runtime_error
// carrying SQLite's (or the system's) message. Owns its connection; one thread.

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "uKwTypes.h"

class TKwMailMessage;
class TKwSqliteDatabase;
class TKwSqliteStatement;

using TColumnFields = std::set<TColumnField>;

// The columns a selection string names, in its order. The string holds two-digit codes,
// each a TColumnField ordinal ("000108": SubmitDate, FromName, Subject); a last piece of
// one character, a code that is not a number below 30, and a repeated code add nothing.
std::vector<TColumnField> ColumnsStringToColumnList(std::string_view columns);

// The text Windows users are shown when the Access engine is missing: no Access engine
// exists on this platform, so every Access export ends with it.
extern const char* const kAccessEngineMissingMessage;

class TKwTempDBColumnar {
 public:
  TKwTempDBColumnar();
  ~TKwTempDBColumnar();
  TKwTempDBColumnar(const TKwTempDBColumnar&) = delete;
  TKwTempDBColumnar& operator=(const TKwTempDBColumnar&) = delete;

  // Remembers fileName, deletes any file of that name, then CreateTables: every run
  // starts from an empty table.
  void CreateDatabase(const std::string& fileName, std::string_view columns);
  // Creates MSG with the columns of the selection string, in its order. Opens the
  // database for the call and closes it again unless it was open already.
  void CreateTables(std::string_view columns);

  // The connection to the remembered file; calls below open and close it themselves
  // when it is not open, so a run keeps it open across its messages.
  void OpenSQLDatabase();
  void CloseSQLDatabase();
  bool IsOpen() const;
  const std::string& FileName() const { return FFileName; }

  // Dates of the rows added from now on are stored, and written to CSV, as ISO 8601 text in
  // the zone of the message's own header instead of local date-times.
  void SetIsoDates(bool isoDates) { FIsoDates = isoDates; }

  // Adds one row with the values of the chosen fields (columns the table lacks fail with
  // SQLite's "no such column" error), in one transaction of its own.
  void AddMessageToDB(const TKwMailMessage& message, const TColumnFields& fields);

  // Writes the table as CSV: a header line of the quoted column names (msg_id left out),
  // then one line per row, CRLF-terminated, UTF-8 without a byte-order mark. Dates are
  // written as local date and time in the locale's format (dates stored as text as they
  // are), integers in decimal, text as
  // it is; a value holding a comma, double quote, CR or LF is quoted with inner quotes
  // doubled. append adds to an existing file instead of replacing it.
  void GenerateCSVFile(const std::string& fileName, bool append);

  // Always false with kAccessEngineMissingMessage in errorText; fileName is left as it was.
  bool GenerateAccessDb(const std::string& fileName, std::string_view columns, std::string& errorText);

 private:
  TKwSqliteStatement& InsertStatement(const TColumnFields& fields);

  std::string FFileName;
  std::unique_ptr<TKwSqliteDatabase> FDatabase;
  // The INSERT of the last field set, kept while the connection is open.
  std::unique_ptr<TKwSqliteStatement> FInsert;
  TColumnFields FInsertFields;
  bool FIsoDates = false;
};

// CSV quoting of one value: bare unless it holds a comma, double quote, CR or LF.
std::string CsvQuoted(std::string_view value);

#pragma once
// TKwTempDB: the scratch table in which the collect-data target keeps one row of variable
// values per message until the run's end hands the table to its columnar exporters.
//
// File: one SQLite database with one table,
//   MSG("msg_id" INTEGER NOT NULL, one column per exported variable, PRIMARY KEY ("msg_id"))
// Columns are named as the variables and typed by TVariableType: vtBoolean and vtInteger
// INTEGER, vtDateTime and vtDouble REAL (dates as Julian days of the local date), vtString
// and vtMemo TEXT (UTF-8; the system's ANSI code page is UTF-8 here, so nothing is lost).
// The table is created without IF NOT EXISTS: CreateDatabase deletes the file first.
//
// An empty value of a non-text variable is stored as NULL. A value that cannot be read as
// its type fails the row with a TKwTempDBValueError naming the variable and the value.
//
// Errors are raised as std::runtime_error carrying SQLite's message. Owns its connection;
// one thread.

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "uKwVariables.h"

class TKwSqliteDatabase;
class TKwSqliteStatement;

// A value that does not read as its variable's type.
class TKwTempDBValueError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The exported variables of the lists, in list order (the first list's before the
// second's): the columns of MSG. Pointers into the lists, valid while they are not cleared.
std::vector<const TKwVariable*> ExportedVariables(const TKwVariablesList* first, const TKwVariablesList* second);

class TKwTempDB {
 public:
  TKwTempDB();
  ~TKwTempDB();
  TKwTempDB(const TKwTempDB&) = delete;
  TKwTempDB& operator=(const TKwTempDB&) = delete;

  // Remembers fileName, deletes any file of that name, then CreateTables.
  void CreateDatabase(const std::string& fileName, const std::vector<const TKwVariable*>& variables);
  // Runs the CREATE TABLE of MSG; opens the database for the call when it was not open.
  void CreateTables(const std::vector<const TKwVariable*>& variables);
  void OpenDatabase();
  void CloseDatabase();
  bool IsOpen() const;
  const std::string& FileName() const { return FFileName; }

  // Adds one row with the current values of the variables (the same variables, in the
  // same order, as the table was created with), in one transaction of its own. On any
  // failure nothing of the row is kept and the exception says why.
  void AddFieldToDB(const std::vector<const TKwVariable*>& variables);

 private:
  TKwSqliteStatement& InsertStatement(const std::vector<const TKwVariable*>& variables);

  std::string FFileName;
  std::unique_ptr<TKwSqliteDatabase> FDatabase;
  std::unique_ptr<TKwSqliteStatement> FInsert;  // kept while the connection is open
  std::vector<std::string> FInsertNames;  // the columns FInsert was prepared for
};

// The readings of a variable's text that the table stores. False when the text is not of
// the type; an empty text is never read (it is stored as NULL).
bool TextToBoolean(std::string_view text, bool& value);
bool TextToInteger(std::string_view text, int64_t& value);
bool TextToDouble(std::string_view text, double& value);  // "." as the decimal mark
// The locale's date-and-time text as DateTimeToLocaleString writes it, also without the
// time, and ISO 8601 ("2024-03-05", "2024-03-05 14:07:09", "2024-03-05T14:07").
bool TextToDateTime(std::string_view text, TDateTime& value);

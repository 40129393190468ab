#pragma once
// The processed-message log of one mail source: which messages (by unique id) earlier runs
// already handed to the targets, so that a later run skips them.
//
// File: GetSourceLogsFolder() + SourceId + ".db", an SQLite 3 database with one table:
//   SLOG(slog_id INTEGER primary key, slog_date REAL, msg_date REAL, msg_subject TEXT,
//        msg_uniqueid TEXT), indexed on slog_date, msg_date and msg_uniqueid.
// slog_date is the local time of logging and msg_date the message's local date, both as
// Julian days; texts are UTF-8. Rows accumulate run after run; nothing here deletes them.
// While open the file is in write-ahead-log mode ("-wal" and "-shm" files beside it, folded
// back when the last connection closes), so that committing each row stays cheap.
//
// A log that cannot be created or opened (unreadable, not a database) sets the error flag
// and then behaves as an empty log that records nothing: it never makes a run skip a
// message. Once open, a failing lookup or insert throws EKwSourceLogError, which the
// source's per-message handling reports as that message's failure.
//
// Owns its connection and statements. Used from the thread that runs the source.

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "uKwPersistent.h"
#include "uKwSqlite.h"
#include "uKwTypes.h"

class TKwFoldersTree;

class EKwSourceLogError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Day 0 of TDateTime (1899-12-30 00:00) is Julian day 2415018.5.
inline constexpr double kJulianDayOfDateTimeZero = 2415018.5;
constexpr double DateTimeToJulianDate(TDateTime value) { return value + kJulianDayOfDateTimeZero; }
constexpr TDateTime JulianDateToDateTime(double julian) {
  return julian - kJulianDayOfDateTimeZero;
}

class TKwSourceLogDB {
 public:
  TKwSourceLogDB() = default;
  ~TKwSourceLogDB();
  TKwSourceLogDB(const TKwSourceLogDB&) = delete;
  TKwSourceLogDB& operator=(const TKwSourceLogDB&) = delete;

  // The log file of a source: GetSourceLogsFolder() + sourceId + ".db".
  static std::string SourceLogFilename(std::string_view sourceId);

  // Closes any log open before, clears the error flag, creates the file with its schema
  // when it does not exist (or is empty) and opens it with the lookup prepared for the
  // run. Never throws for a broken file (see HasError); an empty sourceId is a programming
  // error (EAssertionFailed naming Classes/uKwSourceLogDB).
  void CreateDatabase(std::string_view SourceId);

  // The steps of CreateDatabase, on DatabaseFilename(). Each returns false and sets the
  // error flag on failure.
  bool OpenDatabase();  // creates an absent file
  bool CreateTables();  // the table and its three indexes, all or nothing
  bool PrepareQueries();
  void CloseDatabase();  // finalises the statements and closes; the error flag is kept

  // Whether the id was logged. False while the log is not open. Throws EKwSourceLogError.
  bool ExistMessageInDB(std::string_view UniqueId);
  // Logs the message unless its id is already there; each row is committed on its own.
  // Does nothing while the log is not open. Throws EKwSourceLogError.
  void AddMessage(std::string_view UniqueId, TDateTime MessageDate, std::string_view Subject);

  bool HasError() const { return FError; }
  bool IsOpen() const { return FLookup.IsPrepared(); }
  const std::string& DatabaseFilename() const { return FDatabaseFilename; }
  const std::string& LastError() const { return FLastError; }  // why the flag was set

 private:
  bool SetError(std::string_view context, const std::string& sqliteError);
  [[noreturn]] void Throw(std::string_view context, const std::string& sqliteError);

  bool FError = false;
  TKwSqliteDatabase FDatabase;
  std::string FDatabaseFilename;
  // Declared after FDatabase: statements are finalised before the connection closes.
  TKwSqliteStatement FLookup;
  TKwSqliteStatement FInsert;  // prepared at the first insert, kept for the run
  std::string FLastError;
};

// ---- The unique-ids source (TKwSourceUniqueIds) ----
// It reads messages already stored locally, given their unique ids, from a tree of one
// folder named "Root" whose UniqueIdList its caller fills.

inline constexpr std::string_view kUniqueIdsRootFolderName = "Root";

// Replaces the tree's folders by the single root folder, holding uniqueIds.
void LoadUniqueIdsFolders(TKwFoldersTree& tree, const TStringList& uniqueIds);


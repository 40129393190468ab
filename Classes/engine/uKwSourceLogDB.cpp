#include "uKwSourceLogDB.h"

#include <filesystem>
#include <system_error>

#include "uKwAssert.h"
#include "uKwDateTime.h"
#include "uKwFoldersTree.h"
#include "uKwRegFolders.h"

namespace {

constexpr std::string_view kUnit = "Classes/uKwSourceLogDB";
constexpr int kEmptySourceIdAssertLine = 79;
constexpr std::string_view kLogExtension = ".db";

// Two actions sharing a SourceId may write the file at the same time; wait for the other
// one's lock rather than fail the message.
constexpr int kBusyTimeoutMilliseconds = 5000;

// Every processed message is committed on its own. With the default rollback journal each
// commit waits for the disk (about 85 inserts a second measured on a virtual disk); with
// the write-ahead log and normal syncing, about 7,000. A power cut may then lose the last
// few rows, never the file's consistency: at worst a few messages are processed again.
// The connection closing last folds the "-wal" file back and removes it.
constexpr std::string_view kJournalPragmas = "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL";

// The file's schema, verbatim: other programs read these logs and compare the schema text.
constexpr std::string_view kSchemaStatements[] = {
    "CREATE TABLE \"SLOG\" (    \"slog_id\" INTEGER,    \"slog_date\" REAL,    \"msg_date\" "
    "REAL,    \"msg_subject\" TEXT,    \"msg_uniqueid\" TEXT,    PRIMARY KEY (\"slog_id\"));",
    "CREATE INDEX \"IDX_logdate\" ON \"SLOG\" (\"slog_date\");",
    "CREATE INDEX \"IDX_msgdate\" ON \"SLOG\" (\"msg_date\");",
    "CREATE INDEX \"IDX_uniqueid\" ON \"SLOG\" (\"msg_uniqueid\");",
};
constexpr std::string_view kLookup = "SELECT slog_id FROM SLOG WHERE (msg_uniqueid = ?)";
constexpr std::string_view kInsert =
    "INSERT INTO SLOG (msg_uniqueid, slog_date, msg_date, msg_subject ) VALUES (?,?,?,?)";

// An empty file is what an interrupted first creation leaves: it holds no log yet.
bool HasLogFile(const std::string& fileName) {
  std::error_code ec;
  const auto size = std::filesystem::file_size(fileName, ec);
  return !ec && size > 0;
}

}  // namespace

TKwSourceLogDB::~TKwSourceLogDB() { CloseDatabase(); }

std::string TKwSourceLogDB::SourceLogFilename(std::string_view sourceId) {
  return GetSourceLogsFolder() + std::string(sourceId) + std::string(kLogExtension);
}

bool TKwSourceLogDB::SetError(std::string_view context, const std::string& sqliteError) {
  FError = true;
  FLastError = std::string(context) + ": " + sqliteError;
  return false;
}

void TKwSourceLogDB::Throw(std::string_view context, const std::string& sqliteError) {
  throw EKwSourceLogError("Processed-message log " + FDatabaseFilename + ", " +
                          std::string(context) + ": " + sqliteError);
}

void TKwSourceLogDB::CreateDatabase(std::string_view SourceId) {
  if (SourceId.empty()) AssertionFailure(kUnit, kEmptySourceIdAssertLine);
  CloseDatabase();
  FError = false;
  FLastError.clear();
  FDatabaseFilename = SourceLogFilename(SourceId);
  if (!HasLogFile(FDatabaseFilename)) {
    if (OpenDatabase()) CreateTables();
    CloseDatabase();
  }
  if (FError) return;
  if (!OpenDatabase() || !PrepareQueries()) CloseDatabase();
}

bool TKwSourceLogDB::OpenDatabase() {
  if (!FDatabase.Open(FDatabaseFilename)) return SetError("open", FDatabase.LastError());
  FDatabase.SetBusyTimeout(kBusyTimeoutMilliseconds);
  // Failure here is harmless: the log then keeps the rollback journal and full syncs.
  FDatabase.Exec(kJournalPragmas);
  return true;
}

bool TKwSourceLogDB::CreateTables() {
  TKwSqliteTransaction transaction(FDatabase);
  if (!transaction.IsActive()) return SetError("create tables", FDatabase.LastError());
  for (std::string_view statement : kSchemaStatements)
    if (!FDatabase.Exec(statement)) return SetError("create tables", FDatabase.LastError());
  return transaction.Commit() || SetError("create tables", FDatabase.LastError());
}

// Also where a file that is not a database shows itself: SQLite reads the file lazily.
bool TKwSourceLogDB::PrepareQueries() {
  return FLookup.Prepare(FDatabase, kLookup) || SetError("prepare lookup", FLookup.LastError());
}

void TKwSourceLogDB::CloseDatabase() {
  FLookup.Finalize();
  FInsert.Finalize();
  FDatabase.Close();
}

bool TKwSourceLogDB::ExistMessageInDB(std::string_view UniqueId) {
  if (!FLookup.IsPrepared()) return false;
  if (!FLookup.BindText(1, UniqueId)) Throw("lookup", FLookup.LastError());
  const TKwSqliteStep step = FLookup.Step();
  if (step == TKwSqliteStep::Error) {
    const std::string error = FLookup.LastError();
    FLookup.Reset();
    Throw("lookup", error);
  }
  if (!FLookup.Reset()) Throw("lookup", FLookup.LastError());
  return step == TKwSqliteStep::Row;
}

void TKwSourceLogDB::AddMessage(std::string_view UniqueId, TDateTime MessageDate,
                                std::string_view Subject) {
  if (!FLookup.IsPrepared() || ExistMessageInDB(UniqueId)) return;
  if (!FInsert.IsPrepared() && !FInsert.Prepare(FDatabase, kInsert))
    Throw("prepare insert", FInsert.LastError());
  const bool bound =
      FInsert.BindText(1, UniqueId) && FInsert.BindDouble(2, DateTimeToJulianDate(NowLocal())) &&
      FInsert.BindDouble(3, DateTimeToJulianDate(MessageDate)) && FInsert.BindText(4, Subject);
  if (!bound || !FInsert.Execute()) Throw("insert", FInsert.LastError());
}

// ---- The unique-ids source ----

void LoadUniqueIdsFolders(TKwFoldersTree& tree, const TStringList& uniqueIds) {
  tree.Clear();
  TKwFolderNode& root = tree.AddChild(nullptr);
  TKwFolderInfo& info = root.Info();
  info.FolderName = kUniqueIdsRootFolderName;
  info.UniqueIdList = uniqueIds;
  info.MessagesCount = static_cast<int32_t>(uniqueIds.size());
  tree.BuildFoldersPath(false);
}


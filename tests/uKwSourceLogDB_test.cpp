#include "uKwSourceLogDB.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "uKwAssert.h"
#include "uKwDateTime.h"
#include "uKwFoldersTree.h"
#include "uKwRegFolders.h"
#include "uKwSqlite.h"

namespace fs = std::filesystem;

namespace {

constexpr char kSourceId[] = "{5E0C1A2B-3C4D-4E5F-8A9B-0C1D2E3F4A5B}";
constexpr char kIdA[] = "0A1B2C3D4E5F60718293A4B5C";
constexpr char kIdB[] = "1A1B2C3D4E5F60718293A4B5C";
constexpr char kIdC[] = "2A1B2C3D4E5F60718293A4B5C";

std::string LogFile() { return GetSourceLogsFolder() + kSourceId + ".db"; }

// Reads the log's file through a connection of its own, as another program would.
std::vector<std::string> ColumnTexts(const std::string& sql) {
  TKwSqliteDatabase database;
  EXPECT_TRUE(database.Open(LogFile(), TKwSqliteDatabase::omReadOnly)) << database.LastError();
  TKwSqliteStatement statement(database, sql);
  EXPECT_TRUE(statement.IsPrepared()) << statement.LastError();
  std::vector<std::string> texts;
  while (statement.Step() == TKwSqliteStep::Row) texts.push_back(statement.ColumnText(0));
  return texts;
}

double SingleDouble(const std::string& sql) {
  TKwSqliteDatabase database;
  EXPECT_TRUE(database.Open(LogFile(), TKwSqliteDatabase::omReadOnly));
  TKwSqliteStatement statement(database, sql);
  EXPECT_EQ(statement.Step(), TKwSqliteStep::Row) << statement.LastError();
  return statement.ColumnDouble(0);
}

// A log that could not be opened: empty to lookups, deaf to inserts.
void ExpectBehavesAsEmpty(TKwSourceLogDB& log) {
  EXPECT_TRUE(log.HasError());
  EXPECT_FALSE(log.IsOpen());
  EXPECT_NE(log.LastError(), "");
  EXPECT_FALSE(log.ExistMessageInDB(kIdA));
  EXPECT_NO_THROW(log.AddMessage(kIdA, 45000.0, "subject"));
  EXPECT_FALSE(log.ExistMessageInDB(kIdA));
}

}  // namespace

TEST(TKwSourceLogDBTest, FirstRunCreatesTheFileWithTheExactSchemaAndSkipsNothing) {
  TTempHome home;
  TKwSourceLogDB log;
  log.CreateDatabase(kSourceId);
  EXPECT_FALSE(log.HasError());
  EXPECT_TRUE(log.IsOpen());
  EXPECT_EQ(log.DatabaseFilename(), LogFile());
  EXPECT_TRUE(fs::is_regular_file(LogFile()));
  EXPECT_FALSE(log.ExistMessageInDB(kIdA));

  const std::vector<std::string> schema =
      ColumnTexts("SELECT sql FROM sqlite_master ORDER BY rowid");
  const std::vector<std::string> expected{
      "CREATE TABLE \"SLOG\" (    \"slog_id\" INTEGER,    \"slog_date\" REAL,    \"msg_date\" REAL,"
      "    \"msg_subject\" TEXT,    \"msg_uniqueid\" TEXT,    PRIMARY KEY (\"slog_id\"))",
      "CREATE INDEX \"IDX_logdate\" ON \"SLOG\" (\"slog_date\")",
      "CREATE INDEX \"IDX_msgdate\" ON \"SLOG\" (\"msg_date\")",
      "CREATE INDEX \"IDX_uniqueid\" ON \"SLOG\" (\"msg_uniqueid\")"};
  EXPECT_EQ(schema, expected);
}

TEST(TKwSourceLogDBTest, ALaterRunSkipsWhatEarlierRunsLoggedAndLogsWhatIsNew) {
  TTempHome home;
  {
    TKwSourceLogDB first;
    first.CreateDatabase(kSourceId);
    first.AddMessage(kIdA, 45000.5, "first");
    first.AddMessage(kIdB, 45001.5, "second");
  }
  TKwSourceLogDB second;
  second.CreateDatabase(kSourceId);
  EXPECT_TRUE(second.ExistMessageInDB(kIdA));
  EXPECT_TRUE(second.ExistMessageInDB(kIdB));
  EXPECT_FALSE(second.ExistMessageInDB(kIdC));
  second.AddMessage(kIdC, 45002.5, "arrived since");
  EXPECT_TRUE(second.ExistMessageInDB(kIdC));
  // A second extraction by the same source object reopens the same log.
  second.CreateDatabase(kSourceId);
  EXPECT_TRUE(second.ExistMessageInDB(kIdC));
  EXPECT_EQ(ColumnTexts("SELECT msg_uniqueid FROM SLOG ORDER BY slog_id"),
            (std::vector<std::string>{kIdA, kIdB, kIdC}));
}

TEST(TKwSourceLogDBTest, LeavesOnlyItsOwnFileBehindWhenClosed) {
  TTempHome home;
  {
    TKwSourceLogDB log;
    log.CreateDatabase(kSourceId);
    log.AddMessage(kIdA, 45000.0, "s");
    EXPECT_EQ(ColumnTexts("SELECT msg_uniqueid FROM SLOG"), std::vector<std::string>{kIdA});
  }
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(GetSourceLogsFolder()))
    names.push_back(entry.path().filename().string());
  EXPECT_EQ(names, std::vector<std::string>{std::string(kSourceId) + ".db"});
}

TEST(TKwSourceLogDBTest, AddingTheSameIdTwiceKeepsOneRow) {
  TTempHome home;
  TKwSourceLogDB log;
  log.CreateDatabase(kSourceId);
  log.AddMessage(kIdA, 45000.0, "once");
  log.AddMessage(kIdA, 46000.0, "twice");
  EXPECT_EQ(ColumnTexts("SELECT msg_subject FROM SLOG"), std::vector<std::string>{"once"});
}

TEST(TKwSourceLogDBTest, StoresDatesAsJulianDaysOfLocalTime) {
  TTempHome home;
  TKwSourceLogDB log;
  log.CreateDatabase(kSourceId);
  const double before = NowLocal() + 2415018.5;
  // 2024-03-15 12:00 is Julian day 2460385.0: 2451545.0 (2000-01-01 12:00) + 8840 days.
  log.AddMessage(kIdA, EncodeDateTime(2024, 3, 15, 12, 0, 0), "noon");
  log.AddMessage(kIdB, 0.0, "day zero of the date type");
  const double after = NowLocal() + 2415018.5;

  EXPECT_DOUBLE_EQ(SingleDouble("SELECT msg_date FROM SLOG WHERE msg_subject = 'noon'"), 2460385.0);
  EXPECT_DOUBLE_EQ(SingleDouble("SELECT msg_date FROM SLOG WHERE slog_id = 2"), 2415018.5);
  const double logged = SingleDouble("SELECT slog_date FROM SLOG WHERE slog_id = 1");
  EXPECT_GE(logged, before);
  EXPECT_LE(logged, after);
  EXPECT_EQ(ColumnTexts("SELECT typeof(msg_date) || typeof(slog_date) FROM SLOG WHERE slog_id = 1"),
            std::vector<std::string>{"realreal"});
  EXPECT_DOUBLE_EQ(JulianDateToDateTime(2460385.0), EncodeDateTime(2024, 3, 15, 12));
}

TEST(TKwSourceLogDBTest, KeepsSubjectsAndIdsOutsideAnyCodePageIntact) {
  TTempHome home;
  TKwSourceLogDB log;
  log.CreateDatabase(kSourceId);
  const std::string subject = "Grüße – Привет 日本 \xF0\x9F\x98\x80 'quoted' \"double\"";
  const std::string id = "Ünïcödé-id";
  log.AddMessage(id, 45000.0, subject);
  EXPECT_TRUE(log.ExistMessageInDB(id));
  EXPECT_EQ(ColumnTexts("SELECT msg_subject || '|' || msg_uniqueid FROM SLOG"),
            std::vector<std::string>{subject + "|" + id});
}

TEST(TKwSourceLogDBTest, AnEmptySourceIdIsAProgrammingError) {
  TTempHome home;
  TKwSourceLogDB log;
  try {
    log.CreateDatabase("");
    FAIL() << "no assertion";
  } catch (const EAssertionFailed& e) {
    EXPECT_EQ(e.Unit(), "Classes/uKwSourceLogDB");
    EXPECT_EQ(e.Line(), 79);
  }
}

// ---- Error paths ----

TEST(TKwSourceLogDBErrorTest, AFileThatIsNotADatabaseBehavesAsEmptyUntilRepaired) {
  TTempHome home;
  const std::string garbage(3000, '\x5A');
  WriteFileText(LogFile(), garbage);
  TKwSourceLogDB log;
  log.CreateDatabase(kSourceId);
  ExpectBehavesAsEmpty(log);
  EXPECT_EQ(ReadFileText(LogFile()), garbage);  // left for the user to look at
  // The next extraction of the same source object starts afresh.
  fs::remove(LogFile());
  log.CreateDatabase(kSourceId);
  EXPECT_FALSE(log.HasError());
  log.AddMessage(kIdA, 45000.0, "s");
  EXPECT_TRUE(log.ExistMessageInDB(kIdA));
}

TEST(TKwSourceLogDBErrorTest, ADatabaseWithoutTheTableOrAFolderInItsPlaceBehavesAsEmpty) {
  TTempHome home;
  {
    TKwSqliteDatabase other;
    ASSERT_TRUE(other.Open(LogFile()));
    ASSERT_TRUE(other.Exec("CREATE TABLE unrelated (x INTEGER)"));
  }
  TKwSourceLogDB log;
  log.CreateDatabase(kSourceId);
  ExpectBehavesAsEmpty(log);
  log.CloseDatabase();
  fs::remove(LogFile());
  fs::create_directories(LogFile());
  log.CreateDatabase(kSourceId);
  ExpectBehavesAsEmpty(log);
}

TEST(TKwSourceLogDBErrorTest, AnEmptyFileLeftByAnInterruptedCreationIsCompleted) {
  TTempHome home;
  WriteFileText(LogFile(), "");
  TKwSourceLogDB log;
  log.CreateDatabase(kSourceId);
  EXPECT_FALSE(log.HasError());
  log.AddMessage(kIdA, 45000.0, "s");
  EXPECT_TRUE(log.ExistMessageInDB(kIdA));
}

TEST(TKwSourceLogDBErrorTest, AnUnreadableFileBehavesAsEmpty) {
  if (geteuid() == 0) GTEST_SKIP() << "root reads every file";
  TTempHome home;
  {
    TKwSourceLogDB log;
    log.CreateDatabase(kSourceId);
    log.AddMessage(kIdA, 45000.0, "s");
  }
  fs::permissions(LogFile(), fs::perms::none);
  TKwSourceLogDB log;
  log.CreateDatabase(kSourceId);
  fs::permissions(LogFile(), fs::perms::owner_read | fs::perms::owner_write);
  ExpectBehavesAsEmpty(log);
}

TEST(TKwSourceLogDBErrorTest, AnUnwritableLogsFolderBehavesAsEmpty) {
  if (geteuid() == 0) GTEST_SKIP() << "root writes anywhere";
  TTempHome home;
  const std::string folder = GetSourceLogsFolder();
  fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
  TKwSourceLogDB log;
  log.CreateDatabase(kSourceId);
  fs::permissions(folder, fs::perms::owner_all);
  ExpectBehavesAsEmpty(log);
}

TEST(TKwSourceLogDBErrorTest, ALogThatBreaksAfterOpeningThrowsOnLookupAndInsert) {
  TTempHome home;
  TKwSourceLogDB log;
  log.CreateDatabase(kSourceId);
  {
    TKwSqliteDatabase other;
    ASSERT_TRUE(other.Open(LogFile()));
    ASSERT_TRUE(other.Exec("DROP TABLE SLOG"));
  }
  EXPECT_THROW(log.ExistMessageInDB(kIdA), EKwSourceLogError);
  EXPECT_THROW(log.AddMessage(kIdA, 45000.0, "s"), EKwSourceLogError);
  // The next extraction finds no table and carries on with an empty log.
  log.CreateDatabase(kSourceId);
  EXPECT_TRUE(log.HasError());
  EXPECT_FALSE(log.ExistMessageInDB(kIdA));
}

// ---- The unique-ids source's folder and walk ----

TEST(TKwSourceUniqueIdsTest, ReadsOneRootFolderHoldingTheIds) {
  TKwFoldersTree tree;
  tree.AddChild(nullptr).Info().FolderName = "old";
  LoadUniqueIdsFolders(tree, {kIdA, kIdB});
  ASSERT_EQ(tree.Count(), 1);
  const TKwFolderInfo& root = tree.Roots()[0]->Info();
  EXPECT_EQ(root.FolderName, "Root");
  EXPECT_EQ(root.UniqueIdList, (TStringList{kIdA, kIdB}));
  EXPECT_EQ(root.MessagesCount, 2);
}

// ---- The SQLite layer under the log ----

TEST(TKwSqliteTest, ATransactionRollsBackUnlessCommitted) {
  TKwSqliteDatabase database;
  ASSERT_TRUE(database.Open(":memory:"));
  ASSERT_TRUE(database.Exec("CREATE TABLE t (i INTEGER, r REAL, s TEXT, n)"));
  TKwSqliteStatement insert(database, "INSERT INTO t VALUES (?,?,?,?)");
  {
    TKwSqliteTransaction transaction(database);
    ASSERT_TRUE(transaction.IsActive());
    ASSERT_TRUE(insert.BindInt64(1, 1) && insert.BindDouble(2, 0.5) && insert.BindText(3, "x") &&
                insert.BindNull(4) && insert.Execute());
    EXPECT_TRUE(database.IsInTransaction());
  }
  EXPECT_FALSE(database.IsInTransaction());
  TKwSqliteStatement count(database, "SELECT count(*) FROM t");
  ASSERT_EQ(count.Step(), TKwSqliteStep::Row);
  EXPECT_EQ(count.ColumnInt(0), 0);
  ASSERT_TRUE(count.Reset());
  {
    TKwSqliteTransaction transaction(database);
    ASSERT_TRUE(insert.BindInt64(1, int64_t{1} << 40) &&
                insert.BindText(3, std::string("a\0b", 3)) && insert.Execute());
    EXPECT_TRUE(transaction.Commit());
  }
  ASSERT_EQ(count.Step(), TKwSqliteStep::Row);
  EXPECT_EQ(count.ColumnInt(0), 1);
  TKwSqliteStatement row(database, "SELECT * FROM t");
  ASSERT_EQ(row.Step(), TKwSqliteStep::Row);
  EXPECT_EQ(row.ColumnInt64(row.ColumnIndex("i")), int64_t{1} << 40);
  EXPECT_EQ(row.ColumnText(2), std::string("a\0b", 3));  // texts keep every byte
  EXPECT_TRUE(row.ColumnIsNull(3));
  EXPECT_EQ(row.ColumnIndex("missing"), -1);
  EXPECT_EQ(row.Step(), TKwSqliteStep::Done);
}

TEST(TKwSqliteTest, FailuresReturnFalseAndKeepSqlitesMessage) {
  TKwSqliteDatabase database;
  TKwSqliteStatement unprepared;
  EXPECT_FALSE(database.Exec("SELECT 1"));
  EXPECT_FALSE(unprepared.BindInt(1, 1));
  EXPECT_EQ(unprepared.LastError(), "statement not prepared");
  EXPECT_EQ(unprepared.Step(), TKwSqliteStep::Error);

  ASSERT_TRUE(database.Open(":memory:"));
  EXPECT_FALSE(database.Exec("SELEKT 1"));
  EXPECT_NE(database.LastError().find("syntax error"), std::string::npos) << database.LastError();
  TKwSqliteStatement bad(database, "SELECT * FROM nowhere");
  EXPECT_FALSE(bad.IsPrepared());
  EXPECT_NE(bad.LastError().find("no such table"), std::string::npos) << bad.LastError();
  TKwSqliteStatement one(database, "SELECT ?");
  EXPECT_FALSE(one.BindInt(2, 1));  // out of range
  EXPECT_FALSE(one.LastError().empty());

  TKwSqliteTransaction outer(database);
  TKwSqliteTransaction nested(database);  // SQLite has no nested BEGIN
  EXPECT_TRUE(outer.IsActive());
  EXPECT_FALSE(nested.IsActive());
  EXPECT_FALSE(nested.Commit());

  TTempDir dir;
  EXPECT_FALSE(database.Open((dir / "missing" / "x.db").string()));
  EXPECT_FALSE(database.IsOpen());
  EXPECT_FALSE(database.Open((dir / "absent.db").string(), TKwSqliteDatabase::omReadWrite));
}

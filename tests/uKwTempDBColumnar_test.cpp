// The scratch table of the columnar exports: its schema, the rows it stores and the CSV
// it writes, read back by a strict RFC 4180 reader.

#include "uKwTempDBColumnar.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "CsvReader.h"
#include "TestSupport.h"
#include "uKwMailMessage.h"
#include "uKwSqlite.h"

namespace fs = std::filesystem;

namespace {

const char* const kMime =
    "From: Ann Example <ann@example.org>\r\n"
    "To: team@example.com\r\n"
    "Subject: Quarterly report\r\n"
    "Date: Mon, 15 Jan 2024 10:00:00 +0000\r\n"
    "X-Priority: 1\r\n"
    "Message-ID: <q1@example.org>\r\n"
    "MIME-Version: 1.0\r\n"
    "Content-Type: multipart/mixed; boundary=\"b\"\r\n"
    "\r\n"
    "--b\r\n"
    "Content-Type: text/plain; charset=UTF-8\r\n"
    "\r\n"
    "Body line\r\n"
    "--b\r\n"
    "Content-Type: text/plain; name=\"a.txt\"\r\n"
    "Content-Disposition: attachment; filename=\"a.txt\"\r\n"
    "\r\n"
    "one\r\n"
    "--b\r\n"
    "Content-Type: text/plain; name=\"b.txt\"\r\n"
    "Content-Disposition: attachment; filename=\"b.txt\"\r\n"
    "\r\n"
    "two\r\n"
    "--b--\r\n";

// The local time zone for the length of a test; restored afterwards.
class TZoneOverride {
 public:
  explicit TZoneOverride(const char* zone) {
    if (const char* old = std::getenv("TZ")) FOld = old;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~TZoneOverride() {
    setenv("TZ", FOld.c_str(), 1);
    tzset();
  }

 private:
  std::string FOld = "UTC";
};

class TempDBTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TKwTempDBColumnar FStore;
  TKwMailMessage FMessage;

  void SetUp() override { ASSERT_TRUE(FMessage.LoadMIMEFromString(kMime)); }
  std::string Scratch() const { return (FHome / "scratch.db3").string(); }

  // name:type pairs of MSG, in column order.
  std::vector<std::string> Schema() {
    TKwSqliteDatabase db;
    EXPECT_TRUE(db.Open(Scratch(), TKwSqliteDatabase::omReadOnly));
    TKwSqliteStatement info(db, "PRAGMA table_info(MSG)");
    std::vector<std::string> columns;
    while (info.Step() == TKwSqliteStep::Row) columns.push_back(info.ColumnText(1) + ":" + info.ColumnText(2));
    return columns;
  }
  std::string CsvText() {
    const fs::path file = FHome / "out.csv";
    FStore.GenerateCSVFile(file.string(), false);
    return ReadFileText(file);
  }
  std::vector<TCsvRecord> Csv() { return ParseCsvStrict(CsvText()); }
};

}  // namespace

TEST(ColumnsStringTest, ReadsTwoDigitCodesInOrderAndIgnoresTheRest) {
  using V = std::vector<TColumnField>;
  EXPECT_EQ(ColumnsStringToColumnList("000208"), (V{cfSubmitDate, cfFromName, cfSubject}));
  EXPECT_EQ(ColumnsStringToColumnList("0800"), (V{cfSubject, cfSubmitDate})) << "the user's order is kept";
  EXPECT_EQ(ColumnsStringToColumnList("08001"), (V{cfSubject, cfSubmitDate})) << "a last odd character";
  EXPECT_EQ(ColumnsStringToColumnList("0830992908"), (V{cfSubject, cfLastSavedFile})) << "30 and above, repeats";
  EXPECT_EQ(ColumnsStringToColumnList("x1-1 8"), V{}) << "pieces that are not numbers";
  EXPECT_EQ(ColumnsStringToColumnList(""), V{});
}

TEST_F(TempDBTest, CreatesTheTableWithColumnsTypedByField) {
  FStore.CreateDatabase(Scratch(), "0800131629");
  EXPECT_EQ(Schema(), (std::vector<std::string>{"msg_id:INTEGER", "Subject:TEXT", "SubmitDate:REAL",
                                                "AttachmentsCount:INTEGER", "Priority:INTEGER",
                                                "LastSavedFilename:TEXT"}));
}

TEST_F(TempDBTest, AnEmptySelectionKeepsMsgIdAloneAndWritesAnEmptyHeaderLine) {
  FStore.CreateDatabase(Scratch(), "");
  EXPECT_EQ(Schema(), std::vector<std::string>{"msg_id:INTEGER"});
  FStore.AddMessageToDB(FMessage, {});
  EXPECT_EQ(CsvText(), "\r\n\r\n") << "an empty header line, then one empty row";
}

TEST_F(TempDBTest, StoresDatesAsLocalJulianDaysAndCountsAsIntegers) {
  TZoneOverride zone("Asia/Tokyo");  // +09:00, no daylight saving
  FStore.CreateDatabase(Scratch(), "0013160801");
  FMessage.Headers->DeliveryDate.GmtDate = 0;  // unknown
  FStore.AddMessageToDB(FMessage, {cfSubmitDate, cfDeliveryDate, cfAttachCount, cfPriority, cfSubject});
  TKwSqliteDatabase db;
  ASSERT_TRUE(db.Open(Scratch()));
  TKwSqliteStatement row(db,
                         "SELECT typeof(SubmitDate), SubmitDate, typeof(AttachmentsCount), AttachmentsCount, "
                         "typeof(Priority), Priority, Subject, DeliveryDate IS NULL FROM MSG");
  ASSERT_EQ(row.Step(), TKwSqliteStep::Row) << row.LastError();
  EXPECT_EQ(row.ColumnText(0), "real");
  // 2024-01-15 19:00 in Tokyo is Julian day 2460325.291666...
  EXPECT_NEAR(row.ColumnDouble(1), 2460325.0 + 19.0 / 24 - 0.5, 1e-6);
  EXPECT_EQ(row.ColumnText(2), "integer");
  EXPECT_EQ(row.ColumnInt(3), 2);
  EXPECT_EQ(row.ColumnText(4), "integer");
  EXPECT_EQ(row.ColumnInt(5), static_cast<int>(mpriHigh));
  EXPECT_EQ(row.ColumnText(6), "Quarterly report");
  EXPECT_EQ(row.ColumnInt(7), 1) << "a missing date is stored as NULL";
}

TEST_F(TempDBTest, CsvHasQuotedNamesInSelectionOrderAndLocalDateText) {
  FStore.CreateDatabase(Scratch(), "0800131615");
  FStore.AddMessageToDB(FMessage, {cfSubject, cfSubmitDate, cfAttachCount, cfPriority, cfAttachComma});
  const std::string text = CsvText();
  EXPECT_EQ(text.substr(0, text.find("\r\n")), R"("Subject","SubmitDate","AttachmentsCount","Priority","AttachmentsComma")");
  auto rows = ParseCsvStrict(text);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[1][0], "Quarterly report");
  EXPECT_EQ(rows[1][1], "01/15/24 10:00:00") << "the C locale's date and time, not a number";
  EXPECT_EQ(rows[1][2], "2");
  EXPECT_EQ(rows[1][3], "3");
  EXPECT_EQ(rows[1][4], FMessage.ColumnFieldToDataString(cfAttachComma));
}

TEST_F(TempDBTest, IsoDatesKeepTheOffsetOfTheMessagesOwnHeader) {
  TZoneOverride zone("Asia/Tokyo");  // the local zone must not show through
  FStore.CreateDatabase(Scratch(), "0008");
  FStore.SetIsoDates(true);
  for (const char* date : {"Tue, 5 Mar 2024 17:45:00 +0530", "Tue, 5 Mar 2024 08:15:00 -0800",
                           "Tue, 5 Mar 2024 12:15:00 +0000", "not a date"}) {
    TKwMailMessage message;
    ASSERT_TRUE(message.LoadMIMEFromString(std::string("Date: ") + date + "\r\nSubject: s\r\n\r\nbody\r\n"));
    FStore.AddMessageToDB(message, {cfSubmitDate, cfSubject});
  }
  const auto rows = Csv();
  ASSERT_EQ(rows.size(), 5u);
  EXPECT_EQ(rows[1][0], "2024-03-05T17:45:00+05:30");
  EXPECT_EQ(rows[2][0], "2024-03-05T08:15:00-08:00");
  EXPECT_EQ(rows[3][0], "2024-03-05T12:15:00+00:00");
  EXPECT_EQ(rows[4][0], "") << "a message without a date keeps an empty cell";
}

TEST_F(TempDBTest, CsvQuotesCommasQuotesAndLineBreaksButNotSemicolons) {
  struct TCase {
    std::string Subject;
    std::string Written;
    const char* Why;
  };
  const TCase cases[] = {
      {"a, b", "\"a, b\"", "comma"},
      {"say \"hi\"", "\"say \"\"hi\"\"\"", "quotes doubled"},
      {"one\ntwo", "\"one\ntwo\"", "line feed"},
      {"one\r\ntwo", "\"one\r\ntwo\"", "CRLF"},
      {"a; b", "a; b", "a semicolon alone stays bare"},
      {"", "", "empty"},
      {"שלום, 世界", "\"שלום, 世界\"", "RTL and CJK pass as UTF-8"},
  };
  FStore.CreateDatabase(Scratch(), "08");
  FStore.OpenSQLDatabase();
  for (const TCase& c : cases) {
    FMessage.Headers->Subject = c.Subject;
    FStore.AddMessageToDB(FMessage, {cfSubject});
  }
  FStore.CloseSQLDatabase();
  const std::string text = CsvText();
  std::string expected = "\"Subject\"\r\n";
  for (const TCase& c : cases) expected += c.Written + "\r\n";
  EXPECT_EQ(text, expected);
  auto rows = ParseCsvStrict(text);
  ASSERT_EQ(rows.size(), std::size(cases) + 1);
  for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(rows[i + 1][0], cases[i].Subject) << cases[i].Why;
}

TEST_F(TempDBTest, AppendingAddsToTheFileAndRewritingReplacesIt) {
  FStore.CreateDatabase(Scratch(), "08");
  FStore.AddMessageToDB(FMessage, {cfSubject});
  const std::string file = (FHome / "out.csv").string();
  FStore.GenerateCSVFile(file, false);
  FStore.GenerateCSVFile(file, true);
  EXPECT_EQ(ParseCsvStrict(ReadFileText(file)).size(), 4u);
  FStore.GenerateCSVFile(file, false);
  EXPECT_EQ(ParseCsvStrict(ReadFileText(file)).size(), 2u);
}

TEST_F(TempDBTest, RowsKeepTheirOrderOverManyTransactions) {
  FStore.CreateDatabase(Scratch(), "08");
  FStore.OpenSQLDatabase();
  for (int i = 0; i < 500; ++i) {
    FMessage.Headers->Subject = "s" + std::to_string(i);
    FStore.AddMessageToDB(FMessage, {cfSubject});
  }
  FStore.CloseSQLDatabase();
  auto rows = Csv();
  ASSERT_EQ(rows.size(), 501u);
  EXPECT_EQ(rows[1][0], "s0");
  EXPECT_EQ(rows[500][0], "s499");
  EXPECT_FALSE(fs::exists(Scratch() + "-journal")) << "the journal is kept in memory";
}

// ---------------------------------------------------------------- errors

TEST_F(TempDBTest, AnUnopenableFileRaisesSqlitesMessage) {
  try {
    FStore.CreateDatabase((FHome / "missing" / "scratch.db3").string(), "08");
    FAIL() << "no exception";
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find("unable to open database file"), std::string::npos) << e.what();
  }
}

TEST_F(TempDBTest, AFieldWithoutAColumnFailsThatRowOnly) {
  FStore.CreateDatabase(Scratch(), "08");
  EXPECT_THROW(FStore.AddMessageToDB(FMessage, {cfSubject, cfFromName}), std::runtime_error);
  FStore.AddMessageToDB(FMessage, {cfSubject});
  EXPECT_EQ(Csv().size(), 2u) << "the failed row left nothing behind";
}

TEST_F(TempDBTest, AccessExportTellsTheEngineIsMissingAndLeavesTheFile) {
  FStore.CreateDatabase(Scratch(), "08");
  WriteFileText(FHome / "old.accdb", "kept");
  std::string error;
  EXPECT_FALSE(FStore.GenerateAccessDb((FHome / "old.accdb").string(), "08", error));
  EXPECT_EQ(error.substr(0, error.find('\n')), "Microsoft Access Database Engine 2010 Redistributable needed.");
  EXPECT_NE(error.find('\n'), std::string::npos) << "followed by where to download it";
  EXPECT_EQ(ReadFileText(FHome / "old.accdb"), "kept");
}

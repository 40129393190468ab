// The collect-data scratch table: its statements, how each variable type is stored, and
// what a value that does not read as its type does to the row.

#include "uKwTempDB.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "uKwDateTime.h"
#include "uKwSqlite.h"

namespace {

class TempDBTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TKwVariablesList FList;
  TKwTempDB FDB;
  std::string FFile = (FHome / "EmailData.db3").string();

  void SetUp() override {
    FList.Add("Flag", cfSubmitDate, vtBoolean, "", true);
    FList.Add("When", cfSubmitDate, vtDateTime, "", true);
    FList.Add("Amount", cfSubmitDate, vtDouble, "", true);
    FList.Add("Count", cfSubmitDate, vtInteger, "", true);
    FList.Add("Hidden", cfSubmitDate, vtString, "", false);
    FList.Add("Note", cfSubmitDate, vtMemo, "", true);
  }
  void Set(const std::vector<std::string>& values) {
    for (size_t i = 0; i < values.size(); ++i) FList.Items(static_cast<int>(i)).Value = values[i];
  }
  std::string Query(const std::string& sql) {
    TKwSqliteDatabase db;
    EXPECT_TRUE(db.Open(FFile, TKwSqliteDatabase::omReadOnly));
    TKwSqliteStatement select(db, sql);
    std::string text;
    while (select.Step() == TKwSqliteStep::Row) {
      for (int c = 0; c < select.ColumnCount(); ++c) text += (c ? "|" : "") + select.ColumnText(c);
      text += "\n";
    }
    return text;
  }
};

}  // namespace

TEST_F(TempDBTest, ColumnsAreTheExportedVariablesTypedByVariableType) {
  const auto columns = ExportedVariables(&FList, nullptr);
  FDB.CreateDatabase(FFile, columns);
  EXPECT_EQ(Query("SELECT sql FROM sqlite_master"),
            "CREATE TABLE \"MSG\" (\"msg_id\" INTEGER NOT NULL,\"Flag\" INTEGER,\"When\" REAL,\"Amount\" REAL,"
            "\"Count\" INTEGER,\"Note\" TEXT,PRIMARY KEY (\"msg_id\"))\n");
  EXPECT_THROW(FDB.CreateTables(columns), std::runtime_error) << "no IF NOT EXISTS";
  FDB.CreateDatabase(FFile, columns);  // deletes the file first
}

TEST_F(TempDBTest, ValuesAreStoredByTypeAndEmptyOnesAsNull) {
  const auto columns = ExportedVariables(&FList, nullptr);
  FDB.CreateDatabase(FFile, columns);
  Set({"True", DateTimeToLocaleString(EncodeDateTime(2024, 3, 5, 14, 7, 9)), "1234.5", "-7", "x", "ünïcödé 漢字"});
  FDB.AddFieldToDB(columns);
  Set({"", "", "", "", "", ""});
  FDB.AddFieldToDB(columns);
  FDB.CloseDatabase();
  EXPECT_EQ(Query("SELECT msg_id, Flag, typeof(\"When\"), abs(\"When\" - 2415018.5 - " +
                  std::to_string(EncodeDateTime(2024, 3, 5, 14, 7, 9)) + ") < 1e-5, Amount, Count, Note FROM MSG"),
            "1|1|real|1|1234.5|-7|ünïcödé 漢字\n2||null||||\n");
  EXPECT_EQ(Query("SELECT count(*) FROM MSG WHERE Flag IS NULL AND Note = ''"), "1\n");
}

TEST_F(TempDBTest, AValueThatIsNotOfItsTypeFailsTheRowAndLeavesNothing) {
  const auto columns = ExportedVariables(&FList, nullptr);
  FDB.CreateDatabase(FFile, columns);
  FDB.OpenDatabase();
  const std::pair<std::vector<std::string>, std::string> bad[] = {
      {{"maybe"}, "The value \"maybe\" of Flag is not a Boolean"},
      {{"", "31/31/2024"}, "The value \"31/31/2024\" of When is not a date and time"},
      {{"", "", "1,5"}, "The value \"1,5\" of Amount is not a number"},
      {{"", "", "", "2.5"}, "The value \"2.5\" of Count is not an integer"},
  };
  for (const auto& [values, message] : bad) {
    Set({"", "", "", "", "", ""});
    Set(values);
    try {
      FDB.AddFieldToDB(columns);
      ADD_FAILURE() << message;
    } catch (const TKwTempDBValueError& e) {
      EXPECT_EQ(e.what(), message);
    }
  }
  Set({"yes", "2024-03-05", "7", "7", "", ""});
  FDB.AddFieldToDB(columns);
  FDB.CloseDatabase();
  EXPECT_EQ(Query("SELECT msg_id FROM MSG"), "1\n") << "the failed rows left no row and no open transaction";
}

TEST_F(TempDBTest, AVariableNamedLikeAnSqlKeywordIsAColumnLikeAnyOther) {
  TKwVariablesList list;
  list.Add("Order", cfSubmitDate, vtString, "A-1", true);
  list.Add("Select", cfSubmitDate, vtInteger, "2", true);
  const auto columns = ExportedVariables(&list, nullptr);
  FDB.CreateDatabase(FFile, columns);
  FDB.AddFieldToDB(columns);
  FDB.CloseDatabase();
  EXPECT_EQ(Query("SELECT \"Order\", \"Select\" FROM MSG"), "A-1|2\n");
}

// A folder of order mails written for the project, run through the data parser, collect
// data and the columnar data export: what each format holds, read back by independent
// readers, and how a bad row or a misplaced child is contained.

#include "uKwTargetMailEmailDataDBCollect.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "CsvReader.h"
#include "TableWriterSupport.h"
#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwParameters.h"
#include "uKwSourceSingleFiles.h"
#include "uKwSqlite.h"
#include "uKwTableCells.h"
#include "uKwTargetMailColumnar.h"
#include "uKwTargetMailEmailDataParser.h"
#include "uKwVariables.h"

namespace fs = std::filesystem;

namespace {

const fs::path kOrders = fs::path(QUILLON_TEST_DATA) / "emaildata";

TKwDataRule& AddRule(TKwTargetMailEmailDataParser& parser, const std::string& name, TVariableType type,
                     TDataExtract extract, const std::string& pattern) {
  TKwDataRule& rule = parser.AddRule();
  rule.Name = name;
  rule.VariableType = type;
  rule.Extract = extract;
  rule.Pattern = pattern;
  return rule;
}

// The five rules that expected.json answers for.
void AddOrderRules(TKwTargetMailEmailDataParser& parser) {
  AddRule(parser, "OrderNumber", vtString, deRegEx,
          R"((?:order number|order no\.|bestellnummer|invoice for order)\s*:?\s*([A-Z]-\d{5}))");
  AddRule(parser, "Amount", vtDouble, deRegEx,
          R"((?:total|gesamtbetrag|amount due|paid)\s*:?[^\d\n]{0,8}(\d[\d.,]*\d))");
  AddRule(parser, "OrderDate", vtDateTime, deRegEx, R"((?:order date|bestelldatum|invoice date)\s*:\s*(.+))");
  AddRule(parser, "Customer", vtString, deAfterLabel, "Name:");
  AddRule(parser, "Tracking", vtString, deBetween, "Tracking code:");
}

struct TExpected {
  std::string OrderNumber, Amount, OrderDate, Customer, Tracking;
};

// expected.json with amounts and dates as the CSV writes them.
std::map<std::string, TExpected> ExpectedRows() {
  const auto json = nlohmann::json::parse(ReadFileText(kOrders / "expected.json"));
  std::map<std::string, TExpected> rows;
  for (const auto& [file, m] : json["messages"].items()) {
    TExpected& e = rows[file];
    e.OrderNumber = m["OrderNumber"];
    e.Amount = m["Amount"].is_null() ? "" : NumberText(m["Amount"].get<double>());
    const std::string date = m["OrderDate"];
    if (!date.empty())
      e.OrderDate = DateTimeToLocaleString(
          EncodeDateTime(std::stoi(date.substr(0, 4)), std::stoi(date.substr(5, 2)), std::stoi(date.substr(8, 2))));
    e.Customer = m["Customer"];
    e.Tracking = m["Tracking"];
  }
  return rows;
}

class EmailDataTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TKwGlobalOptions FGlobal;
  std::unique_ptr<TKwSourceMailSingleFiles> FSource;
  TKwTargetMailEmailDataParser* FParser = nullptr;
  TKwTargetMailEmailDataDBCollect* FCollect = nullptr;

  void SetUp() override {
    fs::create_directories(FHome / "in");
    for (const auto& entry : fs::directory_iterator(kOrders))
      if (entry.path().extension() == ".eml") fs::copy_file(entry.path(), FHome / "in" / entry.path().filename());
    FSource = std::make_unique<TKwSourceMailSingleFiles>();
    FSource->ItemType = stiMailSrcSingleFiles;
    FSource->GlobalOptions = &FGlobal;
    FSource->SourceOptions->Folder = (FHome / "in").string();
    FParser = &static_cast<TKwTargetMailEmailDataParser&>(FSource->GetChild(FSource->AddChild(stiMailPasEmailDataParser)));
    AddOrderRules(*FParser);
    // Of the message parts only the file name, which keys the rows here.
    for (int i = 0; i < TColumnFieldCount; ++i)
      if (i != cfFilename) FParser->EmailPartsNotExported.push_back(GetColumnFieldName(static_cast<TColumnField>(i)));
    FCollect = &static_cast<TKwTargetMailEmailDataDBCollect&>(FParser->GetChild(FParser->AddChild(stiMailPasEmailDataDBCollect)));
  }
  TKwTargetMailColumnarEmailData& Export(TFileFormat format, const std::string& file) {
    auto& target = static_cast<TKwTargetMailColumnarEmailData&>(FCollect->GetChild(FCollect->AddChild(stiMailTarEDataColumnar)));
    target.TargetFormat = format;
    target.TargetFilename = (FHome / file).string();
    return target;
  }
  // Data rows by the message's file name, the header row under "".
  std::map<std::string, TCsvRecord> ReadCsvByFile(const std::string& file) {
    std::map<std::string, TCsvRecord> rows;
    auto records = ParseCsvStrict(ReadFileText(FHome / file));
    for (size_t r = 0; r < records.size(); ++r) {
      const std::string key = r == 0 ? "" : fs::path(records[r].at(0)).filename().string();
      rows[key] = records[r];
    }
    return rows;
  }
  int Errors(TKwActionBase& action) { return action.GetLog().ErrorsCount(); }
};

}  // namespace

// ---------------------------------------------------------------- the values

TEST_F(EmailDataTest, CsvHoldsTheExpectedValuesOfEveryMessage) {
  auto& csv = Export(ffColCsv, "orders.csv");
  FSource->Execute();
  ASSERT_EQ(Errors(*FParser), 0);
  ASSERT_EQ(Errors(*FCollect), 0) << FCollect->GetLog().GetError(0).Error;
  ASSERT_EQ(Errors(csv), 0);
  auto rows = ReadCsvByFile("orders.csv");
  const auto expected = ExpectedRows();
  ASSERT_EQ(rows.size(), expected.size() + 1);
  EXPECT_EQ(rows[""], (TCsvRecord{"SourceFilename", "OrderNumber", "Amount", "OrderDate", "Customer", "Tracking"}));
  for (const auto& [file, e] : expected) {
    SCOPED_TRACE(file);
    EXPECT_EQ(rows[file], (TCsvRecord{rows[file].at(0), e.OrderNumber, e.Amount, e.OrderDate, e.Customer, e.Tracking}));
  }
  EXPECT_EQ(FParser->AllMatched() + FParser->SomeMatched() + FParser->NoneMatched(), 6);
  EXPECT_NE(FParser->GetLog().Notes.back().find("Rules matched"), std::string::npos);
}

TEST_F(EmailDataTest, TheSqliteCopyStoresEachVariableByItsType) {
  Export(ffColSqL3, "orders.db3");
  FSource->Execute();
  TKwSqliteDatabase db;
  ASSERT_TRUE(db.Open((FHome / "orders.db3").string(), TKwSqliteDatabase::omReadOnly));
  TKwSqliteStatement select(
      db, "SELECT typeof(OrderNumber), typeof(Amount), typeof(OrderDate), Amount, OrderDate FROM MSG "
          "WHERE SourceFilename LIKE '%01-order-confirmation.eml'");
  ASSERT_EQ(select.Step(), TKwSqliteStep::Row);
  EXPECT_EQ(select.ColumnText(0), "text");
  EXPECT_EQ(select.ColumnText(1), "real");
  EXPECT_EQ(select.ColumnText(2), "real");
  EXPECT_DOUBLE_EQ(select.ColumnDouble(3), 1234.5);
  EXPECT_DOUBLE_EQ(select.ColumnDouble(4), 2415018.5 + EncodeDateTime(2024, 3, 5)) << "a Julian day";
  TKwSqliteStatement missing(db, "SELECT count(*) FROM MSG WHERE Amount IS NULL AND OrderDate IS NULL");
  ASSERT_EQ(missing.Step(), TKwSqliteStep::Row);
  EXPECT_EQ(missing.ColumnInt(0), 1) << "the shipping notice has neither: NULL, not 0";
}

TEST_F(EmailDataTest, WorkbooksXmlAndHtmlCarryTheSameTable) {
  for (auto [format, file] : {std::pair{ffColXlsx, "orders.xlsx"}, {ffColExcel, "orders.xls"},
                              {ffColXml, "orders.xml"}, {ffColHtml, "orders.html"}})
    Export(format, file);
  FSource->Execute();
  for (int i = 0; i < FCollect->GetChildCount(); ++i) ASSERT_EQ(Errors(FCollect->GetChild(i)), 0) << i;
  EXPECT_EQ(FCollect->GetLog().Processed, 6 + 4) << "the messages, then one for each export written";
  for (const char* file : {"orders.xml", "orders.html"}) {
    const std::string text = ReadFileText(FHome / file);
    for (const char* value : {"OrderNumber", "A-10026", "Françoise Dupont", "Kenji Tanaka 田中", "2345.67"})
      EXPECT_NE(text.find(value), std::string::npos) << file << ": " << value;
  }
  if (!HasPython()) GTEST_SKIP() << "no python3 to read the workbooks";
  for (const char* file : {"orders.xlsx", "orders.xls"}) {
    const nlohmann::json rows = ReadSpreadsheet(FHome / file)["sheets"][0]["rows"];
    ASSERT_EQ(rows.size(), 7u) << file;
    EXPECT_EQ(rows[0][1], nlohmann::json::parse(R"(["s","OrderNumber"])")) << file;
    bool seen = false;
    for (const auto& row : rows) {
      if (row[1] != nlohmann::json::parse(R"(["s","A-10026"])")) continue;
      seen = true;
      EXPECT_EQ(row[2], nlohmann::json::parse(R"(["n",2345.67])")) << file;
      EXPECT_EQ(row[3], nlohmann::json::parse(R"(["d","2024-03-11T00:00:00"])")) << file;
    }
    EXPECT_TRUE(seen) << file;
  }
}

TEST_F(EmailDataTest, PlainTextUsesEachSeparatorAndLeavesOutMemoColumns) {
  FParser->EmailPartsNotExported.erase(std::find(FParser->EmailPartsNotExported.begin(),
                                                 FParser->EmailPartsNotExported.end(), "TextPart"));
  const std::pair<TColumnsFieldDelimiter, std::string> separators[] = {
      {cfdTab, "\t"}, {cfdSemicolon, ";"}, {cfdComma, ","}, {cfdSpace, " "}, {cfdUserDefined, "|"},
      {cfdNone, std::string(1, '\0')}};
  int n = 0;
  for (const auto& [delimiter, text] : separators) {
    auto& target = Export(ffColTxt, "orders" + std::to_string(n++) + ".txt");
    target.FieldDelimiter = delimiter;
    target.OtherFieldDelimiter = "|";
  }
  Export(ffColTxt, "fixed.txt").FieldDelimiter = cdfFixed;
  Export(ffColCsv, "memo.csv");
  FSource->Execute();
  n = 0;
  for (const auto& [delimiter, separator] : separators) {
    const std::string text = ReadFileText(FHome / ("orders" + std::to_string(n++) + ".txt"));
    const std::string header = "SourceFilename" + separator + "OrderNumber" + separator + "Amount" + separator +
                               "OrderDate" + separator + "Customer" + separator + "Tracking";
    EXPECT_EQ(text.substr(0, text.find("\r\n")), header) << "delimiter " << delimiter;
    EXPECT_EQ(text.find("Thank you for your order"), std::string::npos) << "no memo column";
  }
  const std::string fixed = ReadFileText(FHome / "fixed.txt");
  EXPECT_EQ(fixed.find("TextPart"), std::string::npos);
  EXPECT_NE(fixed.find("A-10026"), std::string::npos);
  EXPECT_NE(ReadFileText(FHome / "memo.csv").find("Thank you for your order"), std::string::npos)
      << "the other formats keep memo columns";
}

TEST_F(EmailDataTest, AVariableWithoutTheExportFlagIsNoColumn) {
  FParser->Rules[4]->Export = false;  // Tracking
  Export(ffColCsv, "orders.csv");
  FSource->Execute();
  EXPECT_EQ(ReadCsvByFile("orders.csv")[""], (TCsvRecord{"SourceFilename", "OrderNumber", "Amount", "OrderDate", "Customer"}));
}

TEST_F(EmailDataTest, WithoutRulesEveryMessagePartIsExported) {
  FParser->Rules.clear();
  FParser->EmailPartsNotExported.clear();
  Export(ffColCsv, "parts.csv");
  FSource->Execute();
  auto rows = ReadCsvByFile("parts.csv");
  ASSERT_EQ(rows[""].size(), static_cast<size_t>(TColumnFieldCount));
  EXPECT_EQ(rows[""][0], "SubmitDate");
  EXPECT_EQ(rows[""][8], "Subject");
  EXPECT_EQ(rows.size(), 7u);
}

// ---------------------------------------------------------------- failures

TEST_F(EmailDataTest, ARowThatCannotBeStoredFailsOnlyItsMessage) {
  FParser->Rules[2]->Default = "no date given";  // not a date: the rows without one fail
  auto& csv = Export(ffColCsv, "orders.csv");
  FSource->Execute();
  ASSERT_EQ(Errors(*FCollect), 2);
  EXPECT_NE(FCollect->GetLog().GetError(0).Error.find("\"no date given\" of OrderDate is not a date"), std::string::npos);
  EXPECT_EQ(Errors(csv), 0);
  auto rows = ReadCsvByFile("orders.csv");
  EXPECT_EQ(rows.size(), 5u);
  EXPECT_FALSE(rows.count("04-shipping-notice.eml"));
}

TEST_F(EmailDataTest, AChildOfAnotherKindIsReportedOnceBeforeTheFirstMessage) {
  FCollect->AddChild(stiMailTarMbox);
  Export(ffColCsv, "orders.csv");
  FSource->Execute();
  ASSERT_EQ(Errors(*FCollect), 1);
  EXPECT_EQ(FCollect->GetLog().GetError(0).Description, "Initializing");
  EXPECT_EQ(ReadCsvByFile("orders.csv").size(), 7u) << "the columnar export is written all the same";
}

TEST_F(EmailDataTest, AccessIsReportedAsMissingAndGoogleSheetsWritesNothing) {
  auto& access = Export(ffColAccess, "orders.accdb");
  auto& sheets = Export(ffColGSSheet, "orders.gsheet");
  FSource->Execute();
  ASSERT_EQ(Errors(access), 1);
  EXPECT_EQ(access.GetLog().GetError(0).Error.rfind("Microsoft Access Database Engine 2010 Redistributable needed.\n", 0), 0u);
  EXPECT_FALSE(fs::exists(FHome / "orders.accdb"));
  EXPECT_EQ(Errors(sheets), 0);
  EXPECT_FALSE(fs::exists(FHome / "orders.gsheet"));
}

TEST_F(EmailDataTest, TwoRunsStartFromAnEmptyTableAndTheScratchFileGoesWithTheTarget) {
  Export(ffColCsv, "out/orders.csv");
  FSource->Execute();
  FSource->Execute();
  EXPECT_EQ(ReadCsvByFile("out/orders.csv").size(), 7u);
  const std::string scratch = FCollect->ScratchFilename();
  EXPECT_EQ(fs::path(scratch).filename(), "EmailData.db3");
  EXPECT_TRUE(fs::exists(scratch));
  FSource.reset();
  EXPECT_FALSE(fs::exists(fs::path(scratch).parent_path()));
}

TEST(EmailDataAbortTest, AnAbortedRunWritesNoExport) {
  TTempHome home;
  TKwVariablesList parts, fields;
  TKwTargetMailEmailDataDBCollect collect;
  collect.EmailParts = &parts;
  collect.Fields = &fields;
  auto& csv = static_cast<TKwTargetMailColumnarEmailData&>(collect.GetChild(collect.AddChild(stiMailTarEDataColumnar)));
  csv.TargetFormat = ffColCsv;
  csv.TargetFilename = (home / "orders.csv").string();
  TKwFoldersTree folders;
  collect.InitializeExtractProcess(folders);
  TKwMailMessage message;
  ASSERT_TRUE(message.LoadMIME((kOrders / "01-order-confirmation.eml").string()));
  collect.ProcessMessage(message);
  collect.Abort();
  collect.FinalizeExtractProcess();
  EXPECT_FALSE(fs::exists(home / "orders.csv"));
}

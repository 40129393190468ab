// Runs of an mbox source into email-parts targets: what each format holds, in which
// column order, and what happens to the scratch database.

#include "uKwTargetMailEmailParts.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "CsvReader.h"
#include "TableWriterSupport.h"
#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwFoldersTree.h"
#include "uKwParameters.h"
#include "uKwSourceMbox.h"
#include "uKwSqlite.h"

namespace fs = std::filesystem;

namespace {

struct TMail {
  std::string Id, From, Subject, Body, Attachment;
};

std::string MboxMessage(const TMail& m) {
  std::string text = "From sender@example.org Mon Jan 15 10:00:00 2024\n";
  text += "From: " + m.From + "\nTo: team@example.com, \"Lee, Kim\" <kim@example.com>\n";
  text += "Subject: " + m.Subject + "\nDate: Mon, 15 Jan 2024 10:00:00 +0000\n";
  text += "Message-ID: <" + m.Id + ">\nMIME-Version: 1.0\n";
  if (m.Attachment.empty()) {
    text += "Content-Type: text/plain; charset=UTF-8\nContent-Transfer-Encoding: 8bit\n\n" + m.Body + "\n\n";
    return text;
  }
  text += "Content-Type: multipart/mixed; boundary=\"xx\"\n\n--xx\n";
  text += "Content-Type: text/plain; charset=UTF-8\nContent-Transfer-Encoding: 8bit\n\n" + m.Body + "\n--xx\n";
  text += "Content-Type: application/octet-stream\nContent-Disposition: attachment; filename=\"" + m.Attachment +
          "\"\n\nDATA\n--xx--\n\n";
  return text;
}

// More than 40,000 characters on one line, with what CSV must quote and scripts of
// both directions.
std::string LongBody() {
  std::string line;
  while (line.size() < 120000) line += "Lorem, \"ipsum\"; 中文字符 עברית عربي ";
  return "First line\n" + line + "\nLast line";
}

const TMail kMails[] = {
    {"one@example.org", "\"Ann, the Boss\" <ann@example.org>", "Budget, \"final\"; v2",
     "Line one\nLine two, with a comma", "report, Q1.pdf"},
    {"two@example.org", "דנה כהן <dana@example.co.il>", "שלום עולם — 你好，世界 مرحبا", LongBody(), ""},
    {"three@example.org", "Bob <bob@example.com>", "plain; semicolon", "short", ""},
};

std::string SampleMbox() {
  std::string text;
  for (const TMail& m : kMails) text += MboxMessage(m);
  return text;
}

class EmailPartsTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TKwGlobalOptions FGlobal;
  std::unique_ptr<TKwSourceMailMbox> FSource;
  std::vector<std::pair<std::string, std::string>> FStatuses;

  void SetUp() override {
    WriteFileText(FHome / "in.mbox", SampleMbox());
    FSource = std::make_unique<TKwSourceMailMbox>();
    FSource->ItemType = stiMailSrcMbox;
    FSource->GlobalOptions = &FGlobal;
    FSource->SourceOptions->Filename = (FHome / "in.mbox").string();
    FSource->OnStatus = [this](TKwActionBase&, const std::string& a, const std::string& b) {
      FStatuses.emplace_back(a, b);
    };
  }
  TKwTargetMailEmailParts& Add(TFileFormat format, const std::string& fieldsStr, const std::string& file) {
    auto& target =
        static_cast<TKwTargetMailEmailParts&>(FSource->GetChild(FSource->AddChild(stiMailTarEmailParts)));
    target.TargetFormat = format;
    target.FieldsStr = fieldsStr;
    target.TargetFilename = (FHome / file).string();
    return target;
  }
  std::vector<TCsvRecord> ReadCsv(const std::string& file) { return ParseCsvStrict(ReadFileText(FHome / file)); }
  // The rows of MSG in a SQLite copy, msg_id left out, every value as text.
  std::vector<TCsvRecord> ReadSqlite(const std::string& file) {
    TKwSqliteDatabase db;
    EXPECT_TRUE(db.Open((FHome / file).string(), TKwSqliteDatabase::omReadOnly));
    TKwSqliteStatement select(db, "SELECT * FROM MSG ORDER BY msg_id");
    std::vector<TCsvRecord> rows(1);
    for (int c = 1; c < select.ColumnCount(); ++c) rows[0].push_back(select.ColumnName(c));
    while (select.Step() == TKwSqliteStep::Row) {
      rows.emplace_back();
      for (int c = 1; c < select.ColumnCount(); ++c) rows.back().push_back(select.ColumnText(c));
    }
    return rows;
  }
  int Errors(TKwActionBase& action) { return action.GetLog().ErrorsCount(); }
};

}  // namespace

TEST(EmailPartsFieldsTest, FieldsStrGivesASetWithoutTheUsersOrder) {
  EXPECT_EQ(TKwTargetMailEmailParts::ColumnsStringToColumnsFields("0800"), (TColumnFields{cfSubmitDate, cfSubject}));
  EXPECT_EQ(TKwTargetMailEmailParts::ColumnsStringToColumnsFields("08002"), (TColumnFields{cfSubmitDate, cfSubject}))
      << "the last odd character is ignored";
  EXPECT_TRUE(TKwTargetMailEmailParts::ColumnsStringToColumnsFields("5").empty());
}

TEST(EmailPartsFieldsTest, TheExportQueryListsFieldsInAscendingOrder) {
  TKwTargetMailEmailParts target;
  target.FieldsStr = "081500";
  target.InitializeExtractProcess(*std::make_unique<TKwFoldersTree>());
  target.InitializeExportQuery();
  EXPECT_EQ(target.ExportQuerySql(), "Select SubmitDate, Subject, AttachmentsComma from MSG;");
  target.FinalizeExtractProcess();
}

TEST(EmailPartsFieldsTest, AssignCopiesTheSettingsButNotAppendToFile) {
  TKwTargetMailEmailParts from, to;
  from.FieldsStr = "0800";
  from.FieldDelimiter = cfdSemicolon;
  from.OtherFieldDelimiter = "|";
  from.TargetFilename = "/x/parts.csv";
  from.TargetFormat = ffColCsv;
  from.AppendToFile = true;
  to.Assign(from);
  EXPECT_EQ(to.FieldsStr, "0800");
  EXPECT_EQ(to.FieldDelimiter, cfdSemicolon);
  EXPECT_EQ(to.OtherFieldDelimiter, "|");
  EXPECT_EQ(to.TargetFilename, "/x/parts.csv");
  EXPECT_EQ(to.TargetFormat, ffColCsv);
  EXPECT_FALSE(to.AppendToFile);
}

TEST_F(EmailPartsTest, CsvAndSqliteCopiesHoldEveryValueInFieldsStrOrder) {
  const std::string fields = "080002031510";
  auto& csv = Add(ffColCsv, fields, "parts.csv");
  auto& sqlite = Add(ffColSqL3, fields, "parts.db3");
  FSource->Execute();
  ASSERT_EQ(Errors(csv), 0);
  ASSERT_EQ(Errors(sqlite), 0);
  EXPECT_EQ(csv.GetLog().Saved, 3);
  EXPECT_NE(csv.ScratchFilename(), sqlite.ScratchFilename()) << "two targets never share a scratch file";

  auto rows = ReadCsv("parts.csv");
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows[0], (TCsvRecord{"Subject", "SubmitDate", "FromName", "FromAddress", "AttachmentsComma", "TextPart"}));
  EXPECT_EQ(rows[1][0], kMails[0].Subject);
  EXPECT_EQ(rows[1][1], "01/15/24 10:00:00");
  EXPECT_EQ(rows[1][2], "Ann, the Boss");
  EXPECT_EQ(rows[1][3], "ann@example.org");
  EXPECT_NE(rows[1][4].find("report, Q1.pdf"), std::string::npos);
  EXPECT_EQ(rows[1][5], "Line one\r\nLine two, with a comma");
  EXPECT_EQ(rows[2][0], kMails[1].Subject);
  EXPECT_EQ(rows[2][2], "דנה כהן");
  EXPECT_NE(rows[2][5].find(LongBody().substr(11, 120000)), std::string::npos) << "the long line survives whole";
  EXPECT_EQ(rows[3][0], "plain; semicolon");

  auto stored = ReadSqlite("parts.db3");
  ASSERT_EQ(stored.size(), 4u);
  EXPECT_EQ(stored[0], rows[0]);
  for (size_t r = 1; r < 4; ++r)
    for (size_t c : {0, 2, 3, 4, 5}) EXPECT_EQ(stored[r][c], rows[r][c]) << "row " << r << " column " << c;
}

TEST_F(EmailPartsTest, TheRunReportsExportingAndDeletesItsScratchFileWithTheTarget) {
  auto& target = Add(ffColCsv, "08", "parts.csv");
  FSource->Execute();
  const std::string scratch = target.ScratchFilename();
  EXPECT_EQ(fs::path(scratch).filename(), "EmailParts.db3");
  EXPECT_TRUE(fs::exists(scratch)) << "kept until the target goes";
  EXPECT_NE(std::find(FStatuses.begin(), FStatuses.end(),
                      std::pair<std::string, std::string>("Exporting", "Generating target format ...")),
            FStatuses.end());
  FSource.reset();
  EXPECT_FALSE(fs::exists(scratch));
  EXPECT_FALSE(fs::exists(fs::path(scratch).parent_path()));
}

TEST_F(EmailPartsTest, ASecondRunStartsFromAnEmptyTableAndMissingFoldersAreMade) {
  Add(ffColCsv, "08", "out/table/parts.csv");
  FSource->Execute();
  FSource->Execute();
  EXPECT_EQ(ReadCsv("out/table/parts.csv").size(), 4u);
}

TEST_F(EmailPartsTest, AnEmptySelectionWritesAnEmptyHeaderLine) {
  Add(ffColCsv, "", "parts.csv");
  FSource->Execute();
  EXPECT_EQ(ReadFileText(FHome / "parts.csv"), "\r\n\r\n\r\n\r\n");
}

TEST_F(EmailPartsTest, AFailedSqliteCopyIsLoggedAndTheOtherTargetsFinish) {
  auto& broken = Add(ffColSqL3, "08", "in.mbox/parts.db3");
  auto& csv = Add(ffColCsv, "08", "parts.csv");
  FSource->Execute();
  ASSERT_EQ(Errors(broken), 1);
  EXPECT_EQ(broken.GetLog().Saved, 3) << "every message reached the scratch table";
  EXPECT_EQ(Errors(csv), 0);
  EXPECT_EQ(ReadCsv("parts.csv").size(), 4u);
}

TEST_F(EmailPartsTest, AccessIsReportedAsMissingAndGoogleSheetsWritesNothing) {
  auto& access = Add(ffColAccess, "08", "parts.accdb");
  auto& sheets = Add(ffColGSSheet, "08", "parts.gsheet");
  FSource->Execute();
  ASSERT_EQ(Errors(access), 1);
  EXPECT_EQ(access.GetLog().GetError(0).Error.rfind("Microsoft Access Database Engine 2010 Redistributable needed.\n", 0),
            0u);
  EXPECT_FALSE(fs::exists(FHome / "parts.accdb"));
  EXPECT_EQ(Errors(sheets), 0);
  EXPECT_FALSE(fs::exists(FHome / "parts.gsheet"));
}

TEST_F(EmailPartsTest, AnUnwritableCsvIsLoggedAsAnErrorOfTheAction) {
  auto& target = Add(ffColCsv, "08", "in.mbox/parts.csv");  // under a file: no folder can be made
  FSource->Execute();
  ASSERT_EQ(Errors(target), 1);
  EXPECT_NE(target.GetLog().GetError(0).Error.find("in.mbox"), std::string::npos);
}

TEST_F(EmailPartsTest, PerMessageStatusesFollowTheGlobalOption) {
  FGlobal.DetailedLog = true;
  auto& target = Add(ffColCsv, "08", "parts.csv");
  FSource->Execute();
  ASSERT_EQ(target.GetLog().MessageStatusCount(), 3);
  EXPECT_EQ(target.GetLog().GetMessageStatusList(0).SaveStatus, ssSaved);
  EXPECT_EQ(target.GetSaveStatus(), ssSaved);
}

// ---------------------------------------------------------------- table formats

TEST_F(EmailPartsTest, CsvFollowsTheUsersOrderWhileTableFormatsPutTheDateFirst) {
  Add(ffColCsv, "0800", "parts.csv");
  Add(ffColXml, "0800", "parts.xml");
  Add(ffColHtml, "0800", "parts.html");
  Add(ffColXlsx, "0800", "parts.xlsx");
  Add(ffColExcel, "0800", "parts.xls");
  FSource->Execute();
  for (int i = 0; i < FSource->GetChildCount(); ++i) ASSERT_EQ(Errors(FSource->GetChild(i)), 0) << i;
  EXPECT_EQ(ReadCsv("parts.csv")[0], (TCsvRecord{"Subject", "SubmitDate"}));
  for (const char* file : {"parts.xml", "parts.html"}) {
    const std::string text = ReadFileText(FHome / file);
    ASSERT_NE(text.find("SubmitDate"), std::string::npos) << file;
    EXPECT_LT(text.find("SubmitDate"), text.find("Subject")) << file;
    EXPECT_NE(text.find("שלום עולם"), std::string::npos) << file;
  }
  if (!HasPython()) GTEST_SKIP() << "no python3 to read the workbooks";
  for (const char* file : {"parts.xlsx", "parts.xls"}) {
    const nlohmann::json rows = ReadSpreadsheet(FHome / file)["sheets"][0]["rows"];
    ASSERT_EQ(rows.size(), 4u) << file;
    EXPECT_EQ(rows[0], nlohmann::json::parse(R"([["s","SubmitDate"],["s","Subject"]])")) << file;
    EXPECT_EQ(rows[1][0], nlohmann::json::parse(R"(["d","2024-01-15T10:00:00"])")) << file;
    EXPECT_EQ(rows[2][1][1], kMails[1].Subject) << file;
  }
}

TEST_F(EmailPartsTest, PlainTextNeverHoldsTheHeaderBlockOrTheBodies) {
  auto& target = Add(ffColTxt, "080910110300", "parts.txt");
  target.FieldDelimiter = cfdSemicolon;
  FSource->Execute();
  ASSERT_EQ(Errors(target), 0);
  const std::string text = ReadFileText(FHome / "parts.txt");
  EXPECT_EQ(text.substr(0, text.find("\r\n")), "SubmitDate;FromAddress;Subject");
  for (const char* absent : {"Headers", "TextPart", "HtmlPart", "Line two", "Message-ID", "Lorem"})
    EXPECT_EQ(text.find(absent), std::string::npos) << absent;
  EXPECT_NE(text.find("ann@example.org"), std::string::npos);
}

TEST_F(EmailPartsTest, AWorkbookCellCutAtItsLimitIsNotedInTheLog) {
  auto& target = Add(ffColXlsx, "0810", "parts.xlsx");
  FSource->Execute();
  ASSERT_EQ(Errors(target), 0);
  EXPECT_FALSE(target.GetLog().Notes.empty()) << "the long body does not fit one cell";
}

// The xls and xlsx table writers, read back by independent readers (xlrd and openpyxl, run
// as a Python program).

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "TableWriterSupport.h"
#include "TestSupport.h"
#include "uKwDateTime.h"
#include "uKwTableWriter.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

const std::vector<TFileFormat> kSpreadsheets = {ffColXlsx, ffColExcel};

const char* Extension(TFileFormat format) { return format == ffColXlsx ? ".xlsx" : ".xls"; }

json Text(const std::string& text) { return json::array({"s", text}); }
json Number(double number) { return json::array({"n", number}); }
json Date(const std::string& iso) { return json::array({"d", iso}); }
json Boolean(bool value) { return json::array({"b", value}); }

class TKwTableWriterSpreadsheetTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!HasPython()) {
      GTEST_SKIP() << "python3 is not installed: no reader for the workbooks";
    }
  }

  // Writes rows in format and reads the workbook back. An xls file must also be well built
  // where the reader is lenient.
  json WriteAndRead(TFileFormat format, TKwTableRows& rows, TKwTableWriteResult* result = nullptr) {
    const fs::path file = FDir / (std::string("table") + Extension(format));
    const TKwTableWriteResult written = WriteTableFile(format, file.string(), rows);
    EXPECT_TRUE(written.Written);
    if (result != nullptr) *result = written;
    if (format == ffColExcel) {
      EXPECT_EQ(BiffProblems(file), json::array());
    }
    return ReadSpreadsheet(file)["sheets"];
  }

  TTempDir FDir;
};

std::string Repeat(std::string_view piece, size_t times) {
  std::string text;
  for (size_t i = 0; i < times; ++i) text += piece;
  return text;
}

}  // namespace

TEST_F(TKwTableWriterSpreadsheetTest, ValuesKeepTheirTypes) {
  const std::vector<TKwTableColumn> columns = {
      {"Subject", TKwColumnKind::Text}, {"Date", TKwColumnKind::DateTime}, {"Count", TKwColumnKind::Integer},
      {"Ratio", TKwColumnKind::Float},  {"Flag", TKwColumnKind::Boolean},  {"Empty", TKwColumnKind::Text}};
  const std::vector<TKwTableRow> data = {
      {std::string("hello"), EncodeDateTime(2024, 3, 5, 14, 7, 9), int64_t{42}, 0.25, int64_t{1}, {}},
      {std::string("x"), EncodeDateTime(1900, 1, 15), int64_t{-7}, 1e300, int64_t{0}, std::string()},
      {std::string("big"), EncodeDateTime(1850, 6, 1), int64_t{9007199254740993}, std::nan(""), {},
       std::string("y")},
  };
  for (const TFileFormat format : kSpreadsheets) {
    SCOPED_TRACE(Extension(format));
    TVectorRows rows(columns, data);
    TKwTableWriteResult result;
    const json sheets = WriteAndRead(format, rows, &result);
    EXPECT_EQ(result.Rows, 3);
    EXPECT_TRUE(result.Warnings.empty());
    ASSERT_EQ(sheets.size(), 1u);
    const json& cells = sheets[0]["rows"];
    ASSERT_EQ(cells.size(), 4u);
    EXPECT_EQ(cells[0], json::array({Text("Subject"), Text("Date"), Text("Count"), Text("Ratio"), Text("Flag"),
                                     Text("Empty")}));
    EXPECT_EQ(cells[1], json::array({Text("hello"), Date("2024-03-05T14:07:09"), Number(42), Number(0.25),
                                     Boolean(true), nullptr}));
    // Before March 1900 Excel's serial numbers are one day off the TDateTime.
    EXPECT_EQ(cells[2], json::array({Text("x"), Date("1900-01-15T00:00:00"), Number(-7), Number(1e300), Boolean(false), nullptr}));
    EXPECT_EQ(cells[3], json::array({Text("big"), Text("1850-06-01T00:00:00"), Number(9007199254740992.0),
                                     Text("NaN"), nullptr, Text("y")}));
  }
}

TEST_F(TKwTableWriterSpreadsheetTest, AwkwardTextsSurviveAndBadBytesAreRepaired) {
  std::vector<TKwTableRow> data;
  for (const TAwkwardText& awkward : AwkwardTexts())
    if (!awkward.Text.empty()) data.push_back({awkward.Text});
  data.push_back({std::string("bad\xff\xfe bytes")});
  data.push_back({std::string("bell\x07 and\x01 esc\x1b")});
  for (const TFileFormat format : kSpreadsheets) {
    SCOPED_TRACE(Extension(format));
    TVectorRows rows({{"Text \xd7\xa9", TKwColumnKind::Text}}, data);
    const json cells = WriteAndRead(format, rows)[0]["rows"];
    ASSERT_EQ(cells.size(), data.size() + 1);
    EXPECT_EQ(cells[0][0], Text("Text \xd7\xa9"));
    for (size_t i = 0; i + 2 < data.size(); ++i)
      EXPECT_EQ(cells[i + 1][0], Text(std::get<std::string>(data[i][0])));
    EXPECT_EQ(cells[data.size() - 1][0], Text("bad\xef\xbf\xbd\xef\xbf\xbd bytes"));
    // The workbook's XML cannot hold control characters; the older format can.
    EXPECT_EQ(cells[data.size()][0],
              Text(format == ffColXlsx ? "bell and esc" : "bell\x07 and\x01 esc\x1b"));
  }
}

TEST_F(TKwTableWriterSpreadsheetTest, LongTextsAreCutAtTheCellLimitWithAWarning) {
  const std::vector<std::string> texts = {
      std::string(40000, 'A'),
      Repeat("\xe6\xbc\xa2", 40000),                              // CJK: 40,000 UTF-16 units
      std::string(32766, 'a') + "\xf0\x9f\x98\x80" + "b",        // a pair that would straddle the limit
      std::string(32767, 'z'),                                   // exactly at the limit: kept whole
  };
  const std::vector<std::string> expected = {std::string(32767, 'A'), Repeat("\xe6\xbc\xa2", 32767),
                                             std::string(32766, 'a'), std::string(32767, 'z')};
  for (const TFileFormat format : kSpreadsheets) {
    SCOPED_TRACE(Extension(format));
    std::vector<TKwTableRow> data;
    for (const std::string& text : texts) data.push_back({int64_t{1}, text});
    TVectorRows rows({{"N", TKwColumnKind::Integer}, {"Body", TKwColumnKind::Text}}, data);
    TKwTableWriteResult result;
    const json cells = WriteAndRead(format, rows, &result)[0]["rows"];
    ASSERT_EQ(cells.size(), 5u);
    for (size_t i = 0; i < expected.size(); ++i)
      EXPECT_TRUE(cells[i + 1][1] == Text(expected[i])) << "row " << i + 1;
    ASSERT_EQ(result.Warnings.size(), 3u);
    EXPECT_EQ(result.Warnings[0], "Row 1, column \"Body\": text of 40000 characters cut to 32767");
    EXPECT_EQ(result.Warnings[2], "Row 3, column \"Body\": text of 32769 characters cut to 32767");
  }
}

// Many strings of every length, narrow and wide, so that strings start and split at every
// kind of place in the shared string table's records.
TEST_F(TKwTableWriterSpreadsheetTest, ManyStringsOfEveryLengthReadBackInOrder) {
  std::vector<TKwTableRow> data;
  for (int i = 0; i < 400; ++i) {
    const size_t length = static_cast<size_t>(i * 37) % 3000;
    data.push_back({i % 3 == 0 ? Repeat("\xd0\x96", length) : std::string(length, static_cast<char>('a' + i % 26)),
                    int64_t{i}});
  }
  for (const TFileFormat format : kSpreadsheets) {
    SCOPED_TRACE(Extension(format));
    TVectorRows rows({{"Text", TKwColumnKind::Text}, {"I", TKwColumnKind::Integer}}, data);
    const json cells = WriteAndRead(format, rows)[0]["rows"];
    ASSERT_EQ(cells.size(), data.size() + 1);
    for (size_t i = 0; i < data.size(); ++i) {
      const std::string& text = std::get<std::string>(data[i][0]);
      EXPECT_TRUE(cells[i + 1][0] == (text.empty() ? json(nullptr) : Text(text))) << "row " << i + 1;
      EXPECT_EQ(cells[i + 1][1], Number(static_cast<double>(i)));
    }
  }
}

TEST_F(TKwTableWriterSpreadsheetTest, EmptyTablesAndTablesWithoutColumnsAreReadable) {
  for (const TFileFormat format : kSpreadsheets) {
    SCOPED_TRACE(Extension(format));
    TVectorRows empty({{"Why", TKwColumnKind::Text}, {"Value", TKwColumnKind::Integer}}, {});
    const json sheets = WriteAndRead(format, empty);
    ASSERT_EQ(sheets.size(), 1u);
    EXPECT_EQ(sheets[0]["rows"], json::array({json::array({Text("Why"), Text("Value")})}));
    TVectorRows noColumns({}, {{}, {}, {}});
    TKwTableWriteResult result;
    const json bare = WriteAndRead(format, noColumns, &result);
    EXPECT_EQ(result.Rows, 3);
    ASSERT_EQ(bare.size(), 1u);
    for (const json& row : bare[0]["rows"]) EXPECT_TRUE(row.empty());
  }
}

TEST_F(TKwTableWriterSpreadsheetTest, XlsRowsBeyondASheetContinueOnTheNextWithTheHeaderAgain) {
  TCountingRows rows(70000);
  TKwTableWriteResult result;
  const json sheets = WriteAndRead(ffColExcel, rows, &result);
  EXPECT_EQ(result.Rows, 70000);
  ASSERT_EQ(result.Warnings.size(), 1u);
  EXPECT_EQ(result.Warnings[0], "70000 rows do not fit on one sheet: written on 2 sheets");
  ASSERT_EQ(sheets.size(), 2u);
  EXPECT_EQ(sheets[0]["name"], "Sheet1");
  EXPECT_EQ(sheets[1]["name"], "Sheet2");
  const json& first = sheets[0]["rows"];
  const json& second = sheets[1]["rows"];
  ASSERT_EQ(first.size(), 65536u);
  ASSERT_EQ(second.size(), 70000u - 65535u + 1u);
  EXPECT_EQ(second[0], first[0]);
  EXPECT_EQ(first[0], json::array({Text("Number"), Text("Label")}));
  int64_t expected = 0;
  for (const json* sheet : {&first, &second})
    for (size_t i = 1; i < sheet->size(); ++i, ++expected)
      ASSERT_EQ((*sheet)[i], json::array({Number(static_cast<double>(expected)),
                                          Text("row " + std::to_string(expected))}));
}

TEST_F(TKwTableWriterSpreadsheetTest, XlsColumnsBeyondTheLimitAreLeftOutWithAWarning) {
  std::vector<TKwTableColumn> columns;
  TKwTableRow row;
  for (int i = 0; i < 300; ++i) {
    columns.push_back({"C" + std::to_string(i), TKwColumnKind::Integer});
    row.push_back(int64_t{i});
  }
  TVectorRows rows(columns, {row});
  TKwTableWriteResult result;
  const json cells = WriteAndRead(ffColExcel, rows, &result)[0]["rows"];
  ASSERT_EQ(cells.size(), 2u);
  EXPECT_EQ(cells[1].size(), 256u);
  EXPECT_EQ(cells[1][255], Number(255));
  EXPECT_EQ(result.Warnings, std::vector<std::string>{"Only the first 256 of 300 columns are written"});
}

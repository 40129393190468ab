#include "uKwTableWriter.h"

#include <gtest/gtest.h>
#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "TableWriterSupport.h"
#include "TestSupport.h"
#include "uKwDateTime.h"
#include "uKwSqlite.h"

namespace fs = std::filesystem;

namespace {

const std::string kInvalidUtf8 = "bad\xff\xfe bytes \xc3";
const std::string kInvalidRepaired = "bad\xef\xbf\xbd\xef\xbf\xbd bytes \xef\xbf\xbd";
const std::string kControls = std::string("bell\x07 nul") + std::string(1, '\0') + "\x01 esc\x1b";
const std::string kControlsDropped = "bell nul esc";

std::vector<TKwTableColumn> TextColumns() {
  return {{"Why", TKwColumnKind::Text}, {"Value", TKwColumnKind::Text}};
}

// One row per awkward text, in the table's order.
TVectorRows AwkwardRows() {
  std::vector<TKwTableRow> rows;
  for (const TAwkwardText& awkward : AwkwardTexts()) rows.push_back({std::string(awkward.Why), awkward.Text});
  return TVectorRows(TextColumns(), rows);
}

std::vector<std::string> FileLines(const fs::path& file) {
  const std::string text = ReadFileText(file);
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2)
    lines.push_back(text.substr(start, end - start));
  EXPECT_EQ(start, text.size()) << "the file ends with an unterminated line";
  return lines;
}

// Separated text read back as its rules say: quoted fields may hold anything, quotes doubled.
std::vector<std::vector<std::string>> ParseSeparated(const std::string& text, const std::string& separator) {
  std::vector<std::vector<std::string>> records(1);
  std::string field;
  bool quoted = false, wasQuoted = false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (quoted) {
      if (text[i] == '"' && i + 1 < text.size() && text[i + 1] == '"') {
        field += '"';
        ++i;
      } else if (text[i] == '"') {
        quoted = false;
      } else {
        field += text[i];
      }
    } else if (text[i] == '"' && field.empty() && !wasQuoted) {
      quoted = wasQuoted = true;
    } else if (text.compare(i, separator.size(), separator) == 0) {
      records.back().push_back(field);
      field.clear();
      wasQuoted = false;
      i += separator.size() - 1;
    } else if (text.compare(i, 2, "\r\n") == 0) {
      records.back().push_back(field);
      records.emplace_back();
      field.clear();
      wasQuoted = false;
      ++i;
    } else {
      field += text[i];
    }
  }
  records.pop_back();  // after the last line end
  return records;
}

struct TXmlDocFree {
  void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
using TXmlDoc = std::unique_ptr<xmlDoc, TXmlDocFree>;

std::string NodeText(xmlNode* node) {
  xmlChar* content = xmlNodeGetContent(node);
  std::string text = content != nullptr ? reinterpret_cast<const char*>(content) : "";
  xmlFree(content);
  return text;
}

std::string NodeName(xmlNode* node) { return reinterpret_cast<const char*>(node->name); }

std::vector<xmlNode*> Elements(xmlNode* parent) {
  std::vector<xmlNode*> elements;
  for (xmlNode* child = parent->children; child != nullptr; child = child->next)
    if (child->type == XML_ELEMENT_NODE) elements.push_back(child);
  return elements;
}

// Every element of the given name under node, in document order.
void FindAll(xmlNode* node, const char* name, std::vector<xmlNode*>& found) {
  for (xmlNode* child = node; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE && NodeName(child) == name) found.push_back(child);
    FindAll(child->children, name, found);
  }
}

// A table cell's text as a browser shows it: <br> is a line break.
std::string HtmlCellText(xmlNode* cell) {
  std::string text;
  for (xmlNode* child = cell->children; child != nullptr; child = child->next)
    text += child->type == XML_ELEMENT_NODE && NodeName(child) == "br" ? "\n" : NodeText(child);
  return text;
}

TXmlDoc ReadXml(const fs::path& file) {
  return TXmlDoc(xmlReadFile(file.c_str(), nullptr, XML_PARSE_NONET));
}

TXmlDoc ReadHtml(const fs::path& file) {
  return TXmlDoc(htmlReadFile(file.c_str(), nullptr, HTML_PARSE_NONET | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING));
}

std::vector<fs::path> FilesIn(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) files.push_back(entry.path().filename());
  return files;
}

}  // namespace

// ---- Rows of a scratch database ----

TEST(TKwSqliteTableRowsTest, ReadsValuesByColumnKindInQueryOrder) {
  TTempDir dir;
  TKwSqliteDatabase database;
  ASSERT_TRUE(database.Open((dir / "scratch.db3").string()));
  ASSERT_TRUE(database.Exec(
      "CREATE TABLE MSG (msg_id INTEGER NOT NULL PRIMARY KEY, d REAL, n INTEGER, f REAL, b INTEGER, t TEXT);"
      "INSERT INTO MSG (d, n, f, b, t) VALUES (2460375.088125, 42, 1.5, 1, 'first');"
      "INSERT INTO MSG (d, n, f, b, t) VALUES (NULL, NULL, 7, 0, 'x''y');"
      "INSERT INTO MSG (d, n, f, b, t) VALUES ('not a date', 9223372036854775807, NULL, NULL, 5);"));
  TKwSqliteTableRows rows(database, "Select d, n, f, b, t from MSG;",
                          {{"d", TKwColumnKind::DateTime}, {"n", TKwColumnKind::Integer},
                           {"f", TKwColumnKind::Float}, {"b", TKwColumnKind::Boolean}, {"t", TKwColumnKind::Text}});
  TKwTableRow row;
  ASSERT_TRUE(rows.Next(row));
  // Julian day 2460375.088125 is 2024-03-05 14:06:54 of the TDateTime scale.
  EXPECT_NEAR(std::get<double>(row[0]), EncodeDateTime(2024, 3, 5, 14, 6, 54), 1e-8);
  EXPECT_EQ(std::get<int64_t>(row[1]), 42);
  EXPECT_EQ(std::get<double>(row[2]), 1.5);
  EXPECT_EQ(std::get<int64_t>(row[3]), 1);
  EXPECT_EQ(std::get<std::string>(row[4]), "first");
  ASSERT_TRUE(rows.Next(row));
  EXPECT_TRUE(std::holds_alternative<std::monostate>(row[0]));
  EXPECT_TRUE(std::holds_alternative<std::monostate>(row[1]));
  EXPECT_EQ(std::get<double>(row[2]), 7.0) << "an integer stored in a float column reads as a float";
  EXPECT_EQ(std::get<int64_t>(row[3]), 0);
  EXPECT_EQ(std::get<std::string>(row[4]), "x'y");
  ASSERT_TRUE(rows.Next(row));
  EXPECT_EQ(std::get<std::string>(row[0]), "not a date") << "text stays text whatever the column";
  EXPECT_EQ(std::get<int64_t>(row[1]), INT64_MAX);
  EXPECT_EQ(std::get<std::string>(row[4]), "5") << "a number in a text column reads as its text";
  EXPECT_FALSE(rows.Next(row));
}

TEST(TKwSqliteTableRowsTest, ABadQueryThrowsSqlitesMessage) {
  TKwSqliteDatabase database;
  ASSERT_TRUE(database.Open(":memory:"));
  try {
    TKwSqliteTableRows rows(database, "Select Subject from MSG;", {});
    FAIL() << "no exception";
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find("no such table: MSG"), std::string::npos) << e.what();
  }
}

TEST(TKwSqliteTableRowsTest, MoreColumnsThanTheQueryGivesReadAsNull) {
  TKwSqliteDatabase database;
  ASSERT_TRUE(database.Open(":memory:"));
  TKwSqliteTableRows rows(database, "Select 1;", {{"a", TKwColumnKind::Integer}, {"b", TKwColumnKind::Text}});
  TKwTableRow row;
  ASSERT_TRUE(rows.Next(row));
  ASSERT_EQ(row.size(), 2u);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(row[1]));
}

// ---- Plain text ----

TEST(TKwTableWriterTextTest, SeparatedTextReadsBackWithEverySeparator) {
  struct TCase {
    TColumnsFieldDelimiter Delimiter;
    std::string Other, Separator;
  };
  const std::vector<TCase> cases = {
      {cfdTab, "", "\t"},   {cfdSemicolon, "", ";"}, {cfdComma, "", ","},
      {cfdSpace, "", " "},  {cfdUserDefined, "|", "|"},
      {cfdUserDefined, "\xc2\xa7", "\xc2\xa7"},            // a separator of two bytes
      {cfdUserDefined, "", std::string(1, '\0')},          // unset reads as code 0
      {cfdNone, "", std::string(1, '\0')},
  };
  TTempDir dir;
  for (const TCase& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.Delimiter));
    TVectorRows rows = AwkwardRows();
    const fs::path file = dir / "table.txt";
    const auto result = WriteTableFile(ffColTxt, file.string(), rows, {c.Delimiter, c.Other});
    EXPECT_TRUE(result.Written);
    EXPECT_EQ(result.Rows, static_cast<int64_t>(AwkwardTexts().size()));
    const auto records = ParseSeparated(ReadFileText(file), c.Separator);
    ASSERT_EQ(records.size(), AwkwardTexts().size() + 1);
    EXPECT_EQ(records[0], (std::vector<std::string>{"Why", "Value"}));
    for (size_t i = 0; i < AwkwardTexts().size(); ++i)
      EXPECT_EQ(records[i + 1], (std::vector<std::string>{AwkwardTexts()[i].Why, AwkwardTexts()[i].Text}));
  }
}

TEST(TKwTableWriterTextTest, ValuesWithoutSpecialCharactersAreWrittenBareAndBytesKept) {
  TTempDir dir;
  TVectorRows rows({{"A", TKwColumnKind::Text}, {"B", TKwColumnKind::Integer}, {"C", TKwColumnKind::Boolean},
                    {"D", TKwColumnKind::Float}, {"E", TKwColumnKind::DateTime}},
                   {{std::string("semi;colon"), int64_t{-5}, int64_t{1}, 0.1, EncodeDateTime(2024, 3, 5, 14, 7, 9)},
                    {kInvalidUtf8, {}, int64_t{0}, 1e300, {}}});
  WriteTableFile(ffColTxt, (dir / "t.txt").string(), rows, {cfdTab, ""});
  const auto lines = FileLines(dir / "t.txt");
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "A\tB\tC\tD\tE");
  EXPECT_EQ(lines[1], "semi;colon\t-5\tTrue\t0.1\t" + DateTimeToLocaleString(EncodeDateTime(2024, 3, 5, 14, 7, 9)));
  EXPECT_EQ(lines[2], kInvalidUtf8 + "\t\tFalse\t1e+300\t") << "plain text keeps the bytes it was given";
}

TEST(TKwTableWriterTextTest, IsoDatesCarryAnOffsetAndDatesStoredAsTextPassThrough) {
  TTempDir dir;
  const char* old = std::getenv("TZ");
  setenv("TZ", "Asia/Kolkata", 1);  // +05:30
  tzset();
  const TDateTime local = EncodeDateTime(2024, 3, 5, 17, 45);
  const std::vector<TKwTableRow> data{{local, std::string("2024-03-05T08:15:00-08:00")}, {{}, {}}};
  const std::vector<TKwTableColumn> columns{{"Local", TKwColumnKind::DateTime}, {"Stored", TKwColumnKind::DateTime}};
  TVectorRows iso(columns, data), fixed(columns, data), byDefault(columns, data);
  WriteTableFile(ffColTxt, (dir / "iso.txt").string(), iso, {cfdComma, "", TKwDateText::IsoWithOffset});
  WriteTableFile(ffColTxt, (dir / "fixed.txt").string(), fixed, {cdfFixed, "", TKwDateText::IsoWithOffset});
  WriteTableFile(ffColTxt, (dir / "default.txt").string(), byDefault, {cfdComma, ""});
  const std::string localText = DateTimeToLocaleString(local);
  if (old) setenv("TZ", old, 1); else unsetenv("TZ");
  tzset();
  EXPECT_EQ(FileLines(dir / "iso.txt"),
            (std::vector<std::string>{"Local,Stored", "2024-03-05T17:45:00+05:30,2024-03-05T08:15:00-08:00", ","}));
  EXPECT_EQ(FileLines(dir / "fixed.txt")[1], "2024-03-05T17:45:00+05:302024-03-05T08:15:00-08:00");
  EXPECT_EQ(FileLines(dir / "default.txt")[1], localText + ",2024-03-05T08:15:00-08:00")
      << "the locale's form by default";
}

TEST(TKwTableWriterTextTest, FixedWidthPadsEveryColumnToItsWidestValueInCharacters) {
  TTempDir dir;
  TVectorRows rows({{"Name", TKwColumnKind::Text}, {"N", TKwColumnKind::Integer}, {"Last", TKwColumnKind::Text}},
                   {{std::string("\xe4\xbd\xa0\xe5\xa5\xbd"), int64_t{12345}, std::string("x")},
                    {std::string("two\r\nlines"), {}, std::string("\"q\"")},
                    {std::string("a"), int64_t{1}, {}}});
  const auto result = WriteTableFile(ffColTxt, (dir / "f.txt").string(), rows, {cdfFixed, ""});
  EXPECT_EQ(result.Rows, 3);
  const auto lines = FileLines(dir / "f.txt");
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0], "Name     N    Last");
  EXPECT_EQ(lines[1], "\xe4\xbd\xa0\xe5\xa5\xbd       12345x   ");
  EXPECT_EQ(lines[2], "two lines     \"q\" ") << "line breaks become spaces, quotes stay bare";
  EXPECT_EQ(lines[3], "a        1        ");
}

// ---- XML ----

TEST(TKwTableWriterXmlTest, EveryTextComesBackThroughAnXmlParser) {
  TTempDir dir;
  TVectorRows rows = AwkwardRows();
  const fs::path file = dir / "t.xml";
  EXPECT_TRUE(WriteTableFile(ffColXml, file.string(), rows).Written);
  TXmlDoc doc = ReadXml(file);
  ASSERT_TRUE(doc) << "not well-formed";
  xmlNode* root = xmlDocGetRootElement(doc.get());
  const auto records = Elements(root);
  ASSERT_EQ(records.size(), AwkwardTexts().size());
  for (size_t i = 0; i < records.size(); ++i) {
    const auto cells = Elements(records[i]);
    ASSERT_EQ(cells.size(), 2u);
    EXPECT_EQ(NodeName(cells[0]), "Why");
    EXPECT_EQ(NodeText(cells[1]), AwkwardTexts()[i].Text) << AwkwardTexts()[i].Why;
  }
}

TEST(TKwTableWriterXmlTest, BadBytesAreRepairedForbiddenCharactersDroppedAndNamesMadeValid) {
  TTempDir dir;
  const std::string longText(40000, 'L');
  TVectorRows rows({{"1st col", TKwColumnKind::Text}, {"a:b<&>", TKwColumnKind::Text}, {"xmlish", TKwColumnKind::Text},
                    {"", TKwColumnKind::Text}, {"Date", TKwColumnKind::DateTime}, {"Flag", TKwColumnKind::Boolean},
                    {"\xd7\xa9\xd7\x9d", TKwColumnKind::Text}},
                   {{kInvalidUtf8, kControls, longText, {}, EncodeDateTime(2024, 3, 5, 14, 7, 9), int64_t{1},
                     std::string("rtl")}});
  const fs::path file = dir / "t.xml";
  WriteTableFile(ffColXml, file.string(), rows);
  TXmlDoc doc = ReadXml(file);
  ASSERT_TRUE(doc) << ReadFileText(file).substr(0, 500);
  const auto records = Elements(xmlDocGetRootElement(doc.get()));
  ASSERT_EQ(records.size(), 1u);
  const auto cells = Elements(records[0]);
  ASSERT_EQ(cells.size(), 7u);
  const std::vector<std::string> names = {"_1st_col", "a_b___", "_xmlish", "_", "Date", "Flag", "\xd7\xa9\xd7\x9d"};
  const std::vector<std::string> kept = {"1st col", "a:b<&>", "xmlish", "", "", "", ""};
  for (size_t i = 0; i < cells.size(); ++i) {
    EXPECT_EQ(NodeName(cells[i]), names[i]);
    xmlChar* original = xmlGetProp(cells[i], BAD_CAST "name");
    EXPECT_EQ(original != nullptr ? reinterpret_cast<const char*>(original) : "", kept[i]) << names[i];
    xmlFree(original);
  }
  EXPECT_EQ(NodeText(cells[0]), kInvalidRepaired);
  EXPECT_EQ(NodeText(cells[1]), kControlsDropped);
  EXPECT_EQ(NodeText(cells[2]), longText);
  EXPECT_EQ(cells[3]->children, nullptr) << "NULL is an empty element";
  EXPECT_EQ(NodeText(cells[4]), "2024-03-05T14:07:09");
  EXPECT_EQ(NodeText(cells[5]), "True");
}

// ---- HTML ----

TEST(TKwTableWriterHtmlTest, APageWithOneTableShowsTheValuesAndTheirLineBreaks) {
  TTempDir dir;
  std::vector<TKwTableRow> data;
  for (const TAwkwardText& awkward : AwkwardTexts()) data.push_back({std::string(awkward.Why), awkward.Text});
  data.push_back({std::string("repaired"), kInvalidUtf8 + kControls});
  TVectorRows rows({{"Why <col>", TKwColumnKind::Text}, {"Value & more", TKwColumnKind::Text}}, data);
  const fs::path file = dir / "page.html";
  WriteTableFile(ffColHtml, file.string(), rows);
  const std::string text = ReadFileText(file);
  EXPECT_EQ(text.rfind("<!DOCTYPE html>", 0), 0u);
  EXPECT_NE(text.find("<meta charset=\"utf-8\">"), std::string::npos);
  TXmlDoc doc = ReadHtml(file);
  ASSERT_TRUE(doc);
  std::vector<xmlNode*> tables, headers, cells;
  FindAll(xmlDocGetRootElement(doc.get()), "table", tables);
  FindAll(xmlDocGetRootElement(doc.get()), "th", headers);
  FindAll(xmlDocGetRootElement(doc.get()), "td", cells);
  EXPECT_EQ(tables.size(), 1u);
  ASSERT_EQ(headers.size(), 2u);
  EXPECT_EQ(NodeText(headers[0]), "Why <col>");
  EXPECT_EQ(NodeText(headers[1]), "Value & more");
  ASSERT_EQ(cells.size(), 2 * data.size());
  for (size_t i = 0; i < AwkwardTexts().size(); ++i) {
    std::string expected = AwkwardTexts()[i].Text;
    if (i == 1) expected = "one\ntwo\nthree\nfour";  // each kind of line break is one <br>
    EXPECT_EQ(HtmlCellText(cells[2 * i + 1]), expected) << AwkwardTexts()[i].Why;
  }
  EXPECT_EQ(HtmlCellText(cells.back()), kInvalidRepaired + kControlsDropped);
}

// ---- Every format ----

TEST(TKwTableWriterTest, AnEmptyTableHasItsHeaderAndATableWithoutColumnsStillWrites) {
  TTempDir dir;
  for (const TFileFormat format : {ffColTxt, ffColXml, ffColHtml, ffColXlsx, ffColExcel}) {
    SCOPED_TRACE(static_cast<int>(format));
    TVectorRows empty(TextColumns(), {});
    const fs::path file = dir / "empty";
    const auto result = WriteTableFile(format, file.string(), empty);
    EXPECT_TRUE(result.Written);
    EXPECT_EQ(result.Rows, 0);
    EXPECT_GT(fs::file_size(file), 0u);
    TVectorRows noColumns({}, {{}, {}});
    EXPECT_EQ(WriteTableFile(format, (dir / "none").string(), noColumns).Rows, 2);
  }
  TVectorRows empty(TextColumns(), {});
  WriteTableFile(ffColTxt, (dir / "empty.txt").string(), empty);
  EXPECT_EQ(FileLines(dir / "empty.txt"), std::vector<std::string>{"Why\tValue"});
  TVectorRows noColumns({}, {{}, {}});
  WriteTableFile(ffColTxt, (dir / "none.txt").string(), noColumns);
  EXPECT_EQ(FileLines(dir / "none.txt"), (std::vector<std::string>{"", "", ""}));
  TVectorRows noColumnsXml({}, {{}});
  WriteTableFile(ffColXml, (dir / "none.xml").string(), noColumnsXml);
  EXPECT_TRUE(ReadXml(dir / "none.xml"));
}

TEST(TKwTableWriterTest, RowsShorterOrLongerThanTheColumnsAreWrittenToTheColumns) {
  TTempDir dir;
  TVectorRows rows(TextColumns(), {{std::string("only one")}, {}, {std::string("a"), std::string("b"), std::string("c")}});
  WriteTableFile(ffColTxt, (dir / "t.txt").string(), rows, {cfdComma, ""});
  EXPECT_EQ(FileLines(dir / "t.txt"), (std::vector<std::string>{"Why,Value", "only one,", ",", "a,b"}));
}

TEST(TKwTableWriterTest, FormatsWithoutATableWriterWriteNothing) {
  TTempDir dir;
  for (const TFileFormat format : {ffColCsv, ffColSqL3, ffColAccess, ffColGSSheet, ffSfEml}) {
    TVectorRows rows = AwkwardRows();
    const auto result = WriteTableFile(format, (dir / "x").string(), rows);
    EXPECT_FALSE(result.Written);
    EXPECT_EQ(result.Rows, 0);
  }
  EXPECT_TRUE(fs::is_empty(dir.Path()));
}

TEST(TKwTableWriterTest, AnExistingFileIsReplaced) {
  TTempDir dir;
  WriteFileText(dir / "t.xml", std::string(100000, 'x'));
  TVectorRows rows = AwkwardRows();
  WriteTableFile(ffColXml, (dir / "t.xml").string(), rows);
  EXPECT_TRUE(ReadXml(dir / "t.xml"));
  EXPECT_EQ(FilesIn(dir.Path()), std::vector<fs::path>{"t.xml"});
}

// ---- Errors ----

TEST(TKwTableWriterTest, AMissingFolderGivesAnErrorNamingTheFile) {
  TTempDir dir;
  const std::string file = (dir / "missing" / "t.xlsx").string();
  for (const TFileFormat format : {ffColTxt, ffColXml, ffColHtml, ffColXlsx, ffColExcel}) {
    TVectorRows rows = AwkwardRows();
    try {
      WriteTableFile(format, file, rows);
      ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
      EXPECT_NE(std::string(e.what()).find("Cannot write \"" + file + "\""), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find("No such file or directory"), std::string::npos) << e.what();
    }
  }
  EXPECT_TRUE(fs::is_empty(dir.Path()));
}

TEST(TKwTableWriterTest, AReadOnlyFolderGivesAnErrorAndLeavesNothing) {
  TTempDir dir;
  fs::create_directory(dir / "locked");
  fs::permissions(dir / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  if (access((dir / "locked").c_str(), W_OK) == 0) {
    fs::permissions(dir / "locked", fs::perms::owner_all);
    GTEST_SKIP() << "running with rights that ignore folder permissions";
  }
  for (const TFileFormat format : {ffColTxt, ffColXlsx, ffColExcel}) {
    TVectorRows rows = AwkwardRows();
    EXPECT_THROW(WriteTableFile(format, (dir / "locked" / "t").string(), rows), std::runtime_error);
  }
  EXPECT_TRUE(fs::is_empty(dir / "locked"));
  fs::permissions(dir / "locked", fs::perms::owner_all);
}

TEST(TKwTableWriterTest, RowsThatFailMidwayLeaveTheOldFileAndNoPartialOne) {
  TTempDir dir;
  for (const TFileFormat format : {ffColTxt, ffColXml, ffColHtml, ffColXlsx, ffColExcel}) {
    SCOPED_TRACE(static_cast<int>(format));
    WriteFileText(dir / "t", "old contents");
    TVectorRows rows = AwkwardRows();
    rows.FailAfter = 3;
    try {
      WriteTableFile(format, (dir / "t").string(), rows, {cdfFixed, ""});
      ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
      EXPECT_NE(std::string(e.what()).find("disk I/O error"), std::string::npos) << e.what();
    }
    EXPECT_EQ(ReadFileText(dir / "t"), "old contents");
    EXPECT_EQ(FilesIn(dir.Path()), std::vector<fs::path>{"t"});
  }
}

TEST(TKwTableWriterTest, AFolderInPlaceOfTheFileIsAnError) {
  TTempDir dir;
  fs::create_directory(dir / "t.txt");
  TVectorRows rows = AwkwardRows();
  EXPECT_THROW(WriteTableFile(ffColTxt, (dir / "t.txt").string(), rows), std::runtime_error);
  EXPECT_EQ(FilesIn(dir.Path()), std::vector<fs::path>{"t.txt"});
}

#pragma once
// Shared by the table writers' suites: rows held in memory, the awkward texts every format
// must carry, and the reader of spreadsheets run as a separate Python program.

#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "uKwTableWriter.h"

// A table in memory; Next hands out the rows in order. FailAfter makes Next throw once that
// many rows have been handed out, as a database that breaks in the middle would.
class TVectorRows : public TKwTableRows {
 public:
  TVectorRows(std::vector<TKwTableColumn> columns, std::vector<TKwTableRow> rows)
      : FColumns(std::move(columns)), FRows(std::move(rows)) {}
  const std::vector<TKwTableColumn>& Columns() const override { return FColumns; }
  bool Next(TKwTableRow& row) override {
    if (FailAfter >= 0 && FNext == static_cast<size_t>(FailAfter))
      throw std::runtime_error("disk I/O error");
    if (FNext >= FRows.size()) return false;
    row = FRows[FNext++];
    return true;
  }
  int FailAfter = -1;

 private:
  std::vector<TKwTableColumn> FColumns;
  std::vector<TKwTableRow> FRows;
  size_t FNext = 0;
};

// Rows generated on the fly, for tables too long to keep: row i has its number in column 0
// and "row <i>" in column 1.
class TCountingRows : public TKwTableRows {
 public:
  explicit TCountingRows(int64_t count) : FCount(count) {}
  const std::vector<TKwTableColumn>& Columns() const override { return FColumns; }
  bool Next(TKwTableRow& row) override {
    if (FNext >= FCount) return false;
    row = {FNext, "row " + std::to_string(FNext)};
    ++FNext;
    return true;
  }

 private:
  std::vector<TKwTableColumn> FColumns{{"Number", TKwColumnKind::Integer}, {"Label", TKwColumnKind::Text}};
  int64_t FCount;
  int64_t FNext = 0;
};

// Texts that break careless writers, each with why.
struct TAwkwardText {
  const char* Why;
  std::string Text;
};

inline std::vector<TAwkwardText> AwkwardTexts() {
  return {
      {"comma and quotes", "Smith, \"Jr\", 'x'"},
      {"line breaks of three kinds", "one\r\ntwo\nthree\rfour"},
      {"separators of every kind", "a\tb;c d|e"},
      {"markup characters", "<b>&amp; \"x\" </b>"},
      {"Hebrew", "\xd7\xa9\xd7\x9c\xd7\x95\xd7\x9d \xd7\xa2\xd7\x95\xd7\x9c\xd7\x9d"},
      {"Arabic", "\xd9\x85\xd8\xb1\xd8\xad\xd8\xa8\xd8\xa7 \xd8\xa8\xd8\xa7\xd9\x84\xd8\xb9\xd8\xa7\xd9\x84\xd9\x85"},
      {"CJK", "\xe4\xbd\xa0\xe5\xa5\xbd\xef\xbc\x8c\xe4\xb8\x96\xe7\x95\x8c \xe3\x81\x93\xe3\x82\x93\xe3\x81\xab\xe3\x81\xa1\xe3\x81\xaf"},
      {"outside the BMP", "\xf0\x9f\x98\x80 grin"},
      {"Latin-1 letters", "caf\xc3\xa9 na\xc3\xafve"},
      {"empty", ""},
  };
}

// Debian's readers (python3-openpyxl, python3-xlrd) live with Debian's interpreter, which a
// python3 earlier on PATH (a pyenv, a virtual environment) would not see.
inline std::string PythonProgram() {
  return std::filesystem::exists("/usr/bin/python3") ? "/usr/bin/python3" : "python3";
}

// The cells of a workbook as {"sheets": [{"name", "rows"}]} (see tests/dump_spreadsheet.py).
// Empty when python3 is not there, so the caller can skip.
inline nlohmann::json ReadSpreadsheet(const std::filesystem::path& file, const std::string& option = "") {
  const std::string script = std::string(QUILLON_SOURCE_DIR) + "/tests/dump_spreadsheet.py";
  const std::string command = PythonProgram() + " '" + script + "' " + option + " '" + file.string() + "' 2>&1";
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  if (!pipe) throw std::runtime_error("cannot run python3");
  std::string output;
  char buffer[1 << 16];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe.get())) > 0;) output.append(buffer, n);
  const int status = pclose(pipe.release());
  if (status != 0) throw std::runtime_error("reader failed: " + output.substr(0, 2000));
  return nlohmann::json::parse(output);
}

// What is wrong in the record structure of an xls file (none: an empty array).
inline nlohmann::json BiffProblems(const std::filesystem::path& file) {
  return ReadSpreadsheet(file, "--biff-problems")["problems"];
}

inline bool HasPython() { return std::system((PythonProgram() + " --version >/dev/null 2>&1").c_str()) == 0; }

#include "uKwIPToCountry.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "uKwSqlite.h"
#include "uKwSubs.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kDBName = "ipcountry.db3";
constexpr std::string_view kCSVName = "IpToCountry.csv";
constexpr std::string_view kCreateTable =
    "CREATE TABLE \"IPCOUNTRY\" (\"IPFROM\" INTEGER,\"IPTO\" INTEGER,\"REGISTRY\" TEXT,"
    "\"ASSIGNED\" INTEGER,\"CTRY\" TEXT,\"CNTRY\" TEXT,\"COUNTRY\" TEXT,"
    "PRIMARY KEY (\"IPFROM\", \"IPTO\"));";
constexpr std::string_view kInsert =
    "INSERT INTO IPCOUNTRY (IPFROM,IPTO,REGISTRY,ASSIGNED,CTRY,CNTRY,COUNTRY) "
    "VALUES (?,?,?,?,?,?,?)";
constexpr std::string_view kSelect = "SELECT * FROM IPCOUNTRY WHERE (IPFROM <= ?) and (IPTO >= ?)";
constexpr std::string_view kReservedCountry = "ZZZ";
constexpr int kCSVColumnCount = 7;

std::string_view TrimBlanks(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool ParseInt64(std::string_view text, int64_t& value) {
  text = TrimBlanks(text);
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  return ec == std::errc() && end == text.data() + text.size() && !text.empty();
}

// One CSV line into its values: a value in double quotes runs to its closing quote (""
// inside stands for one quote) and may hold ","; other values run to the next ",".
std::vector<std::string> SplitCSVLine(std::string_view line) {
  std::vector<std::string> values;
  size_t pos = 0;
  while (true) {
    std::string value;
    while (pos < line.size() && line[pos] == ' ') ++pos;
    if (pos < line.size() && line[pos] == '"') {
      for (++pos; pos < line.size(); ++pos) {
        if (line[pos] != '"') {
          value += line[pos];
        } else if (pos + 1 < line.size() && line[pos + 1] == '"') {
          value += '"';
          ++pos;
        } else {
          ++pos;
          break;
        }
      }
      pos = std::min(line.find(',', pos), line.size());
    } else {
      const size_t comma = std::min(line.find(',', pos), line.size());
      value = TrimBlanks(line.substr(pos, comma - pos));
      pos = comma;
    }
    values.push_back(std::move(value));
    if (pos >= line.size()) return values;
    ++pos;  // the ","
  }
}

bool IsSkippedLine(std::string_view line) {
  const std::string_view trimmed = TrimBlanks(line);
  return trimmed.empty() || trimmed.front() == '#';
}

bool FileExists(const std::string& fileName) {
  std::error_code ec;
  return fs::is_regular_file(fileName, ec);
}

}  // namespace

std::string GetUserDocumentsFolder() {
  if (const char* documents = std::getenv("XDG_DOCUMENTS_DIR"); documents && *documents)
    return IncludeTrailingPathDelimiter(documents);
  const char* home = std::getenv("HOME");
  return IncludeTrailingPathDelimiter(std::string(home ? home : "") + "/Documents");
}

TKwIPToCountry::TKwIPToCountry(std::string_view dataFolder)
    : TKwIPToCountry(dataFolder, GetUserDocumentsFolder()) {}

TKwIPToCountry::TKwIPToCountry(std::string_view dataFolder, std::string_view documentsFolder)
    : FDatabase(std::make_unique<TKwSqliteDatabase>()),
      FDBFilename(IncludeTrailingPathDelimiter(dataFolder) + std::string(kDBName)),
      FCSVFilename(IncludeTrailingPathDelimiter(dataFolder) + std::string(kCSVName)) {
  PrepareDatabase(documentsFolder);
}

TKwIPToCountry::~TKwIPToCountry() = default;

void TKwIPToCountry::PrepareDatabase(std::string_view documentsFolder) {
  const std::string droppedCSV =
      IncludeTrailingPathDelimiter(documentsFolder) + std::string(kCSVName);
  std::error_code ec;
  if (!FileExists(FDBFilename) && !documentsFolder.empty() && FileExists(droppedCSV) &&
      fs::copy_file(droppedCSV, FCSVFilename, fs::copy_options::overwrite_existing, ec))
    fs::remove(droppedCSV, ec);
  if (!FileExists(FCSVFilename)) return;
  GenerateDBFromCSVFile();
  CloseDB();
  fs::remove(FCSVFilename, ec);
}

bool TKwIPToCountry::Fail(std::string_view context) {
  FLastError = std::string(context) + ": " + FDatabase->LastError();
  return false;
}

bool TKwIPToCountry::OpenDB() {
  return FDatabase->Open(FDBFilename, TKwSqliteDatabase::omReadWrite) || Fail("open");
}

void TKwIPToCountry::CloseDB() { FDatabase->Close(); }

bool TKwIPToCountry::CreateDB() {
  CloseDB();
  std::error_code ec;
  fs::remove(FDBFilename, ec);
  if (!FDatabase->Open(FDBFilename)) return Fail("create");
  return FDatabase->Exec(kCreateTable) || Fail("create table");
}

bool TKwIPToCountry::GenerateDBFromCSVFile() {
  FImportedRowCount = 0;
  std::ifstream input(FCSVFilename, std::ios::binary);
  if (!input) {
    FLastError = "cannot read " + FCSVFilename;
    return false;
  }
  return CreateDB() && ImportCSVLines(input);
}

bool TKwIPToCountry::ImportCSVLines(std::istream& input) {
  TKwSqliteStatement insert(*FDatabase, kInsert);
  if (!insert.IsPrepared()) return Fail("prepare insert");
  TKwSqliteTransaction transaction(*FDatabase);
  if (!transaction.IsActive()) return Fail("begin");
  int imported = 0;
  std::string line;
  for (bool first = true; std::getline(input, line); first = false) {
    if (first && line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (IsSkippedLine(line)) continue;
    const std::vector<std::string> values = SplitCSVLine(line);
    int64_t from = 0, to = 0, assigned = 0;
    if (values.size() < kCSVColumnCount || !ParseInt64(values[0], from) ||
        !ParseInt64(values[1], to))
      continue;
    ParseInt64(values[3], assigned);  // a missing date is stored as 0
    insert.BindInt64(1, from);
    insert.BindInt64(2, to);
    insert.BindText(3, values[2]);
    insert.BindInt64(4, assigned);
    for (int column = 4; column < kCSVColumnCount; ++column)
      insert.BindText(column + 1, values[column]);
    // A range listed twice breaks the key: that line is left out, the import goes on.
    if (insert.Execute()) ++imported;
  }
  if (!transaction.Commit()) return Fail("commit");
  FImportedRowCount = imported;
  return true;
}

bool TKwIPToCountry::GetCountry(std::string_view ip, std::string& countryCode,
                                std::string& countryName) {
  countryCode.clear();
  countryName.clear();
  const int64_t number = IpAddressToInt(ip);
  if (number == 0 || !FileExists(FDBFilename)) return false;
  if (!OpenDB()) return false;
  {
    TKwSqliteStatement select(*FDatabase, kSelect);
    if (select.IsPrepared() && select.BindInt64(1, number) && select.BindInt64(2, number)) {
      const TKwSqliteStep step = select.Step();
      if (step == TKwSqliteStep::Row) {
        countryCode = select.ColumnText(select.ColumnIndex("CNTRY"));
        countryName = select.ColumnText(select.ColumnIndex("COUNTRY"));
      } else if (step == TKwSqliteStep::Error) {
        FLastError = "lookup: " + select.LastError();
      }
    } else {
      FLastError = "lookup: " + select.LastError();
    }
  }
  if (countryCode == kReservedCountry) {
    countryCode.clear();
    countryName.clear();
  }
  CloseDB();
  return !countryName.empty();
}

int64_t TKwIPToCountry::IpAddressToInt(std::string_view ip) {
  ip = TrimBlanks(ip);
  int64_t result = 0;
  for (int part = 0; part < 4; ++part) {
    const size_t dot = part < 3 ? ip.find('.') : ip.size();
    if (dot == std::string_view::npos || dot == 0 || dot > 3) return 0;
    int value = 0;
    for (char digit : ip.substr(0, dot)) {
      if (digit < '0' || digit > '9') return 0;
      value = value * 10 + (digit - '0');
    }
    if (value > 255) return 0;
    result = result * 256 + value;
    ip.remove_prefix(part < 3 ? dot + 1 : dot);
  }
  return result;
}

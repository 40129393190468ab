#include "uKwTempDB.h"

#include <time.h>

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "uKwDateTime.h"
#include "uKwSourceLogDB.h"
#include "uKwSqlite.h"

namespace {

// The scratch file is ours alone and a new run recreates it: see TKwTempDBColumnar.
constexpr std::string_view kScratchPragmas =
    "PRAGMA synchronous=OFF; PRAGMA journal_mode=MEMORY; PRAGMA locking_mode=EXCLUSIVE";

[[noreturn]] void Raise(std::string_view context, const std::string& error) {
  throw std::runtime_error(std::string(context) + ": " + error);
}

const char* SqlType(TVariableType type) {
  switch (type) {
    case vtBoolean:
    case vtInteger: return "INTEGER";
    case vtDateTime:
    case vtDouble: return "REAL";
    default: return "TEXT";
  }
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

bool EqualsAscii(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  return true;
}

// strptime over the whole text: trailing blanks allowed, nothing else.
bool ParseWhole(const std::string& text, const char* format, struct tm& t) {
  t = {};
  const char* end = strptime(text.c_str(), format, &t);
  if (!end) return false;
  while (*end == ' ') ++end;
  return *end == '\0';
}

[[noreturn]] void RaiseValue(const TKwVariable& variable, std::string_view typeName) {
  throw TKwTempDBValueError("The value \"" + variable.Value + "\" of " + variable.Name + " is not " +
                            std::string(typeName));
}

bool BindVariable(TKwSqliteStatement& insert, int index, const TKwVariable& variable) {
  const std::string_view text = Trimmed(variable.Value);
  if (variable.VariableType == vtString || variable.VariableType == vtMemo)
    return insert.BindText(index, variable.Value);
  if (text.empty()) return insert.BindNull(index);
  switch (variable.VariableType) {
    case vtBoolean: {
      bool value = false;
      if (!TextToBoolean(text, value)) RaiseValue(variable, "a Boolean");
      return insert.BindInt(index, value ? 1 : 0);
    }
    case vtInteger: {
      int64_t value = 0;
      if (!TextToInteger(text, value)) RaiseValue(variable, "an integer");
      return insert.BindInt64(index, value);
    }
    case vtDouble: {
      double value = 0;
      if (!TextToDouble(text, value)) RaiseValue(variable, "a number");
      return insert.BindDouble(index, value);
    }
    default: {
      TDateTime value = 0;
      if (!TextToDateTime(text, value)) RaiseValue(variable, "a date and time");
      return insert.BindDouble(index, DateTimeToJulianDate(value));
    }
  }
}

}  // namespace

std::vector<const TKwVariable*> ExportedVariables(const TKwVariablesList* first, const TKwVariablesList* second) {
  std::vector<const TKwVariable*> exported;
  for (const TKwVariablesList* list : {first, second}) {
    if (!list) continue;
    for (int i = 0; i < list->Count(); ++i)
      if (list->Items(i).Export) exported.push_back(&list->Items(i));
  }
  return exported;
}

// ---------------------------------------------------------------- readings

bool TextToBoolean(std::string_view text, bool& value) {
  text = Trimmed(text);
  for (std::string_view yes : {"true", "yes", "1", "on"})
    if (EqualsAscii(text, yes)) return value = true;
  for (std::string_view no : {"false", "no", "0", "off"})
    if (EqualsAscii(text, no)) return !(value = false);
  return false;
}

bool TextToInteger(std::string_view text, int64_t& value) {
  text = Trimmed(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return false;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

bool TextToDouble(std::string_view text, double& value) {
  text = Trimmed(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return false;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

bool TextToDateTime(std::string_view text, TDateTime& value) {
  const std::string whole(Trimmed(text));
  if (whole.empty()) return false;
  static const char* const kFormats[] = {"%x %X", "%x", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S",
                                         "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M", "%Y-%m-%d"};
  struct tm t {};
  for (const char* format : kFormats) {
    if (!ParseWhole(whole, format, t)) continue;
    TKwDateParts parts{t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, 0};
    if (TryEncodeDateTime(parts, value)) return true;
  }
  return false;
}

// ---------------------------------------------------------------- TKwTempDB

TKwTempDB::TKwTempDB() : FDatabase(std::make_unique<TKwSqliteDatabase>()) {}

TKwTempDB::~TKwTempDB() { CloseDatabase(); }

void TKwTempDB::CreateDatabase(const std::string& fileName, const std::vector<const TKwVariable*>& variables) {
  CloseDatabase();
  FFileName = fileName;
  std::error_code ec;
  std::filesystem::remove(fileName, ec);
  if (ec) Raise("Deleting " + fileName, ec.message());
  CreateTables(variables);
}

void TKwTempDB::CreateTables(const std::vector<const TKwVariable*>& variables) {
  std::string columns;
  for (const TKwVariable* variable : variables)
    columns += "\"" + variable->Name + "\" " + SqlType(variable->VariableType) + ",";
  const bool opened = !IsOpen();
  if (opened) OpenDatabase();
  const bool created =
      FDatabase->Exec("CREATE TABLE \"MSG\" (\"msg_id\" INTEGER NOT NULL," + columns + "PRIMARY KEY (\"msg_id\"));");
  const std::string error = created ? "" : FDatabase->LastError();
  if (opened) CloseDatabase();
  if (!created) Raise("Creating the table MSG", error);
}

void TKwTempDB::OpenDatabase() {
  CloseDatabase();
  if (!FDatabase->Open(FFileName) || !FDatabase->Exec(kScratchPragmas)) {
    const std::string error = FDatabase->LastError();
    FDatabase->Close();
    Raise("Opening " + FFileName, error);
  }
}

void TKwTempDB::CloseDatabase() {
  FInsert.reset();
  FDatabase->Close();
}

bool TKwTempDB::IsOpen() const { return FDatabase->IsOpen(); }

TKwSqliteStatement& TKwTempDB::InsertStatement(const std::vector<const TKwVariable*>& variables) {
  if (FInsert && FInsertNames.size() == variables.size()) {
    bool same = true;
    for (size_t i = 0; same && i < variables.size(); ++i) same = FInsertNames[i] == variables[i]->Name;
    if (same) return *FInsert;
  }
  std::string names, values;
  for (const TKwVariable* variable : variables) {
    names += (names.empty() ? "\"" : ", \"") + variable->Name + "\"";
    values += "?,";
  }
  if (!values.empty()) values.pop_back();
  // Without columns only msg_id gets a value.
  const std::string sql = variables.empty() ? "INSERT INTO MSG DEFAULT VALUES"
                                            : "INSERT INTO MSG (" + names + ") VALUES (" + values + ")";
  auto insert = std::make_unique<TKwSqliteStatement>(*FDatabase, sql);
  if (!insert->IsPrepared()) Raise("Preparing the row", insert->LastError());
  FInsert = std::move(insert);
  FInsertNames.clear();
  for (const TKwVariable* variable : variables) FInsertNames.push_back(variable->Name);
  return *FInsert;
}

void TKwTempDB::AddFieldToDB(const std::vector<const TKwVariable*>& variables) {
  if (!IsOpen()) OpenDatabase();
  TKwSqliteStatement& insert = InsertStatement(variables);
  // A value that fails to bind leaves the transaction to the destructor's rollback.
  TKwSqliteTransaction transaction(*FDatabase);
  if (!transaction.IsActive()) Raise("Adding the row", FDatabase->LastError());
  insert.ClearBindings();
  int index = 1;
  for (const TKwVariable* variable : variables)
    if (!BindVariable(insert, index++, *variable)) Raise("Adding the row", insert.LastError());
  const bool stepped = insert.Execute();
  insert.ClearBindings();
  if (!stepped) Raise("Adding the row", insert.LastError());
  if (!transaction.Commit()) Raise("Adding the row", transaction.LastError());
}

#include "uKwDbSession.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <regex>
#include <stdexcept>

#include <soci/soci.h>

#include "uKwDateTime.h"

namespace {

TKwDbColumnKind KindOf(soci::data_type type) {
  switch (type) {
    case soci::dt_date: return TKwDbColumnKind::Date;
    case soci::dt_double: return TKwDbColumnKind::Real;
    case soci::dt_integer:
    case soci::dt_long_long:
    case soci::dt_unsigned_long_long: return TKwDbColumnKind::Integer;
    default: return TKwDbColumnKind::Text;
  }
}

// Statements of a script, split at semicolons that stand outside quotes; blank ones dropped.
std::vector<std::string> SplitScript(const std::string& script) {
  std::vector<std::string> statements;
  std::string current;
  char quote = 0;
  for (char c : script) {
    if (quote) {
      if (c == quote) quote = 0;
    } else if (c == '\'' || c == '"' || c == '`') {
      quote = c;
    } else if (c == ';') {
      statements.push_back(std::exchange(current, {}));
      continue;
    }
    current.push_back(c);
  }
  statements.push_back(current);
  std::erase_if(statements, [](const std::string& s) {
    return s.find_first_not_of(" \t\r\n") == std::string::npos;
  });
  return statements;
}

// "2024-01-15 10:00:00", "2024-01-15T10:00:00" or "2024-01-15".
bool ParseIsoDate(const std::string& text, std::tm& tm) {
  tm = {};
  int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
  const int n = std::sscanf(text.c_str(), "%4d-%2d-%2d%*[ T]%2d:%2d:%2d", &y, &mo, &d, &h, &mi, &s);
  if (n != 3 && n < 5) return false;
  tm.tm_year = y - 1900;
  tm.tm_mon = mo - 1;
  tm.tm_mday = d;
  tm.tm_hour = h;
  tm.tm_min = mi;
  tm.tm_sec = s;
  return true;
}

std::string IsoText(const std::tm& tm) {
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &tm);
  return text;
}

std::string IsoText(TDateTime date) { return IsoText(DateTimeToTm(date)); }

// The storage a bound parameter refers to for the life of the prepared statements. Every
// value travels as text in the form its column's type reads back (numbers with a dot, dates
// as "YYYY-MM-DD HH:MM:SS"), which every back end converts on its side; an empty value of
// a typed column is NULL.
struct TBoundValue {
  TKwDbColumnKind Kind = TKwDbColumnKind::Text;
  std::string Text;
  soci::indicator Indicator = soci::i_ok;

  void Set(const TKwDbValue& value) {
    Indicator = soci::i_ok;
    Text = value.Text;
    if (Kind == TKwDbColumnKind::Text) return;
    if (Kind == TKwDbColumnKind::Date && value.Date != 0) {
      Text = IsoText(value.Date);
      return;
    }
    if (value.Text.find_first_not_of(" \t") == std::string::npos) {
      Indicator = soci::i_null;
      return;
    }
    if (Kind == TKwDbColumnKind::Date) {
      std::tm tm{};
      if (!ParseIsoDate(value.Text, tm)) throw std::runtime_error("\"" + value.Text + "\" is not a date");
      Text = IsoText(tm);
      return;
    }
    std::replace(Text.begin(), Text.end(), ',', '.');
    char* end = nullptr;
    std::strtod(Text.c_str(), &end);
    if (end == Text.c_str() || std::string_view(end).find_first_not_of(" \t") != std::string_view::npos)
      throw std::runtime_error("\"" + value.Text + "\" is not a number");
  }
  void Bind(soci::statement& statement, const std::string& name) {
    statement.exchange(soci::use(Text, Indicator, name));
  }
};

}  // namespace

struct TKwDbSession::TImpl {
  soci::session Session;
  std::string Key;
  std::vector<TBoundValue> Values;  // sized once by PrepareRows; bound by reference
  std::unique_ptr<soci::statement> Find, Insert, Update;
  long long Found = 0;
};

TKwDbSession::TKwDbSession() : FImpl(std::make_unique<TImpl>()) {}

TKwDbSession::~TKwDbSession() { Close(); }

void TKwDbSession::Open(const std::string& connectionString) {
  try {
    FImpl->Session.open(connectionString);
  } catch (const std::exception& e) {
    // The layer may quote the connection string back; the password stays out of logs.
    std::string text = e.what();
    for (size_t at = text.find(connectionString); !connectionString.empty() && at != std::string::npos;
         at = text.find(connectionString, at + 1))
      text.replace(at, connectionString.size(), MaskPasswords(connectionString));
    throw std::runtime_error(text);
  }
  // A commit per message would wait for the disk each time: in WAL mode with NORMAL
  // synchronisation each transaction still lands whole, at a fraction of the cost.
  if (FImpl->Session.get_backend_name() == "sqlite3") {
    FImpl->Session << "PRAGMA journal_mode=WAL";
    FImpl->Session << "PRAGMA synchronous=NORMAL";
  }
}

void TKwDbSession::Close() {
  FImpl->Find.reset();
  FImpl->Insert.reset();
  FImpl->Update.reset();
  FImpl->Values.clear();
  if (IsOpen()) FImpl->Session.close();
}

bool TKwDbSession::IsOpen() const { return FImpl->Session.get_backend() != nullptr; }

std::string TKwDbSession::FindTable(const std::string& name) {
  soci::statement names = (FImpl->Session.prepare_table_names());
  std::string table;
  names.exchange(soci::into(table));
  names.define_and_bind();
  names.execute(false);
  const std::string wanted = TKwDbSession::UpperName(name);
  while (names.fetch())
    if (TKwDbSession::UpperName(table) == wanted) return table;
  return "";
}

void TKwDbSession::RunScript(const std::string& script) {
  for (const std::string& statement : SplitScript(script)) FImpl->Session << statement;
}

namespace {

std::vector<std::pair<std::string, TKwDbColumnKind>> DescribeTable(soci::session& session, const std::string& table) {
  soci::row description;
  soci::statement describe = (session.prepare << "SELECT * FROM " + table + " WHERE 1 = 0", soci::into(description));
  describe.execute(true);
  std::vector<std::pair<std::string, TKwDbColumnKind>> columns;
  for (std::size_t i = 0; i < description.size(); ++i)
    columns.emplace_back(description.get_properties(i).get_name(),
                         KindOf(description.get_properties(i).get_data_type()));
  return columns;
}

}  // namespace

std::vector<std::string> TKwDbSession::TableColumns(const std::string& table) {
  std::vector<std::string> names;
  for (const auto& [name, kind] : DescribeTable(FImpl->Session, table)) names.push_back(name);
  return names;
}

void TKwDbSession::PrepareRows(const std::string& table, const std::string& keyColumn,
                               const std::vector<std::string>& columns) {
  TImpl& impl = *FImpl;
  const std::vector<std::pair<std::string, TKwDbColumnKind>> actual = DescribeTable(impl.Session, table);
  auto match = [&](const std::string& name, TKwDbColumnKind& kind) {
    for (const auto& [column, columnKind] : actual)
      if (TKwDbSession::UpperName(column) == TKwDbSession::UpperName(name)) {
        kind = columnKind;
        return column;
      }
    kind = TKwDbColumnKind::Text;
    return name;
  };

  impl.Values.assign(columns.size(), TBoundValue{});
  TKwDbColumnKind keyKind;
  const std::string key = match(keyColumn, keyKind);
  std::string names = key, placeholders = ":k", assignments;
  for (size_t i = 0; i < columns.size(); ++i) {
    const std::string column = match(columns[i], impl.Values[i].Kind);
    const std::string parameter = ":v" + std::to_string(i);
    names += ", " + column;
    placeholders += ", " + parameter;
    assignments += (i ? ", " : "") + column + " = " + parameter;
  }
  impl.Find = std::make_unique<soci::statement>(impl.Session);
  impl.Find->alloc();
  impl.Find->exchange(soci::into(impl.Found));
  impl.Find->exchange(soci::use(impl.Key, "k"));
  impl.Find->prepare("SELECT COUNT(*) FROM " + table + " WHERE " + key + " = :k");
  impl.Find->define_and_bind();

  auto prepare = [&](const std::string& sql) {
    auto statement = std::make_unique<soci::statement>(impl.Session);
    statement->alloc();
    statement->exchange(soci::use(impl.Key, "k"));
    for (size_t i = 0; i < impl.Values.size(); ++i) impl.Values[i].Bind(*statement, "v" + std::to_string(i));
    statement->prepare(sql);
    statement->define_and_bind();
    return statement;
  };
  impl.Insert = prepare("INSERT INTO " + table + " (" + names + ") VALUES (" + placeholders + ")");
  impl.Update = columns.empty() ? nullptr
                                : prepare("UPDATE " + table + " SET " + assignments + " WHERE " + key + " = :k");
}

bool TKwDbSession::WriteRow(const std::string& key, const std::vector<TKwDbValue>& values) {
  TImpl& impl = *FImpl;
  if (!impl.Insert) throw std::logic_error("PrepareRows must come before WriteRow");
  impl.Key = key;
  for (size_t i = 0; i < impl.Values.size() && i < values.size(); ++i) impl.Values[i].Set(values[i]);
  soci::transaction transaction(impl.Session);
  impl.Find->execute(true);
  const bool insert = impl.Found == 0;
  if (insert) impl.Insert->execute(true);
  else if (impl.Update) impl.Update->execute(true);
  transaction.commit();
  return insert;
}

std::string TKwDbSession::MaskPasswords(const std::string& connectionString) {
  static const std::regex kPassword(R"(((?:password|pwd|pass)\s*=\s*)('[^']*'|"[^"]*"|[^;\s]*))", std::regex::icase);
  std::string masked = std::regex_replace(connectionString, kPassword, "$1***");
  // user:password@ in a URI form
  static const std::regex kUserInfo(R"((://[^:/@\s]+:)[^@\s]*@)");
  return std::regex_replace(masked, kUserInfo, "$1***@");
}

std::string TKwDbSession::UpperName(std::string name) {
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return name;
}

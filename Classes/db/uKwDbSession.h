#pragma once
// A connection to an external database through SOCI, the one place that includes its
// headers: open by connection string ("backend://parameters"), table lookup, scripts of
// several statements, and one row per key written through statements prepared once per
// table. Errors of the layer are thrown as std::runtime_error with the layer's message,
// passwords in the connection string masked. One thread.

#include <memory>
#include <string>
#include <vector>

#include "uKwTypes.h"

// How a value is handed to a column: by the column's type as the database reports it.
enum class TKwDbColumnKind { Text, Integer, Real, Date };

// One value of a row: text as the engine holds it, or a date already in local time.
struct TKwDbValue {
  std::string Text;
  TDateTime Date = 0;  // used for Date columns when not 0; else Text is parsed
};

class TKwDbSession {
 public:
  TKwDbSession();
  ~TKwDbSession();
  TKwDbSession(const TKwDbSession&) = delete;
  TKwDbSession& operator=(const TKwDbSession&) = delete;

  // Throws with the layer's message when the connection fails.
  void Open(const std::string& connectionString);
  void Close();
  bool IsOpen() const;

  // The database's own name of the table called name, compared upper-cased; "" when none.
  std::string FindTable(const std::string& name);
  // Runs each statement of script in turn (split at semicolons outside quotes).
  void RunScript(const std::string& script);
  // The names of table's columns, as the database reports them.
  std::vector<std::string> TableColumns(const std::string& table);

  // Prepares the row statements for table: keyColumn plus columns, each matched to the
  // table's own column of that name without regard to case (a name the table lacks is
  // used as given, so that the database reports it). Call before WriteRow.
  void PrepareRows(const std::string& table, const std::string& keyColumn, const std::vector<std::string>& columns);
  // Inserts the row of key, or updates it when one exists; one transaction. Returns true
  // when a row was inserted. values follow the columns given to PrepareRows.
  bool WriteRow(const std::string& key, const std::vector<TKwDbValue>& values);

  // Names of tables and columns compare upper-cased (ASCII), as databases fold them.
  static std::string UpperName(std::string name);
  // The connection string with the values of password keys replaced by "***".
  static std::string MaskPasswords(const std::string& connectionString);

 private:
  struct TImpl;
  std::unique_ptr<TImpl> FImpl;
};

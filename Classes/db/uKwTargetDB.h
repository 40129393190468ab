#pragma once
// TKwTargetDB: one row per message in a table of an external database, keyed by the
// message's unique id in the column msg_id; a message seen again updates its row. The
// database is reached through SOCI with the connection string as the user wrote it
// ("sqlite3://db=/path/mail.db", "postgresql://host=... dbname=...", "mysql://...",
// "odbc://DSN=..."); only this unit and uKwDbSession know the layer.
//
// A row holds the target's EmailParts variables that have a column in the table, then
// every variable of Fields (the data parser's values), each under a column of its name
// compared without regard to case. Owns its session for the length of a run; one thread.

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "uKwTargetBase.h"

class TKwDbSession;
class TKwVariable;

class TKwTargetDB : public TKwTargetMailBase {
 public:
  TKwTargetDB();
  ~TKwTargetDB() override;
  std::string_view ClassName() const override { return "TKwTargetDB"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;

  void InitializeExtractProcess(TKwFoldersTree& folders) override;
  void ProcessMessage(TKwMailMessage& message) override;
  void FinalizeExtractProcess() override;

  std::string ConnectionString;
  bool CreateTable = true;
  std::string SQLCreate;
  std::string TableName = "MSG";

 private:
  // The variables of one row, in list order: the EmailParts first (FPartsInRow of them).
  std::vector<const TKwVariable*> CollectRow();
  void PrepareFor(const std::vector<const TKwVariable*>& row);

  std::unique_ptr<TKwDbSession> FSession;  // null when the run has no connection
  std::string FTable;                      // the table's name as the database spells it
  std::set<std::string> FTableColumns;     // upper-cased
  std::vector<std::string> FPreparedColumns;
  size_t FPartsInRow = 0;
};

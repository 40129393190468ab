#pragma once
// TKwTargetMailColumnarEmailData: writes the table that its parent, the collect-data target,
// gathered during the run into a file of one of the columnar formats. It receives no
// messages: the parent hands it the scratch database's file name and calls its
// FinalizeExtractProcess once the run is over.
//
// Columns: the exported variables of its variable lists (EmailParts, then Fields), in list
// order, typed by TVariableType. Plain text leaves out vtMemo columns; CSV writes every
// column of the table; ffColSqL3 gets a copy of the scratch database itself.
//
// Refers to the scratch file (owned by the parent); failures go to the action's log.

#include <string>
#include <vector>

#include "uKwTableWriter.h"
#include "uKwTargetBase.h"

struct TKwVariable;

class TKwTargetMailColumnarEmailData : public TKwTargetMailBase, public TKwColumnarOutput {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailColumnarEmailData"; }
  void Publish(TKwPublisher& publisher) override;
  // AppendToFile persists but is neither copied nor consulted.
  void Assign(const TKwPersistent& source) override;

  // Writes the export when the parent has set DatabaseFilename; otherwise only finalises.
  void FinalizeExtractProcess() override;

  // The query of the table formats: the exported variables in list order.
  void InitializeQuery();
  const std::string& QuerySql() const { return FQuerySql; }
  // Writes the collected table into fileName by TargetFormat; ffColSqL3, ffColGSSheet and
  // the non-columnar formats write nothing. Throws std::runtime_error saying what failed.
  void GenerateTarget(const std::string& fileName);
  // The whole table as CSV (a header line of quoted names, CRLF line ends, values by their
  // variable's type); append adds to the file instead of replacing it.
  void GenerateCSVFile(const std::string& fileName, bool append);
  // Always fails with the missing Access engine's message: throws std::runtime_error.
  void GenerateAccessDb(const std::string& fileName);

  // Set by the parent before FinalizeExtractProcess: the collected database.
  std::string DatabaseFilename;

 private:
  void CopyDatabase();
  void WriteTable(const std::string& fileName);
  std::vector<TKwTableColumn> ExportColumns(bool withoutMemo) const;
  TKwDateText TextDates() const;  // how CSV and plain text show the date columns

  std::string FQuerySql;
  std::vector<TKwTableColumn> FQueryColumns;
};

#pragma once
// TKwTargetMailEmailParts: exports chosen parts of each message (dates, addresses,
// subject, bodies, attachment names, bounce facts, ...) as one table, one row a message,
// in a columnar file format. Rows are gathered in a scratch database during the run and
// written out when the run ends.
//
// Column order: CSV follows FieldsStr (the user's order); the other table formats put
// the fields in ascending TColumnField order; plain text leaves out the header block and
// both bodies. ffColSqL3 gets a copy of the scratch database itself.
//
// The scratch file "EmailParts.db3" lives in a private folder of its own under the
// engine's temporary folder (so that two such targets, or two runs, never share it) from
// the first InitializeExtractProcess until the target is destroyed.
//
// Owns its scratch store; failures go to the action's log, never out of the five calls.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uKwTableWriter.h"
#include "uKwTargetBase.h"
#include "uKwTempDBColumnar.h"

class TKwTargetMailEmailParts : public TKwTargetMailBase, public TKwColumnarOutput {
 public:
  TKwTargetMailEmailParts();
  ~TKwTargetMailEmailParts() override;
  std::string_view ClassName() const override { return "TKwTargetMailEmailParts"; }
  void Publish(TKwPublisher& publisher) override;
  // AppendToFile persists but is neither copied nor consulted.
  void Assign(const TKwPersistent& source) override;

  void InitializeExtractProcess(TKwFoldersTree& folders) override;
  void ProcessMessage(TKwMailMessage& message) override;
  void FinalizeExtractProcess() override;
  // Body and attachment columns need the message's parts (not the attachments' bytes),
  // bounce columns the verdict.
  TKwDecodeDepth OwnDecodeDepth() const override;
  bool ReadsBounceVerdict() const override;

  // The fields FieldsStr names (two-digit codes; a last odd character, a non-number and
  // a code of 30 or more are ignored). The set forgets the user's order.
  static TColumnFields ColumnsStringToColumnsFields(std::string_view fieldsStr);
  // The query of the table formats: the chosen fields in ascending order.
  void InitializeExportQuery();
  const std::string& ExportQuerySql() const { return FQuerySql; }
  // Writes the scratch table into fileName in TargetFormat; ffColSqL3, ffColGSSheet and
  // the non-columnar formats write nothing. Throws std::runtime_error saying what failed.
  void GenerateTarget(const std::string& fileName);

  // Where the scratch database is; "" before the first run.
  const std::string& ScratchFilename() const { return FScratchFilename; }

  // ---- published
  std::string FieldsStr;  // two-digit TColumnField codes in the user's order

 protected:
  bool KeepsOwnCopy() const override { return false; }

 private:
  bool PrepareScratchFile();
  void ExportScratchTable();
  void CopyScratchDatabase();
  void WriteQueryTable(const std::string& fileName, bool withoutBodies);

  TColumnFields FFields;
  const std::unique_ptr<TKwTempDBColumnar> FTempDB;
  std::string FScratchFolder;
  std::string FScratchFilename;
  bool FScratchReady = false;  // the scratch table of this run exists and is open
  std::string FQuerySql;
  std::vector<TKwTableColumn> FQueryColumns;
};

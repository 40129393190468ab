#pragma once
// TKwTargetMailEmailDataDBCollect: stores, for every message, the values of its variable
// lists (the message parts, then the fields the data parser filled) as one row of a scratch
// table, and when the run ends hands that table to its children, the columnar exports of
// collected data, which write it out. It hands no message on.
//
// The scratch file "EmailData.db3" lives in a private folder of its own under the engine's
// temporary folder (two collect targets, or two runs, never share it) until the target is
// destroyed. Every run starts from an empty table.
//
// A child of any other kind is a configuration error, logged once when the run starts; a
// row that cannot be stored fails that message only. Owns its scratch store.

#include <memory>
#include <string>
#include <vector>

#include "uKwTargetBase.h"
#include "uKwTempDB.h"

class TKwTargetMailEmailDataDBCollect : public TKwTargetMailPassBase {
 public:
  TKwTargetMailEmailDataDBCollect();
  ~TKwTargetMailEmailDataDBCollect() override;
  std::string_view ClassName() const override { return "TKwTargetMailEmailDataDBCollect"; }

  void InitializeExtractProcess(TKwFoldersTree& folders) override;
  void ProcessMessage(TKwMailMessage& message) override;
  // Closes the table, then has each enabled columnar child write it, unless aborted.
  void FinalizeExtractProcess() override;

  // Where the scratch database is; "" before the first run.
  const std::string& ScratchFilename() const { return FScratchFilename; }

 private:
  bool PrepareScratchFile();
  void ReportForeignChildren();

  const std::unique_ptr<TKwTempDB> FTempDB;
  std::string FScratchFolder;
  std::string FScratchFilename;
  bool FScratchReady = false;
};

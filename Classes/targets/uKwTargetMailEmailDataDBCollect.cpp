#include "uKwTargetMailEmailDataDBCollect.h"

#include <stdlib.h>

#include <filesystem>
#include <system_error>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwParameters.h"
#include "uKwRegFolders.h"
#include "uKwSubs.h"
#include "uKwTargetMailColumnar.h"

namespace fs = std::filesystem;

namespace {
constexpr std::string_view kScratchName = "EmailData.db3";
}  // namespace

TKwTargetMailEmailDataDBCollect::TKwTargetMailEmailDataDBCollect() : FTempDB(std::make_unique<TKwTempDB>()) {}

TKwTargetMailEmailDataDBCollect::~TKwTargetMailEmailDataDBCollect() {
  FTempDB->CloseDatabase();
  if (FScratchFolder.empty()) return;
  std::error_code ec;
  fs::remove_all(FScratchFolder, ec);
}

void TKwTargetMailEmailDataDBCollect::ReportForeignChildren() {
  for (auto& child : List) {
    if (!child->Enabled || dynamic_cast<TKwTargetMailColumnarEmailData*>(child.get())) continue;
    Log->AddErrorFull("\"" + child->Caption + "\" cannot stand under " + Caption +
                          ": only columnar exports of collected data write the collected table",
                      "Initializing", Caption, "", "", "", 0);
  }
}

bool TKwTargetMailEmailDataDBCollect::PrepareScratchFile() {
  if (FScratchFolder.empty()) {
    const std::string parent = TempFolder.empty() ? GetTempFolder() : TempFolder;
    std::string pattern = IncludeTrailingPathDelimiter(parent) + "EmailData-XXXXXX";
    std::error_code ec;
    fs::create_directories(parent, ec);
    if (mkdtemp(pattern.data()) == nullptr) {
      Log->AddErrorFull("Cannot create a scratch folder in " + parent, "Initializing", Caption, "", "", "", 0);
      return false;
    }
    FScratchFolder = pattern;
    FScratchFilename = IncludeTrailingPathDelimiter(FScratchFolder) + std::string(kScratchName);
  }
  try {
    FTempDB->CreateDatabase(FScratchFilename, ExportedVariables(EmailParts, Fields));
    FTempDB->OpenDatabase();
  } catch (const std::exception& e) {
    Log->AddErrorFull(e.what(), "Creating the scratch database", Caption, "", "", "", 0);
    return false;
  }
  return true;
}

void TKwTargetMailEmailDataDBCollect::InitializeExtractProcess(TKwFoldersTree& folders) {
  TKwTargetMailPassBase::InitializeExtractProcess(folders);
  if (!IsAvailable()) return;
  ReportForeignChildren();
  FScratchReady = PrepareScratchFile();
}

void TKwTargetMailEmailDataDBCollect::ProcessMessage(TKwMailMessage& message) {
  // Collects; the children see the table at the end, never the message.
  TKwTargetMailBase::ProcessMessage(message);
  const TKwHeaders& h = *FMailMessage->Headers;
  FSaveStatus = ssError;
  if (FScratchReady) {
    try {
      // Taken afresh: the passes above refill the shared lists after this target started.
      FTempDB->AddFieldToDB(ExportedVariables(EmailParts, Fields));
      FSaveStatus = ssProcessed;
    } catch (const std::exception& e) {
      Log->AddErrorFull(e.what(), "Adding the message's data to the table", Caption, FFolderInfo->FolderPath,
                        h.From.Address, h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
    }
  }
  if (GlobalOptions && GlobalOptions->DetailedLog)
    Log->AddMessageStatusFull(FSaveStatus, h.From.Address, h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
}

void TKwTargetMailEmailDataDBCollect::FinalizeExtractProcess() {
  if (!IsAvailable()) return;
  if (FFolderOpen) FinalizeFolder();
  FTempDB->CloseDatabase();
  const bool ready = FScratchReady;
  FScratchReady = false;
  if (!ready) return;
  for (auto& child : List) {
    if (IsAborted()) return;
    auto* columnar = dynamic_cast<TKwTargetMailColumnarEmailData*>(child.get());
    if (!child->Enabled || !columnar) continue;
    columnar->DatabaseFilename = FScratchFilename;
    columnar->FinalizeExtractProcess();
    columnar->DatabaseFilename.clear();
    Log->IncProcessed();
  }
}

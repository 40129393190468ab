#include "uKwTargetMbox.h"

#include <filesystem>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwMbox.h"
#include "uKwMessageOutput.h"
#include "uKwParameters.h"
#include "uKwSubs.h"

namespace {
constexpr int kMaxFileNameLength = 260;
}

TKwTargetMailMbox::TKwTargetMailMbox() : FMbox(std::make_unique<TKwMbox>(mbfMboxrd)) {}

TKwTargetMailMbox::~TKwTargetMailMbox() = default;

void TKwTargetMailMbox::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Boolean("IncludeImagesInTarget", IncludeImagesInTarget);
  p.Boolean("OneFilePerMailFolder", OneFilePerMailFolder);
  p.String("TargetFilename", TargetFilename);
  p.String("TargetFolder", TargetFolder);
}

void TKwTargetMailMbox::OpenFile(const std::string& fileName) {
  // A missing output folder is made, as the single-files target makes its own; a folder
  // that cannot be made shows as the open's error.
  std::error_code ec;
  if (const auto parent = std::filesystem::path(fileName).parent_path(); !parent.empty())
    std::filesystem::create_directories(parent, ec);
  std::string errorText;
  FOpen = FMbox->LoadFromFile(fileName, mbmWrite, errorText);
  if (!FOpen) Log->AddErrorFull(errorText, "Opening the mbox file", fileName, FFolderInfo->FolderName, "", "", 0);
}

void TKwTargetMailMbox::SaveFile() {
  if (!FOpen) return;
  FOpen = false;
  if (!FMbox->Save())
    Log->AddErrorFull(FMbox->ErrorText(), "Saving the mbox file", FMbox->FileName(), "", "", "", 0);
  FMbox->Clear();
}

void TKwTargetMailMbox::InitializeExtractProcess(TKwFoldersTree& folders) {
  TKwTargetMailBase::InitializeExtractProcess(folders);
  if (!OneFilePerMailFolder) OpenFile(TargetFilename);
}

void TKwTargetMailMbox::InitializeFolder(const TKwFolderInfo& folder) {
  TKwTargetMailBase::InitializeFolder(folder);
  if (!OneFilePerMailFolder) return;
  std::string name = ReplaceInvalidCharactersFilename(FFolderInfo->GetFolderName(), "_");
  if (name.empty() || name == "." || name == "..") name = "_";
  TargetFilename = CheckGenerateFilenameWithNumberLengthLimited(
      IncludeTrailingPathDelimiter(TargetFolder) + name + ".mbox", kMaxFileNameLength);
  OpenFile(TargetFilename);
}

bool TKwTargetMailMbox::ExistMessage(const std::string& uniqueId) {
  return FOpen && FMbox->IndexOf(uniqueId) >= 0;
}

void TKwTargetMailMbox::ProcessMessage(TKwMailMessage& message) {
  TKwTargetMailBase::ProcessMessage(message);
  TKwMailMessage& working = *FMailMessage;
  const TKwHeaders& h = *working.Headers;
  std::string uniqueId = h.GetUniqueId();
  if (!FOpen) {
    FSaveStatus = ssError;
  } else if (FMbox->IndexOf(uniqueId) >= 0) {
    FSaveStatus = ssSkipped;
    Log->IncSkipped();
  } else {
    FMbox->AddUniqueId(uniqueId);
    const TStringList lines = MessageMimeLines(working, true, IncludeImagesInTarget);
    FMbox->AddMessage(lines, h.ReturnPath.Address.empty() ? h.From.Address : h.ReturnPath.Address,
                      h.SubmitDate.GmtDate);
    FSaveStatus = ssSaved;
    Log->IncSaved();
  }
  if (GlobalOptions && GlobalOptions->DetailedLog)
    Log->AddMessageStatusFull(FSaveStatus, h.From.Address, h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
}

void TKwTargetMailMbox::FinalizeFolder() {
  TKwTargetMailBase::FinalizeFolder();
  if (OneFilePerMailFolder) SaveFile();
}

void TKwTargetMailMbox::FinalizeExtractProcess() {
  TKwTargetMailBase::FinalizeExtractProcess();
  if (!OneFilePerMailFolder) SaveFile();
}

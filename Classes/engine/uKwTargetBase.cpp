#include "uKwTargetBase.h"

#include "uKwActionLog.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwVariables.h"

// ---------------------------------------------------------------- TKwTargetBase

TKwTargetBase::TKwTargetBase() : FFolderInfo(std::make_unique<TKwFolderInfo>()) {}

TKwTargetBase::~TKwTargetBase() = default;

bool TKwTargetBase::IsRunFailedBelow() const {
  if (FRunFailed) return true;
  for (const auto& child : List) {
    const auto* target = dynamic_cast<const TKwTargetBase*>(child.get());
    if (target && target->Enabled && target->IsRunFailedBelow()) return true;
  }
  return false;
}

void TKwTargetBase::InitializeExtractProcess(TKwFoldersTree& folders) {
  // A kind this build cannot carry out takes no message: they stay for a build that can.
  FRunFailed = !IsAvailable();
  if (!IsAvailable()) {
    ReportNotAvailable();
    return;
  }
  // Targets are not executed in a source run: their log starts with the run here.
  Log->Clear();
  Log->ActionName = Name + " - " + Caption;
  Log->ItemType = ItemType;
  folders.BuildFoldersPath(true);
  ForEachChildTarget([&](TKwTargetBase& child) {
    child.EmailParts = EmailParts;
    child.Fields = Fields;
    CopyRunContextTo(child);
    child.InitializeExtractProcess(folders);
    TriggerActionEvent(child.Caption, child.ItemType);
  });
}

void TKwTargetBase::InitializeFolder(const TKwFolderInfo& folder) {
  if (!IsAvailable()) return;
  FFolderList.clear();
  if (FFolderOpen) FinalizeFolder();
  FFolderInfo->Assign(folder);
  FFolderOpen = true;
  ForEachChildTarget([&](TKwTargetBase& child) { child.InitializeFolder(*FFolderInfo); });
}

void TKwTargetBase::ProcessMessage(TKwMailMessage&) {}

bool TKwTargetBase::ExistMessage(const std::string&) { return false; }

void TKwTargetBase::FinalizeFolder() {
  if (!IsAvailable()) return;
  FFolderOpen = false;
  FFolderList.clear();
  ForEachChildTarget([](TKwTargetBase& child) { child.FinalizeFolder(); }, true);
}

void TKwTargetBase::FinalizeExtractProcess() {
  if (!IsAvailable()) return;
  if (FFolderOpen) FinalizeFolder();
  ForEachChildTarget([](TKwTargetBase& child) { child.FinalizeExtractProcess(); }, true);
}

// ---------------------------------------------------------------- TKwColumnarOutput

void TKwColumnarOutput::PublishOutput(TKwPublisher& p) {
  p.Enum("FieldDelimiter", FieldDelimiter);
  p.String("OtherFieldDelimiter", OtherFieldDelimiter);
  p.String("TargetFilename", TargetFilename);
  p.Enum("TargetFormat", TargetFormat);
  p.Boolean("AppendToFile", AppendToFile);
}

// ---------------------------------------------------------------- TKwTargetMailBase

TKwTargetMailBase::TKwTargetMailBase() : FMailMessage(std::make_unique<TKwMailMessage>()) {}

TKwTargetMailBase::~TKwTargetMailBase() = default;

void TKwTargetMailBase::Publish(TKwPublisher& p) {
  TKwActionBase::Publish(p);
  p.Boolean("DeleteSourceMessage", DeleteSourceMessage);
  p.Boolean("Overwrite", Overwrite);
}

void TKwTargetMailBase::InitializeExtractProcess(TKwFoldersTree& folders) {
  TKwTargetBase::InitializeExtractProcess(folders);
  if (!IsAvailable()) return;
  FMailMessage->TempFolder = TempFolder;
  if (!EmailParts) return;
  // Every target of a chain refills the shared list; an export flag that a pass above has
  // switched off must survive the refills below it.
  std::vector<bool> exported(TColumnFieldCount, true);
  for (int i = 0; i < EmailParts->Count(); ++i)
    if (EmailParts->Items(i).ColumnField < TColumnFieldCount)
      exported[EmailParts->Items(i).ColumnField] = EmailParts->Items(i).Export;
  EmailParts->Clear();
  for (int i = 0; i < TColumnFieldCount; ++i) {
    auto field = static_cast<TColumnField>(i);
    EmailParts->Add(GetColumnFieldName(field), field, ColumnFieldToVariableType(field), "", exported[i]);
  }
}

void TKwTargetMailBase::ProcessMessage(TKwMailMessage& message) {
  if (!IsAvailable()) return;
  FMessageProcessed = true;
  FSaveStatus = ssOther;
  // The copy saves by the target's own options, never by those the source loaded with.
  if (KeepsOwnCopy()) FMailMessage->AssignMessage(message);
  const TKwMailMessage& working = KeepsOwnCopy() ? *FMailMessage : message;
  Log->IncProcessed();
  if (!EmailParts) return;
  for (int i = 0; i < EmailParts->Count(); ++i) {
    TKwVariable& variable = EmailParts->Items(i);
    variable.Value = working.ColumnFieldToDataString(variable.ColumnField);
  }
}

// ---------------------------------------------------------------- passes

bool TKwTargetMailPassBase::ExistMessage(const std::string& uniqueId) {
  bool any = false, all = true;
  ForEachChildTarget([&](TKwTargetBase& child) {
    any = true;
    all = all && child.ExistMessage(uniqueId);
  });
  return any && all;
}

void TKwTargetMailPassBase::ProcessMessage(TKwMailMessage& message) {
  if (!IsAvailable()) return;
  TKwTargetMailBase::ProcessMessage(message);
  ForEachChildTarget([&](TKwTargetBase& child) { child.ProcessMessage(message); });
}

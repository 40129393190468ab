#include "uKwSourceBase.h"

#include <filesystem>

#include <nlohmann/json.hpp>

#include "uKwActionLog.h"
#include "uKwAssert.h"
#include "uKwDateTime.h"
#include "uKwEmailCache.h"
#include "uKwMailMessage.h"
#include "uKwMessageName.h"
#include "uKwSourceLogDB.h"
#include "uKwStorageLocal.h"
#include "uKwStream.h"
#include "uKwSubs.h"
#include "uKwTargetBase.h"
#include "uKwValidEmailFormat.h"
#include "uKwVariables.h"

namespace {
constexpr char kSourceFoldersItems[] = "SourceFoldersItems";
constexpr int kAppDataAssertLine = 520;
}  // namespace

// ================================================================ TKwSourceBase

TKwSourceBase::TKwSourceBase() = default;
TKwSourceBase::~TKwSourceBase() = default;

void TKwSourceBase::Publish(TKwPublisher& p) {
  TKwActionBase::Publish(p);
  p.Enum("FolderProcessType", FolderProcessType);
  p.Object("SourceFolders", *SourceFolders);
  p.Object("SourceOptions", *SourceOptions);
}

void TKwSourceBase::WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) {
  if (prefix.empty() && SourceFolders->Count() > 0) {
    writer.WritePropName(kSourceFoldersItems);
    SourceFolders->WriteItems(writer);
  }
  TKwActionBase::WriteDefinedProperties(writer, prefix);
}

bool TKwSourceBase::ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) {
  if (name != kSourceFoldersItems) return TKwActionBase::ReadDefinedProperty(name, reader);
  SourceFolders->ReadItems(reader, LoadWarningSink());
  return true;
}

void TKwSourceBase::DefinedPropertiesToJson(nlohmann::ordered_json& json) {
  if (SourceFolders->Count() > 0) json[kSourceFoldersItems] = SourceFolders->ItemsToJson();
  TKwActionBase::DefinedPropertiesToJson(json);
}

void TKwSourceBase::DefinedPropertiesFromJson(const nlohmann::ordered_json& json,
                                              std::vector<std::string>& warnings) {
  if (auto it = json.find(kSourceFoldersItems); it != json.end())
    SourceFolders->ItemsFromJson(*it, warnings);
  TKwActionBase::DefinedPropertiesFromJson(json, warnings);
}

void TKwSourceBase::SetConnected(bool connected) {
  if (connected == FConnected) return;
  if (connected) {
    FConnected = Connect();
  } else {
    Disconnect();
    FConnected = false;
  }
}

void TKwSourceBase::ForEachChildTarget(const std::function<void(TKwTargetBase&)>& call, bool finalising) {
  for (auto& child : List) {
    if (IsAborted() && !finalising) return;
    if (!child->Enabled) continue;
    if (auto* target = dynamic_cast<TKwTargetBase*>(child.get())) call(*target);
  }
}

void TKwSourceBase::Execute() {
  BeginExecute();
  if (AppDataFolder.empty()) AssertionFailure("Classes/uKwSourceBase", kAppDataAssertLine);
  if (List.empty()) return;
  SetRunningStatus(rsInitializing);
  if (!InitializeSourceFolders() || !InitializeExtraction()) {
    Log->AddErrorFull("Couldn't initialize source", "Initializing", "", "", "", "", 0);
    return;
  }
  for (auto& child : List) {
    auto* target = dynamic_cast<TKwTargetBase*>(child.get());
    if (!target) continue;
    FRunLists.push_back(std::make_unique<TKwVariablesList>());
    target->EmailParts = FRunLists.back().get();
    FRunLists.push_back(std::make_unique<TKwVariablesList>());
    target->Fields = FRunLists.back().get();
  }
  ForEachChildTarget([&](TKwTargetBase& target) {
    CopyRunContextTo(target);
    target.InitializeExtractProcess(*SourceFolders);
  });
  SetConnected(true);
  if (!FConnected) {
    Log->AddErrorFull("Couldn't connect to source", "Connecting", "", "", "", "", 0);
  } else {
    SetRunningStatus(reInitializingFolders);
    RecurseFolders();
    ForEachChildTarget([](TKwTargetBase& target) { target.FinalizeExtractProcess(); }, true);
    SetRunningStatus(IsAborted() ? rsAborted : rsExtractCompleted);
    FinalizeExtraction();
    SetConnected(false);
  }
  for (auto& child : List)
    if (auto* target = dynamic_cast<TKwTargetBase*>(child.get())) target->EmailParts = target->Fields = nullptr;
  FRunLists.clear();
  TriggerCompleteEvent();
}

bool TKwSourceBase::InitializeSourceFolders() {
  FProcessAllFolders = false;  // asked afresh every run
  bool hasSelection = false;
  SourceFolders->ForEach([&](TKwFolderNode& node) { hasSelection |= IsFolderSelected(node.Info()); });
  FProcessAllFolders = !hasSelection;
  if (hasSelection) return true;
  SourceFolders->Clear();
  if (!LoadFolders()) return false;
  SourceFolders->InvalidCharacters = SourceOptions->FolderName->InvalidCharacters;
  SourceFolders->ReplaceChar = SourceOptions->FolderName->ReplaceChar;
  SourceFolders->ReplaceInvalidCharacters = SourceOptions->FolderName->ReplaceInvalidCharacters;
  SourceFolders->BuildFoldersPath(true);
  return true;
}

bool TKwSourceBase::IsFolderSelected(const TKwFolderInfo& info) const {
  if (FProcessAllFolders) return info.Enabled;
  return info.ProcessFolder || info.FolderStatus == fsChecked ||
         info.FolderStatus == fsIncludeSubfolders || info.FolderStatus == fsParentIncluded;
}

void TKwSourceBase::RecurseFolders() {
  for (TKwFolderNode* node : SourceFolders->Nodes()) {
    if (IsAborted()) return;
    if (IsFolderSelected(node->Info())) ProcessFolder(*node, FolderProcessType);
  }
}

void TKwSourceBase::ProcessFolder(TKwFolderNode& folder, TFolderProcessType processType) {
  FCurrentProcessType = processType;
  ForEachChildTarget([&](TKwTargetBase& target) { target.InitializeFolder(folder.Info()); });
  if (processType == fptLoadHeaders) FHeadersList.clear();
  ProcessMailFolder(folder);
  folder.Info().Processed = true;
  ForEachChildTarget([](TKwTargetBase& target) { target.FinalizeFolder(); }, true);
  TriggerFolderCompleteEvent();
}

void TKwSourceBase::ProcessMailFolder(TKwFolderNode&) {}

// ================================================================ TKwSourceMailBase

TKwSourceMailBase::TKwSourceMailBase() = default;
TKwSourceMailBase::~TKwSourceMailBase() = default;

void TKwSourceMailBase::Publish(TKwPublisher& p) {
  TKwSourceBase::Publish(p);
  p.Object("Filters", *Filters);
  p.String("SourceId", SourceId);
}

void TKwSourceMailBase::GenerateSourceId() {
  if (SourceId.empty()) SourceId = NewGuidString();
}

bool TKwSourceMailBase::IsCacheEnabled() const { return GlobalOptions && GlobalOptions->IndexEmail; }

bool TKwSourceMailBase::IsStorageEnabled() const {
  return SourceOptions->CopyToStorage || (GlobalOptions && GlobalOptions->UseLocalStorage);
}

bool TKwSourceMailBase::InitializeExtraction() {
  GenerateSourceId();
  FSourceLogFailed = false;
  FMessage = std::make_unique<TKwMailMessage>();
  FMessage->TempFolder = TempFolder;
  FSourceLog = std::make_unique<TKwSourceLogDB>();
  if (SourceOptions->CopyToSourceLog) {
    FSourceLog->CreateDatabase(SourceId);
    if (FSourceLog->HasError())
      Log->AddErrorFull(FSourceLog->LastError(), "Opening the processed-message log", FSourceLog->DatabaseFilename(),
                        "", "", "", 0);
  }
  if (IsCacheEnabled()) {
    FCache = std::make_unique<TKwEmailCacheExplorer>();
    if (!FCache->Open()) Log->AddErrorFull(FCache->ErrorText(), "Opening the e-mail cache", "", "", "", "", 0);
  }
  if (IsStorageEnabled()) {
    FStorage = std::make_unique<TKwStorageLocal>();
    if (!FStorage->Open()) Log->AddErrorFull(FStorage->ErrorText(), "Opening the local storage", "", "", "", "", 0);
  }
  return true;
}

void TKwSourceMailBase::FinalizeExtraction() {
  FSourceLog.reset();
  FCache.reset();
  FStorage.reset();
}

void TKwSourceMailBase::ProcessMailFolder(TKwFolderNode&) { Filters->Sampling->ClearRandomList(); }

bool TKwSourceMailBase::GetLocalFilename(const std::string& uniqueId, const std::string& fileName,
                                         std::string& localName, bool& inStorage, bool& inCache) {
  inStorage = inCache = false;
  localName.clear();
  std::error_code ec;
  std::string id = uniqueId;
  if (!fileName.empty() && std::filesystem::is_regular_file(fileName, ec)) {
    localName = fileName;
    if (id.empty()) IsUniqueIdInFilename(fileName, id);
    if (id.empty() && FCache) id = FCache->GetUniqueIdFromFilename(fileName);
    inCache = FCache && !id.empty() && FCache->ExistMessage(id);
    return true;
  }
  if (id.empty()) return false;
  if (FStorage && FStorage->ExistMessage(id)) {
    inStorage = true;
    localName = FStorage->GetFileName(id);
  } else if (FCache && FCache->ExistMessage(id)) {
    inCache = true;
    localName = FCache->GetFilename(id);
  }
  return !localName.empty();
}

void TKwSourceMailBase::AddMessageToCacheAndStorage(TKwMailMessage& message, const std::string& fileName,
                                                    bool& inStorage, bool& inCache, bool force) {
  std::string id = message.Headers->GetUniqueId();
  if (id.empty()) id = kNoUniqueId;
  if (!inStorage && FStorage && (IsStorageEnabled() || force)) inStorage = FStorage->Store(message, id, fileName);
  if (!inCache && FCache && (IsCacheEnabled() || force)) inCache = FCache->AddMessage(message, id, fileName);
}

bool TKwSourceMailBase::PassesMailFilter(const TKwMailItem& item, const std::string& localFile, bool inCache) {
  // Filter data, best first: the cache's stored headers, what the source read, the name
  // of the message file.
  std::string from = item.From, subject = item.Subject;
  TDateTime date = item.LocalDate;
  TKwStoredSummary cached;
  if (inCache && FCache && FCache->LoadSummary(item.UniqueId, cached)) {
    from = cached.From;
    subject = cached.Subject;
    date = cached.LocalDate;
  } else if (from.empty() && subject.empty() && date == 0 && !localFile.empty()) {
    ParseEmailFilename(localFile, subject, from, date);
  }
  TKwMailFilterData data;
  data.From = from;
  data.Subject = subject;
  data.LocalDate = date;
  return Filters->Mail->CheckFilters(data);
}

// A log that fails behaves as empty: it never makes the run skip a message.
bool TKwSourceMailBase::IsInSourceLog(const std::string& uniqueId) {
  try {
    return FSourceLog->ExistMessageInDB(uniqueId);
  } catch (const std::exception& e) {
    if (!FSourceLogFailed) Log->AddErrorFull(e.what(), "Reading the processed-message log", "", "", "", "", 0);
    FSourceLogFailed = true;
    return false;
  }
}

void TKwSourceMailBase::AddToSourceLog(const std::string& uniqueId, TKwMailMessage& message) {
  try {
    FSourceLog->AddMessage(uniqueId, GmtToLocal(message.Headers->SubmitDate.GmtDate), message.Headers->Subject);
  } catch (const std::exception& e) {
    if (!FSourceLogFailed) Log->AddErrorFull(e.what(), "Writing the processed-message log", "", "", "", "", 0);
    FSourceLogFailed = true;
  }
}

bool TKwSourceMailBase::ExistMessageInTargets(const std::string& uniqueId) {
  bool exists = true;
  ForEachChildTarget([&](TKwTargetBase& target) { exists = exists && target.ExistMessage(uniqueId); });
  return exists;
}

// Stored copies are in the compressed message stream; other local copies are message files.
bool TKwSourceMailBase::LoadLocalCopy(const std::string& localName, bool stored) {
  if (localName.empty()) return false;
  return stored ? FMessage->LoadFromFile(localName) : FMessage->LoadFormat(localName);
}

bool TKwSourceMailBase::DoLoadMailItem(const TKwMailItem& item, TKwMailMessage& message) {
  return !item.FileName.empty() && message.LoadFormat(item.FileName);
}

void TKwSourceMailBase::ProcessMessage(TKwMailMessage& message) {
  ++message.Counter;
  ForEachChildTarget([&](TKwTargetBase& target) {
    try {
      target.ProcessMessage(message);
    } catch (const std::exception& e) {
      target.GetLog().AddErrorFull(e.what(), "Processing message", target.Caption, message.FolderName,
                                   message.Headers->From.Address, message.Headers->Subject,
                                   GmtToLocal(message.Headers->SubmitDate.GmtDate));
    }
  });
}

std::unique_ptr<TKwMailMessage> TKwSourceMailBase::TakeDecodedMessage(const TKwMailItem&) { return nullptr; }

void TKwSourceMailBase::RecycleMessage(std::unique_ptr<TKwMailMessage>) {}

bool TKwSourceMailBase::AdoptDecodedMessage(const TKwMailItem& item) {
  std::unique_ptr<TKwMailMessage> decoded = TakeDecodedMessage(item);
  if (!decoded) return false;
  // What the message object carries from one item to the next belongs to the run.
  decoded->Labels = FMessage->Labels;
  decoded->SenderLocation = FMessage->SenderLocation;
  decoded->LastSavedFilename = FMessage->LastSavedFilename;
  std::swap(FMessage, decoded);
  RecycleMessage(std::move(decoded));
  return true;
}

void TKwSourceMailBase::ProcessMailItem(const TKwMailItem& item, TKwFolderNode& folder) {
  const std::string folderName = folder.Info().GetFolderName();
  if (RunningStatus != rsProcessingMessages) SetRunningStatus(rsProcessingMessages);
  std::string fileName = item.FileName;
  if (fileName.empty() && item.ItemId.find('/') != std::string::npos && ValidEmailSource(item.ItemId))
    fileName = item.ItemId;
  std::string localName;
  bool inStorage = false, inCache = false;
  GetLocalFilename(item.UniqueId, fileName, localName, inStorage, inCache);

  auto progress = [&] { TriggerProgressEvent(item.Index, folderName, std::to_string(item.Count), rsProcessingMessages); };
  if (Filters->Mail->Enabled && !PassesMailFilter(item, localName, inCache)) return progress();
  if (SourceOptions->CopyToSourceLog && !item.UniqueId.empty() && IsInSourceLog(item.UniqueId)) return progress();

  if (FCurrentProcessType == fptLoadHeaders) {
    FHeadersList.push_back({item.UniqueId, item.From, item.Subject, localName, folderName, item.LocalDate, item.Size});
  } else if (ExistMessageInTargets(item.UniqueId.empty() ? kNoUniqueId : item.UniqueId)) {
    Log->IncSkipped();
  } else {
    FMessage->Clear();
    FMessage->LastError.clear();
    // A message file of the source's own is read as its format even when the cache also
    // holds the message; only copies in the stores are compressed streams.
    const bool stored = (inStorage || inCache) && localName != fileName;
    bool loaded = LoadLocalCopy(localName, stored) || AdoptDecodedMessage(item) ||
                  DoLoadMailItem(item, *FMessage);
    if (loaded) {
      FMessage->FolderName = folderName;
      std::string id = FMessage->Headers->GetUniqueId();
      if (id.empty()) id = kNoUniqueId;
      AddMessageToCacheAndStorage(*FMessage, localName, inStorage, inCache, false);
      if (SourceOptions->CopyToSourceLog) AddToSourceLog(id, *FMessage);
      // The headers list is kept only when loading headers: an extracting run over millions
      // of messages would otherwise hold a row for each.
      ProcessMessage(*FMessage);
    } else {
      // The loader's reason follows the fixed text, so an unreadable kind of file says why.
      std::string error = "Couldn't load message.";
      if (!FMessage->LastError.empty()) error += " " + FMessage->LastError;
      const int entry = Log->AddErrorFull(error, "Index: " + std::to_string(item.Index), "", folderName, item.From,
                                          item.Subject, item.LocalDate);
      Log->GetError(entry).SourceFilename = fileName;
    }
  }
  progress();
  Log->IncProcessed();
  if (GlobalOptions && GlobalOptions->DetailedLog)
    Log->AddMessageStatusFull(ssProcessed, item.From, item.Subject, item.LocalDate);
}

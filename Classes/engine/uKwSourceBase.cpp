#include "uKwSourceBase.h"

#include <filesystem>

#include <nlohmann/json.hpp>

#include "uKwActionLog.h"
#include "uKwAssert.h"
#include "uKwDateTime.h"
#include "uKwEmailCache.h"
#include "uKwMailMessage.h"
#include "uKwMessageName.h"
#include "uKwRunFileCache.h"
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

void FillMailItemFromHeaders(const TKwHeaders& headers, TKwMailItem& item) {
  item.UniqueId = headers.GetUniqueId();
  item.From = headers.From.Address;
  item.To = headers.RecipientsComma();
  item.Subject = headers.Subject;
  item.LocalDate = GmtToLocal(headers.SubmitDate.GmtDate);
}

void TKwSourceBase::Execute() {
  const TKwRunFileScope knownFiles;
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
  // Known once every stage below has its settings for the run.
  if (TKwMailMessage* message = RunMessage()) {
    message->DecodeDepth = DecodeDepthOfSubtree();
    message->ClassifiesBounces = SubtreeReadsBounceVerdict();
  }
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

TKwDecodeDepth TKwSourceMailBase::OwnDecodeDepth() const {
  return IsCacheEnabled() || IsStorageEnabled() ? TKwDecodeDepth::Everything : TKwDecodeDepth::Headers;
}

bool TKwSourceMailBase::InitializeExtraction() {
  GenerateSourceId();
  FSourceLogFailed = false;
  FDeleteAsked = FDeleteNoted = false;
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

void TKwSourceMailBase::ProcessFolder(TKwFolderNode& folder, TFolderProcessType processType) {
  const TStringList& listed = folder.Info().UniqueIdList;
  if (processType != fptLoadHeaders || listed.empty()) return TKwSourceBase::ProcessFolder(folder, processType);
  FCurrentProcessType = processType;
  ForEachChildTarget([&](TKwTargetBase& target) { target.InitializeFolder(folder.Info()); });
  FHeadersList.clear();
  const auto count = static_cast<int>(listed.size());
  TriggerFolderEvent(folder.Info().GetFolderName(), count);
  for (int index = 0; index < count && !IsAborted(); ++index) {
    TKwMailItem item;
    item.Index = index;
    item.Count = count;
    item.UniqueId = listed[static_cast<size_t>(index)];
    ProcessMailItem(item, folder);
  }
  folder.Info().Processed = true;
  ForEachChildTarget([](TKwTargetBase& target) { target.FinalizeFolder(); }, true);
  TriggerFolderCompleteEvent();
}

bool TKwSourceMailBase::IsPastRange(int32_t number, int32_t count) const {
  return Filters->Range->Enabled && !Filters->Range->InsideLimit(number, count);
}

bool TKwSourceMailBase::IsItemSelected(int32_t number, int32_t count) const {
  return (!Filters->Range->Enabled || Filters->Range->Check(number, count)) && Filters->Sampling->Check(number);
}

void TKwSourceMailBase::WalkFolderItems(TKwFolderNode& folder, int32_t count, const std::string& listedPath,
                                        const std::function<void(int32_t number)>& visit) {
  TKwFolderInfo& info = folder.Info();
  info.MessagesCount = count;
  TriggerFolderEvent(info.GetFolderName(), count);
  Log->FoldersList.push_back(listedPath + "=" + std::to_string(count));
  if (Filters->Sampling->Enabled) Filters->Sampling->InitializeRandomList(count);
  for (int32_t number = 1; number <= count && !IsAborted(); ++number) {
    if (IsPastRange(number, count)) break;
    if (IsItemSelected(number, count)) {
      visit(number);
    } else {
      TriggerProgressEvent(number, info.GetFolderName(), std::to_string(count), rsProcessingMessages);
    }
  }
}

void TKwSourceMailBase::SkipDuplicateItem(const TKwMailItem& item, int firstIndex) {
  Log->IncSkipped();
  Log->AddMessageStatusFull(ssSkipped, item.From.value_or(""), item.Subject.value_or(""), item.LocalDate);
  Log->Notes.push_back("Message " + std::to_string(item.Index) + " skipped: it has the unique id of message " +
                       std::to_string(firstIndex) + " (" + item.UniqueId + ")");
}

bool TKwSourceMailBase::GetLocalFilename(std::string& uniqueId, const std::string& fileName, std::string& localName,
                                         bool& inStorage, bool& inCache) {
  inStorage = inCache = false;
  localName.clear();
  std::error_code ec;
  if (!fileName.empty() && std::filesystem::is_regular_file(fileName, ec)) {
    localName = fileName;
    if (uniqueId.empty()) IsUniqueIdInFilename(fileName, uniqueId);
    if (uniqueId.empty() && FCache) uniqueId = FCache->GetUniqueIdFromFilename(fileName);
    inCache = FCache && !uniqueId.empty() && FCache->ExistMessage(uniqueId);
    return true;
  }
  if (uniqueId.empty()) return false;
  if (FStorage && FStorage->ExistMessage(uniqueId)) {
    inStorage = true;
    localName = FStorage->GetFilename(uniqueId);
  } else if (FCache && FCache->ExistMessage(uniqueId)) {
    inCache = true;
    localName = FCache->GetFilename(uniqueId);
  }
  return !localName.empty();
}

void TKwSourceMailBase::AddMessageToCacheAndStorage(TKwMailMessage& message, const std::string& fileName,
                                                    bool& inStorage, bool& inCache, bool force) {
  const bool toStorage = !inStorage && FStorage && (IsStorageEnabled() || force);
  const bool toCache = !inCache && FCache && (IsCacheEnabled() || force);
  if (!toStorage && !toCache) return;
  std::string id = message.Headers->GetUniqueId();
  if (id.empty()) id = kNoUniqueId;
  if (toStorage) inStorage = FStorage->AddMessage(message, id, fileName);
  if (toCache) inCache = FCache->AddMessage(message, id, fileName);
}

bool TKwSourceMailBase::PassesMailFilter(const TKwMailItem& item, const std::string& uniqueId,
                                         const std::string& localFile, bool inCache) {
  // Filter data, best first: the cache's stored headers, what the source read, the name
  // of the message file. What none of them knows stays unknown and passes.
  TKwMailFilterData data;
  TKwStoredSummary cached;
  std::string from, subject;
  TDateTime date = 0;
  if (inCache && FCache && FCache->LoadSummary(uniqueId, cached)) {
    data.From = cached.From;
    data.Subject = cached.Subject;
    data.LocalDate = cached.LocalDate;
  } else if (item.From || item.Subject || item.LocalDate != 0) {
    data.From = item.From;
    data.Subject = item.Subject;
    data.LocalDate = item.LocalDate;
  } else if (!localFile.empty() && ParseEmailFilename(localFile, subject, from, date)) {
    data.From = from;
    data.Subject = subject;
    data.LocalDate = date;
  }
  data.To = item.To;
  data.IsRead = item.IsRead;
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

bool TKwSourceMailBase::DeleteMessage(const TKwMailItem&, std::string& error) {
  error = "This source cannot delete messages";
  return false;
}

bool TKwSourceMailBase::IsDeleteAsked() {
  if (!FDeleteAsked) {
    FDeleteAsked = true;
    bool asked = SourceOptions->DeleteMessages;
    ForEachChildTarget([&](TKwTargetBase& target) {
      if (auto* mailTarget = dynamic_cast<TKwTargetMailBase*>(&target)) asked |= mailTarget->DeleteSourceMessage;
    });
    if (asked && !CanDeleteMessages()) {
      Log->Notes.push_back(Caption + " cannot delete messages from its store: they are left where they are");
      FDeleteNoted = true;
    }
    FDeleteAsked = asked;
  }
  return FDeleteAsked && CanDeleteMessages();
}

void TKwSourceMailBase::DeleteFromStore(const TKwMailItem& item) {
  std::string error;
  if (!DeleteMessage(item, error))
    Log->AddErrorFull(error, "Deleting message", "", "", item.From.value_or(""), item.Subject.value_or(""),
                      item.LocalDate);
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
  // What the message object carries from one item to the next belongs to the run: a
  // message without its own Return-Path or Envelope-To keeps those of the message
  // before it in the source's order, whichever worker decoded it.
  decoded->Labels = FMessage->Labels;
  decoded->SenderLocation = FMessage->SenderLocation;
  decoded->LastSavedFilename = FMessage->LastSavedFilename;
  TKwHeaders& headers = *decoded->Headers;
  if (headers.ReturnPath.Address.empty()) headers.ReturnPath.Assign(FMessage->Headers->ReturnPath);
  if (headers.EnvelopeTo.Address.empty()) headers.EnvelopeTo.Assign(FMessage->Headers->EnvelopeTo);
  std::swap(FMessage, decoded);
  RecycleMessage(std::move(decoded));
  return true;
}

void TKwSourceMailBase::AddHeadersRow(const TKwMailItem& item, const std::string& uniqueId,
                                      const std::string& localName, bool inCache, const std::string& folderName) {
  TKwStoredSummary cached;
  if (inCache && FCache && FCache->LoadSummary(uniqueId, cached)) {
    FHeadersList.push_back({uniqueId, cached.From, cached.Subject, localName, folderName, cached.LocalDate, cached.Size});
    return;
  }
  int64_t size = item.Size;
  std::error_code ec;
  if (!localName.empty()) {
    const auto fileSize = std::filesystem::file_size(localName, ec);
    if (!ec) size = static_cast<int64_t>(fileSize);
  }
  FHeadersList.push_back({uniqueId, item.From.value_or(""), item.Subject.value_or(""), localName, folderName,
                          item.LocalDate, size});
}

void TKwSourceMailBase::ReportLoadFailure(const TKwMailItem& item, const std::string& fileName,
                                          const std::string& folderName) {
  // The loader's reason follows the item number, so an unreadable kind of file says why.
  std::string description = "Index: " + std::to_string(item.Index);
  if (!FMessage->LastError.empty()) description += " (" + FMessage->LastError + ")";
  const int entry = Log->AddErrorFull("Couldn't load message.", description, "", folderName, item.From.value_or(""),
                                      item.Subject.value_or(""), item.LocalDate);
  Log->GetError(entry).SourceFilename = fileName;
}

void TKwSourceMailBase::LoadAndProcess(const TKwMailItem& item, const std::string& uniqueId,
                                       const std::string& fileName, const std::string& localName, bool inStorage,
                                       bool inCache, const std::string& folderName) {
  TriggerStatusEvent("Processing", "Loading message ..");
  FMessage->Clear();
  FMessage->LastError.clear();
  // A message file of the source's own is read as its format even when the cache also
  // holds the message; only copies in the stores are compressed streams.
  const bool stored = (inStorage || inCache) && localName != fileName;
  bool decodedAhead = false;
  const bool loaded = LoadLocalCopy(localName, stored) || (decodedAhead = AdoptDecodedMessage(item)) ||
                      DoLoadMailItem(item, *FMessage);
  if (!loaded) {
    ReportLoadFailure(item, fileName, folderName);
    return FinishItem(item, folderName, ssError, nullptr);
  }
  FMessage->FolderName = folderName;
  std::string id = decodedAhead && !item.UniqueId.empty() ? item.UniqueId : FMessage->Headers->GetUniqueId();
  if (id.empty()) id = uniqueId.empty() ? kNoUniqueId : uniqueId;
  // A store that cannot tell the id before loading (a message file named without it) is
  // asked the processed-message log's question now, so that a second run saves nothing.
  if (uniqueId.empty() && SourceOptions->CopyToSourceLog && IsInSourceLog(id)) {
    TriggerProgressEvent(item.Index, folderName, std::to_string(item.Count), rsProcessingMessages);
    return;
  }
  AddMessageToCacheAndStorage(*FMessage, localName, inStorage, inCache, false);
  // The headers list is kept only when loading headers: an extracting run over millions
  // of messages would otherwise hold a row for each.
  const int errorsBefore = SubtreeErrorsCount();
  ProcessMessage(*FMessage);
  // Logged as processed only when every target took it, so that the next run tries a
  // message again whose export failed.
  bool targetsSucceeded = SubtreeErrorsCount() == errorsBefore && !IsAborted();
  ForEachChildTarget([&](TKwTargetBase& target) { targetsSucceeded = targetsSucceeded && !target.IsRunFailedBelow(); });
  if (targetsSucceeded && SourceOptions->CopyToSourceLog) AddToSourceLog(id, *FMessage);
  if (targetsSucceeded && IsDeleteAsked()) DeleteFromStore(item);
  FinishItem(item, folderName, targetsSucceeded ? ssProcessed : ssError, FMessage.get());
}

void TKwSourceMailBase::FinishItem(const TKwMailItem& item, const std::string& folderName, TSaveStatus status,
                                   const TKwMailMessage* loaded) {
  TriggerProgressEvent(item.Index, folderName, std::to_string(item.Count), rsProcessingMessages);
  Log->IncProcessed();
  if (!GlobalOptions || !GlobalOptions->DetailedLog) return;
  if (loaded) {
    const TKwHeaders& headers = *loaded->Headers;
    Log->AddMessageStatusFull(status, headers.From.Address, headers.Subject, GmtToLocal(headers.SubmitDate.GmtDate));
  } else {
    Log->AddMessageStatusFull(status, item.From.value_or(""), item.Subject.value_or(""), item.LocalDate);
  }
}

void TKwSourceMailBase::ProcessMailItem(const TKwMailItem& item, TKwFolderNode& folder) {
  const std::string folderName = folder.Info().GetFolderName();
  if (RunningStatus != rsProcessingMessages) SetRunningStatus(rsProcessingMessages);
  std::string fileName = item.FileName;
  if (fileName.empty() && item.ItemId.find('/') != std::string::npos && ValidEmailSource(item.ItemId))
    fileName = item.ItemId;
  std::string uniqueId = item.UniqueId, localName;
  bool inStorage = false, inCache = false;
  GetLocalFilename(uniqueId, fileName, localName, inStorage, inCache);

  auto progress = [&] { TriggerProgressEvent(item.Index, folderName, std::to_string(item.Count), rsProcessingMessages); };
  if (Filters->Mail->Enabled && !PassesMailFilter(item, uniqueId, localName, inCache)) return progress();
  if (SourceOptions->CopyToSourceLog && !uniqueId.empty() && IsInSourceLog(uniqueId)) return progress();

  if (FCurrentProcessType == fptLoadHeaders) {
    AddHeadersRow(item, uniqueId, localName, inCache, folderName);
    return FinishItem(item, folderName, ssProcessed, nullptr);
  }
  if (ExistMessageInTargets(uniqueId.empty() ? kNoUniqueId : uniqueId)) {
    Log->IncSkipped();
    return FinishItem(item, folderName, ssSkipped, nullptr);
  }
  LoadAndProcess(item, uniqueId, fileName, localName, inStorage, inCache, folderName);
}

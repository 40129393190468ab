#include "uKwActionBase.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <typeinfo>

#include <nlohmann/json.hpp>

#include "uKwActionLog.h"
#include "uKwAssert.h"
#include "uKwJobInfo.h"
#include "uKwJson.h"
#include "uKwRegFolders.h"
#include "uKwStream.h"
#include "uKwTargetBase.h"

namespace {

constexpr std::string_view kUnit = "Classes/uKwActionBase";
constexpr int kAddChildAssertLine = 399;
constexpr char kChildActions[] = "ChildActions";

// A stored child is added as AddChild adds it; a kind without a class fails the whole
// load with AddChild's assertion, since a tree never holds such a kind.
TKwActionBase& AddStoredChild(TKwActionBase& parent, const std::string& kindText) {
  const int kind = StringToSourceTargetItem(kindText);
  try {
    if (kind < 0) AssertionFailure(kUnit, kAddChildAssertLine);
    return parent.GetChild(parent.AddChild(static_cast<TSourceTargetItem>(kind)));
  } catch (const EAssertionFailed& failure) {
    throw EReadError("Unknown action kind \"" + kindText + "\": " + failure.what());
  }
}

}  // namespace

TKwActionBase::TKwActionBase()
    : AppDataFolder(GetCommonSettingsFolder()),
      TempFolder(GetTempFolder()),
      Log(std::make_unique<TKwActionLog>()) {}

TKwActionBase::~TKwActionBase() = default;

void TKwActionBase::Publish(TKwPublisher& p) {
  p.String("Name", Name);
  p.String("Caption", Caption);
  p.String("Description", Description);
  p.Boolean("Enabled", Enabled);  // no declared default: always stored
  p.Enum("ItemType", ItemType);
  p.Integer("Level", Level);
}

void TKwActionBase::Assign(const TKwPersistent& source) {
  if (typeid(source) != typeid(*this)) AssignError(source);
  TKwPersistent::Assign(source);
}

// ---------------------------------------------------------------- tree

int TKwActionBase::AddChild(TSourceTargetItem kind) {
  if (!HasActionClass(kind)) AssertionFailure(kUnit, kAddChildAssertLine);
  std::unique_ptr<TKwActionBase> child = CreateNewAction(kind);
  child->ParentControl = ParentControl;
  child->ParentAction = this;
  child->ItemType = kind;
  child->TempFolder = TempFolder;
  child->GlobalOptions = GlobalOptions;
  List.push_back(std::move(child));
  return GetChildCount() - 1;
}

void TKwActionBase::SetChild(int index, std::unique_ptr<TKwActionBase> action) {
  action->ParentAction = this;
  List.at(index) = std::move(action);
}

void TKwActionBase::CollectSearch(const std::function<bool(TKwActionBase&)>& match) {
  if (match(*this)) SearchResultList.push_back(this);
  for (auto& child : List) {
    child->SearchResultList.clear();
    child->CollectSearch(match);
    SearchResultList.insert(SearchResultList.end(), child->SearchResultList.begin(),
                            child->SearchResultList.end());
    child->SearchResultList.clear();
  }
}

void TKwActionBase::SearchChildren(const std::string& name) {
  SearchResultList.clear();
  CollectSearch([&name](TKwActionBase& a) { return a.Name == name; });
}

void TKwActionBase::SearchChildren(TSourceTargetItem kind) {
  SearchResultList.clear();
  CollectSearch([kind](TKwActionBase& a) { return a.ItemType == kind; });
}

// ---------------------------------------------------------------- run

void TKwActionBase::CopyRunContextTo(TKwActionBase& child) const {
  child.ParentControl = ParentControl;
  child.TempFolder = TempFolder;
  child.GlobalOptions = GlobalOptions;
  {
    TKwAbortHandler handler;
    {
      std::lock_guard<std::mutex> own(FAbortHandlerLock);
      handler = OnAbort;
    }
    std::lock_guard<std::mutex> lock(child.FAbortHandlerLock);
    child.OnAbort = std::move(handler);
  }
  child.OnAction = OnAction;
  child.OnComplete = OnComplete;
  child.OnFolder = OnFolder;
  child.OnImageDownload = OnImageDownload;
  child.OnProgress = OnProgress;
  child.OnStatus = OnStatus;
}

void TKwActionBase::BeginExecute() {
  TriggerStatusEvent(Caption, "Executing");
  Log->Clear();
  Log->ActionName = Name + " - " + Caption;
  Log->ItemType = ItemType;
}

void TKwActionBase::ForEachChildTarget(const std::function<void(TKwTargetBase&)>& call, bool finalising) {
  for (auto& child : List) {
    if (IsAborted() && !finalising) return;
    if (!child->Enabled) continue;
    if (auto* target = dynamic_cast<TKwTargetBase*>(child.get())) call(*target);
  }
}

TKwDecodeDepth TKwActionBase::DecodeDepthOfSubtree() const {
  TKwDecodeDepth depth = OwnDecodeDepth();
  for (const auto& child : List)
    if (child->Enabled) depth = std::max(depth, child->DecodeDepthOfSubtree());
  return depth;
}

bool TKwActionBase::SubtreeReadsBounceVerdict() const {
  if (ReadsBounceVerdict()) return true;
  for (const auto& child : List)
    if (child->Enabled && child->SubtreeReadsBounceVerdict()) return true;
  return false;
}

int TKwActionBase::SubtreeErrorsCount() const {
  int count = Log->ErrorsCount();
  for (const auto& child : List) count += child->SubtreeErrorsCount();
  return count;
}

void TKwActionBase::Execute() {
  BeginExecute();
  for (auto& child : List) {
    if (IsAborted()) break;
    if (!child->Enabled) continue;
    TriggerActionEvent(child->Caption, ItemType);
    CopyRunContextTo(*child);
    child->Execute();
  }
}

void TKwActionBase::ReportNotAvailable() {
  BeginExecute();
  std::string text = Caption + " is not available in this build";
  Log->AddErrorFull(text, "Executing", "", "", "", "", 0);
  TriggerStatusEvent(Caption, text);
}

void TKwActionBase::Abort() {
  Aborted = true;
  for (auto& child : List) child->Abort();
  TriggerAbortEvent();
}

void TKwActionBase::SetRunningStatus(TRunningStatus status) {
  static constexpr const char* kTexts[] = {
      "Paused",      "Initializing",         "Initialized", "Processing", "Downloading Images",
      "Initializing Folders", "Processing Messages", "Aborted", "Finished", "Finished", ""};
  static_assert(std::size(kTexts) == TRunningStatusCount);
  RunningStatus = status;
  if (status == rsMarquee) return;
  std::string second;
  if (status == rsExtractCompleted) second = std::to_string(Log->Processed) + " processed";
  TriggerStatusEvent(kTexts[status], second);
}

// ---------------------------------------------------------------- persistence

void TKwActionBase::WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) {
  if (List.empty() || !prefix.empty()) return;
  writer.WritePropName(kChildActions);
  writer.WriteListBegin();
  writer.WriteInteger(GetChildCount());
  for (auto& child : List) {
    writer.WriteString(SourceTargetItemToString(child->ItemType));
    WriteObject(writer, *child);
  }
  writer.WriteListEnd();
}

bool TKwActionBase::ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) {
  if (name != kChildActions) return false;
  ReadChildActions(reader);
  return true;
}

void TKwActionBase::ReadChildActions(TKwPropertyReader& reader) {
  reader.ReadListBegin();
  int64_t count = reader.ReadInteger();
  for (int64_t i = 0; i < count && !reader.EndOfList(); ++i) {
    TKwActionBase& child = AddStoredChild(*this, reader.ReadString());
    ReadObject(reader, child, LoadWarningSink());
  }
  reader.ReadListEnd();
}

std::vector<std::string>& TKwActionBase::LoadWarningSink() {
  TKwActionBase* root = this;
  while (root->ParentAction) root = root->ParentAction;
  return root->FLoadWarnings;
}

void TKwActionBase::DefinedPropertiesToJson(nlohmann::ordered_json& json) {
  if (List.empty()) return;
  nlohmann::ordered_json children = nlohmann::ordered_json::array();
  for (auto& child : List) {
    nlohmann::ordered_json c;
    c["kind"] = SourceTargetItemToString(child->ItemType);
    PropertiesToJson(*child, c);
    c.erase("ItemType");
    children.push_back(std::move(c));
  }
  json["children"] = std::move(children);
}

void TKwActionBase::DefinedPropertiesFromJson(const nlohmann::ordered_json& json,
                                              std::vector<std::string>& warnings) {
  auto it = json.find("children");
  if (it == json.end()) return;
  if (!it->is_array()) {
    warnings.push_back("\"children\" must be an array");
    return;
  }
  for (const auto& c : *it) {
    std::string kindText = c.is_object() && c.contains("kind") && c["kind"].is_string()
                               ? c["kind"].get<std::string>() : std::string();
    TKwActionBase& child = AddStoredChild(*this, kindText);
    const TSourceTargetItem kind = child.ItemType;
    PropertiesFromJson(child, c, warnings, {"kind", "children", "ItemType"});
    child.ItemType = kind;
  }
}

void TKwActionBase::SaveToStream(std::string& stream) { stream = SaveObjectToBytes(*this); }

bool TKwActionBase::LoadFromStream(std::string_view stream, std::string& error) {
  FLoadWarnings.clear();
  if (stream.empty() || static_cast<uint8_t>(stream[0]) != vaList) {
    error = "Not an action stream";
    return false;
  }
  return LoadObjectFromBytes(stream, *this, FLoadWarnings, error);
}

std::string TKwActionBase::SaveToString() {
  std::string stream;
  SaveToStream(stream);
  return EncodeBase64Lines(stream);
}

bool TKwActionBase::LoadFromString(const std::string& text, std::string& error) {
  std::string stream;
  // A job file's trailer (or older-form id) follows the action text; the text ends there.
  if (!DecodeBase64(JobFileActionText(text), stream)) {
    error = "Not an action file: the text is not base64";
    return false;
  }
  return LoadFromStream(stream, error);
}

bool TKwActionBase::SaveToFile(const std::string& fileName, std::string& error) {
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  if (!out) {
    error = "Cannot create file \"" + fileName + "\"";
    return false;
  }
  out << SaveToString();
  out.close();
  if (!out) {
    error = "Cannot write file \"" + fileName + "\"";
    return false;
  }
  return true;
}

bool TKwActionBase::LoadFromFile(const std::string& fileName, std::string& error) {
  std::ifstream in(fileName, std::ios::binary);
  if (!in) {
    error = "Cannot open file \"" + fileName + "\"";
    return false;
  }
  std::ostringstream text;
  text << in.rdbuf();
  return LoadFromString(text.str(), error);
}

// ---------------------------------------------------------------- logs and events

void TKwActionBase::SetLog(std::unique_ptr<TKwActionLog> log) { Log = std::move(log); }

namespace {

int DepthInTree(const TKwActionBase& action) {
  int depth = 0;
  for (const TKwActionBase* a = action.ParentAction; a; a = a->ParentAction) ++depth;
  return depth;
}

void AddLogsBelow(TKwMainLog& mainLog, TKwActionBase& action, int depth) {
  for (int i = 0; i < action.GetChildCount(); ++i) {
    TKwActionBase& child = action.GetChild(i);
    if (!child.Enabled) continue;
    int index = mainLog.Add();
    mainLog.SetItem(index, child.GetLog());
    mainLog.GetItem(index).Level = depth + 1;
    AddLogsBelow(mainLog, child, depth + 1);
  }
}

}  // namespace

void TKwActionBase::AddChildActionsToMainLog(TKwMainLog& mainLog, TKwActionBase& action) {
  int depth = DepthInTree(action);
  int index = mainLog.Add();
  mainLog.SetItem(index, action.GetLog());
  mainLog.GetItem(index).Level = depth;
  AddLogsBelow(mainLog, action, depth);
}

void TKwActionBase::AddChildActionsToMainLog2(TKwMainLog& mainLog, TKwActionBase& action) {
  AddLogsBelow(mainLog, action, DepthInTree(action));
}

void TKwActionBase::TriggerAbortEvent() {
  TKwAbortHandler handler;
  {
    std::lock_guard<std::mutex> lock(FAbortHandlerLock);
    handler = OnAbort;
  }
  if (handler) handler(*this);
}
void TKwActionBase::TriggerActionEvent(const std::string& caption, TSourceTargetItem kind) {
  if (OnAction) OnAction(*this, caption, kind);
}
void TKwActionBase::TriggerCompleteEvent() {
  if (OnComplete) OnComplete(*this);
}
void TKwActionBase::TriggerFolderEvent(const std::string& folderName, int index) {
  if (OnFolder) OnFolder(*this, folderName, index);
}
void TKwActionBase::TriggerFolderCompleteEvent() {
  if (OnFolderComplete) OnFolderComplete(*this);
}
void TKwActionBase::TriggerImageDownloadEvent(int position, int total) {
  if (OnImageDownload) OnImageDownload(*this, position, total);
}
void TKwActionBase::TriggerProgressEvent(int position, const std::string& text1,
                                         const std::string& text2, TRunningStatus status) {
  if (OnProgress) OnProgress(*this, position, text1, text2, status);
}
void TKwActionBase::TriggerStatusEvent(const std::string& text1, const std::string& text2) {
  if (OnStatus) OnStatus(*this, text1, text2);
}

void TKwActionBase::LocalFolderCompleteEvent(TKwActionBase&) { TriggerFolderCompleteEvent(); }

void TKwActionBase::LocalImageDownloadEvent(TKwActionBase&, int position, int total) {
  TriggerImageDownloadEvent(position, total);
}

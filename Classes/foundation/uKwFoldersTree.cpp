#include "uKwFoldersTree.h"

#include <algorithm>
#include <cctype>

#include <nlohmann/json.hpp>

#include "uKwJson.h"
#include "uKwStream.h"
#include "uKwSubs.h"

namespace {

constexpr std::string_view kPathSeparator = "/";

std::string JoinPath(const std::vector<std::string>& components, std::string_view separator) {
  std::string path;
  for (size_t i = 0; i < components.size(); ++i) {
    if (i > 0) path += separator;
    path += components[i];
  }
  return path;
}

// Byte-wise with ASCII letters folded: folder names sort the same on every locale.
bool LessIgnoringCase(const std::string& a, const std::string& b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) < std::tolower(static_cast<unsigned char>(y));
  });
}

void CollectNodes(const TKwFoldersTree::TNodes& nodes, std::vector<TKwFolderNode*>& out) {
  for (const auto& node : nodes) {
    out.push_back(node.get());
    CollectNodes(node->Children(), out);
  }
}

void WriteStringList(TKwPropertyWriter& writer, const TStringList& list) {
  writer.WriteListBegin();
  for (const auto& item : list) writer.WriteString(item);
  writer.WriteListEnd();
}

TStringList ReadStringList(TKwPropertyReader& reader) {
  TStringList list;
  reader.ReadListBegin();
  while (!reader.EndOfList()) list.push_back(reader.ReadString());
  reader.ReadListEnd();
  return list;
}

}  // namespace

// ---------------------------------------------------------------- TKwFolderInfo

void TKwFolderInfo::Publish(TKwPublisher& publisher) {
  publisher.Boolean("Enabled", Enabled);
  publisher.String("EntryIdW", EntryIdW);
  publisher.String("FolderFile", FolderFile);
  publisher.Integer("FolderId", FolderId);
  publisher.String("FolderIdStr", FolderIdStr);
  publisher.String("FolderName", FolderName);
  publisher.String("FolderNameNew", FolderNameNew);
  publisher.String("FolderNameHD", FolderNameHD);
  publisher.String("FolderNameReplacement", FolderNameReplacement);
  publisher.String("FolderPath", FolderPath);
  publisher.String("FolderPathClean", FolderPathClean);
  publisher.String("FolderPathHDFile", FolderPathHDFile);
  publisher.String("FolderPathHD", FolderPathHD);
  publisher.String("FolderPathIMAP", FolderPathIMAP);
  publisher.Enum("FolderStatus", FolderStatus);
  publisher.Boolean("FolderUpFile", FolderUpFile);
  publisher.String("MailBoxDN", MailBoxDN);
  publisher.Enum("MailFolderType", MailFolderType);
  publisher.Integer("MessagesCount", MessagesCount);
  publisher.String("MsgStoreName", MsgStoreName);
  publisher.Strings("UniqueIdList", UniqueIdList);
  publisher.Strings("OperationsUidList", OperationsUidList);
  publisher.String("MsgStoreEntryIdW", MsgStoreEntryIdW);
  publisher.Integer("NodeIndex", NodeIndex);
  publisher.Integer("ParentFolderId", ParentFolderId);
  publisher.String("ParentFolderIdStr", ParentFolderIdStr);
  publisher.Strings("ParentsList", ParentsList);
  publisher.Boolean("Processed", Processed);
  publisher.Boolean("ProcessFolder", ProcessFolder);
  publisher.Boolean("RunTimeTarget", RunTimeTarget);
  publisher.Integer("UnreadMessages", UnreadMessages);
}

std::string TKwFolderInfo::GetFolderName() const {
  if (RunTimeTarget && !FolderNameReplacement.empty()) return FolderNameReplacement;
  return FolderName;
}

std::string TKwFolderInfo::SaveToStream() {
  TKwPropertyWriter writer;
  WriteObject(writer, *this);
  return writer.TakeData();
}

bool TKwFolderInfo::LoadFromStream(std::string_view bytes, std::string& errorText,
                                   std::vector<std::string>* warnings) {
  std::vector<std::string> ignored;
  TKwPropertyReader reader(bytes);
  try {
    ReadObject(reader, *this, warnings ? *warnings : ignored);
    return true;
  } catch (const EReadError& e) {
    errorText = e.what();
    return false;
  }
}

// ---------------------------------------------------------------- nodes

int TKwFolderNode::Level() const {
  int level = 0;
  for (const TKwFolderNode* p = FParent; p; p = p->FParent) ++level;
  return level;
}

TKwFolderNode& TKwFoldersTree::AddChild(TKwFolderNode* parent) {
  auto node = std::make_unique<TKwFolderNode>();
  node->FParent = parent;
  TNodes& siblings = SiblingsOf(parent);
  siblings.push_back(std::move(node));
  return *siblings.back();
}

void TKwFoldersTree::DeleteItem(TKwFolderNode& node) {
  TNodes& siblings = SiblingsOf(node.FParent);
  std::erase_if(siblings, [&node](const auto& candidate) { return candidate.get() == &node; });
}

int TKwFoldersTree::Count() const { return static_cast<int>(Nodes().size()); }

std::vector<TKwFolderNode*> TKwFoldersTree::Nodes() const {
  std::vector<TKwFolderNode*> nodes;
  CollectNodes(FRoots, nodes);
  return nodes;
}

void TKwFoldersTree::ForEach(const std::function<void(TKwFolderNode&)>& visit) const {
  for (TKwFolderNode* node : Nodes()) visit(*node);
}

// ---------------------------------------------------------------- tree properties, Assign

void TKwFoldersTree::Publish(TKwPublisher& publisher) {
  publisher.Strings("Bookmarks", Bookmarks);
  publisher.String("InvalidCharacters", InvalidCharacters);
  publisher.Strings("RecentPaths", RecentPaths);
  publisher.String("ReplaceChar", ReplaceChar);
  publisher.Boolean("ReplaceInvalidCharacters", ReplaceInvalidCharacters);
}

void TKwFoldersTree::Assign(const TKwPersistent& source) {
  const auto* tree = dynamic_cast<const TKwFoldersTree*>(&source);
  if (!tree) AssignError(source);
  if (tree == this) return;
  TKwPersistent::Assign(source);
  FRoots.clear();
  CopyNodes(tree->FRoots, nullptr);
}

void TKwFoldersTree::CopyNodes(const TNodes& from, TKwFolderNode* parent) {
  for (const auto& node : from) {
    TKwFolderNode& copy = AddChild(parent);
    copy.Name = node->Name;
    copy.Info().Assign(node->Info());
    CopyNodes(node->FChildren, &copy);
  }
}

// ---------------------------------------------------------------- searching and marking

std::string TKwFoldersTree::StorePath(const TKwFolderNode& node) {
  std::vector<std::string> names;
  for (const TKwFolderNode* p = &node; p; p = p->Parent()) names.push_back(p->Info().FolderName);
  std::reverse(names.begin(), names.end());
  return JoinPath(names, kPathSeparator);
}

TKwFolderNode* TKwFoldersTree::SearchFolderInfo(const TKwFolderInfo& info) const {
  for (TKwFolderNode* node : Nodes())
    if (&node->Info() == &info) return node;
  return nullptr;
}

TKwFolderNode* TKwFoldersTree::SearchFolderPath(std::string_view path) const {
  for (TKwFolderNode* node : Nodes())
    if (StorePath(*node) == path) return node;
  return nullptr;
}

TKwFolderNode* TKwFoldersTree::SearchEntryId(std::string_view entryId) const {
  if (entryId.empty()) return nullptr;
  for (TKwFolderNode* node : Nodes())
    if (node->Info().EntryIdW == entryId) return node;
  return nullptr;
}

void TKwFoldersTree::SetFolderStatus(std::string_view path, TEpFolderStatus status) {
  if (TKwFolderNode* node = SearchFolderPath(path)) node->Info().FolderStatus = status;
}

void TKwFoldersTree::SetFolderEnabledStatus(std::string_view path, bool enabled) {
  if (TKwFolderNode* node = SearchFolderPath(path)) node->Info().Enabled = enabled;
}

namespace {

void MarkChildNodes(const TKwFoldersTree::TNodes& nodes, TEpFolderStatus inherited) {
  for (const auto& node : nodes) {
    TEpFolderStatus& status = node->Info().FolderStatus;
    TEpFolderStatus below = inherited;
    if (inherited != fsUnchecked) {
      status = inherited;
    } else {
      if (status == fsParentIncluded || status == fsParentExcluded) status = fsUnchecked;
      if (status == fsIncludeSubfolders) below = fsParentIncluded;
      if (status == fsExcludeSubfolders) below = fsParentExcluded;
    }
    MarkChildNodes(node->Children(), below);
  }
}

}  // namespace

void TKwFoldersTree::MarkIncludedExcludedChildNodes() { MarkChildNodes(FRoots, fsUnchecked); }

void TKwFoldersTree::CompareAndSetTargetTree(TKwFoldersTree& target) const {
  for (TKwFolderNode* from : Nodes()) {
    const TKwFolderInfo& info = from->Info();
    TKwFolderNode* to = info.EntryIdW.empty() ? target.SearchFolderPath(StorePath(*from))
                                              : target.SearchEntryId(info.EntryIdW);
    if (!to) continue;
    TKwFolderInfo& copy = to->Info();
    copy.FolderStatus = info.FolderStatus;
    copy.Enabled = info.Enabled;
    copy.ProcessFolder = info.ProcessFolder;
    copy.FolderNameNew = info.FolderNameNew;
  }
}

void TKwFoldersTree::PutParents() {
  for (TKwFolderNode* node : Nodes())
    node->Info().ParentFolderId = node->Parent() ? node->Parent()->Info().FolderId : 0;
}

void TKwFoldersTree::PutParentsStr() {
  for (TKwFolderNode* node : Nodes())
    node->Info().ParentFolderIdStr = node->Parent() ? node->Parent()->Info().FolderIdStr : "";
}

// ---------------------------------------------------------------- paths

namespace {
// A store's folder may be named "..": on disk that would climb out of the target folder.
std::string DiskComponent(const std::string& component) {
  std::string clean = ReplaceInvalidCharactersFilename(component, "_");
  if (clean.empty() || clean == "." || clean == "..") return "_";
  return clean;
}
}  // namespace

// Resets and recomputes the folder's FolderNameReplacement; returns the name the folder
// contributes to display paths.
std::string TKwFoldersTree::ComponentName(TKwFolderInfo& info, bool runTime) const {
  info.FolderNameReplacement.clear();
  if (runTime) {
    if (!info.FolderNameNew.empty()) {
      info.FolderNameReplacement = info.FolderNameNew;
    } else if (ReplaceInvalidCharacters) {
      std::string replaced = ReplaceInvalidCharactersFoldername(info.FolderName, InvalidCharacters, ReplaceChar);
      if (replaced != info.FolderName) info.FolderNameReplacement = replaced;
    }
  }
  return info.FolderNameReplacement.empty() ? info.FolderName : info.FolderNameReplacement;
}

void TKwFoldersTree::BuildNodePaths(TKwFolderNode& node, bool runTime) {
  std::vector<std::string> path, clean, hd, imap;
  TStringList parents;
  for (TKwFolderNode* p = &node; p; p = p->Parent()) {
    TKwFolderInfo& info = p->Info();
    std::string component = ComponentName(info, runTime);
    if (info.Enabled) {
      path.push_back(component);
      clean.push_back(DiskComponent(component));
      parents.insert(parents.begin(), component);
    }
    if (!info.FolderNameHD.empty()) {
      hd.push_back(info.FolderNameHD);
      imap.push_back(component);
    }
  }
  for (auto* components : {&path, &clean, &hd, &imap}) std::reverse(components->begin(), components->end());
  TKwFolderInfo& info = node.Info();
  info.ParentsList = std::move(parents);
  info.FolderPath = JoinPath(path, kPathSeparator);
  info.FolderPathClean = JoinPath(clean, kPathSeparator);
  info.FolderPathHD = JoinPath(hd, kPathSeparator);
  info.FolderPathIMAP = JoinPath(imap, "/");
  info.FolderPathHDFile = info.FolderUpFile ? FolderNameUp(info.FolderPathHD) : info.FolderPathHD;
}

void TKwFoldersTree::SortSiblings(TNodes& nodes) {
  std::stable_sort(nodes.begin(), nodes.end(),
                   [](const auto& a, const auto& b) { return LessIgnoringCase(a->Name, b->Name); });
  for (auto& node : nodes) SortSiblings(node->FChildren);
}

void TKwFoldersTree::BuildFoldersPath(bool runTime) {
  int32_t counter = 1;
  for (TKwFolderNode* node : Nodes()) {
    // The name is taken before this pass recomputes the node's replacement.
    node->Name = node->Info().GetFolderName();
    node->Info().NodeIndex = counter++;
    node->Info().ParentsList.clear();
    BuildNodePaths(*node, runTime);
  }
  SortSiblings(FRoots);
}

// ---------------------------------------------------------------- persistence

void TKwFoldersTree::WriteItems(TKwPropertyWriter& writer) const {
  writer.WriteListBegin();
  writer.WriteListBegin();
  for (TKwFolderNode* node : Nodes()) {
    writer.WriteInteger(node->Level());
    WriteObject(writer, node->Info());
  }
  writer.WriteListEnd();
  WriteStringList(writer, RecentPaths);
  WriteStringList(writer, Bookmarks);
  writer.WriteListEnd();
}

void TKwFoldersTree::ReadItems(TKwPropertyReader& reader, std::vector<std::string>& warnings) {
  FRoots.clear();
  RecentPaths.clear();
  Bookmarks.clear();
  reader.ReadListBegin();
  reader.ReadListBegin();
  TKwFolderNode* previous = nullptr;
  while (!reader.EndOfList()) {
    // A node without a depth (an object straight away) is taken as a root.
    int64_t depth = reader.NextValue() == vaList ? 0 : reader.ReadInteger();
    int previousDepth = previous ? previous->Level() : -1;
    int64_t kept = std::clamp<int64_t>(depth, 0, std::min(previousDepth + 1, kMaxDepth));
    if (kept != depth)
      warnings.push_back("TKwFoldersTree: folder depth " + std::to_string(depth) + " read as " +
                         std::to_string(kept));
    TKwFolderNode* parent = previous;
    for (int level = previousDepth; level >= kept; --level) parent = parent->Parent();
    TKwFolderNode& node = AddChild(parent);
    ReadObject(reader, node.Info(), warnings);
    node.Name = node.Info().GetFolderName();
    previous = &node;
  }
  reader.ReadListEnd();
  RecentPaths = ReadStringList(reader);
  Bookmarks = ReadStringList(reader);
  reader.ReadListEnd();
}

std::string TKwFoldersTree::SaveToStream() const {
  TKwPropertyWriter writer;
  WriteItems(writer);
  return writer.TakeData();
}

bool TKwFoldersTree::LoadFromStream(std::string_view bytes, std::string& errorText,
                                    std::vector<std::string>* warnings) {
  std::vector<std::string> ignored;
  TKwPropertyReader reader(bytes);
  try {
    ReadItems(reader, warnings ? *warnings : ignored);
    return true;
  } catch (const EReadError& e) {
    errorText = e.what();
    return false;
  }
}

// ---------------------------------------------------------------- JSON

namespace {

nlohmann::ordered_json NodesToJson(const TKwFoldersTree::TNodes& nodes) {
  nlohmann::ordered_json items = nlohmann::ordered_json::array();
  for (const auto& node : nodes) {
    nlohmann::ordered_json item = nlohmann::ordered_json::object();
    PropertiesToJson(node->Info(), item);
    if (node->HasChildren()) item["children"] = NodesToJson(node->Children());
    items.push_back(std::move(item));
  }
  return items;
}

}  // namespace

nlohmann::ordered_json TKwFoldersTree::ItemsToJson() const { return NodesToJson(FRoots); }

void TKwFoldersTree::ItemsFromJson(const nlohmann::ordered_json& items, std::vector<std::string>& warnings) {
  FRoots.clear();
  // Explicit stack: the nesting of the input decides the depth, not the call stack.
  struct TPending {
    const nlohmann::ordered_json* Items;
    TKwFolderNode* Parent;
    int Depth;
  };
  std::vector<TPending> pending{{&items, nullptr, 0}};
  while (!pending.empty()) {
    TPending level = pending.back();
    pending.pop_back();
    if (!level.Items->is_array()) {
      warnings.push_back("TKwFoldersTree: folders are not a JSON array; skipped");
      continue;
    }
    for (const auto& item : *level.Items) {
      if (!item.is_object()) {
        warnings.push_back("TKwFoldersTree: folder entry is not a JSON object; skipped");
        continue;
      }
      TKwFolderNode& node = AddChild(level.Parent);
      PropertiesFromJson(node.Info(), item, warnings, {"children"});
      node.Name = node.Info().GetFolderName();
      auto children = item.find("children");
      if (children == item.end()) continue;
      if (level.Depth >= kMaxDepth) {
        warnings.push_back("TKwFoldersTree: folders nested deeper than " + std::to_string(kMaxDepth) +
                           " skipped");
        continue;
      }
      pending.push_back({&*children, &node, level.Depth + 1});
    }
  }
}

#pragma once
// The folders of a mail store as a tree: the user's selection, the output paths that
// targets recreate, and per folder the ids of the items to process.
//
// TKwFoldersTree owns its nodes, each node owns its TKwFolderInfo and its children.
// Node pointers and folder-info references stay valid until their node is deleted, the
// tree is cleared, re-read or assigned over. Used from one thread.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "uKwPersistent.h"

// persisted: never reorder
#define KW_EP_FOLDER_STATUS(X)                                                       \
  X(fsUnchecked) X(fsChecked) X(fsGrayed) X(fsIncludeSubfolders) X(fsExcludeSubfolders) \
  X(fsParentIncluded) X(fsParentExcluded) X(fsNormal)
KW_ENUM(TEpFolderStatus, KW_EP_FOLDER_STATUS);
static_assert(TEpFolderStatusCount == 8);

// persisted: never reorder
#define KW_MAIL_FOLDER_TYPE(X) \
  X(mftNormal) X(mftInbox) X(mftDeleted) X(mftDrafts) X(mftJunk) X(mftOutbox) X(mftSearch) X(mftSentItems)
KW_ENUM(TMailFolderType, KW_MAIL_FOLDER_TYPE);
static_assert(TMailFolderTypeCount == 8);

// One folder of a store. The path fields, FolderNameReplacement, NodeIndex and ParentsList
// are computed by TKwFoldersTree::BuildFoldersPath; the rest comes from the store's loader
// and from the user.
class TKwFolderInfo : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TKwFolderInfo"; }
  void Publish(TKwPublisher& publisher) override;

  // FolderNameReplacement when RunTimeTarget is set and it is not empty, else FolderName.
  std::string GetFolderName() const;

  // The published properties alone (ListBegin, properties, ListEnd).
  std::string SaveToStream();
  // False with `errorText` set when the bytes are not a property list; properties read
  // before the damage are kept.
  bool LoadFromStream(std::string_view bytes, std::string& errorText,
                      std::vector<std::string>* warnings = nullptr);

  bool Enabled = true;
  std::string EntryIdW;
  std::string FolderFile;
  int32_t FolderId = 0;
  std::string FolderIdStr;
  std::string FolderName;
  std::string FolderNameNew;
  std::string FolderNameHD;
  std::string FolderNameReplacement;
  std::string FolderPath;
  std::string FolderPathClean;
  std::string FolderPathHDFile;
  std::string FolderPathHD;
  std::string FolderPathIMAP;
  TEpFolderStatus FolderStatus = fsUnchecked;
  bool FolderUpFile = false;
  std::string MailBoxDN;
  TMailFolderType MailFolderType = mftNormal;
  int32_t MessagesCount = 0;
  std::string MsgStoreName;
  TStringList UniqueIdList;
  TStringList OperationsUidList;
  std::string MsgStoreEntryIdW;
  int32_t NodeIndex = 0;
  int32_t ParentFolderId = 0;
  std::string ParentFolderIdStr;
  TStringList ParentsList;
  bool Processed = false;
  bool ProcessFolder = false;
  bool RunTimeTarget = false;
  int32_t UnreadMessages = 0;
};

// One node of a TKwFoldersTree. Created only by the tree; owns its folder info and its
// children, refers to its parent (null for a root).
class TKwFolderNode {
 public:
  // The display name; BuildFoldersPath sets it to the folder's GetFolderName.
  std::string Name;

  TKwFolderInfo& Info() { return *FInfo; }
  const TKwFolderInfo& Info() const { return *FInfo; }
  TKwFolderNode* Parent() const { return FParent; }
  const std::vector<std::unique_ptr<TKwFolderNode>>& Children() const { return FChildren; }
  bool HasChildren() const { return !FChildren.empty(); }
  int Level() const;  // 0 for a root

 private:
  friend class TKwFoldersTree;
  std::unique_ptr<TKwFolderInfo> FInfo = std::make_unique<TKwFolderInfo>();
  TKwFolderNode* FParent = nullptr;  // not owned
  std::vector<std::unique_ptr<TKwFolderNode>> FChildren;
};

class TKwFoldersTree : public TKwPersistent {
 public:
  using TNodes = std::vector<std::unique_ptr<TKwFolderNode>>;

  std::string_view ClassName() const override { return "TKwFoldersTree"; }
  // Bookmarks, InvalidCharacters, RecentPaths, ReplaceChar, ReplaceInvalidCharacters
  // (alphabetical). The nodes are not published: owners stream them with WriteItems.
  void Publish(TKwPublisher& publisher) override;
  // Copies the published properties and every node, deeply. Throws EConvertError for an
  // object of another class.
  void Assign(const TKwPersistent& source) override;

  // A new node with a fresh folder info, last child of `parent` (nullptr: a new root).
  // REQUIRES: `parent` belongs to this tree.
  TKwFolderNode& AddChild(TKwFolderNode* parent);
  TKwFolderInfo& GetItem(TKwFolderNode& node) { return node.Info(); }
  // Copies `info` into the node's own folder info.
  void SetItem(TKwFolderNode& node, const TKwFolderInfo& info) { node.Info().Assign(info); }
  // Removes the node with its subtree. REQUIRES: `node` belongs to this tree.
  void DeleteItem(TKwFolderNode& node);
  // Removes every node; the published properties are kept.
  void Clear() { FRoots.clear(); }

  const TNodes& Roots() const { return FRoots; }
  int Count() const;
  // Every node in tree order: a parent before its children, siblings in order.
  std::vector<TKwFolderNode*> Nodes() const;
  void ForEach(const std::function<void(TKwFolderNode&)>& visit) const;

  // The node owning exactly this folder-info object, or nullptr.
  TKwFolderNode* SearchFolderInfo(const TKwFolderInfo& info) const;
  // The first node in tree order whose store path (the FolderName of every node from the
  // root down, joined with "/") equals `path`, or nullptr.
  TKwFolderNode* SearchFolderPath(std::string_view path) const;
  // The first node in tree order with this non-empty EntryIdW, or nullptr.
  TKwFolderNode* SearchEntryId(std::string_view entryId) const;
  static std::string StorePath(const TKwFolderNode& node);

  // Set a field of the node found by SearchFolderPath; an unknown path changes nothing.
  void SetFolderStatus(std::string_view path, TEpFolderStatus status);
  void SetFolderEnabledStatus(std::string_view path, bool enabled);

  // Below a folder marked fsIncludeSubfolders (fsExcludeSubfolders) every descendant
  // becomes fsParentIncluded (fsParentExcluded); the outermost mark wins. A node still
  // marked fsParentIncluded/fsParentExcluded without such an ancestor becomes fsUnchecked.
  void MarkIncludedExcludedChildNodes();
  // Carries the user's choices (FolderStatus, Enabled, ProcessFolder, FolderNameNew) of
  // every node of this tree to the node of `target` that stands for the same folder: the
  // same EntryIdW when this node has one, else the same store path. Other target nodes
  // are left alone.
  void CompareAndSetTargetTree(TKwFoldersTree& target) const;
  // Fill ParentFolderId (ParentFolderIdStr) of every node from its parent's FolderId
  // (FolderIdStr); roots get 0 ("").
  void PutParents();
  void PutParentsStr();

  // Computes every node's name, NodeIndex, ParentsList and paths (separator "/"), then
  // sorts all siblings by name, case-insensitively. With `runTime` set, FolderNameNew and
  // the invalid-character replacement rename the components.
  void BuildFoldersPath(bool runTime);

  // Defined property of the owning source ("SourceFoldersItems"):
  //   ListBegin ListBegin { depth(int) folder-object } ListEnd
  //   ListBegin {RecentPaths string} ListEnd  ListBegin {Bookmarks string} ListEnd  ListEnd
  // `depth` is 0 for a root and records the shape of the tree.
  void WriteItems(TKwPropertyWriter& writer) const;
  // Replaces the nodes and both lists. Bad depths are clamped to the previous node's
  // depth + 1 (and to kMaxDepth). Throws EReadError when the stream is broken, keeping
  // every node read before the damage.
  void ReadItems(TKwPropertyReader& reader, std::vector<std::string>& warnings);
  std::string SaveToStream() const;
  // False with `errorText` set when the bytes are damaged; what was read before is kept.
  bool LoadFromStream(std::string_view bytes, std::string& errorText,
                      std::vector<std::string>* warnings = nullptr);

  // The nodes as a JSON array of folder objects, each with "children" when it has any.
  nlohmann::ordered_json ItemsToJson() const;
  // Replaces the nodes; entries that are not objects are skipped with a warning.
  void ItemsFromJson(const nlohmann::ordered_json& items, std::vector<std::string>& warnings);

  static constexpr int kMaxDepth = 256;  // deeper nodes read are attached at this depth

  TStringList Bookmarks;
  std::string InvalidCharacters;
  TStringList RecentPaths;
  std::string ReplaceChar;
  bool ReplaceInvalidCharacters = false;

 private:
  TNodes& SiblingsOf(TKwFolderNode* parent) { return parent ? parent->FChildren : FRoots; }
  void BuildNodePaths(TKwFolderNode& node, bool runTime);
  std::string ComponentName(TKwFolderInfo& info, bool runTime) const;
  void CopyNodes(const TNodes& from, TKwFolderNode* parent);
  static void SortSiblings(TNodes& nodes);

  TNodes FRoots;
};

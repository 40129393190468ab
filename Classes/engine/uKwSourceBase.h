#pragma once
// Bases of the actions that read a mail store (or a contact or calendar store) and feed
// their child targets. A source owns its folder tree, its options and its filters, and
// for the length of a run one reusable message, the variables lists of its children, its
// processed-message log, the e-mail cache and the local storage.
//
// The run (Execute) walks the selected folders and hands every item that passes the
// filters and the log to the enabled children through the five target calls. Concrete
// sources override the store operations (Connect, LoadFolders, ProcessMailFolder,
// DoLoadMailItem). One thread; Abort from another thread is seen between items.

#include <memory>
#include <optional>

#include "uKwActionBase.h"
#include "uKwFilters.h"
#include "uKwFoldersTree.h"
#include "uKwParameters.h"

class TKwEmailCacheExplorer;
class TKwHeaders;
class TKwMailMessage;
class TKwSourceLogDB;
class TKwStorageLocal;
class TKwTargetBase;
class TKwVariablesList;

// What a run does with each item. persisted: never reorder
#define KW_FOLDER_PROCESS_TYPE(X) X(fptLoadHeaders) X(fptExtractToStorage) X(fptExtractSelectedItems) X(fptExtractAll)
KW_ENUM(TFolderProcessType, KW_FOLDER_PROCESS_TYPE);

// One item of a folder as a source knows it before loading it. Filter data the source
// does not have stays unknown (empty optional), so that its filter condition passes.
struct TKwMailItem {
  int Index = 0;           // the number the source gives it (its own base, 0 or 1)
  int Count = 0;           // items in the folder
  std::string ItemId;      // the store's id of the item
  std::string UniqueId;    // when the source knows it already
  std::string FileName;    // a local message file holding the item, if any
  int64_t Size = 0;
  // Filter data the source has without loading the message.
  std::optional<std::string> From;
  std::optional<std::string> To;
  std::optional<std::string> Subject;
  std::optional<bool> IsRead;
  TDateTime LocalDate = 0;  // 0: not known
};

// The filter data and unique id a source reads from a message's header block.
void FillMailItemFromHeaders(const TKwHeaders& headers, TKwMailItem& item);

// One row of the headers list shown to the user.
struct TKwHeadersRow {
  std::string UniqueId, From, Subject, FileName, FolderName;
  TDateTime LocalDate = 0;
  int64_t Size = 0;
};

class TKwSourceBase : public TKwActionBase {
 public:
  TKwSourceBase();
  ~TKwSourceBase() override;
  std::string_view ClassName() const override { return "TKwSourceBase"; }
  void Publish(TKwPublisher& publisher) override;

  // The folder items persist beside the published properties as "SourceFoldersItems".
  void WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) override;
  bool ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) override;
  void DefinedPropertiesToJson(nlohmann::ordered_json& json) override;
  void DefinedPropertiesFromJson(const nlohmann::ordered_json& json, std::vector<std::string>& warnings) override;
  bool IsDefinedJsonMember(std::string_view name) const override {
    return name == "SourceFoldersItems" || TKwActionBase::IsDefinedJsonMember(name);
  }

  void Execute() override;

  // ---- store operations of a concrete source
  virtual bool Connect() { return true; }
  virtual void Disconnect() {}
  // Fills SourceFolders from the store.
  virtual bool LoadFolders() { return true; }
  virtual bool InitializeExtraction() { return true; }
  // The message the run loads every item into; null for sources of other things.
  virtual TKwMailMessage* RunMessage() { return nullptr; }
  virtual void FinalizeExtraction() {}
  virtual void ProcessFolder(TKwFolderNode& folder, TFolderProcessType processType);
  // Walks one folder's items; the base only resets the sampling list.
  virtual void ProcessMailFolder(TKwFolderNode& folder);

  bool IsConnected() const { return FConnected; }
  void SetConnected(bool connected);
  const std::vector<TKwHeadersRow>& HeadersList() const { return FHeadersList; }

  // A new source extracts everything; the desktop shell chooses otherwise per run.
  TFolderProcessType FolderProcessType = fptExtractAll;
  const std::unique_ptr<TKwFoldersTree> SourceFolders = std::make_unique<TKwFoldersTree>();
  const std::unique_ptr<TKwSourceOptions> SourceOptions = std::make_unique<TKwSourceOptions>();

 protected:
  // A tree without any selection (a job written by hand) is loaded from the store and
  // processed whole; a saved selection is honoured as stored.
  virtual bool InitializeSourceFolders();
  void RecurseFolders();
  bool IsFolderSelected(const TKwFolderInfo& info) const;

  TFolderProcessType FCurrentProcessType = fptExtractAll;
  std::vector<TKwHeadersRow> FHeadersList;
  bool FProcessAllFolders = false;

 private:
  std::vector<std::unique_ptr<TKwVariablesList>> FRunLists;
  bool FConnected = false;
};

class TKwSourceMailBase : public TKwSourceBase {
 public:
  TKwSourceMailBase();
  ~TKwSourceMailBase() override;
  std::string_view ClassName() const override { return "TKwSourceMailBase"; }
  void Publish(TKwPublisher& publisher) override;

  bool InitializeExtraction() override;
  void FinalizeExtraction() override;
  // The loop itself reads headers only; the e-mail cache and the local storage keep
  // bodies and attachments.
  TKwDecodeDepth OwnDecodeDepth() const override;
  TKwMailMessage* RunMessage() override { return FMessage.get(); }
  // Loading headers of a folder that already lists its items (UniqueIdList) walks that
  // list; everything else is the source's own walk.
  void ProcessFolder(TKwFolderNode& folder, TFolderProcessType processType) override;
  void ProcessMailFolder(TKwFolderNode& folder) override;

  // The per-item sequence: filters, processed-message log, duplicates in the targets,
  // load, cache and storage, targets, counting.
  void ProcessMailItem(const TKwMailItem& item, TKwFolderNode& folder);
  // Hands the loaded message to every enabled child; one target's failure is logged and
  // the others still get the message.
  void ProcessMessage(TKwMailMessage& message);
  // True when every enabled target already holds the message.
  bool ExistMessageInTargets(const std::string& uniqueId);
  void GenerateSourceId();

  // Loads item into message from the store (no local copy exists).
  virtual bool DoLoadMailItem(const TKwMailItem& item, TKwMailMessage& message);
  // A source that decodes ahead returns item's message here, already decoded; null when
  // it has none and DoLoadMailItem is to load it. item.UniqueId, when set, was worked out
  // from the returned message's headers.
  virtual std::unique_ptr<TKwMailMessage> TakeDecodedMessage(const TKwMailItem& item);
  // Gets back the message object that a decoded message replaced.
  virtual void RecycleMessage(std::unique_ptr<TKwMailMessage> message);
  // Stores that can remove a message say so and remove it here; it is called only after
  // every target took the message without an error.
  virtual bool CanDeleteMessages() const { return false; }
  virtual bool DeleteMessage(const TKwMailItem& item, std::string& error);

  const std::unique_ptr<TKwFilterOptions> Filters = std::make_unique<TKwFilterOptions>();
  std::string SourceId;  // GUID text given at the first extraction; names the processed-message log

  static constexpr char kNoUniqueId[] = "0000000000000000000000000";

 protected:
  // What every source's folder walk shares: the folder reported and counted, the sampling
  // list drawn, and visit called for each item number (1-based) that the range and
  // sampling filters let through, until aborted. listedPath names the folder in the log.
  void WalkFolderItems(TKwFolderNode& folder, int32_t count, const std::string& listedPath,
                       const std::function<void(int32_t number)>& visit);
  // The range and sampling filters on item number (1-based) of count.
  bool IsPastRange(int32_t number, int32_t count) const;
  bool IsItemSelected(int32_t number, int32_t count) const;
  // Counts and names a message that is not handed on because an earlier item of the same
  // folder has its unique id.
  void SkipDuplicateItem(const TKwMailItem& item, int firstIndex);

  bool PassesMailFilter(const TKwMailItem& item, const std::string& uniqueId, const std::string& localFile,
                        bool inCache);
  // Finds a local copy of the item; uniqueId is completed from the file name or the
  // cache's index when the caller did not know it.
  bool GetLocalFilename(std::string& uniqueId, const std::string& fileName, std::string& localName,
                        bool& inStorage, bool& inCache);
  void AddMessageToCacheAndStorage(TKwMailMessage& message, const std::string& fileName,
                                   bool& inStorage, bool& inCache, bool force);
  bool LoadLocalCopy(const std::string& localName, bool stored);
  bool AdoptDecodedMessage(const TKwMailItem& item);
  bool IsInSourceLog(const std::string& uniqueId);
  void AddToSourceLog(const std::string& uniqueId, TKwMailMessage& message);
  bool IsCacheEnabled() const;
  bool IsStorageEnabled() const;
  // Whether the user asked for messages to be removed from the store (the source option
  // or a target's DeleteSourceMessage).
  bool IsDeleteAsked();

  std::unique_ptr<TKwMailMessage> FMessage;  // reused for every item of a run
  std::unique_ptr<TKwSourceLogDB> FSourceLog;
  bool FSourceLogFailed = false;  // reported once per run
  std::unique_ptr<TKwEmailCacheExplorer> FCache;
  std::unique_ptr<TKwStorageLocal> FStorage;

 private:
  void AddHeadersRow(const TKwMailItem& item, const std::string& uniqueId, const std::string& localName,
                     bool inCache, const std::string& folderName);
  void LoadAndProcess(const TKwMailItem& item, const std::string& uniqueId, const std::string& fileName,
                      const std::string& localName, bool inStorage, bool inCache, const std::string& folderName);
  void ReportLoadFailure(const TKwMailItem& item, const std::string& fileName, const std::string& folderName);
  void DeleteFromStore(const TKwMailItem& item);
  // Step of every item that got past the filters and the processed-message log: progress,
  // count, and the detailed log's entry (from the loaded message when there is one).
  void FinishItem(const TKwMailItem& item, const std::string& folderName, TSaveStatus status,
                  const TKwMailMessage* loaded);

  bool FDeleteAsked = false;  // asked once per run
  bool FDeleteNoted = false;
};

class TKwSourceContactBase : public TKwSourceBase {
 public:
  std::string_view ClassName() const override { return "TKwSourceContactBase"; }
};

class TKwSourceCalendarBase : public TKwSourceBase {
 public:
  std::string_view ClassName() const override { return "TKwSourceCalendarBase"; }
};

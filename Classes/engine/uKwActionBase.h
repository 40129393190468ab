#pragma once
// TKwActionBase: base of every action (job, source, pass, target, simple action), the
// node of an action tree, its persistence as a property stream and its events.
//
// An action owns its children, its log and its option objects; it refers to its parent,
// to the shared global options and to the caller's ParentControl without owning them.
// A tree runs on its caller's thread; Abort may be called from any thread and acts only
// through the Aborted flag.

#include <atomic>
#include <mutex>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "uKwPersistent.h"
#include "uKwTypes.h"

class TKwActionBase;
class TKwActionLog;
class TKwGlobalOptions;
class TKwMainLog;
class TKwTargetBase;

using TKwStatusEvent = std::function<void(TKwActionBase& sender, const std::string& text1,
                                          const std::string& text2)>;
using TKwProgressEvent = std::function<void(TKwActionBase& sender, int position,
                                            const std::string& text1, const std::string& text2,
                                            TRunningStatus status)>;
using TKwActionEvent = std::function<void(TKwActionBase& sender, const std::string& caption,
                                          TSourceTargetItem kind)>;
using TKwFolderEvent = std::function<void(TKwActionBase& sender, const std::string& folderName, int index)>;
using TKwNotifyEvent = std::function<void(TKwActionBase& sender)>;
using TKwAbortHandler = TKwNotifyEvent;
using TKwImageDownloadEvent = std::function<void(TKwActionBase& sender, int position, int total)>;

class TKwActionBase : public TKwPersistent {
 public:
  TKwActionBase();
  ~TKwActionBase() override;

  std::string_view ClassName() const override { return "TKwActionBase"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;

  // ---- tree
  // Creates a child through CreateNewAction and appends it; returns its index. Does not
  // check IsChildItemPossible (the editor and the loader do).
  int AddChild(TSourceTargetItem kind);
  TKwActionBase& GetChild(int index) const { return *List.at(index); }
  void SetChild(int index, std::unique_ptr<TKwActionBase> action);
  int GetChildCount() const { return static_cast<int>(List.size()); }
  void ClearChildren() { List.clear(); }
  TActionRol GetActionRol() const { return GetItemActionRol(ItemType); }
  // Fill SearchResultList with the actions of the subtree (this one included) whose Name
  // or ItemType matches.
  void SearchChildren(const std::string& name);
  void SearchChildren(TSourceTargetItem kind);

  // ---- run
  virtual void Execute();
  virtual void Abort();
  bool IsAborted() const { return Aborted.load(); }
  void SetRunningStatus(TRunningStatus status);
  TRunningStatus GetRunningStatus() const { return RunningStatus; }
  // Whether this build carries out the kind; the others keep their settings only.
  virtual bool IsAvailable() const { return true; }
  // How much of each message this action reads itself; an action that does not say reads
  // everything. DecodeDepthOfSubtree adds what the enabled actions below it read.
  virtual TKwDecodeDepth OwnDecodeDepth() const { return TKwDecodeDepth::Everything; }
  TKwDecodeDepth DecodeDepthOfSubtree() const;
  // Whether this action reads the bounce verdict; one that does not say reads it unless it
  // reads the headers alone. SubtreeReadsBounceVerdict asks the enabled actions below too.
  virtual bool ReadsBounceVerdict() const { return OwnDecodeDepth() != TKwDecodeDepth::Headers; }
  bool SubtreeReadsBounceVerdict() const;
  // Adds "<Caption> is not available in this build" to the log and tells the status
  // handler; the run goes on with the next action.
  void ReportNotAvailable();

  // ---- persistence (base64 text of the property stream)
  void SaveToStream(std::string& stream);
  // False with a reason when the bytes are not an action stream; per-property problems
  // only add warnings.
  bool LoadFromStream(std::string_view stream, std::string& error);
  bool SaveToFile(const std::string& fileName, std::string& error);
  bool LoadFromFile(const std::string& fileName, std::string& error);
  std::string SaveToString();
  bool LoadFromString(const std::string& text, std::string& error);
  const std::vector<std::string>& LoadWarnings() const { return FLoadWarnings; }

  void WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) override;
  bool ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) override;
  void DefinedPropertiesToJson(nlohmann::ordered_json& json) override;
  void DefinedPropertiesFromJson(const nlohmann::ordered_json& json, std::vector<std::string>& warnings) override;
  bool IsDefinedJsonMember(std::string_view name) const override { return name == "children"; }

  // ---- logs
  TKwActionLog& GetLog() { return *Log; }
  void SetLog(std::unique_ptr<TKwActionLog> log);
  // Copy the logs of action's subtree into mainLog, parents before children and children
  // in order, each with Level set to its action's depth in the whole tree (a root is 0).
  // Disabled actions below `action` are left out with their subtrees: they did not run
  // (`action` itself is taken whatever its Enabled, as a root runs when started).
  // The first form starts with action's own log; the second leaves it out and gathers
  // only what lies below (for a job, whose own log holds nothing of the run).
  static void AddChildActionsToMainLog(TKwMainLog& mainLog, TKwActionBase& action);
  static void AddChildActionsToMainLog2(TKwMainLog& mainLog, TKwActionBase& action);

  // ---- event raisers (each does nothing without a handler)
  void TriggerAbortEvent();
  void TriggerActionEvent(const std::string& caption, TSourceTargetItem kind);
  void TriggerCompleteEvent();
  void TriggerFolderEvent(const std::string& folderName, int index);
  void TriggerFolderCompleteEvent();
  void TriggerImageDownloadEvent(int position, int total);
  void TriggerProgressEvent(int position, const std::string& text1, const std::string& text2,
                            TRunningStatus status);
  void TriggerStatusEvent(const std::string& text1, const std::string& text2);

  // ---- published
  std::string Name;
  std::string Caption;
  std::string Description;
  bool Enabled = true;
  TSourceTargetItem ItemType = stiOther;
  int32_t Level = 0;

  // ---- public, not persisted
  std::atomic<bool> Aborted{false};
  std::string AppDataFolder;
  TKwGlobalOptions* GlobalOptions = nullptr;  // not owned
  TKwActionBase* ParentAction = nullptr;      // not owned
  void* ParentControl = nullptr;              // the caller's; never dereferenced here
  std::string TempFolder;
  std::vector<TKwActionBase*> SearchResultList;  // not owned

  TKwNotifyEvent OnAbort;
  TKwActionEvent OnAction;
  TKwNotifyEvent OnComplete;
  TKwFolderEvent OnFolder;
  TKwNotifyEvent OnFolderComplete;
  TKwImageDownloadEvent OnImageDownload;
  TKwProgressEvent OnProgress;
  TKwStatusEvent OnStatus;

 protected:
  // Handlers an action installs on the objects it drives; they forward to its own events.
  void LocalFolderCompleteEvent(TKwActionBase& sender);
  void LocalImageDownloadEvent(TKwActionBase& sender, int position, int total);
  // The first steps of every run: status "Executing", log cleared and titled.
  void BeginExecute();
  // Hands the run context (control, temp folder, options, handlers) to a child before it runs.
  void CopyRunContextTo(TKwActionBase& child) const;
  // Calls `call` on each enabled child that is a target, in child order, until aborted.
  // The finalising calls pass finalising = true: they reach every child even after an
  // abort, so that what was written is completed and closed.
  void ForEachChildTarget(const std::function<void(TKwTargetBase&)>& call, bool finalising = false);
  // Errors in the logs of this action and every action below it.
  // Virtual: a target may count messages it could not take without an error entry each.
  virtual int SubtreeErrorsCount() const;

  std::vector<std::unique_ptr<TKwActionBase>> List;
  // Abort may run on another thread and raise OnAbort while a parent hands this action
  // its handlers; this guards OnAbort between the two.
  mutable std::mutex FAbortHandlerLock;
  std::unique_ptr<TKwActionLog> Log;
  TRunningStatus RunningStatus = rsIdle;

 private:
  void CollectSearch(const std::function<bool(TKwActionBase&)>& match);
  void ReadChildActions(TKwPropertyReader& reader);
 protected:
  // Problems of the last load of the whole tree are kept by its root.
  std::vector<std::string>& LoadWarningSink();
  std::vector<std::string> FLoadWarnings;
};

// Declares a kind that this build keeps as settings only: it loads, saves and copies like
// any action, and a run reports it as not available.
#define KW_UNAVAILABLE_ACTION(Name)                                \
  std::string_view ClassName() const override { return #Name; }    \
  bool IsAvailable() const override { return false; }              \
  void Execute() override { ReportNotAvailable(); }

// The one factory from kind to class: sets ItemType and Caption. Raises EAssertionFailed
// (Classes/uKwActionBase, line 304) for a kind without a class.
std::unique_ptr<TKwActionBase> CreateNewAction(TSourceTargetItem kind);
// True when CreateNewAction gives a class for the kind.
bool HasActionClass(TSourceTargetItem kind);

// The C entry over the engine. A root handle owns a TQnTree: the action tree, the one
// handle per action (made on first use, so that a handle keeps its value while the root
// lives) and the C callbacks that the tree's std::function handlers forward to.

#include "quillon.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "uKwActionBase.h"
#include "uKwActionFile.h"
#include "uKwActionJob.h"
#include "uKwActionLog.h"
#include "uKwAssert.h"
#include "uKwGlobalOptionsFile.h"
#include "uKwParameters.h"
#include "uKwTypes.h"

struct TQnTree;

struct qn_action {
  TKwActionBase* Action;  // not owned: the tree's root owns every action
  TQnTree* Tree;          // not owned: the root handle's record
};

namespace {

// Kept in step with project(VERSION) in CMakeLists.txt.
constexpr char kVersion[] = QUILLON_VERSION;

template <class Callback>
struct TQnCallback {
  Callback Function = nullptr;
  void* User = nullptr;
};

// Thrown inside an entry to leave it with a status; never crosses the boundary.
struct EQnFailure {
  int Status;
  std::string Message;
};

}  // namespace

struct TQnTree {
  std::unique_ptr<TKwActionBase> Root;
  // Handles are made on first use, also from callbacks on the executing thread and on
  // the thread that aborts, hence the lock.
  std::mutex HandlesLock;
  std::unordered_map<const TKwActionBase*, std::unique_ptr<qn_action>> Handles;

  TQnCallback<qn_status_callback> Status;
  TQnCallback<qn_progress_callback> Progress;
  TQnCallback<qn_action_callback> Action;
  TQnCallback<qn_folder_callback> Folder;
  TQnCallback<qn_notify_callback> Complete;
  TQnCallback<qn_notify_callback> AbortEvent;
};

namespace {

qn_action* HandleOf(TQnTree& tree, TKwActionBase& action) {
  std::lock_guard<std::mutex> lock(tree.HandlesLock);
  std::unique_ptr<qn_action>& slot = tree.Handles[&action];
  if (!slot) slot = std::make_unique<qn_action>(qn_action{&action, &tree});
  return slot.get();
}

// malloc'd so that a C caller could free it too; qn_free_string is the documented way.
char* CopyString(const std::string& text) {
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) throw std::bad_alloc();
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

int Fail(char** error, int status, const std::string& message) {
  if (error != nullptr) *error = static_cast<char*>(std::malloc(message.size() + 1));
  if (error != nullptr && *error != nullptr) std::memcpy(*error, message.c_str(), message.size() + 1);
  return status;
}

[[noreturn]] void Throw(int status, std::string message) {
  throw EQnFailure{status, std::move(message)};
}

template <class T>
T& Require(T* pointer, const char* name) {
  if (pointer == nullptr) Throw(QN_E_INVALID_ARGUMENT, std::string(name) + " must not be NULL");
  return *pointer;
}

std::string RequireText(const char* text, const char* name) {
  if (text == nullptr) Throw(QN_E_INVALID_ARGUMENT, std::string(name) + " must not be NULL");
  return text;
}

// Runs one entry's body and turns whatever it throws into a status and message.
template <class Body>
int Guarded(char** error, Body&& body) {
  if (error != nullptr) *error = nullptr;
  try {
    body();
    return QN_OK;
  } catch (const EQnFailure& failure) {
    return Fail(error, failure.Status, failure.Message);
  } catch (const EAssertionFailed& e) {
    return Fail(error, QN_E_INTERNAL, e.what());
  } catch (const std::bad_alloc&) {
    return Fail(error, QN_E_OUT_OF_MEMORY, "Out of memory");
  } catch (const std::exception& e) {
    return Fail(error, QN_E_INTERNAL, e.what());
  } catch (...) {
    return Fail(error, QN_E_INTERNAL, "Unknown internal error");
  }
}

TSourceTargetItem KindFromText(const char* text) {
  std::string kindText = RequireText(text, "kind");
  int kind = StringToSourceTargetItem(kindText);
  if (kind < 0) Throw(QN_E_UNKNOWN_KIND, "Unknown action kind \"" + kindText + "\"");
  if (!HasActionClass(static_cast<TSourceTargetItem>(kind)))
    Throw(QN_E_UNKNOWN_KIND, "The action kind " + kindText + " cannot stand in a tree");
  return static_cast<TSourceTargetItem>(kind);
}

// Takes ownership of a new root and hands its handle to the caller.
qn_action* AdoptRoot(std::unique_ptr<TKwActionBase> root) {
  auto tree = std::make_unique<TQnTree>();
  tree->Root = std::move(root);
  qn_action* handle = HandleOf(*tree, *tree->Root);
  tree.release();  // from now on owned through the root handle: see qn_action_free
  return handle;
}

qn_action* AdoptLoaded(TKwActionLoadResult result) {
  if (!result.Action) Throw(QN_E_LOAD, result.Error);
  return AdoptRoot(std::move(result.Action));
}

void InstallHandlers(TQnTree& tree, TKwActionBase& action) {
  TQnTree* t = &tree;
  action.OnStatus = [t](TKwActionBase& sender, const std::string& text1, const std::string& text2) {
    if (t->Status.Function)
      t->Status.Function(t->Status.User, HandleOf(*t, sender), text1.c_str(), text2.c_str());
  };
  action.OnProgress = [t](TKwActionBase& sender, int position, const std::string& text1,
                          const std::string& text2, TRunningStatus status) {
    if (t->Progress.Function)
      t->Progress.Function(t->Progress.User, HandleOf(*t, sender), position, text1.c_str(),
                           text2.c_str(), EnumToString(status).c_str());
  };
  action.OnAction = [t](TKwActionBase& sender, const std::string& caption, TSourceTargetItem kind) {
    if (t->Action.Function)
      t->Action.Function(t->Action.User, HandleOf(*t, sender), caption.c_str(),
                         SourceTargetItemToString(kind).c_str());
  };
  action.OnFolder = [t](TKwActionBase& sender, const std::string& folderName, int index) {
    if (t->Folder.Function)
      t->Folder.Function(t->Folder.User, HandleOf(*t, sender), folderName.c_str(), index);
  };
  action.OnComplete = [t](TKwActionBase& sender) {
    if (t->Complete.Function) t->Complete.Function(t->Complete.User, HandleOf(*t, sender));
  };
  action.OnAbort = [t](TKwActionBase& sender) {
    if (t->AbortEvent.Function) t->AbortEvent.Function(t->AbortEvent.User, HandleOf(*t, sender));
  };
  for (int i = 0; i < action.GetChildCount(); ++i) InstallHandlers(tree, action.GetChild(i));
}

template <class Callback>
int SetCallback(qn_action* action, TQnCallback<Callback> TQnTree::*slot, Callback cb, void* user) {
  return Guarded(nullptr, [&] {
    TQnTree& tree = *Require(action, "action").Tree;
    tree.*slot = TQnCallback<Callback>{cb, user};
    InstallHandlers(tree, *tree.Root);
  });
}

// The shell's application-wide settings, handed to every tree that executes.
TKwGlobalOptions& LibraryGlobalOptions() {
  static TKwGlobalOptions options;
  return options;
}

int CountErrors(TKwActionBase& action) {
  int count = action.GetLog().ErrorsCount();
  for (int i = 0; i < action.GetChildCount(); ++i) count += CountErrors(action.GetChild(i));
  return count;
}

}  // namespace

extern "C" {

const char* qn_version(void) { return kVersion; }

void qn_free_string(char* text) { std::free(text); }

int qn_action_create(const char* kind, qn_action** out, char** error) {
  return Guarded(error, [&] {
    Require(out, "out") = nullptr;
    *out = AdoptRoot(CreateNewAction(KindFromText(kind)));
  });
}

int qn_action_add_child(qn_action* parent, const char* kind, int check_rules, qn_action** child,
                        char** error) {
  return Guarded(error, [&] {
    Require(child, "child") = nullptr;
    TKwActionBase& action = *Require(parent, "parent").Action;
    TSourceTargetItem childKind = KindFromText(kind);
    if (check_rules != 0 && !IsChildItemPossible(action.ItemType, childKind, false))
      Throw(QN_E_CHILD_NOT_ALLOWED, "An action of kind " + SourceTargetItemToString(childKind) +
                                        " cannot stand under " +
                                        SourceTargetItemToString(action.ItemType));
    TKwActionBase& added = action.GetChild(action.AddChild(childKind));
    InstallHandlers(*parent->Tree, added);
    *child = HandleOf(*parent->Tree, added);
  });
}

int qn_action_child_count(qn_action* action, int* count, char** error) {
  return Guarded(error, [&] {
    Require(count, "count") = 0;
    *count = Require(action, "action").Action->GetChildCount();
  });
}

int qn_action_child(qn_action* parent, int index, qn_action** child, char** error) {
  return Guarded(error, [&] {
    Require(child, "child") = nullptr;
    TKwActionBase& action = *Require(parent, "parent").Action;
    if (index < 0 || index >= action.GetChildCount())
      Throw(QN_E_INDEX, "Child index " + std::to_string(index) + " is out of range (" +
                            std::to_string(action.GetChildCount()) + " children)");
    *child = HandleOf(*parent->Tree, action.GetChild(index));
  });
}

int qn_action_kind(qn_action* action, char** kind, char** error) {
  return Guarded(error, [&] {
    Require(kind, "kind") = nullptr;
    *kind = CopyString(SourceTargetItemToString(Require(action, "action").Action->ItemType));
  });
}

void qn_action_free(qn_action* action) {
  if (action == nullptr || action->Action != action->Tree->Root.get()) return;
  std::unique_ptr<TQnTree> owned(action->Tree);  // frees the tree and every handle
}

int qn_action_load_file(const char* file_name, qn_action** out, char** error) {
  return Guarded(error, [&] {
    Require(out, "out") = nullptr;
    *out = AdoptLoaded(LoadActionFromFile(RequireText(file_name, "file_name")));
  });
}

int qn_action_load_string(const char* text, qn_action** out, char** error) {
  return Guarded(error, [&] {
    Require(out, "out") = nullptr;
    *out = AdoptLoaded(LoadActionFromText(RequireText(text, "text")));
  });
}

int qn_action_save_file(qn_action* action, const char* file_name, char** error) {
  return Guarded(error, [&] {
    std::string message;
    if (!SaveActionToFile(*Require(action, "action").Action, RequireText(file_name, "file_name"), message))
      Throw(QN_E_SAVE, message);
  });
}

int qn_action_save_string(qn_action* action, int as_json, char** out, char** error) {
  return Guarded(error, [&] {
    Require(out, "out") = nullptr;
    TKwActionBase& source = *Require(action, "action").Action;
    *out = CopyString(as_json != 0 ? ActionToJson(source).dump(2) + "\n" : source.SaveToString());
  });
}

int qn_action_execute(qn_action* action, char** error) {
  return Guarded(error, [&] {
    TKwActionBase& target = *Require(action, "action").Action;
    target.GlobalOptions = &LibraryGlobalOptions();
    if (auto* job = dynamic_cast<TKwBaseActionJob*>(&target))
      job->StartJob();
    else
      target.Execute();
  });
}

int qn_set_global_options(const char* json, char** error) {
  return Guarded(error, [&] {
    TKwGlobalOptions fresh;
    std::vector<std::string> problems;
    if (!GlobalOptionsFromJsonText(fresh, RequireText(json, "json"), problems)) {
      std::string message;
      for (const std::string& problem : problems) message += (message.empty() ? "" : "\n") + problem;
      Throw(QN_E_OPTIONS, message);
    }
    LibraryGlobalOptions().Assign(fresh);
  });
}

int qn_get_global_options(char** json, char** error) {
  return Guarded(error, [&] {
    Require(json, "json") = nullptr;
    *json = CopyString(GlobalOptionsToJson(LibraryGlobalOptions()).dump(2) + "\n");
  });
}

int qn_job_report_file(qn_action* action, char** file_name, char** error) {
  return Guarded(error, [&] {
    Require(file_name, "file_name") = nullptr;
    auto* job = dynamic_cast<TKwBaseActionJob*>(Require(action, "action").Action);
    if (job == nullptr) Throw(QN_E_NOT_JOB, "The action is not a job");
    *file_name = CopyString(job->GetLastLogFileName());
  });
}

int qn_job_file_info(const char* file_name, char** job_id, char** caption, char** description,
                     char** schedule, int* schedule_enabled, char** error) {
  char** texts[] = {job_id, caption, description, schedule};
  for (char** text : texts)
    if (text != nullptr) *text = nullptr;
  if (schedule_enabled != nullptr) *schedule_enabled = 0;
  return Guarded(error, [&] {
    TJobInfo info;
    std::string message;
    if (!TKwBaseActionJob::LoadJobInfo(RequireText(file_name, "file_name"), info, message))
      Throw(QN_E_LOAD, message);
    const std::string* values[] = {&info.JobId, &info.Caption, &info.Description, &info.ScheduleText};
    std::unique_ptr<char, decltype(&std::free)> copies[4] = {
        {nullptr, &std::free}, {nullptr, &std::free}, {nullptr, &std::free}, {nullptr, &std::free}};
    for (int i = 0; i < 4; ++i)
      if (texts[i] != nullptr) copies[i].reset(CopyString(*values[i]));
    for (int i = 0; i < 4; ++i)
      if (texts[i] != nullptr) *texts[i] = copies[i].release();
    if (schedule_enabled != nullptr) *schedule_enabled = info.ScheduleEnabled ? 1 : 0;
  });
}

int qn_action_abort(qn_action* action, char** error) {
  return Guarded(error, [&] { Require(action, "action").Action->Abort(); });
}

int qn_action_error_count(qn_action* action, int* count, char** error) {
  return Guarded(error, [&] {
    Require(count, "count") = 0;
    *count = CountErrors(*Require(action, "action").Action);
  });
}

int qn_set_status_callback(qn_action* action, qn_status_callback cb, void* user) {
  return SetCallback(action, &TQnTree::Status, cb, user);
}
int qn_set_progress_callback(qn_action* action, qn_progress_callback cb, void* user) {
  return SetCallback(action, &TQnTree::Progress, cb, user);
}
int qn_set_action_callback(qn_action* action, qn_action_callback cb, void* user) {
  return SetCallback(action, &TQnTree::Action, cb, user);
}
int qn_set_folder_callback(qn_action* action, qn_folder_callback cb, void* user) {
  return SetCallback(action, &TQnTree::Folder, cb, user);
}
int qn_set_complete_callback(qn_action* action, qn_notify_callback cb, void* user) {
  return SetCallback(action, &TQnTree::Complete, cb, user);
}
int qn_set_abort_callback(qn_action* action, qn_notify_callback cb, void* user) {
  return SetCallback(action, &TQnTree::AbortEvent, cb, user);
}

}  // extern "C"

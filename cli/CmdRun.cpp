// quillon run FILE: checks a job strictly, then runs it (or another action tree); Ctrl-C
// aborts it cooperatively.

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <thread>

#include <fmt/format.h>

#include "Commands.h"
#include "DryRun.h"
#include "JobInput.h"
#include "Printer.h"
#include "Progress.h"
#include "RunState.h"
#include "RunSummary.h"
#include "uKwActionJob.h"
#include "uKwActionLog.h"
#include "uKwActionSettings.h"
#include "uKwDateTime.h"
#include "uKwGlobalOptionsFile.h"
#include "uKwLogSubs.h"
#include "uKwParameters.h"
#include "uKwSourceBase.h"

namespace {

constexpr int kErrorLinesShown = 20;

struct TRunOptions {
  std::string FileName;
  bool Quiet = false, Lenient = false, Json = false, DryRun = false;
  std::string StateFile;
  std::vector<std::string> Globals;
};

std::atomic<bool> gInterrupted{false};

extern "C" void OnInterrupt(int) { gInterrupted = true; }

// Turns Ctrl-C into Abort on the tree: the signal handler only sets a flag, and this
// watcher calls Abort from an ordinary thread.
class TAbortWatcher {
 public:
  explicit TAbortWatcher(TKwActionBase& root) : FRoot(root), FThread([this] { Watch(); }) {
    struct sigaction sa {};
    sa.sa_handler = OnInterrupt;
    sigaction(SIGINT, &sa, &FOldInt);
    sigaction(SIGTERM, &sa, &FOldTerm);
  }
  ~TAbortWatcher() {
    FDone = true;
    FThread.join();
    sigaction(SIGINT, &FOldInt, nullptr);
    sigaction(SIGTERM, &FOldTerm, nullptr);
  }

 private:
  void Watch() {
    while (!FDone) {
      if (gInterrupted.exchange(false)) {
        std::cerr << "\nquillon: aborting, finishing what was started...\n";
        FRoot.Abort();
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }
  TKwActionBase& FRoot;
  std::atomic<bool> FDone{false};
  std::thread FThread;
  struct sigaction FOldInt {}, FOldTerm {};
};

// options.json first, then the command line's assignments in their order.
bool ReadGlobalOptions(TKwGlobalOptions& options, const std::vector<std::string>& assignments) {
  std::vector<std::string> problems;
  if (!LoadGlobalOptionsFile(options, GetGlobalOptionsFileName(), problems)) {
    for (const std::string& problem : problems) PrintError(problem);
    return false;
  }
  for (const std::string& assignment : assignments) {
    std::string error;
    if (!SetGlobalOption(options, assignment, error)) {
      PrintError("--global " + error);
      return false;
    }
  }
  return true;
}

// The strict check; false when the run must not start. Only a missing source file does
// not stop a run: an earlier action of the job may make it, and the source reports it.
bool CheckBeforeRun(const TJobInput& input, bool lenient) {
  const std::vector<TKwCheckProblem> problems = CheckJobInput(input);
  int blocking = 0;
  for (const TKwCheckProblem& problem : problems) {
    const bool blocks = problem.BlocksRun && !lenient;
    blocking += blocks;
    PrintError(std::string(blocks ? "" : "warning: ") + FormatProblem(input, problem));
  }
  if (blocking > 0)
    PrintError(fmt::format("the job was not run: {} problem{}. 'quillon check' lists them; --lenient runs it anyway",
                           blocking, blocking == 1 ? "" : "s"));
  return blocking == 0;
}

// The name the progress line shows for a source: its file or folder.
std::string SourceLabel(TKwActionBase& action) {
  for (const TKwSettingNeed& need : SettingNeedsOf(action)) {
    const std::string* value = StringSetting(action, need.Path);
    if (value && !value->empty() && (need.Role == TKwSettingRole::SourceFile || need.Role == TKwSettingRole::SourceFolder))
      return std::filesystem::path(*value).filename().string();
  }
  return "";
}

void ConnectProgress(TKwActionBase& root, TProgressPrinter& progress, std::string& label) {
  root.OnStatus = [&](TKwActionBase& sender, const std::string& text1, const std::string& text2) {
    if (text2 == "Executing") {
      progress.Status(ActionLabel(sender));
      if (sender.GetActionRol() == arSource) label = SourceLabel(sender);
    } else if (text2.find("not available") != std::string::npos) {
      progress.Status(text2);
    } else if (text1 == "Exporting") {
      progress.Status(ActionLabel(sender) + ": " + text2);
    }
  };
  // A marquee (work without a count, such as writing an export) leaves the bar as it is.
  root.OnProgress = [&](TKwActionBase&, int position, const std::string& folder, const std::string& total,
                        TRunningStatus status) {
    if (status != rsMarquee) progress.Update(label.empty() ? folder : label, position, std::atol(total.c_str()));
  };
}

bool JsonNamesJobId(const TJobInput& input) {
  if (!input.IsJson) return false;
  const nlohmann::json document = nlohmann::json::parse(input.Text, nullptr, false);
  return document.is_object() && document.contains("JobId");
}

// Action and job files keep their ids in themselves, as the desktop program keeps them:
// a fresh load of the file (its paths as written) gets the run's ids and is saved.
void StoreIdsInActionFile(TKwActionBase& root, const TRunOptions& options) {
  TKwActionLoadResult fresh = LoadActionFromFile(options.FileName);
  std::string error;
  if (!fresh.Action) return PrintError(fresh.Error);
  CopyRunIds(root, *fresh.Action);
  if (!StoreSourceIds(*fresh.Action, options.FileName, error)) return PrintError(error);
  if (!options.Quiet) std::cerr << "The new ids were stored in " << options.FileName << " for the next run.\n";
}

bool HasSourceWithoutId(TKwActionBase& action) {
  if (auto* source = dynamic_cast<TKwSourceMailBase*>(&action); source && source->SourceId.empty() && source->Enabled)
    return true;
  for (int i = 0; i < action.GetChildCount(); ++i)
    if (HasSourceWithoutId(action.GetChild(i))) return true;
  return false;
}

// Only a job files its own report (StartJob); any other root gets one named after its
// file. "" when it cannot be written.
std::string SaveReport(TKwActionBase& root, const std::string& fileName, TDateTime start) {
  TKwMainLog mainLog;
  mainLog.JobName = root.Name.empty() ? fileName : root.Name;
  mainLog.JobDescription = root.Description;
  mainLog.StartTime = start;
  mainLog.EndTime = NowLocal();
  TKwActionBase::AddChildActionsToMainLog(mainLog, root);
  std::string reportName = GetLogFileName(std::filesystem::path(fileName).stem().string(), mainLog.StartTime);
  std::string error;
  return mainLog.SaveToFile(reportName, error) ? reportName : "";
}

void PrintDryRun(const TResult& summary) {
  for (const TResult& action : summary["actions"]) {
    if (!action.contains("wouldReceive")) continue;
    const std::string name = action["name"].get<std::string>();
    std::cout << action["kind"].get<std::string>() << (name.empty() ? "" : " \"" + name + "\"") << " would receive "
              << action["wouldReceive"].size() << " messages:\n";
    for (const auto& line : action["wouldReceive"]) std::cout << "  " << line.get<std::string>() << "\n";
  }
}

// The tree to run, read, checked and with its paths resolved; null (the reason printed)
// when the run must not start.
std::unique_ptr<TKwActionBase> LoadCheckedTree(const TRunOptions& options, TJobInput& input) {
  std::string error;
  if (!ReadJobInput(options.FileName, input, error)) {
    PrintError(error);
    return nullptr;
  }
  if (!CheckBeforeRun(input, options.Lenient)) return nullptr;
  TKwActionLoadResult loaded = LoadJobInput(input);
  if (!loaded.Action) PrintError(options.FileName + ": " + loaded.Error);
  return std::move(loaded.Action);
}

// Runs the tree on this thread, a job as a job unless dry; returns when it started.
TDateTime Execute(TKwActionBase& root, const TRunOptions& options) {
  TProgressPrinter progress(options.Quiet || options.Json);
  std::string sourceLabel;
  ConnectProgress(root, progress, sourceLabel);
  const TDateTime start = NowLocal();
  {
    TAbortWatcher watcher(root);
    if (auto* job = dynamic_cast<TKwBaseActionJob*>(&root); job && !options.DryRun)
      job->StartJob();
    else
      root.Execute();
  }
  progress.Finish();
  return start;
}

void PrintOutcome(TResult& summary, const TRunOptions& options) {
  PrintRunErrors(summary, kErrorLinesShown);
  TPrinter(options.Json).Print(summary, [&](const TResult& s) {
    if (options.DryRun) PrintDryRun(s);
    PrintRunSummaryText(s);
    if (!s["report"].get<std::string>().empty()) std::cout << "Report: " << s["report"].get<std::string>() << "\n";
  });
}

int RunRun(const TRunOptions& options) {
  TKwGlobalOptions globalOptions;
  if (!ReadGlobalOptions(globalOptions, options.Globals)) return kExitUsage;
  TJobInput input;
  std::unique_ptr<TKwActionBase> tree = LoadCheckedTree(options, input);
  if (!tree) return kExitUsage;
  TKwActionBase& root = *tree;
  root.GlobalOptions = &globalOptions;
  // Ids live in the state file for JSON jobs; stdin has no file to key them by.
  const bool keepsState = input.IsJson && (!input.RealPath.empty() || !options.StateFile.empty());
  TRunState state(options.StateFile.empty() ? TRunState::DefaultFileName() : options.StateFile);
  const std::string stateKey = input.RealPath.empty() ? "-" : input.RealPath;
  if (keepsState) state.Apply(stateKey, root, JsonNamesJobId(input));
  const bool newIds = HasSourceWithoutId(root);
  if (options.DryRun) {
    // Nothing kept either: no cache, no local copies, no processed-message log.
    globalOptions.IndexEmail = globalOptions.UseLocalStorage = false;
    ReplaceTargetsWithRecorders(root);
  }
  const TDateTime start = Execute(root, options);
  TResult summary = SummarizeRun(root);
  std::string report, error;
  if (!options.DryRun) {
    auto* job = dynamic_cast<TKwBaseActionJob*>(&root);
    report = job ? job->GetLastLogFileName() : SaveReport(root, options.FileName, start);
    if (job && report.empty()) PrintError("The run report could not be written: " + job->GetLastLogError());
    if (keepsState && !state.Store(stateKey, root, error)) PrintError(error);
    if (!input.IsJson && newIds && !HasSourceWithoutId(root)) StoreIdsInActionFile(root, options);
  }
  summary["report"] = report;
  summary["aborted"] = root.IsAborted();
  PrintOutcome(summary, options);
  if (root.IsAborted()) return kExitAborted;
  return summary["errors"].get<int>() > 0 ? kExitRunErrors : kExitOk;
}

}  // namespace

void AddRunCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("run", "Check a job, then run it (or another action tree)");
  auto options = std::make_shared<TRunOptions>();
  cmd->add_option("FILE", options->FileName, "Action (.qaf), job (.qjob) or JSON file; - reads JSON from stdin")
      ->required();
  cmd->add_flag("-q,--quiet", options->Quiet, "No progress output; only the totals");
  cmd->add_flag("--lenient", options->Lenient, "Run even when the check finds problems (they become warnings)");
  cmd->add_flag("--json", options->Json, "Print the totals, each action's counts and the report's path as JSON");
  cmd->add_flag("--dry-run", options->DryRun,
                "Walk the sources and filters and print what each target would receive; write nothing "
                "(not even the processed-message log, so every message counts as new)");
  cmd->add_option("--state", options->StateFile,
                  "The file that keeps the ids of JSON jobs between runs (default: run-state.json in the settings folder)");
  cmd->add_option("--global", options->Globals,
                  "NAME=VALUE: a global option for this run (DetailedLog, DateFormat=iso, IndexEmail, UseLocalStorage, "
                  "Proxy.Server, ...); repeatable, wins over options.json")
      ->allow_extra_args(false);
  cmd->callback([&status, options] { status = RunRun(*options); });
}

// quillon run FILE [--quiet]: starts a job (or runs another action tree); Ctrl-C aborts it
// cooperatively.

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Progress.h"
#include "uKwActionFile.h"
#include "uKwActionJob.h"
#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwGlobalOptionsFile.h"
#include "uKwLogSubs.h"
#include "uKwParameters.h"
#include "uKwSourceBase.h"

namespace {

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

struct TRunTotals {
  int Processed = 0, Saved = 0, Skipped = 0, Errors = 0;
};

// Sources count the messages they handled; every action counts what it saved, skipped
// and got wrong.
void AddTotals(TKwActionBase& action, TRunTotals& totals) {
  TKwActionLog& log = action.GetLog();
  if (action.GetActionRol() == arSource) totals.Processed += log.Processed;
  totals.Saved += log.Saved;
  totals.Skipped += log.Skipped;
  totals.Errors += log.ErrorsCount();
  for (int i = 0; i < action.GetChildCount(); ++i) AddTotals(action.GetChild(i), totals);
}

void PrintErrors(TKwActionBase& action, int& budget) {
  TKwActionLog& log = action.GetLog();
  for (int i = 0; i < log.ErrorsCount() && budget > 0; ++i, --budget) {
    const TKwActionError& e = log.GetError(i);
    std::cerr << "error: " << action.Caption << ": " << e.Error
              << (e.Description.empty() ? "" : " (" + e.Description + ")") << "\n";
  }
  for (int i = 0; i < action.GetChildCount(); ++i) PrintErrors(action.GetChild(i), budget);
}

// Sources that have not run yet have no id; their first run gives them one.
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

// A job in a JSON file without "JobId" gets a new id at every load; storing it keeps
// its reports under one id.
bool JobIdMissingFromJson(TKwActionBase& root, const std::string& fileName) {
  if (!dynamic_cast<TKwBaseActionJob*>(&root)) return false;
  std::ifstream in(fileName, std::ios::binary);
  nlohmann::json document = nlohmann::json::parse(in, nullptr, false);
  return document.is_object() && !document.contains("JobId");
}

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

int RunRun(const std::string& fileName, bool quiet, const std::vector<std::string>& globals) {
  TKwGlobalOptions globalOptions;
  if (!ReadGlobalOptions(globalOptions, globals)) return kExitUsage;
  TKwActionLoadResult loaded = LoadActionFromFile(fileName);
  if (!loaded.Action) {
    PrintError(fileName + ": " + loaded.Error);
    return kExitUsage;
  }
  for (const std::string& warning : loaded.Warnings) PrintError(fileName + ": warning: " + warning);
  TKwActionBase& root = *loaded.Action;
  root.GlobalOptions = &globalOptions;
  TProgressPrinter progress(quiet);
  root.OnStatus = [&](TKwActionBase& sender, const std::string& text1, const std::string& text2) {
    if (text2 == "Executing") progress.Status(sender.Caption + (sender.Name.empty() ? "" : " \"" + sender.Name + "\""));
    else if (text2.find("not available") != std::string::npos) progress.Status(text2);
    else if (text1 == "Exporting") progress.Status(sender.Caption + " \"" + sender.Name + "\": " + text2);
  };
  // A marquee (work without a count, such as writing an export) leaves the bar as it is.
  root.OnProgress = [&](TKwActionBase&, int position, const std::string& folder, const std::string& total,
                        TRunningStatus status) {
    if (status != rsMarquee) progress.Update(folder, position, std::atol(total.c_str()));
  };
  bool newIds = HasSourceWithoutId(root) || JobIdMissingFromJson(root, fileName);
  auto* job = dynamic_cast<TKwBaseActionJob*>(&root);
  TDateTime start = NowLocal();
  {
    TAbortWatcher watcher(root);
    if (job)
      job->StartJob();
    else
      root.Execute();
  }
  progress.Finish();
  TRunTotals totals;
  AddTotals(root, totals);
  int budget = 20;
  PrintErrors(root, budget);
  if (budget == 0) std::cerr << "(more errors in the report)\n";
  std::string report = job ? job->GetLastLogFileName() : SaveReport(root, fileName, start);
  if (job && report.empty()) PrintError("The run report could not be written: " + job->GetLastLogError());
  if (newIds && !HasSourceWithoutId(root)) {
    std::string error;
    if (StoreSourceIds(root, fileName, error))
      std::cerr << "The new ids were stored in " << fileName << " for the next run.\n";
    else
      PrintError(error);
  }
  std::cout << fmt::format("{} processed, {} saved, {} skipped, {} errors\n", totals.Processed,
                           totals.Saved, totals.Skipped, totals.Errors);
  if (!report.empty()) std::cout << "Report: " << report << "\n";
  if (root.IsAborted()) return kExitAborted;
  return totals.Errors > 0 ? kExitRunErrors : kExitOk;
}

}  // namespace

void AddRunCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("run", "Run an action tree or job");
  auto fileName = std::make_shared<std::string>();
  auto quiet = std::make_shared<bool>(false);
  cmd->add_option("FILE", *fileName, "Action (.qaf), job (.qjob) or JSON file")->required();
  auto globals = std::make_shared<std::vector<std::string>>();
  cmd->add_flag("-q,--quiet", *quiet, "No progress output; only the totals");
  cmd->add_option("--global", *globals,
                  "NAME=VALUE: a global option for this run (DetailedLog, IndexEmail, UseLocalStorage, "
                  "Proxy.Server, ...); repeatable, wins over options.json")
      ->allow_extra_args(false);
  cmd->callback([&status, fileName, quiet, globals] { status = RunRun(*fileName, *quiet, *globals); });
}

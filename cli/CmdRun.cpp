// quillon run FILE [--quiet]: runs an action tree; Ctrl-C aborts it cooperatively.

#include <atomic>
#include <chrono>
#include <csignal>
#include <iostream>
#include <thread>

#include <fmt/format.h>

#include "Commands.h"
#include "uKwActionFile.h"
#include "uKwActionLog.h"

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

void AddTotals(TKwActionBase& action, TRunTotals& totals) {
  TKwActionLog& log = action.GetLog();
  totals.Processed += log.Processed;
  totals.Saved += log.Saved;
  totals.Skipped += log.Skipped;
  totals.Errors += log.ErrorsCount();
  for (int i = 0; i < action.GetChildCount(); ++i) AddTotals(action.GetChild(i), totals);
}

void PrintErrors(TKwActionBase& action) {
  TKwActionLog& log = action.GetLog();
  for (int i = 0; i < log.ErrorsCount(); ++i)
    std::cerr << "error: " << action.Caption << ": " << log.GetError(i).Error << "\n";
  for (int i = 0; i < action.GetChildCount(); ++i) PrintErrors(action.GetChild(i));
}

int RunRun(const std::string& fileName, bool quiet) {
  TKwActionLoadResult loaded = LoadActionFromFile(fileName);
  if (!loaded.Action) {
    PrintError(fileName + ": " + loaded.Error);
    return kExitUsage;
  }
  for (const std::string& warning : loaded.Warnings) PrintError(fileName + ": warning: " + warning);
  TKwActionBase& root = *loaded.Action;
  if (!quiet)
    root.OnStatus = [](TKwActionBase&, const std::string& text1, const std::string& text2) {
      std::cerr << text1 << (text2.empty() ? "" : ": " + text2) << "\n";
    };
  {
    TAbortWatcher watcher(root);
    root.Execute();
  }
  TRunTotals totals;
  AddTotals(root, totals);
  PrintErrors(root);
  std::cout << fmt::format("{} processed, {} saved, {} skipped, {} errors\n", totals.Processed,
                           totals.Saved, totals.Skipped, totals.Errors);
  if (root.IsAborted()) return kExitAborted;
  return totals.Errors > 0 ? kExitRunErrors : kExitOk;
}

}  // namespace

void AddRunCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("run", "Run an action tree or job");
  auto fileName = std::make_shared<std::string>();
  auto quiet = std::make_shared<bool>(false);
  cmd->add_option("FILE", *fileName, "Action (.qaf), job (.qjob) or JSON file")->required();
  cmd->add_flag("-q,--quiet", *quiet, "No progress output; only the totals");
  cmd->callback([&status, fileName, quiet] { status = RunRun(*fileName, *quiet); });
}

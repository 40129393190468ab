// quillon logs JOB [--latest] [--json]: the run reports of a job, newest first, or the
// text of the newest one. JOB is the job id (braces optional) or a job's file.

#include <filesystem>
#include <fstream>
#include <iostream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "uKwActionFile.h"
#include "uKwActionJob.h"
#include "uKwLogSubs.h"
#include "uKwRegFolders.h"

namespace {

// The job id named by the argument; "" with a reason when a file names no job.
std::string ResolveJobId(const std::string& job, std::string& error) {
  std::error_code ec;
  if (!job.empty() && job.front() != '{' && std::filesystem::is_regular_file(job, ec)) {
    std::string id = ReadJobIdFromExtractJobFile(job);
    if (!id.empty()) return id;
    TKwActionLoadResult loaded = LoadActionFromFile(job);
    if (auto* root = dynamic_cast<TKwBaseActionJob*>(loaded.Action.get())) return root->JobId;
    error = loaded.Action ? "\"" + job + "\" holds no job" : job + ": " + loaded.Error;
    return "";
  }
  if (!job.empty() && job.front() != '{') return "{" + job + "}";
  return job;
}

int PrintLatest(const std::string& jobId) {
  std::string latest = GetLatestLog(jobId);
  if (latest.empty()) {
    PrintError("No run reports of job " + jobId + " in \"" + GetExtractLogsFolder() + "\"");
    return kExitUsage;
  }
  std::ifstream in(latest, std::ios::binary);
  if (!in) {
    PrintError("Cannot open file \"" + latest + "\"");
    return kExitUsage;
  }
  std::cout << in.rdbuf();
  return kExitOk;
}

int PrintList(const std::string& jobId, bool asJson) {
  TStringList items;  // "<date text>=<path>", oldest first
  LoadJobLogs(jobId, items);
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (auto it = items.rbegin(); it != items.rend(); ++it) {
    size_t equals = it->find('=');
    std::string date = it->substr(0, equals), file = it->substr(equals + 1);
    if (asJson)
      all.push_back({{"date", date}, {"file", file}});
    else
      std::cout << fmt::format("{}  {}\n", date, file);
  }
  if (asJson) std::cout << all.dump(2) << "\n";
  if (items.empty()) std::cerr << "No run reports of job " << jobId << " in \"" << GetExtractLogsFolder() << "\".\n";
  return kExitOk;
}

int RunLogs(const std::string& job, bool latest, bool asJson) {
  std::string error;
  std::string jobId = ResolveJobId(job, error);
  if (jobId.empty()) {
    PrintError(error.empty() ? "No job id given" : error);
    return kExitUsage;
  }
  return latest ? PrintLatest(jobId) : PrintList(jobId, asJson);
}

}  // namespace

void AddLogsCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("logs", "List the run reports of a job (newest first), or print the latest");
  auto job = std::make_shared<std::string>();
  auto latest = std::make_shared<bool>(false);
  auto asJson = std::make_shared<bool>(false);
  cmd->add_option("JOB", *job, "Job id ({...}, braces optional) or the job's file")->required();
  cmd->add_flag("--latest", *latest, "Print the text of the newest report");
  cmd->add_flag("--json", *asJson, "List as JSON");
  cmd->callback([&status, job, latest, asJson] { status = RunLogs(*job, *latest, *asJson); });
}

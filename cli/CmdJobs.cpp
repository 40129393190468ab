// quillon jobs [DIR] [--json]: the job files of a folder, read from their trailers (a job
// file) or their top-level members (a JSON job) without running anything.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "RunState.h"
#include "uKwActionFile.h"
#include "uKwActionJob.h"

namespace fs = std::filesystem;

namespace {

struct TJobRow {
  std::string File;
  bool HasInfo = false;
  TJobInfo Info;
  std::string Error;  // why there is no job information
};

std::string LowerExtension(const fs::path& path) {
  std::string ext = path.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext;
}

// A JSON file is listed only when it holds a job.
bool ReadJsonJob(const fs::path& path, TJobInfo& info) {
  std::ifstream in(path, std::ios::binary);
  const nlohmann::json document = nlohmann::json::parse(in, nullptr, false);
  if (!document.is_object() || document.value("kind", "") != "stiJob") return false;
  info.JobId = document.value("JobId", "");
  // A JSON job without its own id has the one its runs were given.
  std::error_code ec;
  if (info.JobId.empty()) info.JobId = TRunState(TRunState::DefaultFileName()).JobIdOf(fs::canonical(path, ec).string());
  info.Caption = document.value("Name", "");
  info.Description = document.value("Description", "");
  info.ScheduleText = "Not scheduled";
  return true;
}

bool IsJobFile(const fs::directory_entry& entry) {
  std::error_code ec;
  if (!entry.is_regular_file(ec)) return false;
  TJobInfo unused;
  return LowerExtension(entry.path()) == kJobFileExtension ||
         (LowerExtension(entry.path()) == ".json" && ReadJsonJob(entry.path(), unused));
}

// A trailer whose caption is only the kind's says less than the job's own Name.
void PreferJobName(const fs::path& path, TJobInfo& info) {
  if (info.Caption != GetSourceTargetItemCaption(stiJob)) return;
  TKwActionLoadResult loaded = LoadActionFromFile(path.string());
  if (loaded.Action && !loaded.Action->Name.empty()) info.Caption = loaded.Action->Name;
}

TJobRow ReadRow(const fs::path& path, const std::string& shownName) {
  TJobRow row;
  row.File = shownName;
  if (LowerExtension(path) == ".json") {
    row.HasInfo = ReadJsonJob(path, row.Info);
    if (!row.HasInfo) row.Error = "not a JSON job (its \"kind\" is not stiJob)";
    return row;
  }
  row.HasInfo = TKwBaseActionJob::LoadJobInfo(path.string(), row.Info, row.Error);
  if (row.HasInfo) PreferJobName(path, row.Info);
  return row;
}

// A table cell stays on one line.
std::string OneLine(std::string text) {
  std::replace_if(text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n' || c == '\t'; }, ' ');
  return text;
}

void PrintTable(const std::vector<TJobRow>& rows) {
  size_t fileWidth = 4, scheduleWidth = 8;
  for (const TJobRow& row : rows) {
    fileWidth = std::max(fileWidth, row.File.size());
    if (row.HasInfo) scheduleWidth = std::max(scheduleWidth, OneLine(row.Info.ScheduleText).size());
  }
  std::cout << fmt::format("{:<{}}  {:<38}  {:<9}  {:<{}}  {}\n", "FILE", fileWidth, "JOB ID", "SCHEDULED",
                           "SCHEDULE", scheduleWidth, "CAPTION / DESCRIPTION");
  for (const TJobRow& row : rows) {
    if (!row.HasInfo) {
      std::cout << fmt::format("{:<{}}  ({})\n", row.File, fileWidth, row.Error);
      continue;
    }
    std::string text = OneLine(row.Info.Caption);
    if (!row.Info.Description.empty()) text += " / " + OneLine(row.Info.Description);
    std::cout << fmt::format("{:<{}}  {:<38}  {:<9}  {:<{}}  {}\n", row.File, fileWidth, OneLine(row.Info.JobId),
                             row.Info.ScheduleEnabled ? "yes" : "no", OneLine(row.Info.ScheduleText), scheduleWidth,
                             text);
  }
}

void PrintJson(const std::vector<TJobRow>& rows) {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const TJobRow& row : rows) {
    nlohmann::ordered_json item{{"file", row.File}};
    if (row.HasInfo) {
      item["JobId"] = row.Info.JobId;
      item["Caption"] = row.Info.Caption;
      item["Description"] = row.Info.Description;
      item["Schedule"] = row.Info.ScheduleText;
      item["ScheduleEnabled"] = row.Info.ScheduleEnabled;
    } else {
      item["error"] = row.Error;
    }
    all.push_back(std::move(item));
  }
  // Trailer texts are bytes of whatever code page wrote them: never fail on them.
  std::cout << all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << "\n";
}

int RunJobs(const std::string& where, bool asJson) {
  std::error_code ec;
  std::vector<TJobRow> rows;
  if (fs::is_regular_file(where, ec)) {
    rows.push_back(ReadRow(where, where));
    if (!rows.back().HasInfo) {
      PrintError(rows.back().Error);
      return kExitUsage;
    }
  } else {
    fs::directory_iterator it(where, ec);
    if (ec) {
      PrintError("Cannot read the folder \"" + where + "\": " + ec.message());
      return kExitUsage;
    }
    for (const fs::directory_entry& entry : it)
      if (IsJobFile(entry)) rows.push_back(ReadRow(entry.path(), entry.path().filename().string()));
    std::sort(rows.begin(), rows.end(), [](const TJobRow& a, const TJobRow& b) { return a.File < b.File; });
  }
  if (asJson)
    PrintJson(rows);
  else if (rows.empty())
    std::cerr << "No job files (*" << kJobFileExtension << " or JSON jobs) in \"" << where << "\".\n";
  else
    PrintTable(rows);
  return kExitOk;
}

}  // namespace

void AddJobsCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("jobs", "List job files (.qjob) and JSON jobs with their ids, names and schedules");
  auto where = std::make_shared<std::string>(".");
  auto asJson = std::make_shared<bool>(false);
  cmd->add_option("DIR", *where, "Folder to list (default: the current folder), or one job file");
  cmd->add_flag("--json", *asJson, "Print JSON instead of a table");
  cmd->callback([&status, where, asJson] { status = RunJobs(*where, *asJson); });
}

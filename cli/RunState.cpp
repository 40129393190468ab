#include "RunState.h"

#include <filesystem>
#include <fstream>

#include "uKwActionJob.h"
#include "uKwRegFolders.h"
#include "uKwSourceBase.h"

using json = nlohmann::ordered_json;

namespace {

std::string ChildKey(const std::string& parent, int index) {
  return (parent.empty() ? "" : parent + ".") + "children[" + std::to_string(index) + "]";
}

void Collect(TKwActionBase& action, const std::string& key, json& out) {
  json ids = json::object();
  if (auto* source = dynamic_cast<TKwSourceMailBase*>(&action); source && !source->SourceId.empty())
    ids["SourceId"] = source->SourceId;
  if (auto* job = dynamic_cast<TKwBaseActionJob*>(&action); job && !job->JobId.empty()) ids["JobId"] = job->JobId;
  if (!ids.empty()) out[key] = std::move(ids);
  for (int i = 0; i < action.GetChildCount(); ++i) Collect(action.GetChild(i), ChildKey(key, i), out);
}

void Give(TKwActionBase& action, const std::string& key, const json& stored, bool jobIdFromFile) {
  if (auto it = stored.find(key); it != stored.end() && it->is_object()) {
    auto* source = dynamic_cast<TKwSourceMailBase*>(&action);
    if (source && source->SourceId.empty() && it->contains("SourceId") && (*it)["SourceId"].is_string())
      source->SourceId = (*it)["SourceId"].get<std::string>();
    auto* job = dynamic_cast<TKwBaseActionJob*>(&action);
    if (job && !(key.empty() && jobIdFromFile) && it->contains("JobId") && (*it)["JobId"].is_string())
      job->JobId = (*it)["JobId"].get<std::string>();
  }
  for (int i = 0; i < action.GetChildCount(); ++i) Give(action.GetChild(i), ChildKey(key, i), stored, jobIdFromFile);
}

}  // namespace

TRunState::TRunState(std::string fileName) : FFileName(std::move(fileName)) {
  std::ifstream in(FFileName, std::ios::binary);
  if (in) FState = json::parse(in, nullptr, false);
  if (!FState.is_object()) FState = json::object();
}

std::string TRunState::DefaultFileName() { return GetCommonSettingsFolder() + "run-state.json"; }

void TRunState::Apply(const std::string& job, TKwActionBase& root, bool jobIdFromFile) const {
  if (auto it = FState.find(job); it != FState.end() && it->is_object()) Give(root, "", *it, jobIdFromFile);
}

std::string TRunState::JobIdOf(const std::string& job) const {
  auto it = FState.find(job);
  if (it == FState.end() || !it->is_object() || !it->contains("")) return "";
  const json& root = (*it)[""];
  return root.is_object() && root.contains("JobId") && root["JobId"].is_string() ? root["JobId"].get<std::string>() : "";
}

bool TRunState::Store(const std::string& job, TKwActionBase& root, std::string& error) {
  json ids = json::object();
  Collect(root, "", ids);
  if (FState.contains(job) && FState[job] == ids) return true;
  FState[job] = std::move(ids);
  // Written aside and renamed, so that a run stopped half-way never leaves half a file.
  const std::string temporary = FFileName + ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out << FState.dump(2) << "\n";
    if (!out.flush()) {
      error = "Cannot write the state file \"" + temporary + "\"";
      return false;
    }
  }
  std::error_code ec;
  std::filesystem::rename(temporary, FFileName, ec);
  if (ec) error = "Cannot write the state file \"" + FFileName + "\": " + ec.message();
  return !ec;
}

void CopyRunIds(TKwActionBase& from, TKwActionBase& to) {
  auto* fromSource = dynamic_cast<TKwSourceMailBase*>(&from);
  if (auto* toSource = dynamic_cast<TKwSourceMailBase*>(&to); fromSource && toSource)
    toSource->SourceId = fromSource->SourceId;
  auto* fromJob = dynamic_cast<TKwBaseActionJob*>(&from);
  if (auto* toJob = dynamic_cast<TKwBaseActionJob*>(&to); fromJob && toJob) toJob->JobId = fromJob->JobId;
  for (int i = 0; i < from.GetChildCount() && i < to.GetChildCount(); ++i) CopyRunIds(from.GetChild(i), to.GetChild(i));
}

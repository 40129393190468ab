#include "uKwActionFile.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "uKwActionJob.h"
#include "uKwJobInfo.h"
#include "uKwJson.h"
#include "uKwLogSubs.h"
#include "uKwSourceBase.h"
#include "uKwStream.h"

using json = nlohmann::ordered_json;

namespace {

bool LooksLikeJson(const std::string& text) {
  for (char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    return c == '{';
  }
  return false;
}

std::string LowerExtension(const std::string& fileName) {
  std::string ext = std::filesystem::path(fileName).extension().string();
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext;
}

TKwActionLoadResult Failure(std::string error) {
  TKwActionLoadResult result;
  result.Error = std::move(error);
  return result;
}

std::unique_ptr<TKwActionBase> CreateRoot(int kind, std::string& error) {
  if (kind < 0) {
    error = "Not an action stream: no action kind is stored";
    return nullptr;
  }
  if (!HasActionClass(static_cast<TSourceTargetItem>(kind))) {
    error = "The stored action kind " + SourceTargetItemToString(static_cast<TSourceTargetItem>(kind)) +
            " cannot stand in a tree";
    return nullptr;
  }
  return CreateNewAction(static_cast<TSourceTargetItem>(kind));
}

}  // namespace

int PeekStreamItemType(std::string_view stream) {
  try {
    TKwPropertyReader reader(stream);
    reader.ReadListBegin();
    while (!reader.EndOfList()) {
      std::string name = reader.ReadStr();
      if (name == "ItemType") return StringToSourceTargetItem(reader.ReadIdent());
      if (name == "ChildActions" || name == "SourceFoldersItems") return -1;  // always last
      reader.SkipValue();
    }
  } catch (const EReadError&) {
  }
  return -1;
}

TKwActionLoadResult LoadActionFromStream(std::string_view stream) {
  std::string error;
  if (stream.empty() || static_cast<uint8_t>(stream[0]) != vaList)
    return Failure("Not an action stream");
  std::unique_ptr<TKwActionBase> action = CreateRoot(PeekStreamItemType(stream), error);
  if (!action) return Failure(error);
  TKwActionLoadResult result;
  bool loaded = action->LoadFromStream(stream, error);
  result.Warnings = action->LoadWarnings();
  if (!loaded) return Failure(error);
  result.Action = std::move(action);
  return result;
}

TKwActionLoadResult LoadActionFromJson(const json& in) {
  if (!in.is_object()) return Failure("Not an action: a JSON object was expected");
  auto kindIt = in.find("kind");
  if (kindIt == in.end() || !kindIt->is_string())
    return Failure("Not an action: the member \"kind\" is missing");
  std::string error;
  int kind = StringToSourceTargetItem(kindIt->get<std::string>());
  if (kind < 0) return Failure("Unknown action kind \"" + kindIt->get<std::string>() + "\"");
  std::unique_ptr<TKwActionBase> action = CreateRoot(kind, error);
  if (!action) return Failure(error);
  TKwActionLoadResult result;
  try {
    PropertiesFromJson(*action, in, result.Warnings, {"kind", "children", "ItemType"});
  } catch (const EReadError& e) {  // a child kind without a class
    return Failure(e.what());
  }
  action->ItemType = static_cast<TSourceTargetItem>(kind);
  result.Action = std::move(action);
  return result;
}

TKwActionLoadResult LoadActionFromText(const std::string& text) {
  if (LooksLikeJson(text)) {
    json parsed = json::parse(text, nullptr, false);
    if (parsed.is_discarded()) return Failure("Not an action: the JSON text is malformed");
    return LoadActionFromJson(parsed);
  }
  std::string stream;
  if (!DecodeBase64(JobFileActionText(text), stream)) return Failure("Not an action file: the text is not base64");
  return LoadActionFromStream(stream);
}

TKwActionLoadResult LoadActionFromFile(const std::string& fileName) {
  std::error_code ec;
  if (std::filesystem::is_directory(fileName, ec))
    return Failure("\"" + fileName + "\" is a folder, not an action file");
  std::ifstream in(fileName, std::ios::binary);
  if (!in) return Failure("Cannot open file \"" + fileName + "\"");
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) return Failure("Cannot read file \"" + fileName + "\"");
  return LoadActionFromText(text.str());
}

json ActionToJson(TKwActionBase& action) {
  json out;
  out["kind"] = SourceTargetItemToString(action.ItemType);
  PropertiesToJson(action, out);
  out.erase("ItemType");
  return out;
}

namespace {

// Adds the SourceId of each source in the tree to the matching JSON object.
void MergeSourceIds(TKwActionBase& action, json& node) {
  if (auto* source = dynamic_cast<TKwSourceMailBase*>(&action); source && !source->SourceId.empty())
    node["SourceId"] = source->SourceId;
  // A job's id names its reports: it must not change from run to run either.
  if (auto* job = dynamic_cast<TKwBaseActionJob*>(&action); job && !node.contains("JobId")) node["JobId"] = job->JobId;
  auto children = node.find("children");
  if (children == node.end() || !children->is_array()) return;
  // Children the loader skipped have no action; match the rest by kind, in order.
  size_t next = 0;
  for (int i = 0; i < action.GetChildCount(); ++i) {
    TKwActionBase& child = action.GetChild(i);
    std::string kind = SourceTargetItemToString(child.ItemType);
    while (next < children->size() && !((*children)[next].is_object() && (*children)[next].value("kind", "") == kind))
      ++next;
    if (next == children->size()) return;
    MergeSourceIds(child, (*children)[next++]);
  }
}

// Saves a tree back into the file it came from, in the form that file has: a job file
// keeps its trailer (refreshed) or its older-form id, an action file stays one.
bool SaveInSameForm(TKwActionBase& action, const std::string& fileName, std::string& error) {
  auto* job = dynamic_cast<TKwBaseActionJob*>(&action);
  if (!job) return action.SaveToFile(fileName, error);
  TJobInfo info;
  if (TKwBaseActionJob::LoadJobInfo(fileName, info)) return job->SaveToFile(fileName, error);
  if (!ReadJobIdFromExtractJobFile(fileName).empty()) return job->SaveToFileOld(fileName, error);
  return action.SaveToFile(fileName, error);
}

}  // namespace

bool StoreSourceIds(TKwActionBase& action, const std::string& fileName, std::string& error) {
  if (LowerExtension(fileName) != ".json") return SaveInSameForm(action, fileName, error);
  std::ifstream in(fileName, std::ios::binary);
  json document = json::parse(in, nullptr, false);
  if (document.is_discarded() || !document.is_object()) {
    error = "Cannot read \"" + fileName + "\" back";
    return false;
  }
  MergeSourceIds(action, document);
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  out << document.dump(2) << "\n";
  out.close();
  if (!out) {
    error = "Cannot write file \"" + fileName + "\"";
    return false;
  }
  return true;
}

bool SaveActionToFile(TKwActionBase& action, const std::string& fileName, std::string& error) {
  if (LowerExtension(fileName) == kJobFileExtension) {
    auto* job = dynamic_cast<TKwBaseActionJob*>(&action);
    if (job) return job->SaveToFile(fileName, error);
    error = "Only a job can be saved as a job file (" + std::string(kJobFileExtension) + "); this tree's root is " +
            SourceTargetItemToString(action.ItemType);
    return false;
  }
  if (LowerExtension(fileName) != ".json") return action.SaveToFile(fileName, error);
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  if (!out) {
    error = "Cannot create file \"" + fileName + "\"";
    return false;
  }
  out << ActionToJson(action).dump(2) << "\n";
  out.close();
  if (!out) {
    error = "Cannot write file \"" + fileName + "\"";
    return false;
  }
  return true;
}

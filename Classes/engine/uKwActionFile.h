#pragma once
// Action trees on disk, whatever their form: the action file (base64 text of the
// property stream, ".qaf"), the job file (the same followed by the job information
// trailer, ".qjob") and the JSON form (".json"). The root's class is found from
// the stored kind, so a caller need not know what a file holds.

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "uKwActionBase.h"

struct TKwActionLoadResult {
  std::unique_ptr<TKwActionBase> Action;  // null when the file could not be loaded
  std::string Error;                      // why, when Action is null
  std::vector<std::string> Warnings;      // properties skipped while loading
};

// The kind stored in the top level of a property stream, or -1 when none is found.
int PeekStreamItemType(std::string_view stream);

TKwActionLoadResult LoadActionFromStream(std::string_view stream);
TKwActionLoadResult LoadActionFromText(const std::string& text);  // base64 or JSON
TKwActionLoadResult LoadActionFromJson(const nlohmann::ordered_json& json);
TKwActionLoadResult LoadActionFromFile(const std::string& fileName);

// {"kind": ..., stored properties..., "children": [...]}
nlohmann::ordered_json ActionToJson(TKwActionBase& action);

// Sources get their SourceId at their first run, and it must persist so that the next run
// finds their processed-message log (and a job keeps its JobId, which names its reports).
// Writes the ids of `action`'s tree into fileName, which holds that tree: a JSON file
// keeps its own members and gains "SourceId" and "JobId" where it had none; an action
// or job file is saved anew in its own form (a job file keeps its trailer, or its
// older-form id). False with a reason when it cannot be written.
bool StoreSourceIds(TKwActionBase& action, const std::string& fileName, std::string& error);

constexpr char kJobFileExtension[] = ".qjob";

// Writes by the extension of `fileName`: ".json" the JSON form, ".qjob" the job file
// (action file and job information trailer; the root must be a job), anything else the
// action file. False with a reason when the file cannot be written.
bool SaveActionToFile(TKwActionBase& action, const std::string& fileName, std::string& error);

#pragma once
// The ids a run gives the actions of a JSON job (a source's SourceId, which names its
// processed-message log, and a job's JobId, which names its reports), kept outside the
// job file so that a run never rewrites it and a read-only job still runs incrementally.
// One JSON file, by default "run-state.json" in the common settings folder:
//   { "<job file's real path>": { "": {"JobId": ...}, "children[0]": {"SourceId": ...} } }
// Actions are keyed by their position in the tree, as `quillon check` names them.

#include <string>

#include <nlohmann/json.hpp>

class TKwActionBase;

class TRunState {
 public:
  // Reads the file; a missing or unreadable one is an empty state.
  explicit TRunState(std::string fileName);
  static std::string DefaultFileName();

  // Gives the tree's actions the ids stored under `job` where the file gave them none;
  // `jobIdFromFile` says that the file named the root's JobId itself.
  void Apply(const std::string& job, TKwActionBase& root, bool jobIdFromFile) const;
  // The JobId a run of `job` was given; "" when none is kept.
  std::string JobIdOf(const std::string& job) const;
  // Records the tree's ids under `job` and writes the file. False with a reason.
  bool Store(const std::string& job, TKwActionBase& root, std::string& error);

 private:
  std::string FFileName;
  nlohmann::ordered_json FState;
};

// Copies SourceId and JobId from one tree to another of the same shape (a fresh load of
// the file the first came from), so that a tree whose paths were resolved for the run is
// not what gets saved.
void CopyRunIds(TKwActionBase& from, TKwActionBase& to);

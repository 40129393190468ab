#pragma once
// The strict check of an action tree before it runs: every problem that would make a run
// do something other than what its file says, each with the JSON path of what is wrong
// ("children[0].Options.SubFolderStructure") and, for a JSON text, its line and column.
// It finds unknown kinds and properties (with the nearest known name), values that do
// not fit (with the values allowed), children that may not stand under their parent,
// empty settings a run needs, unknown field codes, file names whose extension
// contradicts their format and source files or folders that do not exist.

#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "uKwJsonLocations.h"

struct TKwCheckProblem {
  std::string Path;          // "" for the text as a whole
  std::string Message;
  TKwTextPosition Position;  // Line 0 when there is no text to point into
  // False for what may change before the run gets there (a source file that an earlier
  // action of the job makes): a run goes on, and the source reports it if it is still so.
  bool BlocksRun = true;
};

// A JSON text; a syntax error is one problem at its line and column. Relative source
// paths are looked up under `baseFolder`.
std::vector<TKwCheckProblem> CheckJsonTreeText(const std::string& text, const std::filesystem::path& baseFolder);

// A parsed tree (the JSON form of an action or job file: no positions).
std::vector<TKwCheckProblem> CheckJsonTree(const nlohmann::ordered_json& tree,
                                           const std::filesystem::path& baseFolder);

// "children[0].Options.X (line 3, column 7): message"
std::string FormatCheckProblem(const TKwCheckProblem& problem);

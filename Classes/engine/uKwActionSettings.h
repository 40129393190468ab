#pragma once
// What a run needs of an action's settings, kind by kind: the files and folders it reads
// and writes (which a host may resolve against a job file's folder), the settings that
// must not be empty, and the format a file name's extension must agree with. Covers the
// kinds this build carries out; other kinds need nothing here.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "uKwTypes.h"

class TKwActionBase;

enum class TKwSettingRole {
  SourceFile,    // must exist before the run
  SourceFolder,  // must exist before the run
  OutputFile,    // written by the run
  OutputFolder,  // made by the run when missing
  Text           // not a path: a server, a connection string, field codes
};

struct TKwSettingNeed {
  std::string Path;  // dotted property path, "Options.TargetFolder"
  TKwSettingRole Role;
  bool Required;     // a run cannot do without it
};

// The settings of `action` that are paths or that a run needs, with what it needs of
// them; depends on the action's other settings (the mbox target's OneFilePerMailFolder).
std::vector<TKwSettingNeed> SettingNeedsOf(TKwActionBase& action);

// The text of a string property reached by its dotted path; null when there is none.
std::string* StringSetting(TKwActionBase& action, std::string_view path);

// Makes every relative file and folder setting in the tree absolute against `folder`.
void ResolveRelativePaths(TKwActionBase& root, const std::filesystem::path& folder);

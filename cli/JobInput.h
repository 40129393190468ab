#pragma once
// A job as the command line takes it: a file (action, job or JSON form) or "-" for a
// JSON job on stdin, with the folder its relative paths resolve against.

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "uKwActionFile.h"
#include "uKwTreeCheck.h"

struct TJobInput {
  std::string Name;                  // as given, "-" for stdin
  std::string Text;
  std::filesystem::path BaseFolder;  // the file's folder; the current folder for stdin
  std::string RealPath;              // the file's canonical path; "" for stdin
  bool IsJson = false;
};

// False with a one-line reason when the file cannot be read.
bool ReadJobInput(const std::string& name, TJobInput& input, std::string& error);

// Every problem the strict check finds; a file that does not load is one problem.
std::vector<TKwCheckProblem> CheckJobInput(const TJobInput& input);

// The tree with its relative paths made absolute against the input's folder.
TKwActionLoadResult LoadJobInput(const TJobInput& input);

// "file:line:column: path: message", the form editors jump to.
std::string FormatProblem(const TJobInput& input, const TKwCheckProblem& problem);

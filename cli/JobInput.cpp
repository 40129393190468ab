#include "JobInput.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "uKwActionSettings.h"

namespace fs = std::filesystem;

namespace {

bool LooksLikeJson(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string::npos && text[first] == '{';
}

}  // namespace

bool ReadJobInput(const std::string& name, TJobInput& input, std::string& error) {
  input.Name = name;
  std::error_code ec;
  if (name == "-") {
    input.Text.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    input.BaseFolder = fs::current_path(ec);
  } else {
    if (fs::is_directory(name, ec)) {
      error = "\"" + name + "\" is a folder, not a job file";
      return false;
    }
    std::ifstream in(name, std::ios::binary);
    if (!in) {
      error = "Cannot open file \"" + name + "\"";
      return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    input.Text = text.str();
    input.RealPath = fs::canonical(name, ec).string();
    input.BaseFolder = fs::path(input.RealPath).parent_path();
  }
  input.IsJson = LooksLikeJson(input.Text);
  return true;
}

std::vector<TKwCheckProblem> CheckJobInput(const TJobInput& input) {
  if (input.IsJson) return CheckJsonTreeText(input.Text, input.BaseFolder);
  TKwActionLoadResult loaded = LoadActionFromText(input.Text);
  if (!loaded.Action) return {{"", loaded.Error, {}}};
  std::vector<TKwCheckProblem> problems;
  for (const std::string& warning : loaded.Warnings) problems.push_back({"", warning, {}});
  for (TKwCheckProblem& problem : CheckJsonTree(ActionToJson(*loaded.Action), input.BaseFolder))
    problems.push_back(std::move(problem));
  return problems;
}

TKwActionLoadResult LoadJobInput(const TJobInput& input) {
  TKwActionLoadResult loaded = LoadActionFromText(input.Text);
  if (loaded.Action) ResolveRelativePaths(*loaded.Action, input.BaseFolder);
  return loaded;
}

std::string FormatProblem(const TJobInput& input, const TKwCheckProblem& problem) {
  std::string text = input.Name == "-" ? "<stdin>" : input.Name;
  if (problem.Position.Line > 0)
    text += ":" + std::to_string(problem.Position.Line) + ":" + std::to_string(problem.Position.Column);
  text += ": ";
  if (!problem.Path.empty()) text += problem.Path + ": ";
  return text + problem.Message;
}

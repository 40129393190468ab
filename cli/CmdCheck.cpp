// quillon check FILE [--json]: the strict check a run makes first, on its own.

#include <iostream>

#include "Commands.h"
#include "JobInput.h"
#include "Printer.h"

namespace {

int RunCheck(const std::string& fileName, const TPrinter& printer) {
  TJobInput input;
  std::string error;
  if (!ReadJobInput(fileName, input, error)) {
    PrintError(error);
    return kExitUsage;
  }
  const std::vector<TKwCheckProblem> problems = CheckJobInput(input);
  TResult result{{"file", fileName}, {"problems", TResult::array()}};
  for (const TKwCheckProblem& p : problems) {
    TResult item{{"path", p.Path}, {"message", p.Message}};
    if (p.Position.Line > 0) {
      item["line"] = p.Position.Line;
      item["column"] = p.Position.Column;
    }
    result["problems"].push_back(std::move(item));
  }
  printer.Print(result, [&](const TResult&) {
    for (const TKwCheckProblem& p : problems) std::cout << FormatProblem(input, p) << "\n";
    if (problems.empty()) std::cout << fileName << ": no problems found\n";
    else std::cout << problems.size() << (problems.size() == 1 ? " problem\n" : " problems\n");
  });
  return problems.empty() ? kExitOk : kExitUsage;
}

}  // namespace

void AddCheckCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand(
      "check", "Check a job strictly without running it: every problem with its JSON path, line and column");
  auto fileName = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  cmd->add_option("FILE", *fileName, "Action (.qaf), job (.qjob) or JSON file; - reads JSON from stdin")->required();
  cmd->add_flag("--json", *asJson, "Print the problems as JSON");
  cmd->callback([&status, fileName, asJson] { status = RunCheck(*fileName, TPrinter(*asJson)); });
}

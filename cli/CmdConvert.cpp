// quillon convert IN OUT: between the JSON form, the action file and the job file, by
// the extension of OUT.

#include "Commands.h"
#include "uKwActionFile.h"

namespace {

int RunConvert(const std::string& in, const std::string& out) {
  TKwActionLoadResult loaded = LoadActionFromFile(in);
  if (!loaded.Action) {
    PrintError(in + ": " + loaded.Error);
    return kExitUsage;
  }
  for (const std::string& warning : loaded.Warnings) PrintError(in + ": warning: " + warning);
  std::string error;
  if (!SaveActionToFile(*loaded.Action, out, error)) {
    PrintError(error);
    return kExitUsage;
  }
  return kExitOk;
}

}  // namespace

void AddConvertCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("convert", "Convert between .json, .qaf action files and .qjob job files (by extension)");
  auto in = std::make_shared<std::string>();
  auto out = std::make_shared<std::string>();
  cmd->add_option("IN", *in, "File to read (.json, .qaf or .qjob)")->required();
  cmd->add_option("OUT", *out, "File to write: .json gives the JSON form, .qjob a job file (the root must be a job), anything else an action file")->required();
  cmd->callback([&status, in, out] { status = RunConvert(*in, *out); });
}

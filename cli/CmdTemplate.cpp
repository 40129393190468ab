// quillon template KIND... [--json]: a JSON job to start from: a job root and the kinds
// given as a chain, with placeholders in the settings a run needs.

#include <iostream>

#include "Commands.h"
#include "KindCatalogue.h"
#include "Printer.h"
#include "uKwActionBase.h"
#include "uKwActionSettings.h"

namespace {

// Only what a user must or usually wants to set: everything left out keeps its default
// (`quillon describe KIND` lists them all), and no id is copied from job to job.
TResult NodeFor(TSourceTargetItem kind) {
  std::unique_ptr<TKwActionBase> action = CreateNewAction(kind);
  TResult node{{"kind", SourceTargetItemToString(kind)}, {"Name", action->Caption}};
  if (StringSetting(*action, "TargetFilename") != nullptr && kind != stiMailTarMbox) {
    for (const TKwPropertyPath& entry : FlattenProperties(*action))
      if (entry.Path == "TargetFormat") entry.Property.SetOrdinal(ffColCsv);
    node["TargetFormat"] = "ffColCsv";
  }
  // A second run then handles only the mail that is new.
  if (action->GetActionRol() == arSource) node["SourceOptions.CopyToSourceLog"] = true;
  for (const TKwSettingNeed& need : SettingNeedsOf(*action))
    if (need.Required) node[need.Path] = Placeholder(need, *action);
  return node;
}

int RunTemplate(const std::vector<std::string>& kindTexts) {
  std::vector<TSourceTargetItem> chain;
  for (const std::string& text : kindTexts) {
    std::string error;
    const int kind = FindKind(text, error);
    if (kind < 0) {
      PrintError(error);
      return kExitUsage;
    }
    chain.push_back(static_cast<TSourceTargetItem>(kind));
  }
  if (chain.front() != stiJob) chain.insert(chain.begin(), stiJob);
  for (size_t i = 1; i < chain.size(); ++i) {
    if (IsChildItemPossible(chain[i - 1], chain[i], false)) continue;
    PrintError(SourceTargetItemToString(chain[i]) + " cannot stand under " + SourceTargetItemToString(chain[i - 1]));
    return kExitUsage;
  }
  TResult root = NodeFor(chain.front());
  root["Name"] = "New job";
  TResult* parent = &root;
  for (size_t i = 1; i < chain.size(); ++i) {
    (*parent)["children"] = TResult::array({NodeFor(chain[i])});
    parent = &(*parent)["children"][0];
  }
  // The template is JSON whatever the form asked for: it is a job file.
  TPrinter(true).Print(root, nullptr);
  return kExitOk;
}

}  // namespace

void AddTemplateCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("template", "Print a JSON job to start from: the kinds given, as a chain under a job");
  auto kinds = std::make_shared<std::vector<std::string>>();
  auto asJson = std::make_shared<bool>(false);
  cmd->add_option("KIND", *kinds, "Action kinds from the source down, for example stiMailSrcMbox stiMailTarEmailParts")
      ->required();
  cmd->add_flag("--json", *asJson, "Accepted for symmetry: the template is always JSON");
  cmd->callback([&status, kinds] { status = RunTemplate(*kinds); });
}

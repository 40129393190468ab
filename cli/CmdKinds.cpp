// quillon kinds: the action catalogue.

#include <iostream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "uKwActionBase.h"
#include "uKwAssert.h"

namespace {

struct TKindRow {
  std::string Kind, Role, ShortName, Caption, Implemented;
};

TKindRow DescribeKind(TSourceTargetItem kind) {
  TKindRow row{SourceTargetItemToString(kind), EnumToString(GetItemActionRol(kind)), "", "", "no class"};
  try {
    row.ShortName = GetSourceTargetItemName(kind);
    row.Caption = GetSourceTargetItemCaption(kind);
  } catch (const EAssertionFailed&) {
    // three kinds have no display texts
  }
  if (HasActionClass(kind)) row.Implemented = CreateNewAction(kind)->IsAvailable() ? "yes" : "settings only";
  return row;
}

int RunKinds(bool asJson) {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  if (!asJson) std::cout << fmt::format("{:<30} {:<12} {:<24} {:<26} {}\n", "KIND", "ROLE", "SHORT NAME", "CAPTION", "IMPLEMENTED");
  for (int i = 0; i < TSourceTargetItemCount; ++i) {
    TKindRow row = DescribeKind(static_cast<TSourceTargetItem>(i));
    if (asJson)
      all.push_back({{"kind", row.Kind}, {"role", row.Role}, {"shortName", row.ShortName},
                     {"caption", row.Caption}, {"implemented", row.Implemented}});
    else
      std::cout << fmt::format("{:<30} {:<12} {:<24} {:<26} {}\n", row.Kind, row.Role, row.ShortName,
                               row.Caption, row.Implemented);
  }
  if (asJson) std::cout << all.dump(2) << "\n";
  return kExitOk;
}

}  // namespace

void AddKindsCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("kinds", "List every action kind: role, short name, caption, and whether this build carries it out");
  auto asJson = std::make_shared<bool>(false);
  cmd->add_flag("--json", *asJson, "Print JSON instead of a table");
  cmd->callback([&status, asJson] { status = RunKinds(*asJson); });
}

// quillon kinds [--role ROLE] [--available] [--json]: the action catalogue.

#include <iostream>

#include <fmt/format.h>

#include "Commands.h"
#include "KindCatalogue.h"
#include "Printer.h"
#include "uKwActionBase.h"
#include "uKwAssert.h"

namespace {

TResult DescribeKind(TSourceTargetItem kind) {
  TResult row{{"kind", SourceTargetItemToString(kind)}, {"role", RoleName(GetItemActionRol(kind))},
              {"shortName", ""}, {"caption", ""}, {"implemented", "no class"}};
  try {
    row["shortName"] = GetSourceTargetItemName(kind);
    row["caption"] = GetSourceTargetItemCaption(kind);
  } catch (const EAssertionFailed&) {
    // three kinds have no display texts
  }
  if (HasActionClass(kind)) row["implemented"] = CreateNewAction(kind)->IsAvailable() ? "yes" : "settings only";
  return row;
}

void PrintTable(const TResult& rows) {
  std::cout << fmt::format("{:<30} {:<8} {:<24} {:<26} {}\n", "KIND", "ROLE", "SHORT NAME", "CAPTION", "IMPLEMENTED");
  for (const TResult& row : rows)
    std::cout << fmt::format("{:<30} {:<8} {:<24} {:<26} {}\n", row["kind"].get<std::string>(),
                             row["role"].get<std::string>(), row["shortName"].get<std::string>(),
                             row["caption"].get<std::string>(), row["implemented"].get<std::string>());
}

int RunKinds(const std::string& role, bool availableOnly, const TPrinter& printer) {
  TResult rows = TResult::array();
  for (int i = 0; i < TSourceTargetItemCount; ++i) {
    TResult row = DescribeKind(static_cast<TSourceTargetItem>(i));
    if (!role.empty() && row["role"] != role) continue;
    if (availableOnly && row["implemented"] != "yes") continue;
    rows.push_back(std::move(row));
  }
  printer.Print(rows, PrintTable);
  return kExitOk;
}

}  // namespace

void AddKindsCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("kinds", "List the action kinds: role, short name, caption, and whether this build carries them out");
  auto role = std::make_shared<std::string>();
  auto available = std::make_shared<bool>(false);
  auto asJson = std::make_shared<bool>(false);
  cmd->add_option("--role", *role, "Only the kinds of one role")
      ->check(CLI::IsMember({"job", "source", "pass", "target", "simple"}));
  cmd->add_flag("--available", *available, "Only the kinds this build carries out");
  cmd->add_flag("--json", *asJson, "Print JSON instead of a table");
  cmd->callback([&status, role, available, asJson] { status = RunKinds(*role, *available, TPrinter(*asJson)); });
}

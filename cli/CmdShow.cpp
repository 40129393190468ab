// quillon show FILE [--json]: an action tree with every stored property.

#include <iostream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "uKwActionFile.h"
#include "uKwFoldersTree.h"
#include "uKwSourceBase.h"

namespace {

std::string FormatValue(const TKwProperty& p) {
  switch (p.Kind) {
    case TKwPropKind::Boolean: return p.Ordinal() ? "true" : "false";
    case TKwPropKind::Integer:
    case TKwPropKind::Int64: return std::to_string(p.Ordinal());
    case TKwPropKind::Enum: return std::string(p.EnumType->Name(p.GetOrdinal()));
    case TKwPropKind::Double:
    case TKwPropKind::DateTime: return fmt::format("{}", *static_cast<double*>(p.Field));
    case TKwPropKind::String: return nlohmann::json(*static_cast<std::string*>(p.Field)).dump();
    case TKwPropKind::Strings: return nlohmann::json(*static_cast<TStringList*>(p.Field)).dump();
    case TKwPropKind::Set: {
      std::string text;
      for (std::string_view name : p.SetElementNames()) text += (text.empty() ? "" : ",") + std::string(name);
      return "[" + text + "]";
    }
    case TKwPropKind::Object: break;
  }
  return "";
}

void PrintFolders(TKwFoldersTree& tree, const std::string& indent) {
  tree.ForEach([&](TKwFolderNode& node) {
    TKwFolderInfo& info = node.Info();
    std::cout << indent << std::string(2 * node.Level(), ' ') << "folder " << info.FolderName
              << (info.Enabled ? "" : " (disabled)") << "\n";
  });
}

void PrintAction(TKwActionBase& action, int depth) {
  std::string indent(2 * depth, ' ');
  std::cout << indent << "[" << SourceTargetItemToString(action.ItemType) << "] " << action.Caption
            << (action.IsAvailable() ? "" : "  (settings only in this build)") << "\n";
  for (const TKwPropertyPath& entry : FlattenProperties(action)) {
    if (!entry.Property.IsStored() || entry.Path == "ItemType" || entry.Path == "Caption") continue;
    std::cout << indent << "  " << entry.Path << " = " << FormatValue(entry.Property) << "\n";
  }
  if (auto* source = dynamic_cast<TKwSourceBase*>(&action); source && source->SourceFolders->Count() > 0)
    PrintFolders(*source->SourceFolders, indent + "  ");
  // Lists an action keeps beside its published properties (a parser's rules), one line an entry.
  nlohmann::ordered_json defined = nlohmann::ordered_json::object();
  action.DefinedPropertiesToJson(defined);
  for (const auto& [name, value] : defined.items()) {
    if (name == "children" || name == "SourceFoldersItems" || !value.is_array()) continue;
    for (size_t i = 0; i < value.size(); ++i)
      std::cout << indent << "  " << name << "[" << i << "] = " << value[i].dump() << "\n";
  }
  for (int i = 0; i < action.GetChildCount(); ++i) PrintAction(action.GetChild(i), depth + 1);
}

int RunShow(const std::string& fileName, bool asJson) {
  TKwActionLoadResult loaded = LoadActionFromFile(fileName);
  if (!loaded.Action) {
    PrintError(fileName + ": " + loaded.Error);
    return kExitUsage;
  }
  for (const std::string& warning : loaded.Warnings) PrintError(fileName + ": warning: " + warning);
  if (asJson)
    std::cout << ActionToJson(*loaded.Action).dump(2) << "\n";
  else
    PrintAction(*loaded.Action, 0);
  return kExitOk;
}

}  // namespace

void AddShowCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("show", "Print an action, job or JSON file as a tree with every stored property");
  auto fileName = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  cmd->add_option("FILE", *fileName, "Action (.qaf), job (.qjob) or JSON file")->required();
  cmd->add_flag("--json", *asJson, "Print the JSON form");
  cmd->callback([&status, fileName, asJson] { status = RunShow(*fileName, *asJson); });
}

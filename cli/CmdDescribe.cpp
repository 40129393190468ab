// quillon describe KIND [--json]: every setting of a kind, grouped by option object.

#include <iostream>

#include <fmt/format.h>

#include "Commands.h"
#include "KindCatalogue.h"
#include "Printer.h"
#include "uKwActionBase.h"
#include "uKwActionSettings.h"
#include "uKwIgnoredSettings.h"

namespace {

std::string TypeName(const TKwProperty& p) {
  switch (p.Kind) {
    case TKwPropKind::Boolean: return "Boolean";
    case TKwPropKind::Integer: return "Integer";
    case TKwPropKind::Int64: return "Int64";
    case TKwPropKind::Double: return "Double";
    case TKwPropKind::DateTime: return "DateTime";
    case TKwPropKind::String: return "string";
    case TKwPropKind::Strings: return "list of strings";
    case TKwPropKind::Enum: return std::string(p.EnumType->TypeName);
    case TKwPropKind::Set: return "set of " + std::string(p.EnumType->TypeName);
    case TKwPropKind::Object: break;
  }
  return "";
}

TResult DefaultOf(const TKwProperty& p) {
  switch (p.Kind) {
    case TKwPropKind::Boolean: return p.Ordinal() != 0;
    case TKwPropKind::Integer:
    case TKwPropKind::Int64: return p.Ordinal();
    case TKwPropKind::Double:
    case TKwPropKind::DateTime: return *static_cast<double*>(p.Field);
    case TKwPropKind::String: return *static_cast<std::string*>(p.Field);
    case TKwPropKind::Strings: return *static_cast<TStringList*>(p.Field);
    case TKwPropKind::Enum: return std::string(p.EnumType->Name(p.GetOrdinal()));
    case TKwPropKind::Set: {
      TResult names = TResult::array();
      for (std::string_view name : p.SetElementNames()) names.push_back(std::string(name));
      return names;
    }
    case TKwPropKind::Object: break;
  }
  return nullptr;
}

TResult ValuesOf(const TKwEnumInfo& type) {
  TResult values = TResult::array();
  for (int i = 0; i < type.Count(); ++i)
    values.push_back({{"value", std::string(type.Name(i))}, {"meaning", EnumValueMeaning(type, i)}});
  return values;
}

TResult FieldCodes() {
  TResult codes = TResult::array();
  for (int i = 0; i < TColumnFieldCount; ++i) {
    const auto field = static_cast<TColumnField>(i);
    codes.push_back({{"code", fmt::format("{:02}", i)}, {"field", ColumnFieldToString(field)},
                     {"column", GetColumnFieldName(field)}});
  }
  return codes;
}

TResult Describe(TSourceTargetItem kind) {
  std::unique_ptr<TKwActionBase> action = CreateNewAction(kind);
  TResult result{{"kind", SourceTargetItemToString(kind)}, {"role", RoleName(GetItemActionRol(kind))},
                 {"caption", action->Caption}, {"available", action->IsAvailable()}};
  TResult needed = TResult::array();
  for (const TKwSettingNeed& need : SettingNeedsOf(*action))
    if (need.Required) needed.push_back(need.Path);
  result["required"] = std::move(needed);
  TResult groups = TResult::object();
  for (const TKwPropertyPath& entry : FlattenProperties(*action)) {
    if (entry.Path == "ItemType") continue;
    const size_t dot = entry.Path.rfind('.');
    const std::string group = dot == std::string::npos ? "" : entry.Path.substr(0, dot);
    TResult item{{"name", entry.Path}, {"type", TypeName(entry.Property)}, {"default", DefaultOf(entry.Property)},
                 {"declaredDefault", entry.Property.Default.has_value()},
                 {"actedOn", IsSettingActedOn(*action, entry.Path)}};
    if (entry.Property.Kind == TKwPropKind::Enum || entry.Property.Kind == TKwPropKind::Set)
      item["values"] = ValuesOf(*entry.Property.EnumType);
    if (entry.Path == "FieldsStr") item["codes"] = FieldCodes();
    groups[group].push_back(std::move(item));
  }
  result["groups"] = std::move(groups);
  return result;
}

void PrintText(const TResult& r) {
  std::cout << fmt::format("{} ({}): {}\n", r["kind"].get<std::string>(), r["role"].get<std::string>(),
                           r["caption"].get<std::string>());
  const bool available = r["available"].get<bool>();
  std::cout << (available ? "This build carries this kind out; it keeps the settings marked \"not acted on\" "
                            "but does not act on them.\n"
                          : "This build keeps the settings of this kind but does not carry it out.\n");
  if (!r["required"].empty()) {
    std::cout << "A run needs:";
    for (const auto& name : r["required"]) std::cout << " " << name.get<std::string>();
    std::cout << "\n";
  }
  for (const auto& [group, items] : r["groups"].items()) {
    std::cout << "\n" << (group.empty() ? "Settings of the action" : group) << ":\n";
    for (const TResult& item : items) {
      std::cout << fmt::format("  {:<44} {:<26} default {}{}{}\n", item["name"].get<std::string>(),
                               item["type"].get<std::string>(), item["default"].dump(),
                               item["declaredDefault"].get<bool>() ? " (declared)" : "",
                               available && !item["actedOn"].get<bool>() ? "  [not acted on]" : "");
      if (item.contains("values"))
        for (const TResult& value : item["values"])
          std::cout << fmt::format("      {:<32} {}\n", value["value"].get<std::string>(), value["meaning"].get<std::string>());
      if (item.contains("codes"))
        for (const TResult& code : item["codes"])
          std::cout << fmt::format("      {}  {:<22} {}\n", code["code"].get<std::string>(), code["field"].get<std::string>(),
                                   code["column"].get<std::string>());
    }
  }
}

int RunDescribe(const std::string& kindText, const TPrinter& printer) {
  std::string error;
  const int kind = FindKind(kindText, error);
  if (kind < 0) {
    PrintError(error);
    return kExitUsage;
  }
  printer.Print(Describe(static_cast<TSourceTargetItem>(kind)), PrintText);
  return kExitOk;
}

}  // namespace

void AddDescribeCommand(CLI::App& app, int& status) {
  auto* cmd = app.add_subcommand("describe", "Every setting of a kind: type, default, allowed values, field codes");
  auto kind = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  cmd->add_option("KIND", *kind, "An action kind, for example stiMailTarSingleFiles")->required();
  cmd->add_flag("--json", *asJson, "Print JSON");
  cmd->callback([&status, kind, asJson] { status = RunDescribe(*kind, TPrinter(*asJson)); });
}

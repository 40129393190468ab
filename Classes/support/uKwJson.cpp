#include "uKwJson.h"

#include <algorithm>
#include <unordered_map>

#include "uKwPersistent.h"

using json = nlohmann::ordered_json;

namespace {

json ValueToJson(const TKwProperty& p) {
  switch (p.Kind) {
    case TKwPropKind::Boolean: return p.Ordinal() != 0;
    case TKwPropKind::Integer:
    case TKwPropKind::Int64: return p.Ordinal();
    case TKwPropKind::Enum: return std::string(p.EnumType->Name(p.GetOrdinal()));
    case TKwPropKind::Double:
    case TKwPropKind::DateTime: return *static_cast<double*>(p.Field);
    case TKwPropKind::String: return *static_cast<std::string*>(p.Field);
    case TKwPropKind::Strings: return *static_cast<TStringList*>(p.Field);
    case TKwPropKind::Set: {
      json names = json::array();
      for (std::string_view name : p.SetElementNames()) names.push_back(std::string(name));
      return names;
    }
    case TKwPropKind::Object: break;
  }
  return nullptr;
}

// Sets the property from a JSON value; false when the value does not fit its type.
bool JsonToValue(const json& value, const TKwProperty& p) {
  switch (p.Kind) {
    case TKwPropKind::Boolean:
      if (!value.is_boolean()) return false;
      p.SetOrdinalValue(value.get<bool>());
      return true;
    case TKwPropKind::Integer:
      if (!value.is_number_integer()) return false;
      if (value.get<int64_t>() < INT32_MIN || value.get<int64_t>() > INT32_MAX) return false;
      p.SetOrdinalValue(value.get<int64_t>());
      return true;
    case TKwPropKind::Int64:
      if (!value.is_number_integer()) return false;
      p.SetOrdinalValue(value.get<int64_t>());
      return true;
    case TKwPropKind::Enum: {
      if (!value.is_string()) return false;
      int ordinal = p.EnumType->Ordinal(value.get<std::string>());
      if (ordinal < 0) return false;
      p.SetOrdinal(ordinal);
      return true;
    }
    case TKwPropKind::Double:
    case TKwPropKind::DateTime:
      if (!value.is_number()) return false;
      *static_cast<double*>(p.Field) = value.get<double>();
      return true;
    case TKwPropKind::String:
      if (!value.is_string()) return false;
      *static_cast<std::string*>(p.Field) = value.get<std::string>();
      return true;
    case TKwPropKind::Strings: {
      if (!value.is_array()) return false;
      TStringList list;
      for (const json& item : value) {
        if (!item.is_string()) return false;
        list.push_back(item.get<std::string>());
      }
      *static_cast<TStringList*>(p.Field) = std::move(list);
      return true;
    }
    case TKwPropKind::Set: {
      if (!value.is_array()) return false;
      std::vector<std::string> names;
      for (const json& item : value) {
        if (!item.is_string()) return false;
        names.push_back(item.get<std::string>());
      }
      return p.SetElementsFromNames(names);
    }
    case TKwPropKind::Object: break;
  }
  return false;
}

}  // namespace

void PropertiesToJson(TKwPersistent& object, json& out) {
  for (const TKwPropertyPath& entry : FlattenProperties(object))
    if (entry.Property.IsStored()) out[entry.Path] = ValueToJson(entry.Property);
  object.DefinedPropertiesToJson(out);
}

void PropertiesFromJson(TKwPersistent& object, const json& in, std::vector<std::string>& warnings,
                        const std::vector<std::string>& ignore) {
  if (!in.is_object()) {
    warnings.push_back(std::string(object.ClassName()) + ": a JSON object was expected");
    return;
  }
  std::unordered_map<std::string, TKwProperty> index;
  for (TKwPropertyPath& entry : FlattenProperties(object))
    index.emplace(std::move(entry.Path), std::move(entry.Property));
  for (const auto& [name, value] : in.items()) {
    if (std::find(ignore.begin(), ignore.end(), name) != ignore.end()) continue;
    if (object.IsDefinedJsonMember(name)) continue;
    auto it = index.find(name);
    if (it == index.end()) {
      warnings.push_back(std::string(object.ClassName()) + ": unknown property " + name + " skipped");
      continue;
    }
    if (!JsonToValue(value, it->second))
      warnings.push_back(std::string(object.ClassName()) + ": property " + name +
                         ": value " + value.dump() + " does not fit its type");
  }
  object.DefinedPropertiesFromJson(in, warnings);
}

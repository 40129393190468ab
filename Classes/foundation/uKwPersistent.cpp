#include "uKwPersistent.h"

#include <typeinfo>

#include <nlohmann/json.hpp>

int64_t TKwProperty::Ordinal() const {
  switch (Kind) {
    case TKwPropKind::Boolean: return *static_cast<bool*>(Field) ? 1 : 0;
    case TKwPropKind::Integer: return *static_cast<int32_t*>(Field);
    case TKwPropKind::Int64: return *static_cast<int64_t*>(Field);
    case TKwPropKind::Enum: return GetOrdinal();
    case TKwPropKind::Set: return *static_cast<uint32_t*>(Field);
    default: return 0;
  }
}

void TKwProperty::SetOrdinalValue(int64_t value) const {
  switch (Kind) {
    case TKwPropKind::Boolean: *static_cast<bool*>(Field) = value != 0; break;
    case TKwPropKind::Integer: *static_cast<int32_t*>(Field) = static_cast<int32_t>(value); break;
    case TKwPropKind::Int64: *static_cast<int64_t*>(Field) = value; break;
    case TKwPropKind::Enum: SetOrdinal(static_cast<int>(value)); break;
    case TKwPropKind::Set: *static_cast<uint32_t*>(Field) = static_cast<uint32_t>(value); break;
    default: break;
  }
}

bool TKwProperty::IsStored() const {
  switch (Kind) {
    case TKwPropKind::Boolean:
    case TKwPropKind::Integer:
    case TKwPropKind::Int64:
    case TKwPropKind::Enum:
    case TKwPropKind::Set: return !Default || Ordinal() != *Default;
    case TKwPropKind::Double:
    case TKwPropKind::DateTime: return *static_cast<double*>(Field) != 0.0;
    case TKwPropKind::String: return !static_cast<std::string*>(Field)->empty();
    case TKwPropKind::Strings: return !static_cast<TStringList*>(Field)->empty();
    case TKwPropKind::Object: return true;
  }
  return true;
}

std::vector<std::string_view> TKwProperty::SetElementNames() const {
  std::vector<std::string_view> names;
  const auto mask = static_cast<uint32_t>(Ordinal());
  for (int i = 0; i < EnumType->Count() && i < 32; ++i)
    if (mask & (uint32_t{1} << i)) names.push_back(EnumType->Name(i));
  return names;
}

bool TKwProperty::SetElementsFromNames(const std::vector<std::string>& names) const {
  uint32_t mask = 0;
  for (const std::string& name : names) {
    const int ordinal = EnumType->Ordinal(name);
    if (ordinal < 0 || ordinal >= 32) return false;
    mask |= uint32_t{1} << ordinal;
  }
  SetOrdinalValue(mask);
  return true;
}

void TKwPublisher::Add(std::string_view name, TKwPropKind kind, void* field,
                       std::optional<int64_t> def) {
  TKwProperty p;
  p.Name = name;
  p.Kind = kind;
  p.Field = field;
  p.Default = def;
  FItems.push_back(std::move(p));
}

void TKwPublisher::AddEnum(std::string_view name, const TKwEnumInfo& info,
                           std::function<int()> get, std::function<void(int)> set,
                           std::optional<int64_t> def) {
  TKwProperty p;
  p.Name = name;
  p.Kind = TKwPropKind::Enum;
  p.EnumType = &info;
  p.GetOrdinal = std::move(get);
  p.SetOrdinal = std::move(set);
  p.Default = def;
  FItems.push_back(std::move(p));
}

void TKwPublisher::AddSet(std::string_view name, const TKwEnumInfo& info, uint32_t& mask, uint32_t def) {
  TKwProperty p;
  p.Name = name;
  p.Kind = TKwPropKind::Set;
  p.Field = &mask;
  p.EnumType = &info;
  p.Default = def;
  FItems.push_back(std::move(p));
}

void TKwPublisher::Boolean(std::string_view name, bool& field) {
  Add(name, TKwPropKind::Boolean, &field, std::nullopt);
}
void TKwPublisher::Boolean(std::string_view name, bool& field, bool declaredDefault) {
  Add(name, TKwPropKind::Boolean, &field, declaredDefault ? 1 : 0);
}
void TKwPublisher::Integer(std::string_view name, int32_t& field) {
  Add(name, TKwPropKind::Integer, &field, std::nullopt);
}
void TKwPublisher::Integer(std::string_view name, int32_t& field, int32_t declaredDefault) {
  Add(name, TKwPropKind::Integer, &field, declaredDefault);
}
void TKwPublisher::Int64(std::string_view name, int64_t& field) {
  Add(name, TKwPropKind::Int64, &field, std::nullopt);
}
void TKwPublisher::Double(std::string_view name, double& field) {
  Add(name, TKwPropKind::Double, &field, std::nullopt);
}
void TKwPublisher::DateTime(std::string_view name, double& field) {
  Add(name, TKwPropKind::DateTime, &field, std::nullopt);
}
void TKwPublisher::String(std::string_view name, std::string& field) {
  Add(name, TKwPropKind::String, &field, std::nullopt);
}
void TKwPublisher::Strings(std::string_view name, TStringList& field) {
  Add(name, TKwPropKind::Strings, &field, std::nullopt);
}
void TKwPublisher::Object(std::string_view name, TKwPersistent& object) {
  TKwProperty p;
  p.Name = name;
  p.Kind = TKwPropKind::Object;
  p.Object = &object;
  FItems.push_back(std::move(p));
}

std::vector<TKwProperty> TKwPersistent::PublishedProperties() {
  TKwPublisher publisher;
  // Enough for most classes, so that the list is not moved while it grows.
  publisher.Items().reserve(32);
  Publish(publisher);
  return std::move(publisher.Items());
}

void TKwPersistent::AssignError(const TKwPersistent& source) const {
  throw EConvertError("Cannot assign a " + std::string(source.ClassName()) + " to a " +
                      std::string(ClassName()));
}

void TKwPersistent::Assign(const TKwPersistent& source) {
  if (&source == this) return;
  if (typeid(source) != typeid(*this)) AssignError(source);
  // Publish needs a mutable object; nothing of the source is changed.
  auto from = const_cast<TKwPersistent&>(source).PublishedProperties();
  auto to = PublishedProperties();
  for (size_t i = 0; i < to.size() && i < from.size(); ++i) {
    const TKwProperty& s = from[i];
    const TKwProperty& d = to[i];
    switch (d.Kind) {
      case TKwPropKind::Boolean:
      case TKwPropKind::Integer:
      case TKwPropKind::Int64:
      case TKwPropKind::Enum:
      case TKwPropKind::Set: d.SetOrdinalValue(s.Ordinal()); break;
      case TKwPropKind::Double:
      case TKwPropKind::DateTime:
        *static_cast<double*>(d.Field) = *static_cast<double*>(s.Field);
        break;
      case TKwPropKind::String:
        *static_cast<std::string*>(d.Field) = *static_cast<std::string*>(s.Field);
        break;
      case TKwPropKind::Strings:
        *static_cast<TStringList*>(d.Field) = *static_cast<TStringList*>(s.Field);
        break;
      case TKwPropKind::Object: d.Object->Assign(*s.Object); break;
    }
  }
}

void TKwPersistent::WriteDefinedProperties(TKwPropertyWriter&, const std::string&) {}

bool TKwPersistent::ReadDefinedProperty(std::string_view, TKwPropertyReader&) { return false; }

void TKwPersistent::DefinedPropertiesToJson(nlohmann::ordered_json&) {}

void TKwPersistent::DefinedPropertiesFromJson(const nlohmann::ordered_json&, std::vector<std::string>&) {}

namespace {
void Flatten(TKwPersistent& object, const std::string& prefix, std::vector<TKwPropertyPath>& out) {
  for (TKwProperty& p : object.PublishedProperties()) {
    std::string path = prefix.empty() ? std::string(p.Name) : prefix + "." + std::string(p.Name);
    if (p.Kind == TKwPropKind::Object)
      Flatten(*p.Object, path, out);
    else
      out.push_back({std::move(path), std::move(p)});
  }
}
}  // namespace

std::vector<TKwPropertyPath> FlattenProperties(TKwPersistent& object, const std::string& prefix) {
  std::vector<TKwPropertyPath> out;
  Flatten(object, prefix, out);
  return out;
}

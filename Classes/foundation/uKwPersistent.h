#pragma once
// Published properties: the reflection on which the property stream, the JSON job form,
// Assign and the `quillon show` printer are built.
//
// A persistable class lists its published properties, in declared order and base class
// first, from Publish(). Each entry refers to a member of the object, so a property list
// is valid only while its object lives and is not moved. Objects are used from one thread.

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "uKwEnum.h"

using TStringList = std::vector<std::string>;

class TKwPersistent;
class TKwPropertyWriter;
class TKwPropertyReader;

// Raised by Assign between objects of different classes ("Cannot assign a X to a Y").
class EConvertError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Set: a set of an enumeration's values, held as a bit mask by ordinal (uint32_t).
enum class TKwPropKind { Boolean, Integer, Int64, Double, DateTime, String, Enum, Object, Strings, Set };

// One published property of a live object.
struct TKwProperty {
  std::string_view Name;
  TKwPropKind Kind = TKwPropKind::Boolean;
  void* Field = nullptr;  // bool*, int32_t*, int64_t*, double*, std::string*, TStringList*, uint32_t* (Set)
  TKwPersistent* Object = nullptr;          // Kind == Object
  const TKwEnumInfo* EnumType = nullptr;    // Kind == Enum or Set
  std::function<int()> GetOrdinal;          // Kind == Enum
  std::function<void(int)> SetOrdinal;      // Kind == Enum
  // The declared default of an ordinal property (Boolean, Integer, Int64, Enum). An
  // ordinal without one is always stored; strings are stored unless empty, floats unless
  // zero, string lists unless empty.
  std::optional<int64_t> Default;

  int64_t Ordinal() const;  // Boolean, Integer, Int64, Enum; a Set's mask
  void SetOrdinalValue(int64_t value) const;
  bool IsStored() const;  // false when the value equals the declared or implied default
  // A Set's elements as their identifiers, in ordinal order.
  std::vector<std::string_view> SetElementNames() const;
  // Sets a Set from identifiers; false (nothing changed) when one is not of the type.
  bool SetElementsFromNames(const std::vector<std::string>& names) const;
};

// Collects the published properties of one object; handed to TKwPersistent::Publish.
class TKwPublisher {
 public:
  void Boolean(std::string_view name, bool& field);
  void Boolean(std::string_view name, bool& field, bool declaredDefault);
  void Integer(std::string_view name, int32_t& field);
  void Integer(std::string_view name, int32_t& field, int32_t declaredDefault);
  void Int64(std::string_view name, int64_t& field);
  void Double(std::string_view name, double& field);
  void DateTime(std::string_view name, double& field);
  void String(std::string_view name, std::string& field);
  void Strings(std::string_view name, TStringList& field);
  void Object(std::string_view name, TKwPersistent& object);

  template <class E>
  void Enum(std::string_view name, E& field) {
    AddEnum(name, EnumInfo<E>(), [&field] { return static_cast<int>(field); },
            [&field](int v) { field = static_cast<E>(v); }, std::nullopt);
  }
  template <class E>
  void Enum(std::string_view name, E& field, E declaredDefault) {
    AddEnum(name, EnumInfo<E>(), [&field] { return static_cast<int>(field); },
            [&field](int v) { field = static_cast<E>(v); }, static_cast<int64_t>(declaredDefault));
  }

  // A set of E's values as a bit mask (bit n = ordinal n); stored unless it equals the
  // declared default, like the other ordinals.
  template <class E>
  void Set(std::string_view name, uint32_t& mask, uint32_t declaredDefault) {
    AddSet(name, EnumInfo<E>(), mask, declaredDefault);
  }

  std::vector<TKwProperty>& Items() { return FItems; }

 private:
  void Add(std::string_view name, TKwPropKind kind, void* field, std::optional<int64_t> def);
  void AddEnum(std::string_view name, const TKwEnumInfo& info, std::function<int()> get,
               std::function<void(int)> set, std::optional<int64_t> def);
  void AddSet(std::string_view name, const TKwEnumInfo& info, uint32_t& mask, uint32_t def);
  std::vector<TKwProperty> FItems;
};

// Base of every persistable object (option classes, folder info, actions).
// Not copyable: Assign copies explicitly, nested objects by their own Assign.
class TKwPersistent {
 public:
  TKwPersistent() = default;
  TKwPersistent(const TKwPersistent&) = delete;
  TKwPersistent& operator=(const TKwPersistent&) = delete;
  virtual ~TKwPersistent() = default;

  virtual std::string_view ClassName() const = 0;
  // Lists the published properties in declared order; derived classes call the base first.
  virtual void Publish(TKwPublisher& publisher) = 0;
  // Copies every published property from an object of the same class (nested objects by
  // their Assign, never shared). Throws EConvertError for an object of another class.
  virtual void Assign(const TKwPersistent& source);

  // Properties that the framework would stream through DefineProperties (child actions,
  // folder items): written after the published ones, read by name. `prefix` is the dotted
  // path of this object inside its owner ("" for the streamed root).
  virtual void WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix);
  // True when `name` (relative to this object) was a defined property and has been read.
  virtual bool ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader);
  // The same defined properties in the JSON form: added to / taken from `json`, one member
  // each under the defined property's name (no prefix; only streamed roots define any).
  virtual void DefinedPropertiesToJson(nlohmann::ordered_json& json);
  virtual void DefinedPropertiesFromJson(const nlohmann::ordered_json& json, std::vector<std::string>& warnings);
  // True for the JSON member names that DefinedPropertiesFromJson takes.
  virtual bool IsDefinedJsonMember(std::string_view) const { return false; }

  std::vector<TKwProperty> PublishedProperties();

 protected:
  // Throws EConvertError("Cannot assign a <source> to a <this>").
  [[noreturn]] void AssignError(const TKwPersistent& source) const;
};

// A published property reached from a streamed root through nested objects.
struct TKwPropertyPath {
  std::string Path;  // "SourceOptions.Remote.Port"
  TKwProperty Property;
};

// Every non-object property of `object` and of its nested objects, depth first, with
// dotted paths under `prefix`.
std::vector<TKwPropertyPath> FlattenProperties(TKwPersistent& object, const std::string& prefix = "");

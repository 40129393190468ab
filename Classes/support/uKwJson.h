#pragma once
// The JSON form of persistable objects: one member per stored published property under
// its dotted name ("SourceOptions.Remote.Port"), enumerations as identifiers, string lists
// as arrays, dates and doubles as numbers. It carries exactly what the property stream
// carries, so JSON -> object -> stream -> object -> JSON is the identity.

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

class TKwPersistent;

// The stored published properties of `object` (and of its nested objects) as members
// of `out`, followed by its defined properties (TKwPersistent::DefinedPropertiesToJson).
void PropertiesToJson(TKwPersistent& object, nlohmann::ordered_json& out);

// Sets every member of `in` that names a published property of `object`; a member whose
// value has the wrong type, or whose name is unknown, is skipped and described in
// `warnings`. Members named in `ignore` (the defined properties and whatever the caller
// reads itself) are left alone.
void PropertiesFromJson(TKwPersistent& object, const nlohmann::ordered_json& in,
                        std::vector<std::string>& warnings,
                        const std::vector<std::string>& ignore = {});

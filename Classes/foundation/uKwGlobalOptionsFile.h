#pragma once
// The host's side of TKwGlobalOptions: its JSON form (dotted names, as in a JSON job),
// the file "options.json" in the common settings folder, and "NAME=VALUE" assignments
// typed on a command line.
//
// Every function leaves `options` as it was when it returns false.

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

class TKwGlobalOptions;

constexpr char kGlobalOptionsFileName[] = "options.json";

// The common settings folder's "options.json".
std::string GetGlobalOptionsFileName();

// Sets the members named in `json` (an object); an unknown name, or a value that does not
// fit its property, makes it false with one line per problem in `problems`.
bool GlobalOptionsFromJson(TKwGlobalOptions& options, const nlohmann::ordered_json& json,
                           std::vector<std::string>& problems);
// The same from text; a syntax error is one problem with its line and column.
bool GlobalOptionsFromJsonText(TKwGlobalOptions& options, const std::string& text,
                               std::vector<std::string>& problems);
// A missing file leaves the options as they are and is no problem.
bool LoadGlobalOptionsFile(TKwGlobalOptions& options, const std::string& fileName,
                           std::vector<std::string>& problems);

// "NAME=VALUE": booleans as true/false (or 1/0, yes/no), numbers, enumeration and set
// identifiers (a set's members separated by commas), text as it is. For a string list
// (OauthList) the value is one line: it replaces the line with the same text before its
// "=", or is added.
bool SetGlobalOption(TKwGlobalOptions& options, std::string_view assignment, std::string& error);

// The stored properties as the JSON form.
nlohmann::ordered_json GlobalOptionsToJson(TKwGlobalOptions& options);

#include "uKwGlobalOptionsFile.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "uKwDidYouMean.h"
#include "uKwJson.h"
#include "uKwParameters.h"
#include "uKwRegFolders.h"

using json = nlohmann::ordered_json;

namespace {

std::vector<std::string> KnownNames(TKwGlobalOptions& options) {
  std::vector<std::string> names;
  for (const TKwPropertyPath& entry : FlattenProperties(options)) names.push_back(entry.Path);
  return names;
}

std::string UnknownNameProblem(const std::string& name, const std::vector<std::string>& known) {
  std::string problem = "unknown global option \"" + name + "\"";
  const std::string guess = ClosestName(name, known);
  if (!guess.empty()) problem += "; did you mean \"" + guess + "\"?";
  return problem;
}

// The line "key=..." of a name-value list is replaced by a line with the same key.
json WithLine(const TStringList& lines, const std::string& line) {
  json result = json::array();
  const std::string key = line.substr(0, line.find('='));
  bool replaced = false;
  for (const std::string& existing : lines) {
    const bool sameKey = line.find('=') != std::string::npos && existing.substr(0, existing.find('=')) == key;
    result.push_back(sameKey ? line : existing);
    replaced = replaced || sameKey;
  }
  if (!replaced) result.push_back(line);
  return result;
}

std::string AllowedValues(const TKwEnumInfo& type) {
  std::string values;
  for (int i = 0; i < type.Count(); ++i) values += (i == 0 ? "" : ", ") + std::string(type.Name(i));
  return values;
}

bool TextToJson(const TKwProperty& property, const std::string& text, json& value, std::string& error) {
  switch (property.Kind) {
    case TKwPropKind::Boolean:
      if (text == "true" || text == "1" || text == "yes") value = true;
      else if (text == "false" || text == "0" || text == "no") value = false;
      else error = "\"" + text + "\" is not true or false";
      break;
    case TKwPropKind::Integer:
    case TKwPropKind::Int64: {
      char* end = nullptr;
      const long long number = std::strtoll(text.c_str(), &end, 10);
      if (text.empty() || *end != '\0') error = "\"" + text + "\" is not a whole number";
      else value = number;
      break;
    }
    case TKwPropKind::Double:
    case TKwPropKind::DateTime: {
      char* end = nullptr;
      const double number = std::strtod(text.c_str(), &end);
      if (text.empty() || *end != '\0') error = "\"" + text + "\" is not a number";
      else value = number;
      break;
    }
    case TKwPropKind::Set: {
      value = json::array();
      std::stringstream members(text);
      for (std::string member; std::getline(members, member, ',');)
        if (!member.empty()) value.push_back(member);
      break;
    }
    case TKwPropKind::Enum:
      if (property.EnumType->Ordinal(text) >= 0) value = text;
      else error = "\"" + text + "\" is not one of " + AllowedValues(*property.EnumType);
      break;
    case TKwPropKind::Strings: value = WithLine(*static_cast<TStringList*>(property.Field), text); break;
    default: value = text;
  }
  return error.empty();
}

}  // namespace

std::string GetGlobalOptionsFileName() { return GetCommonSettingsFolder() + kGlobalOptionsFileName; }

bool GlobalOptionsFromJson(TKwGlobalOptions& options, const json& in, std::vector<std::string>& problems) {
  if (!in.is_object()) {
    problems.push_back("the global options must be a JSON object");
    return false;
  }
  const size_t before = problems.size();
  const std::vector<std::string> known = KnownNames(options);
  json published = json::object();
  for (const auto& [name, value] : in.items()) {
    if (std::find(known.begin(), known.end(), name) == known.end())
      problems.push_back(UnknownNameProblem(name, known));
    else
      published[name] = value;
  }
  TKwGlobalOptions updated;
  updated.Assign(options);
  std::vector<std::string> warnings;
  PropertiesFromJson(updated, published, warnings);
  for (const std::string& warning : warnings) problems.push_back(warning);
  if (problems.size() != before) return false;
  options.Assign(updated);
  return true;
}

bool GlobalOptionsFromJsonText(TKwGlobalOptions& options, const std::string& text,
                               std::vector<std::string>& problems) {
  json parsed;
  try {
    parsed = json::parse(text);
  } catch (const json::parse_error& e) {
    problems.push_back(e.what());
    return false;
  }
  return GlobalOptionsFromJson(options, parsed, problems);
}

bool LoadGlobalOptionsFile(TKwGlobalOptions& options, const std::string& fileName,
                           std::vector<std::string>& problems) {
  std::ifstream in(fileName, std::ios::binary);
  if (!in) return true;
  std::ostringstream text;
  text << in.rdbuf();
  std::vector<std::string> own;
  const bool loaded = GlobalOptionsFromJsonText(options, text.str(), own);
  for (const std::string& problem : own) problems.push_back(fileName + ": " + problem);
  return loaded;
}

bool SetGlobalOption(TKwGlobalOptions& options, std::string_view assignment, std::string& error) {
  const auto equals = assignment.find('=');
  if (equals == std::string_view::npos || equals == 0) {
    error = "\"" + std::string(assignment) + "\" is not NAME=VALUE";
    return false;
  }
  const std::string name(assignment.substr(0, equals));
  const std::string text(assignment.substr(equals + 1));
  json member = json::object();
  for (const TKwPropertyPath& entry : FlattenProperties(options)) {
    if (entry.Path != name) continue;
    json value;
    if (!TextToJson(entry.Property, text, value, error)) {
      error = "global option " + name + ": " + error;
      return false;
    }
    member[name] = value;
  }
  if (member.empty()) {
    error = UnknownNameProblem(name, KnownNames(options));
    return false;
  }
  std::vector<std::string> problems;
  if (GlobalOptionsFromJson(options, member, problems)) return true;
  error = problems.front();
  return false;
}

json GlobalOptionsToJson(TKwGlobalOptions& options) {
  json out = json::object();
  PropertiesToJson(options, out);
  return out;
}

#include "uKwTreeCheck.h"

#include <algorithm>
#include <cctype>

#include "uKwActionBase.h"
#include "uKwActionSettings.h"
#include "uKwDidYouMean.h"
#include "uKwJson.h"
#include "uKwTempDBColumnar.h"

using json = nlohmann::ordered_json;

namespace {

std::string Join(const std::string& path, const std::string& member) {
  return path.empty() ? member : path + "." + member;
}

std::string ChildPath(const std::string& path, size_t index) {
  return Join(path, "children[" + std::to_string(index) + "]");
}

std::string SuggestionFor(const std::string& name, const std::vector<std::string>& known) {
  const std::string guess = ClosestName(name, known);
  return guess.empty() ? "" : "; did you mean \"" + guess + "\"?";
}

std::string EnumValues(const TKwEnumInfo& info) {
  std::string text;
  for (int i = 0; i < info.Count(); ++i) text += (i ? ", " : "") + std::string(info.Name(i));
  return text;
}

std::vector<std::string> EnumNames(const TKwEnumInfo& info) {
  std::vector<std::string> names;
  for (int i = 0; i < info.Count(); ++i) names.emplace_back(info.Name(i));
  return names;
}

std::vector<std::string> KindNames() {
  std::vector<std::string> names;
  for (int i = 0; i < TSourceTargetItemCount; ++i)
    if (HasActionClass(static_cast<TSourceTargetItem>(i)))
      names.push_back(SourceTargetItemToString(static_cast<TSourceTargetItem>(i)));
  return names;
}

// Why the value does not fit the property, or "" when it does.
std::string FitProblem(const TKwProperty& p, const json& value) {
  switch (p.Kind) {
    case TKwPropKind::Boolean: return value.is_boolean() ? "" : "true or false expected";
    case TKwPropKind::Integer:
      if (value.is_number_integer() && value.get<int64_t>() >= INT32_MIN && value.get<int64_t>() <= INT32_MAX) return "";
      return "a whole number expected";
    case TKwPropKind::Int64: return value.is_number_integer() ? "" : "a whole number expected";
    case TKwPropKind::Double:
    case TKwPropKind::DateTime: return value.is_number() ? "" : "a number expected";
    case TKwPropKind::String: return value.is_string() ? "" : "text expected";
    case TKwPropKind::Strings:
      if (value.is_array() && std::all_of(value.begin(), value.end(), [](const json& v) { return v.is_string(); }))
        return "";
      return "a list of texts expected";
    case TKwPropKind::Enum: {
      if (value.is_string() && p.EnumType->Ordinal(value.get<std::string>()) >= 0) return "";
      const std::string suggestion =
          value.is_string() ? SuggestionFor(value.get<std::string>(), EnumNames(*p.EnumType)) : "";
      return "allowed values: " + EnumValues(*p.EnumType) + suggestion;
    }
    case TKwPropKind::Set: {
      if (!value.is_array()) return "a list of " + std::string(p.EnumType->TypeName) + " values expected";
      for (const json& member : value)
        if (!member.is_string() || p.EnumType->Ordinal(member.get<std::string>()) < 0)
          return member.dump() + " is not a member; allowed: " + EnumValues(*p.EnumType);
      return "";
    }
    case TKwPropKind::Object: break;
  }
  return "";
}

class TChecker {
 public:
  TChecker(const std::filesystem::path& baseFolder, const std::map<std::string, TKwTextPosition>* positions)
      : FBaseFolder(baseFolder), FPositions(positions) {}

  void CheckNode(const json& node, const std::string& path, int parentKind, int depth = 0);
  std::vector<TKwCheckProblem> Problems;

 private:
  void Add(const std::string& path, std::string message, bool blocksRun = true);
  void CheckProperties(TKwActionBase& action, const json& node, const std::string& path);
  void CheckNeeds(TKwActionBase& action, const json& node, const std::string& path);
  void CheckFieldCodes(const std::string& codes, const std::string& path);
  void CheckExtension(TKwActionBase& action, const json& node, const std::string& path);
  void CheckChildren(const json& node, const std::string& path, int kind, int depth);

  std::filesystem::path FBaseFolder;
  const std::map<std::string, TKwTextPosition>* FPositions;  // not owned; null without a text
};

void TChecker::Add(const std::string& path, std::string message, bool blocksRun) {
  TKwCheckProblem problem{path, std::move(message), {}, blocksRun};
  // A missing member points at its object.
  for (std::string at = path; FPositions; at = at.substr(0, at.rfind('.'))) {
    if (auto it = FPositions->find(at); it != FPositions->end()) {
      problem.Position = it->second;
      break;
    }
    if (at.find('.') == std::string::npos) break;
  }
  Problems.push_back(std::move(problem));
}

// No tree a person writes comes near it; a deeper one would only exhaust the stack.
constexpr int kMaxDepth = 64;

void TChecker::CheckNode(const json& node, const std::string& path, int parentKind, int depth) {
  if (!node.is_object()) return Add(path, "an action must be a JSON object");
  if (depth > kMaxDepth) return Add(path, "the tree is nested deeper than " + std::to_string(kMaxDepth) + " levels");
  auto kindIt = node.find("kind");
  if (kindIt == node.end() || !kindIt->is_string()) return Add(path, "the member \"kind\" is missing");
  const std::string kindText = kindIt->get<std::string>();
  const int kind = StringToSourceTargetItem(kindText);
  if (kind < 0) return Add(Join(path, "kind"), "unknown action kind \"" + kindText + "\"" + SuggestionFor(kindText, KindNames()));
  const auto item = static_cast<TSourceTargetItem>(kind);
  if (!HasActionClass(item)) return Add(Join(path, "kind"), "the action kind " + kindText + " cannot stand in a tree");
  if (parentKind >= 0 && !IsChildItemPossible(static_cast<TSourceTargetItem>(parentKind), item, false))
    Add(Join(path, "kind"), kindText + " cannot stand under " +
                                SourceTargetItemToString(static_cast<TSourceTargetItem>(parentKind)));
  std::unique_ptr<TKwActionBase> action = CreateNewAction(item);
  CheckProperties(*action, node, path);
  json own = node;
  own.erase("children");
  std::vector<std::string> ignored;
  PropertiesFromJson(*action, own, ignored, {"kind", "ItemType"});
  action->ItemType = item;
  CheckNeeds(*action, node, path);
  CheckExtension(*action, node, path);
  CheckChildren(node, path, kind, depth);
}

void TChecker::CheckProperties(TKwActionBase& action, const json& node, const std::string& path) {
  std::vector<std::string> known;
  std::map<std::string, TKwProperty> byName;
  for (TKwPropertyPath& entry : FlattenProperties(action)) {
    if (entry.Path == "ItemType") continue;
    known.push_back(entry.Path);
    byName.emplace(entry.Path, std::move(entry.Property));
  }
  const std::string kind = SourceTargetItemToString(action.ItemType);
  for (const auto& [name, value] : node.items()) {
    if (name == "kind" || name == "children" || name == "ItemType" || action.IsDefinedJsonMember(name)) continue;
    auto it = byName.find(name);
    if (it == byName.end()) {
      Add(Join(path, name), "unknown property \"" + name + "\" of " + kind + SuggestionFor(name, known));
      continue;
    }
    if (std::string problem = FitProblem(it->second, value); !problem.empty())
      Add(Join(path, name), "the value " + value.dump() + " does not fit (" + problem + ")");
  }
}

void TChecker::CheckNeeds(TKwActionBase& action, const json& node, const std::string& path) {
  const std::string kind = SourceTargetItemToString(action.ItemType);
  for (const TKwSettingNeed& need : SettingNeedsOf(action)) {
    const std::string* value = StringSetting(action, need.Path);
    if (value == nullptr) continue;
    const std::string at = Join(path, need.Path);
    if (value->empty()) {
      if (need.Required) Add(node.contains(need.Path) ? at : path, need.Path + " is empty; " + kind + " needs it to run");
      continue;
    }
    if (value->front() == '<' && value->find('>') != std::string::npos) {
      Add(at, need.Path + " still holds the template's placeholder " + *value + "; fill it in");
      continue;
    }
    std::error_code ec;
    const std::filesystem::path file = std::filesystem::path(*value).is_absolute() ? std::filesystem::path(*value) : FBaseFolder / *value;
    if (need.Role == TKwSettingRole::SourceFile && !std::filesystem::is_regular_file(file, ec))
      Add(at, "the source file \"" + file.string() + "\" does not exist", false);
    if (need.Role == TKwSettingRole::SourceFolder && !std::filesystem::is_directory(file, ec))
      Add(at, "the source folder \"" + file.string() + "\" does not exist", false);
    if (need.Path == "FieldsStr") CheckFieldCodes(*value, at);
  }
}

void TChecker::CheckFieldCodes(const std::string& codes, const std::string& path) {
  if (codes.size() % 2 != 0) Add(path, "FieldsStr must be two-digit field codes; \"" + codes + "\" has an odd length");
  for (size_t i = 0; i + 2 <= codes.size(); i += 2) {
    const std::string code = codes.substr(i, 2);
    const bool digits = std::isdigit(static_cast<unsigned char>(code[0])) && std::isdigit(static_cast<unsigned char>(code[1]));
    if (!digits || std::stoi(code) >= TColumnFieldCount)
      Add(path, "unknown field code \"" + code + "\" in FieldsStr (the codes run from 00 to " +
                    std::to_string(TColumnFieldCount - 1) + "; see quillon describe)");
  }
}

void TChecker::CheckExtension(TKwActionBase& action, const json& node, const std::string& path) {
  const std::string* fileName = StringSetting(action, "TargetFilename");
  if (fileName == nullptr || fileName->empty() || !node.contains("TargetFilename")) return;
  for (const TKwPropertyPath& entry : FlattenProperties(action)) {
    if (entry.Path != "TargetFormat" || entry.Property.Kind != TKwPropKind::Enum) continue;
    const auto format = static_cast<TFileFormat>(entry.Property.GetOrdinal());
    const std::string wanted = GetFileFormatExtension(format);
    std::string extension = std::filesystem::path(*fileName).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) { return std::tolower(c); });
    if (!wanted.empty() && extension != wanted)
      Add(Join(path, "TargetFilename"), "the file name \"" + *fileName + "\" does not end in \"" + wanted +
                                            "\", the extension of TargetFormat " + FileFormatToString(format));
  }
}

void TChecker::CheckChildren(const json& node, const std::string& path, int kind, int depth) {
  auto children = node.find("children");
  if (children == node.end()) return;
  if (!children->is_array()) return Add(Join(path, "children"), "\"children\" must be an array of actions");
  for (size_t i = 0; i < children->size(); ++i) CheckNode((*children)[i], ChildPath(path, i), kind, depth + 1);
}

}  // namespace

std::vector<TKwCheckProblem> CheckJsonTreeText(const std::string& text, const std::filesystem::path& baseFolder) {
  json tree;
  try {
    tree = json::parse(text);
  } catch (const json::parse_error& e) {
    std::string message = e.what();
    if (const size_t at = message.find("parse error"); at != std::string::npos) message = message.substr(at);
    return {{"", "JSON " + message, PositionAt(text, e.byte == 0 ? 0 : e.byte - 1)}};
  }
  const std::map<std::string, TKwTextPosition> positions = JsonLocations(text);
  TChecker checker(baseFolder, &positions);
  checker.CheckNode(tree, "", -1);
  return checker.Problems;
}

std::vector<TKwCheckProblem> CheckJsonTree(const json& tree, const std::filesystem::path& baseFolder) {
  TChecker checker(baseFolder, nullptr);
  checker.CheckNode(tree, "", -1);
  return checker.Problems;
}

std::string FormatCheckProblem(const TKwCheckProblem& problem) {
  std::string text = problem.Path;
  if (problem.Position.Line > 0)
    text += (text.empty() ? "" : " ") + std::string("(line ") + std::to_string(problem.Position.Line) + ", column " +
            std::to_string(problem.Position.Column) + ")";
  return text + (text.empty() ? "" : ": ") + problem.Message;
}

#include "uKwActionSettings.h"

#include "uKwActionBase.h"

namespace {

using enum TKwSettingRole;

bool BooleanSetting(TKwActionBase& action, std::string_view path) {
  for (const TKwPropertyPath& entry : FlattenProperties(action))
    if (entry.Path == path && entry.Property.Kind == TKwPropKind::Boolean) return entry.Property.Ordinal() != 0;
  return false;
}

}  // namespace

std::vector<TKwSettingNeed> SettingNeedsOf(TKwActionBase& action) {
  switch (action.ItemType) {
    case stiMailSrcMbox: return {{"SourceOptions.Filename", SourceFile, true}};
    case stiMailSrcSingleFiles: return {{"SourceOptions.Folder", SourceFolder, true}};
    case stiMailSrcPOP: return {{"SourceOptions.Remote.Server", Text, true}};
    case stiMailTarSingleFiles:
    case stiMailTarAttachments: return {{"Options.TargetFolder", OutputFolder, true}};
    case stiMailTarMbox: {
      const bool perFolder = BooleanSetting(action, "OneFilePerMailFolder");
      return {{"TargetFilename", OutputFile, !perFolder}, {"TargetFolder", OutputFolder, perFolder}};
    }
    case stiMailTarEmailParts: return {{"TargetFilename", OutputFile, true}, {"FieldsStr", Text, true}};
    case stiMailTarEDataColumnar: return {{"TargetFilename", OutputFile, true}};
    case stiMailTarEmailForwarder:
    case stiMailTarIMAP: return {{"Remote.Server", Text, true}};
    case stiMailTarDB: return {{"ConnectionString", Text, true}};
    default: return {};
  }
}

std::string* StringSetting(TKwActionBase& action, std::string_view path) {
  for (const TKwPropertyPath& entry : FlattenProperties(action))
    if (entry.Path == path && entry.Property.Kind == TKwPropKind::String)
      return static_cast<std::string*>(entry.Property.Field);
  return nullptr;
}

void ResolveRelativePaths(TKwActionBase& root, const std::filesystem::path& folder) {
  for (const TKwSettingNeed& need : SettingNeedsOf(root)) {
    if (need.Role == Text) continue;
    std::string* value = StringSetting(root, need.Path);
    if (value == nullptr || value->empty() || std::filesystem::path(*value).is_absolute()) continue;
    *value = (folder / *value).lexically_normal().string();
  }
  for (int i = 0; i < root.GetChildCount(); ++i) ResolveRelativePaths(root.GetChild(i), folder);
}

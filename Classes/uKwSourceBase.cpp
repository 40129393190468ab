#include "uKwSourceBase.h"

#include <nlohmann/json.hpp>

#include "uKwStream.h"

namespace {
constexpr char kSourceFoldersItems[] = "SourceFoldersItems";
}

void TKwSourceBase::Publish(TKwPublisher& p) {
  TKwActionBase::Publish(p);
  p.Enum("FolderProcessType", FolderProcessType);
  p.Object("SourceFolders", *SourceFolders);
  p.Object("SourceOptions", *SourceOptions);
}

void TKwSourceBase::WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) {
  if (prefix.empty() && SourceFolders->Count() > 0) {
    writer.WritePropName(kSourceFoldersItems);
    SourceFolders->WriteItems(writer);
  }
  TKwActionBase::WriteDefinedProperties(writer, prefix);
}

bool TKwSourceBase::ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) {
  if (name != kSourceFoldersItems) return TKwActionBase::ReadDefinedProperty(name, reader);
  SourceFolders->ReadItems(reader, LoadWarningSink());
  return true;
}

void TKwSourceBase::DefinedPropertiesToJson(nlohmann::ordered_json& json) {
  if (SourceFolders->Count() > 0) json[kSourceFoldersItems] = SourceFolders->ItemsToJson();
  TKwActionBase::DefinedPropertiesToJson(json);
}

void TKwSourceBase::DefinedPropertiesFromJson(const nlohmann::ordered_json& json,
                                              std::vector<std::string>& warnings) {
  if (auto it = json.find(kSourceFoldersItems); it != json.end())
    SourceFolders->ItemsFromJson(*it, warnings);
  TKwActionBase::DefinedPropertiesFromJson(json, warnings);
}

void TKwSourceMailBase::Publish(TKwPublisher& p) {
  TKwSourceBase::Publish(p);
  p.Object("Filters", *Filters);
  p.String("SourceId", SourceId);
}

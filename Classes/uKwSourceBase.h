#pragma once
// Bases of the actions that read a mail store (or a contact or calendar store) and feed
// their child targets. A source owns its folder tree, its options and its filters.

#include <memory>

#include "uKwActionBase.h"
#include "uKwFilters.h"
#include "uKwFoldersTree.h"
#include "uKwParameters.h"

// What a run does with each item. persisted: never reorder
#define KW_FOLDER_PROCESS_TYPE(X) X(fptLoadHeaders) X(fptExtractToStorage) X(fptExtractSelectedItems) X(fptExtractAll)
KW_ENUM(TFolderProcessType, KW_FOLDER_PROCESS_TYPE);

class TKwSourceBase : public TKwActionBase {
 public:
  std::string_view ClassName() const override { return "TKwSourceBase"; }
  void Publish(TKwPublisher& publisher) override;

  // The folder items persist beside the published properties as "SourceFoldersItems".
  void WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) override;
  bool ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) override;
  void DefinedPropertiesToJson(nlohmann::ordered_json& json) override;
  void DefinedPropertiesFromJson(const nlohmann::ordered_json& json, std::vector<std::string>& warnings) override;
  bool IsDefinedJsonMember(std::string_view name) const override {
    return name == "SourceFoldersItems" || TKwActionBase::IsDefinedJsonMember(name);
  }

  // A new source extracts everything; the desktop shell chooses otherwise per run.
  TFolderProcessType FolderProcessType = fptExtractAll;
  const std::unique_ptr<TKwFoldersTree> SourceFolders = std::make_unique<TKwFoldersTree>();
  const std::unique_ptr<TKwSourceOptions> SourceOptions = std::make_unique<TKwSourceOptions>();
};

class TKwSourceMailBase : public TKwSourceBase {
 public:
  std::string_view ClassName() const override { return "TKwSourceMailBase"; }
  void Publish(TKwPublisher& publisher) override;

  const std::unique_ptr<TKwFilterOptions> Filters = std::make_unique<TKwFilterOptions>();
  std::string SourceId;  // GUID text given at the first extraction; names the processed-message log
};

class TKwSourceContactBase : public TKwSourceBase {
 public:
  std::string_view ClassName() const override { return "TKwSourceContactBase"; }
};

class TKwSourceCalendarBase : public TKwSourceBase {
 public:
  std::string_view ClassName() const override { return "TKwSourceCalendarBase"; }
};

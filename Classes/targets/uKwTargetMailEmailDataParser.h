#pragma once
// TKwTargetMailEmailDataParser: the pass that fills the Fields variables of every message
// with values cut out of it by its rules (order numbers, amounts, names in web-form mail,
// codes in notifications) and hands the message on to its children, which read them
// (collect data, the database target, send-email of data).
//
// Fields holds one variable per rule, in rule order, named, typed and flagged for export
// as the rule says; a rule that finds nothing leaves its default. The message parts in
// EmailParts are exported unless named in EmailPartsNotExported.
//
// Rules are saved with the action: the defined property "Rules" in the property stream
// (a list: the count, then each rule as an object) and an array of objects in the JSON
// form. A rule without a name, with a bad pattern or with a name already taken is left out
// and logged once when the run starts. Owns its rules and, for a run, their compiled form.

#include <memory>
#include <string>
#include <vector>

#include "uKwDataRules.h"
#include "uKwTargetBase.h"

class TKwTargetMailEmailDataParser : public TKwTargetMailPassBase {
 public:
  TKwTargetMailEmailDataParser();
  ~TKwTargetMailEmailDataParser() override;
  std::string_view ClassName() const override { return "TKwTargetMailEmailDataParser"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;

  void WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) override;
  bool ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) override;
  void DefinedPropertiesToJson(nlohmann::ordered_json& json) override;
  void DefinedPropertiesFromJson(const nlohmann::ordered_json& json, std::vector<std::string>& warnings) override;
  bool IsDefinedJsonMember(std::string_view name) const override;

  void InitializeExtractProcess(TKwFoldersTree& folders) override;
  void ProcessMessage(TKwMailMessage& message) override;
  void FinalizeExtractProcess() override;

  TKwDataRule& AddRule();  // appended; the reference lives as long as the rule

  // Messages of the run whose rules all, partly or not at all found a value.
  int64_t AllMatched() const { return FAllMatched; }
  int64_t SomeMatched() const { return FSomeMatched; }
  int64_t NoneMatched() const { return FNoneMatched; }

  // ---- published
  TStringList EmailPartsNotExported;  // names of message parts ("TextPart") left out of the rows
  std::vector<std::unique_ptr<TKwDataRule>> Rules;

 private:
  void PrepareEmailParts();
  std::vector<const TKwDataRule*> AcceptedRules(std::vector<std::string>& errors);

  std::unique_ptr<TKwDataRuleEngine> FEngine;
  int64_t FAllMatched = 0, FSomeMatched = 0, FNoneMatched = 0;
};

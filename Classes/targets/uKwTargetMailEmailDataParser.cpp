#include "uKwTargetMailEmailDataParser.h"

#include <nlohmann/json.hpp>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwFoldersTree.h"
#include "uKwJson.h"
#include "uKwMailMessage.h"
#include "uKwParameters.h"
#include "uKwStream.h"
#include "uKwVariables.h"

namespace {

constexpr char kRules[] = "Rules";
// Fields variables stand for no message part.
constexpr auto kNoColumnField = static_cast<TColumnField>(TColumnFieldCount);

bool SameTextAscii(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  return true;
}

bool Contains(const TStringList& names, std::string_view name) {
  for (const std::string& entry : names)
    if (SameTextAscii(entry, name)) return true;
  return false;
}

}  // namespace

TKwTargetMailEmailDataParser::TKwTargetMailEmailDataParser() = default;
TKwTargetMailEmailDataParser::~TKwTargetMailEmailDataParser() = default;

void TKwTargetMailEmailDataParser::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Strings("EmailPartsNotExported", EmailPartsNotExported);
}

void TKwTargetMailEmailDataParser::Assign(const TKwPersistent& source) {
  TKwTargetMailBase::Assign(source);
  const auto& other = dynamic_cast<const TKwTargetMailEmailDataParser&>(source);
  Rules.clear();
  for (const auto& rule : other.Rules) AddRule().Assign(*rule);
}

TKwDataRule& TKwTargetMailEmailDataParser::AddRule() {
  Rules.push_back(std::make_unique<TKwDataRule>());
  return *Rules.back();
}

// ---------------------------------------------------------------- persistence

void TKwTargetMailEmailDataParser::WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) {
  if (prefix.empty() && !Rules.empty()) {
    writer.WritePropName(kRules);
    writer.WriteListBegin();
    writer.WriteInteger(static_cast<int64_t>(Rules.size()));
    for (auto& rule : Rules) WriteObject(writer, *rule);
    writer.WriteListEnd();
  }
  TKwTargetMailBase::WriteDefinedProperties(writer, prefix);
}

bool TKwTargetMailEmailDataParser::ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) {
  if (name != kRules) return TKwTargetMailBase::ReadDefinedProperty(name, reader);
  Rules.clear();
  reader.ReadListBegin();
  const int64_t count = reader.ReadInteger();
  for (int64_t i = 0; i < count && !reader.EndOfList(); ++i) ReadObject(reader, AddRule(), LoadWarningSink());
  reader.ReadListEnd();
  return true;
}

void TKwTargetMailEmailDataParser::DefinedPropertiesToJson(nlohmann::ordered_json& json) {
  if (!Rules.empty()) {
    nlohmann::ordered_json rules = nlohmann::ordered_json::array();
    for (auto& rule : Rules) {
      nlohmann::ordered_json item = nlohmann::ordered_json::object();
      PropertiesToJson(*rule, item);
      rules.push_back(std::move(item));
    }
    json[kRules] = std::move(rules);
  }
  TKwTargetMailBase::DefinedPropertiesToJson(json);
}

void TKwTargetMailEmailDataParser::DefinedPropertiesFromJson(const nlohmann::ordered_json& json,
                                                             std::vector<std::string>& warnings) {
  if (auto it = json.find(kRules); it != json.end()) {
    Rules.clear();
    if (!it->is_array()) {
      warnings.push_back("\"Rules\" must be an array of rules");
    } else {
      for (size_t i = 0; i < it->size(); ++i) {
        const auto& item = (*it)[i];
        if (!item.is_object()) {
          warnings.push_back("Rules[" + std::to_string(i) + "] must be an object");
          continue;
        }
        std::vector<std::string> ruleWarnings;
        PropertiesFromJson(AddRule(), item, ruleWarnings);
        for (const std::string& warning : ruleWarnings)
          warnings.push_back("Rules[" + std::to_string(i) + "]: " + warning);
      }
    }
  }
  TKwTargetMailBase::DefinedPropertiesFromJson(json, warnings);
}

bool TKwTargetMailEmailDataParser::IsDefinedJsonMember(std::string_view name) const {
  return name == kRules || TKwTargetMailBase::IsDefinedJsonMember(name);
}

// ---------------------------------------------------------------- the run

// The shared list is filled here first, flags set, so that the targets below (which refill
// it and keep the flags) create their tables with the right columns.
void TKwTargetMailEmailDataParser::PrepareEmailParts() {
  if (!EmailParts) return;
  EmailParts->Clear();
  for (int i = 0; i < TColumnFieldCount; ++i) {
    const auto field = static_cast<TColumnField>(i);
    const std::string name = GetColumnFieldName(field);
    EmailParts->Add(name, field, ColumnFieldToVariableType(field), "", !Contains(EmailPartsNotExported, name));
  }
}

std::vector<const TKwDataRule*> TKwTargetMailEmailDataParser::AcceptedRules(std::vector<std::string>& errors) {
  std::vector<const TKwDataRule*> accepted;
  TStringList taken;
  for (int i = 0; i < TColumnFieldCount; ++i) taken.push_back(GetColumnFieldName(static_cast<TColumnField>(i)));
  for (const std::string& name : EmailPartsNotExported)
    if (!Contains(taken, name)) errors.push_back("EmailPartsNotExported names no message part: " + name);
  taken.push_back("msg_id");
  for (const auto& rule : Rules) {
    if (!rule->Name.empty() && Contains(taken, rule->Name)) {
      errors.push_back("The variable name " + rule->Name + " is already taken; the rule is left out");
      continue;
    }
    taken.push_back(rule->Name);
    accepted.push_back(rule.get());
  }
  return accepted;
}

void TKwTargetMailEmailDataParser::InitializeExtractProcess(TKwFoldersTree& folders) {
  FAllMatched = FSomeMatched = FNoneMatched = 0;
  FEngine.reset();
  if (IsAvailable()) PrepareEmailParts();
  // Logged once the base has started this run's log.
  std::vector<std::string> errors;
  auto engine = std::make_unique<TKwDataRuleEngine>(AcceptedRules(errors), errors);
  if (Fields) {
    Fields->Clear();
    for (int i = 0; i < engine->Count(); ++i) {
      const TKwDataRule& rule = engine->Rule(i);
      Fields->Add(rule.Name, kNoColumnField, rule.VariableType, rule.Default, rule.Export);
    }
  }
  TKwTargetMailPassBase::InitializeExtractProcess(folders);
  for (const std::string& error : errors) Log->AddErrorFull(error, "Initializing", Caption, "", "", "", 0);
  FEngine = std::move(engine);
}

void TKwTargetMailEmailDataParser::ProcessMessage(TKwMailMessage& message) {
  if (!IsAvailable()) return;
  TKwTargetMailBase::ProcessMessage(message);
  const TKwHeaders& h = *FMailMessage->Headers;
  int matched = 0;
  if (FEngine && Fields) {
    const std::vector<TKwDataRuleResult> results = FEngine->Apply(*FMailMessage);
    for (size_t i = 0; i < results.size() && static_cast<int>(i) < Fields->Count(); ++i) {
      Fields->Items(static_cast<int>(i)).Value = results[i].Value;
      if (results[i].Matched) ++matched;
      if (!results[i].Error.empty())
        Log->AddErrorFull(results[i].Error, "Parsing the message", Caption, FFolderInfo->FolderPath, h.From.Address,
                          h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
    }
  }
  const int rules = FEngine ? FEngine->Count() : 0;
  if (rules > 0) (matched == rules ? FAllMatched : matched > 0 ? FSomeMatched : FNoneMatched)++;
  FSaveStatus = ssProcessed;
  if (GlobalOptions && GlobalOptions->DetailedLog)
    Log->AddMessageStatusFull(FSaveStatus, h.From.Address, h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
  ForEachChildTarget([&](TKwTargetBase& child) { child.ProcessMessage(message); });
}

void TKwTargetMailEmailDataParser::FinalizeExtractProcess() {
  TKwTargetMailPassBase::FinalizeExtractProcess();
  if (!IsAvailable() || !FEngine || FEngine->Count() == 0) return;
  Log->Notes.push_back("Rules matched: all in " + std::to_string(FAllMatched) + " messages, some in " +
                       std::to_string(FSomeMatched) + ", none in " + std::to_string(FNoneMatched));
}

// Feeds arbitrary bytes to the data parser's rule engine, both as a whole message (every
// source a rule can read) and as the text a rule cuts from: every way of cutting and every
// conversion. No input may crash, hang or raise; a matched value has no error, and a
// converted value reads back as its type the way the collect-data table reads it.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uKwDataRules.h"
#include "uKwMailMessage.h"
#include "uKwTempDB.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

std::vector<std::unique_ptr<TKwDataRule>> MakeRules() {
  std::vector<std::unique_ptr<TKwDataRule>> rules;
  auto add = [&](TDataSource source, TDataExtract extract, const char* pattern, TVariableType type) {
    auto rule = std::make_unique<TKwDataRule>();
    rule->Name = "V" + std::to_string(rules.size());
    rule->Source = source;
    rule->Extract = extract;
    rule->Pattern = pattern;
    rule->VariableType = type;
    rule->HeaderName = "X-Order";
    rule->EndMarker = "\n";
    rule->Index = static_cast<int32_t>(rules.size() % 5) - 2;
    rule->CaseFolding = static_cast<TDataCase>(rules.size() % TDataCaseCount);
    rule->MonthFirst = rules.size() % 2;
    rules.push_back(std::move(rule));
  };
  for (int source = 0; source < TDataSourceCount; ++source) {
    const auto s = static_cast<TDataSource>(source);
    add(s, deRegEx, R"((?:total|amount)\s*:?\s*([-\d.,' ]+))", vtDouble);
    add(s, deAfterLabel, "date:", vtDateTime);
    add(s, deBetween, "#", vtInteger);
    add(s, deLine, "", vtBoolean);
    add(s, deWord, "", vtString);
  }
  add(dsTextBody, deFixed, "fixed", vtMemo);
  return rules;
}

void Check(const TKwDataRuleResult& result, const TKwDataRule& rule) {
  if (!result.Matched) return;
  Require(result.Error.empty());
  switch (rule.VariableType) {
    case vtBoolean: { bool b; Require(TextToBoolean(result.Value, b)); break; }
    case vtInteger: { int64_t i; Require(TextToInteger(result.Value, i)); break; }
    case vtDouble: { double d; Require(TextToDouble(result.Value, d)); break; }
    case vtDateTime: { TDateTime t; Require(TextToDateTime(result.Value, t)); break; }
    default: break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("QUILLON_HOME", "/tmp/quillon-fuzz-home", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const auto rules = MakeRules();
  static const std::unique_ptr<TKwDataRuleEngine> engine = [] {
    std::vector<const TKwDataRule*> pointers;
    for (const auto& rule : rules) pointers.push_back(rule.get());
    std::vector<std::string> errors;
    auto built = std::make_unique<TKwDataRuleEngine>(pointers, errors);
    Require(errors.empty());
    return built;
  }();
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  TKwMailMessage message;
  Require(message.LoadMIMEFromString(std::string(text)));
  const auto results = engine->Apply(message);
  Require(static_cast<int>(results.size()) == engine->Count());
  for (int i = 0; i < engine->Count(); ++i) {
    Check(results[static_cast<size_t>(i)], engine->Rule(i));
    Check(engine->ApplyToText(i, text), engine->Rule(i));
  }
  return 0;
}

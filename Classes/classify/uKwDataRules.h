#pragma once
// The rules of the e-mail data parser: each rule names a variable and says where in a
// message its value is found, how it is cut out, and how it is cleaned and converted.
//
// A rule is a persistable object (its settings stream with the parser action); a
// TKwDataRuleEngine holds the compiled form of a list of rules for one run and applies
// them to messages. Applying never throws: a rule that does not match gives no value, a
// value that does not convert gives an error text. Engines are used from one thread.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uKwDataConvert.h"
#include "uKwPersistent.h"
#include "uKwVariables.h"

class TKwMailMessage;
class TKwRegEx;

// Where a rule looks. persisted: never reorder
#define KW_DATA_SOURCE(X)                                                                      \
  X(dsSubject) X(dsTextBody) X(dsHtmlText) X(dsHeader) X(dsFromName) X(dsFromAddress)        \
  X(dsToAddresses) X(dsCcAddresses) X(dsReplyTo) X(dsAttachmentNames) X(dsAttachmentText)
KW_ENUM(TDataSource, KW_DATA_SOURCE);
static_assert(TDataSourceCount == 11);

// How a rule cuts its value out of the text. persisted: never reorder
#define KW_DATA_EXTRACT(X) X(deRegEx) X(deAfterLabel) X(deBetween) X(deLine) X(deWord) X(deFixed)
KW_ENUM(TDataExtract, KW_DATA_EXTRACT);
static_assert(TDataExtractCount == 6);

// Case folding of the value. persisted: never reorder
#define KW_DATA_CASE(X) X(dcNone) X(dcLower) X(dcUpper)
KW_ENUM(TDataCase, KW_DATA_CASE);
static_assert(TDataCaseCount == 3);


class TKwDataRule : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TKwDataRule"; }
  void Publish(TKwPublisher& publisher) override;

  std::string Name;                      // the variable
  TVariableType VariableType = vtString;
  bool Export = true;
  std::string Default;                   // the value when the rule finds nothing
  TDataSource Source = dsTextBody;       // dsTextBody falls back to the HTML text when there is no plain body
  std::string HeaderName;                // dsHeader: the header's name, without the colon
  TDataExtract Extract = deAfterLabel;
  // deRegEx: the pattern; deAfterLabel: the label; deBetween: the start marker;
  // deFixed: the value itself.
  std::string Pattern;
  std::string EndMarker;                 // deBetween
  // deRegEx: the capture group's number or name; empty takes group 1 when the pattern has
  // groups, the whole match otherwise.
  std::string Group;
  int32_t Index = 1;                     // deLine, deWord: 1-based; negative counts from the end
  bool CaseSensitive = false;            // matching of patterns, labels and markers
  bool Trim = true;                      // blanks, tabs and line breaks at both ends
  TDataCase CaseFolding = dcNone;
  TDecimalMark DecimalMark = dmAuto;     // vtDouble, vtInteger
  bool MonthFirst = false;               // vtDateTime: 03/05/2024 is 5 March unless set
};

// The outcome of one rule on one message.
struct TKwDataRuleResult {
  bool Matched = false;  // the rule found a value (which then replaced the default)
  std::string Value;     // the converted value, or the default
  std::string Error;     // set when the found text did not convert; Value is then the default
};

class TKwDataRuleEngine {
 public:
  // Compiles the rules; a rule without a name or with a bad pattern is left out and
  // described in errors (one line per rule).
  TKwDataRuleEngine(const std::vector<const TKwDataRule*>& rules, std::vector<std::string>& errors);
  ~TKwDataRuleEngine();
  TKwDataRuleEngine(const TKwDataRuleEngine&) = delete;
  TKwDataRuleEngine& operator=(const TKwDataRuleEngine&) = delete;

  int Count() const { return static_cast<int>(FRules.size()); }
  const TKwDataRule& Rule(int index) const { return *FRules.at(index).Rule; }
  // Applies every rule to the message, results in rule order.
  std::vector<TKwDataRuleResult> Apply(const TKwMailMessage& message) const;
  // One rule on a text already taken from the message (what the fuzzer drives).
  TKwDataRuleResult ApplyToText(int index, std::string_view text) const;

 private:
  struct TCompiledRule {
    const TKwDataRule* Rule = nullptr;
    std::unique_ptr<TKwRegEx> Pattern;
    int GroupNumber = -1;      // -1: by name
    std::string GroupName;
  };
  std::vector<TCompiledRule> FRules;
};

// The conversions rules apply, exposed for their tests. Each returns false with an
// error text when the text is not of the type; the value comes out in the form the
// collect-data table reads ("1234.5", "True", "2024-03-05T14:07:09").
bool ConvertDataValue(std::string_view text, const TKwDataRule& rule, std::string& value, std::string& error);

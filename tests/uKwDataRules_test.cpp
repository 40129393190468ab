// The data parser's rules on texts and messages: where values are found, how they are cut
// out, cleaned and converted, and what a rule that finds nothing or cannot convert gives.

#include "uKwDataRules.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "uKwDateTime.h"
#include "uKwMailMessage.h"
#include "uKwTempDB.h"

namespace {

using TRule = std::shared_ptr<TKwDataRule>;

TRule Rule(TDataExtract extract, const std::string& pattern, TVariableType type = vtString,
           const std::function<void(TKwDataRule&)>& tweak = {}) {
  auto rule = std::make_shared<TKwDataRule>();
  rule->Name = "Value";
  rule->Extract = extract;
  rule->Pattern = pattern;
  rule->VariableType = type;
  rule->Default = "(default)";
  if (tweak) tweak(*rule);
  return rule;
}

TKwDataRuleResult ApplyOne(const TRule& rule, std::string_view text) {
  std::vector<std::string> errors;
  TKwDataRuleEngine engine({rule.get()}, errors);
  EXPECT_TRUE(errors.empty()) << errors.front();
  return engine.ApplyToText(0, text);
}

std::string Cut(const TRule& rule, std::string_view text) {
  TKwDataRuleResult result = ApplyOne(rule, text);
  return result.Error.empty() ? result.Value : "error: " + result.Error;
}

const char kOrder[] =
    "Thank you!\r\n\r\nOrder number: A-10023\r\nTotal:  $1,234.50 \r\nShip to: 12 Main St\nLast line";

}  // namespace

TEST(DataRulesTest, EachWayOfCuttingFindsItsValue) {
  struct TCase {
    const char* Why;
    TRule Rule;
    std::string Expected;
  } cases[] = {
      {"first capture group", Rule(deRegEx, R"(order number:\s*(\S+))"), "A-10023"},
      {"whole match without groups", Rule(deRegEx, R"([A-Z]-\d+)"), "A-10023"},
      {"label up to the line end, CR dropped", Rule(deAfterLabel, "Total:"), "$1,234.50"},
      {"label matched without case", Rule(deAfterLabel, "ORDER NUMBER:"), "A-10023"},
      {"between two markers", Rule(deBetween, "Ship to:"), "12 Main St"},
      {"fixed value", Rule(deFixed, "web shop"), "web shop"},
  };
  for (const TCase& c : cases) EXPECT_EQ(Cut(c.Rule, kOrder), c.Expected) << c.Why;

  TRule between = Rule(deBetween, "number:");
  between->EndMarker = "Total";
  EXPECT_EQ(Cut(between, kOrder), "A-10023") << "trimmed across the line break";
  between->Trim = false;
  EXPECT_EQ(Cut(between, kOrder), " A-10023\r\n");

  TRule named = Rule(deRegEx, R"(Total:\s*\$(?<amount>[\d,.]+))");
  named->Group = "amount";
  EXPECT_EQ(Cut(named, kOrder), "1,234.50");
  named->Group = "0";
  EXPECT_EQ(Cut(named, kOrder), "Total:  $1,234.50");

  TRule line = Rule(deLine, "");
  line->Index = 3;
  EXPECT_EQ(Cut(line, kOrder), "Order number: A-10023");
  line->Index = -1;
  EXPECT_EQ(Cut(line, kOrder), "Last line");
  TRule word = Rule(deWord, "");
  word->Index = 5;
  EXPECT_EQ(Cut(word, kOrder), "A-10023");
}

TEST(DataRulesTest, ARuleThatFindsNothingLeavesTheDefault) {
  const std::pair<const char*, TRule> cases[] = {
      {"no match", Rule(deRegEx, "Invoice (\\d+)")},
      {"absent label", Rule(deAfterLabel, "Invoice:")},
      {"end marker missing", Rule(deBetween, "Total:", vtString, [](TKwDataRule& r) { r.EndMarker = "EUR"; })},
      {"line beyond the text", Rule(deLine, "", vtString, [](TKwDataRule& r) { r.Index = 99; })},
      {"line 0 does not exist", Rule(deLine, "", vtString, [](TKwDataRule& r) { r.Index = 0; })},
      {"an empty line found", Rule(deLine, "", vtString, [](TKwDataRule& r) { r.Index = 2; })},
      {"case-sensitive label", Rule(deAfterLabel, "ORDER NUMBER:", vtString, [](TKwDataRule& r) { r.CaseSensitive = true; })},
      {"empty label", Rule(deAfterLabel, "")},
  };
  for (const auto& [why, rule] : cases) {
    TKwDataRuleResult result = ApplyOne(rule, kOrder);
    EXPECT_FALSE(result.Matched) << why;
    EXPECT_EQ(result.Value, "(default)") << why;
    EXPECT_TRUE(result.Error.empty()) << why;
  }
}

TEST(DataRulesTest, ValuesAreFoldedAndConvertedOrReportedWithTheRuleName) {
  TRule upper = Rule(deAfterLabel, "Name:");
  upper->CaseFolding = dcUpper;
  EXPECT_EQ(Cut(upper, "Name: Jürgen Müller"), "JÜRGEN MÜLLER");
  upper->CaseFolding = dcLower;
  EXPECT_EQ(Cut(upper, "Name: ÉLODIE"), "élodie");

  EXPECT_EQ(Cut(Rule(deAfterLabel, "Total:", vtDouble), kOrder), "1234.5");
  EXPECT_EQ(Cut(Rule(deAfterLabel, "Count:", vtInteger, [](TKwDataRule& r) { r.DecimalMark = dmComma; }),
                "Count: 1.200 pieces"),
            "1200");
  EXPECT_EQ(Cut(Rule(deAfterLabel, "Count:", vtInteger), "Count: 2,5"), "error: Value: \"2,5\" is not a whole number");
  EXPECT_EQ(Cut(Rule(deAfterLabel, "Paid:", vtBoolean), "Paid: Yes"), "True");
  EXPECT_EQ(Cut(Rule(deAfterLabel, "Total:", vtDouble), "Total: n/a"), "error: Value: \"n/a\" is not a number");
  EXPECT_EQ(Cut(Rule(deAfterLabel, "On:", vtDateTime), "On: soon"), "error: Value: \"soon\" is not a date");
  TKwDataRuleResult failed = ApplyOne(Rule(deAfterLabel, "Total:", vtDouble), "Total: n/a");
  EXPECT_FALSE(failed.Matched);
  EXPECT_EQ(failed.Value, "(default)") << "a failed conversion leaves the default";
}

TEST(DataRulesTest, NumbersAreReadWithEitherDecimalMark) {
  const std::tuple<const char*, TDecimalMark, double> cases[] = {
      {"1,234.50", dmAuto, 1234.5},     {"1.234,50", dmAuto, 1234.5},   {"EUR 2.345,67", dmAuto, 2345.67},
      {"12,5 %", dmAuto, 12.5},         {"1,234,567", dmAuto, 1234567}, {"1 234,56", dmAuto, 1234.56},
      {"-42.1", dmAuto, -42.1},         {"12.500", dmComma, 12500},     {"12,500", dmPoint, 12500},
      {"USD\xc2\xa0" "89.90", dmAuto, 89.9}, {"1'234.5", dmAuto, 1234.5}, {"total 7.", dmAuto, 7},
  };
  for (const auto& [text, mark, expected] : cases) {
    double value = 0;
    ASSERT_TRUE(ParseNumberText(text, mark, value)) << text;
    EXPECT_DOUBLE_EQ(value, expected) << text;
  }
  double value = 0;
  EXPECT_FALSE(ParseNumberText("no digits", dmAuto, value));
  EXPECT_FALSE(ParseNumberText("", dmAuto, value));
}

TEST(DataRulesTest, DatesAreReadInTheirCommonWrittenForms) {
  const std::tuple<const char*, bool, TDateTime> cases[] = {
      {"2024-03-05", false, EncodeDateTime(2024, 3, 5)},
      {"2024-03-05 14:07:09", false, EncodeDateTime(2024, 3, 5, 14, 7, 9)},
      {"05.03.2024", true, EncodeDateTime(2024, 3, 5)},
      {"05/03/2024", false, EncodeDateTime(2024, 3, 5)},
      {"03/05/2024", true, EncodeDateTime(2024, 3, 5)},
      {"March 5, 2024", false, EncodeDateTime(2024, 3, 5)},
      {"5 Mar 2024 2:07 pm", false, EncodeDateTime(2024, 3, 5, 14, 7)},
      {"Tue, 05 Mar 2024 14:07:09 +0100", false, EncodeDateTime(2024, 3, 5, 14, 7, 9)},
      {"5-Sept-24", false, EncodeDateTime(2024, 9, 5)},
  };
  for (const auto& [text, monthFirst, expected] : cases) {
    TDateTime value = 0;
    ASSERT_TRUE(ParseWrittenDate(text, monthFirst, value)) << text;
    EXPECT_DOUBLE_EQ(value, expected) << text;
  }
  for (const char* bad : {"", "soon", "31.02.2024", "2024-13-01", "12:30", "05.03"}) {
    TDateTime value = 0;
    EXPECT_FALSE(ParseWrittenDate(bad, false, value)) << bad;
  }
  TRule rule = Rule(deFixed, "5 May 1924 10:30", vtDateTime);
  const std::string written = Cut(rule, "");
  EXPECT_EQ(written, "1924-05-05T10:30:00");
  TDateTime read = 0;
  ASSERT_TRUE(TextToDateTime(written, read)) << "the collect table reads what a rule writes, century and all";
  EXPECT_DOUBLE_EQ(read, EncodeDateTime(1924, 5, 5, 10, 30));
}

TEST(DataRulesTest, BadRulesAreLeftOutWithAReason) {
  TRule unnamed = Rule(deFixed, "x", vtString, [](TKwDataRule& r) { r.Name = " "; });
  TRule badPattern = Rule(deRegEx, "(unclosed");
  TRule noGroup = Rule(deRegEx, "(a)", vtString, [](TKwDataRule& r) { r.Group = "missing"; });
  TRule good = Rule(deFixed, "ok");
  std::vector<std::string> errors;
  TKwDataRuleEngine engine({unnamed.get(), badPattern.get(), noGroup.get(), good.get()}, errors);
  ASSERT_EQ(engine.Count(), 1);
  EXPECT_EQ(&engine.Rule(0), good.get());
  ASSERT_EQ(errors.size(), 3u);
  EXPECT_NE(errors[1].find("Invalid regular expression"), std::string::npos);
  EXPECT_NE(errors[2].find("no group \"missing\""), std::string::npos);
}

TEST(DataRulesTest, RulesReadEveryPartOfAMessage) {
  TKwMailMessage message;
  ASSERT_TRUE(message.LoadMIME(std::string(QUILLON_TEST_DATA) + "/emaildata/05-invoice-windows-1252.eml"));
  auto rule = [](TDataSource source, TDataExtract extract, const std::string& pattern) {
    return Rule(extract, pattern, vtString, [source](TKwDataRule& r) { r.Source = source; });
  };
  TRule header = rule(dsHeader, deWord, "");
  header->HeaderName = "message-id";
  const TRule rules[] = {
      rule(dsSubject, deRegEx, R"(A-\d+)"),
      rule(dsTextBody, deAfterLabel, "Name:"),
      rule(dsFromAddress, deFixed, "") /* empty fixed value: no match */,
      rule(dsFromName, deWord, ""),
      rule(dsToAddresses, deLine, ""),
      rule(dsAttachmentNames, deLine, ""),
      rule(dsAttachmentText, deAfterLabel, "Chair;"),
      header,
      rule(dsHtmlText, deWord, ""),
  };
  std::vector<const TKwDataRule*> pointers;
  for (const TRule& r : rules) pointers.push_back(r.get());
  std::vector<std::string> errors;
  TKwDataRuleEngine engine(pointers, errors);
  const auto results = engine.Apply(message);
  const char* expected[] = {"A-10026", "Françoise Dupont", "(default)", "Billing", "francoise@example.fr",
                            "invoice-A-10026.csv", "2.345,67", "<invoice-10026@shop.example>", "(default)"};
  ASSERT_EQ(results.size(), std::size(expected));
  for (size_t i = 0; i < results.size(); ++i) EXPECT_EQ(results[i].Value, expected[i]) << "rule " << i;
}

TEST(DataRulesTest, TheTextBodyOfHtmlOnlyMailIsItsHtmlText) {
  TKwMailMessage message;
  ASSERT_TRUE(message.LoadMIME(std::string(QUILLON_TEST_DATA) + "/emaildata/03-order-html-only.eml"));
  TRule rule = Rule(deAfterLabel, "Order number:");
  std::vector<std::string> errors;
  TKwDataRuleEngine engine({rule.get()}, errors);
  EXPECT_EQ(engine.Apply(message).at(0).Value, "A-10025");
}

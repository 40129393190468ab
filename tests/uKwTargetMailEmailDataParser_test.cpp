// The data parser pass: its rules saved with the action in both forms, the variables it
// hands down the chain, and its counts of matched messages.

#include "uKwTargetMailEmailDataParser.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "uKwActionFile.h"
#include "uKwActionLog.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwVariables.h"

namespace {

std::string StreamOf(TKwActionBase& action) {
  std::string stream;
  action.SaveToStream(stream);
  return stream;
}

const char kParserJson[] = R"json({
  "kind": "stiMailPasEmailDataParser",
  "EmailPartsNotExported": ["Headers", "TextPart"],
  "Rules": [
    {"Name": "OrderNumber", "Extract": "deRegEx", "Pattern": "Order number:\\s*(\\S+)"},
    {"Name": "Amount", "VariableType": "vtDouble", "Pattern": "Total:", "DecimalMark": "dmComma",
     "Default": "0", "Export": false},
    {"Name": "Status", "Source": "dsHeader", "HeaderName": "X-Status", "Extract": "deWord", "Index": -1,
     "CaseFolding": "dcUpper", "Trim": false, "CaseSensitive": true, "MonthFirst": true, "Group": "x",
     "EndMarker": "end"}
  ],
  "children": [{"kind": "stiMailPasEmailDataDBCollect"}]
})json";

// Keeps the lists the parser hands down, as a source would.
struct TRun {
  TKwVariablesList EmailParts, Fields;
  TKwFoldersTree Folders;
  void Start(TKwTargetBase& target) {
    target.EmailParts = &EmailParts;
    target.Fields = &Fields;
    target.InitializeExtractProcess(Folders);
  }
};

void Load(TKwMailMessage& message, const std::string& body) {
  ASSERT_TRUE(message.LoadMIMEFromString("From: a@example.org\r\nSubject: s\r\nX-Status: paid in full\r\n\r\n" + body));
}

}  // namespace

TEST(EmailDataParserTest, RulesRoundTripThroughTheStreamAndJson) {
  TKwActionLoadResult loaded = LoadActionFromText(kParserJson);
  ASSERT_TRUE(loaded.Action) << loaded.Error;
  for (const auto& warning : loaded.Warnings) ADD_FAILURE() << warning;
  auto& parser = static_cast<TKwTargetMailEmailDataParser&>(*loaded.Action);
  ASSERT_EQ(parser.Rules.size(), 3u);
  EXPECT_EQ(parser.Rules[1]->VariableType, vtDouble);
  EXPECT_EQ(parser.Rules[1]->Extract, deAfterLabel) << "the default where the JSON says nothing";
  EXPECT_EQ(parser.Rules[2]->Index, -1);
  EXPECT_EQ(parser.GetChildCount(), 1);

  const std::string stream = StreamOf(parser);
  TKwActionLoadResult fromStream = LoadActionFromStream(stream);
  ASSERT_TRUE(fromStream.Action) << fromStream.Error;
  EXPECT_TRUE(fromStream.Warnings.empty());
  EXPECT_EQ(StreamOf(*fromStream.Action), stream);
  EXPECT_EQ(ActionToJson(*fromStream.Action), ActionToJson(parser));
  EXPECT_EQ(ActionToJson(parser)["Rules"][2]["Source"], "dsHeader");

  TKwTargetMailEmailDataParser copy;
  copy.Assign(parser);
  EXPECT_EQ(ActionToJson(copy)["Rules"], ActionToJson(parser)["Rules"])
      << "Assign copies the rules, not only the published properties";
}

TEST(EmailDataParserTest, BadRuleEntriesInJsonAreWarnedAboutAndSkipped) {
  TKwActionLoadResult loaded = LoadActionFromText(
      R"({"kind": "stiMailPasEmailDataParser", "Rules": [{"Name": "A", "Extract": "deNowhere"}, 5]})");
  ASSERT_TRUE(loaded.Action) << loaded.Error;
  ASSERT_EQ(loaded.Warnings.size(), 2u);
  EXPECT_EQ(loaded.Warnings[0].rfind("Rules[0]: ", 0), 0u);
  EXPECT_EQ(static_cast<TKwTargetMailEmailDataParser&>(*loaded.Action).Rules.size(), 1u);
}

TEST(EmailDataParserTest, FieldsFollowTheRulesAndMessagePartsTheirExportFlags) {
  auto loaded = LoadActionFromText(kParserJson);
  auto& parser = static_cast<TKwTargetMailEmailDataParser&>(*loaded.Action);
  TRun run;
  run.Start(parser);
  EXPECT_EQ(parser.GetLog().ErrorsCount(), 0);
  ASSERT_EQ(run.Fields.Count(), 3);
  EXPECT_EQ(run.Fields.Items(0).Name, "OrderNumber");
  EXPECT_TRUE(run.Fields.Items(0).Export);
  EXPECT_EQ(run.Fields.Items(1).VariableType, vtDouble);
  EXPECT_FALSE(run.Fields.Items(1).Export);
  ASSERT_EQ(run.EmailParts.Count(), TColumnFieldCount);
  int exported = 0;
  for (int i = 0; i < run.EmailParts.Count(); ++i) exported += run.EmailParts.Items(i).Export;
  EXPECT_EQ(exported, TColumnFieldCount - 2) << "the flags survive the refill by the collect target below";
  EXPECT_FALSE(run.EmailParts.FindByName("TextPart")->Export);

  TKwMailMessage message;
  Load(message, "Order number: A-7\r\nTotal: 12,50\r\n");
  parser.ProcessMessage(message);
  EXPECT_EQ(run.Fields.Items(0).Value, "A-7");
  EXPECT_EQ(run.Fields.Items(1).Value, "12.5");
  EXPECT_EQ(run.Fields.Items(2).Value, "FULL") << "last word of the header, upper-cased";
  EXPECT_EQ(run.EmailParts.FindByName("Subject")->Value, "s");
  parser.FinalizeExtractProcess();
}

TEST(EmailDataParserTest, CountsMessagesWithAllSomeAndNoneOfTheirRulesMatched) {
  TKwTargetMailEmailDataParser parser;
  for (const char* label : {"Order:", "Total:"}) {
    TKwDataRule& rule = parser.AddRule();
    rule.Name = std::string(label).substr(0, 5);
    rule.Pattern = label;
  }
  TKwDataRule& taken = parser.AddRule();
  taken.Name = "subject";  // a message part's name, in another case
  TRun run;
  run.Start(parser);
  ASSERT_EQ(parser.GetLog().ErrorsCount(), 1);
  EXPECT_NE(parser.GetLog().GetError(0).Error.find("already taken"), std::string::npos);
  for (const char* body : {"Order: 1\r\nTotal: 2", "Order: 3", "nothing", "Total: 4", ""}) {
    TKwMailMessage message;
    Load(message, body);
    parser.ProcessMessage(message);
  }
  parser.FinalizeExtractProcess();
  EXPECT_EQ(parser.AllMatched(), 1);
  EXPECT_EQ(parser.SomeMatched(), 2);
  EXPECT_EQ(parser.NoneMatched(), 2);
  EXPECT_EQ(parser.GetLog().Notes.back(), "Rules matched: all in 1 messages, some in 2, none in 2");
}

TEST(EmailDataParserTest, AConversionErrorIsLoggedForItsMessageAndTheDefaultStays) {
  TKwTargetMailEmailDataParser parser;
  TKwDataRule& rule = parser.AddRule();
  rule.Name = "Amount";
  rule.VariableType = vtDouble;
  rule.Pattern = "Total:";
  rule.Default = "0";
  TRun run;
  run.Start(parser);
  TKwMailMessage message;
  Load(message, "Total: unknown");
  parser.ProcessMessage(message);
  ASSERT_EQ(parser.GetLog().ErrorsCount(), 1);
  EXPECT_EQ(parser.GetLog().GetError(0).Error, "Amount: \"unknown\" is not a number");
  EXPECT_EQ(parser.GetLog().GetError(0).From, "a@example.org");
  EXPECT_EQ(run.Fields.Items(0).Value, "0");
}

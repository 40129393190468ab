// The strict check of JSON trees, the JSON locator it points with, and "did you mean".

#include "uKwTreeCheck.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "uKwDidYouMean.h"
#include "uKwJsonLocations.h"

namespace {

std::vector<std::string> Messages(const std::vector<TKwCheckProblem>& problems) {
  std::vector<std::string> texts;
  for (const TKwCheckProblem& p : problems) texts.push_back(FormatCheckProblem(p));
  return texts;
}

}  // namespace

TEST(TKwDidYouMeanTest, SuggestsOnlyNamesCloseEnoughToBeASlip) {
  EXPECT_EQ(EditDistance("kitten", "sitting"), 3);
  EXPECT_EQ(EditDistance("ABC", "abc"), 0);
  const std::vector<std::string> known{"check", "run", "describe", "template"};
  EXPECT_EQ(ClosestName("chek", known), "check");
  EXPECT_EQ(ClosestName("rnu", known), "run");
  EXPECT_EQ(ClosestName("frobnicate", known), "");
  EXPECT_EQ(ClosestName("rn", known), "run");  // two edits allowed for short names
  EXPECT_EQ(ClosestName("", known), "");
  EXPECT_EQ(ClosestName("x", {}), "");
}

TEST(TKwJsonLocationsTest, FindsMembersAndElementsByPath) {
  const std::string text = "{\"a\": 1,\n \"b.c\": [10, {\"d\": \"x\\\"y\"}, [2]],\n  \"e\": {}}";
  const auto at = JsonLocations(text);
  EXPECT_EQ(at.at("a").Line, 1);
  EXPECT_EQ(at.at("a").Column, 2);
  EXPECT_EQ(at.at("b.c").Line, 2);
  EXPECT_EQ(at.at("b.c").Column, 2);
  EXPECT_EQ(at.at("b.c[0]").Column, 10);
  EXPECT_EQ(at.at("b.c[1]").Column, 14);
  EXPECT_EQ(at.at("b.c[1].d").Column, 15);
  EXPECT_EQ(at.at("b.c[2]").Column, 29);
  EXPECT_EQ(at.at("e").Line, 3);
  // Broken text gives what was seen, never throws.
  EXPECT_NO_THROW(JsonLocations("{\"a\": [1, {\"b\": \"\\u12"));
  EXPECT_TRUE(JsonLocations("").empty());
}

TEST(TKwTreeCheckTest, ACleanTreeHasNoProblems) {
  TTempDir dir;
  WriteFileText(dir / "in.mbox", "From a@b Mon Jan  1 00:00:00 2024\n\nx\n");
  const auto problems = CheckJsonTreeText(R"({"kind": "stiJob", "children": [{"kind": "stiMailSrcMbox",
      "SourceOptions.Filename": "in.mbox", "SourceOptions.CopyToSourceLog": true,
      "children": [{"kind": "stiMailPasFilter", "children": [{"kind": "stiMailPasFilterTrue",
        "children": [{"kind": "stiMailTarSingleFiles", "Options.TargetFolder": "out"}]}]}]}]})",
                                          dir.Path());
  EXPECT_TRUE(problems.empty()) << testing::PrintToString(Messages(problems));
}

TEST(TKwTreeCheckTest, ChecksTheFormOfActionFilesWithoutPositions) {
  const nlohmann::ordered_json tree = {{"kind", "stiMailTarEmailParts"}, {"FieldsStr", "0A123"}};
  const auto problems = Messages(CheckJsonTree(tree, "/"));
  ASSERT_EQ(problems.size(), 3u) << testing::PrintToString(problems);
  EXPECT_EQ(problems[0], "TargetFilename is empty; stiMailTarEmailParts needs it to run");
  EXPECT_EQ(problems[1], "FieldsStr: FieldsStr must be two-digit field codes; \"0A123\" has an odd length");
  EXPECT_NE(problems[2].find("unknown field code \"0A\""), std::string::npos);
}

// ---- error paths

TEST(TKwTreeCheckTest, OddShapesAreProblemsNotCrashes) {
  const auto at = [](const std::string& text) { return Messages(CheckJsonTreeText(text, "/")); };
  EXPECT_EQ(at("[1, 2]"), std::vector<std::string>{"an action must be a JSON object"});
  EXPECT_EQ(at("{}"), std::vector<std::string>{"the member \"kind\" is missing"});
  EXPECT_EQ(at(R"({"kind": "stiJob", "children": {}})"),
            std::vector<std::string>{"children (line 1, column 20): \"children\" must be an array of actions"});
  EXPECT_EQ(at(R"({"kind": "stiMailSrcExchangeApi"})")[0],
            "kind (line 1, column 2): the action kind stiMailSrcExchangeApi cannot stand in a tree");
  const auto syntax = CheckJsonTreeText("{\n\"kind\": \"stiJob\",\n}", "/");
  ASSERT_EQ(syntax.size(), 1u);
  EXPECT_EQ(syntax[0].Position.Line, 3);
  EXPECT_EQ(CheckJsonTreeText("", "/").size(), 1u);
  EXPECT_EQ(at(R"({"kind": "stiJob", "children": [7, {"kind": 3}]})").size(), 2u);
}

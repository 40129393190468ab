// Black-box runs of the quillon program.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "CliRun.h"
#include "TestSupport.h"

namespace {

int CountLines(const std::string& text) {
  int n = 0;
  for (char c : text) n += c == '\n';
  return n;
}

const char* kTree = R"({"kind": "stiJob", "Name": "Three levels",
  "children": [{"kind": "stiMailSrcMbox", "SourceOptions.Filename": "in.mbox",
    "children": [{"kind": "stiMailPasFilter", "Filter.Subject": "invoice",
      "children": [{"kind": "stiMailPasFilterTrue",
        "children": [{"kind": "stiMailTarSingleFiles", "Options.TargetFolder": "out"}]}]}]}]})";

// The blacklist filter needs a spam service this build does not have.
const char* kUnavailableTree = R"({"kind": "stiJob", "Name": "Unavailable",
  "children": [{"kind": "stiMailSrcMbox", "SourceOptions.Filename": "in.mbox",
    "children": [{"kind": "stiMailPassBlacklistFilter",
      "children": [{"kind": "stiMailPasFilterTrue",
        "children": [{"kind": "stiMailTarSingleFiles", "Options.TargetFolder": "out"}]}]}]}]})";

class CliTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  std::string Path(const std::string& name) { return (FHome / name).string(); }
};

}  // namespace

TEST_F(CliTest, KindsListsTheWholeCatalogue) {
  TCliRun run = Quillon("kinds");
  EXPECT_EQ(run.Status, 0);
  EXPECT_EQ(CountLines(run.Out), 1 + 103);
  EXPECT_NE(run.Out.find("stiMailPasFilterTrue"), std::string::npos);
  EXPECT_NE(run.Out.find("Zip DeCompress"), std::string::npos);
  TCliRun json = Quillon("kinds --json");
  EXPECT_EQ(json.Status, 0);
  EXPECT_NE(json.Out.find("\"implemented\""), std::string::npos);
}

TEST_F(CliTest, ConvertsJsonToActionFileAndBackUnchanged) {
  WriteFileText(Path("tree.json"), kTree);
  ASSERT_EQ(Quillon("convert " + Path("tree.json") + " " + Path("a.qaf")).Status, 0);
  ASSERT_EQ(Quillon("convert " + Path("a.qaf") + " " + Path("b.json")).Status, 0);
  ASSERT_EQ(Quillon("convert " + Path("b.json") + " " + Path("c.qaf")).Status, 0);
  ASSERT_EQ(Quillon("convert " + Path("c.qaf") + " " + Path("d.json")).Status, 0);
  EXPECT_EQ(ReadFileText(Path("a.qaf")), ReadFileText(Path("c.qaf")));
  EXPECT_EQ(ReadFileText(Path("b.json")), ReadFileText(Path("d.json")));
  EXPECT_NE(ReadFileText(Path("b.json")).find("\"Filter.Subject\": \"invoice\""), std::string::npos);

  TCliRun show = Quillon("show " + Path("a.qaf"));
  EXPECT_EQ(show.Status, 0);
  EXPECT_NE(show.Out.find("      [stiMailPasFilterTrue] Filter Condition: True"), std::string::npos);
  EXPECT_NE(show.Out.find("Options.TargetFolder = \"out\""), std::string::npos);
}

TEST_F(CliTest, RunReportsActionsThisBuildCannotCarryOut) {
  WriteFileText(Path("tree.json"), kUnavailableTree);
  WriteFileText(Path("in.mbox"), "");
  TCliRun run = Quillon("run --quiet " + Path("tree.json"));
  EXPECT_EQ(run.Status, 1);
  EXPECT_NE(run.Out.find("Blacklists Filter is not available in this build"), std::string::npos) << run.Out;
  EXPECT_NE(run.Out.find("0 processed, 0 saved, 0 skipped, 1 errors"), std::string::npos) << run.Out;
}

// ---- error paths

TEST_F(CliTest, BadUsageAndUnloadableFilesExitWithStatusTwo) {
  EXPECT_EQ(Quillon("").Status, 2);
  EXPECT_EQ(Quillon("frobnicate").Status, 2);
  EXPECT_EQ(Quillon("show").Status, 2);
  TCliRun missing = Quillon("show " + Path("missing.qaf"));
  EXPECT_EQ(missing.Status, 2);
  EXPECT_EQ(CountLines(missing.Out), 1);
  WriteFileText(Path("notes.txt"), "Dear diary,\nnothing happened.\n");
  TCliRun foreign = Quillon("show " + Path("notes.txt"));
  EXPECT_EQ(foreign.Status, 2);
  EXPECT_NE(foreign.Out.find("not base64"), std::string::npos);
  WriteFileText(Path("tree.json"), kTree);
  EXPECT_EQ(Quillon("convert " + Path("tree.json") + " /nonexistent/dir/x.qaf").Status, 2);
  // A child kind without a class is no tree at all: a load error, nothing run.
  WriteFileText(Path("classless.json"),
                R"({"kind": "stiJob", "children": [{"kind": "stiMailSrcMbox", "children": [{"kind": "stiMailTarReport"}]}]})");
  TCliRun classless = Quillon("run --quiet --lenient " + Path("classless.json"));
  EXPECT_EQ(classless.Status, 2);
  EXPECT_NE(classless.Out.find("Unknown action kind \"stiMailTarReport\": Assertion failure"), std::string::npos)
      << classless.Out;
  TCliRun checked = Quillon("run --quiet " + Path("classless.json"));
  EXPECT_EQ(checked.Status, 2);
  EXPECT_NE(checked.Out.find("stiMailTarReport cannot stand in a tree"), std::string::npos) << checked.Out;
}

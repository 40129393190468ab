// Black-box runs of the commands that explain and check jobs: kinds, describe, template,
// check, help, --version and unknown commands.

#include <gtest/gtest.h>

#include <string>

#include "CliRun.h"
#include "TestSupport.h"

namespace {

bool Has(const std::string& text, const std::string& what) { return text.find(what) != std::string::npos; }

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

class CliCheckTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  std::string Path(const std::string& name) { return (FHome / name).string(); }
};

}  // namespace

// ---- discover

TEST_F(CliCheckTest, DescribeShowsEverySettingWithItsValuesAndFieldCodes) {
  TCliRun files = Quillon("describe stiMailTarSingleFiles");
  EXPECT_EQ(files.Status, 0);
  EXPECT_TRUE(Has(files.Out, "Options.SubFolderStructure")) << files.Out;
  EXPECT_TRUE(Has(files.Out, "sfsOnlyCreateParents"));
  EXPECT_TRUE(Has(files.Out, "dfRename"));
  EXPECT_TRUE(Has(files.Out, "A run needs: Options.TargetFolder"));
  TCliRun parts = Quillon("describe stiMailTarEmailParts --json");
  EXPECT_EQ(parts.Status, 0);
  EXPECT_TRUE(Has(parts.Out, "\"code\": \"08\"")) << parts.Out;
  EXPECT_TRUE(Has(parts.Out, "\"field\": \"cfSubject\""));
  EXPECT_TRUE(Has(parts.Out, "\"actedOn\": false")) << "AppendToFile is kept, not consulted";
  EXPECT_TRUE(Has(parts.Out, "\"actedOn\": true"));
  // Per setting: the mbox source reads its file, not the message-files source's folder.
  TCliRun mbox = Quillon("describe stiMailSrcMbox");
  const auto lineOf = [&](const std::string& name) {
    const size_t at = mbox.Out.find("  " + name + " ");
    return at == std::string::npos ? std::string() : mbox.Out.substr(at, mbox.Out.find('\n', at) - at);
  };
  EXPECT_FALSE(Has(lineOf("SourceOptions.Filename"), "[not acted on]")) << mbox.Out;
  EXPECT_TRUE(Has(lineOf("SourceOptions.Folder"), "[not acted on]")) << mbox.Out;
  TCliRun outlook = Quillon("describe stiMailSrcOutlook --json");
  EXPECT_TRUE(Has(outlook.Out, "\"actedOn\": false"));
  EXPECT_FALSE(Has(outlook.Out, "\"actedOn\": true")) << "a kind not carried out acts on none of its settings";
  TCliRun misspelt = Quillon("describe stiMailTarSingleFile");
  EXPECT_EQ(misspelt.Status, 2);
  EXPECT_TRUE(Has(misspelt.Out, "did you mean 'stiMailTarSingleFiles'")) << misspelt.Out;
}

TEST_F(CliCheckTest, KindsFilterByRoleAndAvailability) {
  TCliRun targets = Quillon("kinds --role target --available");
  EXPECT_EQ(targets.Status, 0);
  EXPECT_TRUE(Has(targets.Out, "stiMailTarSingleFiles"));
  EXPECT_FALSE(Has(targets.Out, "stiMailSrcMbox"));
  EXPECT_FALSE(Has(targets.Out, "settings only"));
  EXPECT_EQ(Quillon("kinds --role nonsense").Status, 2);
}

TEST_F(CliCheckTest, HelpVersionAndUnknownCommands) {
  TCliRun version = Quillon("--version");
  EXPECT_EQ(version.Status, 0);
  EXPECT_TRUE(Has(version.Out, "quillon ")) << version.Out;
  TCliRun help = Quillon("help check");
  EXPECT_EQ(help.Status, 0);
  EXPECT_TRUE(Has(help.Out, "FILE")) << help.Out;
  TCliRun all = Quillon("help");
  EXPECT_EQ(all.Status, 0);
  EXPECT_TRUE(Has(all.Out, "template")) << all.Out;
  TCliRun unknown = Quillon("chek job.json");
  EXPECT_EQ(unknown.Status, 2);
  EXPECT_TRUE(Has(unknown.Out, "unknown command 'chek'")) << unknown.Out;
  EXPECT_TRUE(Has(unknown.Out, "did you mean 'check'"));
  EXPECT_TRUE(Has(unknown.Out, "describe"));
}

// ---- template, then check

TEST_F(CliCheckTest, TemplateIsAcceptedOnceItsPlaceholdersAreFilled) {
  TCliRun made = Quillon("template stiMailSrcMbox stiMailTarEmailParts", "/dev/null");
  ASSERT_EQ(made.Status, 0);
  WriteFileText(Path("job.json"), made.Out);
  TCliRun unfilled = Quillon("check " + Path("job.json"));
  EXPECT_EQ(unfilled.Status, 2);
  EXPECT_TRUE(Has(unfilled.Out, "placeholder")) << unfilled.Out;

  WriteFileText(Path("in.mbox"), "From a@b Mon Jan  1 00:00:00 2024\nSubject: x\n\nbody\n");
  std::string filled = Replace(made.Out, "<mail file>", "in.mbox");
  filled = Replace(filled, "<file>", "out");
  WriteFileText(Path("job.json"), filled);
  TCliRun clean = Quillon("check " + Path("job.json"));
  EXPECT_EQ(clean.Status, 0) << clean.Out << filled;
  EXPECT_TRUE(Has(clean.Out, "no problems found"));
  EXPECT_EQ(Quillon("template stiMailTarMbox stiMailSrcMbox").Status, 2);
}

TEST_F(CliCheckTest, CheckPointsAtEachProblemWithPathLineAndSuggestion) {
  WriteFileText(Path("job.json"), R"({"kind": "stiJob",
  "children": [{"kind": "stiMailSrcMbox", "SourceOptions.Filename": "missing.mbox",
    "children": [
      {"kind": "stiMailTarSingleFiles", "Options.TargetFolder": "out",
       "Options.SubFolderStucture": "sfsOnlyCreateParents"},
      {"kind": "stiMailTarSingleFiles", "Options.TargetFolder": "out",
       "Options.DuplicatedFilesAction": "dfRenam"},
      {"kind": "stiMailPasFilterTrue"},
      {"kind": "stiMailTarEmailParts", "TargetFilename": "t.csv", "TargetFormat": "ffColXlsx", "FieldsStr": "0899"},
      {"kind": "stiMailTarMbx"},
      {"kind": "stiMailTarAttachments", "Enabled": "yes"}]}]})");
  TCliRun run = Quillon("check " + Path("job.json"));
  EXPECT_EQ(run.Status, 2);
  const std::string& out = run.Out;
  EXPECT_TRUE(Has(out, "job.json:5:8: children[0].children[0].Options.SubFolderStucture: unknown property")) << out;
  EXPECT_TRUE(Has(out, "did you mean \"Options.SubFolderStructure\"?"));
  EXPECT_TRUE(Has(out, "children[0].children[1].Options.DuplicatedFilesAction"));
  EXPECT_TRUE(Has(out, "allowed values: dfSkip, dfOverwrite, dfRename; did you mean \"dfRename\"?"));
  EXPECT_TRUE(Has(out, "stiMailPasFilterTrue cannot stand under stiMailSrcMbox"));
  EXPECT_TRUE(Has(out, "unknown field code \"99\""));
  EXPECT_TRUE(Has(out, "does not end in \".xlsx\""));
  EXPECT_TRUE(Has(out, "did you mean \"stiMailTarMbox\"?"));
  EXPECT_TRUE(Has(out, "Options.TargetFolder is empty"));
  EXPECT_TRUE(Has(out, "Enabled: the value \"yes\" does not fit (true or false expected)"));
  EXPECT_TRUE(Has(out, "missing.mbox\" does not exist"));
  TCliRun json = Quillon("check --json " + Path("job.json"), "/dev/null");
  EXPECT_EQ(json.Status, 2);
  EXPECT_TRUE(Has(json.Out, "\"line\": 5")) << json.Out;
}

// ---- error paths

TEST_F(CliCheckTest, CheckReportsSyntaxErrorsAndReadsStdin) {
  WriteFileText(Path("broken.json"), "{\"kind\": \"stiJob\",\n  \"Name\": \"x\"\n  \"Description\": \"y\"}");
  TCliRun broken = Quillon("check " + Path("broken.json"));
  EXPECT_EQ(broken.Status, 2);
  EXPECT_TRUE(Has(broken.Out, "broken.json:3:")) << broken.Out;
  TCliRun piped = Quillon("check - < " + Path("broken.json"));
  EXPECT_EQ(piped.Status, 2);
  EXPECT_TRUE(Has(piped.Out, "<stdin>:3:")) << piped.Out;
  WriteFileText(Path("empty.json"), "");
  EXPECT_EQ(Quillon("check " + Path("empty.json")).Status, 2);
  EXPECT_EQ(Quillon("check " + Path("none.json")).Status, 2);
}

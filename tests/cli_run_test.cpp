// Black-box runs of `quillon run`: global options, state, paths, summaries.

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "CliRun.h"
#include "TestSupport.h"

namespace {

std::string SmallMbox(int count) {
  std::string text;
  for (int i = 1; i <= count; ++i)
    text += fmt::format(
        "From sender{0}@example.com Mon Jan  {0}10:00:00 2024\n"
        "From: Sender {0} <sender{0}@example.com>\nTo: you@example.com\n"
        "Subject: Message {0}\nDate: Mon, {0} Jan 2024 10:00:00 +0100\n"
        "Message-ID: <m{0}@example.com>\n\nBody {0}\n\n",
        i);
  return text;
}

// A job that copies the mbox into a folder.
std::string MboxJob(const std::string& mbox, const std::string& folder) {
  return fmt::format(R"({{"kind": "stiJob", "Name": "Copy",
  "children": [{{"kind": "stiMailSrcMbox", "Name": "Inbox", "SourceOptions.Filename": "{}",
    "SourceOptions.CopyToSourceLog": true, "children": [{{"kind": "stiMailTarMbox", "Name": "Copy", "TargetFilename": "{}/copy.mbox"}}]}}]}})",
                     mbox, folder);
}

int Count(const std::string& text, const std::string& what) {
  int n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

std::string ReportOf(const std::string& output) {
  const size_t at = output.find("Report: ");
  if (at == std::string::npos) return "";
  return ReadFileText(output.substr(at + 8, output.find('\n', at) - at - 8));
}

class CliRunTest : public ::testing::Test {
 protected:
  void SetUp() override {
    WriteFileText(Path("in.mbox"), SmallMbox(3));
    WriteFileText(Path("job.json"), MboxJob(Path("in.mbox"), Path("out")));
    WriteFileText(Path("job2.json"), MboxJob(Path("in.mbox"), Path("out2")));
  }
  TTempHome FHome;
  std::string Path(const std::string& name) { return (FHome / name).string(); }
};

}  // namespace

// ---- global options

TEST_F(CliRunTest, DetailedLogFromTheCommandLineWritesOneStatusPerMessage) {
  TCliRun plain = Quillon("run --quiet " + Path("job.json"));
  ASSERT_EQ(plain.Status, 0) << plain.Out;
  EXPECT_EQ(Count(ReportOf(plain.Out), "* Status:"), 0) << plain.Out;

  TCliRun detailed = Quillon("run --quiet --global DetailedLog=true " + Path("job2.json"));
  ASSERT_EQ(detailed.Status, 0) << detailed.Out;
  const std::string report = ReportOf(detailed.Out);
  EXPECT_EQ(Count(report, "* Status:       Processed"), 3) << report;
}

TEST_F(CliRunTest, OptionsFileIsReadAndTheCommandLineWinsOverIt) {
  std::filesystem::create_directories(FHome / "home" / "Common");
  WriteFileText(FHome / "home" / "Common" / "options.json", R"({"DetailedLog": true})");
  TCliRun fromFile = Quillon("run --quiet " + Path("job.json"));
  ASSERT_EQ(fromFile.Status, 0) << fromFile.Out;
  EXPECT_EQ(Count(ReportOf(fromFile.Out), "* Status:       Processed"), 3) << fromFile.Out;

  TCliRun overridden = Quillon("run --quiet --global DetailedLog=false " + Path("job2.json"));
  ASSERT_EQ(overridden.Status, 0) << overridden.Out;
  EXPECT_EQ(Count(ReportOf(overridden.Out), "* Status:"), 0) << overridden.Out;
}

TEST_F(CliRunTest, IsoDatesKeepEachMessagesOwnOffsetInCsvAndTheSummary) {
  std::string mbox;
  for (const char* date : {"Tue, 5 Mar 2024 17:45:00 +0530", "Tue, 5 Mar 2024 08:15:00 -0800",
                           "Tue, 5 Mar 2024 12:15:00 +0000", ""})
    mbox += fmt::format("From a@example.com Tue Mar  5 12:15:00 2024\nFrom: a@example.com\nSubject: s\n"
                        "Message-ID: <{}@example.com>\n{}\nbody\n\n",
                        mbox.size(), *date ? fmt::format("Date: {}\n", date) : "");
  WriteFileText(Path("zones.mbox"), mbox);
  WriteFileText(Path("parts.json"), fmt::format(R"({{"kind": "stiMailSrcMbox", "SourceOptions.Filename": "{}",
    "children": [{{"kind": "stiMailTarEmailParts", "TargetFormat": "ffColCsv", "TargetFilename": "{}",
    "FieldsStr": "0001"}}]}})", Path("zones.mbox"), Path("parts.csv")));

  ASSERT_EQ(Quillon("run --quiet " + Path("parts.json")).Status, 0);
  EXPECT_EQ(ReadFileText(Path("parts.csv")),
            "\"SubmitDate\",\"DeliveryDate\"\r\n03/05/24 12:15:00,03/05/24 12:15:00\r\n"
            "03/05/24 16:15:00,03/05/24 16:15:00\r\n03/05/24 12:15:00,03/05/24 12:15:00\r\n,\r\n")
      << "the locale's form unless asked";

  TCliRun iso = Quillon("run --quiet --global DateFormat=iso " + Path("parts.json"));
  ASSERT_EQ(iso.Status, 0) << iso.Out;
  EXPECT_EQ(ReadFileText(Path("parts.csv")),
            "\"SubmitDate\",\"DeliveryDate\"\r\n2024-03-05T17:45:00+05:30,2024-03-05T17:45:00+05:30\r\n"
            "2024-03-05T08:15:00-08:00,2024-03-05T08:15:00-08:00\r\n"
            "2024-03-05T12:15:00+00:00,2024-03-05T12:15:00+00:00\r\n,\r\n");

  std::filesystem::create_directories(FHome / "home" / "Common");
  WriteFileText(FHome / "home" / "Common" / "options.json", R"({"DateFormat": "iso"})");
  TCliRun dry = Quillon("run --quiet --dry-run " + Path("parts.json"));
  EXPECT_NE(dry.Out.find("  2024-03-05T08:15:00-08:00  a@example.com  s\n"), std::string::npos) << dry.Out;
  EXPECT_NE(dry.Out.find("  (no date)  a@example.com  s\n"), std::string::npos) << dry.Out;
}

TEST_F(CliRunTest, BadGlobalOptionsStopBeforeTheRun) {
  TCliRun misspelt = Quillon("run --quiet --global DetailLog=true " + Path("job.json"));
  EXPECT_EQ(misspelt.Status, 2);
  EXPECT_NE(misspelt.Out.find("did you mean \"DetailedLog\""), std::string::npos) << misspelt.Out;
  EXPECT_EQ(Quillon("run --quiet --global DetailedLog=maybe " + Path("job.json")).Status, 2);
  EXPECT_EQ(Quillon("run --quiet --global DetailedLog " + Path("job.json")).Status, 2);
  TCliRun badValue = Quillon("run --quiet --global DateFormat=rfc " + Path("job.json"));
  EXPECT_EQ(badValue.Status, 2);
  EXPECT_NE(badValue.Out.find("is not one of locale, iso"), std::string::npos) << badValue.Out;
  std::filesystem::create_directories(FHome / "home" / "Common");
  WriteFileText(FHome / "home" / "Common" / "options.json", "{\"DetailedLog\": tru}");
  TCliRun broken = Quillon("run --quiet " + Path("job.json"));
  EXPECT_EQ(broken.Status, 2);
  EXPECT_NE(broken.Out.find("options.json"), std::string::npos) << broken.Out;
  EXPECT_FALSE(std::filesystem::exists(Path("out")));
}

// ---- state, paths and input

TEST_F(CliRunTest, AReadOnlyJsonJobRunsIncrementallyAndIsNeverRewritten) {
  // Relative paths resolve against the job's folder, whatever the current folder is.
  std::filesystem::create_directories(Path("jobs"));
  WriteFileText(Path("jobs/in.mbox"), SmallMbox(3));
  WriteFileText(Path("jobs/job.json"), MboxJob("in.mbox", "out"));
  std::filesystem::permissions(Path("jobs/job.json"), std::filesystem::perms::owner_read);
  const std::string before = ReadFileText(Path("jobs/job.json"));
  TCliRun first = Quillon("run --quiet " + Path("jobs/job.json"));
  ASSERT_EQ(first.Status, 0) << first.Out;
  EXPECT_NE(first.Out.find("3 processed"), std::string::npos) << first.Out;
  EXPECT_TRUE(std::filesystem::exists(Path("jobs/out/copy.mbox")));
  TCliRun second = Quillon("run --quiet " + Path("jobs/job.json"));
  ASSERT_EQ(second.Status, 0) << second.Out;
  EXPECT_NE(second.Out.find("0 processed"), std::string::npos) << second.Out;
  EXPECT_EQ(ReadFileText(Path("jobs/job.json")), before);
  EXPECT_EQ(second.Out.find("ids"), std::string::npos) << second.Out;

  // Another state file knows nothing of those runs.
  TCliRun elsewhere = Quillon("run --quiet --state " + Path("state.json") + " " + Path("jobs/job.json"));
  EXPECT_NE(elsewhere.Out.find("3 processed"), std::string::npos) << elsewhere.Out;
  EXPECT_NE(ReadFileText(Path("state.json")).find("\"children[0]\""), std::string::npos);
}

TEST_F(CliRunTest, JsonOutputAndStdinWithPathsFromTheCurrentFolder) {
  WriteFileText(Path("piped.json"), MboxJob(Path("in.mbox"), Path("piped")));
  TCliRun run = Quillon("run --json - < " + Path("piped.json"), "/dev/null");
  ASSERT_EQ(run.Status, 0) << run.Out;
  const auto summary = nlohmann::json::parse(run.Out);
  EXPECT_EQ(summary["processed"], 3);
  EXPECT_EQ(summary["actions"][0]["kind"], "stiMailSrcMbox");
  EXPECT_EQ(summary["actions"][1]["name"], "Copy");
  EXPECT_EQ(summary["actions"][1]["outputs"][0], Path("piped") + "/copy.mbox");
  EXPECT_FALSE(summary["report"].get<std::string>().empty());
}

TEST_F(CliRunTest, DryRunTellsWhatEachTargetWouldReceiveAndWritesNothing) {
  TCliRun run = Quillon("run --quiet --dry-run " + Path("job.json"));
  ASSERT_EQ(run.Status, 0) << run.Out;
  EXPECT_NE(run.Out.find("stiMailTarMbox \"Copy\" would receive 3 messages"), std::string::npos) << run.Out;
  EXPECT_NE(run.Out.find("Message 2"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(Path("out")));
  // and a real run afterwards still finds every message new
  EXPECT_NE(Quillon("run --quiet " + Path("job.json")).Out.find("3 processed"), std::string::npos);
}

TEST_F(CliRunTest, SkipsAreExplainedPerTarget) {
  // From stdin without --state every run is a first run, and the mbox copy holds them all.
  ASSERT_EQ(Quillon("run --quiet - < " + Path("job.json")).Status, 0);
  TCliRun again = Quillon("run --quiet - < " + Path("job.json"));
  ASSERT_EQ(again.Status, 0) << again.Out;
  EXPECT_NE(again.Out.find("stiMailSrcMbox \"Inbox\" skipped 3: 3 because every target already held the message"),
            std::string::npos)
      << again.Out;
}

TEST_F(CliRunTest, RenamedFilesCountAsSaved) {
  WriteFileText(Path("rename.json"), R"({"kind": "stiMailSrcMbox", "SourceOptions.Filename": ")" + Path("in.mbox") +
                                         R"(", "children": [{"kind": "stiMailTarSingleFiles", "Options.TargetFolder": ")" +
                                         Path("files") + R"(", "Options.DuplicatedFilesAction": "dfRename"}]})");
  ASSERT_EQ(Quillon("run --quiet - < " + Path("rename.json")).Status, 0);
  TCliRun again = Quillon("run --quiet - < " + Path("rename.json"));
  EXPECT_NE(again.Out.find("3 processed, 3 saved, 0 skipped"), std::string::npos) << again.Out;
}

TEST_F(CliRunTest, ProblemsStopTheRunUnlessLenient) {
  WriteFileText(Path("typo.json"), R"({"kind": "stiJob", "children": [{"kind": "stiMailSrcMbox",
    "SourceOptions.Filename": ")" + Path("in.mbox") + R"(", "SourceOptions.Filenam": "x"}]})");
  TCliRun refused = Quillon("run --quiet " + Path("typo.json"));
  EXPECT_EQ(refused.Status, 2);
  EXPECT_NE(refused.Out.find("did you mean \"SourceOptions.Filename\""), std::string::npos) << refused.Out;
  EXPECT_NE(refused.Out.find("--lenient"), std::string::npos);
  TCliRun lenient = Quillon("run --quiet --lenient " + Path("typo.json"));
  EXPECT_EQ(lenient.Status, 0) << lenient.Out;
  EXPECT_NE(lenient.Out.find("warning:"), std::string::npos);
}

TEST_F(CliRunTest, AMissingMailboxIsAFailedRunNotAnEmptySuccess) {
  WriteFileText(Path("missing.json"), MboxJob(Path("nothere.mbox"), Path("out")));
  TCliRun run = Quillon("run --quiet " + Path("missing.json"));
  EXPECT_EQ(run.Status, 1) << run.Out;
  EXPECT_NE(run.Out.find("warning: "), std::string::npos) << run.Out;  // the check said so first
  EXPECT_NE(run.Out.find("error: stiMailSrcMbox \"Inbox\": "), std::string::npos) << run.Out;
  EXPECT_NE(run.Out.find("nothere.mbox"), std::string::npos);
}

TEST_F(CliRunTest, IdenticalErrorsCollapseIntoOneLineNamingTheAction) {
  // Every message fails alike: the target folder would lie below a file.
  WriteFileText(Path("blocker"), "a file, not a folder");
  WriteFileText(Path("bad.json"), R"({"kind": "stiJob", "children": [{"kind": "stiMailSrcMbox",
    "SourceOptions.Filename": "in.mbox", "children": [{"kind": "stiMailTarSingleFiles", "Name": "By month",
      "Options.TargetFolder": "blocker/x"}]}]})");
  TCliRun run = Quillon("run --quiet " + Path("bad.json"));
  EXPECT_EQ(run.Status, 1) << run.Out;
  EXPECT_EQ(Count(run.Out, "error: stiMailTarSingleFiles \"By month\": "), 1) << run.Out;
  EXPECT_NE(run.Out.find("(3 times)"), std::string::npos) << run.Out;
  EXPECT_EQ(run.Out.find("TKw"), std::string::npos) << run.Out;
}

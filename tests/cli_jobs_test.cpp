// Black-box runs of the quillon program over job files: convert, jobs, run and logs.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "CliRun.h"
#include "TestSupport.h"
#include "uKwActionJob.h"

namespace {

// stdout only: what the commands print for the user to read or parse.
TCliRun QuillonStdout(const std::string& args) { return Quillon(args, "/dev/null"); }
TCliRun QuillonWithErrors(const std::string& args) { return Quillon(args, "&1"); }

int CountLines(const std::string& text) {
  int n = 0;
  for (char c : text) n += c == '\n';
  return n;
}

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

int Count(const std::string& text, const std::string& part) {
  int n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

const char* kJobId = "{1B4E28BA-2FA1-11D2-883F-0016D3CCA427}";

std::string JobJson(const std::string& mbox) {
  return std::string(R"({"kind": "stiJob", "Name": "Nightly", "Caption": "Nightly export",
    "Description": "The shared inbox", "JobId": ")") + kJobId + R"(",
    "Schedule.Enabled": true, "Schedule.SchedulingInterval": "siOnceADay",
    "children": [{"kind": "stiMailSrcMbox", "SourceOptions.Filename": ")" + mbox + R"(",
      "children": [{"kind": "stiMailTarMbox", "TargetFilename": ")" + mbox + R"(.out"}]}]})";
}

const char* kMbox =
    "From ann@example.org Mon Jan 15 10:00:00 2024\n"
    "From: ann@example.org\nSubject: First\nMessage-ID: <a@x>\n"
    "Date: Mon, 15 Jan 2024 10:00:00 +0000\n\nHello\n\n";

class CliJobsTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  std::string Path(const std::string& name) { return (FHome / name).string(); }
  void SetUp() override {
    WriteFileText(FHome / "in.mbox", kMbox);
    WriteFileText(FHome / "job.json", JobJson(Path("in.mbox")));
  }
};

}  // namespace

TEST_F(CliJobsTest, ConvertWritesAndReadsJobFiles) {
  ASSERT_EQ(QuillonStdout("convert " + Path("job.json") + " " + Path("a.qjob")).Status, 0);
  ASSERT_EQ(QuillonStdout("convert " + Path("a.qjob") + " " + Path("b.json")).Status, 0);
  ASSERT_EQ(QuillonStdout("convert " + Path("b.json") + " " + Path("c.qjob")).Status, 0);
  ASSERT_EQ(QuillonStdout("convert " + Path("a.qjob") + " " + Path("d.qaf")).Status, 0);
  EXPECT_EQ(ReadFileText(Path("a.qjob")), ReadFileText(Path("c.qjob")));
  EXPECT_TRUE(Has(ReadFileText(Path("b.json")), std::string("\"JobId\": \"") + kJobId + "\""));
  TJobInfo info;
  ASSERT_TRUE(TKwBaseActionJob::LoadJobInfo(Path("a.qjob"), info));
  EXPECT_EQ(info.Caption, "Nightly export");
  EXPECT_EQ(info.ScheduleText, "Daily at 00:00");
  EXPECT_FALSE(TKwBaseActionJob::LoadJobInfo(Path("d.qaf"), info));  // an action file: no trailer
  EXPECT_EQ(QuillonStdout("show " + Path("a.qjob")).Status, 0);

  TCliRun notAJob = QuillonWithErrors("convert " + Path("in.mbox") + " " + Path("x.qjob"));
  EXPECT_EQ(notAJob.Status, 2);
  WriteFileText(Path("source.json"), R"({"kind": "stiMailSrcMbox"})");
  TCliRun sourceRoot = QuillonWithErrors("convert " + Path("source.json") + " " + Path("x.qjob"));
  EXPECT_EQ(sourceRoot.Status, 2);
  EXPECT_TRUE(Has(sourceRoot.Out, "Only a job can be saved as a job file")) << sourceRoot.Out;
}

TEST_F(CliJobsTest, JobsListsJobFilesFromTheirTrailers) {
  ASSERT_EQ(QuillonStdout("convert " + Path("job.json") + " " + Path("nightly.qjob")).Status, 0);
  ASSERT_EQ(QuillonStdout("convert " + Path("job.json") + " " + Path("plain.qaf")).Status, 0);
  WriteFileText(Path("broken.qjob"), "QUJD");
  TCliRun list = QuillonStdout("jobs " + FHome.Path().string());
  EXPECT_EQ(list.Status, 0);
  // heading, broken.qjob, job.json, nightly.qjob; no .qaf
  EXPECT_EQ(CountLines(list.Out), 4) << list.Out;
  EXPECT_TRUE(Has(list.Out, "broken.qjob")) << list.Out;
  EXPECT_TRUE(Has(list.Out, "has no job information")) << list.Out;
  EXPECT_TRUE(Has(list.Out, kJobId)) << list.Out;
  EXPECT_TRUE(Has(list.Out, "yes")) << list.Out;
  EXPECT_TRUE(Has(list.Out, "Daily at 00:00")) << list.Out;
  EXPECT_TRUE(Has(list.Out, "Nightly export / The shared inbox")) << list.Out;
  EXPECT_LT(list.Out.find("broken.qjob"), list.Out.find("nightly.qjob"));

  TCliRun json = QuillonStdout("jobs --json " + FHome.Path().string());
  EXPECT_EQ(json.Status, 0);
  EXPECT_TRUE(Has(json.Out, "\"ScheduleEnabled\": true")) << json.Out;
  EXPECT_TRUE(Has(json.Out, "\"Description\": \"The shared inbox\"")) << json.Out;

  // The current folder by default; one file by name.
  TCliRun here = QuillonStdout("jobs");  // the test's own folder holds no job files
  EXPECT_EQ(here.Status, 0);
  EXPECT_EQ(QuillonStdout("jobs " + Path("nightly.qjob")).Status, 0);
  TCliRun noTrailer = QuillonWithErrors("jobs " + Path("plain.qaf"));
  EXPECT_EQ(noTrailer.Status, 2);
  EXPECT_TRUE(Has(noTrailer.Out, "has no job information")) << noTrailer.Out;
  EXPECT_EQ(QuillonStdout("jobs " + Path("missing-folder")).Status, 2);
}

TEST_F(CliJobsTest, RunStartsTheJobAndLogsListsItsReports) {
  ASSERT_EQ(QuillonStdout("convert " + Path("job.json") + " " + Path("nightly.qjob")).Status, 0);
  TCliRun first = QuillonStdout("run --quiet " + Path("nightly.qjob"));
  EXPECT_EQ(first.Status, 0) << first.Out;
  EXPECT_TRUE(Has(first.Out, "1 processed, 1 saved, 0 skipped, 0 errors")) << first.Out;
  EXPECT_TRUE(Has(first.Out, std::string("Report: ") + FHome.Path().string())) << first.Out;
  EXPECT_TRUE(Has(first.Out, kJobId)) << first.Out;
  // The new source id went back into the job file, which stays a job file.
  TJobInfo info;
  EXPECT_TRUE(TKwBaseActionJob::LoadJobInfo(Path("nightly.qjob"), info));
  EXPECT_TRUE(Has(QuillonStdout("show " + Path("nightly.qjob")).Out, "SourceId"));
  EXPECT_EQ(QuillonStdout("run --quiet " + Path("nightly.qjob")).Status, 0);

  TCliRun logs = QuillonStdout(std::string("logs ") + kJobId);
  EXPECT_EQ(logs.Status, 0);
  ASSERT_EQ(CountLines(logs.Out), 2) << logs.Out;
  size_t firstEnd = logs.Out.find('\n');
  EXPECT_GT(logs.Out.substr(0, firstEnd), logs.Out.substr(firstEnd + 1));  // newest first
  // By the job's file, or by the id without braces.
  EXPECT_EQ(QuillonStdout("logs " + Path("nightly.qjob")).Out, logs.Out);
  std::string bare = std::string(kJobId).substr(1, 36);
  EXPECT_EQ(QuillonStdout("logs " + bare).Out, logs.Out);

  TCliRun latest = QuillonStdout(std::string("logs --latest ") + kJobId);
  EXPECT_EQ(latest.Status, 0);
  EXPECT_TRUE(Has(latest.Out, "Job: Nightly")) << latest.Out;
  EXPECT_TRUE(Has(latest.Out, "Processed: 1 - Errors: 0")) << latest.Out;
}

TEST_F(CliJobsTest, LogsOfAJobWithoutReports) {
  TCliRun none = QuillonStdout("logs {00000000-0000-0000-0000-000000000000}");
  EXPECT_EQ(none.Status, 0);
  EXPECT_EQ(none.Out, "");
  EXPECT_EQ(QuillonStdout("logs --latest {00000000-0000-0000-0000-000000000000}").Status, 2);
  WriteFileText(Path("source.json"), R"({"kind": "stiMailSrcMbox"})");
  TCliRun notAJob = QuillonWithErrors("logs " + Path("source.json"));
  EXPECT_EQ(notAJob.Status, 2);
  EXPECT_TRUE(Has(notAJob.Out, "holds no job")) << notAJob.Out;
}

// The id lives in the state file: the job file is the user's and keeps its bytes.
TEST_F(CliJobsTest, AJsonJobWithoutIdKeepsOneIdAcrossRuns) {
  const std::string text = R"({"kind": "stiJob", "Name": "Fresh"})";
  WriteFileText(Path("noid.json"), text);
  auto reportId = [&] {
    const std::string out = QuillonStdout("run --quiet " + Path("noid.json")).Out;
    const size_t slash = out.rfind('/');
    return slash == std::string::npos ? std::string() : out.substr(slash + 1, 38);
  };
  const std::string first = reportId();
  EXPECT_EQ(first.front(), '{') << first;
  EXPECT_EQ(reportId(), first);
  EXPECT_EQ(ReadFileText(Path("noid.json")), text);
  EXPECT_TRUE(Has(QuillonStdout("jobs " + Path("noid.json")).Out, first));  // jobs knows it too
}

TEST_F(CliJobsTest, JobsListsJsonJobsWithTheirNames) {
  std::filesystem::create_directories(Path("jobs"));
  WriteFileText(Path("jobs/nightly.json"), JobJson(Path("in.mbox")));
  WriteFileText(Path("jobs/source.json"), R"({"kind": "stiMailSrcMbox"})");
  WriteFileText(Path("jobs/bare.json"), R"({"kind": "stiJob", "Name": "Bare"})");
  ASSERT_EQ(QuillonStdout("convert " + Path("jobs/bare.json") + " " + Path("jobs/bare.qjob")).Status, 0);
  TCliRun list = QuillonStdout("jobs " + Path("jobs"));
  EXPECT_EQ(list.Status, 0);
  EXPECT_TRUE(Has(list.Out, "nightly.json")) << list.Out;
  EXPECT_TRUE(Has(list.Out, "Nightly / The shared inbox")) << list.Out;
  EXPECT_FALSE(Has(list.Out, "source.json"));
  EXPECT_EQ(CountLines(list.Out), 4) << list.Out;  // heading, bare.json, bare.qjob, nightly.json
  EXPECT_EQ(Count(list.Out, "  Bare"), 2) << list.Out;
}

// Black-box runs of `quillon run`: global options.

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

TEST_F(CliRunTest, BadGlobalOptionsStopBeforeTheRun) {
  TCliRun misspelt = Quillon("run --quiet --global DetailLog=true " + Path("job.json"));
  EXPECT_EQ(misspelt.Status, 2);
  EXPECT_NE(misspelt.Out.find("did you mean \"DetailedLog\""), std::string::npos) << misspelt.Out;
  EXPECT_EQ(Quillon("run --quiet --global DetailedLog=maybe " + Path("job.json")).Status, 2);
  EXPECT_EQ(Quillon("run --quiet --global DetailedLog " + Path("job.json")).Status, 2);
  std::filesystem::create_directories(FHome / "home" / "Common");
  WriteFileText(FHome / "home" / "Common" / "options.json", "{\"DetailedLog\": tru}");
  TCliRun broken = Quillon("run --quiet " + Path("job.json"));
  EXPECT_EQ(broken.Status, 2);
  EXPECT_NE(broken.Out.find("options.json"), std::string::npos) << broken.Out;
  EXPECT_FALSE(std::filesystem::exists(Path("out")));
}

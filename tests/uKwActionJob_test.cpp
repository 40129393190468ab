// Jobs: identity, the job file and its trailer (uKwJobInfo), StartJob and its reports, and
// the schedule's status text that the trailer carries.

#include "uKwActionJob.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "TestSupport.h"
#include "uKwActionFile.h"
#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwLogSubs.h"
#include "uKwMessageName.h"
#include "uKwRegFolders.h"
#include "uKwSourceBase.h"
#include "uKwTargetMbox.h"

namespace fs = std::filesystem;

namespace {

const std::string kMbox =
    "From ann@example.org Mon Jan 15 10:00:00 2024\n"
    "From: ann@example.org\nSubject: First\nMessage-ID: <a@x>\n"
    "Date: Mon, 15 Jan 2024 10:00:00 +0000\n\nHello\n\n"
    "From bob@example.com Mon Jan 15 11:00:00 2024\n"
    "From: bob@example.com\nSubject: Second\nMessage-ID: <b@x>\n"
    "Date: Mon, 15 Jan 2024 11:00:00 +0000\n\nBye\n\n";

class ActionJobTest : public ::testing::Test {
 protected:
  TTempHome FHome;

  // A job copying a two-message mbox into another.
  std::unique_ptr<TKwActionBase> MboxJob() {
    WriteFileText(FHome / "in.mbox", kMbox);
    auto job = CreateNewAction(stiJob);
    job->Name = "Nightly";
    job->Description = "Reads the inbox";
    auto& source = static_cast<TKwSourceMailBase&>(job->GetChild(job->AddChild(stiMailSrcMbox)));
    source.SourceOptions->Filename = (FHome / "in.mbox").string();
    auto& target = static_cast<TKwTargetMailMbox&>(source.GetChild(source.AddChild(stiMailTarMbox)));
    target.TargetFilename = (FHome / "out.mbox").string();
    return job;
  }
  static TKwBaseActionJob& AsJob(std::unique_ptr<TKwActionBase>& action) {
    return dynamic_cast<TKwBaseActionJob&>(*action);
  }
  std::string Path(const std::string& name) { return (FHome / name).string(); }
  static TStringList Reports(const std::string& jobId) {
    TStringList list;
    FillLogsList(list, jobId);
    return list;
  }
};

std::string Repeat(const std::string& text, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += text;
  return out;
}

}  // namespace

// ---- identity

TEST_F(ActionJobTest, NewJobsGetDistinctBracedIds) {
  TKwActionJob a, b;
  EXPECT_EQ(a.JobId.size(), 38u);
  EXPECT_EQ(a.JobId.front(), '{');
  EXPECT_EQ(a.JobId.back(), '}');
  EXPECT_NE(a.JobId, b.JobId);
  std::string before = a.JobId;
  a.GenerateJobId();
  EXPECT_NE(a.JobId, before);
  EXPECT_EQ(a.GetJobIdCRC32(), CRC32Int(a.JobId));
  EXPECT_EQ(a.ItemType, stiJob);
  EXPECT_EQ(CreateNewAction(stiJobRemote)->ItemType, stiJobRemote);
}

TEST_F(ActionJobTest, AssignCopiesIdScheduleAndSettings) {
  TKwActionJob a, b;
  a.Caption = "Archive";
  a.DetailedLog = true;
  a.Schedule->Enabled = true;
  a.Schedule->MinutesInterval = 45;
  b.Assign(a);
  EXPECT_EQ(b.JobId, a.JobId);
  EXPECT_EQ(b.Caption, "Archive");
  EXPECT_TRUE(b.DetailedLog);
  EXPECT_EQ(b.Schedule->MinutesInterval, 45);
  EXPECT_NE(b.Schedule.get(), a.Schedule.get());
}

// ---- the job file

TEST_F(ActionJobTest, TrailerLayoutFieldByField) {
  TKwActionJob job;
  job.Caption = "Nightly export";
  job.Description = "All mail of the shared inbox";
  job.Schedule->Enabled = true;
  job.Schedule->SchedulingInterval = siOnceADay;
  job.Schedule->StartTime = EncodeDateTime(1899, 12, 30, 8, 0, 0);
  std::string error;
  ASSERT_TRUE(job.SaveToFile(Path("a.qjob"), error)) << error;

  std::string bytes = ReadFileText(Path("a.qjob"));
  std::string text = job.SaveToString();
  ASSERT_EQ(bytes.size(), text.size() + 808);
  EXPECT_EQ(bytes.substr(0, text.size()), text);
  std::string t = bytes.substr(text.size());
  auto field = [&t](size_t offset) { return t.substr(offset + 1, static_cast<unsigned char>(t[offset])); };
  EXPECT_EQ(t[0], 38);
  EXPECT_EQ(field(0), job.JobId);
  EXPECT_EQ(field(39), "Nightly export");
  EXPECT_EQ(field(295), "All mail of the shared inbox");
  EXPECT_EQ(field(551), "Daily at 08:00");
  EXPECT_EQ(t[807], 1);
  // Our unused bytes are zero, so equal jobs give equal files.
  EXPECT_EQ(t.substr(1 + 38 + 1 + 14, 10), std::string(10, '\0'));
}

TEST_F(ActionJobTest, LoadJobInfoReadsBackWhatSaveToFileWrote) {
  TKwActionJob job;
  job.Caption = "Weekly";
  job.Description = "Line one\r\nline two";
  std::string error;
  ASSERT_TRUE(job.SaveToFile(Path("w.qjob"), error)) << error;
  TJobInfo info;
  ASSERT_TRUE(TKwBaseActionJob::LoadJobInfo(Path("w.qjob"), info));
  EXPECT_EQ(info.JobId, job.JobId);
  EXPECT_EQ(info.Caption, "Weekly");
  EXPECT_EQ(info.Description, "Line one\r\nline two");
  EXPECT_EQ(info.ScheduleText, "Not scheduled");
  EXPECT_FALSE(info.ScheduleEnabled);
}

TEST_F(ActionJobTest, LongTextsAreCutInTheTrailerOnlyAndNeverMidCharacter) {
  TKwActionJob job;
  job.Caption = Repeat("c", 300);
  job.Description = Repeat("\xC3\xA9", 200);  // 400 bytes of "é"
  std::string error;
  ASSERT_TRUE(job.SaveToFile(Path("long.qjob"), error)) << error;
  TJobInfo info;
  ASSERT_TRUE(TKwBaseActionJob::LoadJobInfo(Path("long.qjob"), info));
  EXPECT_EQ(info.Caption, Repeat("c", 255));
  EXPECT_EQ(info.Description, Repeat("\xC3\xA9", 127));
  TKwActionLoadResult loaded = LoadActionFromFile(Path("long.qjob"));
  ASSERT_TRUE(loaded.Action) << loaded.Error;
  EXPECT_EQ(loaded.Action->Caption, Repeat("c", 300));
}

TEST_F(ActionJobTest, BothFormsLoadAsWholeTreesIgnoringTheirTails) {
  auto job = MboxJob();
  std::string error;
  ASSERT_TRUE(AsJob(job).SaveToFile(Path("new.qjob"), error)) << error;
  ASSERT_TRUE(AsJob(job).SaveToFileOld(Path("old.qjob"), error)) << error;
  EXPECT_EQ(ReadFileText(Path("old.qjob")), job->SaveToString() + AsJob(job).JobId);
  for (const char* name : {"new.qjob", "old.qjob"}) {
    TKwActionLoadResult loaded = LoadActionFromFile(Path(name));
    ASSERT_TRUE(loaded.Action) << name << ": " << loaded.Error;
    EXPECT_EQ(loaded.Action->SaveToString(), job->SaveToString()) << name;
    TKwActionJob viaBase;
    ASSERT_TRUE(viaBase.LoadFromFile(Path(name), error)) << name << ": " << error;
    EXPECT_EQ(viaBase.JobId, AsJob(job).JobId);
    EXPECT_EQ(ReadJobIdFromExtractJobFile(Path(name)), AsJob(job).JobId) << name;
  }
  // A job whose id was emptied still loads: its trailer starts with a zero length.
  AsJob(job).JobId.clear();
  ASSERT_TRUE(AsJob(job).SaveToFile(Path("noid.qjob"), error)) << error;
  EXPECT_TRUE(LoadActionFromFile(Path("noid.qjob")).Action);
}

TEST_F(ActionJobTest, ConvertsToJsonAndBackToTheSameJobFile) {
  auto job = MboxJob();
  std::string error;
  ASSERT_TRUE(SaveActionToFile(*job, Path("a.qjob"), error)) << error;
  TKwActionLoadResult first = LoadActionFromFile(Path("a.qjob"));
  ASSERT_TRUE(first.Action) << first.Error;
  ASSERT_TRUE(SaveActionToFile(*first.Action, Path("a.json"), error)) << error;
  TKwActionLoadResult second = LoadActionFromFile(Path("a.json"));
  ASSERT_TRUE(second.Action) << second.Error;
  ASSERT_TRUE(SaveActionToFile(*second.Action, Path("b.qjob"), error)) << error;
  EXPECT_EQ(ReadFileText(Path("a.qjob")), ReadFileText(Path("b.qjob")));
  // Only a job makes a job file.
  auto source = CreateNewAction(stiMailSrcMbox);
  EXPECT_FALSE(SaveActionToFile(*source, Path("s.qjob"), error));
  EXPECT_NE(error.find("Only a job"), std::string::npos) << error;
}

TEST_F(ActionJobTest, StoringIdsBackKeepsEachFileInItsForm) {
  auto job = MboxJob();
  std::string error;
  ASSERT_TRUE(AsJob(job).SaveToFile(Path("new.qjob"), error));
  ASSERT_TRUE(AsJob(job).SaveToFileOld(Path("old.qjob"), error));
  ASSERT_TRUE(job->SaveToFile(Path("plain.qaf"), error));
  auto& source = dynamic_cast<TKwSourceMailBase&>(job->GetChild(0));
  source.SourceId = "{00000000-1111-2222-3333-444444444444}";
  for (const char* name : {"new.qjob", "old.qjob", "plain.qaf"}) {
    ASSERT_TRUE(StoreSourceIds(*job, Path(name), error)) << name << ": " << error;
    TKwActionLoadResult loaded = LoadActionFromFile(Path(name));
    ASSERT_TRUE(loaded.Action) << name;
    EXPECT_EQ(dynamic_cast<TKwSourceMailBase&>(loaded.Action->GetChild(0)).SourceId, source.SourceId) << name;
  }
  TJobInfo info;
  EXPECT_TRUE(TKwBaseActionJob::LoadJobInfo(Path("new.qjob"), info));
  EXPECT_EQ(ReadFileText(Path("old.qjob")), job->SaveToString() + AsJob(job).JobId);
  EXPECT_EQ(ReadFileText(Path("plain.qaf")), job->SaveToString());
}

// ---- files that are not job files

TEST_F(ActionJobTest, FilesWithoutTrailerSayWhy) {
  TKwActionJob job;
  job.Caption = "Some caption long enough to matter";
  std::string error;
  ASSERT_TRUE(job.TKwActionBase::SaveToFile(Path("plain.qaf"), error));
  ASSERT_TRUE(job.SaveToFileOld(Path("old.qjob"), error));
  ASSERT_TRUE(job.SaveToFile(Path("full.qjob"), error));
  std::string full = ReadFileText(Path("full.qjob"));
  WriteFileText(Path("cut.qjob"), full.substr(0, full.size() - 100));
  WriteFileText(Path("trailer-only.qjob"), full.substr(full.size() - 808));
  WriteFileText(Path("empty.qjob"), "");

  struct TCase {
    const char* File;
    const char* Reason;
  } cases[] = {
      {"plain.qaf", "has no job information"},
      {"old.qjob", "older form"},
      {"cut.qjob", "cut short"},
      {"trailer-only.qjob", "cut short"},  // no action text before it: not a job file
      {"empty.qjob", "has no job information"},
      {"missing.qjob", "Cannot open"},
  };
  for (const TCase& c : cases) {
    TJobInfo info;
    EXPECT_FALSE(TKwBaseActionJob::LoadJobInfo(Path(c.File), info)) << c.File;
    EXPECT_FALSE(TKwBaseActionJob::LoadJobInfo(Path(c.File), info, error)) << c.File;
    EXPECT_NE(error.find(c.Reason), std::string::npos) << c.File << ": " << error;
    EXPECT_TRUE(info.JobId.empty()) << c.File;
  }
  // A job file cut short loads no tree either, and says so.
  TKwActionLoadResult cut = LoadActionFromFile(Path("cut.qjob"));
  EXPECT_FALSE(cut.Action);
  EXPECT_FALSE(cut.Error.empty());
}

TEST_F(ActionJobTest, ActionTextOfAJobFileStopsAtItsTail) {
  std::string text = "QUJD\r\nREVG";
  EXPECT_EQ(JobFileActionText(text), text);
  EXPECT_EQ(JobFileActionText(text + "{ID}"), text);
  TJobInfo info;
  info.JobId = "{X}";
  EXPECT_EQ(JobFileActionText(text + EncodeJobInfo(info)), text);
  // Anything else is left for the decoder to refuse.
  EXPECT_EQ(JobFileActionText(text + "garbage!"), text + "garbage!");
  EXPECT_EQ(JobFileActionText("{ONLY-AN-ID}"), "");
  EXPECT_EQ(JobFileActionText(text + "{\"kind\": 1}"), text + "{\"kind\": 1}");  // no id
  EXPECT_EQ(OldFormJobId(text + "{\"kind\": 1}"), "");
}

// ---- StartJob

TEST_F(ActionJobTest, EachStartFilesOneReportUnderTheJobId) {
  auto job = MboxJob();
  TKwBaseActionJob& j = AsJob(job);
  j.StartJob();
  std::string first = j.GetLastLogFileName();
  ASSERT_FALSE(first.empty()) << j.GetLastLogError();
  j.StartJob();
  std::string second = j.GetLastLogFileName();
  EXPECT_NE(first, second);
  EXPECT_EQ(Reports(j.JobId), (TStringList{first, second}));
  EXPECT_EQ(fs::path(first).parent_path(), fs::path(GetExtractLogsFolder()).parent_path());
  EXPECT_EQ(fs::path(first).filename().string().rfind(j.JobId, 0), 0u);

  std::string report = ReadFileText(second);
  EXPECT_NE(report.find("Job: Nightly"), std::string::npos) << report;
  EXPECT_NE(report.find("Reads the inbox"), std::string::npos);
  EXPECT_NE(report.find("Processed: 2 - Errors: 0"), std::string::npos) << report;
  // The main log holds the last run only.
  EXPECT_EQ(j.GetMainLog().TotalProcessed(), 2);
  EXPECT_EQ(j.GetMainLog().JobName, "Nightly");
}

TEST_F(ActionJobTest, SixteenthStartRemovesTheOldestReport) {
  TKwActionJob job;
  std::vector<std::string> reports;
  for (int i = 0; i < 16; ++i) {
    job.StartJob();
    reports.push_back(job.GetLastLogFileName());
  }
  TStringList kept = Reports(job.JobId);
  EXPECT_EQ(kept.size(), 15u);
  EXPECT_FALSE(fs::exists(reports.front()));
  EXPECT_EQ(kept.front(), reports[1]);
  EXPECT_EQ(kept.back(), reports.back());
  EXPECT_EQ(GetLatestLog(job.JobId), reports.back());
}

TEST_F(ActionJobTest, TempFolderIsEmptiedForTheRunAndRemovedAfterIt) {
  TKwActionJob job;
  EXPECT_NE(job.TempFolder, GetTempFolder());  // its own, never the shared one
  fs::create_directories(job.TempFolder);
  WriteFileText(fs::path(job.TempFolder) / "left-over.tmp", "x");
  bool emptyDuringRun = false;
  job.OnStatus = [&](TKwActionBase&, const std::string&, const std::string&) {
    emptyDuringRun = fs::is_directory(job.TempFolder) && fs::is_empty(job.TempFolder);
  };
  job.StartJob();
  EXPECT_TRUE(emptyDuringRun);
  EXPECT_FALSE(fs::exists(job.TempFolder));
}

TEST_F(ActionJobTest, EmptyEmailCacheValueEmptiesTheImagesCache) {
  TKwActionJob job;
  fs::path image = fs::path(GetImagesCacheFolder()) / "logo.png";
  fs::path cached = fs::path(GetEmailCacheFolder()) / "kept.dat";
  WriteFileText(image, "png");
  WriteFileText(cached, "mail");
  job.StartJob();
  EXPECT_TRUE(fs::exists(image));  // the value is absent
  ASSERT_TRUE(RegistryWriteBool("EmptyEmailCache", true));
  job.StartJob();
  EXPECT_FALSE(fs::exists(image));
  EXPECT_TRUE(fs::exists(cached));  // despite its name, the e-mail cache stays
}

TEST_F(ActionJobTest, RemoteJobFilesAReportSayingItCannotRunHere) {
  auto job = CreateNewAction(stiJobRemote);
  AsJob(job).StartJob();
  ASSERT_FALSE(AsJob(job).GetLastLogFileName().empty());
  EXPECT_NE(ReadFileText(AsJob(job).GetLastLogFileName()).find("not available in this build"), std::string::npos);
}

// ---- schedule status text

TEST(ScheduleStatusTextTest, ReadsAsASentenceOfTheSchedule) {
  const TDateTime at8 = EncodeDateTime(1899, 12, 30, 8, 0, 0);
  struct TCase {
    bool Enabled;
    TSchedulingInterval Interval;
    int Minutes;
    int Days;
    const char* Text;
  } cases[] = {
      {false, siOnceADay, 0, 127, "Not scheduled"},  // disabled
      {true, siNone, 0, 127, "Not scheduled"},
      {true, siDateTime, 0, 127, "Once at 2024-03-05 17:45"},
      {true, siOnceADay, 0, 127, "Daily at 08:00"},
      {true, siOnceADay, 0, 0x3E, "Weekdays at 08:00"},
      {true, siOnceADay, 0, 0x41, "Weekends at 08:00"},
      {true, siOnceADay, 0, 0x2A, "Mon, Wed and Fri at 08:00"},
      {true, siOnceADay, 0, 0x01, "Sun at 08:00"},
      {true, siOnceADay, 0, 0, "Not scheduled (no week day chosen)"},
      {true, siDailyAtIntervals, 30, 127, "Every 30 minutes from 08:00"},
      {true, siDailyAtIntervals, 1, 127, "Every minute from 08:00"},
      {true, siDailyAtIntervals, 60, 0x3E, "Every hour from 08:00 on weekdays"},
      {true, siDailyAtIntervals, 120, 0x12, "Every 2 hours from 08:00 on Mon and Thu"},
      {true, siDailyAtIntervals, 0, 127, "Daily at 08:00"},  // no interval set
  };
  for (const TCase& c : cases) {
    TKwScheduleOptions schedule;
    schedule.Enabled = c.Enabled;
    schedule.SchedulingInterval = c.Interval;
    schedule.MinutesInterval = c.Minutes;
    schedule.WeekDays = c.Days;
    schedule.StartTime = at8;
    schedule.StartDateTime = EncodeDateTime(2024, 3, 5, 17, 45, 30);
    EXPECT_EQ(schedule.GetStatusText(), c.Text);
  }
}

TEST(ScheduleStatusTextTest, AbsurdStoredDatesDoNotBreakIt) {
  TKwScheduleOptions schedule;
  schedule.Enabled = true;
  schedule.StartDateTime = 1e300;
  EXPECT_EQ(schedule.GetStatusText(), "Once at 1899-12-30 00:00");
}

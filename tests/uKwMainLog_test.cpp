// The run report of a job (TKwMainLog), the report files of the logs folder (uKwLogSubs)
// and the gathering of a tree's logs (TKwActionBase::AddChildActionsToMainLog).
//
// The report is compared with tests/data/reports/job_report.txt line by line. To accept
// a deliberate change of the report, run scripts/regen-golden.sh, which sets
// QUILLON_REGEN_GOLDEN=1 so that the test writes the file instead of comparing.

#include "uKwActionLog.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "TestSupport.h"
#include "uKwActionBase.h"
#include "uKwDateTime.h"
#include "uKwLogSubs.h"
#include "uKwRegFolders.h"
#include "uKwStream.h"

namespace fs = std::filesystem;

namespace {

const std::string kJobId = "{6F9619FF-8B86-D011-B42D-00C04FC964FF}";
const std::string kOtherJobId = "{0C2E8A51-4E3B-4D7B-9C8E-2F1A3B4C5D6E}";
const TDateTime kStart = EncodeDateTime(2024, 1, 31, 22, 0, 0);

size_t Width(const std::string& line) {
  return static_cast<size_t>(std::count_if(line.begin(), line.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

TStringList SplitLines(const std::string& text) {
  TStringList lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

void AddSource(TKwMainLog& main) {
  TKwActionLog& log = main.GetItem(main.Add());
  log.ActionName = "Inbox - Mbox File";
  log.ItemType = stiMailSrcMbox;
  log.Level = 1;
  log.Processed = 12;
  log.FoldersList = {"Inbox=/home/ana/Mail/inbox.mbox",
                     "Archive=/home/ana/Mail/archives/customers/north-region/2023/second-half/"
                     "invoices-and-receipts.mbox"};
  log.AddErrorFull("File open error", "Opening the folder", "", "Spam", "", "", 0);
}

void AddFilters(TKwMainLog& main) {
  TKwActionLog& filter = main.GetItem(main.Add());
  filter.ActionName = "Only invoices - Mail Filter";
  filter.ItemType = stiMailPasFilter;
  filter.Level = 2;
  filter.Processed = 12;
  filter.FilteredTrue = 7;
  filter.FilteredFalse = 5;
  filter.Notes = {"Condition: the subject contains \"invoice\" or the sender's domain is one of the "
                  "customers' domains listed in the address book"};
  TKwActionLog& images = main.GetItem(main.Add());
  images.ActionName = "Images - Images Downloader";
  images.ItemType = stiMailPasImagesDownloader;
  images.Level = 3;
  images.Processed = 7;
  images.Downloaded = 4;
}

void AddTarget(TKwMainLog& main) {
  TKwActionLog& log = main.GetItem(main.Add());
  log.ActionName = "Save invoices - Single Files";
  log.ItemType = stiMailTarSingleFiles;
  log.Level = 3;
  log.Processed = 7;
  log.Saved = 4;
  log.Overwritten = 1;
  log.Renamed = 1;
  log.Skipped = 1;
  log.Pages = 9;
  log.FoldersList = {"Inbox=/srv/invoices/Inbox"};
  const TDateTime date = EncodeDateTime(2024, 1, 15, 9, 30, 5);
  // No description: that line is left out, the date is always there.
  log.AddErrorFull("Cannot create file: the name is longer than the file system allows for a single "
                   "component of a path",
                   "", "/srv/invoices/Inbox/" + std::string(90, 'x') + ".eml", "Inbox",
                   "billing@example.com", "Invoice 2024-0117", date);
  int i = log.AddError();
  log.GetError(i).Description = "Saving";
  log.GetError(i).Error = "Disk full";
  log.GetError(i).SourceFilename = "/home/ana/Mail/inbox.mbox";
  log.GetError(i).SubmitDate = date;
  log.AddMessageStatusFull(ssSaved, "billing@example.com", "Invoice 2024-0115", date);
  log.AddMessageStatusFull(ssRenamed, "José Müller <jose@example.es>",
                           "Re: Fwd: Factura pendiente de pago — por favor revise los importes adjuntos "
                           "y confirme la recepción",
                           date + 1);
  log.AddMessageStatusFull(ssSkipped, "", "", 0);
}

// A job with a source, a filter (and an images downloader under it) and a target, plus an
// action that never ran (no name: left out of the report).
void FillJob(TKwMainLog& main) {
  main.JobName = "Nightly invoices";
  main.JobDescription = "Collects the invoices that customers send to the billing mailbox, saves "
                        "each one as a message file and keeps a copy of every image they link to.";
  main.StartTime = kStart;
  main.EndTime = kStart + 3725 / kSecondsPerDay;
  main.Add();
  AddSource(main);
  AddFilters(main);
  AddTarget(main);
}

// Writes a report file of kJobId (or another id) for the given day of January 2024.
fs::path WriteReport(const std::string& jobId, int day) {
  fs::path name = GetLogFileName(jobId, EncodeDateTime(2024, 1, day, 8, 0, 0));
  WriteFileText(name, "report " + std::to_string(day) + "\n");
  return name;
}

class TKwMainLogTest : public ::testing::Test {
 protected:
  TTempHome FHome;
};

}  // namespace

// ---------------------------------------------------------------- the report

TEST_F(TKwMainLogTest, ReportMatchesTheGoldenFileLineByLine) {
  TKwMainLog main;
  FillJob(main);
  TStringList lines;
  main.GenerateReport(lines);
  for (const std::string& line : lines) EXPECT_LE(Width(line), kReportWidth) << line;

  fs::path golden = fs::path(QUILLON_TEST_DATA) / "reports" / "job_report.txt";
  if (std::getenv("QUILLON_REGEN_GOLDEN")) {
    fs::create_directories(golden.parent_path());
    std::string error;
    ASSERT_TRUE(SaveListRetry(lines, golden.string(), error)) << error;
    GTEST_SKIP() << "golden file written: " << golden;
  }
  TStringList expected = SplitLines(ReadFileText(golden));
  ASSERT_FALSE(expected.empty()) << "missing golden file " << golden;
  for (size_t i = 0; i < std::min(lines.size(), expected.size()); ++i)
    EXPECT_EQ(lines[i], expected[i]) << "line " << i + 1;
  EXPECT_EQ(lines.size(), expected.size());
}

TEST_F(TKwMainLogTest, SaveToFileWritesTheReportAndRemovesNothingElse) {
  TKwMainLog main;
  FillJob(main);
  std::string name = GetLogFileName(kJobId, main.EndTime);
  std::string error;
  ASSERT_TRUE(main.SaveToFile(name, error)) << error;
  TStringList lines;
  main.GenerateReport(lines);
  EXPECT_EQ(SplitLines(ReadFileText(name)), lines);
  EXPECT_EQ(GetLatestLog(kJobId), name);
}

TEST_F(TKwMainLogTest, SetItemCopiesIntoTheExistingEntry) {
  TKwMainLog main;
  int index = main.Add();
  TKwActionLog* entry = &main.GetItem(index);
  TKwActionLog log;
  log.ActionName = "Copy";
  log.AddErrorFull("e", "", "", "", "", "", 0);
  main.SetItem(index, log);
  log.Clear();
  EXPECT_EQ(&main.GetItem(index), entry);
  EXPECT_EQ(entry->ActionName, "Copy");
  EXPECT_EQ(entry->ErrorsCount(), 1);
}

TEST_F(TKwMainLogTest, RunTimeIsWholeSecondsWithHoursOfAnyLength) {
  TKwMainLog main;
  main.StartTime = kStart;
  main.EndTime = kStart + 3725 / kSecondsPerDay;
  EXPECT_EQ(main.GetRunTime(), "01:02:05");
  main.EndTime = kStart + (123 * 3600 + 7) / kSecondsPerDay;
  EXPECT_EQ(main.GetRunTime(), "123:00:07");
  main.StartTime = EncodeDateTime(2024, 1, 31, 10, 0, 0, 400);
  main.EndTime = EncodeDateTime(2024, 1, 31, 10, 0, 1, 300);
  EXPECT_EQ(main.GetRunTime(), "00:00:00");
  main.EndTime = main.StartTime;
  EXPECT_EQ(main.GetRunTime(), "00:00:00");
}

TEST_F(TKwMainLogTest, WrappingHangsContinuationLinesUnderTheLabel) {
  TStringList lines;
  WrapLabelledText(lines, "  ", "* Subject:      ",
                   "one two three four five six seven eight nine ten eleven twelve thirteen fourteen");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "  * Subject:      one two three four five six seven eight nine ten eleven twelve");
  EXPECT_EQ(lines[1], "                  thirteen fourteen");
}

TEST_F(TKwMainLogTest, WordLongerThanALineIsCutAtTheWidth) {
  TStringList lines;
  std::string word = std::string(100, 'a') + "é" + std::string(100, 'b');
  WrapLabelledText(lines, "", "Job: ", "x " + word);
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0], "Job: x");
  EXPECT_EQ(lines[1], "     " + std::string(75, 'a'));
  EXPECT_EQ(lines[2], "     " + std::string(25, 'a') + "é" + std::string(49, 'b'));
  EXPECT_EQ(lines[3], "     " + std::string(51, 'b'));
}

TEST_F(TKwMainLogTest, LineBreaksInAValueStartNewHangingLines) {
  TStringList lines;
  WrapLabelledText(lines, "", "* Error:        ", "first\r\nsecond\rthird\n");
  EXPECT_EQ(lines, (TStringList{"* Error:        first", "                second", "                third"}));
}

// ---------------------------------------------------------------- report files

TEST_F(TKwMainLogTest, SixteenthReportOfAJobDeletesTheOldest) {
  std::vector<fs::path> reports;
  for (int day = 1; day <= 16; ++day) reports.push_back(WriteReport(kJobId, day));
  fs::path other = WriteReport(kOtherJobId, 1);
  fs::path foreign = fs::path(GetExtractLogsFolder()) / "notes.txt";
  WriteFileText(foreign, "not a report");

  TStringList list;
  FillLogsList(list, kJobId);
  ASSERT_EQ(list.size(), 15u);
  EXPECT_EQ(list.front(), reports[1].string());
  EXPECT_EQ(list.back(), reports[15].string());
  EXPECT_FALSE(fs::exists(reports[0]));
  EXPECT_TRUE(fs::exists(other));
  EXPECT_TRUE(fs::exists(foreign));
  EXPECT_EQ(GetLatestLog(kJobId), reports[15].string());
}

TEST_F(TKwMainLogTest, JobLogsAreListedByDateOldestFirst) {
  WriteReport(kJobId, 3);
  fs::path newest = WriteReport(kJobId, 20);
  WriteReport(kOtherJobId, 25);
  TStringList items;
  LoadJobLogs(kJobId, items);
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].substr(0, items[0].find('=')), "01/03/24 08:00:00");
  EXPECT_EQ(items[1], "01/20/24 08:00:00=" + newest.string());
}

TEST_F(TKwMainLogTest, LogNameGivesBackJobIdAndDate) {
  fs::path name = WriteReport(kJobId, 31);
  std::string jobId;
  TDateTime date;
  ASSERT_TRUE(GetJobIdAndDateFromLogName(name.string(), jobId, date));
  EXPECT_EQ(jobId, kJobId);
  EXPECT_EQ(date, EncodeDateTime(2024, 1, 31, 8, 0, 0));
  EXPECT_EQ(name.filename().string(), kJobId + "20240131_080000.txt");
}

TEST_F(TKwMainLogTest, JobIdIsReadFromATrailerOrFromTheOlderForm) {
  TTempDir dir;
  std::string base64 = EncodeBase64Lines(std::string(200, '\x01'));
  std::string trailer(808, '\0');
  trailer[0] = static_cast<char>(kJobId.size());
  trailer.replace(1, kJobId.size(), kJobId);
  WriteFileText(dir / "new.job", base64 + trailer);
  WriteFileText(dir / "old.job", base64 + kJobId);
  WriteFileText(dir / "plain.qaf", base64);
  EXPECT_EQ(ReadJobIdFromExtractJobFile((dir / "new.job").string()), kJobId);
  EXPECT_EQ(ReadJobIdFromExtractJobFile((dir / "old.job").string()), kJobId);
  EXPECT_EQ(ReadJobIdFromExtractJobFile((dir / "plain.qaf").string()), "");
  EXPECT_EQ(ReadJobIdFromExtractJobFile((dir / "missing.job").string()), "");
}

// ---------------------------------------------------------------- gathering a tree's logs

TEST_F(TKwMainLogTest, TreeLogsAreGatheredParentsFirstWithTheirDepth) {
  auto job = CreateNewAction(stiJob);
  TKwActionBase& source = job->GetChild(job->AddChild(stiMailSrcMbox));
  TKwActionBase& filter = source.GetChild(source.AddChild(stiMailPasFilter));
  TKwActionBase& branch = filter.GetChild(filter.AddChild(stiMailPasFilterTrue));
  branch.GetChild(branch.AddChild(stiMailTarSingleFiles)).GetLog().ActionName = "target";
  TKwActionBase& off = branch.GetChild(branch.AddChild(stiMailTarMbox));
  off.Enabled = false;
  off.GetChild(off.AddChild(stiMailTarMbox));  // below a disabled action: not gathered
  job->GetLog().ActionName = "job";
  source.GetLog().ActionName = "source";
  filter.GetLog().ActionName = "filter";
  branch.GetLog().ActionName = "branch";

  TKwMainLog all;
  TKwActionBase::AddChildActionsToMainLog(all, *job);
  ASSERT_EQ(all.GetCount(), 5);
  const char* names[] = {"job", "source", "filter", "branch", "target"};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(all.GetItem(i).ActionName, names[i]);
    EXPECT_EQ(all.GetItem(i).Level, i);
  }

  TKwMainLog below;
  TKwActionBase::AddChildActionsToMainLog2(below, filter);
  ASSERT_EQ(below.GetCount(), 2);
  EXPECT_EQ(below.GetItem(0).ActionName, "branch");
  EXPECT_EQ(below.GetItem(0).Level, 3);
  EXPECT_EQ(below.GetItem(1).Level, 4);
}

// ---------------------------------------------------------------- error paths

TEST_F(TKwMainLogTest, ForeignNamesAreNotReportNames) {
  TTempDir dir;
  for (const char* name : {"notes.txt", "}20240131_080000.txt", "{ID}notadate.txt", "{ID}20241341_080000.txt",
                           "{ID}18991229_235959.txt", "{ID}.txt", "{ID}2024013_08000.txt"}) {
    WriteFileText(dir / name, "");
    std::string jobId = "unchanged";
    TDateTime date = 1;
    EXPECT_FALSE(GetJobIdAndDateFromLogName((dir / name).string(), jobId, date)) << name;
    EXPECT_EQ(jobId, "") << name;
  }
  std::string jobId;
  TDateTime date;
  EXPECT_FALSE(GetJobIdAndDateFromLogName((dir / "{ID}20240131_080000.txt").string(), jobId, date));
  EXPECT_FALSE(GetJobIdAndDateFromLogName("", jobId, date));
}

TEST_F(TKwMainLogTest, NoReportsGiveEmptyListsAndNoLatest) {
  TStringList list{"stale"};
  FillLogsList(list, kJobId);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(GetLatestLog(kJobId), "");
  fs::remove_all(GetExtractLogsFolder());
  EXPECT_EQ(GetLatestLog(kJobId), "");
}

TEST_F(TKwMainLogTest, SavingIntoAMissingFolderFailsWithAReason) {
  TKwMainLog main;
  FillJob(main);
  std::string error;
  EXPECT_FALSE(main.SaveToFile((fs::path(FHome.Path()) / "missing" / "r.txt").string(), error));
  EXPECT_NE(error.find("Cannot write file"), std::string::npos);
}

// The single-files source over real folders of message files, and the whole tree that
// sorts bounces: single-files source -> bounced-mail filter -> True: single-files target,
// False: mbox target.

#include "uKwSourceSingleFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include <nlohmann/json.hpp>

#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwMailMessage.h"
#include "uKwMbox.h"
#include "uKwMsgWriter.h"
#include "uKwParameters.h"
#include "uKwTargetFilters.h"
#include "uKwTargetMbox.h"
#include "uKwTargetSingleFiles.h"
#include "uKwValidEmailFormat.h"

namespace fs = std::filesystem;

namespace {

const fs::path kData(QUILLON_TEST_DATA);

std::string Mail(const std::string& subject) {
  return "From: ann@example.org\nTo: bob@example.com\nSubject: " + subject +
         "\nDate: Mon, 15 Jan 2024 10:00:00 +0000\nMessage-ID: <" + subject + "@example.org>\n\nHello\n";
}

// A target that keeps the subjects it was handed.
class TSubjectsTarget : public TKwTargetMailBase {
 public:
  explicit TSubjectsTarget(std::vector<std::string>& subjects) : FSubjects(subjects) {}
  std::string_view ClassName() const override { return "TSubjectsTarget"; }
  void ProcessMessage(TKwMailMessage& message) override {
    TKwTargetMailBase::ProcessMessage(message);
    FSubjects.push_back(message.Headers->Subject);
  }

 private:
  std::vector<std::string>& FSubjects;
};

class SingleFilesSourceTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TKwGlobalOptions FGlobal;
  std::vector<std::string> FSubjects;

  fs::path Root() const { return FHome / "mail"; }

  std::unique_ptr<TKwSourceMailSingleFiles> Source() {
    auto source = std::make_unique<TKwSourceMailSingleFiles>();
    source->ItemType = stiMailSrcSingleFiles;
    source->Caption = "Single Files";
    source->Name = "Files";
    source->GlobalOptions = &FGlobal;
    source->SourceOptions->Folder = Root().string();
    return source;
  }
  void AddRecorder(TKwActionBase& parent) {
    parent.AddChild(stiMailTarMbox);
    parent.SetChild(parent.GetChildCount() - 1, std::make_unique<TSubjectsTarget>(FSubjects));
  }
  void Write(const fs::path& relative, const std::string& text) {
    fs::create_directories((Root() / relative).parent_path());
    WriteFileText(Root() / relative, text);
  }
  std::vector<std::string> FolderNames(TKwSourceMailSingleFiles& source) {
    std::vector<std::string> names;
    for (TKwFolderNode* node : source.SourceFolders->Nodes()) names.push_back(TKwFoldersTree::StorePath(*node));
    return names;
  }
};

}  // namespace

TEST_F(SingleFilesSourceTest, EverySubdirectoryIsAFolderEvenWithoutMessages) {
  Write("a.eml", Mail("top"));
  fs::create_directories(Root() / "empty");
  Write("inbox/2024/b.eml", Mail("deep"));
  auto source = Source();
  std::vector<std::string> added;
  source->OnStatus = [&](TKwActionBase&, const std::string& what, const std::string& path) {
    if (what == "Adding folder") added.push_back(path);
  };
  ASSERT_TRUE(source->LoadFolders());
  std::vector<std::string> names = FolderNames(*source);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"mail", "mail/empty", "mail/inbox", "mail/inbox/2024"}));
  EXPECT_EQ(added.size(), 3u);

  AddRecorder(*source);
  source->Execute();
  EXPECT_EQ(source->GetLog().ErrorsCount(), 0);
  std::sort(FSubjects.begin(), FSubjects.end());
  EXPECT_EQ(FSubjects, (std::vector<std::string>{"deep", "top"}));
  const TStringList& counts = source->GetLog().FoldersList;
  EXPECT_NE(std::find(counts.begin(), counts.end(), (Root() / "empty").string() + "=0"), counts.end());
  EXPECT_NE(std::find(counts.begin(), counts.end(), (Root() / "inbox/2024").string() + "=1"), counts.end());
}

TEST_F(SingleFilesSourceTest, LinksThatLoopBackGiveEachDirectoryOnce) {
  Write("inbox/a.eml", Mail("a"));
  fs::create_directory_symlink(Root(), Root() / "inbox" / "back-to-top");
  fs::create_directory_symlink(Root() / "inbox", Root() / "inbox-link");
  auto source = Source();
  ASSERT_TRUE(source->LoadFolders());
  EXPECT_EQ(source->SourceFolders->Count(), 2) << "the root and inbox; both links lead where the walk has been";
  AddRecorder(*source);
  source->Execute();
  EXPECT_EQ(FSubjects, (std::vector<std::string>{"a"}));
}

TEST_F(SingleFilesSourceTest, OnlyAcceptedFilesAreCountedAndWalked) {
  Write("one.eml", Mail("one"));
  Write(".hidden.eml", Mail("hidden"));
  Write("notes.txt", "not mail");
  Write("scan.pdf", "%PDF-1.4 no unique id in the name");
  Write("archive.zip", "PK no unique id either");
  auto source = Source();
  AddRecorder(*source);
  source->Execute();
  std::sort(FSubjects.begin(), FSubjects.end());
  EXPECT_EQ(FSubjects, (std::vector<std::string>{"hidden", "one"}));
  EXPECT_EQ(source->GetLog().FoldersList, (TStringList{Root().string() + "=2"}));
  EXPECT_EQ(source->GetLog().Processed, 2);
}

TEST_F(SingleFilesSourceTest, RangeCountsPositionsAmongMessageFilesOnly) {
  for (int i = 1; i <= 5; ++i) {
    Write("m" + std::to_string(i) + ".eml", Mail("m" + std::to_string(i)));
    Write("x" + std::to_string(i) + ".txt", "noise");
  }
  const std::vector<std::string> order = ListMessageFiles(Root().string());
  ASSERT_EQ(order.size(), 5u);
  auto source = Source();
  source->Filters->Range->Enabled = true;
  source->Filters->Range->Start = 2;
  source->Filters->Range->Range = 2;
  AddRecorder(*source);
  source->Execute();
  // Positions 2 and 3 of the listing, whatever the file system's order.
  const auto subjectOf = [](const std::string& path) { return fs::path(path).stem().string(); };
  EXPECT_EQ(FSubjects, (std::vector<std::string>{subjectOf(order[1]), subjectOf(order[2])}));
}

TEST_F(SingleFilesSourceTest, MsgFilesAreReadAndADamagedOneFailsWithAClearErrorAndTheRunGoesOn) {
  Write("first.eml", Mail("first"));
  Write("outlook.msg", std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8));
  Write("last.eml", Mail("last"));
  TKwMailMessage written;
  written.LoadMIMEFromString(Mail("from outlook"));
  std::string writeError;
  ASSERT_TRUE(WriteMsgFile(written, (Root() / "good.msg").string(), writeError)) << writeError;
  auto source = Source();
  AddRecorder(*source);
  source->Execute();
  EXPECT_EQ(FSubjects.size(), 3u);
  EXPECT_NE(std::find(FSubjects.begin(), FSubjects.end(), "from outlook"), FSubjects.end());
  ASSERT_EQ(source->GetLog().ErrorsCount(), 1);
  const TKwActionError& error = source->GetLog().GetError(0);
  EXPECT_EQ(error.Error, "Couldn't load message.");
  EXPECT_EQ(error.Description.rfind("Index: ", 0), 0u) << error.Description;
  EXPECT_NE(error.Description.find("Not a compound file"), std::string::npos) << error.Description;
  EXPECT_EQ(error.SourceFilename, (Root() / "outlook.msg").string());
  EXPECT_EQ(source->GetLog().Processed, 4) << "the failed file counts as handled";
}

// Files named by the default scheme carry no unique id: the header block gives it, so the
// processed-message log skips them on the next run, and the mail filter sees their sender.
TEST_F(SingleFilesSourceTest, HeaderBlocksGiveTheLogAndTheFilterWhatTheNamesDoNot) {
  Write("20240115_100000 (ann@example.org) one.eml", Mail("one"));
  Write("20240115_100000 (ann@example.org) two.eml", Mail("two"));
  Write("bob.eml", "From: bob@example.com\nSubject: three\nMessage-ID: <3@x>\n\nHi\n");
  auto source = Source();
  source->SourceOptions->CopyToSourceLog = true;
  source->Filters->Mail->Enabled = true;
  source->Filters->Mail->From = "ann@";
  AddRecorder(*source);
  source->Execute();
  std::sort(FSubjects.begin(), FSubjects.end());
  EXPECT_EQ(FSubjects, (std::vector<std::string>{"one", "two"}));

  FSubjects.clear();
  source->SourceFolders->Clear();
  source->Execute();
  EXPECT_TRUE(FSubjects.empty()) << "the second run hands on nothing";
  EXPECT_EQ(source->GetLog().Processed, 0);
}

TEST_F(SingleFilesSourceTest, AMissingRootFailsToInitialise) {
  auto source = Source();
  source->SourceOptions->Folder = (FHome / "no-such-folder").string();
  AddRecorder(*source);
  source->Execute();
  ASSERT_EQ(source->GetLog().ErrorsCount(), 1);
  EXPECT_EQ(source->GetLog().GetError(0).Error, "Couldn't initialize source");
  EXPECT_TRUE(FSubjects.empty());

  source->SourceOptions->Folder.clear();
  EXPECT_FALSE(source->InitializeExtraction());
  EXPECT_FALSE(source->LoadFolders());
}

TEST_F(SingleFilesSourceTest, DownloadMessageLoadsTheFileNamedById) {
  Write("x.eml", Mail("by id"));
  auto source = Source();
  TKwMailMessage message;
  EXPECT_TRUE(source->DownloadMessage((Root() / "x.eml").string(), message));
  EXPECT_EQ(message.Headers->Subject, "by id");
  EXPECT_FALSE(source->DownloadMessage((Root() / "missing.eml").string(), message));
}

// ---------------------------------------------------------------- sorting bounces

// A folder of mixed mail: every bounce of the corpus that is a hard or soft bounce goes to
// bounced/, everything else (read receipts, auto-replies, ordinary mail, unclassified
// reports) to the mbox file; the report shows the filter's two counts.
TEST_F(SingleFilesSourceTest, BouncedMailFilterSortsAMixedFolder) {
  const fs::path bounces = kData / "bounces";
  const nlohmann::json expected = nlohmann::json::parse(ReadFileText(bounces / "expected.json"));
  int hardOrSoft = 0, other = 0;
  for (const auto& [name, want] : expected.items()) {
    fs::create_directories(Root() / "reports");
    fs::copy_file(bounces / name, Root() / "reports" / name);
    want["bounce"].get<bool>() ? ++hardOrSoft : ++other;
  }
  for (const char* name : {"01-plain-ascii.eml", "02-alternative.eml", "05-rfc822-attached.eml", "31-html-only.eml"}) {
    fs::copy_file(kData / "messages" / name, Root() / name);
    ++other;
  }

  auto source = Source();
  auto& filter = static_cast<TKwTargetMailFiltersBounce&>(source->GetChild(source->AddChild(stiMailPasBounceFilter)));
  filter.Name = "Bounces";
  TKwActionBase& onTrue = filter.GetChild(filter.AddChild(stiMailPasFilterTrue));
  TKwActionBase& onFalse = filter.GetChild(filter.AddChild(stiMailPasFilterFalse));
  auto& files = static_cast<TKwTargetMailSingleFiles&>(onTrue.GetChild(onTrue.AddChild(stiMailTarSingleFiles)));
  files.Options->TargetFolder = (FHome / "out" / "bounced").string();
  auto& mbox = static_cast<TKwTargetMailMbox&>(onFalse.GetChild(onFalse.AddChild(stiMailTarMbox)));
  mbox.TargetFilename = (FHome / "out" / "other.mbox").string();

  source->Execute();
  EXPECT_EQ(source->GetLog().ErrorsCount(), 0);
  EXPECT_EQ(mbox.GetLog().ErrorsCount(), 0) << (mbox.GetLog().ErrorsCount() ? mbox.GetLog().GetError(0).Error : "");
  EXPECT_EQ(mbox.GetLog().Processed, other);
  EXPECT_EQ(filter.GetLog().FilteredTrue, hardOrSoft);
  EXPECT_EQ(filter.GetLog().FilteredFalse, other);

  int written = 0;
  for (const auto& entry : fs::recursive_directory_iterator(FHome / "out" / "bounced")) {
    if (!entry.is_regular_file()) continue;
    ++written;
    TKwMailMessage message;
    ASSERT_TRUE(message.LoadFormat(entry.path().string()));
    EXPECT_FALSE(message.ColumnFieldToDataString(cfBounceType).empty()) << entry.path();
  }
  EXPECT_EQ(written, hardOrSoft);
  TKwMbox reader(mbfMboxrd);
  std::string error;
  ASSERT_TRUE(reader.LoadFromFile((FHome / "out" / "other.mbox").string(), mbmRead, error)) << error;
  EXPECT_EQ(reader.Count(), other);

  TKwMainLog mainLog;
  TKwActionBase::AddChildActionsToMainLog(mainLog, *source);
  TStringList report;
  mainLog.GenerateReport(report);
  const std::string counts =
      "FilteredTrue: " + std::to_string(hardOrSoft) + " - FilteredFalse: " + std::to_string(other);
  EXPECT_NE(std::find_if(report.begin(), report.end(),
                         [&](const std::string& line) { return line.find(counts) != std::string::npos; }),
            report.end())
      << "the report shows the filter's counts";
}

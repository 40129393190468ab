#include "uKwTargetBase.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwTargetFolders.h"
#include "uKwTargetMailFolder.h"
#include "uKwTargets.h"
#include "uKwVariables.h"

namespace {

using TJournal = std::vector<std::string>;

// A target that writes down each call it receives, after the base has done its part.
class TRecordingTarget : public TKwTargetMailBase {
 public:
  explicit TRecordingTarget(TJournal& journal) : FJournal(journal) {}
  std::string_view ClassName() const override { return "TRecordingTarget"; }
  void InitializeExtractProcess(TKwFoldersTree& folders) override {
    TKwTargetMailBase::InitializeExtractProcess(folders);
    Note("start");
  }
  void InitializeFolder(const TKwFolderInfo& folder) override {
    TKwTargetMailBase::InitializeFolder(folder);
    Note("folder " + FolderInfo().FolderName);
  }
  void ProcessMessage(TKwMailMessage& message) override {
    TKwTargetMailBase::ProcessMessage(message);
    Note("message " + MailMessage().Headers->Subject);
  }
  void FinalizeFolder() override {
    TKwTargetMailBase::FinalizeFolder();
    Note("end folder");
  }
  void FinalizeExtractProcess() override {
    TKwTargetMailBase::FinalizeExtractProcess();
    Note("end");
  }

 private:
  void Note(const std::string& what) { FJournal.push_back(Name + ": " + what); }
  TJournal& FJournal;
};

// A source stand-in: owns the variables lists and drives the five calls on one target.
struct TFakeSource {
  TKwVariablesList EmailParts, Fields;
  TKwFoldersTree Folders;

  TFakeSource() {
    Folders.AddChild(nullptr).Info().FolderName = "Inbox";
    Folders.AddChild(nullptr).Info().FolderName = "Sent";
  }
  void Run(TKwTargetBase& target, const std::vector<std::string>& subjects) {
    target.EmailParts = &EmailParts;
    target.Fields = &Fields;
    target.InitializeExtractProcess(Folders);
    Folders.ForEach([&](TKwFolderNode& node) {
      target.InitializeFolder(node.Info());
      for (const std::string& subject : subjects) {
        TKwMailMessage message;
        message.Headers->LoadHeadersFromString("From: Ann <ann@example.org>\r\nSubject: " + subject +
                                               "\r\nMessage-ID: <1@x>\r\n");
        message.FolderName = node.Info().FolderName;
        target.ProcessMessage(message);
      }
      target.FinalizeFolder();
    });
    target.FinalizeExtractProcess();
  }
};

class TKwTargetBaseTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TJournal FJournal;

  TRecordingTarget& AddRecorder(TKwActionBase& parent, const std::string& name) {
    auto recorder = std::make_unique<TRecordingTarget>(FJournal);
    recorder->Name = name;
    parent.AddChild(stiMailTarSingleFiles);  // a slot, replaced by the recorder
    recorder->Caption = parent.GetChild(parent.GetChildCount() - 1).Caption;
    recorder->ItemType = stiMailTarSingleFiles;
    auto& ref = *recorder;
    parent.SetChild(parent.GetChildCount() - 1, std::move(recorder));
    return ref;
  }
};

}  // namespace

TEST_F(TKwTargetBaseTest, APassFeedsEveryEnabledChildTheFiveCallsInOrder) {
  TKwTargetMailFolder pass;
  pass.Name = "pass";
  AddRecorder(pass, "A");
  AddRecorder(pass, "off").Enabled = false;
  AddRecorder(pass, "B");
  TFakeSource source;
  source.Run(pass, {"one", "two"});
  TJournal expected = {"A: start", "B: start"};
  for (std::string folder : {"Inbox", "Sent"}) {
    expected.insert(expected.end(), {"A: folder " + folder, "B: folder " + folder, "A: message one",
                                     "B: message one", "A: message two", "B: message two",
                                     "A: end folder", "B: end folder"});
  }
  expected.insert(expected.end(), {"A: end", "B: end"});
  EXPECT_EQ(FJournal, expected);
  EXPECT_EQ(pass.GetLog().Processed, 4);
  EXPECT_EQ(pass.GetChild(0).GetLog().Processed, 4);
  EXPECT_EQ(pass.GetChild(1).GetLog().Processed, 0);
}

TEST_F(TKwTargetBaseTest, EmailPartsHoldThe30ColumnsSharedDownTheChain) {
  TKwTargetMailFolder pass;
  TRecordingTarget& child = AddRecorder(pass, "A");
  TFakeSource source;
  source.Run(pass, {"Quarterly report"});
  ASSERT_EQ(child.EmailParts, &source.EmailParts);
  ASSERT_EQ(source.EmailParts.Count(), 30);
  EXPECT_EQ(source.EmailParts.Items(5).Name, "ToComma");
  EXPECT_EQ(source.EmailParts.Items(0).VariableType, vtDateTime);
  EXPECT_EQ(source.EmailParts.Items(29).ColumnField, cfLastSavedFile);
  // The child filled the shared list last, with the message it copied.
  EXPECT_EQ(source.EmailParts.Items(cfSubject).Value, "Quarterly report");
  EXPECT_EQ(source.EmailParts.Items(cfFromAddress).Value, "ann@example.org");
  EXPECT_EQ(source.EmailParts.Items(cfFolderName).Value, "Sent");
  EXPECT_EQ(child.MailMessage().FolderName, "Sent");
}

TEST_F(TKwTargetBaseTest, ANewFolderClosesTheOpenOneFirstAndAbortStopsAllButFinalising) {
  TKwTargetMailFolder pass;
  TRecordingTarget& a = AddRecorder(pass, "A");
  AddRecorder(pass, "B");
  TKwFolderInfo first, second;
  first.FolderName = "1";
  second.FolderName = "2";
  pass.InitializeFolder(first);
  pass.InitializeFolder(second);
  EXPECT_EQ(FJournal, (TJournal{"A: folder 1", "B: folder 1", "A: end folder", "B: end folder",
                                "A: folder 2", "B: folder 2"}));
  FJournal.clear();
  a.Abort();
  pass.Abort();
  pass.ProcessMessage(a.MailMessage());
  EXPECT_TRUE(FJournal.empty()) << "no message after an abort";
  pass.FinalizeExtractProcess();
  EXPECT_EQ(FJournal, (TJournal{"A: end folder", "B: end folder", "A: end", "B: end"}))
      << "finalising calls still close what was opened";
  EXPECT_FALSE(pass.IsFolderOpen());
}

TEST_F(TKwTargetBaseTest, FoldersTargetRecreatesTheSourceTreeOnDisk) {
  TTempDir out;
  TKwTargetMailFolders target;
  target.TargetFolder = out.Path().string();
  TKwFoldersTree tree;
  TKwFolderNode* inbox = &tree.AddChild(nullptr);
  inbox->Info().FolderName = "Inbox";
  TKwFolderNode* sub = &tree.AddChild(inbox);
  sub->Info().FolderName = "Q1: reports";
  TKwFolderNode* climb = &tree.AddChild(inbox);
  climb->Info().FolderName = "..";
  target.InitializeExtractProcess(tree);
  target.InitializeFolder(sub->Info());
  target.InitializeFolder(climb->Info());
  EXPECT_TRUE(std::filesystem::is_directory(out / "Inbox/Q1_ reports"));
  EXPECT_TRUE(std::filesystem::is_directory(out / "Inbox/_")) << "a folder named .. stays inside";
  EXPECT_EQ(target.GetLog().ErrorsCount(), 0);
}

// ---- error paths

TEST_F(TKwTargetBaseTest, FoldersTargetReportsAFolderItCannotCreate) {
  TTempDir out;
  WriteFileText(out / "Inbox", "a file where the folder should go");
  TKwTargetMailFolders target;
  target.TargetFolder = out.Path().string();
  TKwFoldersTree tree;
  tree.AddChild(nullptr).Info().FolderName = "Inbox";
  target.InitializeExtractProcess(tree);
  tree.ForEach([&](TKwFolderNode& node) { target.InitializeFolder(node.Info()); });
  ASSERT_EQ(target.GetLog().ErrorsCount(), 1);
  EXPECT_EQ(target.GetLog().GetError(0).Error, "Could not create folder on disk");
  EXPECT_EQ(target.GetLog().GetError(0).TargetName, (out / "Inbox/").string());
  EXPECT_EQ(target.GetSaveStatus(), ssError);
}

TEST_F(TKwTargetBaseTest, TargetsThisBuildCannotRunReportOnceAndIgnoreMessages) {
  TKwTargetMailFolder pass;
  pass.AddChild(stiMailTarPrinter);
  TFakeSource source;
  source.Run(pass, {"x"});
  TKwActionLog& log = pass.GetChild(0).GetLog();
  ASSERT_EQ(log.ErrorsCount(), 1);
  EXPECT_EQ(log.GetError(0).Error, "Batch Printer is not available in this build");
  EXPECT_EQ(log.Processed, 0);
}

TEST_F(TKwTargetBaseTest, ASmallRunRendersItsReportWithCountersFoldersErrorsAndStatuses) {
  auto job = CreateNewAction(stiJob);
  job->Name = "Small run";
  TKwActionBase& sourceSlot = job->GetChild(job->AddChild(stiMailSrcMbox));
  sourceSlot.Name = "Mailbox";
  auto& pass = static_cast<TKwTargetMailFolder&>(sourceSlot.GetChild(sourceSlot.AddChild(stiMailPasTargetsFolder)));
  pass.Name = "Both";
  TRecordingTarget& a = AddRecorder(pass, "A");
  AddRecorder(pass, "B");
  TFakeSource source;
  source.Run(pass, {"one", "two"});
  a.GetLog().FoldersList = {"Inbox: /out/Inbox", "Sent: /out/Sent"};
  a.GetLog().IncSaved();
  a.GetLog().AddMessageStatusFull(ssSaved, "ann@example.org", "one", 0);
  a.GetLog().AddErrorFull("Disk full", "Saving", "/out/Sent/two.eml", "Sent", "ann@example.org", "two", 0);

  TKwMainLog mainLog;
  mainLog.JobName = job->Name;
  TKwActionBase::AddChildActionsToMainLog(mainLog, *job);
  TStringList report;
  mainLog.GenerateReport(report);
  std::string text;
  for (const std::string& line : report) {
    EXPECT_LE(line.size(), 80u) << line;
    text += line + "\n";
  }
  for (const char* expected : {"Job: Small run", "Action: Both - Folder (Pass)", "Action: A - Local Files",
                               "Processed: 4 - Errors: 1", "Inbox: /out/Inbox", "Disk full",
                               "/out/Sent/two.eml", "Saved"})
    EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n" << text;
  EXPECT_EQ(mainLog.TotalProcessed(), 12);
  EXPECT_EQ(mainLog.TotalErrors(), 1);
}

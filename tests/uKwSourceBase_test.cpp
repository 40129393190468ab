// The extraction loop that every mail source inherits, driven by a source that serves its
// items from memory, so that each step of the per-item sequence can be watched: filters,
// processed-message log, duplicates in the targets, loading, targets, counting.

#include "uKwSourceBase.h"

#include <gtest/gtest.h>

#include <set>

#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwMailMessage.h"
#include "uKwParameters.h"
#include "uKwTargetBase.h"
#include "uKwTargetMailEmailParts.h"
#include "uKwTargetSingleFiles.h"

namespace {

std::string Mail(const std::string& from, const std::string& subject) {
  return "From: " + from + "\r\nTo: team@example.com\r\nSubject: " + subject +
         "\r\nDate: Mon, 15 Jan 2024 10:00:00 +0000\r\nMessage-ID: <" + subject + "@example.org>\r\n\r\nHello\r\n";
}

// One folder of messages held as text; an empty text cannot be loaded. The items carry
// no filter data unless a test gives them some.
class TMemorySource : public TKwSourceMailBase {
 public:
  std::string_view ClassName() const override { return "TMemorySource"; }
  bool LoadFolders() override {
    SourceFolders->AddChild(nullptr).Info().FolderName = "Memory";
    return true;
  }
  bool Connect() override {
    ++Connects;
    return true;
  }
  void ProcessMailFolder(TKwFolderNode& folder) override {
    TKwSourceMailBase::ProcessMailFolder(folder);
    WalkFolderItems(folder, static_cast<int32_t>(Texts.size()), "memory", [&](int32_t number) {
      TKwMailItem item = Items.size() >= static_cast<size_t>(number) ? Items[number - 1] : TKwMailItem{};
      item.Index = number;
      item.Count = static_cast<int>(Texts.size());
      item.ItemId = std::to_string(number);
      ProcessMailItem(item, folder);
    });
  }
  bool DoLoadMailItem(const TKwMailItem& item, TKwMailMessage& message) override {
    ++Loads;
    const std::string& text = Texts[static_cast<size_t>(std::stoi(item.ItemId) - 1)];
    return !text.empty() && message.LoadMIMEFromString(text);
  }

  std::vector<std::string> Texts;
  std::vector<TKwMailItem> Items;  // filter data per item, by position
  int Connects = 0;
  int Loads = 0;
};

// Keeps the subjects it receives; can fail every message, hold every message, or abort
// the run after a number of messages.
class TRecordingTarget : public TKwTargetMailBase {
 public:
  std::string_view ClassName() const override { return "TRecordingTarget"; }
  void ProcessMessage(TKwMailMessage& message) override {
    TKwTargetMailBase::ProcessMessage(message);
    Subjects.push_back(message.Headers->Subject);
    if (Fails) Log->AddErrorFull("disk full", "Saving", Caption, "", "", message.Headers->Subject, 0);
    if (AbortAfter && static_cast<int>(Subjects.size()) == AbortAfter && Source) Source->Abort();
  }
  bool ExistMessage(const std::string& uniqueId) override { return Holds.count(uniqueId) > 0; }

  std::vector<std::string> Subjects;
  std::set<std::string> Holds;
  bool Fails = false;
  int AbortAfter = 0;
  TKwActionBase* Source = nullptr;  // not owned
};

class SourceLoopTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TKwGlobalOptions FGlobal;
  TMemorySource FSource;

  void SetUp() override {
    FSource.ItemType = stiMailSrcMbox;
    FSource.Caption = "Memory";
    FSource.GlobalOptions = &FGlobal;
    FSource.Texts = {Mail("ann@example.org", "one"), Mail("bob@example.com", "two"), Mail("cid@example.org", "three")};
  }
  TRecordingTarget& AddTarget() {
    FSource.AddChild(stiMailTarMbox);
    auto target = std::make_unique<TRecordingTarget>();
    target->Source = &FSource;
    TRecordingTarget& result = *target;
    FSource.SetChild(FSource.GetChildCount() - 1, std::move(target));
    return result;
  }
  void Run() {
    FSource.SourceFolders->Clear();
    FSource.Execute();
  }
  const TKwActionLog& Log() { return FSource.GetLog(); }
};

}  // namespace

TEST_F(SourceLoopTest, ASourceWithoutTargetsDoesNothingAfterItsStart) {
  Run();
  EXPECT_EQ(FSource.Connects, 0);
  EXPECT_EQ(FSource.Loads, 0);
  EXPECT_EQ(Log().Processed, 0);
}

TEST_F(SourceLoopTest, EveryMessageReachesTheTargetsInOrderAndIsCounted) {
  TRecordingTarget& target = AddTarget();
  std::vector<std::pair<std::string, std::string>> statuses;
  FSource.OnStatus = [&](TKwActionBase&, const std::string& a, const std::string& b) { statuses.emplace_back(a, b); };
  Run();
  EXPECT_EQ(target.Subjects, (std::vector<std::string>{"one", "two", "three"}));
  EXPECT_EQ(Log().Processed, 3);
  EXPECT_EQ(Log().ErrorsCount(), 0);
  EXPECT_EQ(std::count(statuses.begin(), statuses.end(), std::pair<std::string, std::string>("Processing", "Loading message ..")), 3);
  EXPECT_EQ(Log().FoldersList, (TStringList{"memory=3"}));
}

TEST_F(SourceLoopTest, UnknownFilterDataPassesAndKnownDataIsJudged) {
  TRecordingTarget& target = AddTarget();
  FSource.Filters->Mail->Enabled = true;
  FSource.Filters->Mail->From = "ann";
  FSource.Items.resize(3);
  FSource.Items[1].From = "bob@example.com";  // known and not matching: rejected
  FSource.Items[2].From = "";                 // known to have no sender: rejected
  Run();
  EXPECT_EQ(target.Subjects, (std::vector<std::string>{"one"})) << "the first item's sender is unknown, so it passes";
  EXPECT_EQ(FSource.Loads, 1);
}

TEST_F(SourceLoopTest, ARangeAndAnAbortEndTheWalkEarly) {
  TRecordingTarget& target = AddTarget();
  FSource.Filters->Range->Enabled = true;
  FSource.Filters->Range->Start = 2;
  FSource.Filters->Range->Range = 2;
  target.AbortAfter = 1;
  Run();
  EXPECT_EQ(target.Subjects, (std::vector<std::string>{"two"}));
  EXPECT_EQ(FSource.Loads, 1);
}

TEST_F(SourceLoopTest, MessagesTheTargetsHoldAreSkippedWithoutLoading) {
  TRecordingTarget& target = AddTarget();
  FSource.Items.resize(3);
  FSource.Items[1].UniqueId = "HELD";
  target.Holds = {"HELD"};
  Run();
  EXPECT_EQ(target.Subjects, (std::vector<std::string>{"one", "three"}));
  EXPECT_EQ(Log().Skipped, 1);
  EXPECT_EQ(Log().Processed, 3) << "a skipped item still counts as processed";
  EXPECT_EQ(FSource.Loads, 2);
}

TEST_F(SourceLoopTest, AMessageThatCannotBeLoadedIsLoggedByIndexAndTheRunGoesOn) {
  TRecordingTarget& target = AddTarget();
  FSource.Texts[1].clear();
  Run();
  EXPECT_EQ(target.Subjects, (std::vector<std::string>{"one", "three"}));
  ASSERT_EQ(Log().ErrorsCount(), 1);
  EXPECT_EQ(Log().GetError(0).Error, "Couldn't load message.");
  EXPECT_TRUE(Log().GetError(0).Description.starts_with("Index: 2")) << Log().GetError(0).Description;
}

TEST_F(SourceLoopTest, TheProcessedMessageLogHoldsOnlyWhatEveryTargetTook) {
  TRecordingTarget& target = AddTarget();
  FSource.SourceOptions->CopyToSourceLog = true;
  target.Fails = true;
  Run();
  EXPECT_EQ(target.Subjects.size(), 3u);

  target.Subjects.clear();
  target.Fails = false;
  Run();
  EXPECT_EQ(target.Subjects, (std::vector<std::string>{"one", "two", "three"})) << "failed exports are tried again";

  target.Subjects.clear();
  Run();
  EXPECT_TRUE(target.Subjects.empty());
  EXPECT_EQ(Log().Processed, 0) << "logged items are neither loaded nor counted";
  EXPECT_EQ(Log().Skipped, 0);
  EXPECT_EQ(FSource.Loads, 9) << "without ids before loading, the log is asked once each message is loaded";
}

TEST_F(SourceLoopTest, TheDetailedLogNamesEachLoadedMessageBySenderAndDate) {
  AddTarget();
  FGlobal.DetailedLog = true;
  FSource.Texts[2].clear();
  Run();
  ASSERT_EQ(Log().MessageStatusCount(), 3);
  EXPECT_EQ(Log().GetMessageStatusList(0).From, "ann@example.org");
  EXPECT_EQ(Log().GetMessageStatusList(0).SaveStatus, ssProcessed);
  EXPECT_GT(Log().GetMessageStatusList(0).SubmitDate, 0);
  EXPECT_EQ(Log().GetMessageStatusList(2).SaveStatus, ssError);
}

TEST_F(SourceLoopTest, LoadingHeadersOfAListedFolderCallsNoTargetPerItem) {
  TRecordingTarget& target = AddTarget();
  FSource.FolderProcessType = fptLoadHeaders;
  FSource.SourceFolders->Clear();
  TKwFolderInfo& info = FSource.SourceFolders->AddChild(nullptr).Info();
  info.FolderName = "Listed";
  info.ProcessFolder = true;
  info.UniqueIdList = {"ID1", "ID2"};
  FSource.Execute();
  EXPECT_TRUE(target.Subjects.empty());
  EXPECT_EQ(FSource.Loads, 0);
  ASSERT_EQ(FSource.HeadersList().size(), 2u);
  EXPECT_EQ(FSource.HeadersList()[1].UniqueId, "ID2");
}

TEST_F(SourceLoopTest, ADeleteThatTheSourceCannotDoIsNotedOncePerRun) {
  TRecordingTarget& target = AddTarget();
  target.DeleteSourceMessage = true;
  Run();
  EXPECT_EQ(target.Subjects.size(), 3u);
  ASSERT_EQ(Log().Notes.size(), 1u);
  EXPECT_NE(Log().Notes[0].find("cannot delete"), std::string::npos);
}

TEST(DecodeDepthTest, ARunDecodesNoMoreThanItsEnabledStagesRead) {
  TTempHome home;
  std::unique_ptr<TKwActionBase> source = CreateNewAction(stiMailSrcMbox);
  auto& files = dynamic_cast<TKwTargetMailSingleFiles&>(source->GetChild(source->AddChild(stiMailTarSingleFiles)));
  EXPECT_EQ(source->DecodeDepthOfSubtree(), TKwDecodeDepth::Headers);  // .eml files named from headers
  EXPECT_FALSE(source->SubtreeReadsBounceVerdict());
  files.Options->Filename->Format = fnfUserDefined;
  files.Options->Filename->Parts = "0211" + std::to_string(static_cast<int>(fpAttachmentSign));
  EXPECT_EQ(source->DecodeDepthOfSubtree(), TKwDecodeDepth::Everything);
  files.Options->Filename->Format = fnfDateFromSubject;
  files.Options->TargetFileFormat = ffSfPdf;
  EXPECT_EQ(source->DecodeDepthOfSubtree(), TKwDecodeDepth::Everything);
  files.Enabled = false;
  EXPECT_EQ(source->DecodeDepthOfSubtree(), TKwDecodeDepth::Headers);

  TKwActionBase& bounces = source->GetChild(source->AddChild(stiMailPasBounceFilter));
  TKwActionBase& branch = bounces.GetChild(bounces.AddChild(stiMailPasFilterTrue));
  auto& columns = dynamic_cast<TKwTargetMailEmailParts&>(branch.GetChild(branch.AddChild(stiMailTarEmailParts)));
  columns.FieldsStr = "0308";
  EXPECT_EQ(source->DecodeDepthOfSubtree(), TKwDecodeDepth::BounceVerdict);
  EXPECT_TRUE(source->SubtreeReadsBounceVerdict()) << "the bounce filter";
  columns.FieldsStr = "030813";  // the attachment count
  EXPECT_EQ(source->DecodeDepthOfSubtree(), TKwDecodeDepth::AllButAttachmentBytes);
  source->AddChild(stiMailTarAttachments);
  EXPECT_EQ(source->DecodeDepthOfSubtree(), TKwDecodeDepth::Everything);

  // Without the filter, only a bounce column asks for the verdict.
  bounces.Enabled = false;
  auto& direct = dynamic_cast<TKwTargetMailEmailParts&>(source->GetChild(source->AddChild(stiMailTarEmailParts)));
  direct.FieldsStr = "030813";
  EXPECT_FALSE(source->SubtreeReadsBounceVerdict()) << "attachments and ordinary columns";
  direct.FieldsStr = "0326";
  EXPECT_TRUE(source->SubtreeReadsBounceVerdict());
  source->AddChild(stiMailTarEDataSendEmail);
  direct.FieldsStr = "03";
  EXPECT_TRUE(source->SubtreeReadsBounceVerdict()) << "a stage that does not say reads it";
}

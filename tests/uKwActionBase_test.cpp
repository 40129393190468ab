#include "uKwActionBase.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "TestSupport.h"
#include "uKwActionFile.h"
#include "uKwActionLog.h"
#include "uKwAssert.h"
#include "uKwTargetSingleFiles.h"
#include "uKwTargets.h"

namespace {

std::vector<TSourceTargetItem> KindsWithClass() {
  std::vector<TSourceTargetItem> kinds;
  for (int i = 0; i < TSourceTargetItemCount; ++i)
    if (HasActionClass(static_cast<TSourceTargetItem>(i))) kinds.push_back(static_cast<TSourceTargetItem>(i));
  return kinds;
}

// job -> mbox source -> mail filter -> True branch -> single files target
std::unique_ptr<TKwActionBase> ThreeLevelTree() {
  auto job = CreateNewAction(stiJob);
  job->Name = "Nightly";
  TKwActionBase& source = job->GetChild(job->AddChild(stiMailSrcMbox));
  TKwActionBase& filter = source.GetChild(source.AddChild(stiMailPasFilter));
  filter.GetChild(filter.AddChild(stiMailPasFilterFalse)).Description = "rest";
  TKwActionBase& branch = filter.GetChild(filter.AddChild(stiMailPasFilterTrue));
  auto& target = static_cast<TKwTargetMailSingleFiles&>(branch.GetChild(branch.AddChild(stiMailTarSingleFiles)));
  target.Options->TargetFolder = "/out/mail";
  target.Options->Filename->FilenameLength = 64;
  return job;
}

std::vector<std::string> Kinds(TKwActionBase& action) {
  std::vector<std::string> out{SourceTargetItemToString(action.ItemType)};
  for (int i = 0; i < action.GetChildCount(); ++i)
    for (auto& k : Kinds(action.GetChild(i))) out.push_back(" " + k);
  return out;
}

class TKwActionBaseTest : public ::testing::Test {
 protected:
  TTempHome FHome;
};

}  // namespace

TEST_F(TKwActionBaseTest, FactoryGivesEveryKindItsOwnClassCaptionAndKind) {
  std::set<std::string_view> classNames;
  for (TSourceTargetItem kind : KindsWithClass()) {
    auto action = CreateNewAction(kind);
    EXPECT_EQ(action->ItemType, kind);
    EXPECT_EQ(action->Caption, GetSourceTargetItemCaption(kind));
    EXPECT_TRUE(action->Enabled);
    if (kind != stiMailPasFilterFalse) {
      EXPECT_TRUE(classNames.insert(action->ClassName()).second) << action->ClassName();
    }
  }
  EXPECT_EQ(CreateNewAction(stiMailPasFilterFalse)->ClassName(), "TKwTargetMailFiltersCondition");
  EXPECT_EQ(classNames.size(), 94u);  // 103 kinds, 8 without a class, two sharing one
}

TEST_F(TKwActionBaseTest, KindsWithoutAClassAreAssertionFailuresNamingUnitAndLine) {
  try {
    CreateNewAction(stiMailTarReport);
    FAIL();
  } catch (const EAssertionFailed& e) {
    EXPECT_STREQ(e.what(), "Assertion failure (Classes/uKwActionBase, line 304)");
  }
  auto job = CreateNewAction(stiJob);
  try {
    job->AddChild(stiMailSrcExchangeApi);
    FAIL();
  } catch (const EAssertionFailed& e) {
    EXPECT_EQ(e.Line(), 399);
  }
  EXPECT_EQ(job->GetChildCount(), 0);
}

TEST_F(TKwActionBaseTest, ExecuteRunsEnabledChildrenInOrderWithTheParentsHandlers) {
  auto job = CreateNewAction(stiJob);
  job->GetChild(job->AddChild(stiMailSrcLotusNotes)).Caption = "first";
  job->GetChild(job->AddChild(stiMailSrcPOP)).Enabled = false;
  job->GetChild(job->AddChild(stiZipCompress)).Caption = "third";
  std::vector<std::string> announced, statuses;
  job->OnAction = [&](TKwActionBase&, const std::string& caption, TSourceTargetItem kind) {
    announced.push_back(caption);
    EXPECT_EQ(kind, stiJob);
  };
  job->OnStatus = [&](TKwActionBase& sender, const std::string& t1, const std::string&) {
    statuses.push_back(sender.Caption + ":" + t1);
  };
  job->OnFolderComplete = [](TKwActionBase&) {};
  job->Execute();
  EXPECT_EQ(announced, (std::vector<std::string>{"first", "third"}));
  EXPECT_EQ(statuses.front(), "Batch Extract Job:Batch Extract Job");
  EXPECT_FALSE(job->GetChild(1).OnStatus) << "a disabled child is skipped silently";
  EXPECT_TRUE(job->GetChild(2).OnStatus);
  EXPECT_FALSE(job->GetChild(2).OnFolderComplete) << "each action keeps its own";
  EXPECT_EQ(job->GetLog().ActionName, " - Batch Extract Job");
  // Children this build cannot run say so in their logs, and the run goes on.
  ASSERT_EQ(job->GetChild(0).GetLog().ErrorsCount(), 1);
  EXPECT_EQ(job->GetChild(0).GetLog().GetError(0).Error, "first is not available in this build");
  EXPECT_EQ(job->GetChild(2).GetLog().ErrorsCount(), 1);
}

TEST_F(TKwActionBaseTest, AbortStopsBeforeTheNextChildAndReachesTheRunningOne) {
  auto job = CreateNewAction(stiJob);
  job->AddChild(stiMailSrcMbox);
  job->AddChild(stiMailSrcPOP);
  int aborts = 0;
  std::vector<std::string> announced;
  job->OnAbort = [&](TKwActionBase&) { ++aborts; };
  job->OnAction = [&](TKwActionBase& sender, const std::string& caption, TSourceTargetItem) {
    announced.push_back(caption);
    sender.Abort();
  };
  job->Execute();
  EXPECT_EQ(announced, (std::vector<std::string>{"Mbox Format"}));
  EXPECT_TRUE(job->GetChild(0).IsAborted());
  EXPECT_TRUE(job->GetChild(1).IsAborted());
  EXPECT_EQ(aborts, 1) << "children had no handlers yet when Abort reached them";

  auto other = CreateNewAction(stiJob);
  other->AddChild(stiMailSrcMbox);
  std::thread([&] { other->Abort(); }).join();
  other->OnAction = [&](TKwActionBase&, const std::string&, TSourceTargetItem) { FAIL(); };
  other->Execute();
}

TEST_F(TKwActionBaseTest, RunningStatusTextsKeepPausedAndTheProcessedCount) {
  auto source = CreateNewAction(stiMailSrcMbox);
  std::vector<std::string> texts;
  source->OnStatus = [&](TKwActionBase&, const std::string& t1, const std::string& t2) {
    texts.push_back(t1 + "|" + t2);
  };
  source->GetLog().Processed = 12;
  for (TRunningStatus s : {rsIdle, reInitializingFolders, rsMarquee, rsExtractCompleted, rsAborted})
    source->SetRunningStatus(s);
  EXPECT_EQ(texts, (std::vector<std::string>{"Paused|", "Initializing Folders|", "Finished|12 processed",
                                             "Aborted|"}));
  EXPECT_EQ(source->GetRunningStatus(), rsAborted);
}

TEST_F(TKwActionBaseTest, SearchChildrenFindsByNameAndKindInTheWholeSubtree) {
  auto job = ThreeLevelTree();
  job->SearchChildren(stiMailPasFilterTrue);
  ASSERT_EQ(job->SearchResultList.size(), 1u);
  EXPECT_EQ(job->SearchResultList[0]->ItemType, stiMailPasFilterTrue);
  job->SearchChildren(std::string("Nightly"));
  EXPECT_EQ(job->SearchResultList.size(), 1u);
  job->SearchChildren(std::string("nobody"));
  EXPECT_TRUE(job->SearchResultList.empty());
}

TEST_F(TKwActionBaseTest, AssignCopiesSettingsButNotAcrossClasses) {
  auto a = CreateNewAction(stiMailTarSingleFiles);
  auto b = CreateNewAction(stiMailTarSingleFiles);
  auto& ta = static_cast<TKwTargetMailSingleFiles&>(*a);
  ta.Options->TargetFolder = "/x";
  ta.Description = "d";
  b->Assign(*a);
  auto& tb = static_cast<TKwTargetMailSingleFiles&>(*b);
  EXPECT_EQ(tb.Options->TargetFolder, "/x");
  EXPECT_NE(tb.Options.get(), ta.Options.get());
  EXPECT_EQ(tb.Description, "d");
  EXPECT_THROW(b->Assign(*CreateNewAction(stiMailTarMbox)), EConvertError);
}

// ---- persistence

TEST_F(TKwActionBaseTest, ThreeLevelTreeRoundTripsThroughTextAndFile) {
  auto job = ThreeLevelTree();
  std::string text = job->SaveToString();
  TKwActionLoadResult loaded = LoadActionFromText(text);
  ASSERT_TRUE(loaded.Action) << loaded.Error;
  EXPECT_TRUE(loaded.Warnings.empty());
  EXPECT_EQ(Kinds(*loaded.Action), Kinds(*job));
  EXPECT_EQ(loaded.Action->GetChild(0).GetChild(0).GetChild(1).ItemType, stiMailPasFilterTrue);
  EXPECT_EQ(loaded.Action->SaveToString(), text);

  TTempDir dir;
  std::string error;
  ASSERT_TRUE(job->SaveToFile((dir / "job.qaf").string(), error)) << error;
  auto fromFile = CreateNewAction(stiJob);
  ASSERT_TRUE(fromFile->LoadFromFile((dir / "job.qaf").string(), error)) << error;
  EXPECT_EQ(fromFile->SaveToString(), text);
  EXPECT_EQ(ReadFileText(dir / "job.qaf"), text);
}

TEST_F(TKwActionBaseTest, AChildlessActionWritesNoChildActions) {
  auto target = CreateNewAction(stiMailTarMbox);
  std::string stream;
  target->SaveToStream(stream);
  EXPECT_EQ(stream.find("ChildActions"), std::string::npos);
  auto job = CreateNewAction(stiJob);
  job->AddChild(stiMailSrcMbox);
  job->SaveToStream(stream);
  EXPECT_NE(stream.find("\x0C" "ChildActions"), std::string::npos);
}

// ---- error paths

TEST_F(TKwActionBaseTest, AChildKindWithoutAClassFailsTheLoadWithTheAssertion) {
  auto job = CreateNewAction(stiJob);
  job->AddChild(stiMailSrcMbox);
  job->AddChild(stiMailSrcPOP);
  std::string stream;
  job->SaveToStream(stream);
  for (const std::string kind : {"stiMailSrcXbox", "stiMailTarDesk"}) {  // no such kind; a kind without a class
    std::string damaged = stream;
    damaged.replace(damaged.find("stiMailSrcMbox"), 14, kind);
    TKwActionLoadResult loaded = LoadActionFromStream(damaged);
    EXPECT_FALSE(loaded.Action);
    EXPECT_NE(loaded.Error.find("Unknown action kind \"" + kind + "\": Assertion failure (Classes/uKwActionBase, line 399)"),
              std::string::npos) << loaded.Error;
  }
  TKwActionLoadResult fromJson =
      LoadActionFromText(R"({"kind": "stiJob", "children": [{"kind": "stiMailSrcPOP"}, {"kind": "stiOther"}]})");
  EXPECT_FALSE(fromJson.Action);
  EXPECT_EQ(fromJson.Error, "Unknown action kind \"stiOther\": Assertion failure (Classes/uKwActionBase, line 399)");
}

TEST_F(TKwActionBaseTest, EnabledIsStoredAtItsCreationValueToo) {
  auto target = CreateNewAction(stiMailTarMbox);
  ASSERT_TRUE(target->Enabled);
  std::string stream;
  target->SaveToStream(stream);
  EXPECT_NE(stream.find("\x07" "Enabled\x09"), std::string::npos);  // name, then the tag of true
}

TEST_F(TKwActionBaseTest, TruncatedOrForeignInputIsRefusedWithAReason) {
  auto job = ThreeLevelTree();
  std::string stream;
  job->SaveToStream(stream);
  for (size_t length = 0; length < stream.size(); length += 7) {
    TKwActionLoadResult loaded = LoadActionFromStream(std::string_view(stream).substr(0, length));
    EXPECT_FALSE(loaded.Action) << length;
    EXPECT_FALSE(loaded.Error.empty());
  }
  EXPECT_EQ(LoadActionFromText("<html>not an action</html>").Error, "Not an action file: the text is not base64");
  EXPECT_EQ(LoadActionFromText("SGVsbG8=").Error, "Not an action stream");
  EXPECT_EQ(LoadActionFromText("{\"kind\": 5").Error, "Not an action: the JSON text is malformed");
  EXPECT_EQ(LoadActionFromText("{\"kind\": \"stiNothing\"}").Error, "Unknown action kind \"stiNothing\"");
  EXPECT_EQ(LoadActionFromText("{\"kind\": \"stiOther\"}").Error, "The stored action kind stiOther cannot stand in a tree");
  EXPECT_FALSE(LoadActionFromFile("/nonexistent/job.qaf").Action);
}

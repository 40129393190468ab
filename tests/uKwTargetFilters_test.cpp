// The filter passes: each message goes down one branch only, the filter counts both
// outcomes, and the other four target calls reach the children of both branches. The
// bounced-mail filter's set of verdicts persists like any other property.

#include "uKwTargetFilters.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <nlohmann/json.hpp>

#include "TestSupport.h"
#include "uKwActionFile.h"
#include "uKwActionLog.h"
#include "uKwStream.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwVariables.h"

namespace fs = std::filesystem;

namespace {

using TJournal = std::vector<std::string>;

// A target that writes down each call it receives.
class TRecordingTarget : public TKwTargetMailBase {
 public:
  TRecordingTarget(TJournal& journal, std::string name) : FJournal(journal) { Name = std::move(name); }
  std::string_view ClassName() const override { return "TRecordingTarget"; }
  void InitializeExtractProcess(TKwFoldersTree& folders) override {
    TKwTargetMailBase::InitializeExtractProcess(folders);
    Note("start");
  }
  void InitializeFolder(const TKwFolderInfo& folder) override {
    TKwTargetMailBase::InitializeFolder(folder);
    Note("folder");
  }
  void ProcessMessage(TKwMailMessage& message) override {
    TKwTargetMailBase::ProcessMessage(message);
    Note("message " + message.Headers->Subject);
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

// A filter with a recording target under each branch, driven through the five calls.
class FilterTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TJournal FJournal;
  TKwVariablesList FEmailParts, FFields;
  TKwFoldersTree FFolders;

  template <class TFilter>
  std::unique_ptr<TFilter> Filter(TSourceTargetItem kind) {
    std::unique_ptr<TKwActionBase> action = CreateNewAction(kind);
    std::unique_ptr<TFilter> filter(static_cast<TFilter*>(action.release()));
    for (auto [branch, name] : {std::pair{stiMailPasFilterTrue, "true"}, {stiMailPasFilterFalse, "false"}}) {
      TKwActionBase& condition = filter->GetChild(filter->AddChild(branch));
      condition.AddChild(stiMailTarMbox);
      condition.SetChild(0, std::make_unique<TRecordingTarget>(FJournal, name));
    }
    return filter;
  }

  void Run(TKwTargetMailFilters& filter, const std::vector<std::string>& messages) {
    FFolders.Clear();
    FFolders.AddChild(nullptr).Info().FolderName = "Inbox";
    filter.EmailParts = &FEmailParts;
    filter.Fields = &FFields;
    filter.InitializeExtractProcess(FFolders);
    filter.InitializeFolder(FFolders.Nodes().front()->Info());
    TKwMailMessage message;
    for (const std::string& text : messages) {
      message.LoadMIMEFromString(text);
      filter.ProcessMessage(message);
    }
    filter.FinalizeFolder();
    filter.FinalizeExtractProcess();
  }

  // A filter with its two branches and nothing below: what an action file holds.
  static std::unique_ptr<TKwTargetMailFiltersBounce> PlainBounceFilter() {
    std::unique_ptr<TKwTargetMailFiltersBounce> filter(
        static_cast<TKwTargetMailFiltersBounce*>(CreateNewAction(stiMailPasBounceFilter).release()));
    filter->AddChild(stiMailPasFilterTrue);
    filter->AddChild(stiMailPasFilterFalse);
    return filter;
  }

  static std::string Mail(const std::string& subject, const std::string& body = "Hello") {
    return "From: ann@example.org\nTo: bob@example.com\nSubject: " + subject + "\n\n" + body + "\n";
  }
  static std::string Bounce(const std::string& subject, const std::string& reply) {
    return Mail(subject, "SMTP error after RCPT TO:<gone@example.net>: " + reply + " no");
  }
};

}  // namespace

TEST_F(FilterTest, MailFilterSendsEachMessageDownOneBranchAndCountsBoth) {
  auto filter = Filter<TKwTargetMailFilters>(stiMailPasFilter);
  filter->Filter->Enabled = true;
  filter->Filter->Subject = "invoice";
  Run(*filter, {Mail("Invoice 12"), Mail("Lunch"), Mail("Your invoice"), Mail("Hello")});
  const TJournal expected = {
      "true: start",          "false: start",         "true: folder",         "false: folder",
      "true: message Invoice 12", "false: message Lunch", "true: message Your invoice", "false: message Hello",
      "true: end folder",     "false: end folder",    "true: end",            "false: end",
  };
  EXPECT_EQ(FJournal, expected);
  EXPECT_EQ(filter->GetLog().FilteredTrue, 2);
  EXPECT_EQ(filter->GetLog().FilteredFalse, 2);
  EXPECT_EQ(filter->GetLog().Processed, 4);
}

TEST_F(FilterTest, DisabledMailFilterSendsEverythingDownTheTrueBranch) {
  auto filter = Filter<TKwTargetMailFilters>(stiMailPasFilter);
  Run(*filter, {Mail("One"), Mail("Two")});
  EXPECT_EQ(filter->GetLog().FilteredTrue, 2);
  EXPECT_EQ(filter->GetLog().FilteredFalse, 0);
  EXPECT_EQ(std::count(FJournal.begin(), FJournal.end(), "false: start"), 1) << "the False branch still starts";
}

TEST_F(FilterTest, BounceFilterTakesHardAndSoftBouncesByDefault) {
  auto filter = Filter<TKwTargetMailFiltersBounce>(stiMailPasBounceFilter);
  Run(*filter, {Bounce("hard", "550"), Mail("plain"), Bounce("soft", "452"), Bounce("receipt", "250")});
  EXPECT_EQ(filter->GetLog().FilteredTrue, 2);
  EXPECT_EQ(filter->GetLog().FilteredFalse, 2);
  EXPECT_NE(std::find(FJournal.begin(), FJournal.end(), "true: message hard"), FJournal.end());
  EXPECT_NE(std::find(FJournal.begin(), FJournal.end(), "true: message soft"), FJournal.end());
  EXPECT_NE(std::find(FJournal.begin(), FJournal.end(), "false: message receipt"), FJournal.end());
}

TEST_F(FilterTest, BounceFilterFollowsItsSetOfVerdicts) {
  auto filter = Filter<TKwTargetMailFiltersBounce>(stiMailPasBounceFilter);
  filter->BounceTypes = BounceTypeBit(btMdnReceipt) | BounceTypeBit(btNone);
  Run(*filter, {Bounce("hard", "550"), Mail("plain"), Bounce("receipt", "250")});
  EXPECT_EQ(filter->GetLog().FilteredTrue, 2);
  EXPECT_NE(std::find(FJournal.begin(), FJournal.end(), "false: message hard"), FJournal.end());
}

TEST_F(FilterTest, DisabledBranchGetsNoCallsAtAll) {
  auto filter = Filter<TKwTargetMailFiltersBounce>(stiMailPasBounceFilter);
  filter->GetChild(1).Enabled = false;
  Run(*filter, {Mail("plain")});
  EXPECT_EQ(filter->GetLog().FilteredFalse, 1) << "counted, although nobody receives it";
  for (const std::string& entry : FJournal) EXPECT_EQ(entry.rfind("false:", 0), std::string::npos) << entry;
}

TEST_F(FilterTest, AbortedFilterHandsNothingOnButStillFinalisesBothBranches) {
  auto filter = Filter<TKwTargetMailFilters>(stiMailPasFilter);
  filter->Abort();
  Run(*filter, {Mail("One")});
  EXPECT_EQ(std::count(FJournal.begin(), FJournal.end(), "true: message One"), 0);
  EXPECT_EQ(std::count(FJournal.begin(), FJournal.end(), "true: end"), 1);
  EXPECT_EQ(std::count(FJournal.begin(), FJournal.end(), "false: end"), 1);
}

TEST_F(FilterTest, SpamFilterIsNotAvailable) {
  auto filter = Filter<TKwTargetMailFilters>(stiMailPassBlacklistFilter);
  EXPECT_FALSE(filter->IsAvailable());
  Run(*filter, {Mail("One")});
  EXPECT_TRUE(FJournal.empty());
  EXPECT_EQ(filter->GetLog().FilteredTrue + filter->GetLog().FilteredFalse, 0);
}

// ---------------------------------------------------------------- persistence

TEST_F(FilterTest, BounceTypesAreStoredOnlyWhenNotTheDefault) {
  auto filter = PlainBounceFilter();
  EXPECT_EQ(filter->SaveToString().find("BounceTypes"), std::string::npos);
  std::string stream;
  filter->SaveToStream(stream);
  EXPECT_EQ(stream.find("BounceTypes"), std::string::npos);

  filter->BounceTypes = BounceTypeBit(btSoftBounce) | BounceTypeBit(btMdnReceipt);
  filter->SaveToStream(stream);
  // The set is written as its element names: vaSet, "btSoftBounce", "btMdnReceipt", "".
  const std::string element = std::string(1, '\x0b') + '\x0c' + "btSoftBounce" + '\x0c' + "btMdnReceipt" + '\0';
  EXPECT_NE(stream.find("BounceTypes" + element), std::string::npos);

  TKwTargetMailFiltersBounce loaded;
  std::string error;
  ASSERT_TRUE(loaded.LoadFromStream(stream, error)) << error;
  EXPECT_EQ(loaded.BounceTypes, filter->BounceTypes);
  std::string again;
  loaded.SaveToStream(again);
  EXPECT_EQ(again, stream);
}

TEST_F(FilterTest, BounceTypesRoundTripThroughJsonAndRefuseUnknownNames) {
  auto filter = PlainBounceFilter();
  filter->BounceTypes = BounceTypeBit(btHardBounce);
  nlohmann::ordered_json json = ActionToJson(*filter);
  EXPECT_EQ(json["BounceTypes"], nlohmann::json::array({"btHardBounce"}));

  TKwActionLoadResult loaded = LoadActionFromJson(json);
  ASSERT_TRUE(loaded.Action) << loaded.Error;
  EXPECT_EQ(static_cast<TKwTargetMailFiltersBounce&>(*loaded.Action).BounceTypes, BounceTypeBit(btHardBounce));
  EXPECT_EQ(SaveObjectToBytes(*loaded.Action), SaveObjectToBytes(*filter));

  json["BounceTypes"] = {"btHardBounce", "btNoSuchType"};
  loaded = LoadActionFromJson(json);
  ASSERT_TRUE(loaded.Action) << loaded.Error;
  EXPECT_EQ(static_cast<TKwTargetMailFiltersBounce&>(*loaded.Action).BounceTypes, kHardAndSoftBounces)
      << "a set with an unknown element is skipped whole";
  EXPECT_FALSE(loaded.Warnings.empty());
}

TEST_F(FilterTest, AssignCopiesTheSetOfVerdicts) {
  TKwTargetMailFiltersBounce source, copy;
  source.BounceTypes = BounceTypeBit(btNone);
  copy.Assign(source);
  EXPECT_EQ(copy.BounceTypes, BounceTypeBit(btNone));
}

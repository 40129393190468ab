// Runs of whole trees: an mbox source feeding the single-files and mbox targets.

#include "uKwSourceMbox.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwMbox.h"
#include "uKwParameters.h"
#include "uKwTargetMbox.h"
#include "uKwTargetSingleFiles.h"

namespace fs = std::filesystem;

namespace {

std::string Message(const std::string& id, const std::string& from, const std::string& subject,
                    const std::string& body) {
  std::string text = "From " + from + " Mon Jan 15 10:00:00 2024\n";
  text += "From: " + from + "\nTo: team@example.com\nSubject: " + subject + "\n";
  text += "Date: Mon, 15 Jan 2024 10:00:00 +0000\n";
  if (!id.empty()) text += "Message-ID: <" + id + ">\n";
  text += "\n" + body + "\n\n";
  return text;
}

// Three distinct messages, one of them twice, and a body line that mboxrd escapes.
std::string SampleMbox() {
  return Message("a@x", "ann@example.org", "First", "Hello") +
         Message("b@x", "bob@example.com", "Second", ">From the archive\nbye") +
         Message("a@x", "ann@example.org", "First", "Hello") +
         Message("c@x", "cid@example.org", "Third", "Third body");
}

class MboxRunTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TKwGlobalOptions FGlobal;

  std::unique_ptr<TKwSourceMailMbox> Source(const std::string& mboxText) {
    WriteFileText(FHome / "in.mbox", mboxText);
    auto source = std::make_unique<TKwSourceMailMbox>();
    source->ItemType = stiMailSrcMbox;
    source->Caption = "Mbox Format";
    source->GlobalOptions = &FGlobal;
    source->SourceOptions->Filename = (FHome / "in.mbox").string();
    return source;
  }
  TKwTargetMailSingleFiles& AddFiles(TKwActionBase& parent, const std::string& folder) {
    auto& target = static_cast<TKwTargetMailSingleFiles&>(parent.GetChild(parent.AddChild(stiMailTarSingleFiles)));
    target.Options->TargetFolder = folder;
    target.Options->SubFolderStructure = sfsCreateFromDomainPart;
    return target;
  }
  TKwTargetMailMbox& AddMbox(TKwActionBase& parent, const std::string& file) {
    auto& target = static_cast<TKwTargetMailMbox&>(parent.GetChild(parent.AddChild(stiMailTarMbox)));
    target.TargetFilename = file;
    return target;
  }
  static int CountFiles(const fs::path& root, const std::string& extension) {
    int n = 0;
    if (!fs::exists(root)) return 0;
    for (auto& entry : fs::recursive_directory_iterator(root))
      n += entry.is_regular_file() && entry.path().extension() == extension;
    return n;
  }
  static int64_t MessagesIn(const fs::path& mbox) {
    TKwMbox reader(mbfMboxrd);
    std::string error;
    return reader.LoadFromFile(mbox.string(), mbmRead, error) ? reader.Count() : -1;
  }
};

}  // namespace

TEST_F(MboxRunTest, WritesOneFilePerDistinctMessageInDomainFolders) {
  auto source = Source(SampleMbox());
  AddFiles(*source, (FHome / "eml").string());
  source->Execute();
  EXPECT_EQ(source->GetLog().ErrorsCount(), 0);
  EXPECT_EQ(source->GetLog().Processed, 3) << "the duplicate inside the file counts once";
  EXPECT_EQ(source->GetLog().Skipped, 1) << "and is counted as skipped";
  ASSERT_EQ(source->GetLog().Notes.size(), 1u);
  EXPECT_NE(source->GetLog().Notes[0].find("Message 3 skipped: it has the unique id of message 1"), std::string::npos);
  EXPECT_EQ(CountFiles(FHome / "eml" / "example.org", ".eml"), 2);
  EXPECT_EQ(CountFiles(FHome / "eml" / "example.com", ".eml"), 1);
  EXPECT_EQ(source->GetChild(0).GetLog().Saved, 3);
  // The escaped body line comes back unescaped in the written message.
  for (auto& entry : fs::recursive_directory_iterator(FHome / "eml" / "example.com"))
    EXPECT_NE(ReadFileText(entry.path()).find("\nFrom the archive"), std::string::npos);
}

TEST_F(MboxRunTest, TheMailFilterJudgesRecipientsBeforeLoading) {
  std::string other = Message("d@x", "dan@example.net", "Fourth", "body");
  other.replace(other.find("team@example.com"), 16, "ops@example.net");
  auto source = Source(SampleMbox() + other);
  AddFiles(*source, (FHome / "eml").string());
  source->Filters->Mail->Enabled = true;
  source->Filters->Mail->To = "ops@";
  source->Execute();
  EXPECT_EQ(CountFiles(FHome / "eml", ".eml"), 1);
  EXPECT_EQ(CountFiles(FHome / "eml" / "example.net", ".eml"), 1);
}

TEST_F(MboxRunTest, AnMboxCopyNeverHoldsAMessageTwiceAcrossRuns) {
  auto source = Source(SampleMbox());
  AddMbox(*source, (FHome / "copy.mbox").string());
  source->Execute();
  EXPECT_EQ(MessagesIn(FHome / "copy.mbox"), 3);
  source->Execute();
  EXPECT_EQ(MessagesIn(FHome / "copy.mbox"), 3) << "a second run appends nothing";
  EXPECT_EQ(source->GetLog().Skipped, 4) << "the target held three already; the fourth is the file's duplicate";
}

TEST_F(MboxRunTest, TheProcessedMessageLogLetsASecondRunHandleOnlyNewMail) {
  auto source = Source(SampleMbox());
  source->SourceOptions->CopyToSourceLog = true;
  AddFiles(*source, (FHome / "eml").string());
  source->Execute();
  EXPECT_EQ(source->GetLog().Processed, 3);
  ASSERT_FALSE(source->SourceId.empty());
  WriteFileText(FHome / "in.mbox", SampleMbox() + Message("d@x", "dan@example.net", "Fourth", "new"));
  source->Execute();
  EXPECT_EQ(source->GetLog().Processed, 1) << "only the new message";
  EXPECT_EQ(source->GetChild(0).GetLog().Saved, 1);
  EXPECT_EQ(CountFiles(FHome / "eml", ".eml"), 4);
}

TEST_F(MboxRunTest, MessagesWithoutIdShareThePlaceholderId) {
  auto source = Source(Message("", "ann@example.org", "No id", "one") + Message("", "ann@example.org", "No id", "two"));
  source->SourceOptions->CopyToSourceLog = true;
  AddMbox(*source, (FHome / "copy.mbox").string());
  source->Execute();
  EXPECT_EQ(source->GetLog().Processed, 1) << "same sender, date and no Message-ID: one unique id";
}

TEST_F(MboxRunTest, AnAbortedRunLeavesValidOutputFiles) {
  std::string big;
  for (int i = 0; i < 400; ++i)
    big += Message("m" + std::to_string(i) + "@x", "ann@example.org", "Message " + std::to_string(i), "body");
  auto source = Source(big);
  AddMbox(*source, (FHome / "copy.mbox").string());
  int seen = 0;
  source->OnProgress = [&](TKwActionBase& sender, int, const std::string&, const std::string&, TRunningStatus) {
    if (++seen == 50) sender.Abort();
  };
  source->Execute();
  EXPECT_TRUE(source->IsAborted());
  int64_t written = MessagesIn(FHome / "copy.mbox");
  EXPECT_GE(written, 49);
  EXPECT_LT(written, 400);
  EXPECT_EQ(source->GetChild(0).GetLog().Saved, written) << "every counted message is in the file, whole";
}

// ---- error paths

TEST_F(MboxRunTest, AMissingOrForeignFileIsAnErrorAndAnEmptyOneIsNot) {
  auto source = Source("");
  AddMbox(*source, (FHome / "copy.mbox").string());
  source->Execute();
  EXPECT_EQ(source->GetLog().ErrorsCount(), 0) << "an empty mbox holds no mail, and that is fine";

  fs::remove(FHome / "in.mbox");
  source->SourceFolders->Clear();
  source->Execute();
  EXPECT_EQ(source->GetLog().Processed, 0);
  ASSERT_EQ(source->GetLog().ErrorsCount(), 1);
  EXPECT_EQ(source->GetLog().GetError(0).Error, "Source file not found: " + (FHome / "in.mbox").string());

  WriteFileText(FHome / "in.mbox", "just some text\nwith no separator line\n");
  source->SourceFolders->Clear();
  source->Execute();
  ASSERT_EQ(source->GetLog().ErrorsCount(), 1);
  EXPECT_NE(source->GetLog().GetError(0).Error.find("No message found in"), std::string::npos);
  fs::remove(FHome / "in.mbox");

  fs::create_directory(FHome / "in.mbox");
  source->SourceFolders->Clear();
  source->Execute();
  ASSERT_EQ(source->GetLog().ErrorsCount(), 1);
  EXPECT_EQ(source->GetLog().GetError(0).Description, "File open error");
}

TEST_F(MboxRunTest, BrokenMessagesAndUnwritableTargetsDoNotStopTheRun) {
  std::string text = "Garbage before the first separator\n" + Message("a@x", "ann@example.org", "Ok", "fine") +
                     "From broken\n\n\n" + Message("c@x", "cid@example.org", "Also ok", "fine") +
                     Message("d@x", "dan@example.org", "Cut short", std::string("before\0after", 12));
  auto source = Source(text);
  WriteFileText(FHome / "blocked", "a file where the target folder should be");
  AddFiles(*source, (FHome / "blocked" / "eml").string());
  AddMbox(*source, (FHome / "copy.mbox").string());
  source->Execute();
  EXPECT_GE(source->GetLog().Processed, 2);
  EXPECT_GE(source->GetChild(0).GetLog().ErrorsCount(), 2) << "each failed file is an error entry";
  EXPECT_GE(MessagesIn(FHome / "copy.mbox"), 2) << "the other target still got every message";
  bool cutReported = false;
  for (int i = 0; i < source->GetLog().ErrorsCount(); ++i)
    cutReported |= source->GetLog().GetError(i).Error.find("holds a NUL byte") != std::string::npos &&
                   source->GetLog().GetError(i).Description == "Reading message 4";
  EXPECT_TRUE(cutReported) << "a message cut short is named with the reason";
}

TEST_F(MboxRunTest, StoredMessagesAreReadAgainByTheirUniqueIds) {
  auto source = Source(SampleMbox());
  source->SourceOptions->CopyToStorage = true;
  AddMbox(*source, (FHome / "first.mbox").string());
  source->Execute();
  ASSERT_EQ(MessagesIn(FHome / "first.mbox"), 3);

  TKwMbox first(mbfMboxrd);
  std::string error;
  ASSERT_TRUE(first.LoadFromFile((FHome / "first.mbox").string(), mbmRead, error));
  auto again = CreateNewAction(stiMailUniqueIds);
  auto& byId = static_cast<TKwSourceMailBase&>(*again);
  byId.GlobalOptions = &FGlobal;
  TKwFolderInfo& root = byId.SourceFolders->AddChild(nullptr).Info();
  root.UniqueIdList = {std::string(first.UniqueIds().Items(2)), "0123456789ABCDEF012345678",
                       std::string(first.UniqueIds().Items(0))};
  AddMbox(byId, (FHome / "again.mbox").string());
  byId.Execute();
  ASSERT_EQ(byId.GetLog().ErrorsCount(), 1) << "an id without a stored message is reported";
  EXPECT_EQ(byId.GetLog().GetError(0).Description, "Index: 2 (no stored copy of 0123456789ABCDEF012345678)");
  EXPECT_EQ(byId.GetLog().Processed, 2);
  EXPECT_EQ(MessagesIn(FHome / "again.mbox"), 2);
}

TEST_F(MboxRunTest, ANulByteEndingTheIndexIsAnErrorWithItsOffset) {
  const std::string before = Message("a@x", "ann@example.org", "Before", "fine");
  const std::string text = before + std::string("From bob@example.com Mon Jan 15 10:00:00 2024\nSubject: x\n") + '\0' + "\n" +
                           Message("c@x", "cid@example.org", "After", "lost");
  auto source = Source(text);
  AddMbox(*source, (FHome / "copy.mbox").string());
  source->Execute();
  ASSERT_GE(source->GetLog().ErrorsCount(), 1);
  const std::string& error = source->GetLog().GetError(0).Error;
  EXPECT_NE(error.find("not indexed past offset"), std::string::npos) << error;
  EXPECT_GE(MessagesIn(FHome / "copy.mbox"), 1) << "what stands before the NUL is still read";
}

// A message without Return-Path takes the one of the message before it in the file, however
// the decoding ahead hands out its message objects.
TEST_F(MboxRunTest, ReturnPathCarriesOverInFileOrderAndRunsAreByteIdentical) {
  std::string text;
  for (int i = 0; i < 60; ++i) {
    std::string message = Message("m" + std::to_string(i) + "@x", "ann@example.org", "S" + std::to_string(i), "body");
    if (i % 7 == 0) message.insert(message.find('\n') + 1, "Return-Path: <bounce" + std::to_string(i) + "@example.org>\n");
    text += message;
  }
  auto source = Source(text);
  AddMbox(*source, (FHome / "first.mbox").string());
  source->Execute();
  static_cast<TKwTargetMailMbox&>(source->GetChild(0)).TargetFilename = (FHome / "second.mbox").string();
  source->Execute();
  const std::string first = ReadFileText(FHome / "first.mbox");
  EXPECT_EQ(first, ReadFileText(FHome / "second.mbox"));
  EXPECT_NE(first.find("From bounce49@example.org"), std::string::npos);
  size_t carried = 0;
  for (size_t at = first.find("From bounce49@"); at != std::string::npos; at = first.find("From bounce49@", at + 1)) ++carried;
  EXPECT_EQ(carried, 7u) << "message 49 and the six after it";
}

// The mbox target: what it writes for a message (its own bytes, or MIME encoded anew once
// a pass changed it), and when the file is written.

#include "uKwTargetMbox.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwMbox.h"
#include "uKwParameters.h"
#include "uKwSourceMbox.h"
#include "uKwTargetAttachments.h"
#include "uKwTargetSingleFiles.h"

namespace fs = std::filesystem;

namespace {

// A message with a text body, a PDF and a PNG attachment, as an mbox holds it.
const char* kMessageWithAttachments =
    "From ann@example.org Mon Jan 15 10:00:00 2024\n"
    "From: ann@example.org\nTo: team@example.com\nSubject: Quarterly\n"
    "Date: Mon, 15 Jan 2024 10:00:00 +0000\nMessage-ID: <q1@example.org>\n"
    "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=\"b1\"\n\n"
    "--b1\nContent-Type: text/plain; charset=us-ascii\n\nThe figures are attached.\n"
    "--b1\nContent-Type: application/pdf\nContent-Disposition: attachment; filename=\"report.pdf\"\n"
    "Content-Transfer-Encoding: base64\n\nUkVQT1JUIEJZVEVT\n"
    "--b1\nContent-Type: image/png\nContent-Disposition: attachment; filename=\"chart.png\"\n"
    "Content-Transfer-Encoding: base64\n\nUE5HIEJZVEVT\n"
    "--b1--\n\n";

class TKwTargetMboxTest : public ::testing::Test {
 protected:
  TTempHome FHome;
  TKwGlobalOptions FGlobal;

  std::unique_ptr<TKwSourceMailMbox> Source() {
    WriteFileText(FHome / "in.mbox", kMessageWithAttachments);
    auto source = std::make_unique<TKwSourceMailMbox>();
    source->ItemType = stiMailSrcMbox;
    source->GlobalOptions = &FGlobal;
    source->SourceOptions->Filename = (FHome / "in.mbox").string();
    return source;
  }
  static TKwTargetMailMbox& AddMbox(TKwActionBase& parent, const fs::path& file) {
    auto& target = dynamic_cast<TKwTargetMailMbox&>(parent.GetChild(parent.AddChild(stiMailTarMbox)));
    target.TargetFilename = file.string();
    return target;
  }
  // The one message of an mbox file, decoded.
  static std::unique_ptr<TKwMailMessage> OnlyMessageOf(const fs::path& file) {
    TKwMbox mbox(mbfMboxrd);
    std::string error;
    EXPECT_TRUE(mbox.LoadFromFile(file.string(), mbmRead, error)) << error;
    EXPECT_EQ(mbox.Count(), 1);
    TStringList lines = mbox.GetHeader(0);
    lines.emplace_back();
    lines.insert(lines.end(), mbox.GetBody(0).begin(), mbox.GetBody(0).end());
    auto message = std::make_unique<TKwMailMessage>();
    message->LoadMIMEFromString(JoinLines(lines));
    return message;
  }
};

}  // namespace

TEST_F(TKwTargetMboxTest, AnAttachmentsFilterBeforeTheMboxTargetLeavesNoAttachmentInTheMbox) {
  auto source = Source();
  AddMbox(*source, FHome / "copy.mbox");  // before the filter: the message as it came
  auto& filter = dynamic_cast<TKwTargetAttachmentsFilter&>(source->GetChild(source->AddChild(stiMailPasAttachmentsFilter)));
  filter.RemoveAll = true;
  AddMbox(filter, FHome / "stripped.mbox");
  auto& files = dynamic_cast<TKwTargetMailSingleFiles&>(filter.GetChild(filter.AddChild(stiMailTarSingleFiles)));
  files.Options->TargetFolder = (FHome / "eml").string();
  source->Execute();
  ASSERT_EQ(source->GetLog().ErrorsCount(), 0);

  const std::string stripped = ReadFileText(FHome / "stripped.mbox");
  EXPECT_EQ(stripped.find("report.pdf"), std::string::npos) << stripped;
  EXPECT_EQ(stripped.find("UkVQT1JUIEJZVEVT"), std::string::npos);
  const auto reread = OnlyMessageOf(FHome / "stripped.mbox");
  EXPECT_EQ(reread->Attachments->GetCount(), 0);
  EXPECT_EQ(reread->Headers->Subject, "Quarterly");
  EXPECT_EQ(JoinLines(reread->TextPart), "The figures are attached.");
  for (const auto& entry : fs::recursive_directory_iterator(FHome / "eml"))
    EXPECT_EQ(ReadFileText(entry.path()).find("report.pdf"), std::string::npos) << entry.path();

  // The unchanged message passes through byte for byte (line ends aside).
  std::string original = kMessageWithAttachments;
  std::string copy = ReadFileText(FHome / "copy.mbox");
  std::erase(copy, '\r');
  EXPECT_EQ(copy, original);
}

TEST_F(TKwTargetMboxTest, IncludeImagesInTargetShowsImageAttachmentsInTheHtmlBody) {
  auto source = Source();
  AddMbox(*source, FHome / "plain.mbox");
  AddMbox(*source, FHome / "images.mbox").IncludeImagesInTarget = true;
  source->Execute();
  const auto plain = OnlyMessageOf(FHome / "plain.mbox");
  EXPECT_TRUE(plain->HtmlPart.empty());
  const auto images = OnlyMessageOf(FHome / "images.mbox");
  const std::string html = JoinLines(images->HtmlPart);
  ASSERT_EQ(images->Attachments->GetCount(), 2);
  const int chartIndex = images->Attachments->IndexOf("chart.png");
  ASSERT_GE(chartIndex, 0);
  const TKwAttachment& chart = images->Attachments->GetAttachment(chartIndex);
  EXPECT_EQ(chart.Content, "PNG BYTES");
  ASSERT_FALSE(chart.ContentID.empty());
  EXPECT_NE(html.find("<img src=\"cid:" + chart.ContentID + "\">"), std::string::npos) << html;
  EXPECT_NE(html.find("The figures are attached."), std::string::npos) << html;
  EXPECT_GE(images->Attachments->IndexOf("report.pdf"), 0);
}

TEST_F(TKwTargetMboxTest, NothingReachesTheFileBeforeTheSaveAndLinesEndInCrLf) {
  TKwFoldersTree folders;
  folders.AddChild(nullptr).Info().FolderName = "Inbox";
  TKwMailMessage message;
  message.LoadMIMEFromString(kMessageWithAttachments);
  for (const bool perFolder : {false, true}) {
    SCOPED_TRACE(perFolder);
    TKwTargetMailMbox target;
    target.OneFilePerMailFolder = perFolder;
    target.TargetFolder = (FHome / "folders").string();
    target.TargetFilename = (FHome / "one.mbox").string();
    const fs::path file = perFolder ? FHome / "folders" / "Inbox.mbox" : FHome / "one.mbox";
    target.InitializeExtractProcess(folders);
    folders.ForEach([&](TKwFolderNode& node) {
      target.InitializeFolder(node.Info());
      target.ProcessMessage(message);
      EXPECT_FALSE(fs::exists(file));
      target.FinalizeFolder();
    });
    EXPECT_EQ(fs::exists(file), perFolder) << "per folder, the folder's end is the save";
    target.FinalizeExtractProcess();
    ASSERT_TRUE(fs::exists(file));
    const std::string written = ReadFileText(file);
    EXPECT_TRUE(written.starts_with("From ann@example.org "));
    for (size_t at = written.find('\n'); at != std::string::npos; at = written.find('\n', at + 1))
      ASSERT_EQ(written[at - 1], '\r') << "a bare LF at " << at;
    EXPECT_EQ(target.GetLog().ErrorsCount(), 0);
  }
}

// ---------------------------------------------------------------- error paths

TEST_F(TKwTargetMboxTest, AnMboxInAFolderThatCannotBeMadeIsOneErrorAndNoMessageIsSaved) {
  WriteFileText(FHome / "blocker", "x");
  auto source = Source();
  AddMbox(*source, FHome / "blocker" / "out.mbox");
  source->Execute();
  const TKwActionLog& log = source->GetChild(0).GetLog();
  EXPECT_EQ(log.ErrorsCount(), 1);
  EXPECT_EQ(log.Saved, 0);
}

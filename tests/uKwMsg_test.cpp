// Outlook message files: written by uKwMsgWriter, read by uKwMsgReader, and checked
// against two independent readers, python3-olefile and msgconvert.
#include <gtest/gtest.h>
#include <filesystem>
#include <memory>
#include <string>

#include "ShellRun.h"
#include "TestSupport.h"
#include "uKwMailMessage.h"
#include "uKwMessageOutput.h"
#include "uKwMsgProperties.h"
#include "uKwMsgReader.h"
#include "uKwMsgWriter.h"
#include "uKwOleStorage.h"
#include "uKwRtfBody.h"
#include "uKwSubs.h"

namespace fs = std::filesystem;

namespace {

const fs::path kMessages = fs::path(QUILLON_TEST_DATA) / "messages";

std::unique_ptr<TKwMailMessage> Loaded(const fs::path& file) {
  auto message = std::make_unique<TKwMailMessage>();
  EXPECT_TRUE(message->LoadFormat(file.string())) << message->LastError;
  return message;
}

std::string Joined(const TStringList& lines) { return JoinLines(lines, "\n"); }

// Every field a .msg carries, compared between the original and the reloaded message.
void ExpectSameFields(const TKwMailMessage& a, const TKwMailMessage& b, const std::string& what) {
  SCOPED_TRACE(what);
  EXPECT_EQ(a.Headers->Subject, b.Headers->Subject);
  EXPECT_EQ(a.Headers->From.Address, b.Headers->From.Address);
  EXPECT_EQ(a.Headers->From.Name, b.Headers->From.Name);
  EXPECT_EQ(a.Headers->ToList.EmailAddressComma(), b.Headers->ToList.EmailAddressComma());
  EXPECT_EQ(a.Headers->CCList.EmailAddressComma(), b.Headers->CCList.EmailAddressComma());
  EXPECT_EQ(a.Headers->MessageID, b.Headers->MessageID);
  EXPECT_NEAR(a.Headers->SubmitDate.GmtDate, b.Headers->SubmitDate.GmtDate, 1e-6);
  EXPECT_EQ(Joined(a.TextPart), Joined(b.TextPart));
  EXPECT_EQ(Joined(a.HtmlPart), Joined(b.HtmlPart));
  ASSERT_EQ(a.Attachments->GetCount(), b.Attachments->GetCount());
  for (int i = 0; i < a.Attachments->GetCount(); ++i) {
    const TKwAttachment& x = a.Attachments->GetAttachment(i);
    const TKwAttachment& y = b.Attachments->GetAttachment(i);
    EXPECT_EQ(x.FileName, y.FileName);
    EXPECT_EQ(x.ContentID, y.ContentID);
    if (FilenameToSingleFileFormat(x.FileName) != ffSfEml) {
      EXPECT_EQ(x.Content, y.Content) << x.FileName;
    }
  }
}

const char* const kRoundTripMessages[] = {
    "01-plain-ascii.eml", "02-alternative.eml", "03-mixed-pdf.eml",   "10-iso-2022-jp.eml",
    "14-gb2312.eml",      "17-utf8-rfc2231.eml", "21-no-body.eml",    "31-html-only.eml",
    "35-inline-image.eml", "39-latin1-8bit.eml", "46-missing-headers.eml"};

}  // namespace

// ---------------------------------------------------------------- our own reader

TEST(TKwMsgTest, WrittenMessagesReadBackWithTheSameFields) {
  TTempDir dir;
  for (const char* name : kRoundTripMessages) {
    auto original = Loaded(kMessages / name);
    const std::string file = (dir / (std::string(name) + ".msg")).string();
    std::string error;
    ASSERT_TRUE(WriteMsgFile(*original, file, error)) << error;
    TKwMailMessage reloaded;
    ASSERT_TRUE(reloaded.LoadFormat(file)) << reloaded.LastError;
    EXPECT_EQ(reloaded.SourceFilename, file);
    ExpectSameFields(*original, reloaded, name);
  }
}

TEST(TKwMsgTest, AnAttachedMessageBecomesANestedStorageAndComesBackAsEml) {
  TTempDir dir;
  auto original = Loaded(kMessages / "05-rfc822-attached.eml");
  ASSERT_GE(original->Attachments->GetCount(), 1);
  const std::string file = (dir / "nested.msg").string();
  std::string error;
  ASSERT_TRUE(WriteMsgFile(*original, file, error)) << error;

  TKwOleNode root;
  ASSERT_TRUE(ReadCompoundFile(file, root, error)) << error;
  const TKwOleNode* attachment = root.Child("__attach_version1.0_#00000000");
  ASSERT_NE(attachment, nullptr);
  const TKwOleNode* nested = attachment->Child("__substg1.0_3701000D");
  ASSERT_NE(nested, nullptr);
  EXPECT_TRUE(nested->IsStorage);
  EXPECT_NE(nested->StreamData("__substg1.0_0037001F"), nullptr);

  TKwMailMessage reloaded;
  ASSERT_TRUE(reloaded.LoadMSG(file)) << reloaded.LastError;
  ASSERT_EQ(reloaded.Attachments->GetCount(), original->Attachments->GetCount());
  TKwMailMessage inner, innerOriginal;
  inner.LoadMIMEFromString(reloaded.Attachments->GetAttachment(0).Content);
  innerOriginal.LoadMIMEFromString(original->Attachments->GetAttachment(0).Content);
  EXPECT_EQ(inner.Headers->Subject, innerOriginal.Headers->Subject);
  EXPECT_EQ(Joined(inner.TextPart), Joined(innerOriginal.TextPart));
}

TEST(TKwMsgTest, TheSubjectIsAUnicodeSubstgStreamAsOutlookReadersExpect) {
  TTempDir dir;
  auto original = Loaded(kMessages / "10-iso-2022-jp.eml");
  const std::string file = (dir / "jp.msg").string();
  std::string error;
  ASSERT_TRUE(WriteMsgFile(*original, file, error)) << error;
  TKwOleNode root;
  ASSERT_TRUE(ReadCompoundFile(file, root, error)) << error;
  const std::string* subject = root.StreamData("__substg1.0_0037001F");
  ASSERT_NE(subject, nullptr);
  EXPECT_EQ(Utf16LeBytesToUtf8(*subject), original->Headers->Subject);
  EXPECT_NE(root.Child("__nameid_version1.0"), nullptr);
  EXPECT_NE(root.Child("__recip_version1.0_#00000000"), nullptr);
}

// ---------------------------------------------------------------- other readers

TEST(TKwMsgTest, OlefileReadsTheStreamsOfAWrittenMessage) {
  TTempDir dir;
  auto original = Loaded(kMessages / "03-mixed-pdf.eml");
  const std::string file = (dir / "mixed.msg").string();
  std::string error;
  ASSERT_TRUE(WriteMsgFile(*original, file, error)) << error;
  const std::string script =
      "import olefile,sys\n"
      "o=olefile.OleFileIO(sys.argv[1])\n"
      "r=lambda p: o.openstream(p).read()\n"
      "print(r('__substg1.0_0037001F').decode('utf-16-le'))\n"
      "print(r('__substg1.0_0C1F001F').decode('utf-16-le'))\n"
      "print(r('__recip_version1.0_#00000000/__substg1.0_39FE001F').decode('utf-16-le'))\n"
      "print(r('__attach_version1.0_#00000000/__substg1.0_3707001F').decode('utf-16-le'))\n"
      "print(len(r('__attach_version1.0_#00000000/__substg1.0_37010102')))\n";
  WriteFileText(dir / "read.py", script);
  const TShellRun run = Shell("/usr/bin/python3 " + Quoted((dir / "read.py").string()) + " " + Quoted(file));
  ASSERT_EQ(run.Status, 0) << run.Out;
  const TKwAttachment& attachment = original->Attachments->GetAttachment(0);
  EXPECT_EQ(run.Out, original->Headers->Subject + "\n" + original->Headers->From.Address + "\n" +
                         original->Headers->ToList.Items(0).Address + "\n" + attachment.FileName + "\n" +
                         std::to_string(attachment.Content.size()) + "\n");
}

TEST(TKwMsgTest, MsgconvertTurnsWrittenMessagesBackIntoTheSameMail) {
  TTempDir dir;
  for (const char* name : {"02-alternative.eml", "03-mixed-pdf.eml", "17-utf8-rfc2231.eml"}) {
    SCOPED_TRACE(name);
    auto original = Loaded(kMessages / name);
    const fs::path file = dir / (std::string(name) + ".msg");
    const fs::path eml = dir / (std::string(name) + ".converted.eml");
    std::string error;
    ASSERT_TRUE(WriteMsgFile(*original, file.string(), error)) << error;
    const TShellRun run = Shell("msgconvert --outfile " + Quoted(eml.string()) + " " + Quoted(file.string()));
    ASSERT_EQ(run.Status, 0) << run.Out;
    TKwMailMessage converted;
    ASSERT_TRUE(converted.LoadMIME(eml.string()));
    EXPECT_EQ(converted.Headers->Subject, original->Headers->Subject);
    EXPECT_EQ(converted.Headers->From.Address, original->Headers->From.Address);
    EXPECT_EQ(converted.Headers->ToList.AddressComma(), original->Headers->ToList.AddressComma());
    if (!original->TextPart.empty()) {
      EXPECT_NE(Joined(converted.TextPart).find(original->TextPart.front()), std::string::npos);
    }
    ASSERT_EQ(converted.Attachments->GetAttachCount(), original->Attachments->GetAttachCount());
    for (int i = 0; i < original->Attachments->GetCount(); ++i) {
      EXPECT_EQ(converted.Attachments->GetAttachment(i).FileName, original->Attachments->GetAttachment(i).FileName);
      EXPECT_EQ(converted.Attachments->GetAttachment(i).Content, original->Attachments->GetAttachment(i).Content);
    }
  }
}

// ---------------------------------------------------------------- real-world layouts

// A message as other tools write it: 8-bit strings in the message's code page, an
// Exchange sender with its SMTP address apart, no transport headers, and only an RTF body.
TEST(TKwMsgTest, EightBitStringsExchangeSendersAndRtfOnlyBodiesAreRead) {
  TTempDir dir;
  using namespace msgprop;
  TKwOleNode root{"Root Entry", true, {}, {}};
  TKwMsgPropertyWriter props;
  props.AddLong(kMessageCodepage, 1252);
  props.AddLong(kImportance, 2);
  props.AddTime(kClientSubmitTime, 45000.5);
  props.AddUnicode(kSenderName, "Zoë Exchange");
  props.AddUnicode(kSenderEmail, "/O=CORP/OU=EXCHANGE/CN=RECIPIENTS/CN=ZOE");
  props.AddUnicode(kSenderAddrType, "EX");
  props.AddUnicode(kSenderSmtpAddress, "zoe@corp.example");
  // The LZFu example of the compressed-RTF format's documentation.
  const unsigned char rtf[] = {0x2d, 0x00, 0x00, 0x00, 0x2b, 0x00, 0x00, 0x00, 0x4c, 0x5a, 0x46, 0x75,
                               0xf1, 0xc5, 0xc7, 0xa7, 0x03, 0x00, 0x0a, 0x00, 0x72, 0x63, 0x70, 0x67,
                               0x31, 0x32, 0x35, 0x42, 0x32, 0x0a, 0xf3, 0x20, 0x68, 0x65, 0x6c, 0x09,
                               0x00, 0x20, 0x62, 0x77, 0x05, 0xb0, 0x6c, 0x64, 0x7d, 0x0a, 0x80, 0x0f, 0xa0};
  props.AddBinary(kRtfCompressed, std::string(reinterpret_cast<const char*>(rtf), sizeof rtf));
  props.WriteInto(root, std::string(32, '\0'));
  root.AddStream(SubstgName(Tag(kSubject, kString8)), "Caf\xE9 menu");
  TKwOleNode& recipient = root.AddStorage("__recip_version1.0_#00000000");
  TKwMsgPropertyWriter recipientProps;
  recipientProps.AddLong(kRecipientType, 2);
  recipientProps.AddUnicode(kDisplayName, "Bob");
  recipientProps.AddUnicode(kEmailAddress, "bob@example.org");
  recipientProps.WriteInto(recipient, std::string(8, '\0'));
  const std::string file = (dir / "foreign.msg").string();
  std::string error;
  ASSERT_TRUE(WriteCompoundFile(file, root, {}, error)) << error;

  TKwMailMessage message;
  ASSERT_TRUE(message.LoadMSG(file)) << message.LastError;
  EXPECT_EQ(message.Headers->Subject, "Café menu");
  EXPECT_EQ(message.Headers->From.Address, "zoe@corp.example");
  EXPECT_EQ(message.Headers->From.Name, "Zoë Exchange");
  EXPECT_EQ(message.Headers->CCList.EmailAddressComma(), "Bob <bob@example.org>");
  EXPECT_EQ(message.Headers->Priority, mpriHigh);
  EXPECT_NEAR(message.Headers->SubmitDate.GmtDate, 45000.5, 1e-6);
  EXPECT_EQ(Joined(message.TextPart), "hello world");
  EXPECT_FALSE(message.Headers->Lines.empty());  // built from the properties
}

TEST(TKwMsgTest, CompressedRtfDecompressesAndYieldsItsHtmlOrText) {
  const unsigned char uncompressed[] = {0x1a, 0, 0, 0, 0x0a, 0, 0, 0, 'M', 'E', 'L', 'A', 0, 0, 0, 0,
                                        '{', '\\', 'r', 't', 'f', '1', ' ', 'h', 'i', '}'};
  std::string rtf;
  ASSERT_TRUE(DecompressRtf(std::string(reinterpret_cast<const char*>(uncompressed), sizeof uncompressed), rtf));
  EXPECT_EQ(rtf, "{\\rtf1 hi}");
  EXPECT_FALSE(DecompressRtf("short", rtf));
  EXPECT_FALSE(DecompressRtf(std::string(16, 'x'), rtf));

  const std::string encapsulated =
      "{\\rtf1\\ansi\\ansicpg1252\\fromhtml1 {\\fonttbl{\\f0 Arial;}}"
      "{\\*\\htmltag19 <html>}{\\*\\htmltag34 <body>}\\htmlrtf {\\f0 rtf only}\\htmlrtf0 "
      "Caf\\'e9 \\u8364?{\\*\\htmltag84 </body>}{\\*\\htmltag27 </html>}}";
  std::string html;
  ASSERT_TRUE(RtfExtractHtml(encapsulated, html));
  EXPECT_EQ(html, "<html><body>Café €</body></html>");
  EXPECT_FALSE(RtfExtractHtml("{\\rtf1 plain}", html));
  EXPECT_EQ(RtfToText("{\\rtf1{\\fonttbl{\\f0 Arial;}}{\\*\\generator x;}Line one\\par Line\\tab two}"),
            "Line one\nLine\ttwo");
}

// ---------------------------------------------------------------- error paths

TEST(TKwMsgTest, FilesThatAreNoMessageFilesFailWithAReason) {
  TTempDir dir;
  TKwMailMessage message;
  WriteFileText(dir / "empty.msg", "");
  EXPECT_FALSE(message.LoadMSG((dir / "empty.msg").string()));
  EXPECT_NE(message.LastError.find("empty.msg"), std::string::npos);
  WriteFileText(dir / "text.msg", "From: a@b\r\n\r\nnot a compound file\r\n");
  EXPECT_FALSE(message.LoadMSG((dir / "text.msg").string()));
  EXPECT_FALSE(message.LoadMSG((dir / "missing.msg").string()));

  TKwOleNode root{"Root Entry", true, {}, {}};
  root.AddStream("Workbook", "not a message");
  std::string error;
  ASSERT_TRUE(WriteCompoundFile((dir / "workbook.msg").string(), root, {}, error));
  EXPECT_FALSE(message.LoadMSG((dir / "workbook.msg").string()));
  EXPECT_NE(message.LastError.find("no property stream"), std::string::npos) << message.LastError;
}

TEST(TKwMsgTest, EveryTruncationOfAMessageFileLoadsOrFailsCleanly) {
  TTempDir dir;
  auto original = Loaded(kMessages / "03-mixed-pdf.eml");
  const std::string file = (dir / "whole.msg").string();
  std::string error;
  ASSERT_TRUE(WriteMsgFile(*original, file, error)) << error;
  const std::string bytes = ReadFileText(file);
  TKwMailMessage message;
  for (size_t size = 0; size < bytes.size(); size += 97) {
    std::string truncated = bytes.substr(0, size);
    LoadMsgBytes(truncated, message, error);  // either way, no crash and no hang
    for (size_t i = size / 2; i < truncated.size(); i += 509) truncated[i] = static_cast<char>(~truncated[i]);
    LoadMsgBytes(truncated, message, error);
  }
  EXPECT_TRUE(LoadMsgBytes(bytes, message, error)) << error;
}

TEST(TKwMsgTest, TheSingleFilesWriterSavesMsgFiles) {
  TTempDir dir;
  auto message = Loaded(kMessages / "02-alternative.eml");
  message->SaveOptions->TargetFolder = dir.Path().string();
  message->SaveOptions->TargetFileFormat = ffSfMsg;
  const TSaveResult result = SaveAs(*message);
  ASSERT_EQ(result.Status, ssSaved) << result.ErrorMessage;
  EXPECT_EQ(fs::path(message->LastSavedFilename).extension(), ".msg");
  TKwMailMessage reloaded;
  ASSERT_TRUE(reloaded.LoadFormat(message->LastSavedFilename)) << reloaded.LastError;
  EXPECT_EQ(reloaded.Headers->Subject, message->Headers->Subject);
}

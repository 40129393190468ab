#include "uKwMailMessage.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "TestSupport.h"
#include "uKwArchive.h"
#include "uKwGMime.h"

namespace fs = std::filesystem;

namespace {

const fs::path kMessages = fs::path(QUILLON_TEST_DATA) / "messages";
const fs::path kSmime = fs::path(QUILLON_TEST_DATA) / "smime";
const std::string kZipName = "42-0123456789ABCDEF012345678!zipped.zip";

std::vector<std::string> AttachmentNames(const TKwMailMessage& message) {
  std::vector<std::string> names;
  for (int i = 0; i < message.Attachments->GetCount(); ++i)
    names.push_back(message.Attachments->GetAttachment(i).FileName);
  return names;
}

std::string FirstLine(const TStringList& lines) { return lines.empty() ? "" : lines.front(); }

std::unique_ptr<TKwMailMessage> Load(std::string_view text) {
  auto message = std::make_unique<TKwMailMessage>();
  EXPECT_TRUE(message->LoadMIMEFromString(std::string(text)));
  return message;
}

std::unique_ptr<TKwMailMessage> LoadFile(const std::string& name) {
  auto message = std::make_unique<TKwMailMessage>();
  EXPECT_TRUE(message->LoadFormat((kMessages / name).string())) << name << ": " << message->LastError;
  return message;
}

std::string UuencodedFile(const std::string& name, const std::string& bytes) {
  std::string text = "begin 644 " + name + "\r\n";
  for (size_t pos = 0; pos < bytes.size(); pos += 45) {
    const std::string chunk = bytes.substr(pos, 45);
    std::string line(1, static_cast<char>(32 + chunk.size()));
    for (size_t i = 0; i < chunk.size(); i += 3) {
      unsigned char b[3] = {0, 0, 0};
      for (size_t j = 0; j < 3 && i + j < chunk.size(); ++j) b[j] = static_cast<unsigned char>(chunk[i + j]);
      const int values[4] = {b[0] >> 2, (b[0] << 4 | b[1] >> 4) & 63, (b[1] << 2 | b[2] >> 6) & 63, b[2] & 63};
      for (int v : values) line.push_back(static_cast<char>(v == 0 ? '`' : 32 + v));
    }
    text += line + "\r\n";
  }
  return text + "`\r\nend\r\n";
}

}  // namespace

// ---------------------------------------------------------------- the corpus

TEST(TKwMailMessageTest, LoadsEveryCorpusMessageAsExpected) {
  const nlohmann::json expected = nlohmann::json::parse(ReadFileText(kMessages / "expected.json"));
  ASSERT_GE(expected.size(), 40u);
  TKwMailMessage message;  // reused, as a source does
  for (const auto& [name, want] : expected.items()) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(message.LoadFormat((kMessages / name).string())) << message.LastError;
    EXPECT_EQ(message.Headers->Subject, want["subject"].get<std::string>());
    EXPECT_EQ(message.Headers->From.Address, want["from"].get<std::string>());
    EXPECT_EQ(message.ColumnFieldToDataString(cfSubmitDate), want["date"].get<std::string>());
    EXPECT_EQ(FirstLine(message.TextPart), want["text_first_line"].get<std::string>());
    EXPECT_EQ(!message.HtmlPart.empty(), want["has_html"].get<bool>());
    EXPECT_EQ(AttachmentNames(message), want["attachments"].get<std::vector<std::string>>());
    EXPECT_EQ(message.SourceFilename, (kMessages / name).string());
    // Decoding again from the lines gives what the load decoded from the file's text.
    TKwMailMessage again;
    again.Assign(message);
    again.DecodeMimeMessage();
    EXPECT_EQ(again.TextPart, message.TextPart);
    EXPECT_EQ(again.HtmlPart, message.HtmlPart);
    EXPECT_EQ(AttachmentNames(again), AttachmentNames(message));
    EXPECT_EQ(again.BounceType, message.BounceType);
  }
}

TEST(TKwMailMessageTest, CorpusMessagesCutAnywhereStillLoad) {
  TKwMailMessage message;
  for (const auto& entry : fs::directory_iterator(kMessages)) {
    if (entry.path().extension() != ".eml") continue;
    const std::string text = ReadFileText(entry.path());
    for (size_t cut : {size_t{0}, size_t{1}, text.size() / 3, text.size() / 2, text.size() - 1}) {
      SCOPED_TRACE(entry.path().filename().string() + " cut at " + std::to_string(cut));
      EXPECT_TRUE(message.LoadMIMEFromString(text.substr(0, cut)));
      for (int i = 0; i < message.Attachments->GetCount(); ++i)
        EXPECT_FALSE(message.Attachments->GetAttachment(i).FileName.empty());
    }
  }
}

// ---------------------------------------------------------------- the MIME walk

TEST(TKwMailMessageTest, CharsetsComeFromTheAttributeStringAsWritten) {
  // The value is read from the ninth character, so only a leading "charset=" is understood.
  auto first = Load("Content-Type: text/plain; charset=\"koi8-r\"; format=flowed\r\n\r\n\xf0\xd2\xc9\r\n");
  EXPECT_EQ(first->TextPartCharset, "koi8-r");
  EXPECT_EQ(FirstLine(first->TextPart), "При");
  auto later = Load("Content-Type: text/plain; format=flowed; charset=koi8-r\r\n\r\nabc\r\n");
  EXPECT_EQ(later->TextPartCharset, "lowed");
  auto unknown = Load("Content-Type: text/plain; charset=x-no-such-set\r\n\r\nna\xefve\r\n");
  EXPECT_EQ(FirstLine(unknown->TextPart), "na\xc3\xafve") << "unknown charsets read as Latin-1";
}

TEST(TKwMailMessageTest, TopLevelCharsetReachesRawHeaderBytes) {
  auto message = Load("Subject: \xd5\xd3\xc5\r\nContent-Type: text/plain; charset=koi8-r\r\n\r\nx\r\n");
  EXPECT_EQ(message->Headers->Subject, "усе");
}

TEST(TKwMailMessageTest, AttachmentsKeepTheirBytesAndContentIds) {
  auto message = LoadFile("04-nested-related.eml");
  ASSERT_EQ(message->Attachments->GetCount(), 2);
  EXPECT_EQ(message->Attachments->GetAttachment(0).ContentID, "logo@example.com");
  EXPECT_EQ(message->Attachments->GetAttachment(0).Content.substr(0, 4), "\x89PNG");
  EXPECT_EQ(message->Attachments->GetAttachment(1).Content, "PK\x03\x04 not really a docx");
  EXPECT_EQ(message->TextPartCharset, "utf-8");
  EXPECT_EQ(message->HtmlPartCharset, "utf-8");
}

TEST(TKwMailMessageTest, ShallowerDecodingKeepsHeadersAndSourceAndLeavesTheRestEmpty) {
  for (const fs::path& file : {kMessages / "04-nested-related.eml",
                               fs::path(QUILLON_TEST_DATA) / "bounces" / "01-dsn-unknown-user.eml"}) {
    const std::string text = ReadFileText(file);
    TKwMailMessage full, headers, verdict, listed, unclassified;
    unclassified.ClassifiesBounces = false;
    headers.DecodeDepth = TKwDecodeDepth::Headers;
    verdict.DecodeDepth = TKwDecodeDepth::BounceVerdict;
    listed.DecodeDepth = TKwDecodeDepth::AllButAttachmentBytes;
    for (TKwMailMessage* message : {&full, &headers, &verdict, &listed, &unclassified})
      ASSERT_TRUE(message->LoadMIMEFromString(text));
    EXPECT_EQ(unclassified.Attachments->GetText(), full.Attachments->GetText());
    EXPECT_EQ(unclassified.BounceType, "");
    EXPECT_EQ(listed.TextPart, full.TextPart);
    EXPECT_EQ(listed.Attachments->GetText(), full.Attachments->GetText());
    EXPECT_EQ(listed.BounceType, full.BounceType);
    for (int i = 0; i < listed.Attachments->GetCount(); ++i) {
      const TKwAttachment& attachment = listed.Attachments->GetAttachment(i);
      if (!attachment.FileName.ends_with(".eml")) EXPECT_EQ(attachment.Content, "") << attachment.FileName;
    }
    ASSERT_FALSE(full.TextPart.empty() && full.Attachments->GetCount() == 0) << file;
    for (TKwMailMessage* message : {&headers, &verdict}) {
      EXPECT_EQ(message->Headers->Subject, full.Headers->Subject);
      EXPECT_EQ(message->Headers->GetUniqueId(), full.Headers->GetUniqueId());
      EXPECT_EQ(message->SourceText, full.SourceText);
      EXPECT_TRUE(message->TextPart.empty() && message->HtmlPart.empty());
      EXPECT_EQ(message->Attachments->GetCount(), 0);
    }
    EXPECT_EQ(verdict.BounceType, full.BounceType);
    EXPECT_EQ(verdict.BounceRecipient, full.BounceRecipient);
    EXPECT_EQ(headers.BounceType, "");
  }
}

TEST(TKwMailMessageTest, InvalidFileNameCharactersBecomeUnderscores) {
  auto message = Load(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Type: application/pdf\r\n"
      "Content-Disposition: attachment; filename=\"a/b:c?.pdf\"\r\n\r\nx\r\n--b--\r\n");
  EXPECT_EQ(AttachmentNames(*message), std::vector<std::string>{"a_b_c_.pdf"});
}

// A uuencoded file leaves the body as an attachment; look-alike text stays text; a block
// cut short keeps what decoded.
TEST(TKwMailMessageTest, UuencodedFilesInAPlainBodyBecomeAttachments) {
  std::string payload;
  for (int i = 0; i < 300; ++i) payload.push_back(static_cast<char>(i * 7));
  auto message = Load("Subject: uu\r\n\r\nBefore the file.\r\n" + UuencodedFile("pic.bin", payload) + "After it.\r\n");
  ASSERT_EQ(AttachmentNames(*message), std::vector<std::string>{"pic.bin"});
  EXPECT_EQ(message->Attachments->GetAttachment(0).Content, payload);
  EXPECT_EQ(message->TextPart, (TStringList{"Before the file.", "After it."}));

  auto lookAlike = Load("Subject: x\r\n\r\nbegin 644 apples\r\nand pears are fine\r\nend\r\n");
  EXPECT_EQ(lookAlike->Attachments->GetCount(), 0);
  EXPECT_EQ(lookAlike->TextPart.size(), 3u);

  std::string rest;
  const std::string block = UuencodedFile("cut.bin", std::string(90, 'A'));
  const std::vector<TKwUuFile> files =
      ExtractUuencodedFiles(block.substr(0, block.find("`\r\nend")) + "no longer uuencode\r\n", rest);
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(files[0].Bytes, std::string(90, 'A'));
  EXPECT_EQ(rest, "no longer uuencode\r\n");
}

// What once sent a message to the second walk (a uuencoded file, a named part without
// disposition, a whole message) no longer changes which body wins: the last one.
TEST(TKwMailMessageTest, TheLastPlainPartWinsAlsoBesideUuencodeNamedPartsAndMessages) {
  const std::string second = "--b\r\nContent-Type: text/plain\r\n\r\nsecond\r\n";
  const struct {
    std::string Part, Attachment, Reason;
  } cases[] = {
      {"--b\r\nContent-Type: text/plain\r\n\r\nfirst\r\n" + UuencodedFile("f.bin", "uu") + second, "f.bin",
       "uuencoded file in the first body"},
      {"--b\r\nContent-Type: text/plain\r\n\r\nfirst\r\n--b\r\nContent-Type: application/pdf; name=\"r.pdf\"\r\n\r\n"
       "%PDF\r\n" + second, "r.pdf", "a named part without disposition"},
      {"--b\r\nContent-Type: text/plain\r\n\r\nfirst\r\n--b\r\nContent-Type: message/rfc822\r\n\r\n"
       "Subject: inner\r\n\r\nbody\r\n" + second, "inner.eml", "an embedded message"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Reason);
    auto message = Load("Content-Type: multipart/mixed; boundary=b\r\n\r\n" + c.Part + "--b--\r\n");
    EXPECT_EQ(message->TextPart, TStringList{"second"});
    EXPECT_EQ(AttachmentNames(*message), std::vector<std::string>{c.Attachment});
  }
}

// Beyond the first walk as written: a text part marked as an attachment stays one.
TEST(TKwMailMessageTest, TextPartsWithAttachmentDispositionAreAttachments) {
  auto message = Load(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Type: text/plain\r\n\r\nbody\r\n"
      "--b\r\nContent-Type: text/html\r\nContent-Disposition: attachment; filename=page.htm\r\n\r\n<p>x</p>\r\n"
      "--b\r\nContent-Type: text/plain\r\nContent-Disposition: attachment\r\n\r\nlog\r\n--b--\r\n");
  EXPECT_EQ(message->TextPart, TStringList{"body"});
  EXPECT_TRUE(message->HtmlPart.empty());
  EXPECT_EQ(AttachmentNames(*message), (std::vector<std::string>{"page.htm", "report.txt"}));
}

TEST(TKwMailMessageTest, TreeWalkTakesTheFirstBodiesAndMovesHtmlOutOfPlainText) {
  const TKwMimeMessage mime(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Type: text/plain\r\n\r\nfirst\r\n"
      "--b\r\nContent-Type: text/plain\r\n\r\nsecond\r\n--b\r\nContent-Type: text/html\r\n\r\n<p>one</p>\r\n"
      "--b\r\nContent-Type: text/html\r\n\r\n<p>two</p>\r\n--b--\r\n");
  TKwMailMessage message;
  message.CheckMimePart(mime.Root(), TKwMimePart());
  EXPECT_EQ(message.TextPart, TStringList{"first"});
  EXPECT_EQ(message.HtmlPart, TStringList{"<p>one</p>"});

  const TKwMimeMessage html("Content-Type: text/plain\r\n\r\n<HTML><body>hi</body></HTML>\r\n");
  TKwMailMessage other;
  other.CheckMimePart(html.Root(), TKwMimePart());
  EXPECT_TRUE(other.TextPart.empty());
  EXPECT_EQ(other.HtmlPart, TStringList{"<HTML><body>hi</body></HTML>"});
}

TEST(TKwMailMessageTest, TreeWalkNamesPartsOfAnAttachedMultipartAfterTheirParent) {
  const TKwMimeMessage mime(
      "Content-Type: multipart/mixed; boundary=o\r\n\r\n--o\r\n"
      "Content-Type: multipart/mixed; boundary=i\r\nContent-Disposition: attachment; filename=\"bundle.dat\"\r\n\r\n"
      "--i\r\nContent-Type: application/octet-stream\r\n\r\nxyz\r\n--i--\r\n--o--\r\n");
  TKwMailMessage message;
  message.CheckMimePart(mime.Root(), TKwMimePart());
  EXPECT_EQ(AttachmentNames(message), std::vector<std::string>{"bundle.dat"});
}

TEST(TKwMailMessageTest, EmbeddedMessageWithoutSubjectGetsANumberedName) {
  auto message = Load(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Type: message/rfc822\r\n\r\n"
      "From: x@example.com\r\n\r\nbody\r\n--b--\r\n");
  EXPECT_EQ(AttachmentNames(*message), std::vector<std::string>{"ATT_1.dat"});
}

// ---------------------------------------------------------------- S/MIME

// Decrypted with the right certificate; with another, a broken one or one without its
// key the message is decoded as it is; Clear forgets the certificate.
TEST(TKwMailMessageTest, EnvelopedMessagesDecryptOnlyWithTheirCertificate) {
  TKwMailMessage message;
  message.CertificateOptions->CertEncoded = ReadFileText(kSmime / "recipient.pem");
  ASSERT_TRUE(message.LoadMIME((kMessages / "25-smime-enveloped.eml").string()));
  EXPECT_EQ(message.TextPart, TStringList{"The secret plan is ready."});
  EXPECT_EQ(message.Attachments->GetCount(), 0);
  EXPECT_EQ(message.Headers->Subject, "Encrypted plan");
  EXPECT_EQ(message.Headers->MessageID, "<smime-25@example.com>");
  EXPECT_EQ(message.ColumnFieldToDataString(cfSubmitDate), "02/22/24 10:00:00");
  message.Clear();
  EXPECT_TRUE(message.CertificateOptions->CertEncoded.empty());

  for (const std::string& certificate : {ReadFileText(kSmime / "other.pem"), std::string("not a certificate"),
                                         ReadFileText(kSmime / "recipient.crt")}) {
    TKwMailMessage other;
    other.CertificateOptions->CertEncoded = certificate;
    ASSERT_TRUE(other.LoadMIME((kMessages / "25-smime-enveloped.eml").string()));
    EXPECT_EQ(AttachmentNames(other), std::vector<std::string>{"smime.p7m"});
    EXPECT_EQ(other.Headers->Subject, "Encrypted plan");
  }
}

// ---------------------------------------------------------------- derived data

TEST(TKwMailMessageTest, WordsSplitAtTheDelimitersAndKeepHyphensApostrophesAndUnderscores) {
  TStringList words{"ZEBRA"};
  WordsParser({"It's a well-known e-mail: john.doe@example.com; snake_case ok?", "--- ___ -_- ab abc abc",
               "tab\there", "über"},
              words);
  EXPECT_EQ(words, (TStringList{"-_-", "ABC", "COM", "DOE", "E-MAIL", "EXAMPLE", "HERE", "IT'S", "JOHN",
                                "SNAKE_CASE", "TAB", "WELL-KNOWN", "ZEBRA", "\xc3\xbc" "BER"}));
}

TEST(TKwMailMessageTest, ParseWordsReadsHtmlWhenThereIsNoTextAndAddsTheHeaders) {
  TKwMailMessage message;
  message.DecodeOptions = {doParseWords};
  message.LoadMIMEFromString(
      "From: Ann <ann@example.com>\r\nTo: bob@corp.example\r\nOrganization: Acme\r\nSubject: Budget\r\n"
      "Content-Type: text/html\r\n\r\n<html><body><b>Quarterly</b> figures</body></html>\r\n");
  for (const char* word : {"QUARTERLY", "FIGURES", "BUDGET", "ANN", "BOB", "CORP", "ACME", "EXAMPLE"})
    EXPECT_TRUE(std::binary_search(message.WordsList.begin(), message.WordsList.end(), word)) << word;
  EXPECT_FALSE(std::binary_search(message.WordsList.begin(), message.WordsList.end(), "BODY"));
}

TEST(TKwMailMessageTest, ImageLinksAreTheDistinctRemoteSources) {
  auto message = LoadFile("31-html-only.eml");
  EXPECT_EQ(message->ImagesLinks,
            (TStringList{"http://cdn.example.com/a.png?x=1&y=2", "https://cdn.example.com/b.gif"}));
  message->DecodeOptions = {};
  message->LoadFormat((kMessages / "31-html-only.eml").string());
  EXPECT_TRUE(message->ImagesLinks.empty());
}

// The first relay with a public address gives the country; private ones (every 172.x
// among them) are passed over.
TEST(TKwMailMessageTest, CountryComesFromTheFirstPublicRelay) {
  TTempDir data;
  WriteFileText(data / "IpToCountry.csv",
                "# ranges\n\"3405803776\",\"3405804031\",\"test\",\"0\",\"TE\",\"TST\",\"Testland\"\n"
                "\"2899902464\",\"2899968000\",\"test\",\"0\",\"PR\",\"PRV\",\"Privateland\"\n");
  const std::string privateRelays =
      "Received: from a.example (a.example [10.1.2.3]) by b; Mon, 1 Jan 2024 10:00:00 +0000\r\n"
      "Received: from c.example (c.example [172.217.1.1]) by d; Mon, 1 Jan 2024 10:00:00 +0000\r\n"
      "Received: from g (g [192.168.1.1]) by h; Mon, 1 Jan 2024 10:00:00 +0000\r\n"
      "Received: from i (i [127.0.0.1]) by j; Mon, 1 Jan 2024 10:00:00 +0000\r\n";
  TKwMailMessage message;
  message.DataFolder = data.Path().string();
  message.DecodeOptions = {doDecodeCountry};
  message.LoadMIMEFromString(privateRelays + "Subject: x\r\n\r\nbody\r\n");
  EXPECT_EQ(message.CountryCode + message.CountryName + message.SenderLocation, "");
  message.LoadMIMEFromString(privateRelays +
                             "Received: from relay.example (relay.example [203.0.113.9]) by e; "
                             "Mon, 1 Jan 2024 10:00:00 +0000\r\nSubject: x\r\n\r\nbody\r\n");
  EXPECT_EQ(message.CountryCode, "TST");
  EXPECT_EQ(message.CountryName, "Testland");
  EXPECT_EQ(message.SenderLocation, "203.0.113.9 (relay.example)");
}

// ---------------------------------------------------------------- columns

TEST(TKwMailMessageTest, ColumnsGiveTheMessageFacts) {
  auto message = LoadFile("03-mixed-pdf.eml");
  message->FolderName = "Inbox";
  message->Labels = "work";
  message->BounceType = "HardBounce";
  message->BounceRecipient = "gone@example.org";
  message->LastSavedFilename = "/out/x.eml";
  const TKwMailMessage& m = *message;
  EXPECT_EQ(m.ColumnFieldToDataString(cfFromName), "Carol");
  EXPECT_EQ(m.ColumnFieldToDataString(cfToComma), "Dan <dan@example.org>");
  EXPECT_EQ(m.ColumnFieldToDataString(cfTextPart), "Please find the report attached.");
  EXPECT_EQ(m.ColumnFieldToDataString(cfAttachCount), "1");
  EXPECT_EQ(m.ColumnFieldToDataString(cfAttachComma), "report.pdf");
  EXPECT_EQ(m.ColumnFieldToDataString(cfPriority), "False");
  EXPECT_EQ(m.ColumnFieldToDataString(cfFolderName), "Inbox");
  EXPECT_EQ(m.ColumnFieldToDataString(cfLabels), "work");
  EXPECT_EQ(m.ColumnFieldToDataString(cfBounceType), "HardBounce");
  EXPECT_EQ(m.ColumnFieldToDataString(cfBounceRecipient), "gone@example.org");
  EXPECT_EQ(m.ColumnFieldToDataString(cfLastSavedFile), "");
  EXPECT_EQ(m.ColumnFieldToDataString(cfFilename), (kMessages / "03-mixed-pdf.eml").string());
  EXPECT_NE(m.ColumnFieldToDataString(cfHeaders).find("Subject: Report attached"), std::string::npos);
}

// ---------------------------------------------------------------- compressed stream

TEST(TKwMailMessageTest, CompressedStreamRestoresAttachmentsHeadersCategoriesAndBodies) {
  TTempDir dir;
  auto original = LoadFile("04-nested-related.eml");
  original->Categories = {"Important", "Ünïcode"};
  ASSERT_TRUE(original->SaveToFile((dir / "stored.bin").string()));

  TKwBaseMessage restored;
  restored.TextPartCharset = "kept";
  ASSERT_TRUE(restored.LoadFromFile((dir / "stored.bin").string())) << restored.LastError;
  EXPECT_EQ(restored.SourceFilename, (dir / "stored.bin").string());
  EXPECT_EQ(restored.TextPartCharset, "kept") << "charsets are not stored";
  EXPECT_EQ(restored.Categories, original->Categories);
  EXPECT_EQ(restored.TextPart, original->TextPart);
  EXPECT_EQ(restored.HtmlPart, original->HtmlPart);
  EXPECT_EQ(restored.Headers->Subject, "Newsletter with logo");
  ASSERT_EQ(restored.Attachments->GetCount(), 2);
  EXPECT_EQ(restored.Attachments->GetAttachment(0).Content, original->Attachments->GetAttachment(0).Content);
  EXPECT_EQ(restored.Attachments->GetAttachment(1).FileName, "minutes.docx");

  std::string first, second;
  original->SaveToCompressedStream(first);
  restored.SaveToCompressedStream(second);
  EXPECT_EQ(first, second) << "tree -> stream -> tree -> stream gives the same bytes";
}

// ---------------------------------------------------------------- file formats

TEST(TKwMailMessageTest, ArchivesHoldingAMessageLoadThroughATemporaryFile) {
  TTempDir dir;
  const std::string sevenZip = (dir / "0123456789ABCDEF012345678!packed.7z").string();
  std::string error;
  ASSERT_TRUE(CompressFilesToArchive({(kMessages / "09-uuencode-plain.eml").string()}, sevenZip, afSevenZip, error))
      << error;
  TKwMailMessage message;
  ASSERT_TRUE(message.LoadFormat(sevenZip)) << message.LastError;
  EXPECT_EQ(message.Headers->Subject, "Data file");
  EXPECT_EQ(message.SourceFilename, sevenZip);
  ASSERT_TRUE(message.LoadFormat((kMessages / kZipName).string())) << message.LastError;
  EXPECT_EQ(message.Headers->Subject, "Report attached");
}

// ---------------------------------------------------------------- error paths

TEST(TKwMailMessageTest, FilesThatAreNoMessagesOrCannotBeReadFailWithAReason) {
  TTempDir dir;
  TKwMailMessage message;
  message.SourceFilename = "earlier";
  EXPECT_FALSE(message.LoadFormat((dir / "notes.txt").string()));
  EXPECT_EQ(message.SourceFilename, "earlier");
  EXPECT_FALSE(message.LoadFormat((dir / "missing.eml").string()));
  EXPECT_FALSE(message.LastError.empty());
  for (const char* name : {"0123456789ABCDEF012345678!x.pdf", "x.msg"}) {
    WriteFileText(dir / name, "not really");
    EXPECT_FALSE(message.LoadFormat((dir / name).string())) << name;
    EXPECT_NE(message.LastError.find(name), std::string::npos) << message.LastError;
  }
  WriteFileText(dir / "0123456789ABCDEF012345678!bad.zip", "PK but not a zip");
  EXPECT_FALSE(message.LoadFormat((dir / "0123456789ABCDEF012345678!bad.zip").string()));
}

TEST(TKwMailMessageTest, OddInputLoadsWhatCanBeRead) {
  // The source is kept with every line ending in CR LF, the bytes an unchanged message is
  // written as.
  struct TCase {
    std::string Text, FirstTextLine, SourceText, Reason;
  };
  const TCase cases[] = {
      {"", "", "", "empty input"},
      {"Subject: s\r\n\r\nno final newline", "no final newline", "Subject: s\r\n\r\nno final newline\r\n",
       "no final line break"},
      {"Subject: s\r\rbody after CR\r", "body after CR", "Subject: s\r\n\r\nbody after CR\r\n", "CR-only line ends"},
      {"Subject: s\n\nbody after LF\n\n", "body after LF", "Subject: s\r\n\r\nbody after LF\r\n\r\n",
       "LF-only line ends, a final empty line"},
      {"Subject: s\r\n\nmixed\r\rends\r\n", "mixed", "Subject: s\r\n\r\nmixed\r\n\r\nends\r\n", "mixed line ends"},
      {"\r\n \r\nSubject: s\r\n\r\nafter blank lines", "after blank lines",
       "Subject: s\r\n\r\nafter blank lines\r\n", "leading blank lines are dropped"},
      {"\n\t\nSubject: s\n\nafter LF blank lines", "after LF blank lines", "Subject: s\r\n\r\nafter LF blank lines\r\n",
       "leading LF blank lines are dropped"},
      {"Content-Transfer-Encoding: base64\r\n\r\n@@@@\r\n", "", "", "base64 that is all garbage"},
      {"Content-Type: multipart/mixed\r\n\r\n--x\r\nno boundary parameter\r\n", "--x", "",
       "multipart without boundary: its content is the text"},
      {"Content-Type: text/plain; charset=\"\r\n\r\nodd quote", "odd quote", "", "unterminated quote"},
  };
  for (const TCase& c : cases) {
    auto message = Load(c.Text);
    EXPECT_EQ(FirstLine(message->TextPart), c.FirstTextLine) << c.Reason;
    EXPECT_TRUE(message->SourceIsMime) << c.Reason;
    if (!c.SourceText.empty()) EXPECT_EQ(message->SourceText, c.SourceText) << c.Reason;
    std::string rejoined;
    for (const std::string& line : message->SourceLines()) rejoined.append(line).append("\r\n");
    EXPECT_EQ(rejoined, message->SourceText) << c.Reason;
  }
}

TEST(TKwMailMessageTest, DamagedStoredMessagesFailWithoutThrowing) {
  TTempDir dir;
  auto message = LoadFile("03-mixed-pdf.eml");
  std::string stream;
  message->SaveToCompressedStream(stream);
  TKwBaseMessage restored;
  EXPECT_FALSE(restored.LoadFromCompressedStream(stream.substr(0, stream.size() / 2)));
  EXPECT_FALSE(restored.LastError.empty());
  EXPECT_FALSE(restored.LoadFromCompressedStream("not zlib at all"));
  EXPECT_FALSE(restored.LoadFromCompressedStream(""));
  EXPECT_FALSE(restored.LoadFromFile((dir / "missing.bin").string()));
  EXPECT_FALSE(message->SaveToFile((dir / "no-such-folder" / "x.bin").string()));
}

TEST(TKwMailMessageTest, LoadFromStreamReadsFromTheStart) {
  std::istringstream stream("Subject: streamed\r\n\r\nbody\r\n");
  stream.seekg(0, std::ios::end);
  TKwMailMessage message;
  ASSERT_TRUE(message.LoadFromStream(stream));
  EXPECT_EQ(message.Headers->Subject, "streamed");
  EXPECT_TRUE(message.SourceIsMime);
}

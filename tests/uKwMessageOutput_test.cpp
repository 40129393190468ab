#include "uKwMessageOutput.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "TestSupport.h"
#include "uKwDateTime.h"
#include "uKwMailMessage.h"
#include "uKwMessageName.h"
#include "uKwMessageOutputMime.h"
#include "uKwMessageOutputText.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kHeaders =
    "From: Ann Example <ann@example.com>\r\n"
    "To: bob@example.org, Carl <carl@example.net>\r\n"
    "Subject: Quarterly report\r\n"
    "Date: Wed, 31 Jan 2024 23:59:59 +0000\r\n"
    "Message-ID: <abc@example.com>\r\n";

std::unique_ptr<TKwMailMessage> MakeMessage(TStringList text, TStringList html = {},
                                            std::string_view headers = kHeaders) {
  auto message = std::make_unique<TKwMailMessage>();
  message->Headers->LoadHeadersFromString(headers);
  message->TextPart = std::move(text);
  message->HtmlPart = std::move(html);
  return message;
}

std::string Joined(const TStringList& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

// A message saved under `folder` with the given format and the default name layout.
std::unique_ptr<TKwMailMessage> MessageFor(const fs::path& folder, TFileFormat format) {
  auto message = MakeMessage({"Hello Bob,", "the figures are attached."},
                             {"<html><body><p>Hello <b>Bob</b>,</p></body></html>"});
  message->SaveOptions->TargetFolder = folder.string();
  message->SaveOptions->TargetFileFormat = format;
  return message;
}

// ---------------------------------------------------------------- content forms

TEST(TKwMessageOutputTest, EachContentTypeChoosesAndConvertsTheBodyAsDocumented) {
  auto both = MakeMessage({"plain body"}, {"<p>html &amp; body</p>"});
  EXPECT_EQ(PrepareOutputContent(*both, ctHtml), ctHtml);
  EXPECT_EQ(both->OutputContent, TStringList{"<p>html &amp; body</p>"});
  EXPECT_EQ(PrepareOutputContent(*both, ctText), ctText);
  EXPECT_EQ(both->OutputContent, TStringList{"plain body"});
  EXPECT_EQ(PrepareOutputContent(*both, ctHtmlAsText), ctText);
  EXPECT_EQ(both->OutputContent, TStringList{"html & body"});
  EXPECT_EQ(PrepareOutputContent(*both, ctEither), ctHtml);
  EXPECT_EQ(PrepareOutputContent(*both, ctTextAsHtml), ctHtml);
  EXPECT_NE(Joined(both->OutputContent).find("html &amp; body<br>"), std::string::npos);

  auto textOnly = MakeMessage({"a < b & \"c\""});
  EXPECT_EQ(PrepareOutputContent(*textOnly, ctHtml), ctHtml);
  EXPECT_NE(Joined(textOnly->OutputContent).find("a &lt; b &amp; &quot;c&quot;<br>"), std::string::npos);
  EXPECT_EQ(PrepareOutputContent(*textOnly, ctEither), ctText);
  EXPECT_EQ(PrepareOutputContent(*textOnly, ctHtmlAsText), ctText);
  EXPECT_EQ(textOnly->OutputContent, TStringList{"a < b & \"c\""});

  auto htmlOnly = MakeMessage({}, {"<div>" + std::string(100, 'x') + " tail</div>"});
  EXPECT_EQ(PrepareOutputContent(*htmlOnly, ctText), ctText);
  EXPECT_EQ(htmlOnly->OutputContent, (TStringList{std::string(80, 'x'), std::string(20, 'x') + " tail"}));
}

TEST(TKwMessageOutputTest, AMessageWithoutBodiesYieldsOneEmptyLineOfText) {
  auto message = MakeMessage({});
  EXPECT_EQ(PrepareOutputContent(*message, ctText), ctText);
  EXPECT_EQ(message->OutputContent, TStringList{""});
  EXPECT_EQ(PrepareOutputContent(*message, ctUndefined), ctUndefined);
  EXPECT_TRUE(message->OutputContent.empty());
}

TEST(TKwMessageOutputTest, TextSummaryAndHeaderBlocksPrecedeTheBodyInThatOrder) {
  auto message = MakeMessage({"body"});
  message->Attachments->AddFromStream("%PDF", "a.pdf");
  message->Attachments->AddFromStream("x", "b.txt");
  TKwOutputBlocks blocks;
  blocks.WithSummaryBlock = blocks.WithHeaderBlock = true;
  EXPECT_EQ(PrepareOutputContent(*message, ctText, blocks), ctText);
  TStringList expected = {"---------- Forwarded message ----------",
                          "   From:        Ann Example <ann@example.com>",
                          "   To:          bob@example.org, Carl <carl@example.net>",
                          "   Subject:     Quarterly report",
                          "   Date:        01/31/24 23:59:59",
                          "   Attachments: a.pdf,b.txt",
                          "   EmailId: " + message->Headers->GetUniqueId()};
  expected.insert(expected.end(), message->Headers->Lines.begin(), message->Headers->Lines.end());
  expected.push_back(std::string(70, '-'));
  expected.push_back("");
  expected.push_back("body");
  EXPECT_EQ(message->OutputContent, expected);

  // Only the summary: ctUndefined then produces text.
  EXPECT_EQ(message->PrepareOutputContent(ctUndefined, false, true), ctText);
  EXPECT_EQ(message->OutputContent.size(), 7u);
}

TEST(TKwMessageOutputTest, HtmlSummaryFillsTheTemplateWithEscapedValuesAndLinks) {
  auto message = MakeMessage({}, {"<p>body</p>"},
                             "From: \"Tom & Jerry #to\" <ann@example.com>\r\nTo: bob@example.org\r\n"
                             "Subject: 1 < 2\r\nDate: Wed, 31 Jan 2024 23:59:59 +0000\r\n");
  TKwOutputBlocks blocks;
  blocks.WithSummaryBlock = true;
  PrepareOutputContent(*message, ctHtml, blocks);
  ASSERT_EQ(message->OutputContent.size(), 2u);
  EXPECT_EQ(message->OutputContent[0],
            "<html><body bgcolor=\"#FFFFFF\" text=\"#000000\"><blockquote>  <p><font face=\"Arial, "
            "Helvetica, sans-serif\" size=\"2\"><b>From:</b> Tom &amp; Jerry #to &#60;<a "
            "href=\"mailto:ann@example.com\">ann@example.com</a>&#62;<br>  <b>To:</b> <a "
            "href=\"mailto:bob@example.org\">bob@example.org</a><br>  <b>Subject:</b> 1 &lt; 2<br>  "
            "<b>Date:</b> 01/31/24 23:59:59<br>  <b>Attachments:</b> </font><br><hr> "
            "</blockquote></body></html>");
  blocks.ForwardStyle = true;
  PrepareOutputContent(*message, ctHtml, blocks);
  EXPECT_TRUE(message->OutputContent[0].starts_with(
      "<html><body bgcolor=\"#FFFFFF\" text=\"#000000\"><blockquote><p><font face=\"Arial, "
      "Helvetica, sans-serif\" size=\"2\"><br><hr><b>From:</b> Tom &amp; Jerry #to"));
  EXPECT_NE(message->OutputContent[0].find("<b>Sent:</b> 01/31/24 23:59:59<br><b>To:</b> <a"), std::string::npos);
}

TEST(TKwMessageOutputTest, ImageAttachmentsAreShownInlineAfterAnHtmlBodyWhenAsked) {
  auto message = MakeMessage({}, {"<p>see</p>"});
  message->Attachments->AddFromStream("PNGDATA", "chart.png");
  message->Attachments->AddFromStream("%PDF", "report.pdf");
  message->Attachments->AddFromStream("GIF", "logo.gif").SetContentID("<logo@x>");
  PrepareOutputContent(*message, ctHtml);
  EXPECT_EQ(message->OutputContent.size(), 1u) << "not asked for: the body alone";

  message->SaveOptions->EmbedAttachmentsInBody = true;
  PrepareOutputContent(*message, ctHtml);
  const std::string uid = message->Headers->GetUniqueId();
  EXPECT_EQ(message->OutputContent,
            (TStringList{"<p>see</p>", "<div><img src=\"cid:" + uid + ".1@inline\"></div>",
                         "<div><img src=\"cid:logo@x\"></div>"}));
  EXPECT_EQ(message->Attachments->GetAttachment(0).Kind, akInline);
  EXPECT_EQ(message->Attachments->GetAttachment(1).Kind, akAttachment);

  PrepareOutputContent(*message, ctHtml);
  EXPECT_EQ(message->OutputContent.size(), 1u) << "images already inline are not shown twice";
}

// ---------------------------------------------------------------- text conversions

struct THtmlCase {
  const char* Html;
  const char* Text;
  const char* Reason;
};

const THtmlCase kHtmlCases[] = {
    {"<p>One</p><p>Two</p>", "One\n\nTwo", "paragraphs are separated by one empty line"},
    {"a<br>b<br><br><br><br>c", "a\nb\n\nc", "runs of empty lines shrink to one"},
    {"<head><title>T</title><style>p{}</style></head><body>x</body>", "x", "head, title and style are left out"},
    {"x<script>if (a<b) document.write('<p>')</script>y", "xy", "script content is not text"},
    {"  lots   of\n\tblanks  ", "lots of blanks", "blanks collapse outside pre"},
    {"<pre>  a\n   b</pre>", "  a\n   b", "pre keeps its blanks and breaks"},
    {"&lt;&amp;&gt; &eacute;&#233;&#xE9; &#150; &nbsp;&nbsp;x", "<&> ééé –   x",
     "named, decimal, hex and windows-1252 references; nbsp is a kept blank"},
    {"&bogus; & &; a&b", "&bogus; & &; a&b", "unknown references stay as they are"},
    {"<ul><li>one<li>two</ul>", "- one\n- two", "list items start lines"},
    {"<table><tr><td>a<td>b</tr></table>", "a\tb", "cells are separated by tabs"},
    {"<a title=\"x>y\" href=#>link</a>", "link", "a > inside a quoted attribute does not end the tag"},
    {"1 < 2 and 3 <4", "1 < 2 and 3 <4", "a < that starts no tag is text"},
    {"a<!-- <p>hidden</p> -->b<!-- never closed", "ab", "comments, closed or not"},
    {"x<script>never closed", "x", "an unclosed script hides the rest, as in browsers"},
    {"<head>unclosed head<p>x", "unclosed head\n\nx", "an unclosed head hides nothing"},
    {"<p", "", "a tag cut short at the end"},
};

TEST(TKwMessageOutputTest, HtmlExtractTextReadsOddRealWorldHtml) {
  for (const THtmlCase& c : kHtmlCases) {
    EXPECT_EQ(HtmlExtractText(std::string_view(c.Html)), c.Text) << c.Reason;
    // Every input cut short reads without failing.
    const std::string_view html(c.Html);
    for (size_t cut = 0; cut < html.size(); ++cut) HtmlExtractText(html.substr(0, cut));
  }
}

TEST(TKwMessageOutputTest, ConversionsStayLinearOnHostileInput) {
  const std::string unclosedHeads = [] {
    std::string s;
    for (int i = 0; i < 100000; ++i) s += "<head>x";
    return s;
  }();
  EXPECT_EQ(HtmlExtractText(unclosedHeads).size(), 100000u);
  EXPECT_EQ(HtmlExtractText(std::string(200000, '<')).size(), 200000u);
  std::string unclosedQuotes;
  for (int i = 0; i < 100000; ++i) unclosedQuotes += "<a title=\"x";
  EXPECT_EQ(HtmlExtractText(unclosedQuotes), "") << "an unclosed tag runs to the end";

  const TStringList wrapped = WrapText({std::string(40000, 'w')});
  ASSERT_EQ(wrapped.size(), 500u);
  EXPECT_EQ(wrapped[0], std::string(80, 'w'));
}

TEST(TKwMessageOutputTest, WrapTextBreaksAtBlanksAndCountsCharactersNotBytes) {
  EXPECT_EQ(WrapText({"aaa bbb ccc"}, 7), (TStringList{"aaa bbb", "ccc"}));
  EXPECT_EQ(WrapText({"aaaaaaaaaa b"}, 4), (TStringList{"aaaa", "aaaa", "aa b"}));
  EXPECT_EQ(WrapText({"éééé éé"}, 4), (TStringList{"éééé", "éé"}));
  EXPECT_EQ(WrapText({"日本語テキスト"}, 3), (TStringList{"日本語", "テキス", "ト"}));
  EXPECT_EQ(WrapText({"", "short"}, 3), (TStringList{"", "sho", "rt"}));
}

TEST(TKwMessageOutputTest, TextToHtmlKeepsBlanksAndEscapes) {
  const TStringList html = TextToHtml({"  two  blanks", "\t<tag>"});
  EXPECT_EQ(html[3], "&nbsp;&nbsp;two &nbsp;blanks<br>");
  EXPECT_EQ(html[4], "&nbsp;&nbsp;&nbsp;&nbsp;&lt;tag&gt;<br>");
  EXPECT_EQ(html.back(), "</html>");
}

TEST(TKwMessageOutputTest, RtfEscapesCjkRightToLeftAndEmojiAsUtf16Units) {
  const std::string rtf = TextToRtf({"日本 {a\\b}", "שלום abc", "😀\ttab"});
  EXPECT_TRUE(rtf.starts_with("{\\rtf1\\ansi"));
  EXPECT_NE(rtf.find("\\pard\\ltrpar \\u26085?\\u26412? \\{a\\\\b\\}\\par\r\n"), std::string::npos);
  EXPECT_NE(rtf.find("\\pard\\rtlpar\\qr \\u1513?\\u1500?\\u1493?\\u1501? abc\\par\r\n"), std::string::npos);
  EXPECT_NE(rtf.find("\\u-10179?\\u-8704?\\tab tab\\par"), std::string::npos);
  for (const char c : rtf) EXPECT_LT(static_cast<unsigned char>(c), 0x80);
}

TEST(TKwMessageOutputTest, TextFileEncodingsAreByteExact) {
  const std::string text = "Hé+\r\n";
  EXPECT_EQ(EncodeTextFile(text, meUnicode), std::string("\xFF\xFEH\0\xE9\0+\0\r\0\n\0", 12));
  EXPECT_EQ(EncodeTextFile(text, meBigEndian), std::string("\xFE\xFF\0H\0\xE9\0+\0\r\0\n", 12));
  EXPECT_EQ(EncodeTextFile(text, meUTF8), "\xEF\xBB\xBFH\xC3\xA9+\r\n");
  EXPECT_EQ(EncodeTextFile(text, meDefault), text);
  EXPECT_EQ(EncodeTextFile(text, meASCII), "H?+\r\n");
  EXPECT_EQ(EncodeTextFile(text, meUTF7), "H+AOkAKw-\r\n");
  EXPECT_EQ(EncodeTextFile("a+b", meUTF7), "a+-b");
  EXPECT_EQ(EncodeTextFile("😀", meUnicode), std::string("\xFF\xFE\x3D\xD8\x00\xDE", 6));
  EXPECT_EQ(EncodeTextFile("\xFF", meUnicode), std::string("\xFF\xFE\xFF\0", 4)) << "a stray byte reads as Latin-1";
}

// ---------------------------------------------------------------- MIME

TEST(TKwMessageOutputTest, EmlOfABuiltMessageReloadsWithTheSameContent) {
  TTempDir dir;
  auto message = MakeMessage({"Grüße aus Köln", "second line"}, {"<p>Grüße <img src=\"cid:pic@x\"></p>"},
                             "From: Jürgen Groß <jg@example.de>\r\nTo: bob@example.org\r\n"
                             "Subject: =?utf-8?q?Gr=C3=BC=C3=9Fe_=E6=97=A5=E6=9C=AC?=\r\n"
                             "Date: Wed, 31 Jan 2024 23:59:59 +0000\r\n");
  const std::string binary("\0\x01\xFF%PDF", 7);
  message->Attachments->AddFromStream(binary, "Bericht März.pdf");
  message->Attachments->AddFromStream("PNG", "pic.png", akEmbedded).SetContentID("pic@x");
  message->SaveOptions->TargetFolder = dir.Path().string();
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);

  TKwMailMessage loaded;
  ASSERT_TRUE(loaded.LoadMIME(message->LastSavedFilename)) << loaded.LastError;
  EXPECT_EQ(loaded.Headers->Subject, "Grüße 日本");
  EXPECT_EQ(loaded.Headers->From.Name, "Jürgen Groß");
  EXPECT_EQ(loaded.Headers->From.Address, "jg@example.de");
  EXPECT_EQ(loaded.TextPart, message->TextPart);
  EXPECT_EQ(loaded.HtmlPart, message->HtmlPart);
  ASSERT_EQ(loaded.Attachments->GetCount(), 2);
  const int pdf = loaded.Attachments->IndexOf("Bericht März.pdf");
  ASSERT_GE(pdf, 0);
  EXPECT_EQ(loaded.Attachments->GetAttachment(pdf).Content, binary);
  const int png = loaded.Attachments->IndexOf("pic.png");
  ASSERT_GE(png, 0);
  EXPECT_EQ(loaded.Attachments->GetAttachment(png).ContentID, "pic@x");

  const std::string eml = ReadFileText(message->LastSavedFilename);
  EXPECT_NE(eml.find("Content-Type: multipart/mixed"), std::string::npos);
  EXPECT_NE(eml.find("Content-Type: multipart/alternative"), std::string::npos);
  EXPECT_NE(eml.find("Content-Type: multipart/related"), std::string::npos);
  EXPECT_EQ(eml.find("\n\n"), std::string::npos) << "every line ends with CR LF";
}

TEST(TKwMessageOutputTest, EmlOfAMessageLoadedFromMimeIsItsSourceUnchanged) {
  TTempDir dir;
  const std::string source =
      "From: a@example.com\r\nSubject: kept\r\nX-Odd:  spacing \r\n\r\nbody line\r\n";
  TKwMailMessage message;
  ASSERT_TRUE(message.LoadMIMEFromString(source));
  message.SaveOptions->TargetFolder = dir.Path().string();
  ASSERT_EQ(message.SaveAs().Status, ssSaved);
  EXPECT_EQ(ReadFileText(message.LastSavedFilename), source);
}

TEST(TKwMessageOutputTest, MhtIsARelatedWebArchiveWithTheHtmlAsRoot) {
  TTempDir dir;
  auto message = MessageFor(dir.Path(), ffSfMht);
  message->SaveOptions->EmbedAttachmentsInBody = true;
  message->Attachments->AddFromStream("PNGDATA", "chart.png");
  message->Attachments->AddFromStream("%PDF", "report.pdf");
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  const std::string mht = ReadFileText(message->LastSavedFilename);
  EXPECT_NE(mht.find("MIME-Version: 1.0\r\nContent-Type: multipart/related"), std::string::npos);
  EXPECT_NE(mht.find("type=\"text/html\""), std::string::npos);
  const size_t html = mht.find("Content-Type: text/html");
  const size_t image = mht.find("Content-Type: image/png");
  ASSERT_NE(html, std::string::npos);
  ASSERT_NE(image, std::string::npos);
  EXPECT_LT(html, image) << "the HTML comes first, as the root";
  EXPECT_NE(mht.find("Content-Id: <" + message->Headers->GetUniqueId() + ".1@inline>"), std::string::npos);
  EXPECT_EQ(mht.find("report.pdf"), std::string::npos) << "ordinary attachments stay out of the archive";
}

TEST(TKwMessageOutputTest, LongHeaderLinesAreFoldedAtBlanks) {
  const std::string line = "Subject: " + std::string(60, 'a') + " " + std::string(30, 'b') + " c";
  EXPECT_EQ(FoldHeaderLine(line),
            (TStringList{"Subject: " + std::string(60, 'a'), " " + std::string(30, 'b') + " c"}));
  EXPECT_EQ(FoldHeaderLine("X: " + std::string(100, 'z')).size(), 1u);
}

// ---------------------------------------------------------------- files

TEST(TKwMessageOutputTest, FilesAreNamedByTheLayoutAndStampedWithTheSubmitDate) {
  TTempDir dir;
  auto message = MessageFor(dir.Path(), ffSfEml);
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  const std::string expected = (dir.Path() / ("20240131-235959-ann@example.com-" +
                                              message->Headers->GetUniqueId() + "!-Quarterly report.eml")).string();
  EXPECT_EQ(message->LastSavedFilename, expected);
  struct stat info {};
  ASSERT_EQ(stat(expected.c_str(), &info), 0);
  EXPECT_EQ(info.st_mtime, DateTimeToUnix(EncodeDateTime(2024, 1, 31, 23, 59, 59)));

  message->SaveOptions->Filename->Method = fnmAdvanced;
  message->SaveOptions->Filename->Parts = "0211";
  message->SaveOptions->Filename->Separator = "_";
  message->SaveOptions->SubFolderStructure = sfsFromHashAddress;
  message->SaveOptions->SubFolderYearMonth = true;
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  EXPECT_EQ(message->LastSavedFilename,
            (dir.Path() / "2024-01" / ("example.com@ann [" + CRC32String("ann@example.com") + "]") /
             "20240131_Quarterly report.eml").string());
}

TEST(TKwMessageOutputTest, NamesKeepTheirLengthLimitsInCharactersAndBytes) {
  TTempDir dir;
  auto message = MessageFor(dir.Path(), ffSfTxt);
  message->Headers->Subject = std::string(300, 's');
  message->SaveOptions->Filename->Format = fnfUidSubject;
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  EXPECT_EQ(fs::path(message->LastSavedFilename).filename().string().size(), 128u);

  message->Headers->Subject.clear();
  for (int i = 0; i < 200; ++i) message->Headers->Subject += "日";
  message->SaveOptions->Filename->FilenameLength = 250;
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  const std::string name = fs::path(message->LastSavedFilename).filename().string();
  EXPECT_LE(name.size(), 240u);
  EXPECT_TRUE(name.ends_with("日.txt"));
}

TEST(TKwMessageOutputTest, DuplicatedFilesAreSkippedRenamedOrOverwritten) {
  TTempDir dir;
  auto message = MessageFor(dir.Path(), ffSfTxt);
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  const std::string first = message->LastSavedFilename;

  EXPECT_EQ(SaveAs(*message).Status, ssSkipped);
  EXPECT_EQ(message->LastSavedFilename, "");
  message->SaveOptions->DuplicatedFilesAction = dfRename;
  EXPECT_EQ(SaveAs(*message).Status, ssRenamed);
  EXPECT_EQ(message->LastSavedFilename, first.substr(0, first.size() - 4) + "_1.txt");
  WriteFileText(first, "old");
  message->SaveOptions->DuplicatedFilesAction = dfOverwrite;
  EXPECT_EQ(SaveAs(*message).Status, ssOverwritten);
  EXPECT_NE(ReadFileText(first), "old");
}

TEST(TKwMessageOutputTest, WritersFollowTheOptionsForBlocksEncodingAndCopies) {
  TTempDir dir;
  auto message = MessageFor(dir.Path(), ffSfTxt);
  message->SaveOptions->FileEncoding = meUTF8;
  message->SaveOptions->PutEmailHeaders = true;
  message->SaveOptions->SaveBodyPart = true;
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  const std::string txt = ReadFileText(message->LastSavedFilename);
  EXPECT_TRUE(txt.starts_with("\xEF\xBB\xBF---------- Forwarded message ----------\r\n   From:"));
  EXPECT_TRUE(txt.ends_with("Hello Bob,\r\nthe figures are attached.\r\n"));
  const std::string copy = ReadFileText(fs::path(message->LastSavedFilename).replace_extension(".htm"));
  EXPECT_TRUE(copy.starts_with("\xEF\xBB\xBF<html><body bgcolor"));
  EXPECT_NE(copy.find("<p>Hello <b>Bob</b>,</p>"), std::string::npos);
}

TEST(TKwMessageOutputTest, HtmlFilesCarryTheirImagesAsDataUris) {
  TTempDir dir;
  auto message = MessageFor(dir.Path(), ffSfHtm);
  message->HtmlPart = {"<img src=\"cid:logo@x\">"};
  message->Attachments->AddFromStream("GIF89a", "logo.gif", akEmbedded).SetContentID("logo@x");
  message->Attachments->AddFromStream("PNG", "chart.png");
  message->SaveOptions->EmbedAttachmentsInBody = true;
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  const std::string html = ReadFileText(message->LastSavedFilename);
  EXPECT_NE(html.find("<img src=\"data:image/gif;base64,R0lGODlh\">"), std::string::npos);
  EXPECT_NE(html.find("<div><img src=\"data:image/png;base64,UE5H\"></div>"), std::string::npos);
  EXPECT_EQ(html.find("cid:"), std::string::npos);
}

TEST(TKwMessageOutputTest, AttachmentsAreSavedApartByTheirTemplate) {
  TTempDir dir;
  auto message = MessageFor(dir.Path(), ffSfEml);
  message->Attachments->AddFromStream("%PDF", "report.pdf");
  message->SaveOptions->AttachmentsFolder = afpNamedAsMessage;
  message->SaveOptions->AttachmentFilename->Enabled = true;
  message->SaveOptions->AttachmentFilename->Parts = "0200";
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  const fs::path folder = fs::path(message->LastSavedFilename).replace_extension("");
  EXPECT_EQ(ReadFileText(folder / "20240131-report.pdf"), "%PDF");
}

TEST(TKwMessageOutputTest, FormatsOfALaterBuildFailWithoutWritingAnything) {
  TTempDir dir;
  for (const TFileFormat format : {ffSfEmf}) {
    auto message = MessageFor(dir.Path(), format);
    const TSaveResult result = SaveAs(*message);
    EXPECT_EQ(result.Status, ssError);
    EXPECT_EQ(result.ErrorMessage, "Format not available in this build: " + GetFileFormatName(format));
  }
  EXPECT_TRUE(fs::is_empty(dir.Path()));
}

// ---------------------------------------------------------------- error paths

TEST(TKwMessageOutputTest, ErrorPathsEndAsSaveErrorsWithAReason) {
  TTempDir dir;
  WriteFileText(dir / "file", "x");
  auto blocked = MessageFor(dir / "file" / "sub", ffSfEml);
  TSaveResult result = SaveAs(*blocked);
  EXPECT_EQ(result.Status, ssError);
  EXPECT_NE(result.ErrorMessage.find("Cannot create folder"), std::string::npos) << result.ErrorMessage;
  EXPECT_EQ(blocked->LastSavedFilename, "");

  auto noFolder = MessageFor("", ffSfEml);
  EXPECT_EQ(SaveAs(*noFolder).Status, ssError);
  EXPECT_EQ(SaveAsTXT(*noFolder, (dir / "missing" / "x.txt").string()).Status, ssError);

  if (geteuid() != 0) {  // root writes anywhere
    fs::create_directory(dir / "locked");
    fs::permissions(dir / "locked", fs::perms::owner_read | fs::perms::owner_exec);
    auto locked = MessageFor(dir / "locked", ffSfTxt);
    EXPECT_EQ(SaveAs(*locked).Status, ssError);
  }
}

TEST(TKwMessageOutputTest, EmptyBodiesAndHugeLinesAreWrittenInEveryFormat) {
  TTempDir dir;
  const std::string huge(40000, 'h');
  for (const TFileFormat format : {ffSfEml, ffSfMht, ffSfHtm, ffSfTxt, ffSfRtf}) {
    auto empty = MessageFor(dir.Path() / "empty", format);
    empty->TextPart.clear();
    empty->HtmlPart.clear();
    EXPECT_EQ(SaveAs(*empty).Status, ssSaved) << GetFileFormatName(format);
    auto large = MessageFor(dir.Path() / "large", format);
    large->TextPart = {huge, huge};
    large->HtmlPart = {"<p>" + huge + "</p>"};
    ASSERT_EQ(SaveAs(*large).Status, ssSaved) << GetFileFormatName(format);
    EXPECT_GT(fs::file_size(large->LastSavedFilename), 40000u);
  }
  auto empty = MessageFor(dir.Path(), ffSfTxt);
  empty->TextPart.clear();
  empty->HtmlPart.clear();
  ASSERT_EQ(SaveAs(*empty).Status, ssSaved);
  EXPECT_EQ(ReadFileText(empty->LastSavedFilename), std::string("\xFF\xFE\r\0\n\0", 6));
}

}  // namespace

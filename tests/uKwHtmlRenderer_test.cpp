// Messages rendered to PDF and images: checked with poppler's tools (pdftotext, pdfinfo,
// pdfdetach), read back by LoadPDF, and the images decoded again.
#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>

#include "ShellRun.h"
#include "TestSupport.h"
#include "uKwHtmlRenderer.h"
#include "uKwImageCodec.h"
#include "uKwMailMessage.h"
#include "uKwMessageOutput.h"

namespace fs = std::filesystem;

namespace {

const fs::path kMessages = fs::path(QUILLON_TEST_DATA) / "messages";

std::unique_ptr<TKwMailMessage> MessageFor(const std::string& name, const fs::path& folder, TFileFormat format) {
  auto message = std::make_unique<TKwMailMessage>();
  EXPECT_TRUE(message->LoadFormat((kMessages / name).string())) << name;
  message->SaveOptions->TargetFolder = folder.string();
  message->SaveOptions->TargetFileFormat = format;
  message->SaveOptions->PutEmailHeaders = true;
  message->SaveOptions->PDF->InsertEmailHeaders = true;
  return message;
}

std::string PdfText(const std::string& file, const std::string& extra = "") {
  return Shell("pdftotext -enc UTF-8 " + extra + " " + Quoted(file) + " -").Out;
}

// The share of pixels that are not white, in an image file decoded again.
double InkShare(const std::string& file, int& width, int& height) {
  cairo_surface_t* surface = DecodeImageToSurface(ReadFileText(file));
  if (!surface) return -1;
  width = cairo_image_surface_get_width(surface);
  height = cairo_image_surface_get_height(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  const unsigned char* data = cairo_image_surface_get_data(surface);
  long ink = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      if ((reinterpret_cast<const uint32_t*>(data + y * stride)[x] & 0xFFFFFF) != 0xFFFFFF) ++ink;
  cairo_surface_destroy(surface);
  return static_cast<double>(ink) / (static_cast<double>(width) * height);
}

}  // namespace

// ---------------------------------------------------------------- PDF

TEST(TKwHtmlRendererTest, PdfTextHoldsTheHeaderBlockAndTheBody) {
  TTempDir dir;
  for (const char* name : {"01-plain-ascii.eml", "02-alternative.eml", "10-iso-2022-jp.eml", "31-html-only.eml",
                           "35-inline-image.eml", "17-utf8-rfc2231.eml", "14-gb2312.eml"}) {
    SCOPED_TRACE(name);
    auto message = MessageFor(name, dir.Path(), ffSfPdf);
    const TSaveResult result = SaveAs(*message);
    ASSERT_EQ(result.Status, ssSaved) << result.ErrorMessage;
    const std::string text = PdfText(message->LastSavedFilename);
    EXPECT_NE(text.find(message->Headers->Subject), std::string::npos) << text;
    EXPECT_NE(text.find(message->Headers->From.Address), std::string::npos) << text;
    const std::string info = Shell("pdfinfo " + Quoted(message->LastSavedFilename)).Out;
    EXPECT_NE(info.find("612 x 792 pts (letter)"), std::string::npos) << info;
    EXPECT_NE(Shell("pdffonts " + Quoted(message->LastSavedFilename)).Out.find(" yes "), std::string::npos)
        << "fonts are embedded";
  }
}

TEST(TKwHtmlRendererTest, PaperSizeOrientationAndLongBodiesMakePagesBrokenBetweenLines) {
  TTempDir dir;
  auto message = MessageFor("01-plain-ascii.eml", dir.Path(), ffSfPdf);
  message->HtmlPart.clear();
  message->TextPart.clear();
  for (int i = 1; i <= 300; ++i) message->TextPart.push_back("Line " + std::to_string(1000 + i) + " of the long body");
  message->SaveOptions->Page->PaperSize = psA4;
  message->SaveOptions->Page->Orientation = poLandscape;
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  const std::string info = Shell("pdfinfo " + Quoted(message->LastSavedFilename)).Out;
  EXPECT_NE(info.find("842 x 595 pts (A4)"), std::string::npos) << info;
  const std::string text = PdfText(message->LastSavedFilename, "-layout");
  for (int i = 1; i <= 300; ++i) {
    const std::string line = "Line " + std::to_string(1000 + i) + " of the long body";
    const size_t first = text.find(line);
    ASSERT_NE(first, std::string::npos) << line;  // a line cut by a page would be lost or split
    EXPECT_EQ(text.find(line, first + 1), std::string::npos) << line;
  }
  EXPECT_GT(std::count(text.begin(), text.end(), '\f'), 5);
}

TEST(TKwHtmlRendererTest, MetadataAttachmentsAndTextReadBackThroughLoadPdf) {
  TTempDir dir;
  auto message = MessageFor("03-mixed-pdf.eml", dir.Path(), ffSfPdf);
  message->SaveOptions->PDF->InsertEmailAttachments = true;
  ASSERT_EQ(SaveAs(*message).Status, ssSaved);
  const std::string file = message->LastSavedFilename;
  const std::string info = Shell("pdfinfo " + Quoted(file)).Out;
  EXPECT_NE(info.find(" " + message->Headers->Subject + "\n"), std::string::npos) << info;
  const std::string listing = Shell("pdfdetach -list " + Quoted(file)).Out;
  EXPECT_NE(listing.find(message->Attachments->GetAttachment(0).FileName), std::string::npos) << listing;

  TKwMailMessage reloaded;
  ASSERT_TRUE(reloaded.LoadFormat(file)) << reloaded.LastError;  // the name carries the unique id
  EXPECT_EQ(reloaded.Headers->Subject, message->Headers->Subject);
  EXPECT_EQ(reloaded.Headers->From.Address, message->Headers->From.Address);
  EXPECT_NEAR(reloaded.Headers->SubmitDate.GmtDate, message->Headers->SubmitDate.GmtDate, 1.0 / 86400);
  ASSERT_EQ(reloaded.Attachments->GetCount(), message->Attachments->GetAttachCount());
  EXPECT_EQ(reloaded.Attachments->GetAttachment(0).Content, message->Attachments->GetAttachment(0).Content);
  EXPECT_NE(JoinLines(reloaded.TextPart, "\n").find(message->TextPart.front()), std::string::npos);
}

TEST(TKwHtmlRendererTest, EncryptionLevelsAndPermissionsAreThoseAskedFor) {
  TTempDir dir;
  struct TLevel {
    TPDFEncryptionLevel Level;
    const char* Algorithm;  // as pdfinfo names it
    const char* Revision;   // of the standard security handler, in the Encrypt dictionary
  };
  const TLevel levels[] = {{pel40bit, "algorithm:RC4)", "/R 2"},
                           {pel128bitRc4, "algorithm:RC4)", "/R 3"},
                           {pel128bitAes, "algorithm:AES)", "/R 4"},
                           {pel256bitAes, "algorithm:AES-256)", "/R 6"}};
  for (const auto& [level, expected, revision] : levels) {
    SCOPED_TRACE(revision);
    auto message = MessageFor("02-alternative.eml", dir / std::to_string(level), ffSfPdf);
    TKwPDFEncryptionOptions& encryption = *message->SaveOptions->PDF->Encryption;
    encryption.Encrypt = true;
    encryption.EncryptionLevel = level;
    encryption.UserPassword = "reader";
    encryption.OwnerPassword = "owner";
    encryption.CanPrint = false;
    ASSERT_EQ(SaveAs(*message).Status, ssSaved);
    const std::string file = message->LastSavedFilename;
    const std::string info = Shell("pdfinfo -upw reader " + Quoted(file)).Out;
    EXPECT_NE(info.find("yes (print:no copy:yes"), std::string::npos) << info;
    EXPECT_NE(info.find(expected), std::string::npos) << info;
    EXPECT_NE(ReadFileText(file).find(revision), std::string::npos);
    EXPECT_NE(Shell("pdftotext " + Quoted(file) + " -").Status, 0) << "no text without the password";
    EXPECT_NE(PdfText(file, "-upw reader").find(message->Headers->Subject), std::string::npos);
  }
}

// ---------------------------------------------------------------- images

TEST(TKwHtmlRendererTest, PngPagesHaveThePageSizeAndInk) {
  TTempDir dir;
  for (const char* name : {"02-alternative.eml", "35-inline-image.eml", "10-iso-2022-jp.eml"}) {
    SCOPED_TRACE(name);
    auto message = MessageFor(name, dir.Path(), ffSfPng);
    ASSERT_EQ(SaveAs(*message).Status, ssSaved);
    int width = 0, height = 0;
    const double ink = InkShare(message->LastSavedFilename, width, height);
    EXPECT_EQ(width, 816);  // Letter at 96 dpi
    EXPECT_EQ(height, 1056);
    EXPECT_GT(ink, 0.002);
    EXPECT_LT(ink, 0.5);
  }
}

TEST(TKwHtmlRendererTest, EveryRasterFormatIsWrittenOnePagePerImage) {
  TTempDir dir;
  const std::pair<TFileFormat, std::string> formats[] = {
      {ffSfJpeg, "\xFF\xD8\xFF"}, {ffSfBmp, "BM"}, {ffSfTiff, "II*"}, {ffSfGif, "GIF89a"}, {ffSfPng, "\x89PNG"}};
  for (const auto& [format, magic] : formats) {
    SCOPED_TRACE(GetFileFormatName(format));
    auto message = MessageFor("01-plain-ascii.eml", dir / GetFileFormatExtension(format).substr(1), format);
    for (int i = 0; i < 120; ++i) message->TextPart.push_back("filler line " + std::to_string(i));
    const TSaveResult result = SaveAs(*message);
    ASSERT_EQ(result.Status, ssSaved) << result.ErrorMessage;
    EXPECT_EQ(ReadFileText(message->LastSavedFilename).substr(0, magic.size()), magic);
    const fs::path first(message->LastSavedFilename);
    const fs::path second = first.parent_path() / (first.stem().string() + "_page2" + first.extension().string());
    EXPECT_TRUE(fs::exists(second)) << second;
  }
  auto emf = MessageFor("01-plain-ascii.eml", dir / "emf", ffSfEmf);
  EXPECT_EQ(SaveAs(*emf).ErrorMessage, "Format not available in this build: EMF (*.emf)");
  auto pdfa = MessageFor("01-plain-ascii.eml", dir / "pdfa", ffSfPdf);
  pdfa->SaveOptions->PDF->UsePDFAMode = true;
  EXPECT_EQ(SaveAs(*pdfa).ErrorMessage, "Format not available in this build: PDF/A");
  EXPECT_FALSE(fs::exists(dir / "emf"));
  EXPECT_FALSE(fs::exists(dir / "pdfa"));
}

TEST(TKwHtmlRendererTest, HostileHtmlRendersWithoutFetchingOrCrashing) {
  TKwHtmlRenderer renderer(MakePageSetup(psA5, poPortrait, 0.5, 0.5, 0.5, 0.5), nullptr);
  const std::string hostile =
      "<table><tr><td>" + std::string(5000, 'x') + "</td></tr></table>"
      "<img src=\"http://example.invalid/tracker.png\"><img src=\"cid:missing\">"
      "<img src=\"data:image/png;base64,AAAA\"><div style=\"height:99999999px\"></div>"
      "<p>https://example.com/a/very/long/path/that/never/ends/" + std::string(300, 'q') + "</p>" +
      std::string(2000, '<') + "<b><i><u>";
  renderer.Layout(hostile);
  EXPECT_GE(renderer.PageCount(), 1);
  renderer.Layout("");
  EXPECT_EQ(renderer.PageCount(), 1);
}

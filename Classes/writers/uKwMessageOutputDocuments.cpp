#include "uKwMessageOutputDocuments.h"

#include <cstdio>
#include <filesystem>
#include <memory>

#include "uKwArchive.h"
#include "uKwFileCipher.h"
#include "uKwHtmlRenderer.h"
#include "uKwPdfFinisher.h"
#include "uKwMailMessage.h"
#include "uKwMessageOutputMime.h"
#include "uKwMsgWriter.h"
#include "uKwSubs.h"

namespace {

std::string WithExtension(const std::string& fileName, const std::string& extension) {
  return std::filesystem::path(fileName).replace_extension(extension).string();
}

TCompressionMethod PackingMethod(const TKwSingleFilesOptions& options) {
  switch (options.TargetFileFormat) {
    case ffSfZip: return cmZip;
    case ffSf7z: return cmSevenZip;
    default: return options.Compression->CompressionMethod;
  }
}

const std::string& ArchivePassword(const TKwSingleFilesOptions& options) {
  return options.Compression->Password.empty() ? options.ZIP->Password : options.Compression->Password;
}

// AES-256 unless the zip options ask for AES-128; libarchive has no AES-192, and the
// stronger key is taken rather than a weaker one.
TZipEncryption ZipEncryptionOf(const TKwSingleFilesOptions& options) {
  return options.ZIP->EncryptionMethod == zemAes128 ? zeAes128 : zeAes256;
}

constexpr int kImageDpi = 96;

TKwImageSource MessageImages(const TKwMailMessage& message) {
  const TKwAttachmentsList* attachments = message.Attachments.get();
  return [attachments](const std::string& contentId, std::string& bytes) {
    for (int i = 0; i < attachments->GetCount(); ++i) {
      const TKwAttachment& attachment = attachments->GetAttachment(i);
      if (!attachment.ContentID.empty() && attachment.ContentID == contentId) {
        bytes = attachment.Content;
        return true;
      }
    }
    return false;
  };
}

// The message laid out on the pages of its options.
std::unique_ptr<TKwHtmlRenderer> RenderMessage(TKwMailMessage& message, bool forPdf) {
  const TKwSingleFilesOptions& options = *message.SaveOptions;
  TKwOutputBlocks blocks;
  blocks.WithHeaderBlock = options.PutFullEmailHeaders;
  blocks.WithSummaryBlock = options.PutEmailHeaders || (forPdf && options.PDF->InsertEmailHeaders);
  PrepareOutputContent(message, ctHtml, blocks);
  const TKwPageOptions& page = *options.Page;
  auto renderer = std::make_unique<TKwHtmlRenderer>(
      MakePageSetup(page.PaperSize, page.Orientation, page.LeftMargin, page.TopMargin, page.RightMargin,
                    page.BottomMargin),
      MessageImages(message));
  renderer->Layout(JoinLines(message.OutputContent, "\n"));
  return renderer;
}

bool ImageFormatOf(TFileFormat format, TKwImageFormat& image) {
  switch (format) {
    case ffSfPng: image = ifPng; return true;
    case ffSfJpeg: image = ifJpeg; return true;
    case ffSfBmp: image = ifBmp; return true;
    case ffSfTiff: image = ifTiff; return true;
    case ffSfGif: image = ifGif; return true;
    default: return false;
  }
}

std::string PageImageName(const std::string& fileName, int page) {
  if (page == 0) return fileName;
  const std::filesystem::path path(fileName);
  return (path.parent_path() / (path.stem().string() + "_page" + std::to_string(page + 1) + path.extension().string()))
      .string();
}

// Attachments embedded and encryption, as PDF options ask.
TSaveResult FinishPdf(const TKwMailMessage& message, const std::string& fileName) {
  const TKwPDFOptions& pdf = *message.SaveOptions->PDF;
  std::vector<TKwPdfAttachment> attachments;
  if (pdf.InsertEmailAttachments)
    for (int i = 0; i < message.Attachments->GetCount(); ++i) {
      const TKwAttachment& attachment = message.Attachments->GetAttachment(i);
      if (attachment.Kind == akAttachment)
        attachments.push_back({attachment.FileName, MimeTypeOfFileName(attachment.FileName), attachment.Content});
    }
  const TKwPDFEncryptionOptions& e = *pdf.Encryption;
  TKwPdfProtection protection;
  protection.Encrypt = e.Encrypt;
  switch (e.EncryptionLevel) {
    case pel40bit: protection.Cipher = pcRc4Bits40; break;
    case pel128bitRc4: protection.Cipher = pcRc4Bits128; break;
    case pel128bitAes: protection.Cipher = pcAesBits128; break;
    default: protection.Cipher = pcAesBits256; break;
  }
  protection.UserPassword = e.UserPassword;
  protection.OwnerPassword = e.OwnerPassword;
  protection.CanPrint = e.CanPrint;
  protection.CanPrintFull = e.CanPrintFull;
  protection.CanCopy = e.CanCopy;
  protection.CanCopyAccess = e.CanCopyAccess;
  protection.CanChange = e.CanChange;
  protection.CanAddNotes = e.CanAddNotes;
  protection.CanFillFields = e.CanFillFields;
  protection.CanAssemble = e.CanAssemble;
  std::string error;
  if (!FinishPdfFile(fileName, attachments, protection, error)) return {ssError, error};
  return {};
}

TSaveResult Failed(const std::string& plainName, std::string error) {
  std::remove(plainName.c_str());
  return {ssError, std::move(error)};
}

}  // namespace

TSaveResult SaveAsMSG(TKwMailMessage& message, const std::string& fileName) {
  std::string error;
  if (!WriteMsgFile(message, fileName, error)) return {ssError, error};
  return {};
}

TSaveResult TKwMailMessage::SaveAsMSG(const std::string& fileName) { return ::SaveAsMSG(*this, fileName); }

TSaveResult SaveAsPDF(TKwMailMessage& message, const std::string& fileName) {
  try {
    const std::unique_ptr<TKwHtmlRenderer> renderer = RenderMessage(message, true);
    const TKwSingleFilesOptions& options = *message.SaveOptions;
    TKwPdfInfo info;
    info.Creator = "Quillon";
    if (options.PDF->InsertEmailMetadata) {
      const TKwHeaders& h = *message.Headers;
      info.Title = h.Subject;
      info.Author = h.From.EmailAddress();
      info.Subject = h.ToList.EmailAddressComma();
      info.Keywords = h.MessageID;
      info.CreationDateGmt = h.SubmitDate.GmtDate;
    }
    std::string error;
    if (!renderer->WritePdf(fileName, info, error)) return {ssError, error};
    return FinishPdf(message, fileName);
  } catch (const std::exception& e) {
    return {ssError, std::string("Cannot render the message: ") + e.what()};
  }
}

TSaveResult SaveAsImage(TKwMailMessage& message, const std::string& fileName) {
  TKwImageFormat format;
  if (!ImageFormatOf(message.SaveOptions->TargetFileFormat, format) && !ImageFormatOf(FilenameToSingleFileFormat(fileName), format))
    return {ssError, std::string(kFormatNotAvailable) + GetFileFormatName(FilenameToSingleFileFormat(fileName))};
  try {
    const std::unique_ptr<TKwHtmlRenderer> renderer = RenderMessage(message, false);
    std::string error;
    for (int page = 0; page < renderer->PageCount(); ++page)
      if (!renderer->WriteImage(page, PageImageName(fileName, page), format, kImageDpi, error)) return {ssError, error};
    return {};
  } catch (const std::exception& e) {
    return {ssError, std::string("Cannot render the message: ") + e.what()};
  }
}

TSaveResult TKwMailMessage::SaveAsPDF(const std::string& fileName) { return ::SaveAsPDF(*this, fileName); }
TSaveResult TKwMailMessage::SaveAsImage(const std::string& fileName) { return ::SaveAsImage(*this, fileName); }

bool IsPackingFormat(TFileFormat format) { return format == ffSfZip || format == ffSf7z; }

std::optional<std::string> UnavailableDocumentOutput(const TKwSingleFilesOptions& options) {
  if (options.TargetFileFormat == ffSfPdf && options.PDF->UsePDFAMode) return "PDF/A";
  if (options.TargetFileFormat == ffSfPdf && options.PDF->Signature->Sign) return "PDF signing";
  const TEncryptionAlgorithm algorithm = options.Compression->EncryptionAlgorithm;
  if (PackingMethod(options) == cmNone && algorithm != eaNone && !IsCipherAvailable(algorithm))
    return EncryptionAlgorithmToStr(algorithm) + " encryption";
  return std::nullopt;
}

TSaveResult PackWrittenFile(TKwMailMessage& message, const std::string& writtenName) {
  const TKwSingleFilesOptions& options = *message.SaveOptions;
  const TCompressionMethod method = PackingMethod(options);
  std::string error;
  if (method != cmNone) {
    const bool zip = method == cmZip;
    const std::string archiveName =
        WithExtension(writtenName, GetFileFormatExtension(zip ? ffSfZip : ffSf7z));
    if (!CompressFilesToArchive({writtenName}, archiveName, zip ? afZip : afSevenZip, error,
                                ArchivePassword(options), ZipEncryptionOf(options)))
      return Failed(writtenName, error);
    std::remove(writtenName.c_str());
    message.LastSavedFilename = archiveName;
    return {};
  }
  const TEncryptionAlgorithm algorithm = options.Compression->EncryptionAlgorithm;
  if (algorithm == eaNone) {
    message.LastSavedFilename = writtenName;
    return {};
  }
  const std::string encryptedName =
      WithExtension(writtenName, GetFileFormatExtensionEx(FilenameToSingleFileFormat(writtenName), true));
  if (!EncryptFileTo(writtenName, encryptedName, algorithm, options.Compression->Password, error))
    return Failed(writtenName, error);
  std::remove(writtenName.c_str());
  message.LastSavedFilename = encryptedName;
  return {};
}

#include "uKwPdfFinisher.h"

// qpdf 11 asks its users to declare which PointerHolder API they are ready for.
#define POINTERHOLDER_TRANSITION 4
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFEFStreamObjectHelper.hh>
#include <qpdf/QPDFEmbeddedFileDocumentHelper.hh>
#include <qpdf/QPDFFileSpecObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <cstdio>
#include <exception>

namespace {

void Protect(QPDFWriter& writer, const TKwPdfProtection& p) {
  const std::string owner = p.OwnerPassword.empty() ? p.UserPassword : p.OwnerPassword;
  const char* user = p.UserPassword.c_str();
  const qpdf_r3_print_e print = !p.CanPrint ? qpdf_r3p_none : p.CanPrintFull ? qpdf_r3p_full : qpdf_r3p_low;
  switch (p.Cipher) {
    case pcRc4Bits40:
      writer.setR2EncryptionParametersInsecure(user, owner.c_str(), p.CanPrint, p.CanChange, p.CanCopy, p.CanAddNotes);
      break;
    case pcRc4Bits128:
      writer.setR3EncryptionParametersInsecure(user, owner.c_str(), p.CanCopyAccess, p.CanCopy, p.CanAssemble,
                                               p.CanAddNotes, p.CanFillFields, p.CanChange, print);
      break;
    case pcAesBits128:
      writer.setR4EncryptionParametersInsecure(user, owner.c_str(), p.CanCopyAccess, p.CanCopy, p.CanAssemble,
                                               p.CanAddNotes, p.CanFillFields, p.CanChange, print, true, true);
      break;
    default:
      writer.setR6EncryptionParameters(user, owner.c_str(), p.CanCopyAccess, p.CanCopy, p.CanAssemble, p.CanAddNotes,
                                       p.CanFillFields, p.CanChange, print, true);
      break;
  }
}

}  // namespace

bool FinishPdfFile(const std::string& fileName, const std::vector<TKwPdfAttachment>& attachments,
                   const TKwPdfProtection& protection, std::string& error) {
  if (attachments.empty() && !protection.Encrypt) return true;
  const std::string temporary = fileName + ".part";
  try {
    QPDF pdf;
    pdf.setSuppressWarnings(true);
    pdf.processFile(fileName.c_str());
    QPDFEmbeddedFileDocumentHelper embedded(pdf);
    for (const TKwPdfAttachment& attachment : attachments) {
      auto stream = QPDFEFStreamObjectHelper::createEFStream(pdf, attachment.Data);
      if (!attachment.MimeType.empty()) stream.setSubtype(attachment.MimeType);
      // Two attachments of one name would replace each other in the name tree.
      std::string key = attachment.Name;
      for (int n = 2; embedded.getEmbeddedFile(key); ++n) key = std::to_string(n) + "-" + attachment.Name;
      embedded.replaceEmbeddedFile(key, QPDFFileSpecObjectHelper::createFileSpec(pdf, attachment.Name, stream));
    }
    QPDFWriter writer(pdf, temporary.c_str());
    if (protection.Encrypt) Protect(writer, protection);
    writer.write();
  } catch (const std::exception& e) {
    error = std::string("Cannot finish the PDF file: ") + e.what();
    std::remove(temporary.c_str());
    std::remove(fileName.c_str());
    return false;
  }
  if (std::rename(temporary.c_str(), fileName.c_str()) != 0) {
    error = "Cannot replace " + fileName;
    std::remove(temporary.c_str());
    std::remove(fileName.c_str());
    return false;
  }
  return true;
}

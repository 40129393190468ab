#pragma once
// What cairo cannot put into a PDF, added afterwards through qpdf (the one place that
// includes its headers): files embedded as document attachments (the EmbeddedFiles name
// tree, which PDF readers list as attachments) and password encryption with permissions:
// 40-bit RC4 (R2), 128-bit RC4 (R3), 128-bit AES (R4) and 256-bit AES (R6). Any thread.

//
// Its source is compiled as C++17: qpdf 11's headers do not build as C++20 with clang 14
// (a vector of an incomplete type), so this header names nothing of the engine's.

#include <string>
#include <vector>

struct TKwPdfAttachment {
  std::string Name;  // UTF-8
  std::string MimeType;
  std::string Data;
};

// The standard security handler's revisions: 40-bit RC4 (R2), 128-bit RC4 (R3), 128-bit
// AES (R4), 256-bit AES (R6).
enum TKwPdfCipher { pcRc4Bits40, pcRc4Bits128, pcAesBits128, pcAesBits256 };

struct TKwPdfProtection {
  bool Encrypt = false;
  TKwPdfCipher Cipher = pcRc4Bits40;
  std::string UserPassword, OwnerPassword;  // an empty owner password takes the user's
  bool CanPrint = true, CanPrintFull = true, CanCopy = true, CanCopyAccess = true;
  bool CanChange = true, CanAddNotes = true, CanFillFields = true, CanAssemble = true;
};

// Rewrites fileName in place with the attachments and the protection. Nothing to do
// (no attachments, no encryption) leaves the file untouched. False with error; the file
// is then removed, so that a PDF asked to be protected never stays unprotected.
bool FinishPdfFile(const std::string& fileName, const std::vector<TKwPdfAttachment>& attachments,
                   const TKwPdfProtection& protection, std::string& error);

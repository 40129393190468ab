#pragma once
// The single-file writers that go through the document units: Outlook .msg (uKwMsgWriter),
// and the packing of a written file into a zip or 7z archive or its encryption into a
// "._ext" file, as the message's SaveOptions ask. Same contracts as the writers of
// uKwMessageOutput: each writes exactly the file named, ssSaved or ssError with the reason.

#include <optional>
#include <string>

#include "uKwMessageOutput.h"
#include "uKwParameters.h"

TSaveResult SaveAsMSG(TKwMailMessage& message, const std::string& fileName);

// The HTML form of the message (PrepareOutputContent with the blocks the options ask for;
// for PDF also the summary block when PDF.InsertEmailHeaders) laid out on the pages of
// Options.Page. Images come from the message's own parts; nothing is fetched.
// PDF: document information from the message when PDF.InsertEmailMetadata (Title: subject,
// Author: sender, creation date: submit date), which LoadPDF reads back.
TSaveResult SaveAsPDF(TKwMailMessage& message, const std::string& fileName);
// One image per page at 96 dpi: the first page is fileName, page n "<name>_page<n><ext>".
// EMF has no writer on Linux and ends as ssError.
TSaveResult SaveAsImage(TKwMailMessage& message, const std::string& fileName);

// ffSfZip and ffSf7z: the message is written as EML and packed.
bool IsPackingFormat(TFileFormat format);

// What of the document options (PDF/A, PDF signing, file encryption) SaveOptions ask for
// this build cannot do, if anything.
std::optional<std::string> UnavailableDocumentOutput(const TKwSingleFilesOptions& options);

// After writtenName was written: packs it into an archive (the format is ffSfZip or ffSf7z,
// or Compression.CompressionMethod asks) named as writtenName with the archive's extension,
// or, without packing, encrypts it (Compression.EncryptionAlgorithm) into writtenName with
// the hidden extension ("._eml"). The plain file is deleted either way, also when packing
// or encryption fails: with a password asked for, nothing unprotected is left behind.
// Sets LastSavedFilename to the final file; ssSaved or ssError.
TSaveResult PackWrittenFile(TKwMailMessage& message, const std::string& writtenName);

#include "uKwMessageOutputDocuments.h"

#include <cstdio>
#include <filesystem>

#include "uKwArchive.h"
#include "uKwFileCipher.h"
#include "uKwMailMessage.h"
#include "uKwMsgWriter.h"

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

bool IsPackingFormat(TFileFormat format) { return format == ffSfZip || format == ffSf7z; }

std::optional<std::string> UnavailablePacking(const TKwSingleFilesOptions& options) {
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

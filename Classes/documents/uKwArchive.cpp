#include "uKwArchive.h"

#include <cctype>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <archive.h>
#include <archive_entry.h>

#include "uKwRegFolders.h"
#include "uKwSevenZip.h"
#include "uKwSubs.h"

namespace {

constexpr size_t kBlockSize = 64 * 1024;

std::string ArchiveError(archive* handle, std::string_view what) {
  const char* text = handle ? archive_error_string(handle) : nullptr;
  return text ? std::string(what) + ": " + text : std::string(what);
}

// The extension of an entry name when it is short and plain (letters and digits).
std::string PlainExtension(std::string_view entryName) {
  const size_t slash = entryName.find_last_of("/\\");
  const std::string_view base = slash == std::string_view::npos ? entryName : entryName.substr(slash + 1);
  const size_t dot = base.rfind('.');
  if (dot == std::string_view::npos || base.size() - dot - 1 == 0 || base.size() - dot - 1 > 10) return {};
  for (char c : base.substr(dot + 1))
    if (!std::isalnum(static_cast<unsigned char>(c))) return {};
  return std::string(base.substr(dot));
}

bool ReadWholeFile(const std::string& fileName, std::string& bytes) {
  std::ifstream in(fileName, std::ios::binary);
  if (!in) return false;
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

bool WriteEntry(archive* writer, const std::string& fileName, std::string& error) {
  std::string bytes;
  if (!ReadWholeFile(fileName, bytes)) {
    error = "Cannot read " + fileName;
    return false;
  }
  std::unique_ptr<archive_entry, void (*)(archive_entry*)> entry(archive_entry_new(), archive_entry_free);
  const std::string name = std::filesystem::path(fileName).filename().string();
  archive_entry_set_pathname_utf8(entry.get(), name.c_str());
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), 0644);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(bytes.size()));
  if (archive_write_header(writer, entry.get()) != ARCHIVE_OK ||
      (!bytes.empty() && archive_write_data(writer, bytes.data(), bytes.size()) < 0)) {
    error = ArchiveError(writer, "Cannot write " + name);
    return false;
  }
  return true;
}

const char* ZipEncryptionOption(TZipEncryption encryption) {
  switch (encryption) {
    case zeAes128: return "zip:encryption=aes128";
    case zeZipCrypt: return "zip:encryption=zipcrypt";
    default: return "zip:encryption=aes256";
  }
}

// The first regular file that the 7z program extracts, moved to a temporary file.
bool ExtractProtectedSevenZip(const std::string& archiveName, std::string& tempFileName, std::string& error,
                              std::string_view password) {
  namespace fs = std::filesystem;
  std::string folder = IncludeTrailingPathDelimiter(GetTempFolder()) + "quillon-7z-XXXXXX";
  std::error_code failed;
  if (mkdtemp(folder.data()) == nullptr) {
    error = "Cannot create a temporary folder";
    return false;
  }
  bool found = false;
  if (SevenZipExtractWithPassword(archiveName, folder, password, error)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, failed)) {
      if (!entry.is_regular_file(failed) || entry.is_symlink(failed)) continue;
      tempFileName = GenerateTempFilename(PlainExtension(entry.path().filename().string()));
      std::remove(tempFileName.c_str());
      fs::rename(entry.path(), tempFileName, failed);
      found = !failed;
      break;
    }
    if (!found) error = "The archive " + archiveName + " holds no file";
  }
  fs::remove_all(folder, failed);
  if (!found) tempFileName.clear();
  return found;
}

}  // namespace

void TArchiveFree::operator()(archive* handle) const noexcept {
  if (!handle) return;
  // Readers and writers are freed alike; archive_free tells them apart itself.
  archive_free(handle);
}

bool TKwArchiveReader::Open(const std::string& fileName, std::string_view password) {
  LastError.clear();
  FArchive.reset(archive_read_new());
  if (!FArchive) {
    LastError = "Out of memory";
    return false;
  }
  archive_read_support_filter_all(FArchive.get());
  archive_read_support_format_all(FArchive.get());
  if (!password.empty()) archive_read_add_passphrase(FArchive.get(), std::string(password).c_str());
  if (archive_read_open_filename(FArchive.get(), fileName.c_str(), kBlockSize) != ARCHIVE_OK) {
    LastError = ArchiveError(FArchive.get(), "Cannot open the archive " + fileName);
    FArchive.reset();
    return false;
  }
  return true;
}

bool TKwArchiveReader::NextFile(std::string& entryName) {
  LastError.clear();
  if (!FArchive) return false;
  archive_entry* entry = nullptr;
  for (;;) {
    const int status = archive_read_next_header(FArchive.get(), &entry);
    if (status == ARCHIVE_EOF) return false;
    if (status < ARCHIVE_WARN) {
      LastError = ArchiveError(FArchive.get(), "Damaged archive");
      return false;
    }
    if (archive_entry_filetype(entry) != AE_IFREG) continue;
    const char* name = archive_entry_pathname_utf8(entry);
    if (!name) name = archive_entry_pathname(entry);
    entryName = name ? name : "";
    return true;
  }
}

bool TKwArchiveReader::ReadFile(std::string& bytes, int64_t maxBytes) {
  LastError.clear();
  bytes.clear();
  if (!FArchive) return false;
  char block[kBlockSize];
  for (;;) {
    const la_ssize_t count = archive_read_data(FArchive.get(), block, sizeof block);
    if (count == 0) return true;
    if (count < 0) {
      LastError = ArchiveError(FArchive.get(), "Cannot read the archived file");
      return false;
    }
    if (static_cast<int64_t>(bytes.size()) + count > maxBytes) {
      LastError = "The archived file is too large";
      return false;
    }
    bytes.append(block, static_cast<size_t>(count));
  }
}

bool DeCompressFileToTemp(const std::string& archiveName, std::string& tempFileName, std::string& error,
                          std::string_view password) {
  tempFileName.clear();
  if (!password.empty() && IsSevenZipFile(archiveName))
    return ExtractProtectedSevenZip(archiveName, tempFileName, error, password);
  TKwArchiveReader reader;
  std::string entryName, bytes;
  if (!reader.Open(archiveName, password) || !reader.NextFile(entryName) || !reader.ReadFile(bytes)) {
    error = reader.LastError.empty() ? "The archive " + archiveName + " holds no file" : reader.LastError;
    return false;
  }
  const std::string fileName = GenerateTempFilename(PlainExtension(entryName));
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  if (fileName.empty() || !out.write(bytes.data(), static_cast<std::streamsize>(bytes.size())) || !out.flush()) {
    error = "Cannot write a temporary file";
    if (!fileName.empty()) std::remove(fileName.c_str());
    return false;
  }
  tempFileName = fileName;
  return true;
}

bool CompressFilesToArchive(const std::vector<std::string>& fileNames, const std::string& archiveName,
                            TArchiveFormat format, std::string& error, std::string_view password,
                            TZipEncryption zipEncryption) {
  if (!password.empty() && format == afSevenZip)
    return SevenZipCompressWithPassword(fileNames, archiveName, password, error);
  TArchivePtr writer(archive_write_new());
  if (!writer) {
    error = "Out of memory";
    return false;
  }
  const int status = format == afSevenZip ? archive_write_set_format_7zip(writer.get())
                                          : archive_write_set_format_zip(writer.get());
  if (status != ARCHIVE_OK ||
      (!password.empty() && format == afZip &&
       (archive_write_set_options(writer.get(), ZipEncryptionOption(zipEncryption)) != ARCHIVE_OK ||
        archive_write_set_passphrase(writer.get(), std::string(password).c_str()) != ARCHIVE_OK)) ||
      archive_write_open_filename(writer.get(), archiveName.c_str()) != ARCHIVE_OK) {
    error = ArchiveError(writer.get(), "Cannot create the archive " + archiveName);
    return false;
  }
  bool written = true;
  for (const std::string& fileName : fileNames)
    if (!WriteEntry(writer.get(), fileName, error)) {
      written = false;
      break;
    }
  if (written && archive_write_close(writer.get()) != ARCHIVE_OK) {
    error = ArchiveError(writer.get(), "Cannot finish the archive " + archiveName);
    written = false;
  }
  if (!written) {
    writer.reset();
    std::remove(archiveName.c_str());
  }
  return written;
}

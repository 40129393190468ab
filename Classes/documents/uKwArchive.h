#pragma once
// Zip and 7z archives through libarchive, the one place that includes its headers:
// reading an archive's entries (any format libarchive recognises, encrypted zip entries
// with a password) and writing a zip or 7z archive of files.
//
// Entry names come from the archive and are hostile: nothing here ever writes to a path
// built from an entry name. Objects are used from one thread; nothing here throws.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct archive;

struct TArchiveFree {
  void operator()(archive* handle) const noexcept;
};
using TArchivePtr = std::unique_ptr<archive, TArchiveFree>;

// Walks the regular-file entries of one archive file.
class TKwArchiveReader {
 public:
  // False with LastError when the file cannot be opened or is no archive.
  bool Open(const std::string& fileName, std::string_view password = "");
  // Advances to the next regular file; false at the end or on damage (LastError says
  // which: it stays empty at a clean end).
  bool NextFile(std::string& entryName);
  // The current entry's bytes; false with LastError when they cannot be read (a wrong
  // password, damage). At most maxBytes are read; more is an error.
  bool ReadFile(std::string& bytes, int64_t maxBytes = INT64_MAX);

  std::string LastError;

 private:
  TArchivePtr FArchive;
};

// Writes the first regular file of an archive into a fresh temporary file (named with the
// entry's extension when it has a plain one). False with error when the archive cannot be
// read or holds no file; no temporary file is left behind then. A 7z archive with a
// password is read through the 7z program.
bool DeCompressFileToTemp(const std::string& archiveName, std::string& tempFileName, std::string& error,
                          std::string_view password = "");

// persisted: never reorder
enum TArchiveFormat : uint8_t { afZip = 0, afSevenZip = 1 };

// How a zip with a password is encrypted (libarchive's zip:encryption values).
enum TZipEncryption : uint8_t { zeAes256 = 0, zeAes128 = 1, zeZipCrypt = 2 };

// Writes fileNames into a new archive (replacing archiveName), each under its last path
// component. A password encrypts zip entries by zipEncryption, and a 7z archive (through
// the 7z program, uKwSevenZip) with AES-256. With a password, an archive that cannot be
// encrypted is an error and is not left behind: never an unprotected one.
bool CompressFilesToArchive(const std::vector<std::string>& fileNames, const std::string& archiveName,
                            TArchiveFormat format, std::string& error, std::string_view password = "",
                            TZipEncryption zipEncryption = zeAes256);

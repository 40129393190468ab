#pragma once
// Password-protected 7z archives through Debian's 7z program (p7zip-full). libarchive
// reads and writes 7z but cannot encrypt it (its writer silently ignores a passphrase) nor
// read encrypted 7z, so protected archives take this way: the program runs without a
// shell, and the password reaches it on stdin, never on its command line. The archive is
// AES-256 with encrypted headers (file names hidden too). Any thread.

#include <string>
#include <string_view>
#include <vector>

inline constexpr std::string_view kSevenZipProgram = "7z";

// Writes fileNames (each under its last path component) into a new archiveName, replacing
// it. False with error when the program is missing or fails, or the password holds a line
// break (the program reads it as one line); no archive is left behind then.
bool SevenZipCompressWithPassword(const std::vector<std::string>& fileNames, const std::string& archiveName,
                                  std::string_view password, std::string& error);

// Extracts the archive's files, flattened, into the existing empty folder. False with error
// for a wrong password, a damaged archive or a missing program.
bool SevenZipExtractWithPassword(const std::string& archiveName, const std::string& folder,
                                 std::string_view password, std::string& error);

// Whether the file starts with the 7z signature.
bool IsSevenZipFile(const std::string& fileName);

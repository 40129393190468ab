#pragma once
// Which files on disk are message files the engine can load, and how many a folder holds.
//
// A file is judged by its name alone (extension, and for re-readable output the unique id
// in its name); its content is never read, so a 0-byte ".eml" counts as a message file and
// its failure to load is the loader's to report. Folder walks never throw: a folder that
// cannot be listed counts as empty, entries that vanish or cannot be examined are skipped,
// and every directory is visited at most once however symbolic links loop.
// Pure functions over the file system; safe from any thread.

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "uKwTypes.h"

// A set of TFileFormat values.
class TFileFormats {
 public:
  constexpr TFileFormats() = default;
  constexpr TFileFormats(std::initializer_list<TFileFormat> formats) {
    for (TFileFormat format : formats) Include(format);
  }
  constexpr bool Contains(TFileFormat format) const { return (FBits & Bit(format)) != 0; }
  constexpr TFileFormats& Include(TFileFormat format) {
    FBits |= Bit(format);
    return *this;
  }
  constexpr bool IsEmpty() const { return FBits == 0; }
  constexpr bool operator==(const TFileFormats&) const = default;

 private:
  static constexpr uint64_t Bit(TFileFormat format) {
    return uint64_t{1} << static_cast<int>(format);
  }
  static_assert(TFileFormatCount <= 64);
  uint64_t FBits = 0;
};

// Every format a message file can have: what the single-files source asks for.
inline constexpr TFileFormats kMessageFileFormats{ffSfEml, ffSfPdf, ffSfMsg,
                                                  ffSfMht, ffSfZip, ffSf7z};

// Format: the single-file format of the name; Encrypted: it is the encrypted variant
// ("name._eml"). ".eml" and ".msg" files are always message files; ".pdf", ".mht", ".zip"
// and ".7z" only when the name carries a message unique id (files this engine wrote);
// anything else never. Format and Encrypted are set whatever the result.
bool ValidEmailSource(std::string_view fileName, TFileFormat& format, bool& encrypted);
bool ValidEmailSource(std::string_view fileName, TFileFormat& format);
bool ValidEmailSource(std::string_view fileName);
// As above, and the format must be one of allowedFormats.
bool ValidEmailSource(std::string_view fileName, TFileFormat& format, TFileFormats allowedFormats);
bool ValidEmailSource(std::string_view fileName, TFileFormats allowedFormats);

// The full paths of the message files directly in folder, in the file system's listing
// order: entries that are not directories (symbolic links followed), hidden ones included,
// whose names ValidEmailSource accepts with allowedFormats. A caller that counts and then
// walks a folder should walk this list, so that both see the same files.
std::vector<std::string> ListMessageFiles(std::string_view folder,
                                          TFileFormats allowedFormats = kMessageFileFormats);

// How many files ListMessageFiles would give, in folder and, when recursive, in every
// folder below it.
int CountMessagesInFolder(std::string_view folder,
                          TFileFormats allowedFormats = kMessageFileFormats,
                          bool recursive = false);

// Whether folder or any folder below it holds a message file; stops at the first one.
bool EmailInFolderOrInChildFolders(std::string_view folder,
                                   TFileFormats allowedFormats = kMessageFileFormats);

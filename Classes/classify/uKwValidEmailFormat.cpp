#include "uKwValidEmailFormat.h"

#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include "uKwMessageName.h"

namespace fs = std::filesystem;

namespace {

// Formats that are messages only when the engine wrote them (the name carries an id):
// other PDFs, web archives and archives are not messages.
bool NeedsUniqueId(TFileFormat format) {
  return format == ffSfPdf || format == ffSfMht || format == ffSfZip || format == ffSf7z;
}

// A directory's identity, so that a folder reached again through a link is not re-walked.
using TDirectoryId = std::pair<dev_t, ino_t>;

bool DirectoryId(const fs::path& folder, TDirectoryId& id) {
  struct stat info {};
  if (::stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return false;
  id = {info.st_dev, info.st_ino};
  return true;
}

// A message file among a folder's entries; anything that cannot be examined (vanished,
// dangling link, no permission) is not.
bool IsMessageFileEntry(const fs::directory_entry& entry, TFileFormats allowedFormats) {
  if (!ValidEmailSource(entry.path().filename().native(), allowedFormats)) return false;
  std::error_code ec;
  const fs::file_status status = entry.status(ec);
  return !ec && fs::exists(status) && !fs::is_directory(status);
}

// Calls visit(path) for each message file; visit returns false to stop the whole walk.
// Folders are walked from an explicit stack, so depth costs no call stack.
template <class TVisit>
void WalkMessageFiles(std::string_view folder, TFileFormats allowedFormats, bool recursive,
                      TVisit&& visit) {
  std::set<TDirectoryId> visited;
  std::vector<fs::path> pending{fs::path(folder)};
  while (!pending.empty()) {
    const fs::path current = std::move(pending.back());
    pending.pop_back();
    TDirectoryId id;
    if (!DirectoryId(current, id) || !visited.insert(id).second) continue;
    std::error_code ec;
    fs::directory_iterator it(current, ec);
    for (; !ec && it != fs::directory_iterator(); it.increment(ec)) {
      if (IsMessageFileEntry(*it, allowedFormats)) {
        if (!visit(it->path())) return;
      } else if (recursive) {
        std::error_code typeError;
        if (it->is_directory(typeError)) pending.push_back(it->path());
      }
    }
  }
}

}  // namespace

bool ValidEmailSource(std::string_view fileName, TFileFormat& format, bool& encrypted) {
  format = FilenameToSingleFileFormatEx(fileName, encrypted);
  if (format == ffSfEml || format == ffSfMsg) return true;
  return NeedsUniqueId(format) && IsUniqueIdInFilename(fileName);
}

bool ValidEmailSource(std::string_view fileName, TFileFormat& format) {
  bool encrypted = false;
  return ValidEmailSource(fileName, format, encrypted);
}

bool ValidEmailSource(std::string_view fileName) {
  TFileFormat format = ffNone;
  return ValidEmailSource(fileName, format);
}

bool ValidEmailSource(std::string_view fileName, TFileFormat& format, TFileFormats allowedFormats) {
  return ValidEmailSource(fileName, format) && allowedFormats.Contains(format);
}

bool ValidEmailSource(std::string_view fileName, TFileFormats allowedFormats) {
  TFileFormat format = ffNone;
  return ValidEmailSource(fileName, format, allowedFormats);
}

std::vector<std::string> ListMessageFiles(std::string_view folder, TFileFormats allowedFormats) {
  std::vector<std::string> files;
  WalkMessageFiles(folder, allowedFormats, false, [&](const fs::path& path) {
    files.push_back(path.string());
    return true;
  });
  return files;
}

int CountMessagesInFolder(std::string_view folder, TFileFormats allowedFormats, bool recursive) {
  int count = 0;
  WalkMessageFiles(folder, allowedFormats, recursive, [&](const fs::path&) {
    ++count;
    return true;
  });
  return count;
}

bool EmailInFolderOrInChildFolders(std::string_view folder, TFileFormats allowedFormats) {
  bool found = false;
  WalkMessageFiles(folder, allowedFormats, true, [&](const fs::path&) {
    found = true;
    return false;
  });
  return found;
}

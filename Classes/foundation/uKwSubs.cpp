#include "uKwSubs.h"

#include <fcntl.h>
#include <netdb.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <system_error>

#include "uKwRegFolders.h"
#include "uKwRunFileCache.h"
#include "uKwUtf8.h"

namespace fs = std::filesystem;

namespace {

// ---- UTF-8 characters ----

// One character: its bytes and its code point (-1 for a stray byte, kept as it is).
struct TCharacter {
  std::string_view Bytes;
  long CodePoint;
};

TCharacter CharacterAt(std::string_view text, size_t pos) {
  size_t length = Utf8SequenceLength(text, pos);
  if (length == 0) return {text.substr(pos, 1), -1};
  return {text.substr(pos, length), static_cast<long>(DecodeUtf8Sequence(text, pos, length))};
}

std::vector<std::string_view> SplitCharacters(std::string_view text) {
  std::vector<std::string_view> characters;
  for (size_t pos = 0; pos < text.size();) {
    std::string_view bytes = CharacterAt(text, pos).Bytes;
    characters.push_back(bytes);
    pos += bytes.size();
  }
  return characters;
}

size_t CharacterCount(std::string_view text) { return SplitCharacters(text).size(); }

std::string FirstCharacters(std::string_view text, long count) {
  std::string result;
  for (std::string_view character : SplitCharacters(text)) {
    if (count-- <= 0) break;
    result += character;
  }
  return result;
}

bool IsInvalidFilenameCharacter(long code) {
  switch (code) {
    case '"':
    case '\'':
    case '*':
    case '/':
    case ':':
    case '<':
    case '>':
    case '?':
    case '\\':
    case '|':
    case 0x80:
    case 0x81:
    case 0x8D:
    case 0x8E:
    case 0x8F:
    case 0x90:
    case 0x9D:
    case 0x9E:
      return true;
    default:
      return false;
  }
}

std::string_view TrimSpaces(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

// ---- Files ----

// Only an entry we can see counts as taken; a folder we cannot search would otherwise make
// every numbered name look taken.
bool PathIsTaken(const std::string& path) {
  if (RunKnownFile(path)) return true;
  struct stat info {};
  if (lstat(path.c_str(), &info) != 0) return false;
  if (S_ISREG(info.st_mode)) RunNoteFile(path, static_cast<uint64_t>(info.st_size));
  return true;
}

std::string ErrnoText(int error) {
  return std::error_code(error, std::generic_category()).message();
}

enum class TExistingFile { None, SameContent, OtherContent };

bool FileHasContent(const std::string& path, std::string_view content) {
  if (const std::optional<TKwRunFile> known = RunKnownFile(path)) {
    if (known->Size != content.size() || (known->Hash && *known->Hash != RunContentHash(content))) return false;
  }
  std::error_code ec;
  if (!fs::is_regular_file(path, ec) || fs::file_size(path, ec) != content.size() || ec)
    return false;
  std::ifstream in(path, std::ios::binary);
  std::string chunk(65536, '\0');
  for (size_t offset = 0; offset < content.size();) {
    size_t wanted = std::min(chunk.size(), content.size() - offset);
    if (!in.read(chunk.data(), static_cast<std::streamsize>(wanted))) return false;
    if (content.compare(offset, wanted, chunk.data(), wanted) != 0) return false;
    offset += wanted;
  }
  return true;
}

TExistingFile ExistingFile(const std::string& path, std::string_view content) {
  if (!PathIsTaken(path)) return TExistingFile::None;
  return FileHasContent(path, content) ? TExistingFile::SameContent : TExistingFile::OtherContent;
}

// Writes content to path; with exclusive set, fails with EEXIST rather than replace a file
// that appeared meanwhile. A new file that could not be written completely is removed.
// Returns 0 or the errno of the failure.
int WriteWholeFile(const std::string& path, std::string_view content, bool exclusive) {
  int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (exclusive ? O_EXCL : O_TRUNC);
  int fd = open(path.c_str(), flags, 0666);
  if (fd < 0) return errno;
  int error = 0;
  for (size_t done = 0; done < content.size() && error == 0;) {
    ssize_t written = write(fd, content.data() + done, content.size() - done);
    if (written < 0 && errno != EINTR) error = errno;
    if (written > 0) done += static_cast<size_t>(written);
  }
  if (close(fd) != 0 && error == 0) error = errno;
  if (error != 0 && exclusive) unlink(path.c_str());
  return error;
}

TKwDuplicateSaveResult SaveResult(const std::string& fileName, TSaveStatus status,
                                  bool isDuplicate = false) {
  TKwDuplicateSaveResult result;
  result.FileName = fileName;
  result.Status = status;
  result.IsDuplicate = isDuplicate;
  return result;
}

TKwDuplicateSaveResult WriteResult(const std::string& fileName, std::string_view content,
                                   bool exclusive, TSaveStatus success) {
  int error = WriteWholeFile(fileName, content, exclusive);
  if (error == 0) {
    RunNoteFile(fileName, content.size(), RunContentHash(content));
    return SaveResult(fileName, success);
  }
  TKwDuplicateSaveResult result = SaveResult(fileName, ssError);
  result.ErrorMessage = "Cannot create file \"" + fileName + "\". " + ErrnoText(error);
  return result;
}

void NoteNumberTaken(const std::string& fileName, int number, const std::string& candidate) {
  if (const std::optional<TKwRunFile> known = RunKnownFile(candidate)) RunNoteNumberTaken(fileName, number, known->Size);
}

// The numbers a run already knows to be taken are compared only when their size fits, and
// the walk goes on past them: a folder holding thousands of "scan.pdf" files costs no more
// per save than one holding a few.
TKwDuplicateSaveResult SaveUnderNumberedName(const std::string& fileName, std::string_view content,
                                             int maxLength) {
  for (const int number : RunNumbersOfSize(fileName, content.size())) {
    std::string candidate = FullFilenameWithNumberLengthLimited(fileName, number, maxLength);
    if (FileHasContent(candidate, content)) return SaveResult(candidate, ssSkipped, true);
  }
  for (int number = RunFirstUnknownNumber(fileName); number < INT_MAX; ++number) {
    std::string candidate = FullFilenameWithNumberLengthLimited(fileName, number, maxLength);
    TExistingFile existing = ExistingFile(candidate, content);
    if (existing == TExistingFile::SameContent) return SaveResult(candidate, ssSkipped, true);
    if (existing == TExistingFile::OtherContent) {
      NoteNumberTaken(fileName, number, candidate);
      continue;
    }
    TKwDuplicateSaveResult result = WriteResult(candidate, content, true, ssRenamed);
    if (result.Status != ssError) RunNoteNumberTaken(fileName, number, content.size());
    if (result.Status != ssError || !PathIsTaken(candidate)) return result;
  }
  return WriteResult(fileName, content, true, ssRenamed);  // not reached in practice
}

TKwDuplicateSaveResult SaveCheckingForDuplicates(const std::string& fileName,
                                                 std::string_view content,
                                                 TSFDuplicatedFilesAction action, int maxLength) {
  switch (ExistingFile(fileName, content)) {
    case TExistingFile::None:
      return WriteResult(fileName, content, true, ssSaved);
    case TExistingFile::SameContent:
      return SaveResult(fileName, ssSkipped, true);
    case TExistingFile::OtherContent:
      break;
  }
  switch (action) {
    case dfSkip:
      return SaveResult(fileName, ssSkipped);
    case dfOverwrite:
      return WriteResult(fileName, content, false, ssOverwritten);
    default:
      return SaveUnderNumberedName(fileName, content, maxLength);
  }
}

// ---- Host ----

std::string FullHostName() {
  char name[HOST_NAME_MAX + 1] = {};
  if (gethostname(name, sizeof(name) - 1) != 0) return {};
  return name;
}

std::string DomainOf(const std::string& hostName) {
  size_t dot = hostName.find('.');
  return dot == std::string::npos ? std::string() : hostName.substr(dot + 1);
}

// The resolver may be slow or hang on a broken network, so it is asked once per process.
std::string LookUpDomainName() {
  std::string host = FullHostName();
  if (host.empty() || !DomainOf(host).empty()) return DomainOf(host);
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_flags = AI_CANONNAME;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0 || found == nullptr) return {};
  std::string canonical = found->ai_canonname ? found->ai_canonname : "";
  freeaddrinfo(found);
  return DomainOf(canonical);
}

}  // namespace

std::string JoinLines(const TStringList& lines, std::string_view separator) {
  size_t size = 0;
  for (const std::string& line : lines) size += line.size() + separator.size();
  std::string text;
  text.reserve(size);
  for (size_t i = 0; i < lines.size(); ++i) {
    if (i) text += separator;
    text += lines[i];
  }
  return text;
}

std::string ReplaceInvalidCharactersFilename(std::string_view name, std::string_view replaceChar) {
  std::string result;
  result.reserve(name.size());
  for (size_t pos = 0; pos < name.size();) {
    TCharacter character = CharacterAt(name, pos);
    pos += character.Bytes.size();
    if (character.CodePoint >= 0 && character.CodePoint < 32) continue;
    if (IsInvalidFilenameCharacter(character.CodePoint))
      result += replaceChar;
    else
      result += character.Bytes;
  }
  return std::string(TrimSpaces(result));
}

std::string ReplaceInvalidCharactersFoldername(std::string_view name,
                                               std::string_view invalidCharacters,
                                               std::string_view replaceChar) {
  std::vector<std::string_view> invalid = SplitCharacters(invalidCharacters);
  std::string result;
  for (std::string_view character : SplitCharacters(name)) {
    if (std::find(invalid.begin(), invalid.end(), character) != invalid.end())
      result += replaceChar;
    else
      result += character;
  }
  return result;
}

std::string FullFilenameWithNumberLengthLimited(std::string_view fileName, int number,
                                                int maxLength) {
  size_t slash = fileName.rfind('/');
  size_t nameStart = slash == std::string_view::npos ? 0 : slash + 1;
  std::string_view folder = fileName.substr(0, nameStart);
  std::string_view name = fileName.substr(nameStart);
  size_t dot = name.rfind('.');
  std::string_view extension = dot == std::string_view::npos ? "" : name.substr(dot);
  std::string base(name.substr(0, name.size() - extension.size()));
  std::string numberText = std::to_string(number);
  long numberLength = static_cast<long>(numberText.size());
  if (maxLength <= static_cast<long>(CharacterCount(base)) + numberLength + 2)
    base = FirstCharacters(
        base, maxLength - static_cast<long>(CharacterCount(extension)) - numberLength - 2);
  return std::string(folder) + base + "_" + numberText + std::string(extension);
}

std::string CheckGenerateFilenameWithNumberLengthLimited(std::string_view fileName, int maxLength) {
  const std::string name(fileName);
  if (!PathIsTaken(name)) return name;
  for (int number = RunFirstUnknownNumber(name); number < INT_MAX; ++number) {
    std::string candidate = FullFilenameWithNumberLengthLimited(fileName, number, maxLength);
    if (!PathIsTaken(candidate)) return candidate;
    NoteNumberTaken(name, number, candidate);
  }
  return name;
}

bool IsPathTaken(const std::string& path) { return PathIsTaken(path); }

std::string IncludeTrailingPathDelimiter(std::string_view path) {
  std::string result(path);
  if (result.empty() || result.back() != '/') result += '/';
  return result;
}

std::string ExcludeTrailingPathDelimiter(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return std::string(path);
}

std::string FolderNameUp(std::string_view path) {
  std::string folder = ExcludeTrailingPathDelimiter(path);
  if (folder == "/") return folder;
  size_t slash = folder.rfind('/');
  return slash == std::string::npos ? std::string() : folder.substr(0, slash + 1);
}

bool DeleteFolderAndContents(std::string_view folder) {
  try {
    std::string target = ExcludeTrailingPathDelimiter(folder);
    if (target.empty() || target == "/") return false;
    std::error_code ec;
    fs::remove_all(target, ec);
    return !PathIsTaken(target);
  } catch (...) {
    return false;
  }
}

std::string GenerateTempFilename(std::string_view extension) {
  std::string folder = GetTempFolder();
  if (folder.empty()) return {};
  std::string suffix = extension.empty() ? std::string(".tmp") : std::string(extension);
  if (suffix.front() != '.') suffix.insert(suffix.begin(), '.');
  std::string pattern = folder + "Quillon-XXXXXX" + suffix;
  int fd = mkostemps(pattern.data(), static_cast<int>(suffix.size()), O_CLOEXEC);
  if (fd < 0) return {};
  close(fd);
  return pattern;
}

TKwDuplicateSaveResult SaveFileCheckingForDuplicates(std::string_view fileName,
                                                     std::string_view content,
                                                     TSFDuplicatedFilesAction action,
                                                     int maxLength) {
  try {
    return SaveCheckingForDuplicates(std::string(fileName), content, action, maxLength);
  } catch (const std::exception& error) {
    TKwDuplicateSaveResult result = SaveResult(std::string(fileName), ssError);
    result.ErrorMessage = error.what();
    return result;
  }
}

TKwDuplicateSaveResult SaveStringListCheckingForDuplicates(std::string_view fileName,
                                                           const std::vector<std::string>& lines,
                                                           TSFDuplicatedFilesAction action,
                                                           int maxLength,
                                                           std::string_view lineBreak) {
  std::string text;
  for (const std::string& line : lines) {
    text += line;
    text += lineBreak;
  }
  return SaveFileCheckingForDuplicates(fileName, text, action, maxLength);
}

std::string NewGuidString() {
  uuid_t id;
  uuid_generate_random(id);
  char text[37] = {};
  uuid_unparse_upper(id, text);
  return "{" + std::string(text) + "}";
}

std::string GetComputerName() {
  std::string host = FullHostName();
  return host.substr(0, host.find('.'));
}

std::string GetUserName() {
  struct passwd entry {};
  struct passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found ||
      !found->pw_name)
    return {};
  return found->pw_name;
}

std::string GetDomainName() {
  static std::once_flag once;
  static std::string domain;
  std::call_once(once, [] {
    try {
      domain = LookUpDomainName();
    } catch (...) {
      domain.clear();
    }
  });
  return domain;
}

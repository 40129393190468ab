#pragma once
// Shared routines for lines, names and files: joining lines, cleaning file and folder names, finding a free
// numbered file name, saving without losing earlier output, temporary files, GUID text and
// the names of this computer and user. Text is UTF-8 and lengths count characters (code
// points), not bytes; bytes that are not valid UTF-8 count one each and pass through.
// Nothing here throws; failures give "" or false. Safe from any thread.

#include <string>
#include <string_view>
#include <vector>

#include "uKwPersistent.h"
#include "uKwTypes.h"

// ---- Lines ----
// The lines with separator between them (none after the last).
std::string JoinLines(const TStringList& lines, std::string_view separator = "\r\n");

// ---- Names ----
// Drops characters below 32; replaces " ' * / : < > ? \ | and U+0080, U+0081, U+008D..U+0090,
// U+009D, U+009E by replaceChar (which may be any text, "" to delete); trims blanks at both
// ends. Callers that build disk paths pass "_".
std::string ReplaceInvalidCharactersFilename(std::string_view name, std::string_view replaceChar);
// Every character of invalidCharacters found in name becomes replaceChar.
std::string ReplaceInvalidCharactersFoldername(std::string_view name,
                                               std::string_view invalidCharacters,
                                               std::string_view replaceChar);

// folder + base + "_" + number + extension. When maxLength <= length(base) +
// length(number text) + 2, base is first cut to maxLength - length(extension) -
// length(number text) - 2 characters (nothing left when that is not positive). Only the
// name part is measured, never the folder. The test leaves out the extension, so a base a
// few characters short of the limit is not cut and the result can exceed maxLength; kept as
// it is because earlier output was named by this rule.
std::string FullFilenameWithNumberLengthLimited(std::string_view fileName, int number,
                                                int maxLength);
// fileName when nothing of that name exists (file, folder or link), else the first of the
// numbers 1, 2, 3, ... whose FullFilenameWithNumberLengthLimited name does not exist.
std::string CheckGenerateFilenameWithNumberLengthLimited(std::string_view fileName, int maxLength);
// Whether anything of that name exists (file, folder or link); during a run, a name the
// run knows is answered without asking the file system (uKwRunFileCache).
bool IsPathTaken(const std::string& path);

// The folder above path, with a trailing "/": "/a/b/c" and "/a/b/c/" give "/a/b/"; "/"
// gives "/"; a name without any "/" gives "".
std::string FolderNameUp(std::string_view path);
std::string IncludeTrailingPathDelimiter(std::string_view path);
std::string ExcludeTrailingPathDelimiter(std::string_view path);  // keeps a lone "/"

// ---- Files and folders ----
// Removes folder and everything below it (links are removed, never followed). True when
// nothing of it remains, also when it never existed; false for "" and "/".
bool DeleteFolderAndContents(std::string_view folder);

// Creates an empty file with a fresh unique name in GetTempFolder() and returns its name;
// the caller writes over it and deletes it. extension may come with or without its dot;
// empty gives ".tmp". "" when no file can be created.
std::string GenerateTempFilename(std::string_view extension = "");

// Outcome of a duplicate-aware save. Status: ssSaved (new file), ssRenamed (saved under a
// numbered name), ssOverwritten, ssSkipped (nothing written), ssError (ErrorMessage says
// why). IsDuplicate: an existing file already held exactly this content; FileName is then
// that file, otherwise the file written (or the one left alone by dfSkip).
struct TKwDuplicateSaveResult {
  std::string FileName;
  bool IsDuplicate = false;
  TSaveStatus Status = ssError;
  std::string ErrorMessage;
};

// Saves content under fileName, whose folder must exist. A file of that name with the same
// bytes is reported as a duplicate and left as it is, whatever the action. Otherwise, when
// the name is taken: dfSkip writes nothing, dfOverwrite replaces the file, dfRename walks
// the numbered names of CheckGenerateFilenameWithNumberLengthLimited, stopping at the first
// that is free (written there) or holds the same bytes (a duplicate).
TKwDuplicateSaveResult SaveFileCheckingForDuplicates(std::string_view fileName,
                                                     std::string_view content,
                                                     TSFDuplicatedFilesAction action = dfRename,
                                                     int maxLength = 260);
// As above with the text of lines, each followed by lineBreak.
TKwDuplicateSaveResult SaveStringListCheckingForDuplicates(
    std::string_view fileName, const std::vector<std::string>& lines,
    TSFDuplicatedFilesAction action = dfRename, int maxLength = 260,
    std::string_view lineBreak = "\n");

// ---- Identity ----
// 128 random bits as {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}, upper-case, 38 characters.
std::string NewGuidString();
std::string GetComputerName();  // the host name up to its first ".", "" when unknown
std::string GetUserName();      // login name of the effective user, "" when unknown
std::string GetDomainName();    // the host's DNS domain ("example.org"), "" when unknown

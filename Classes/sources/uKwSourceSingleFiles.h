#pragma once
// The "Single Files" mail source: a folder tree of message files on disk, one message per
// file. Its folders are the root directory (SourceOptions.Folder) and every directory
// below it, whether or not it holds messages; its items are the files of each directory
// that ValidEmailSource accepts as messages (.eml and .msg always; .pdf, .mht, .zip and
// .7z only when their name carries a unique id, as the single-files target writes them).
//
// Files are taken in the file system's listing order; the range and sampling filters see
// positions among the message files only. This build reads .msg files with the message's
// own loader (no platform messaging layer), so UseOutlookToReadMsgFiles has no effect.

#include <set>
#include <string>

#include "uKwHeaders.h"
#include "uKwSourceBase.h"

class TKwSourceMailSingleFiles : public TKwSourceMailBase {
 public:
  std::string_view ClassName() const override { return "TKwSourceMailSingleFiles"; }

  // A root folder named after the last component of Folder, and below it a folder for
  // every subdirectory, depth first. True when the tree holds a folder.
  bool LoadFolders() override;
  // False (the run reports that the source could not be initialised) when Folder is empty
  // or names no directory.
  bool InitializeExtraction() override;
  void ProcessMailFolder(TKwFolderNode& folder) override;
  bool DoLoadMailItem(const TKwMailItem& item, TKwMailMessage& message) override;
  // Loads the message file named by id (a path) into message.
  bool DownloadMessage(const std::string& id, TKwMailMessage& message);

  // The directory on disk of a folder of the tree: the root directory followed by the
  // names of the folder's ancestors below the root and its own, with a trailing "/".
  std::string FolderDirectory(const TKwFolderNode& folder) const;

 private:
  void AddSubfolders(const std::string& directory, TKwFolderNode& parent, std::set<std::string>& visited);
  void SetLoadingOptions(TKwMailMessage& message) const;
  // The unique id and filter data of a plain message file, from its header block.
  void FillHeaderData(TKwMailItem& item);

  std::string FRootDirectory;  // Folder with a trailing "/"
  TKwHeaders FHeaderParser;    // reused for every file
};

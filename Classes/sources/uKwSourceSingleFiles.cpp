#include "uKwSourceSingleFiles.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwMailMessage.h"
#include "uKwSubs.h"
#include "uKwValidEmailFormat.h"

namespace fs = std::filesystem;

namespace {

// Directories nested deeper than this are not walked.
constexpr int kMaxFolderDepth = 64;

// The subdirectories of directory in listing order; symbolic links to directories count.
// A directory that cannot be listed has none.
std::vector<fs::path> Subdirectories(const std::string& directory) {
  std::vector<fs::path> result;
  std::error_code ec;
  fs::directory_iterator it(directory, ec), end;
  for (; !ec && it != end; it.increment(ec)) {
    std::error_code typeError;
    if (it->is_directory(typeError)) result.push_back(it->path());
  }
  return result;
}

// The last component of a path, a trailing separator ignored ("/a/b/" gives "b").
std::string LastComponent(const std::string& path) {
  const fs::path trimmed(ExcludeTrailingPathDelimiter(path));
  const std::string name = trimmed.filename().string();
  return name.empty() ? trimmed.string() : name;
}

// The header block of a plain message file, read up to its blank line (or a size that no
// header block reaches), so the loop knows the message's id and filter data before it
// loads the whole file. Other formats (encrypted, Outlook, PDF) are known only once loaded.
bool ReadHeaderBlock(const std::string& fileName, std::string& block) {
  bool hidden = false;
  if (FilenameToSingleFileFormatEx(fileName, hidden) != ffSfEml || hidden) return false;
  constexpr size_t kMaxHeaderBlock = 256 * 1024;
  std::ifstream in(fileName, std::ios::binary);
  if (!in) return false;
  block.clear();
  std::string line;
  while (block.size() < kMaxHeaderBlock && std::getline(in, line)) {
    if (line.empty() || line == "\r") return true;
    block.append(line).push_back('\n');
  }
  return !block.empty();
}

}  // namespace

void TKwSourceMailSingleFiles::FillHeaderData(TKwMailItem& item) {
  std::string block;
  if (!ReadHeaderBlock(item.FileName, block)) return;
  FHeaderParser.LoadHeadersFromString(block);
  FillMailItemFromHeaders(FHeaderParser, item);
}

bool TKwSourceMailSingleFiles::LoadFolders() {
  TKwSourceMailBase::LoadFolders();
  const std::string& folder = SourceOptions->Folder;
  if (folder.empty()) return false;
  TKwFolderNode& root = SourceFolders->AddChild(nullptr);
  root.Info().FolderName = LastComponent(folder);
  root.Info().FolderFile = folder;
  root.Name = root.Info().FolderName;
  std::set<std::string> visited;
  AddSubfolders(IncludeTrailingPathDelimiter(folder), root, visited);
  SourceFolders->BuildFoldersPath(true);
  return SourceFolders->Count() > 0;
}

// A directory reached twice through symbolic links becomes a folder once: links that loop
// back to an ancestor end there.
void TKwSourceMailSingleFiles::AddSubfolders(const std::string& directory, TKwFolderNode& parent,
                                             std::set<std::string>& visited) {
  if (parent.Level() >= kMaxFolderDepth || IsAborted()) return;
  std::error_code ec;
  visited.insert(fs::canonical(directory, ec).string());
  for (const fs::path& sub : Subdirectories(directory)) {
    const std::string canonical = fs::canonical(sub, ec).string();
    if (ec || !visited.insert(canonical).second) continue;
    const std::string path = sub.string();
    TriggerStatusEvent("Adding folder", path);
    TKwFolderNode& child = SourceFolders->AddChild(&parent);
    child.Info().FolderName = sub.filename().string();
    child.Info().FolderFile = path;
    child.Name = child.Info().FolderName;
    AddSubfolders(IncludeTrailingPathDelimiter(path), child, visited);
  }
}

bool TKwSourceMailSingleFiles::InitializeExtraction() {
  const std::string& folder = SourceOptions->Folder;
  std::error_code ec;
  if (folder.empty() || !fs::is_directory(folder, ec)) return false;
  FRootDirectory = IncludeTrailingPathDelimiter(folder);
  if (!TKwSourceMailBase::InitializeExtraction()) return false;
  SetLoadingOptions(*FMessage);
  return true;
}

// The message keeps its options across Clear, so the source's one message is set once.
void TKwSourceMailSingleFiles::SetLoadingOptions(TKwMailMessage& message) const {
  TKwCompressionOptions& loading = *message.SaveOptions->Compression;
  loading.EncryptionAlgorithm = SourceOptions->EncryptionAlgorithm;
  loading.Password = SourceOptions->EncryptionPassword;
  message.SaveOptions->PDF->Encryption->UserPassword = SourceOptions->PDFPassword;  // opens protected PDFs
}

std::string TKwSourceMailSingleFiles::FolderDirectory(const TKwFolderNode& folder) const {
  std::vector<const TKwFolderNode*> chain;
  for (const TKwFolderNode* node = &folder; node && node->Parent(); node = node->Parent()) chain.push_back(node);
  std::string directory = FRootDirectory.empty() ? IncludeTrailingPathDelimiter(SourceOptions->Folder) : FRootDirectory;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) directory += (*it)->Info().FolderName + "/";
  return directory;
}

void TKwSourceMailSingleFiles::ProcessMailFolder(TKwFolderNode& folder) {
  TKwSourceMailBase::ProcessMailFolder(folder);
  const std::string directory = FolderDirectory(folder);
  const int count = CountMessagesInFolder(directory, kMessageFileFormats, false);
  // Listed again after counting: a file that went away in between is simply not there.
  std::vector<std::string> files;
  if (count > 0) files = ListMessageFiles(directory, kMessageFileFormats);
  WalkFolderItems(folder, count, ExcludeTrailingPathDelimiter(directory), [&](int32_t number) {
    if (static_cast<size_t>(number) > files.size()) return;
    TKwMailItem item;
    item.Index = number;
    item.Count = count;
    item.ItemId = files[static_cast<size_t>(number - 1)];
    item.FileName = item.ItemId;
    FillHeaderData(item);
    ProcessMailItem(item, folder);
  });
}

bool TKwSourceMailSingleFiles::DoLoadMailItem(const TKwMailItem& item, TKwMailMessage& message) {
  SetLoadingOptions(message);
  return !item.FileName.empty() && message.LoadFormat(item.FileName);
}

bool TKwSourceMailSingleFiles::DownloadMessage(const std::string& id, TKwMailMessage& message) {
  SetLoadingOptions(message);
  return message.LoadFormat(id);
}

#include "uKwAttachments.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "uKwAssert.h"
#include "uKwMessageName.h"
#include "uKwRegFolders.h"
#include "uKwStream.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kDataProperty = "Data";
constexpr std::string_view kFallbackName = "ATT.dat";
// Below the 255-byte limit of a file-name component, with room for the "_<n>" of a
// renamed duplicate.
constexpr size_t kMaxDiskNameBytes = 200;
constexpr size_t kMaxKeptExtensionBytes = 16;

bool IsOnlyDots(std::string_view name) {
  return name.find_first_not_of('.') == std::string_view::npos;
}

// Position of the extension's dot; npos when there is none (a leading dot starts no
// extension: ".profile" is a name).
size_t ExtensionStart(std::string_view name) {
  size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string_view::npos : dot;
}

// Cuts text to at most maxBytes without splitting a UTF-8 sequence.
std::string_view CutUtf8(std::string_view text, size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  size_t end = maxBytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

std::string ShortenName(const std::string& name) {
  if (name.size() <= kMaxDiskNameBytes) return name;
  size_t dot = ExtensionStart(name);
  std::string_view extension;
  if (dot != std::string::npos && name.size() - dot <= kMaxKeptExtensionBytes)
    extension = std::string_view(name).substr(dot);
  std::string_view base = CutUtf8(name, kMaxDiskNameBytes - extension.size());
  while (!base.empty() && base.back() == ' ') base.remove_suffix(1);
  return std::string(base) + std::string(extension);
}

// ASCII letters and the two-byte UTF-8 forms of U+00C0..U+00DE (but U+00D7) lowered.
std::string FoldCase(std::string_view text) {
  std::string out(text);
  for (size_t i = 0; i < out.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(out[i]);
    if (c >= 'A' && c <= 'Z') {
      out[i] = static_cast<char>(c + 32);
    } else if (c == 0xC3 && i + 1 < out.size()) {
      unsigned char next = static_cast<unsigned char>(out[i + 1]);
      if (next >= 0x80 && next <= 0x9E && next != 0x97) out[i + 1] = static_cast<char>(next + 32);
      ++i;
    }
  }
  return out;
}

std::string ReplaceAll(std::string text, std::string_view word, std::string_view by) {
  for (size_t pos = text.find(word); pos != std::string::npos; pos = text.find(word, pos + by.size()))
    text.replace(pos, word.size(), by);
  return text;
}

// The text shown inside a link is a name from mail: it must not open markup of its own.
std::string HtmlEscape(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

// Percent-encodes everything but the unreserved characters and "/".
std::string PercentEncodePath(std::string_view path) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (char c : path) {
    unsigned char u = static_cast<unsigned char>(c);
    if (std::isalnum(u) || c == '-' || c == '.' || c == '_' || c == '~' || c == '/') {
      out += c;
    } else {
      out += '%';
      out += kHex[u >> 4];
      out += kHex[u & 15];
    }
  }
  return out;
}

// A link to a saved file for a message body kept beside baseFolder: a relative reference
// when the file lies below baseFolder, an absolute "file://" URI otherwise.
std::string FileLink(const std::string& savedFile, std::string_view baseFolder) {
  if (!baseFolder.empty()) {
    fs::path relative = fs::path(savedFile).lexically_normal().lexically_relative(
        fs::path(std::string(baseFolder)).lexically_normal());
    std::string text = relative.generic_string();
    if (!text.empty() && text != "." && !text.starts_with(".."))
      return PercentEncodePath(text);
  }
  std::error_code ec;
  fs::path absolute = fs::absolute(savedFile, ec);
  return "file://" + PercentEncodePath(ec ? savedFile : absolute.generic_string());
}

bool IsCountedAsSaved(TSaveStatus status) {
  return status == ssSaved || status == ssRenamed || status == ssSkipped;
}

}  // namespace

std::string AttachmentDiskName(std::string_view fileName) {
  std::string name = ReplaceInvalidCharactersFilename(fileName, "_");
  if (IsOnlyDots(name)) return std::string(kFallbackName);
  return ShortenName(name);
}

bool SameAttachmentName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && FoldCase(a) == FoldCase(b);
}

// ---------------------------------------------------------------- TKwAttachment

void TKwAttachment::Assign(const TKwAttachment& source) {
  if (&source == this) return;
  Kind = source.Kind;
  Content = source.Content;
  FileName = source.FileName;
  ContentID = source.ContentID;
}

void TKwAttachment::SetContentID(std::string_view contentId) {
  if (contentId.size() >= 2 && contentId.front() == '<' && contentId.back() == '>')
    contentId = contentId.substr(1, contentId.size() - 2);
  ContentID = std::string(contentId);
}

// ---------------------------------------------------------------- TKwAttachmentsList

TKwAttachmentsList::TKwAttachmentsList() = default;

TKwAttachmentsList::~TKwAttachmentsList() = default;

void TKwAttachmentsList::Publish(TKwPublisher&) {}

void TKwAttachmentsList::Assign(const TKwPersistent& source) {
  const auto* other = dynamic_cast<const TKwAttachmentsList*>(&source);
  if (!other) AssignError(source);
  if (other == this) return;
  FItems.clear();
  for (const auto& item : other->FItems) AddNew().Assign(*item);
  Links = other->Links;
}

int TKwAttachmentsList::Add(std::unique_ptr<TKwAttachment> attachment) {
  if (!attachment) AssertionFailure("Classes/uKwAttachments", __LINE__);
  FItems.push_back(std::move(attachment));
  return GetCount() - 1;
}

TKwAttachment& TKwAttachmentsList::AddNew(TAttachmentKind kind) {
  auto attachment = std::make_unique<TKwAttachment>();
  attachment->Kind = kind;
  return *FItems[static_cast<size_t>(Add(std::move(attachment)))];
}

bool TKwAttachmentsList::AddFromFile(const std::string& fileName, TAttachmentKind kind) {
  std::error_code ec;
  if (!fs::is_regular_file(fileName, ec)) {
    LastError = "Cannot open file \"" + fileName + "\"";
    return false;
  }
  std::ifstream in(fileName, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad() || !in.is_open()) {
    LastError = "Cannot read file \"" + fileName + "\"";
    return false;
  }
  AddFromStream(bytes, fs::path(fileName).filename().string(), kind);
  return true;
}

TKwAttachment& TKwAttachmentsList::AddFromStream(std::string_view bytes, std::string_view fileName,
                                                 TAttachmentKind kind) {
  TKwAttachment& attachment = AddNew(kind);
  attachment.Content = std::string(bytes);
  attachment.FileName = std::string(fileName);
  return attachment;
}

void TKwAttachmentsList::Delete(int index) {
  if (index < 0 || index >= GetCount()) return;
  FItems.erase(FItems.begin() + index);
}

void TKwAttachmentsList::Clear() {
  FItems.clear();
  Links.clear();
}

int TKwAttachmentsList::IndexOf(std::string_view fileName) const {
  for (int i = 0; i < GetCount(); ++i)
    if (SameAttachmentName(FItems[static_cast<size_t>(i)]->FileName, fileName)) return i;
  return -1;
}

TKwAttachment& TKwAttachmentsList::GetAttachment(int index) const {
  if (index < 0 || index >= GetCount()) AssertionFailure("Classes/uKwAttachments", __LINE__);
  return *FItems[static_cast<size_t>(index)];
}

void TKwAttachmentsList::SetAttachment(int index, const TKwAttachment& attachment) {
  GetAttachment(index).Assign(attachment);
}

int TKwAttachmentsList::GetAttachCount() const {
  int count = 0;
  for (const auto& item : FItems) count += item->IsOrdinary() ? 1 : 0;
  return count;
}

int TKwAttachmentsList::GetInlineCount() const { return GetCount() - GetAttachCount(); }

namespace {
std::string JoinFileNames(const std::vector<std::unique_ptr<TKwAttachment>>& items,
                          std::string_view separator) {
  std::string text;
  for (size_t i = 0; i < items.size(); ++i) {
    if (i) text += separator;
    text += items[i]->FileName;
  }
  return text;
}
}  // namespace

std::string TKwAttachmentsList::GetText() const { return JoinFileNames(FItems, "\r\n"); }

std::string TKwAttachmentsList::GetFileNamesComma() const { return JoinFileNames(FItems, ","); }

std::string TKwAttachmentsList::GetFileNamesDotComma() const { return JoinFileNames(FItems, ";"); }

// ---------------------------------------------------------------- saving

bool TKwAttachmentsList::IsTaken(const TKwAttachment& attachment, bool includeInline) const {
  return attachment.Kind == akAttachment || (includeInline && attachment.Kind == akInline);
}

const TKwDuplicateSaveResult& TKwAttachmentsList::SaveOne(int index, std::string_view folder,
                                                          std::string_view diskName) {
  std::string fileName = IncludeTrailingPathDelimiter(folder) + std::string(diskName);
  TKwAttachmentSaveResult result;
  result.Index = index;
  result.Save = SaveFileCheckingForDuplicates(fileName, GetAttachment(index).Content,
                                              DuplicatedFilesAction, MaxFilenameLength);
  if (result.Save.Status == ssError) LastError = result.Save.ErrorMessage;
  FLastResults.push_back(std::move(result));
  return FLastResults.back().Save;
}

int TKwAttachmentsList::SaveAll(std::string_view folder) {
  FLastResults.clear();
  int count = 0;
  for (int i = 0; i < GetCount(); ++i)
    count += IsCountedAsSaved(SaveOne(i, folder, AttachmentDiskName(GetAttachment(i).FileName)).Status);
  return count;
}

int TKwAttachmentsList::SaveAttachments(std::string_view folder) {
  FLastResults.clear();
  int count = 0;
  for (int i = 0; i < GetCount(); ++i) {
    if (!IsTaken(GetAttachment(i), false)) continue;
    count += IsCountedAsSaved(SaveOne(i, folder, AttachmentDiskName(GetAttachment(i).FileName)).Status);
  }
  return count;
}

namespace {
// The name under which a templated attachment is saved: the template with the marker
// replaced by the name without extension, then the extension.
std::string TemplatedDiskName(std::string_view fileName, std::string_view nameTemplate) {
  std::string diskName = AttachmentDiskName(fileName);
  if (nameTemplate.find(kAttachmentFilenameMarker) == std::string_view::npos) return diskName;
  size_t dot = ExtensionStart(diskName);
  std::string base = dot == std::string::npos ? diskName : diskName.substr(0, dot);
  std::string extension = dot == std::string::npos ? std::string() : diskName.substr(dot);
  return AttachmentDiskName(ReplaceAll(std::string(nameTemplate), kAttachmentFilenameMarker, base) + extension);
}
}  // namespace

int TKwAttachmentsList::SaveAttachments(std::string_view folder, std::string_view baseFolder,
                                        std::string_view nameTemplate, bool includeInline) {
  Links.clear();
  FLastResults.clear();
  int count = 0;
  for (int i = 0; i < GetCount(); ++i) {
    const TKwAttachment& attachment = GetAttachment(i);
    if (!IsTaken(attachment, includeInline)) continue;
    const TKwDuplicateSaveResult& saved =
        SaveOne(i, folder, TemplatedDiskName(attachment.FileName, nameTemplate));
    if (saved.Status >= ssOverwritten) continue;
    Links += "<a href=\"" + FileLink(saved.FileName, baseFolder) + "\">" +
             HtmlEscape(attachment.FileName) + "</a>; ";
    ++count;
  }
  return count;
}

bool TKwAttachmentsList::SaveAttachmentsToTempFolderList(std::vector<std::string>& list,
                                                         bool includeInline) {
  list.clear();
  FLastResults.clear();
  std::string temp = GetTempFolder();
  if (temp.empty()) {
    LastError = "No temporary folder";
    return false;
  }
  std::string folder = temp + "Attachments-" + NewGuidString() + "/";
  std::error_code ec;
  fs::create_directories(folder, ec);
  if (ec) {
    LastError = "Cannot create folder \"" + folder + "\". " + ec.message();
    return false;
  }
  bool allWritten = true;
  for (int i = 0; i < GetCount(); ++i) {
    if (!IsTaken(GetAttachment(i), includeInline)) continue;
    std::string fileName = folder + AttachmentDiskName(GetAttachment(i).FileName);
    // Two attachments of one name are two files here, whatever the user's rule.
    TKwDuplicateSaveResult saved = SaveFileCheckingForDuplicates(fileName, GetAttachment(i).Content,
                                                                 dfRename, MaxFilenameLength);
    FLastResults.push_back({i, saved});
    if (saved.Status == ssError) {
      LastError = saved.ErrorMessage;
      allWritten = false;
    } else if (!saved.IsDuplicate) {
      list.push_back(saved.FileName);
    }
  }
  return allWritten;
}

int TKwAttachmentsList::SaveInlineImages(std::string_view folder) {
  FLastResults.clear();
  int count = 0;
  for (int i = 0; i < GetCount(); ++i) {
    const TKwAttachment& attachment = GetAttachment(i);
    if (attachment.IsOrdinary() || attachment.ContentID.empty()) continue;
    count += IsCountedAsSaved(SaveOne(i, folder, AttachmentDiskName(attachment.FileName)).Status);
  }
  return count;
}

bool TKwAttachmentsList::SaveToFile(int index, const std::string& fileName) {
  if (index < 0 || index >= GetCount()) {
    LastError = "No attachment " + std::to_string(index);
    return false;
  }
  const std::string& content = GetAttachment(index).Content;
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  if (out) out.write(content.data(), static_cast<std::streamsize>(content.size()));
  out.close();
  if (!out) {
    LastError = "Cannot create file \"" + fileName + "\"";
    return false;
  }
  return true;
}

void TKwAttachmentsList::SaveToStream(int index, std::string& stream) const {
  stream += GetAttachment(index).Content;
}

// ---------------------------------------------------------------- streaming

void TKwAttachmentsList::WriteData(TKwPropertyWriter& writer) const {
  writer.WriteListBegin();
  for (const auto& item : FItems) {
    writer.WriteListBegin();
    writer.WriteInteger(item->Kind);
    writer.WriteString(item->FileName);
    writer.WriteString(item->ContentID);
    writer.WriteBinary(item->Content);
    writer.WriteListEnd();
  }
  writer.WriteListEnd();
}

void TKwAttachmentsList::ReadData(TKwPropertyReader& reader) {
  FItems.clear();
  reader.ReadListBegin();
  while (!reader.EndOfList()) {
    auto item = std::make_unique<TKwAttachment>();
    reader.ReadListBegin();
    int64_t kind = reader.ReadInteger();
    // A kind this build does not know is kept as an ordinary attachment: never lost.
    item->Kind = kind >= 0 && kind < TAttachmentKindCount ? static_cast<TAttachmentKind>(kind)
                                                          : akAttachment;
    item->FileName = reader.ReadString();
    item->ContentID = reader.ReadString();
    item->Content = reader.ReadBinary();
    reader.ReadListEnd();
    FItems.push_back(std::move(item));
  }
  reader.ReadListEnd();
}

void TKwAttachmentsList::WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) {
  if (FItems.empty()) return;
  writer.WritePropName(prefix.empty() ? std::string(kDataProperty)
                                      : prefix + "." + std::string(kDataProperty));
  WriteData(writer);
}

bool TKwAttachmentsList::ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) {
  if (name != kDataProperty) return false;
  ReadData(reader);
  return true;
}

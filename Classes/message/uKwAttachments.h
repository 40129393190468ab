#pragma once
// The attachments of one message: their decoded bytes, names and content ids, and the
// operations that write them to disk and describe them as text.
//
// A message's attachments live in memory (each content is a std::string of bytes) for as
// long as the message is processed; a source reuses one list for every message, so the
// memory is that of the largest message seen, not of the run. The list owns its
// attachments; it is owned by its message. Used from one thread.
//
// Names come from mail and are hostile: every save goes through AttachmentDiskName, which
// makes a plain file name that cannot leave the folder it is saved into.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uKwPersistent.h"
#include "uKwSubs.h"
#include "uKwTypes.h"

// persisted: never reorder (the value is stored with each attachment)
#define KW_ATTACHMENT_KIND(X) X(akAttachment) X(akInline) X(akEmbedded)
KW_ENUM(TAttachmentKind, KW_ATTACHMENT_KIND);
static_assert(TAttachmentKindCount == 3);
// akAttachment: an ordinary attachment, saved and counted as one.
// akInline: a part shown inline by the mail client (disposition inline); saved only when
//   the caller asks for inline parts.
// akEmbedded: a part of the body itself (an image the HTML shows through "cid:"); never
//   saved as an attachment, only by SaveInlineImages.

// The name of the file written for an attachment named `fileName`: invalid characters
// (path separators, control characters, NUL) replaced by "_", blanks trimmed, cut to a
// length every file system takes (the extension kept), and "ATT.dat" for a name that is
// empty or only dots. Never holds "/", never is "." or "..".
std::string AttachmentDiskName(std::string_view fileName);
// Attachment names compared in lower case: ASCII and the Latin-1 letters (U+00C0..U+00DE)
// are folded, any other character must match exactly.
bool SameAttachmentName(std::string_view a, std::string_view b);

class TKwAttachment {
 public:
  TKwAttachment() = default;
  TKwAttachment(const TKwAttachment&) = delete;
  TKwAttachment& operator=(const TKwAttachment&) = delete;

  void Assign(const TKwAttachment& source);
  // Stored without enclosing angle brackets, the form a "cid:" link uses.
  void SetContentID(std::string_view contentId);
  bool IsOrdinary() const { return Kind == akAttachment; }

  TAttachmentKind Kind = akAttachment;
  std::string Content;  // the decoded bytes
  std::string FileName;
  std::string ContentID;
};

// One attachment's outcome in the last save call of a list.
struct TKwAttachmentSaveResult {
  int Index = -1;  // into the list
  TKwDuplicateSaveResult Save;
};

class TKwAttachmentsList : public TKwPersistent {
 public:
  TKwAttachmentsList();
  ~TKwAttachmentsList() override;
  std::string_view ClassName() const override { return "TKwAttachmentsList"; }
  void Publish(TKwPublisher& publisher) override;  // none: the list streams as "Data"
  // Copies every attachment (deep) and the links text.
  void Assign(const TKwPersistent& source) override;

  // ---- Building ----
  int Add(std::unique_ptr<TKwAttachment> attachment);  // takes it; returns its index
  TKwAttachment& AddNew(TAttachmentKind kind = akAttachment);
  // Reads the whole file; the attachment is named by the file's last path component.
  // False (nothing added) when the file cannot be read.
  bool AddFromFile(const std::string& fileName, TAttachmentKind kind = akAttachment);
  TKwAttachment& AddFromStream(std::string_view bytes, std::string_view fileName = "",
                               TAttachmentKind kind = akAttachment);
  void Delete(int index);  // out of range: nothing
  void Clear();            // the attachments and the links text

  // ---- Reading ----
  // First attachment whose file name is fileName (SameAttachmentName); -1 when none.
  int IndexOf(std::string_view fileName) const;
  TKwAttachment& GetAttachment(int index) const;  // REQUIRES: 0 <= index < GetCount()
  void SetAttachment(int index, const TKwAttachment& attachment);  // copies it
  int GetCount() const { return static_cast<int>(FItems.size()); }
  int GetAttachCount() const;  // ordinary attachments only
  int GetInlineCount() const;  // every other kind
  // The file names, one a line, lines joined by CR LF (the column text of the list).
  std::string GetText() const;
  std::string GetFileNamesComma() const;     // "a.pdf,b.txt"
  std::string GetFileNamesDotComma() const;  // "a.pdf;b.txt"

  // ---- Saving ----
  // Saves follow DuplicatedFilesAction (through SaveFileCheckingForDuplicates) into an
  // existing folder; each call records its per-attachment outcomes in LastResults().
  // A skipped duplicate counts as saved, deliberately: the file the user wants is there.

  // Every attachment of every kind under its own name; returns the count saved.
  int SaveAll(std::string_view folder);
  // The ordinary attachments under their own names; returns the count saved.
  int SaveAttachments(std::string_view folder);
  // The ordinary attachments (and akInline ones when includeInline) under their own names,
  // or under nameTemplate when it holds "fpAttachmentFilename" (replaced by the name
  // without extension; the attachment's extension follows). Rebuilds Links: one
  // <a href="file URI relative to baseFolder">name</a>; per saved file. Returns the count.
  int SaveAttachments(std::string_view folder, std::string_view baseFolder,
                      std::string_view nameTemplate, bool includeInline);
  // Writes the ordinary (and akInline when includeInline) attachments into a fresh
  // private folder under the temp folder, under their own names made unique, and puts
  // the paths into list (cleared first). The caller deletes the folder. False when the
  // folder or a file cannot be made; list then holds the files written so far.
  bool SaveAttachmentsToTempFolderList(std::vector<std::string>& list, bool includeInline);
  // The parts that are not ordinary attachments and carry a content id; returns the count.
  int SaveInlineImages(std::string_view folder);
  // Exactly this file name, replaced when it exists; false with LastError on failure.
  bool SaveToFile(int index, const std::string& fileName);
  void SaveToStream(int index, std::string& stream) const;  // appends the content

  // ---- Streaming ----
  // One value: a list of entries, each a list (kind, file name, content id, content).
  void WriteData(TKwPropertyWriter& writer) const;
  // Replaces the attachments by those of the stream. Throws EReadError on a damaged
  // stream, keeping the entries read whole before the damage.
  void ReadData(TKwPropertyReader& reader);
  void WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) override;
  bool ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) override;

  TSFDuplicatedFilesAction DuplicatedFilesAction = dfRename;
  int MaxFilenameLength = 260;  // the limit of numbered names made for duplicates
  std::string Links;            // built by the SaveAttachments that takes a base folder
  std::string LastError;

  const std::vector<TKwAttachmentSaveResult>& LastResults() const { return FLastResults; }

 private:
  bool IsTaken(const TKwAttachment& attachment, bool includeInline) const;
  // Saves one attachment under folder + diskName; records and returns the outcome.
  const TKwDuplicateSaveResult& SaveOne(int index, std::string_view folder, std::string_view diskName);

  std::vector<std::unique_ptr<TKwAttachment>> FItems;
  std::vector<TKwAttachmentSaveResult> FLastResults;
};

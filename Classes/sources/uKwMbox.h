#pragma once
// TKwMbox: an mbox file in one of two separator dialects. Opened for reading it indexes
// the file once (the offset of each message's separator line and each message's unique
// id) and then cuts out any message by its number, one message in memory at a time.
// Opened for writing it indexes the existing file for its unique ids and appends
// messages at its end, UTF-8 bytes as given, CR LF line ends, never a byte-order mark;
// what is added reaches the file only with Save (a mailbox never saved stays as it was).
//
// Owns its file, line reader, writer and lists; used from one thread. Failures are
// returned as false plus a text (LoadFromFile, Save) or left in ErrorText (cuts, writes);
// nothing here throws.
//
// Kept on purpose, because readers of files written earlier depend on them:
// - the unique-id list and the offset list drift apart when a message's header block
//   runs into the next separator without a blank line (that message gets no id);
// - a cut keeps its result under its number across Clear and LoadFromFile, so asking
//   for the same number after opening another file gives the earlier file's lists;
// - reading strips exactly one ">" from a body line that starts with ">From " and keeps
//   ">>From " lines as they are; writing therefore quotes only lines that start with
//   "From ", which reading restores; a line that was ">From " before writing reads back
//   as "From ".

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <string>
#include <string_view>
#include <vector>

#include "uKwEnum.h"
#include "uKwPersistent.h"
#include "uKwTypes.h"

class TKwSeekStream;
class TStreamLineReader;
class TKwMboxFileWriter;
class TKwMboxCutter;

// persisted: never reorder (stored as ordinals)
#define KW_MBOX_MODE(X) X(mbmRead) X(mbmWrite) X(mbmUndefined)
KW_ENUM(TMboxMode, KW_MBOX_MODE);
static_assert(TMboxModeCount == 3);

// persisted: never reorder (stored as ordinals)
#define KW_MBOX_FAMILY(X) X(mbfNone) X(mbfMboxrd) X(mbfEudora)
KW_ENUM(TMboxFamily, KW_MBOX_FAMILY);
static_assert(TMboxFamilyCount == 3);

// True when line begins a message in family: "From " (mbfMboxrd) or "From ???@???"
// (mbfEudora), at its first byte, case-sensitive; never for mbfNone.
bool IsMboxSeparator(std::string_view line, TMboxFamily family);

// Unique ids in file order, held compactly (one byte string, one end offset per id).
// The hash index that serves IndexOf is built on the first lookup, so a reader that never
// looks up pays nothing for it.
class TKwUniqueIdList {
 public:
  int64_t Count() const { return static_cast<int64_t>(FEnds.size()); }
  std::string_view Items(int64_t index) const;
  void Add(std::string_view id);
  // The first position of id, -1 when absent.
  int64_t IndexOf(std::string_view id) const;
  void Clear();

 private:
  void BuildIndex() const;
  void InsertIntoIndex(int64_t index) const;
  std::string FData;
  std::vector<uint64_t> FEnds;
  mutable std::vector<int64_t> FSlots;  // index + 1 per used slot, 0 when free
  mutable bool FIndexBuilt = false;
};

class TKwMbox {
 public:
  explicit TKwMbox(TMboxFamily family);
  ~TKwMbox();
  TKwMbox(const TKwMbox&) = delete;
  TKwMbox& operator=(const TKwMbox&) = delete;

  // Clear, then open fileName in mode: mbmRead opens and indexes it and keeps it open for
  // cuts; mbmWrite indexes it when it exists and readies the appending (the file
  // is created by Save); mbmUndefined opens nothing. False with errorText when the file cannot be
  // opened, read or created. A NUL byte stops indexing there (what lies before it is
  // indexed; ErrorText says where).
  bool LoadFromFile(const std::string& fileName, TMboxMode mode, std::string& errorText);
  // Reading from any stream (mode mbmRead, no file name), which this object then owns.
  bool LoadFromStream(std::unique_ptr<TKwSeekStream> stream, std::string& errorText);
  // Reading bytes held in memory; data must outlive the object's use of it.
  bool LoadFromMemory(std::string_view data, std::string& errorText);

  int64_t Count() const { return static_cast<int64_t>(FOffsets.size()); }
  int64_t GetCount() const { return Count(); }
  // The header lines and body lines of message index (0-based). The lists belong to this
  // object and are overwritten by the next cut. An index outside the file, a mailbox not
  // open for reading or a read failure give what could be cut (possibly nothing) and a
  // text in ErrorText.
  const TStringList& GetHeader(int64_t index);
  const TStringList& GetBody(int64_t index);
  // Message index as one text, cut as GetHeader and GetBody cut it: the header lines each
  // ending in CR LF, then CR LF, then the body lines joined by CR LF. headerLength is the
  // size of the header lines. Leaves the two lists as they are.
  std::string GetMessageText(int64_t index, size_t& headerLength);
  // A cutter with a reader of its own over this mailbox's file, so that another thread
  // can cut messages meanwhile; null when the mailbox was not read from a file or the file
  // cannot be opened again. It holds on to this object's index.
  std::unique_ptr<TKwMboxCutter> NewCutter() const;
  // The bytes message index spans in the file; 0 when it cannot be cut.
  int64_t MessageSize(int64_t index) const;

  // The first position of uniqueId in the unique-id list, -1 when absent.
  int64_t IndexOf(std::string_view uniqueId) {
    EnsureUniqueIds();
    return FUniqueIds.IndexOf(uniqueId);
  }
  void AddUniqueId(std::string_view uniqueId) {
    EnsureUniqueIds();
    FUniqueIds.Add(uniqueId);
  }

  // Writes each string as one line, as it is (mbmWrite).
  void AddStrings(const TStringList& lines);
  // Writes one message: a separator line (lines[0] when it already is one of this family,
  // else one made of sender, "MAILER-DAEMON" when empty, and gmtDate), the lines with
  // "From " quoted as ">From ", and an empty line unless the message ends with one. Strings
  // holding line breaks are written as several lines.
  void AddMessage(const TStringList& lines, std::string_view sender, TDateTime gmtDate);
  // Clears ErrorText; in write mode appends everything added since the opening to the
  // file (creating it when missing) and closes the writer. False with ErrorText when some
  // write since the opening failed.
  bool Save();
  // Empties both lists; in read mode also closes the file. An open writer stays open.
  void Clear();

  TMboxFamily Family() const { return FFamily; }
  TMboxMode Mode() const { return FMode; }
  const std::string& FileName() const { return FFileName; }
  const std::string& ErrorText() const { return FErrorText; }
  // ErrorText, which is emptied, so that the next problem is told apart from this one.
  std::string TakeErrorText() { return std::exchange(FErrorText, {}); }
  // The stream position of each message's separator line, in file order.
  const std::vector<int64_t>& Offsets() const { return FOffsets; }
  // The unique id of each message in file order (see the class comment for the drift).
  const TKwUniqueIdList& UniqueIds() {
    EnsureUniqueIds();
    return FUniqueIds;
  }

 private:
  // stream: read from it instead of opening fileName (read mode only).
  bool Load(TMboxMode mode, const std::string& fileName, std::unique_ptr<TKwSeekStream> stream,
            std::string& errorText);
  void OpenForWriting();
  void IndexMboxFile(TStreamLineReader& reader);
  void BuildUniqueIds(TStreamLineReader& reader);
  void EnsureUniqueIds();
  void ReadParts(int64_t index);
  using TLineSink = std::function<void(bool inHeaders, std::string_view line)>;
  void CutMessage(int64_t index, const TLineSink& sink);
  bool CanCut(int64_t index);  // false with ErrorText when message index cannot be cut
  int64_t MessageEnd(int64_t index) const;
  friend class TKwMboxCutter;
  void PutLine(TStringList& lines, size_t& count, std::string_view line);
  void TrimLines(TStringList& lines, size_t count);
  void WriteMessageLine(std::string_view line);

  // Strings of earlier cuts kept for the next ones, so that a cut allocates only for lines
  // longer than any line seen before; capped so that one huge message is not kept forever.
  static constexpr size_t kMaxSpareLines = size_t{1} << 16;

  TStringList FHeader;
  TStringList FBody;
  TStringList FSpareLines;
  std::string FErrorText;
  TKwUniqueIdList FUniqueIds;
  // Read mode builds the ids on first use, from the header blocks at the offsets: the mbox
  // source takes ids from the messages it cuts and never needs the list, and decoding the
  // headers of every message costs more than reading the whole file.
  bool FHasPendingUniqueIds = false;
  std::vector<int64_t> FOffsets;
  int64_t FLastCut = -1;
  TMboxMode FMode = mbmUndefined;
  std::string FFileName;
  std::unique_ptr<TKwMboxFileWriter> FWriter;
  std::unique_ptr<TKwSeekStream> FStream;
  std::unique_ptr<TStreamLineReader> FReader;
  const TMboxFamily FFamily;
};

// Cuts messages as TKwMbox::GetMessageText does, on a reader of its own (see NewCutter).
// One thread at a time.
class TKwMboxCutter {
 public:
  ~TKwMboxCutter();
  // A problem goes to error, as GetMessageText puts it in ErrorText.
  std::string MessageText(int64_t index, size_t& headerLength, std::string& error);

 private:
  friend class TKwMbox;
  explicit TKwMboxCutter(const TKwMbox& mbox);
  const std::vector<int64_t>& FOffsets;
  const TMboxFamily FFamily;
  const int64_t FSize;
  std::unique_ptr<TKwSeekStream> FStream;
  std::unique_ptr<TStreamLineReader> FReader;
};


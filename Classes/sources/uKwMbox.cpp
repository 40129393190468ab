#include "uKwMbox.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <system_error>

#include <fmt/format.h>

#include "uKwDateTime.h"
#include "uKwHeaders.h"
#include "uKwStreamLineReader.h"

namespace {

constexpr std::string_view kMboxrdSeparator = "From ";
constexpr std::string_view kEudoraSeparator = "From ???@???";
// Enough of a body line to tell whether it is a separator of either family.
constexpr size_t kSeparatorProbeLength = kEudoraSeparator.size();
constexpr std::string_view kQuotedFrom = ">From ";
constexpr size_t kWriteBufferSize = size_t{64} << 10;
// Every written line ends so, as the desktop program's text writer ends them; the reader
// takes CR LF, LF and CR alike.
constexpr std::string_view kLineEnd = "\r\n";

bool IsBlankLine(std::string_view line) {
  for (char c : line)
    if (static_cast<unsigned char>(c) > ' ') return false;
  return true;
}

bool StartsWithNoCase(std::string_view text, std::string_view upperPrefix) {
  if (text.size() < upperPrefix.size()) return false;
  for (size_t i = 0; i < upperPrefix.size(); ++i) {
    char c = text[i];
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    if (c != upperPrefix[i]) return false;
  }
  return true;
}

std::string_view TrimLeft(std::string_view text) {
  size_t i = 0;
  while (i < text.size() && static_cast<unsigned char>(text[i]) <= ' ') ++i;
  return text.substr(i);
}

// The date of a separator line, "Thu Jan  1 08:13:15 2015" (GMT); the Unix epoch for none.
std::string AsctimeText(TDateTime gmt) {
  static constexpr std::string_view kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr std::string_view kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const TDateTime date = gmt != 0 ? gmt : kUnixEpochDateTime;
  const TKwDateParts parts = DecodeDateTime(date);
  const int day = DayOfWeek(date);
  if (day < 1 || day > 7 || parts.Month < 1 || parts.Month > 12) return "Thu Jan  1 00:00:00 1970";
  return fmt::format("{} {} {:2} {:02}:{:02}:{:02} {}", kDays[day - 1], kMonths[parts.Month - 1],
                     parts.Day, parts.Hour, parts.Minute, parts.Second, parts.Year);
}

// The header lines of one message as far as its unique id needs them: the headers the id
// is built from (From, Date, Message-ID) and the Received chain, which stands in for a
// missing or unreadable Date. Decoding every header of every message would cost more than
// reading the whole file. Lines are grouped with their continuation lines exactly as the
// header parser groups them, so the parser sees the same headers either way.
class TUniqueIdHeaders {
 public:
  void Clear() {
    FKeys.clear();
    FReceived.clear();
    FGroup = TGroup::Dropped;
    FIsFirstLine = true;
  }

  // line is one non-blank header line.
  void AddLine(std::string_view line) {
    const bool isContinuation = !FIsFirstLine && (line.front() == ' ' || line.front() == '\t');
    FIsFirstLine = false;
    if (!isContinuation) FGroup = GroupOf(line);
    std::string* target = FGroup == TGroup::Key ? &FKeys : FGroup == TGroup::Received ? &FReceived : nullptr;
    if (!target) return;
    target->append(line);
    target->append("\r\n");
  }

  std::string UniqueId(TKwHeaders& parser) {
    parser.LoadHeadersFromString(FKeys);
    if (parser.SubmitDate.GmtDate == 0 && !FReceived.empty()) {
      // A Received group may start with a blank only as the block's first line, while key
      // groups never do: Received first keeps every group intact.
      FReceived += FKeys;
      parser.LoadHeadersFromString(FReceived);
    }
    return parser.GetUniqueId();
  }

 private:
  enum class TGroup { Dropped, Key, Received };

  static TGroup GroupOf(std::string_view line) {
    if (StartsWithNoCase(line, "FROM:") || StartsWithNoCase(line, "DATE:") ||
        StartsWithNoCase(line, "MESSAGE-ID:"))
      return TGroup::Key;
    if (StartsWithNoCase(TrimLeft(line), "RECEIVED:")) return TGroup::Received;
    return TGroup::Dropped;
  }

  std::string FKeys;
  std::string FReceived;
  TGroup FGroup = TGroup::Dropped;
  bool FIsFirstLine = true;
};

// One line of a message being cut: a separator line in its place is dropped and the next
// line read instead (twice at most for Eudora). False when the data ended.
bool ReadCutLine(TStreamLineReader& reader, TMboxFamily family, std::string_view& line) {
  bool hasLine = reader.ReadLineView(line);
  if (IsMboxSeparator(line, family)) {
    hasLine = reader.ReadLineView(line);
    if (family == mbfEudora && IsMboxSeparator(line, family)) hasLine = reader.ReadLineView(line);
  }
  return hasLine;
}

using TLineSink = std::function<void(bool inHeaders, std::string_view line)>;

// Hands each line of message index, which spans [offset, end), to sink, header lines
// first; the empty line between is not handed on. A cut that stops early says why in error.
void CutMessageLines(TStreamLineReader& reader, TMboxFamily family, int64_t index, int64_t offset, int64_t end,
                     const TLineSink& sink, std::string& error) {
  reader.SetPosition(offset, static_cast<size_t>(std::max<int64_t>(end - offset, 0)));
  bool inHeaders = true;
  std::string_view line;
  while (reader.Position() < end) {
    const int64_t start = reader.Position();
    if (!ReadCutLine(reader, family, line)) {
      if (reader.Position() < end)
        error = fmt::format("Message {} ends early: the file is shorter than when it was indexed", index + 1);
      return;
    }
    if (reader.Position() == start) {
      error = fmt::format("Message {} holds a NUL byte at offset {}: it is cut there", index + 1, start);
      return;
    }
    if (inHeaders) {
      if (!IsBlankLine(line)) sink(true, line);
      else inHeaders = false;
    } else {
      if (line.starts_with(kQuotedFrom)) line.remove_prefix(1);
      sink(false, line);
    }
  }
}

// The message as one text: the header lines each ending in CR LF, CR LF, then the body
// lines joined by CR LF; headerLength is the size of the header lines.
std::string CutMessageText(TStreamLineReader& reader, TMboxFamily family, int64_t index, int64_t offset,
                           int64_t end, size_t& headerLength, std::string& error) {
  std::string text;
  // Room for a CR before most line feeds, so that the text is allocated once.
  text.reserve(static_cast<size_t>(std::max<int64_t>(end - offset, 0)) * 33 / 32 + 64);
  bool inBody = false;
  bool firstBodyLine = true;
  CutMessageLines(reader, family, index, offset, end, [&](bool inHeaders, std::string_view line) {
    if (inHeaders) {
      text.append(line).append(kLineEnd);
      return;
    }
    if (!inBody) {
      inBody = true;
      headerLength = text.size();
      text.append(kLineEnd);
    }
    if (!std::exchange(firstBodyLine, false)) text.append(kLineEnd);
    text.append(line);
  }, error);
  if (!inBody) {
    headerLength = text.size();
    text.append(kLineEnd);
  }
  return text;
}

}  // namespace

// What a writer appends, staged in an unnamed temporary file until Close puts it at the
// end of the mailbox in one go: nothing reaches the mailbox before the save, and a run
// that never saves (or a crash) leaves it as it was. Owns both descriptors. The first
// failure is kept and later writes are dropped, so that Close can report it.
class TKwMboxFileWriter {
 public:
  // Raises EKwStreamError when the mailbox could not be written where it is, or when no
  // temporary file can be made.
  TKwMboxFileWriter(const std::string& fileName, bool startWithLineBreak) : FFileName(fileName) {
    const std::filesystem::path path(fileName);
    std::error_code ec;
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
    const bool exists = std::filesystem::exists(path, ec);
    if (!exists && !std::filesystem::is_directory(folder, ec))
      throw EKwStreamError("Cannot open file \"" + fileName + "\" for writing: " +
                           std::system_category().message(ENOENT));
    if (::access(exists ? fileName.c_str() : folder.c_str(), W_OK) != 0)
      throw EKwStreamError("Cannot open file \"" + fileName + "\" for writing: " +
                           std::system_category().message(errno));
    // Beside the mailbox when the file system can hold an unnamed file, so that a new
    // mailbox is the staged file given its name; else in the temporary folder.
    FStaging = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
    FLinkable = FStaging >= 0;
    if (!FLinkable) {
      std::string staging = (std::filesystem::temp_directory_path(ec) / "quillon-mbox-XXXXXX").string();
      FStaging = ::mkstemp(staging.data());
      if (FStaging < 0)
        throw EKwStreamError("Cannot make a temporary file for \"" + fileName + "\": " +
                             std::system_category().message(errno));
      ::unlink(staging.c_str());
    }
    FBuffer.reserve(kWriteBufferSize);
    // Appending after a last line without a line break would glue our separator to it.
    if (startWithLineBreak) FBuffer.append("\r\n");
  }

  ~TKwMboxFileWriter() {
    if (FStaging >= 0) ::close(FStaging);
  }

  TKwMboxFileWriter(const TKwMboxFileWriter&) = delete;
  TKwMboxFileWriter& operator=(const TKwMboxFileWriter&) = delete;

  void Write(std::string_view bytes) {
    if (!FError.empty()) return;
    FBuffer.append(bytes);
    if (FBuffer.size() >= kWriteBufferSize) Flush();
  }

  // Appends what was staged to the mailbox (creating it when missing). "" when every
  // byte reached it.
  std::string Close() {
    Flush();
    if (FError.empty() && !LinkStagingAsMailbox()) AppendStagingToMailbox();
    ::close(FStaging);
    FStaging = -1;
    return FError;
  }

 private:
  void Flush() {
    if (WriteAll(FStaging, FBuffer.data(), FBuffer.size())) FStagedSize += FBuffer.size();
    FBuffer.clear();
  }

  // A mailbox that does not exist yet becomes the staged file itself, without a copy.
  bool LinkStagingAsMailbox() {
    std::error_code ec;
    if (!FLinkable || std::filesystem::exists(FFileName, ec)) return false;
    const std::string staged = "/proc/self/fd/" + std::to_string(FStaging);
    return ::linkat(AT_FDCWD, staged.c_str(), AT_FDCWD, FFileName.c_str(), AT_SYMLINK_FOLLOW) == 0;
  }

  void AppendStagingToMailbox() {
    int mailbox;
    do {
      mailbox = ::open(FFileName.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    } while (mailbox < 0 && errno == EINTR);
    if (mailbox < 0) return SetError(errno);
    std::string chunk(size_t{1} << 20, '\0');
    for (off_t offset = 0; FError.empty() && static_cast<size_t>(offset) < FStagedSize;) {
      const ssize_t got = ::pread(FStaging, chunk.data(), chunk.size(), offset);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) {
        SetError(got < 0 ? errno : EIO);
        break;
      }
      if (WriteAll(mailbox, chunk.data(), static_cast<size_t>(got))) offset += got;
    }
    if (::close(mailbox) != 0 && FError.empty()) SetError(errno);
  }

  bool WriteAll(int handle, const char* data, size_t size) {
    size_t done = 0;
    while (FError.empty() && done < size) {
      const ssize_t written = ::write(handle, data + done, size - done);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) SetError(written < 0 ? errno : EIO);
      else done += static_cast<size_t>(written);
    }
    return FError.empty();
  }

  void SetError(int error) {
    FError = "Cannot write file \"" + FFileName + "\": " + std::system_category().message(error);
  }

  int FStaging = -1;
  bool FLinkable = false;  // FStaging is an unnamed file in the mailbox's folder
  size_t FStagedSize = 0;
  std::string FBuffer;
  std::string FError;
  std::string FFileName;
};

bool IsMboxSeparator(std::string_view line, TMboxFamily family) {
  switch (family) {
    case mbfMboxrd: return line.starts_with(kMboxrdSeparator);
    case mbfEudora: return line.starts_with(kEudoraSeparator);
    case mbfNone: break;
  }
  return false;
}

// ---------------------------------------------------------------- TKwUniqueIdList

std::string_view TKwUniqueIdList::Items(int64_t index) const {
  const auto i = static_cast<size_t>(index);
  const size_t begin = i == 0 ? 0 : FEnds.at(i - 1);
  return std::string_view(FData).substr(begin, FEnds.at(i) - begin);
}

void TKwUniqueIdList::Add(std::string_view id) {
  FData.append(id);
  FEnds.push_back(FData.size());
  if (FIndexBuilt) InsertIntoIndex(Count() - 1);
}

void TKwUniqueIdList::Clear() {
  FData.clear();
  FEnds.clear();
  FSlots.clear();
  FIndexBuilt = false;
}

void TKwUniqueIdList::BuildIndex() const {
  size_t slots = 16;
  while (slots < static_cast<size_t>(Count()) * 2) slots *= 2;
  FSlots.assign(slots, 0);
  FIndexBuilt = true;
  for (int64_t i = 0; i < Count(); ++i) InsertIntoIndex(i);
}

// Keeps the first position of an id: a later equal id is not entered.
void TKwUniqueIdList::InsertIntoIndex(int64_t index) const {
  if (static_cast<size_t>(Count()) * 2 > FSlots.size()) {
    BuildIndex();  // grows the table and enters every id, this one included
    return;
  }
  const std::string_view id = Items(index);
  const size_t mask = FSlots.size() - 1;
  for (size_t slot = std::hash<std::string_view>{}(id) & mask;; slot = (slot + 1) & mask) {
    if (FSlots[slot] == 0) {
      FSlots[slot] = index + 1;
      return;
    }
    if (Items(FSlots[slot] - 1) == id) return;
  }
}

int64_t TKwUniqueIdList::IndexOf(std::string_view id) const {
  if (FEnds.empty()) return -1;
  if (!FIndexBuilt) BuildIndex();
  const size_t mask = FSlots.size() - 1;
  for (size_t slot = std::hash<std::string_view>{}(id) & mask; FSlots[slot] != 0;
       slot = (slot + 1) & mask)
    if (Items(FSlots[slot] - 1) == id) return FSlots[slot] - 1;
  return -1;
}

// ---------------------------------------------------------------- TKwMbox

TKwMbox::TKwMbox(TMboxFamily family) : FFamily(family) {}

TKwMbox::~TKwMbox() = default;

void TKwMbox::Clear() {
  FUniqueIds.Clear();
  FOffsets.clear();
  FHasPendingUniqueIds = false;
  if (FMode == mbmRead) {
    FReader.reset();
    FStream.reset();
  }
}

bool TKwMbox::LoadFromFile(const std::string& fileName, TMboxMode mode, std::string& errorText) {
  return Load(mode, fileName, nullptr, errorText);
}

bool TKwMbox::LoadFromStream(std::unique_ptr<TKwSeekStream> stream, std::string& errorText) {
  return Load(mbmRead, "", std::move(stream), errorText);
}

bool TKwMbox::LoadFromMemory(std::string_view data, std::string& errorText) {
  return LoadFromStream(std::make_unique<TKwMemoryStream>(data), errorText);
}

bool TKwMbox::Load(TMboxMode mode, const std::string& fileName, std::unique_ptr<TKwSeekStream> stream,
                   std::string& errorText) {
  Clear();
  FMode = mode;
  FFileName = fileName;
  errorText.clear();
  FErrorText.clear();
  try {
    if (mode == mbmRead) {
      FStream = stream ? std::move(stream) : std::make_unique<TKwFileStream>(fileName);
      FReader = std::make_unique<TStreamLineReader>(*FStream);
      IndexMboxFile(*FReader);
    } else if (mode == mbmWrite) {
      OpenForWriting();
    }
    return true;
  } catch (const std::exception& error) {
    errorText = error.what();
    Clear();
    FReader.reset();
    FStream.reset();
    return false;
  }
}

void TKwMbox::OpenForWriting() {
  std::error_code error;
  bool needsLineBreak = false;
  if (std::filesystem::exists(FFileName, error)) {
    TKwFileStream stream(FFileName);
    TStreamLineReader reader(stream);
    IndexMboxFile(reader);
    BuildUniqueIds(reader);
    const int64_t size = stream.Size();
    const int lastByte = size > 0 ? stream.ByteAt(size - 1) : '\n';
    needsLineBreak = lastByte != '\n' && lastByte != '\r';
  }
  FWriter = std::make_unique<TKwMboxFileWriter>(FFileName, needsLineBreak);
}

// Offsets only: every line is tested for a separator, wherever it stands, so the scan
// passes over all other lines without reading them.
void TKwMbox::IndexMboxFile(TStreamLineReader& reader) {
  FUniqueIds.Clear();
  FOffsets.clear();
  FHasPendingUniqueIds = false;
  if (FFamily == mbfNone) return;
  const std::string_view separator = FFamily == mbfEudora ? kEudoraSeparator : kMboxrdSeparator;
  std::string_view line;
  while (!reader.EoF()) {
    reader.SkipToLineStartingWith(separator);
    if (reader.EoF()) break;
    const int64_t start = reader.Position();
    reader.ReadLineView(line, kSeparatorProbeLength);
    if (IsMboxSeparator(line, FFamily)) {
      if (FFamily == mbfEudora) reader.ReadLineView(line, 1);
      FOffsets.push_back(start);
    }
    if (reader.Position() == start && !reader.EoF()) {
      FErrorText = fmt::format("NUL byte at offset {0}: the mailbox is not indexed past offset {0}", start);
      break;
    }
  }
  FHasPendingUniqueIds = true;
}

// A message gets an id when its header block ends with a blank line (the empty line after
// the data's last line break counts as one); a block that runs into the next separator or
// into the end of data without a line break gets none, and the id list shifts from there.
void TKwMbox::BuildUniqueIds(TStreamLineReader& reader) {
  FHasPendingUniqueIds = false;
  TKwHeaders parser;
  TUniqueIdHeaders headers;
  std::string_view line;
  for (const int64_t offset : FOffsets) {
    reader.SetPosition(offset);
    reader.ReadLineView(line, 1);
    if (FFamily == mbfEudora) reader.ReadLineView(line, 1);
    headers.Clear();
    while (!reader.EoF()) {
      reader.ReadLineView(line);
      if (IsMboxSeparator(line, FFamily)) break;
      if (IsBlankLine(line)) {
        FUniqueIds.Add(headers.UniqueId(parser));
        break;
      }
      headers.AddLine(line);
    }
  }
}

void TKwMbox::EnsureUniqueIds() {
  if (!FHasPendingUniqueIds || !FReader) return;
  try {
    BuildUniqueIds(*FReader);
  } catch (const std::exception& error) {
    FErrorText = error.what();
  }
}

const TStringList& TKwMbox::GetHeader(int64_t index) {
  if (index != FLastCut) ReadParts(index);
  return FHeader;
}

const TStringList& TKwMbox::GetBody(int64_t index) {
  if (index != FLastCut) ReadParts(index);
  return FBody;
}

void TKwMbox::ReadParts(int64_t index) {
  FLastCut = index;
  size_t headerCount = 0;
  size_t bodyCount = 0;
  CutMessage(index, [&](bool inHeaders, std::string_view line) {
    if (inHeaders) PutLine(FHeader, headerCount, line);
    else PutLine(FBody, bodyCount, line);
  });
  TrimLines(FHeader, headerCount);
  TrimLines(FBody, bodyCount);
}

std::string TKwMbox::GetMessageText(int64_t index, size_t& headerLength) {
  if (!CanCut(index)) return {};
  try {
    return CutMessageText(*FReader, FFamily, index, FOffsets[static_cast<size_t>(index)], MessageEnd(index),
                          headerLength, FErrorText);
  } catch (const std::exception& error) {
    FErrorText = error.what();
    return {};
  }
}

void TKwMbox::CutMessage(int64_t index, const TLineSink& sink) {
  if (!CanCut(index)) return;
  try {
    CutMessageLines(*FReader, FFamily, index, FOffsets[static_cast<size_t>(index)], MessageEnd(index), sink,
                    FErrorText);
  } catch (const std::exception& error) {
    FErrorText = error.what();
  }
}

bool TKwMbox::CanCut(int64_t index) {
  if (!FReader) {
    FErrorText = fmt::format("Message {} cannot be read: the mailbox is not open for reading", index);
  } else if (index < 0 || index >= Count()) {
    FErrorText = fmt::format("Message {} does not exist: the mailbox holds {} messages", index, Count());
  } else {
    return true;
  }
  return false;
}

int64_t TKwMbox::MessageSize(int64_t index) const {
  if (!FStream || index < 0 || index >= Count()) return 0;
  return std::max<int64_t>(MessageEnd(index) - FOffsets[static_cast<size_t>(index)], 0);
}

int64_t TKwMbox::MessageEnd(int64_t index) const {
  const auto next = static_cast<size_t>(index) + 1;
  return next < FOffsets.size() ? FOffsets[next] : FStream->Size();
}

std::unique_ptr<TKwMboxCutter> TKwMbox::NewCutter() const {
  if (!FReader || FFileName.empty()) return nullptr;
  try {
    return std::unique_ptr<TKwMboxCutter>(new TKwMboxCutter(*this));
  } catch (const std::exception&) {
    return nullptr;  // the file went away: the mailbox cuts on its own reader
  }
}

TKwMboxCutter::TKwMboxCutter(const TKwMbox& mbox)
    : FOffsets(mbox.FOffsets),
      FFamily(mbox.FFamily),
      FSize(mbox.FStream->Size()),
      FStream(std::make_unique<TKwFileStream>(mbox.FFileName)),
      FReader(std::make_unique<TStreamLineReader>(*FStream)) {}

TKwMboxCutter::~TKwMboxCutter() = default;

std::string TKwMboxCutter::MessageText(int64_t index, size_t& headerLength, std::string& error) {
  if (index < 0 || static_cast<size_t>(index) >= FOffsets.size()) {
    error = fmt::format("Message {} does not exist: the mailbox holds {} messages", index, FOffsets.size());
    return {};
  }
  const auto next = static_cast<size_t>(index) + 1;
  try {
    return CutMessageText(*FReader, FFamily, index, FOffsets[static_cast<size_t>(index)],
                          next < FOffsets.size() ? FOffsets[next] : FSize, headerLength, error);
  } catch (const std::exception& failure) {
    error = failure.what();
    return {};
  }
}

void TKwMbox::PutLine(TStringList& lines, size_t& count, std::string_view line) {
  if (count == lines.size()) {
    if (FSpareLines.empty()) {
      lines.emplace_back();
    } else {
      lines.push_back(std::move(FSpareLines.back()));
      FSpareLines.pop_back();
    }
  }
  lines[count++].assign(line.data(), line.size());
}

void TKwMbox::TrimLines(TStringList& lines, size_t count) {
  for (size_t i = count; i < lines.size() && FSpareLines.size() < kMaxSpareLines; ++i)
    FSpareLines.push_back(std::move(lines[i]));
  lines.resize(count);
}

// ---------------------------------------------------------------- writing

void TKwMbox::AddStrings(const TStringList& lines) {
  if (!FWriter) {
    FErrorText = "Lines cannot be added: the mailbox is not open for writing";
    return;
  }
  for (const std::string& line : lines) {
    FWriter->Write(line);
    FWriter->Write(kLineEnd);
  }
}

void TKwMbox::WriteMessageLine(std::string_view line) {
  if (line.starts_with(kMboxrdSeparator)) FWriter->Write(">");
  FWriter->Write(line);
  FWriter->Write(kLineEnd);
}

void TKwMbox::AddMessage(const TStringList& lines, std::string_view sender, TDateTime gmtDate) {
  if (!FWriter) {
    FErrorText = "A message cannot be added: the mailbox is not open for writing";
    return;
  }
  size_t first = 0;
  if (!lines.empty() && IsMboxSeparator(lines[0], FFamily == mbfEudora ? mbfEudora : mbfMboxrd) &&
      lines[0].find_first_of("\r\n") == std::string::npos) {
    FWriter->Write(lines[0]);
    first = 1;
  } else if (FFamily == mbfEudora) {
    FWriter->Write(fmt::format("{} {}", kEudoraSeparator, AsctimeText(gmtDate)));
  } else {
    FWriter->Write(fmt::format("{}{} {}", kMboxrdSeparator, sender.empty() ? "MAILER-DAEMON" : sender,
                               AsctimeText(gmtDate)));
  }
  FWriter->Write(kLineEnd);
  bool endsWithEmptyLine = false;
  for (size_t i = first; i < lines.size(); ++i) {
    // A string that holds line breaks is written as the lines it holds; a line break at
    // its end only ends its last line.
    std::string_view rest = lines[i];
    do {
      const size_t lineEnd = rest.find_first_of("\r\n");
      const std::string_view piece = rest.substr(0, lineEnd);
      WriteMessageLine(piece);
      endsWithEmptyLine = piece.empty();
      if (lineEnd == std::string_view::npos) break;
      const bool isCrLf = rest[lineEnd] == '\r' && lineEnd + 1 < rest.size() && rest[lineEnd + 1] == '\n';
      rest.remove_prefix(lineEnd + (isCrLf ? 2 : 1));
    } while (!rest.empty());
  }
  if (!endsWithEmptyLine) FWriter->Write(kLineEnd);
}

bool TKwMbox::Save() {
  FErrorText.clear();
  if (FMode != mbmWrite || !FWriter) return true;
  FErrorText = FWriter->Close();
  FWriter.reset();
  return FErrorText.empty();
}

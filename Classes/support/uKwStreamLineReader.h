#pragma once
// Seekable byte streams (a file, or bytes in memory) and TStreamLineReader, a buffered
// reader of byte lines over such a stream that knows the absolute stream position of
// every line it hands out. Mailbox indexing runs through it, so the line scan is built
// for speed: large reads into one reused buffer, vector scans, no allocation per line.
//
// Streams raise EKwStreamError on open, read and seek failures; callers that must not
// throw catch it at their boundary. Objects are used from one thread.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

class EKwStreamError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A source of bytes with a position that can be moved.
class TKwSeekStream {
 public:
  virtual ~TKwSeekStream() = default;
  // Up to count bytes from Position() into buffer; 0 only at the end of the data.
  virtual size_t Read(char* buffer, size_t count) = 0;
  // Positions beyond Size() are allowed; reads there give nothing.
  virtual void Seek(int64_t position) = 0;
  virtual int64_t Position() const = 0;
  // Asked afresh each time: a file may grow or shrink while it is read.
  virtual int64_t Size() const = 0;
};

// A file opened read-only. Owns its descriptor; move-only.
class TKwFileStream final : public TKwSeekStream {
 public:
  // Raises EKwStreamError naming the file and the system's reason when it cannot be
  // opened or is not a regular file.
  explicit TKwFileStream(const std::string& fileName);
  ~TKwFileStream() override;
  TKwFileStream(TKwFileStream&& other) noexcept;
  TKwFileStream& operator=(TKwFileStream&&) = delete;
  TKwFileStream(const TKwFileStream&) = delete;
  TKwFileStream& operator=(const TKwFileStream&) = delete;

  size_t Read(char* buffer, size_t count) override;
  void Seek(int64_t position) override;
  int64_t Position() const override { return FPosition; }
  int64_t Size() const override;
  // The byte at position, or -1 when position is outside the file; the stream's
  // position does not move.
  int ByteAt(int64_t position) const;

 private:
  int FHandle = -1;
  int64_t FPosition = 0;  // tracked here, so that reading it costs no system call
  std::string FFileName;
};

// Bytes held by the caller (not owned: they must outlive the stream).
class TKwMemoryStream final : public TKwSeekStream {
 public:
  explicit TKwMemoryStream(std::string_view data) : FData(data) {}
  size_t Read(char* buffer, size_t count) override;
  void Seek(int64_t position) override;
  int64_t Position() const override { return FPosition; }
  int64_t Size() const override { return static_cast<int64_t>(FData.size()); }

 private:
  std::string_view FData;
  int64_t FPosition = 0;
};

// Line reader over a stream it does not own (the stream must outlive the reader).
// Lines end at CR LF, at a lone LF or at a lone CR; LF CR is a line end followed by an
// empty line. A NUL byte ends a line and is never stepped over: every later read stops on
// it again, returns an empty line and no longer moves Position (callers that loop must
// watch Position). The last line break of the data is followed by one empty line that is
// reported with the result false.
class TStreamLineReader {
 public:
  static constexpr size_t kDefaultChunkSize = size_t{1} << 20;

  // Starts at the stream's current position.
  explicit TStreamLineReader(TKwSeekStream& stream, size_t chunkSize = kDefaultChunkSize);
  TStreamLineReader(const TStreamLineReader&) = delete;
  TStreamLineReader& operator=(const TStreamLineReader&) = delete;

  // The next line without its terminator; false only at the end of the data with an empty
  // line.
  bool ReadLine(std::string& line);
  // The same without copying: line stays valid until the next call on this reader. Only
  // the first keepLimit bytes of a line are kept (Position still moves past all of it), so
  // that skipping a huge line costs no memory.
  bool ReadLineView(std::string_view& line, size_t keepLimit = SIZE_MAX);
  // Up to count bytes; bytesRead gets how many were copied; true when all count were.
  bool ReadBuffer(size_t count, char* buffer, size_t& bytesRead);
  // True when nothing is buffered and the stream is at or beyond its end. A buffer whose
  // bytes were all handed out is not the end yet: the next read reports the final line.
  bool EoF() const;
  // Absolute stream position of the next byte handed out: the start of the next line.
  int64_t Position() const { return FFillPosition + static_cast<int64_t>(FIndex); }
  // Moves to position; a position inside the buffered bytes reuses them. Otherwise the
  // next fill reads about readAheadHint bytes (at least 64 KiB, at most the chunk size) when
  // given, so that a caller that wants one small piece far away does not read a full chunk.
  void SetPosition(int64_t position, size_t readAheadHint = 0);
  // Skips whole lines, without handing them out, up to the first line that begins with
  // prefix (which stays unread), a NUL byte, or the end of the data. May stop earlier, but
  // only at a line start, so callers read the line there and test it themselves; this is
  // what lets a caller pass over message bodies at memory speed. REQUIRES: Position is at
  // a line start and prefix is not empty.
  void SkipToLineStartingWith(std::string_view prefix);

 private:
  void DropBufferIfStreamMoved();
  bool Refill();  // false when the fill read nothing: the end of the data
  size_t FindTerminator(size_t from) const;
  void StepOverLineBreak();
  void AppendToCarry(size_t from, size_t to, size_t keepLimit);
  size_t FindLineStartOrNul(size_t from, bool isAtLineStart, char first) const;

  TKwSeekStream& FStream;  // not owned
  std::vector<char> FBuffer;
  size_t FChunkSize;
  size_t FNextFillSize;  // the chunk size, except for one fill after a far SetPosition
  size_t FLength = 0;  // bytes held in FBuffer
  size_t FIndex = 0;   // next byte to hand out (0-based)
  int64_t FFillPosition = 0;
  int64_t FPositionAfterFill = 0;
  std::string FCarry;  // a line that spans two fills
};

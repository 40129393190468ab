#include "uKwStreamLineReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

std::string SystemReason(int error) { return std::system_category().message(error); }

[[noreturn]] void RaiseFileError(std::string_view action, const std::string& fileName, int error) {
  throw EKwStreamError(std::string(action) + " \"" + fileName + "\": " + SystemReason(error));
}

}  // namespace

// ---------------------------------------------------------------- TKwFileStream

TKwFileStream::TKwFileStream(const std::string& fileName) : FFileName(fileName) {
  // Checked before opening: opening a FIFO for reading would block.
  struct stat info {};
  if (::stat(fileName.c_str(), &info) != 0) RaiseFileError("Cannot open file", fileName, errno);
  if (!S_ISREG(info.st_mode))
    throw EKwStreamError("Cannot open file \"" + fileName + "\": not a regular file");
  do {
    FHandle = ::open(fileName.c_str(), O_RDONLY | O_CLOEXEC);
  } while (FHandle < 0 && errno == EINTR);
  if (FHandle < 0) RaiseFileError("Cannot open file", fileName, errno);
  ::posix_fadvise(FHandle, 0, 0, POSIX_FADV_SEQUENTIAL);
}

TKwFileStream::~TKwFileStream() {
  if (FHandle >= 0) ::close(FHandle);
}

TKwFileStream::TKwFileStream(TKwFileStream&& other) noexcept
    : FHandle(other.FHandle), FPosition(other.FPosition), FFileName(std::move(other.FFileName)) {
  other.FHandle = -1;
}

size_t TKwFileStream::Read(char* buffer, size_t count) {
  if (count == 0 || FPosition < 0) return 0;
  ssize_t got;
  do {
    got = ::pread(FHandle, buffer, count, FPosition);
  } while (got < 0 && errno == EINTR);
  if (got < 0) RaiseFileError("Cannot read file", FFileName, errno);
  FPosition += got;
  return static_cast<size_t>(got);
}

void TKwFileStream::Seek(int64_t position) {
  if (position < 0) throw EKwStreamError("Cannot seek in file \"" + FFileName + "\": negative position");
  FPosition = position;
}

int64_t TKwFileStream::Size() const {
  struct stat info {};
  if (::fstat(FHandle, &info) != 0) RaiseFileError("Cannot read file", FFileName, errno);
  return static_cast<int64_t>(info.st_size);
}

int TKwFileStream::ByteAt(int64_t position) const {
  if (position < 0) return -1;
  unsigned char byte = 0;
  ssize_t got;
  do {
    got = ::pread(FHandle, &byte, 1, position);
  } while (got < 0 && errno == EINTR);
  return got == 1 ? byte : -1;
}

// ---------------------------------------------------------------- TKwMemoryStream

size_t TKwMemoryStream::Read(char* buffer, size_t count) {
  if (FPosition >= Size()) return 0;
  const size_t available = FData.size() - static_cast<size_t>(FPosition);
  const size_t n = std::min(count, available);
  std::memcpy(buffer, FData.data() + FPosition, n);
  FPosition += static_cast<int64_t>(n);
  return n;
}

void TKwMemoryStream::Seek(int64_t position) {
  if (position < 0) throw EKwStreamError("Cannot seek in memory stream: negative position");
  FPosition = position;
}

// ---------------------------------------------------------------- TStreamLineReader

TStreamLineReader::TStreamLineReader(TKwSeekStream& stream, size_t chunkSize)
    : FStream(stream), FChunkSize(std::max<size_t>(chunkSize, 1)), FNextFillSize(FChunkSize) {
  FFillPosition = FStream.Position();
  FPositionAfterFill = FFillPosition;
}

void TStreamLineReader::DropBufferIfStreamMoved() {
  if (FStream.Position() == FPositionAfterFill) return;
  FLength = FIndex = 0;
  FFillPosition = FPositionAfterFill = FStream.Position();
}

bool TStreamLineReader::Refill() {
  // The buffer grows only as far as the data goes: a small file costs no full chunk.
  size_t fillSize = FNextFillSize;
  const int64_t remaining = FStream.Size() - FStream.Position();
  if (remaining >= 0 && static_cast<uint64_t>(remaining) < fillSize)
    fillSize = std::max<size_t>(static_cast<size_t>(remaining), 1);
  if (FBuffer.size() < fillSize) FBuffer.resize(fillSize);
  FFillPosition = FStream.Position();
  FLength = FStream.Read(FBuffer.data(), fillSize);
  FNextFillSize = FChunkSize;
  FIndex = 0;
  FPositionAfterFill = FStream.Position();
  return FLength > 0;
}

// The first LF, CR or NUL at or after from; FLength when none.
size_t TStreamLineReader::FindTerminator(size_t from) const {
  const char* base = FBuffer.data();
  size_t p = from;
#if defined(__SSE2__)
  const __m128i lineFeeds = _mm_set1_epi8('\n');
  const __m128i carriageReturns = _mm_set1_epi8('\r');
  const __m128i zeros = _mm_setzero_si128();
  for (; p + 16 <= FLength; p += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + p));
    const __m128i hits = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi8(bytes, lineFeeds), _mm_cmpeq_epi8(bytes, carriageReturns)),
        _mm_cmpeq_epi8(bytes, zeros));
    const int mask = _mm_movemask_epi8(hits);
    if (mask != 0) return p + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
  }
#endif
  for (; p < FLength; ++p)
    if (base[p] == '\n' || base[p] == '\r' || base[p] == '\0') return p;
  return FLength;
}

void TStreamLineReader::StepOverLineBreak() {
  if (FIndex < FLength && FBuffer[FIndex] == '\r') {
    ++FIndex;
    // The LF of a CR LF pair may be the first byte of the next fill. At the end of the
    // data the handed-out buffer is kept, so that the final empty line is still reported.
    if (FIndex == FLength && FStream.Position() < FStream.Size() && !Refill()) return;
  }
  if (FIndex < FLength && FBuffer[FIndex] == '\n') ++FIndex;
}

void TStreamLineReader::AppendToCarry(size_t from, size_t to, size_t keepLimit) {
  if (FCarry.size() >= keepLimit) return;
  const size_t n = std::min(to - from, keepLimit - FCarry.size());
  FCarry.append(FBuffer.data() + from, n);
}

bool TStreamLineReader::ReadLineView(std::string_view& line, size_t keepLimit) {
  keepLimit = std::max<size_t>(keepLimit, 1);  // the result must still tell an empty line
  DropBufferIfStreamMoved();
  FCarry.clear();
  bool inCarry = false;
  for (;;) {
    if (FIndex >= FLength && !Refill()) {
      line = FCarry;
      return !FCarry.empty();
    }
    const size_t end = FindTerminator(FIndex);
    if (end >= FLength) {
      AppendToCarry(FIndex, FLength, keepLimit);
      inCarry = true;
      FIndex = FLength;
      continue;
    }
    // A CR at the end of the buffer makes StepOverLineBreak refill: keep the line first.
    if (inCarry || (end + 1 == FLength && FBuffer[end] == '\r')) {
      AppendToCarry(FIndex, end, keepLimit);
      line = FCarry;
    } else {
      line = std::string_view(FBuffer.data() + FIndex, std::min(end - FIndex, keepLimit));
    }
    FIndex = end;
    StepOverLineBreak();
    return true;
  }
}

bool TStreamLineReader::ReadLine(std::string& line) {
  std::string_view view;
  const bool result = ReadLineView(view);
  line.assign(view);
  return result;
}

bool TStreamLineReader::ReadBuffer(size_t count, char* buffer, size_t& bytesRead) {
  DropBufferIfStreamMoved();
  bytesRead = 0;
  while (bytesRead < count) {
    if (FIndex >= FLength && !Refill()) break;
    const size_t n = std::min(count - bytesRead, FLength - FIndex);
    std::memcpy(buffer + bytesRead, FBuffer.data() + FIndex, n);
    FIndex += n;
    bytesRead += n;
  }
  return bytesRead == count;
}

bool TStreamLineReader::EoF() const {
  return FLength == 0 && FStream.Position() >= FStream.Size();
}

void TStreamLineReader::SetPosition(int64_t position, size_t readAheadHint) {
  const bool streamUnmoved = FStream.Position() == FPositionAfterFill;
  if (streamUnmoved && FLength > 0 && position >= FFillPosition &&
      position <= FFillPosition + static_cast<int64_t>(FLength)) {
    const auto index = static_cast<size_t>(position - FFillPosition);
    FIndex = index;
    return;
  }
  FStream.Seek(position);
  constexpr size_t kMinimumFill = size_t{64} << 10;
  FNextFillSize = readAheadHint == 0 ? FChunkSize : std::clamp(readAheadHint, std::min(kMinimumFill, FChunkSize), FChunkSize);
  FLength = FIndex = 0;
  FFillPosition = FPositionAfterFill = position;
}

// The first position at or after from that holds a NUL byte, or the byte first at a line
// start (the buffer's first byte counts as one when isAtLineStart); FLength when none.
size_t TStreamLineReader::FindLineStartOrNul(size_t from, bool isAtLineStart, char first) const {
  const char* base = FBuffer.data();
  if (from >= FLength) return FLength;
  if (base[from] == '\0' || (isAtLineStart && base[from] == first)) return from;
  size_t p = from + 1;
#if defined(__SSE2__)
  const __m128i firstBytes = _mm_set1_epi8(first);
  const __m128i lineFeeds = _mm_set1_epi8('\n');
  const __m128i carriageReturns = _mm_set1_epi8('\r');
  const __m128i zeros = _mm_setzero_si128();
  for (; p + 16 <= FLength; p += 16) {
    const __m128i current = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + p));
    const __m128i previous = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + p - 1));
    const __m128i afterBreak =
        _mm_or_si128(_mm_cmpeq_epi8(previous, lineFeeds), _mm_cmpeq_epi8(previous, carriageReturns));
    const __m128i hits = _mm_or_si128(_mm_and_si128(_mm_cmpeq_epi8(current, firstBytes), afterBreak),
                                      _mm_cmpeq_epi8(current, zeros));
    const int mask = _mm_movemask_epi8(hits);
    if (mask != 0) return p + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
  }
#endif
  for (; p < FLength; ++p) {
    if (base[p] == '\0') return p;
    if (base[p] == first && (base[p - 1] == '\n' || base[p - 1] == '\r')) return p;
  }
  return FLength;
}

void TStreamLineReader::SkipToLineStartingWith(std::string_view prefix) {
  DropBufferIfStreamMoved();
  bool isAtLineStart = true;
  for (;;) {
    if (FIndex >= FLength && !Refill()) return;
    const size_t hit = FindLineStartOrNul(FIndex, isAtLineStart, prefix.front());
    if (hit < FLength) {
      FIndex = hit;
      // A NUL stops here; a candidate cut by the buffer's end is left to the caller.
      if (FBuffer[hit] == '\0' || hit + prefix.size() > FLength ||
          std::memcmp(FBuffer.data() + hit, prefix.data(), prefix.size()) == 0)
        return;
      FIndex = hit + 1;
      isAtLineStart = false;
      continue;
    }
    isAtLineStart = FBuffer[FLength - 1] == '\n' || FBuffer[FLength - 1] == '\r';
    FIndex = FLength;
  }
}

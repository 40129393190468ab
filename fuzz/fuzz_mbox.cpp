// Feeds arbitrary bytes to the mbox reader as a mailbox held in memory, in both dialects.
// Indexing must end (NUL bytes included), agree with a plain line-by-line reading of the
// same rules (offsets and unique ids), and every message must cut without crashing; the
// line reader must split the same lines whatever its fill size.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "uKwHeaders.h"
#include "uKwMbox.h"
#include "uKwStreamLineReader.h"

#include "MboxReference.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

std::vector<std::pair<std::string, int64_t>> AllLines(std::string_view data, size_t chunkSize) {
  TKwMemoryStream stream(data);
  TStreamLineReader reader(stream, chunkSize);
  std::vector<std::pair<std::string, int64_t>> lines;
  std::string line;
  while (!reader.EoF()) {
    const int64_t start = reader.Position();
    reader.ReadLine(line);
    lines.emplace_back(line, start);
    if (reader.Position() == start && !reader.EoF()) break;
  }
  return lines;
}

void CheckFamily(std::string_view data, TMboxFamily family, size_t chunkSize) {
  TKwMbox mbox(family);
  std::string error;
  Require(mbox.LoadFromMemory(data, error));
  const TMboxReferenceIndex reference = MboxReferenceIndex(data, family, chunkSize);
  Require(mbox.Offsets() == reference.Offsets);
  const TKwUniqueIdList& ids = mbox.UniqueIds();
  Require(ids.Count() == static_cast<int64_t>(reference.Ids.size()));
  for (int64_t i = 0; i < ids.Count(); ++i) Require(ids.Items(i) == reference.Ids[static_cast<size_t>(i)]);
  size_t cutBytes = 0;
  for (int64_t i = mbox.Count() - 1; i >= 0; --i) {
    size_t bytes = 0;
    const size_t headerLines = mbox.GetHeader(i).size();
    const size_t bodyLines = mbox.GetBody(i).size();
    for (const std::string& line : mbox.GetHeader(i)) bytes += line.size();
    for (const std::string& line : mbox.GetBody(i)) bytes += line.size();
    cutBytes += bytes;
    // The one-piece text holds the same lines: a CR LF after each header line, one
    // between headers and body, and one between body lines.
    size_t headerLength = 0;
    const std::string text = mbox.GetMessageText(i, headerLength);
    Require(text.size() == bytes + 2 * headerLines + 2 + 2 * (bodyLines > 0 ? bodyLines - 1 : 0));
    Require(headerLength <= text.size());
  }
  Require(cutBytes <= data.size());
  Require(mbox.GetBody(mbox.Count()).empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  if (size == 0 || size > 65536) return 0;
  // The first byte chooses the fill size of the line readers that check the others.
  const size_t chunkSize = 1 + bytes[0] % 16;
  const std::string_view data(reinterpret_cast<const char*>(bytes) + 1, size - 1);
  Require(AllLines(data, chunkSize) == AllLines(data, 1 << 20));
  CheckFamily(data, mbfMboxrd, chunkSize);
  CheckFamily(data, mbfEudora, chunkSize);
  return 0;
}

#pragma once
// The mbox indexing rules read line by line with the full header parser, as simply as they
// can be put. The mailbox's skipping scan and its header filter must give the same lists;
// the unit tests and the mbox fuzz target both compare against this model.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "uKwHeaders.h"
#include "uKwMbox.h"
#include "uKwStreamLineReader.h"

struct TMboxReferenceIndex {
  std::vector<int64_t> Offsets;
  std::vector<std::string> Ids;
};

inline bool IsBlankMboxLine(std::string_view line) {
  for (char c : line)
    if (static_cast<unsigned char>(c) > ' ') return false;
  return true;
}

// chunkSize: the line reader's fill size; small fills make lines and CR LF pairs span them.
inline TMboxReferenceIndex MboxReferenceIndex(std::string_view data, TMboxFamily family, size_t chunkSize) {
  TMboxReferenceIndex result;
  if (family == mbfNone) return result;
  TKwMemoryStream stream(data);
  TStreamLineReader reader(stream, chunkSize);
  TKwHeaders parser;
  std::string headerText, line;
  bool inHeaders = false;
  while (!reader.EoF()) {
    const int64_t start = reader.Position();
    reader.ReadLine(line);
    if (IsMboxSeparator(line, family)) {
      if (family == mbfEudora) reader.ReadLine(line);
      result.Offsets.push_back(start);
      headerText.clear();
      inHeaders = true;
    } else if (inHeaders && !IsBlankMboxLine(line)) {
      headerText += line + "\r\n";
    } else if (inHeaders) {
      inHeaders = false;
      parser.LoadHeadersFromString(headerText);
      result.Ids.push_back(parser.GetUniqueId());
    }
    if (reader.Position() == start && !reader.EoF()) break;  // stuck on a NUL byte
  }
  return result;
}

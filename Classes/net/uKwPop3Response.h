#pragma once
// Parsers of the POP3 replies the POP3 client reads (RFC 1939): the status line, STAT,
// and the scan listings of LIST and UIDL. They never throw; what they cannot read they
// skip or refuse, never guess.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// "+OK ..." is true; "-ERR ..." and anything else false.
bool IsPop3Ok(std::string_view statusLine);

// "+OK count size"; false for any other line.
bool ParsePop3Stat(std::string_view statusLine, int& count, int64_t& size);

struct TKwPop3Listing {
  int Number = 0;     // message number, from 1
  std::string Value;  // the size (LIST) or the unique id (UIDL)
};

// The lines of a multi-line LIST or UIDL reply (status line and final "." removed),
// separated by CRLF or LF. A line without a positive number and a value, or with a
// unique id outside the printable ASCII range of RFC 1939, is skipped.
std::vector<TKwPop3Listing> ParsePop3Listing(std::string_view text);

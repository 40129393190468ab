#pragma once
// Parsers of the IMAP server responses the IMAP client asks for: LIST, SEARCH, FETCH and
// the SELECT/EXAMINE data, and the modified UTF-7 of mailbox names (RFC 3501, 5.1.3).
//
// A response is one untagged line as the client reads it, with each literal kept in
// place: "{5}\r\n" followed by its five bytes. The parsers never throw and never read
// past their input; what they cannot read gives false.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One value of a response: an atom (numbers, flags, NIL and section names such as
// "BODY[HEADER]" included), a quoted string or literal (IsString), or a parenthesised list.
struct TKwImapValue {
  enum TKind { ivAtom, ivString, ivList };
  TKind Kind = ivAtom;
  std::string Text;
  std::vector<TKwImapValue> Items;
  bool IsNil() const { return Kind == ivAtom && (Text == "NIL" || Text == "nil"); }
};

// The values of `text` up to its end. False on an unbalanced list, an unterminated string
// or a literal longer than the rest of the text; lists nest at most 64 deep.
bool ParseImapValues(std::string_view text, std::vector<TKwImapValue>& values);

struct TKwImapMailbox {
  std::string Name;  // as the server sends it (modified UTF-7): the name for commands
  char Delimiter = 0;  // 0: the server has no hierarchy (NIL)
  bool IsSelectable = true;  // false for \Noselect and \NonExistent
  bool HasChildren = false;
  std::vector<std::string> Flags;
};

// "* LIST (flags) delimiter name".
bool ParseImapListLine(std::string_view line, TKwImapMailbox& mailbox);
// "* SEARCH 1 2 3": appends the numbers.
bool ParseImapSearchLine(std::string_view line, std::vector<uint32_t>& numbers);

// One "* n FETCH (...)" response with the items the clients ask for.
struct TKwImapFetch {
  uint32_t SequenceNumber = 0;
  uint32_t Uid = 0;
  int64_t Size = -1;
  bool IsSeen = false;
  bool HasHeader = false, HasBody = false;
  std::string Header;  // BODY[HEADER]
  std::string Body;    // BODY[]
};
bool ParseImapFetch(std::string_view line, TKwImapFetch& fetch);

// The number of "* n EXISTS"; false for any other line.
bool ParseImapExists(std::string_view line, uint32_t& exists);
// The UIDVALIDITY of "* OK [UIDVALIDITY n] ..."; false for any other line.
bool ParseImapUidValidity(std::string_view line, uint32_t& uidValidity);

// Mailbox names: modified UTF-7 to UTF-8 and back. A damaged "&...-" run is kept as it
// stands, so that no name is lost.
std::string DecodeModifiedUtf7(std::string_view name);
std::string EncodeModifiedUtf7(std::string_view utf8);

// `text` as an IMAP quoted string; CR, LF and NUL, which no quoted string may hold, are dropped.
std::string ImapQuoted(std::string_view text);

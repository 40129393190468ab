#pragma once
// Text conversions behind message output: HTML to readable text, text to HTML, wrapping at
// a column, RTF documents, and the byte encodings of written text files.
//
// Input is UTF-8; a byte that is not part of a valid UTF-8 sequence reads as the Latin-1
// character of its value (the rule of the whole engine), so nothing fails on bad bytes.
// Every routine runs in time linear in its input, whatever the input (unclosed tags,
// 40,000-character lines). Pure functions; safe from any thread.

#include <string>
#include <string_view>

#include "uKwPersistent.h"
#include "uKwTypes.h"

// & < > " as character references, for HTML text and attribute values alike.
std::string HtmlEscape(std::string_view text);

// The readable text of an HTML document: tags dropped, block elements (p, div, br, li,
// tr, headings, ...) ending lines, head, script and style left out, entities decoded,
// runs of blanks collapsed outside <pre>, trailing blanks cut, at most one empty line in a
// row, no empty lines at either end. htmlLines is the document one line per item.
TStringList HtmlExtractText(const TStringList& htmlLines);
std::string HtmlExtractText(std::string_view html);  // lines joined by "\n"

// Text lines as an HTML document: characters escaped, each line ended by <br>, blanks at
// the start of a line and blanks after blanks kept (&nbsp;), a tab as four of them.
TStringList TextToHtml(const TStringList& lines);

// Lines longer than `width` characters broken at the last blank that fits (the blank
// dropped), or hard at `width` characters when a word alone is longer.
TStringList WrapText(const TStringList& lines, int width = 80);

// The lines joined, each followed by CR LF (the line break of every written text file).
std::string JoinLinesCrLf(const TStringList& lines);

// A complete RTF document with one paragraph per line: \ { } escaped, tabs as \tab,
// control characters dropped, every non-ASCII character as \uN? (N the signed 16-bit
// UTF-16 code unit, two of them for characters beyond U+FFFF). A paragraph whose first
// strong character is right-to-left (Hebrew, Arabic, ...) is marked \rtlpar.
std::string TextToRtf(const TStringList& lines);

// Standard base64 (with padding) on one line, as data: URIs carry it.
std::string Base64Encode(std::string_view bytes);

// The bytes of a text file in the chosen encoding:
//   meDefault   UTF-8 without byte-order mark (the system code page here is UTF-8)
//   meUTF8      UTF-8 with the mark EF BB BF
//   meUnicode   UTF-16LE with the mark FF FE
//   meBigEndian UTF-16BE with the mark FE FF
//   meUTF7      UTF-7 (RFC 2152), no mark
//   meASCII     7-bit; every other character becomes "?"
std::string EncodeTextFile(std::string_view utf8, TKwEncoding encoding);

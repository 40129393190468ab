#pragma once
// UTF-8 at the byte level, for the units that check, repair or measure text themselves:
// where a well-formed sequence starts, how long it is and which character it holds.
// Well-formed means the shortest form, no UTF-16 surrogates, nothing above U+10FFFF.

#include <cstddef>
#include <string>
#include <string_view>

// The length of the well-formed sequence at text[pos], or 0 when the byte there does not
// start one (pos < text.size()).
size_t Utf8SequenceLength(std::string_view text, size_t pos);
// The character of the well-formed sequence of that length at text[pos].
char32_t DecodeUtf8Sequence(std::string_view text, size_t pos, size_t length);
bool IsValidUtf8(std::string_view text);
// Appends the UTF-8 form of c (at most U+10FFFF) to out.
void AppendUtf8(std::string& out, char32_t c);

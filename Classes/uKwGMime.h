#pragma once
// The engine's one door to GMime: process-wide initialisation, ownership of GMime and
// GObject handles, and the header-level services (RFC 2047 words, RFC 822 dates,
// unfolding, charset conversion). Other units never include GMime's headers.
//
// GMime is initialised on first use from whichever thread comes first and is never shut
// down while the process runs. Every routine here is safe from any thread, never throws
// on bad input and returns valid UTF-8.
//
// Raw 8-bit text (bytes outside RFC 2047 words) is read by one rule everywhere: kept when
// it is valid UTF-8, else converted from the fallback charset when one is given and known,
// else read as Latin-1 (every byte is one character, so nothing is ever lost).

#include <memory>
#include <string>
#include <string_view>

#include "uKwTypes.h"

struct _GMimeParserOptions;
struct _GMimeFormatOptions;

// Initialises GMime once per process (thread-safe); every routine below calls it.
void EnsureGMimeInitialized();

// Owning pointer to any GObject-derived GMime object (a GMimeMessage, a GMimeStream):
// released with g_object_unref. The object type may stay incomplete outside uKwGMime.
struct TGObjectUnref {
  void operator()(void* object) const noexcept;
};
template <class T>
using TGObjectPtr = std::unique_ptr<T, TGObjectUnref>;

// Owning pointers to GMime's boxed option records.
struct TGMimeParserOptionsFree {
  void operator()(_GMimeParserOptions* options) const noexcept;
};
using TGMimeParserOptionsPtr = std::unique_ptr<_GMimeParserOptions, TGMimeParserOptionsFree>;
struct TGMimeFormatOptionsFree {
  void operator()(_GMimeFormatOptions* options) const noexcept;
};
using TGMimeFormatOptionsPtr = std::unique_ptr<_GMimeFormatOptions, TGMimeFormatOptionsFree>;

// Loose RFC 2047 decoding (words inside quotes and words glued to text are decoded too)
// with raw 8-bit text read by the rule above. fallbackCharset may be empty.
TGMimeParserOptionsPtr NewParserOptions(std::string_view fallbackCharset);

// ---- Header values ----
// An unstructured value (Subject) with its encoded words decoded.
std::string DecodeHeaderText(std::string_view value, std::string_view fallbackCharset = {});
// A display-name phrase with its encoded words decoded.
std::string DecodeHeaderPhrase(std::string_view value, std::string_view fallbackCharset = {});
// UTF-8 text as a header value: RFC 2047 words where it is not plain ASCII.
std::string EncodeHeaderText(std::string_view utf8);
// "name <address>" ready for an address header: the name quoted and encoded as needed;
// the bare address when name is empty.
std::string FormatAddressHeader(std::string_view name, std::string_view address);
// A header and its continuation lines as one line: CR and LF removed, blanks at both
// ends trimmed, the folding blanks kept.
std::string UnfoldHeader(std::string_view rawHeader);

// ---- Dates ----
// An RFC 822 / 5322 date (lenient about names, two-digit years and zones) as GMT; 0 when
// it cannot be read.
TDateTime DecodeRfcDate(std::string_view text);
// "Tue, 01 Jan 2019 10:00:00 +0000"; "" for 0 or a date out of range.
std::string FormatRfcDate(TDateTime gmt);

// ---- Charsets ----
// bytes in the named charset to UTF-8. An unknown charset and invalid byte sequences fall
// back to the raw-text rule (valid UTF-8 kept, other bytes read as Latin-1).
std::string ConvertToUtf8(std::string_view bytes, std::string_view charset);
bool IsValidUtf8(std::string_view text);
// Valid UTF-8 sequences kept; every other byte read as a Latin-1 character.
std::string RepairUtf8AsLatin1(std::string_view bytes);

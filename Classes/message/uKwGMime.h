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
#include <vector>

#include "uKwTypes.h"
#include "uKwUtf8.h"

struct _GMimeParserOptions;
struct _GMimeFormatOptions;
struct _GMimeMessage;
struct _GMimeObject;

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
// The same, also giving the zone the text was written in (minutes east of GMT; 0 when the
// date cannot be read or names no zone).
TDateTime DecodeRfcDate(std::string_view text, int& offsetMinutes);
// "Tue, 01 Jan 2019 10:00:00 +0000"; "" for 0 or a date out of range.
std::string FormatRfcDate(TDateTime gmt);

// ---- Charsets ----
// bytes in the named charset to UTF-8. An unknown charset and invalid byte sequences fall
// back to the raw-text rule (valid UTF-8 kept, other bytes read as Latin-1).
std::string ConvertToUtf8(std::string_view bytes, std::string_view charset);
// Valid UTF-8 sequences kept; every other byte read as a Latin-1 character.
std::string RepairUtf8AsLatin1(std::string_view bytes);

// ---- MIME tree ----
class TKwMimePart;

// One message parsed into its MIME tree; owns the tree. Parsing never fails: text that is
// not MIME at all reads as a message whose body is the text. A leading mbox "From " line
// is skipped. Nesting deeper than GMime's own cap reads as plain content.
class TKwMimeMessage {
 public:
  explicit TKwMimeMessage(std::string_view text);
  ~TKwMimeMessage();
  TKwMimeMessage(const TKwMimeMessage&) = delete;
  TKwMimeMessage& operator=(const TKwMimeMessage&) = delete;

  // The top part; null only when GMime could not build a message at all.
  TKwMimePart Root() const;

 private:
  TGObjectPtr<_GMimeMessage> FMessage;
};

// A borrowed view of one part of a TKwMimeMessage: valid while that message lives. A
// default-constructed part is null and answers every question with "" or 0.
class TKwMimePart {
 public:
  TKwMimePart() = default;
  explicit TKwMimePart(_GMimeObject* object) : FObject(object) {}
  explicit operator bool() const { return FObject != nullptr; }

  bool IsMultipart() const;
  bool IsMessage() const;  // holds a whole message (message/rfc822 and its kin)
  // "type/subtype" in lower case; "" when the part carries no Content-Type header.
  std::string ContentType() const;
  // The text of the Content-Type header after its first ";", blanks trimmed, unfolded.
  std::string ContentTypeAttributes() const;
  // The disposition as written ("attachment", "inline", ...); "" when there is none.
  std::string Disposition() const;
  std::string ContentId() const;  // without angle brackets
  // The disposition's filename or else the content type's name, RFC 2231 and 2047 decoded.
  std::string FileName() const;
  std::string HeadersText() const;  // the part's own header lines, CR LF ended
  // The content with its transfer encoding removed; a message or multipart as written.
  std::string DecodedBytes() const;
  int ChildCount() const;  // sub-parts of a multipart; 1 for a message part; else 0
  // A multipart's sub-part, or a message part's embedded top part (index 0).
  TKwMimePart Child(int index) const;

 private:
  _GMimeObject* FObject = nullptr;  // not owned
};

// ---- Uuencoded files inside text ----
struct TKwUuFile {
  std::string FileName;
  std::string Bytes;
};

// Finds the "begin <mode> <name>" ... "end" blocks in text and decodes them. Returns the
// files found (in order) and sets remainingText to the text without those blocks. A block
// cut short keeps what decoded before the cut. An empty result leaves remainingText = text.
std::vector<TKwUuFile> ExtractUuencodedFiles(std::string_view text, std::string& remainingText);
bool HasUuencodedFile(std::string_view text);

#pragma once
// The MIME writer of message output: builds a whole message (header lines, bodies,
// attachments) as MIME lines through GMime. It is the only place that builds MIME
// structure; the GMime handles it uses never leave its .cpp.
//
// Structure written (parts that are missing drop out):
//   multipart/mixed                      when there are attachments
//     multipart/alternative              when there are both bodies
//       text/plain; charset=utf-8
//       multipart/related; type="text/html"   when the HTML shows parts by "cid:"
//         text/html; charset=utf-8
//         the inline parts with their Content-ID
//     the attachments
// A web archive (MHT) is the related part alone: the HTML as root, the inline parts beside.
// Lines end without CR LF (one line per item); bodies are quoted-printable or base64 as
// GMime finds best, attachments base64, file names RFC 2231-encoded where not ASCII.
// Safe from any thread.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "uKwPersistent.h"

// One attachment or inline part as the writer takes it; the views must outlive the call.
struct TKwMimeOutputPart {
  std::string_view FileName;
  std::string_view ContentId;  // without angle brackets; "" for none
  std::string_view Bytes;
  bool IsInline = false;  // shown by the HTML body (with a content id), else an attachment
};

struct TKwMimeOutputMessage {
  TStringList HeaderLines;  // top-level headers, one unfolded header a line, no MIME headers
  std::optional<std::string> TextBody;  // UTF-8, lines joined by "\n"
  std::optional<std::string> HtmlBody;
  std::vector<TKwMimeOutputPart> Parts;
  bool WebArchive = false;  // multipart/related with the HTML as root
};

// The message as MIME lines: header lines folded at 78 columns where they have blanks,
// "MIME-Version: 1.0", the body's own headers, an empty line, the body. A message without
// any body gets an empty text/plain one.
TStringList BuildMimeLines(const TKwMimeOutputMessage& message);

// "image/png" for "a.PNG"; "application/octet-stream" for names the table does not know.
std::string MimeTypeOfFileName(std::string_view fileName);

// One header line folded before 78 columns at blanks; continuation lines begin with the
// blank they were folded at. A line without blanks stays whole.
TStringList FoldHeaderLine(std::string_view line);

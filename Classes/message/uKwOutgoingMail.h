#pragma once
// A new message composed for sending (the forwarder's and send-email's mail): sender,
// recipients, subject, one plain or HTML body and attached messages, written out as MIME.
// Plain data; the caller owns it.

#include <string>
#include <vector>

#include "uKwPersistent.h"

struct TKwOutgoingAttachment {
  std::string FileName;  // as the recipient sees it, e.g. "Invoice.eml"
  std::string Content;   // an RFC 822 message (attached as message/rfc822)
};

struct TKwOutgoingMail {
  std::string From;
  std::string SendTo;  // the To header as written; the envelope takes its addresses
  std::string Subject;
  std::string Body;
  bool IsHtml = false;
  std::vector<TKwOutgoingAttachment> Attachments;
};

// The mail as MIME text with CR LF line ends: Date and Message-ID of now, the body in
// UTF-8 base64, and multipart/mixed when there are attachments.
std::string ComposeMime(const TKwOutgoingMail& mail);

// A file name made of `text` for an attachment: characters that no file system takes
// replaced by "_", cut to 100 bytes on a character boundary, `extension` added;
// "message" + extension when nothing is left.
std::string AttachmentFileName(const std::string& text, const std::string& extension);

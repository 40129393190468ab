#include "uKwMsgWriter.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "uKwMailMessage.h"
#include "uKwMessageOutputMime.h"
#include "uKwMsgProperties.h"
#include "uKwOleStorage.h"
#include "uKwSubs.h"

using namespace msgprop;

namespace {

// {00020D0B-0000-0000-C000-000000000046}: the class of an Outlook message file's root.
constexpr TKwOleClassId kMsgClassId = {0x0B, 0x0D, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00,
                                       0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46};
constexpr int32_t kMsgFlagRead = 0x01;
constexpr int32_t kMsgFlagHasAttach = 0x10;
constexpr int32_t kStoreUnicodeOk = 0x00040000;
constexpr int32_t kCodepageUtf8 = 65001;
enum TRecipientType : int32_t { rtTo = 1, rtCc = 2 };

std::string Le32(uint32_t value) {
  std::string out(4, '\0');
  for (int i = 0; i < 4; ++i) out[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
  return out;
}

// The properties stream header: 8 reserved bytes, then (for a message) next recipient
// id, next attachment id, recipient count, attachment count, and for a top-level message
// 8 more reserved bytes.
std::string MessageHeader(uint32_t recipients, uint32_t attachments, bool embedded) {
  std::string header(8, '\0');
  header += Le32(recipients) + Le32(attachments) + Le32(recipients) + Le32(attachments);
  if (!embedded) header += std::string(8, '\0');
  return header;
}

bool IsAscii(const TStringList& lines) {
  for (const std::string& line : lines)
    for (char c : line)
      if (static_cast<unsigned char>(c) >= 0x80) return false;
  return true;
}

// The message's own header lines when they are plain ASCII; raw 8-bit lines are in a
// charset only the message knows, so they are rebuilt from the decoded fields instead.
std::string HeaderText(const TKwMailMessage& message) {
  if (!message.Headers->Lines.empty() && IsAscii(message.Headers->Lines))
    return JoinLines(message.Headers->Lines, "\r\n") + "\r\n\r\n";
  TKwHeaders headers;
  headers.Assign(*message.Headers);
  headers.EncodeHeaders(false);
  return headers.Lines.empty() ? std::string() : JoinLines(headers.Lines, "\r\n") + "\r\n\r\n";
}

int32_t Importance(TMessagePriority priority) {
  switch (priority) {
    case mpriHigh: return 2;
    case mpriLow: return 0;
    default: return 1;
  }
}

std::string DisplayList(const TKwEmailList& list) {
  std::string text;
  for (int i = 0; i < list.Count(); ++i) text += (i ? "; " : "") + list.Items(i).NameOrAddress();
  return text;
}

void AddRecipient(TKwOleNode& storage, int index, const TKwEmailAddress& address, TRecipientType type) {
  TKwMsgPropertyWriter props;
  props.AddLong(kRecipientType, type);
  props.AddLong(kRowId, index);
  props.AddUnicode(kDisplayName, address.NameOrAddress());
  props.AddUnicode(kAddrType, "SMTP");
  props.AddUnicode(kEmailAddress, address.Address);
  props.AddUnicode(kSmtpAddress, address.Address);
  props.WriteInto(storage.AddStorage(fmt::format("__recip_version1.0_#{:08X}", index)), std::string(8, '\0'));
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (size_t i = 0; i < prefix.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(text[i])) != prefix[i]) return false;
  return true;
}

// An attached message: named ".eml", or (the MIME layer names a message/rfc822 part
// without a name "message.txt") content that opens with a header block naming at least
// two of From, To, Subject, Date and Message-ID.
bool IsMessageAttachment(const TKwAttachment& attachment) {
  if (FilenameToSingleFileFormat(attachment.FileName) == ffSfEml) return true;
  std::string_view content = attachment.Content;
  const size_t end = std::min({content.find("\r\n\r\n"), content.find("\n\n"), size_t{65536}});
  if (end == std::string_view::npos || end >= content.size()) return false;
  int known = 0;
  for (size_t pos = 0; pos < end;) {
    const size_t lineEnd = std::min(content.find('\n', pos), end);
    const std::string_view line = content.substr(pos, lineEnd - pos);
    if (!line.empty() && line[0] != ' ' && line[0] != '\t') {
      if (line.find(':') == std::string_view::npos) return false;
      for (std::string_view name : {"from:", "to:", "subject:", "date:", "message-id:"})
        if (StartsWithNoCase(line, name)) ++known;
    }
    pos = lineEnd + 1;
  }
  return known >= 2;
}

std::string Extension(const std::string& name) {
  const size_t dot = name.rfind('.');
  return dot == std::string::npos ? std::string() : name.substr(dot);
}

void BuildMessage(const TKwMailMessage& message, TKwOleNode& storage, bool embedded, int depth);

void AddAttachment(TKwOleNode& storage, int index, const TKwAttachment& attachment, int depth) {
  TKwOleNode& node = storage.AddStorage(fmt::format("__attach_version1.0_#{:08X}", index));
  TKwMsgPropertyWriter props;
  props.AddLong(kAttachNum, index);
  props.AddUnicode(kAttachFilename, attachment.FileName);
  props.AddUnicode(kAttachLongFilename, attachment.FileName);
  props.AddUnicode(kDisplayName, attachment.FileName);
  props.AddUnicode(kAttachExtension, Extension(attachment.FileName));
  props.AddUnicode(kAttachMimeTag, MimeTypeOfFileName(attachment.FileName));
  props.AddUnicode(kAttachContentId, attachment.ContentID);
  if (attachment.Kind != akAttachment) props.AddLong(kAttachFlags, kAttachMhtmlRef);
  if (attachment.Kind == akEmbedded) props.AddBoolean(kAttachmentHidden, true);
  if (IsMessageAttachment(attachment) && depth < kMaxEmbeddedDepth) {
    TKwMailMessage nested;
    nested.DecodeOptions = {};
    nested.LoadMIMEFromString(attachment.Content);
    props.AddLong(kAttachMethod, kAttachEmbeddedMessage);
    props.AddObject(kAttachData);
    BuildMessage(nested, node.AddStorage(SubstgName(Tag(kAttachData, kObject))), true, depth + 1);
  } else {
    props.AddLong(kAttachMethod, kAttachByValue);
    props.AddBinary(kAttachData, attachment.Content);
  }
  props.WriteInto(node, std::string(8, '\0'));
}

void AddMessageProperties(const TKwMailMessage& message, TKwMsgPropertyWriter& props) {
  const TKwHeaders& h = *message.Headers;
  props.AddUnicode(kMessageClass, "IPM.Note");
  props.AddUnicode(kSubject, h.Subject);
  props.AddTime(kClientSubmitTime, h.SubmitDate.GmtDate);
  props.AddTime(kDeliveryTime, h.DeliveryDate.GmtDate != 0 ? h.DeliveryDate.GmtDate : h.SubmitDate.GmtDate);
  for (uint16_t id : {kSenderName, kSentRepresentingName}) props.AddUnicode(id, h.From.NameOrAddress());
  for (uint16_t id : {kSenderEmail, kSentRepresentingEmail, kSenderSmtpAddress, kSentRepresentingSmtpAddress})
    props.AddUnicode(id, h.From.Address);
  if (!h.From.Address.empty())
    for (uint16_t id : {kSenderAddrType, kSentRepresentingAddrType}) props.AddUnicode(id, "SMTP");
  props.AddUnicode(kDisplayTo, DisplayList(h.ToList));
  props.AddUnicode(kDisplayCc, DisplayList(h.CCList));
  props.AddUnicode(kTransportHeaders, HeaderText(message));
  props.AddUnicode(kInternetMessageId, h.MessageID);
  props.AddUnicode(kInReplyTo, h.InReplyTo);
  props.AddUnicode(kReferences, h.References);
  props.AddLong(kImportance, Importance(h.Priority));
  const bool hasAttachments = message.Attachments->GetAttachCount() > 0;
  props.AddLong(kMessageFlags, kMsgFlagRead | (hasAttachments ? kMsgFlagHasAttach : 0));
  props.AddBoolean(kHasAttach, hasAttachments);
  props.AddLong(kStoreSupportMask, kStoreUnicodeOk);
  props.AddLong(kInternetCodepage, kCodepageUtf8);
  props.AddLong(kMessageCodepage, kCodepageUtf8);
  if (!message.TextPart.empty()) props.AddUnicode(kBody, JoinLines(message.TextPart, "\r\n"));
  if (!message.HtmlPart.empty()) props.AddBinary(kHtml, JoinLines(message.HtmlPart, "\r\n"));
}

void BuildMessage(const TKwMailMessage& message, TKwOleNode& storage, bool embedded, int depth) {
  TKwMsgPropertyWriter props;
  AddMessageProperties(message, props);
  int recipients = 0;
  for (int i = 0; i < message.Headers->ToList.Count(); ++i)
    AddRecipient(storage, recipients++, message.Headers->ToList.Items(i), rtTo);
  for (int i = 0; i < message.Headers->CCList.Count(); ++i)
    AddRecipient(storage, recipients++, message.Headers->CCList.Items(i), rtCc);
  const TKwAttachmentsList& attachments = *message.Attachments;
  for (int i = 0; i < attachments.GetCount(); ++i) AddAttachment(storage, i, attachments.GetAttachment(i), depth);
  props.WriteInto(storage, MessageHeader(recipients, attachments.GetCount(), embedded));
}

}  // namespace

bool WriteMsgFile(const TKwMailMessage& message, const std::string& fileName, std::string& error) {
  TKwOleNode root{"Root Entry", true, {}, {}};
  // The named-property map: empty, as this writer uses no named properties, but readers
  // expect the storage and its three streams.
  TKwOleNode& names = root.AddStorage("__nameid_version1.0");
  for (const char* stream : {"__substg1.0_00020102", "__substg1.0_00030102", "__substg1.0_00040102"})
    names.AddStream(stream, "");
  try {
    BuildMessage(message, root, false, 0);
  } catch (const std::exception& e) {
    error = std::string("Cannot build the message file: ") + e.what();
    return false;
  }
  return WriteCompoundFile(fileName, root, kMsgClassId, error);
}

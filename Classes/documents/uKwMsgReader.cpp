#include "uKwMsgReader.h"

#include <algorithm>

#include "uKwGMime.h"
#include "uKwMailMessage.h"
#include "uKwMsgProperties.h"
#include "uKwMsgWriter.h"
#include "uKwOleStorage.h"
#include "uKwRtfBody.h"
#include "uKwSubs.h"

using namespace msgprop;

namespace {

constexpr size_t kTopHeaderSize = 32;
constexpr size_t kEmbeddedHeaderSize = 24;
constexpr size_t kSubObjectHeaderSize = 8;

TStringList SplitLines(std::string_view text) {
  TStringList lines;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find_first_of("\r\n", start);
    if (end == std::string_view::npos) end = text.size();
    lines.emplace_back(text.substr(start, end - start));
    if (end == text.size()) break;
    start = end + (text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n' ? 2 : 1);
    if (start == text.size()) break;
  }
  return lines;
}

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), text.begin(),
                    [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b)); });
}

// The sub-storages of a kind ("__recip_version1.0_"), in the order of their numbers.
std::vector<const TKwOleNode*> SubStorages(const TKwOleNode& storage, std::string_view prefix) {
  std::vector<const TKwOleNode*> found;
  for (const TKwOleNode& child : storage.Children)
    if (child.IsStorage && StartsWith(child.Name, prefix)) found.push_back(&child);
  std::sort(found.begin(), found.end(), [](const TKwOleNode* a, const TKwOleNode* b) { return a->Name < b->Name; });
  return found;
}

// An Exchange sender or recipient carries an X.500 address in its e-mail address and
// the SMTP one in a property of its own.
std::string SmtpAddress(const TKwMsgPropertyReader& props, uint16_t smtpId, uint16_t addressId, uint16_t typeId) {
  std::string smtp = props.String(smtpId);
  if (!smtp.empty()) return smtp;
  std::string address = props.String(addressId);
  const std::string type = props.String(typeId);
  if (!type.empty() && !StartsWith(type, "SMTP") && address.find('@') == std::string::npos) return {};
  return address;
}

void AddAddress(TKwEmailList& list, const std::string& name, const std::string& address) {
  if (address.empty() && name.empty()) return;
  list.AddNameAddressParts(name == address ? std::string() : name, address.empty() ? name : address);
}

class TMsgFiller {
 public:
  explicit TMsgFiller(int depth) : FDepth(depth) {}

  void Fill(const TKwOleNode& storage, size_t headerSize, TKwMailMessage& message) {
    const TKwMsgPropertyReader props(storage, headerSize);
    FillHeaders(props, message);
    FillRecipients(storage, message);
    if (message.Headers->Lines.empty()) message.Headers->EncodeHeaders(false);
    FillBodies(props, message);
    FillAttachments(storage, message);
  }

 private:
  void FillHeaders(const TKwMsgPropertyReader& props, TKwMailMessage& message) {
    TKwHeaders& h = *message.Headers;
    const std::string transport = props.String(kTransportHeaders);
    if (!transport.empty()) h.LoadHeadersFromString(transport);
    FHadRecipients = h.ToList.Count() > 0 || h.CCList.Count() > 0;
    if (h.Subject.empty()) h.Subject = props.String(kSubject);
    if (h.From.Address.empty()) {
      std::string address = SmtpAddress(props, kSenderSmtpAddress, kSenderEmail, kSenderAddrType);
      std::string name = props.String(kSenderName);
      if (address.empty()) address = SmtpAddress(props, kSentRepresentingSmtpAddress, kSentRepresentingEmail,
                                                 kSentRepresentingAddrType);
      if (name.empty()) name = props.String(kSentRepresentingName);
      if (!address.empty()) h.From.SetEmailAddress(name.empty() || name == address ? address : name + " <" + address + ">");
      if (address.empty()) h.From.Name = name;
    }
    if (h.SubmitDate.GmtDate == 0) h.SubmitDate.GmtDate = props.Time(kClientSubmitTime);
    if (h.DeliveryDate.GmtDate == 0) h.DeliveryDate.GmtDate = props.Time(kDeliveryTime);
    if (h.MessageID.empty()) h.MessageID = props.String(kInternetMessageId);
    if (h.InReplyTo.empty()) h.InReplyTo = props.String(kInReplyTo);
    if (h.References.empty()) h.References = props.String(kReferences);
    if (h.Priority == mpriUnknown)
      if (const auto importance = props.Long(kImportance))
        h.Priority = *importance >= 2 ? mpriHigh : *importance == 0 ? mpriLow : mpriNormal;
  }

  void FillRecipients(const TKwOleNode& storage, TKwMailMessage& message) {
    if (FHadRecipients) return;  // the transport headers named them
    for (const TKwOleNode* recipient : SubStorages(storage, "__recip_version1.0_")) {
      const TKwMsgPropertyReader props(*recipient, kSubObjectHeaderSize);
      const std::string name = props.String(kDisplayName);
      const std::string address = SmtpAddress(props, kSmtpAddress, kEmailAddress, kAddrType);
      switch (props.Long(kRecipientType).value_or(1) & 0xF) {
        case 1: AddAddress(message.Headers->ToList, name, address); break;
        case 2: AddAddress(message.Headers->CCList, name, address); break;
        default: break;  // Bcc: no header holds it
      }
    }
  }

  void FillBodies(const TKwMsgPropertyReader& props, TKwMailMessage& message) {
    const std::string text = props.String(kBody);
    if (!text.empty()) {
      message.TextPart = SplitLines(text);
      message.TextPartCharset = "utf-8";
    }
    const uint32_t codepage = static_cast<uint32_t>(
        props.Long(kInternetCodepage).value_or(props.Long(kMessageCodepage).value_or(0)));
    std::string html;
    if (const auto bytes = props.Binary(kHtml)) html = ConvertToUtf8(*bytes, CodepageCharset(codepage));
    if (html.empty()) html = props.String(kHtml, codepage);
    if (html.empty() && text.empty())
      if (const auto compressed = props.Binary(kRtfCompressed)) {
        std::string rtf;
        if (DecompressRtf(*compressed, rtf) && !RtfExtractHtml(rtf, html)) {
          const std::string rtfText = RtfToText(rtf);
          if (!rtfText.empty()) message.TextPart = SplitLines(rtfText);
        }
      }
    if (!html.empty()) {
      message.HtmlPart = SplitLines(html);
      message.HtmlPartCharset = "utf-8";
    }
  }

  void FillAttachments(const TKwOleNode& storage, TKwMailMessage& message) {
    for (const TKwOleNode* node : SubStorages(storage, "__attach_version1.0_")) {
      const TKwMsgPropertyReader props(*node, kSubObjectHeaderSize);
      std::string name = props.String(kAttachLongFilename);
      if (name.empty()) name = props.String(kAttachFilename);
      if (name.empty()) name = props.String(kDisplayName);
      std::string content;
      const TKwOleNode* object = node->Child(SubstgName(Tag(kAttachData, kObject)));
      if (object != nullptr && object->IsStorage) {
        if (FDepth >= kMaxEmbeddedDepth) continue;
        TKwMailMessage nested;
        nested.DecodeOptions = {};
        TMsgFiller(FDepth + 1).Fill(*object, kEmbeddedHeaderSize, nested);
        content = JoinLines(nested.EncodeMIMEMessage(), "\r\n");
        if (name.empty()) name = nested.Headers->Subject;
        if (FilenameToSingleFileFormat(name) != ffSfEml) name += ".eml";
      } else if (const auto bytes = props.Binary(kAttachData)) {
        content = *bytes;
      }
      name = ReplaceInvalidCharactersFilename(name, "_");
      if (name.empty()) name = "attachment.dat";
      TKwAttachment& attachment = message.Attachments->AddFromStream(content, name);
      attachment.SetContentID(props.String(kAttachContentId));
      if (props.Boolean(kAttachmentHidden)) attachment.Kind = akEmbedded;
      else if (props.Long(kAttachFlags).value_or(0) & kAttachMhtmlRef) attachment.Kind = akInline;
    }
  }

  int FDepth;
  bool FHadRecipients = false;
};

bool FillFromRoot(const TKwOleNode& root, TKwMailMessage& message, std::string& error) {
  if (root.StreamData("__properties_version1.0") == nullptr) {
    error = "Not an Outlook message file: it has no property stream";
    return false;
  }
  try {
    TMsgFiller(0).Fill(root, kTopHeaderSize, message);
  } catch (const std::exception& e) {
    error = std::string("Cannot read the message file: ") + e.what();
    return false;
  }
  message.ParseTextAndHtmlParts();
  return true;
}

}  // namespace

bool LoadMsgFile(const std::string& fileName, TKwMailMessage& message, std::string& error) {
  message.Clear();
  TKwOleNode root;
  if (!ReadCompoundFile(fileName, root, error)) return false;
  return FillFromRoot(root, message, error);
}

bool LoadMsgBytes(std::string_view bytes, TKwMailMessage& message, std::string& error) {
  message.Clear();
  TKwOleNode root;
  if (!ReadCompoundBytes(bytes, root, error)) return false;
  return FillFromRoot(root, message, error);
}

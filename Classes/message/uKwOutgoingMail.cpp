#include "uKwOutgoingMail.h"

#include <unistd.h>

#include <random>

#include "uKwDateTime.h"
#include "uKwGMime.h"

namespace {

constexpr size_t kBase64LineLength = 76;
constexpr size_t kMaxNameBytes = 100;
constexpr size_t kMaxSmtpLine = 998;  // RFC 5321: longer lines are refused by servers

std::string Base64Lines(const std::string& bytes) {
  static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out, line;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t left = bytes.size() - i;
    uint32_t chunk = static_cast<unsigned char>(bytes[i]) << 16;
    if (left > 1) chunk |= static_cast<unsigned char>(bytes[i + 1]) << 8;
    if (left > 2) chunk |= static_cast<unsigned char>(bytes[i + 2]);
    line += kAlphabet[(chunk >> 18) & 63];
    line += kAlphabet[(chunk >> 12) & 63];
    line += left > 1 ? kAlphabet[(chunk >> 6) & 63] : '=';
    line += left > 2 ? kAlphabet[chunk & 63] : '=';
    if (line.size() >= kBase64LineLength) out += line + "\r\n", line.clear();
  }
  if (!line.empty()) out += line + "\r\n";
  return out;
}

std::string RandomToken() {
  static std::mt19937_64 generator{std::random_device{}()};
  static constexpr char kHex[] = "0123456789abcdef";
  std::string token;
  for (uint64_t bits = generator(), i = 0; i < 16; ++i, bits >>= 4) token += kHex[bits & 15];
  return token;
}

std::string HostName() {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0 || !*name) return "localhost";
  return name;
}

std::string WithCrLf(const std::string& text) {
  std::string out;
  out.reserve(text.size() + text.size() / 40);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) out += '\r';
    out += text[i];
  }
  if (!out.empty() && out.back() != '\n') out += "\r\n";
  return out;
}

bool HasLongLine(const std::string& text) {
  size_t start = 0;
  for (size_t end = text.find('\n'); start < text.size(); end = text.find('\n', start)) {
    if (end == std::string::npos) end = text.size();
    if (end - start > kMaxSmtpLine + 1) return true;
    start = end + 1;
  }
  return false;
}

std::string QuotedName(const std::string& name) {
  // RFC 2231 would be exact; an encoded word inside quotes is what mail programs read.
  return "\"" + EncodeHeaderText(name) + "\"";
}

std::string BodyPart(const TKwOutgoingMail& mail) {
  return std::string("Content-Type: text/") + (mail.IsHtml ? "html" : "plain") +
         "; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n" + Base64Lines(mail.Body);
}

}  // namespace

std::string ComposeMime(const TKwOutgoingMail& mail) {
  std::string text = "From: " + mail.From + "\r\nTo: " + mail.SendTo + "\r\n";
  text += "Subject: " + EncodeHeaderText(mail.Subject) + "\r\n";
  text += "Date: " + FormatRfcDate(LocalToGmt(NowLocal())) + "\r\n";
  text += "Message-ID: <" + RandomToken() + RandomToken() + "@" + HostName() + ">\r\n";
  text += "MIME-Version: 1.0\r\n";
  if (mail.Attachments.empty()) return text + BodyPart(mail);
  const std::string boundary = "=_quillon_" + RandomToken();
  text += "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n";
  text += "--" + boundary + "\r\n" + BodyPart(mail);
  for (const TKwOutgoingAttachment& attachment : mail.Attachments) {
    const std::string name = QuotedName(attachment.FileName);
    text += "--" + boundary + "\r\nContent-Type: message/rfc822; name=" + name + "\r\n";
    text += "Content-Disposition: attachment; filename=" + name + "\r\n";
    // A message/rfc822 part should stay 8bit; one with lines no SMTP server takes goes
    // as base64, which mail programs read all the same.
    if (HasLongLine(attachment.Content)) {
      text += "Content-Transfer-Encoding: base64\r\n\r\n" + Base64Lines(attachment.Content);
    } else {
      text += "Content-Transfer-Encoding: 8bit\r\n\r\n" + WithCrLf(attachment.Content);
    }
  }
  return text + "--" + boundary + "--\r\n";
}

std::string AttachmentFileName(const std::string& text, const std::string& extension) {
  std::string name;
  for (char c : text) {
    const bool bad = static_cast<unsigned char>(c) < 32 || std::string_view("\\/:*?\"<>|").find(c) != std::string_view::npos;
    name += bad ? '_' : c;
  }
  if (name.size() > kMaxNameBytes) {
    size_t cut = kMaxNameBytes;
    while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) --cut;
    name.resize(cut);
  }
  while (!name.empty() && (name.back() == ' ' || name.back() == '.')) name.pop_back();
  return (name.empty() ? "message" : name) + extension;
}

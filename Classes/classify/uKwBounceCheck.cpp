#include "uKwBounceCheck.h"

#include <algorithm>
#include <cctype>

#include "uKwGMime.h"
#include "uKwHeaders.h"
#include "uKwRegEx.h"
#include "uKwSubs.h"

namespace {

// Each entry: code "^" kind letter "^" description. The description starts at the third
// character after the first "^", so its leading blanks are kept.
constexpr std::string_view kRfc1893Entries[] = {
    "5.0.0^h^Address does not exist",
    "5.1.0^h^Other address status",
    "5.1.1^h^Bad destination mailbox address",
    "5.1.2^h^Bad destination system address",
    "5.1.3^h^Bad destination mailbox address syntax",
    "5.1.4^h^Destination mailbox address ambiguous",
    "5.1.5^h^Destination mailbox address invalid (source: Microsoft)",
    "5.1.6^h^Mailbox has moved",
    "5.1.7^h^Bad sender's mailbox address syntax",
    "5.1.8^h^Bad sender's system address",
    "5.2.0^h^Other or undefined mailbox status",
    "5.2.1^h^Mailbox disabled, not accepting messages",
    "5.2.2^f^Mailbox full",
    "5.2.3^l^Message length exceeds administrative limit.",
    "5.2.4^h^Mailing list expansion problem",
    "5.3.0^h^Other or undefined mail system status",
    "5.3.1^s^Mail system full",
    "5.3.2^h^System not accepting network messages",
    "5.3.3^h^System not capable of selected features",
    "5.3.4^l^Message too big for system",
    "5.3.5^h^System incorrectly configured",
    "5.4.0^h^Other or undefined network or routing status",
    "5.4.1^h^No answer from host",
    "5.4.2^h^Bad connection",
    "5.4.3^h^Routing server failure",
    "5.4.4^h^Unable to route",
    "5.4.5^h^Network congestion",
    "5.4.6^h^Routing loop detected",
    "5.4.7^h^Delivery time expired",
    "5.4.8^h^Loop detected, check recipient policy. (Source: Microsoft)",
    "5.5.0^h^Other or undefined protocol status",
    "5.5.1^h^Invalid command",
    "5.5.2^h^Syntax error",
    "5.5.3^h^Too many recipients",
    "5.5.4^h^Invalid command arguments",
    "5.5.5^h^Wrong protocol version",
    "5.6.0^b^Other or undefined media error",
    "5.6.1^b^Media not supported",
    "5.6.2^h^Conversion required and prohibited",
    "5.6.3^h^Conversion required but not supported",
    "5.6.4^h^Conversion with loss performed",
    "5.6.5^h^Conversion failed",
    "5.7.0^h^Other or undefined security status",
    "5.7.1^b^Delivery not authorized, message refused",
    "5.7.2^h^Mailing list expansion prohibited",
    "5.7.3^h^Security conversion required but not possible",
    "5.7.4^h^Security features not supported",
    "5.7.5^b^Cryptographic failure",
    "5.7.6^b^Cryptographic algorithm not supported",
    "5.7.7^b^Message integrity failure",
    "4.0.0^s^Other undefined status",
    "4.1.0^s^Other address status",
    "4.1.4^s^Destination mailbox address ambiguous",
    "4.1.5^s^Destination mailbox address valid",
    "4.1.7^s^Bad sender's mailbox address syntax",
    "4.1.8^s^Bad sender's system address",
    "4.2.0^s^Other or undefined mailbox status",
    "4.2.1^s^Mailbox disabled, not accepting messages",
    "4.2.2^f^Mailbox full",
    "4.2.4^s^Mailing list expansion problem",
    "4.3.0^s^Other or undefined mail system status",
    "4.3.1^s^Mail system full",
    "4.3.2^s^System not accepting network messages",
    "4.3.3^s^System not capable of selected features",
    "4.3.5^s^System incorrectly configured",
    "4.4.0^s^Other or undefined network or routing status",
    "4.4.1^s^No answer from host",
    "4.4.2^s^Bad connection",
    "4.4.3^s^Routing server failure",
    "4.4.4^s^Unable to route",
    "4.4.5^s^Network congestion",
    "4.4.6^s^Routing loop detected",
    "4.4.7^s^Delivery time expired",
    "4.5.0^s^Other or undefined protocol status",
    "4.5.3^s^Too many recipients",
    "4.5.5^s^Wrong protocol version",
    "4.6.0^s^Other or undefined media error",
    "4.6.2^s^Conversion required and prohibited",
    "4.6.3^s^Conversion required but not supported",
    "4.6.4^s^Conversion with loss performed",
    "4.6.5^s^Conversion failed",
    "4.7.0^s^Other or undefined security status",
    "4.7.5^s^Cryptographic failure",
    "4.7.6^s^Cryptographic algorithm not supported",
    "4.7.7^s^Message integrity failure",

};
static_assert(std::size(kRfc1893Entries) == 85);

constexpr std::string_view kRfc2821Entries[] = {
    "211^k^System status, or system help reply",
    "214^k^Help message",
    "220^k^ Service ready",
    "221^k^ Service closing transmission channel",
    "250^k^Requested mail action okay, completed",
    "251^k^User not local; will forward to",
    "252^k^Cannot VRFY user, but will accept message and attempt delivery",
    "354^k^Start mail input; end with .",
    "421^s^ Service not available, closing transmission channel.",
    "450^s^Requested mail action not taken: mailbox unavailable.",
    "451^s^Requested action aborted: server error.",
    "452^s^Requested action not taken: insufficient system storage",
    "500^h^Syntax error, command unrecognized.",
    "501^h^Syntax error in parameters or arguments.",
    "502^h^Command not implemented.",
    "503^h^Bad sequence of commands.",
    "504^h^Command parameter not implemented.",
    "550^h^Mailbox unavailable.",
    "551^h^User not local to the server.",
    "552^f^Action aborted due to exceeded storage allocation.",
    "553^h^Requested action not taken: mailbox name invalid",
    "554^h^Transaction failed for some unstated reason.",
};
static_assert(std::size(kRfc2821Entries) == 22);

// Parts nested deeper than this are not searched for a report.
constexpr int kMaxPartDepth = 32;

TBounceCode SplitEntry(std::string_view entry) {
  TBounceCode code;
  const size_t caret = entry.find('^');
  code.Code = std::string(entry.substr(0, caret));
  if (caret == std::string_view::npos) return code;
  if (caret + 1 < entry.size()) code.Kind = entry[caret + 1];
  if (caret + 3 <= entry.size()) code.Description = std::string(entry.substr(caret + 3));
  return code;
}

std::string_view Trim(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

std::string ToLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

TStringList SplitLines(std::string_view text) {
  TStringList lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find_first_of("\r\n", start);
    if (end == std::string_view::npos) end = text.size();
    lines.emplace_back(text.substr(start, end - start));
    if (end < text.size() && text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n') ++end;
    start = end + 1;
  }
  return lines;
}

// The report patterns let "." run over line breaks, so that a reply code on the line
// after its "RCPT TO:" is read. The address pattern alone stops at line ends: its ".+"
// takes the rest of the line greedily and gives back only what the last dot and word
// need, and across lines it would swallow the report text after the address.
constexpr TKwRegExFlags kReportFlags{.DotMatchesLineBreaks = true};

const TKwRegEx& AddressPattern() {
  static const TKwRegEx pattern(R"(\b[A-Z0-9._%+-]+@.+\.[A-Z0-9]+\b)");
  return pattern;
}

// A part without a Content-Type header is text/plain, at the top and inside multiparts.
std::string EffectiveContentType(const TKwMimePart& part) {
  std::string type = part.ContentType();
  return type.empty() ? "text/plain" : type;
}

// The first part, depth first, whose content type begins with contentType. Multiparts are
// entered; message parts are leaves (their content is the returned message).
TKwMimePart FindPart(const TKwMimePart& container, std::string_view contentType, int depth) {
  if (depth > kMaxPartDepth) return {};
  for (int i = 0; i < container.ChildCount(); ++i) {
    const TKwMimePart part = container.Child(i);
    if (part.IsMultipart()) {
      if (TKwMimePart found = FindPart(part, contentType, depth + 1)) return found;
    } else if (EffectiveContentType(part).starts_with(contentType)) {
      return part;
    }
  }
  return {};
}

}  // namespace

std::string BounceTypeColumnText(TBounceType type) {
  switch (type) {
    case btHardBounce: return "HardBounce";
    case btSoftBounce: return "SoftBounce";
    default: return "";
  }
}

TKwBounceCheck::TKwBounceCheck() { LoadRfcTables(); }

TKwBounceCheck::~TKwBounceCheck() = default;

void TKwBounceCheck::LoadRfcTables() {
  FRfc1893Codes.clear();
  FRfc2821Codes.clear();
  for (std::string_view entry : kRfc1893Entries) FRfc1893Codes.push_back(SplitEntry(entry));
  for (std::string_view entry : kRfc2821Entries) FRfc2821Codes.push_back(SplitEntry(entry));
}

void TKwBounceCheck::Clear() {
  FBounceType = btNone;
  FCode.clear();
  FDescription.clear();
  FRecipient.clear();
}

void TKwBounceCheck::AssignVerdict(const TKwBounceCheck& source) {
  if (&source == this) return;
  FBounceType = source.FBounceType;
  FCode = source.FCode;
  FDescription = source.FDescription;
  FRecipient = source.FRecipient;
}

bool TKwBounceCheck::ParseMessage(const TStringList& lines) { return ParseMessage(JoinLines(lines)); }

bool TKwBounceCheck::ParseMessage(std::string_view mimeText) {
  FParsedMessage = std::make_unique<TKwMimeMessage>(mimeText);
  const bool bounce = ParseMimeMessage(*FParsedMessage);
  FParsedMessage.reset();
  return bounce;
}

bool TKwBounceCheck::ParseMimeMessage(const TKwMimeMessage& message) {
  Clear();
  FContent.clear();
  FMessage = &message;
  // Only the first report part found is scanned.
  if (SearchContentType("message/delivery-status"))
    ScanRfc1893(FContent);
  else if (SearchContentType("message/disposition-notification"))
    ScanRfc1893(FContent);
  else if (SearchContentType("text/plain"))
    ScanRfc2821(FContent);
  if (!FCode.empty() && FRecipient.empty()) RecipientFromReturnedMessage();
  FMessage = nullptr;
  return FBounceType == btHardBounce || FBounceType == btSoftBounce;
}

void TKwBounceCheck::RecipientFromReturnedMessage() {
  if (!SearchContentType("message/rfc822")) return;
  TStringList lines = FContent;
  TKwHeaders headers;
  headers.LoadHeaderLinesFromMimeBody(lines);
  headers.DecodeHeaders();
  if (headers.ToList.Count() > 0) FRecipient = headers.ToList.Items(0).Address;
}

bool TKwBounceCheck::SearchContentType(std::string_view contentType) {
  FContent.clear();
  if (!FMessage) return false;
  const TKwMimePart root = FMessage->Root();
  if (!root) return false;
  TKwMimePart part = root.IsMultipart() ? FindPart(root, contentType, 0) : TKwMimePart();
  if (part) {
    // A text part is taken whatever it holds; another part only with data.
    const std::string data = part.DecodedBytes();
    if (!EffectiveContentType(part).starts_with("text/") && data.empty()) return false;
    FContent = SplitLines(data);
    return true;
  }
  if (!EffectiveContentType(root).starts_with(contentType)) return false;
  FContent = SplitLines(root.DecodedBytes());
  return true;
}

bool TKwBounceCheck::ScanRfc1893(const TStringList& lines) {
  // The second dot is not escaped and matches any character: kept as the classifier has
  // always matched (see docs/quirks.md).
  static const TKwRegEx statusCode(R"(\s([245]\.\d{1,3}.\d{1,3}))", kReportFlags);
  const std::string text = JoinLines(lines);
  const std::string code(Trim(statusCode.FindText(text)));
  if (code.empty() || !SearchRfcTable(code, FRfc1893Codes)) return false;
  for (const std::string& line : lines) {
    const std::string lower = ToLower(Trim(line));
    if (!lower.starts_with("final-recipient:") && !lower.starts_with("original-recipient:")) continue;
    FRecipient = std::string(AddressPattern().FindText(line));
    break;
  }
  return true;
}

bool TKwBounceCheck::ScanRfc2821(const TStringList& lines) {
  static const TKwRegEx quote(R"((SMTP\serror|RCPT\sTO:).*\s([245]\d\d)\s)", kReportFlags);
  static const TKwRegEx replyCode(R"(\s([245]\d\d))");
  const std::string text = JoinLines(lines);
  const std::string_view match = quote.FindText(text);
  if (match.empty()) return false;
  const std::string code(Trim(replyCode.FindText(match)));
  if (!SearchRfcTable(code, FRfc2821Codes)) return false;
  FRecipient = std::string(AddressPattern().FindText(match));
  return true;
}

bool TKwBounceCheck::SearchRfcTable(std::string_view code, const TArrayBounceCodes& table) {
  const auto entry = std::find_if(table.begin(), table.end(), [&](const TBounceCode& c) { return c.Code == code; });
  if (entry == table.end()) return false;
  FCode = entry->Code;
  switch (entry->Kind) {
    case 'h': FBounceType = btHardBounce; break;
    case 's':
    case 'f':
    case 'u': FBounceType = btSoftBounce; break;
    case 'k': FBounceType = btMdnReceipt; break;
    default: FBounceType = entry->Code.starts_with("5") ? btHardBounce : btNone; break;
  }
  static constexpr std::string_view kTypeNames[] = {"", "HardBounce", "SoftBounce", "Mdnreceipt"};
  FDescription = FBounceType == btNone
                     ? entry->Description
                     : std::string(kTypeNames[FBounceType]) + " (" + entry->Code + "): " + entry->Description;
  return true;
}

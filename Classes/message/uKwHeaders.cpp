#include "uKwHeaders.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "uKwDateTime.h"
#include "uKwGMime.h"
#include "uKwMessageName.h"
#include "uKwRegEx.h"
#include "uKwStream.h"

namespace {

// ---------------------------------------------------------------- text helpers

// Blanks are every byte up to the space, as the desktop program trims.
bool IsBlank(char c) { return static_cast<unsigned char>(c) <= ' '; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

char UpperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

std::string ToLowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = LowerAscii(c);
  return lower;
}

std::string ToUpperAscii(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = UpperAscii(c);
  return upper;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (UpperAscii(a[i]) != UpperAscii(b[i])) return false;
  return true;
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && EqualsNoCase(text.substr(0, prefix.size()), prefix);
}

size_t FindNoCase(std::string_view text, std::string_view needle, size_t from = 0) {
  if (needle.empty()) return from <= text.size() ? from : std::string_view::npos;
  for (size_t i = from; i + needle.size() <= text.size(); ++i)
    if (EqualsNoCase(text.substr(i, needle.size()), needle)) return i;
  return std::string_view::npos;
}

// The text after the first `start` up to the next `end` (to the end of text when there
// is none), trimmed; empty when `start` does not occur.
std::string_view TextBetween(std::string_view text, std::string_view start, std::string_view end) {
  const size_t first = FindNoCase(text, start);
  if (first == std::string_view::npos) return {};
  text.remove_prefix(first + start.size());
  return Trim(text.substr(0, FindNoCase(text, end)));
}

// The text after the first ":" (the whole line when there is none), trimmed.
std::string_view HeaderValue(std::string_view line) {
  const size_t colon = line.find(':');
  return Trim(colon == std::string_view::npos ? line : line.substr(colon + 1));
}

std::string_view InsideFirstAngleBrackets(std::string_view value) {
  const size_t open = value.find('<');
  if (open == std::string_view::npos) return {};
  const size_t close = value.find('>', open + 1);
  return Trim(value.substr(open + 1, close == std::string_view::npos ? close : close - open - 1));
}

template <class TItem, class Text>
std::string JoinItems(const std::vector<std::unique_ptr<TItem>>& items, std::string_view separator,
                      Text text) {
  std::string joined;
  for (size_t i = 0; i < items.size(); ++i) {
    if (i > 0) joined += separator;
    joined += text(*items[i]);
  }
  return joined;
}

// ---------------------------------------------------------------- header walking

// Splits text into lines at CR LF, LF or a lone CR; a final line break adds no line.
TStringList SplitLines(std::string_view text) {
  TStringList lines;
  size_t start = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r' && text[i] != '\n') continue;
    lines.emplace_back(text.substr(start, i - start));
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
    start = i + 1;
  }
  if (start < text.size()) lines.emplace_back(text.substr(start));
  return lines;
}

bool IsBlankLine(std::string_view line) { return Trim(line).empty(); }

// A folded header continues on lines that start with a blank and hold something else;
// a blank-only line ends the header section instead.
bool IsContinuationLine(std::string_view line) {
  return !line.empty() && (line.front() == ' ' || line.front() == '\t') && !IsBlankLine(line);
}

// Calls visit(firstLine, endLine) for each header of lines (one line and its
// continuation lines), from the top to the blank line before the body.
template <class Lines, class Visit>
void WalkHeaders(const Lines& lines, Visit&& visit) {
  for (size_t i = 0; i < lines.size();) {
    if (IsBlankLine(lines[i])) return;
    size_t end = i + 1;
    while (end < lines.size() && IsContinuationLine(lines[end])) ++end;
    visit(i, end);
    i = end;
  }
}

template <class Lines>
std::string UnfoldLines(const Lines& lines, size_t first, size_t end) {
  if (end == first + 1) return UnfoldHeader(lines[first]);
  std::string joined;
  for (size_t i = first; i < end; ++i) joined.append(lines[i]);
  return UnfoldHeader(joined);
}

// ---------------------------------------------------------------- header table

// clang-format off
enum class THeaderKind {
  HdStatus, HdType, XMailer, From, Subject, Organization, To, Cc, Date, DeliveryDate,
  MboxSeparator, ReplyTo, MessageId, InReplyTo, References, Priority, XPriority, XMsPriority,
  ReturnPath, EnvelopeTo, MimeVersion, Content
};
// clang-format on

struct THeaderPrefix {
  std::string_view Prefix;
  THeaderKind Kind;
};

// Tested in this order against the start of the line; the first match decides.
constexpr THeaderPrefix kHeaderPrefixes[] = {
    {"X-HD-STATUS", THeaderKind::HdStatus},
    {"X-HD-TYPE", THeaderKind::HdType},
    {"X-MAILER:", THeaderKind::XMailer},
    {"FROM:", THeaderKind::From},
    {"SUBJECT:", THeaderKind::Subject},
    {"ORGANIZATION:", THeaderKind::Organization},
    {"TO:", THeaderKind::To},
    {"CC:", THeaderKind::Cc},
    {"DATE:", THeaderKind::Date},
    {"DELIVERY-DATE:", THeaderKind::DeliveryDate},
    {"FROM ", THeaderKind::MboxSeparator},
    {"REPLY-TO:", THeaderKind::ReplyTo},
    {"MESSAGE-ID:", THeaderKind::MessageId},
    {"IN-REPLY-TO:", THeaderKind::InReplyTo},
    {"REFERENCES", THeaderKind::References},
    {"PRIORITY:", THeaderKind::Priority},
    {"X-PRIORITY:", THeaderKind::XPriority},
    {"X-MSMAIL-PRIORITY:", THeaderKind::XMsPriority},
    {"RETURN-PATH:", THeaderKind::ReturnPath},
    {"ENVELOPE-TO:", THeaderKind::EnvelopeTo},
    {"MIME-VERSION:", THeaderKind::MimeVersion},
    {"CONTENT-TYPE:", THeaderKind::Content},
    {"CONTENT-DESCRIPTION:", THeaderKind::Content},
    {"CONTENT-DISPOSITION:", THeaderKind::Content},
    {"CONTENT-ID:", THeaderKind::Content},
    {"CONTENT-TRANSFER-ENCODING:", THeaderKind::Content},
};

const THeaderPrefix* FindHeaderPrefix(std::string_view line) {
  if (line.empty()) return nullptr;
  const char first = UpperAscii(line.front());
  for (const THeaderPrefix& entry : kHeaderPrefixes)
    if (entry.Prefix.front() == first && StartsWithNoCase(line, entry.Prefix)) return &entry;
  return nullptr;
}

// The enumeration value named by text: its identifier ("htsOpen") or the identifier
// without its prefix ("open"), in any case; the first value when unknown.
template <class E>
E EnumFromHeaderValue(std::string_view text, size_t prefixLength) {
  const TKwEnumInfo& info = EnumInfo<E>();
  for (int i = 0; i < info.Count(); ++i) {
    const std::string_view name = info.Name(i);
    if (EqualsNoCase(text, name) || EqualsNoCase(text, name.substr(prefixLength)))
      return static_cast<E>(i);
  }
  return static_cast<E>(0);
}

// Commas inside double quotes (and backslash-escaped characters in them) do not split.
std::vector<std::string_view> SplitAddressList(std::string_view value) {
  std::vector<std::string_view> pieces;
  bool inQuotes = false;
  size_t start = 0;
  for (size_t i = 0; i < value.size(); ++i) {
    if (inQuotes && value[i] == '\\') {
      ++i;
    } else if (value[i] == '"') {
      inQuotes = !inQuotes;
    } else if (value[i] == ',' && !inQuotes) {
      pieces.push_back(value.substr(start, i - start));
      start = i + 1;
    }
  }
  if (start <= value.size()) pieces.push_back(value.substr(start));
  return pieces;
}

std::string FormatAddressList(const TKwEmailList& list) {
  std::string text;
  for (int i = 0; i < list.Count(); ++i) {
    if (i > 0) text += ", ";
    text += FormatAddressHeader(list.Items(i).Name, list.Items(i).Address);
  }
  return text;
}

// The date of an mbox separator line: "Tue Jan  1 10:00:00 2019" (GMT).
std::string AsctimeText(TDateTime gmt) {
  static constexpr std::string_view kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr std::string_view kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const TKwDateParts parts = DecodeDateTime(gmt);
  const int day = DayOfWeek(gmt);
  if (day < 1 || day > 7 || parts.Month < 1 || parts.Month > 12) return "Thu Jan  1 00:00:00 1970";
  return fmt::format("{} {} {:2} {:02}:{:02}:{:02} {}", kDays[day - 1], kMonths[parts.Month - 1],
                     parts.Day, parts.Hour, parts.Minute, parts.Second, parts.Year);
}

void WriteStringList(TKwPropertyWriter& writer, const TStringList& list) {
  writer.WriteListBegin();
  for (const std::string& s : list) writer.WriteString(s);
  writer.WriteListEnd();
}

void ReadStringList(TKwPropertyReader& reader, TStringList& list) {
  list.clear();
  reader.ReadListBegin();
  while (!reader.EndOfList()) list.push_back(reader.ReadString());
  reader.ReadListEnd();
}

void WriteAddressList(TKwPropertyWriter& writer, const TKwEmailList& list) {
  writer.WriteListBegin();
  for (int i = 0; i < list.Count(); ++i) {
    writer.WriteString(list.Items(i).Name);
    writer.WriteString(list.Items(i).Address);
  }
  writer.WriteListEnd();
}

void ReadAddressList(TKwPropertyReader& reader, TKwEmailList& list) {
  list.Clear();
  reader.ReadListBegin();
  while (!reader.EndOfList()) {
    auto address = std::make_unique<TKwEmailAddress>();
    address->Name = reader.ReadString();
    address->Address = reader.ReadString();
    list.Add(std::move(address));
  }
  reader.ReadListEnd();
}

void ReadObjectInto(TKwPropertyReader& reader, TKwPersistent& object) {
  std::vector<std::string> ignored;
  ReadObject(reader, object, ignored);
}

int32_t ClampToInt32(int64_t value) {
  if (value < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
  if (value > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(value);
}

}  // namespace

// ================================================================ unit-level routines

void ParseEmailAddress(std::string_view full, std::string& name, std::string& address) {
  static const TKwRegEx kStrictAddress(R"(\b[A-Z0-9._%+-]+@[A-Z0-9.-]+\.[A-Z]{2,4}\b)");
  static const TKwRegEx kLooseAddress(R"(\b[A-Z0-9._%+-]+@.+\.[A-Z0-9]+\b)");
  name.clear();
  address.clear();
  const std::string_view text = Trim(full);
  std::string_view found = kStrictAddress.FindText(text);
  if (found.empty()) found = kLooseAddress.FindText(text);
  address = ToLowerAscii(Trim(found));

  std::string_view part = text;
  if (!address.empty()) part = text.substr(0, FindNoCase(text, address));
  part = Trim(part.substr(0, part.find('<')));
  if (const size_t open = part.find('('); open != std::string_view::npos) {
    if (const size_t close = part.find(')', open + 1); close != std::string_view::npos)
      part = Trim(part.substr(open + 1, close - open - 1));
  }
  if (const size_t open = part.find('"'); open != std::string_view::npos) {
    if (const size_t close = part.find('"', open + 1); close != std::string_view::npos)
      part = Trim(part.substr(open + 1, close - open - 1));
  }
  name.reserve(part.size());
  for (char c : part)
    if (c != ':' && c != ';') name.push_back(c);
  // A quoted address repeated as its own name ("a@b.c" <a@b.c>) leaves a stray quote.
  const size_t first = name.find_first_not_of("\" ");
  name = first == std::string::npos ? std::string()
                                    : name.substr(first, name.find_last_not_of("\" ") - first + 1);
  if (name == address) name.clear();
}

bool IsValidEmailAddress(std::string_view text) {
  std::string name, address;
  ParseEmailAddress(text, name, address);
  return !address.empty() && address != kPlaceholderEmailAddress;
}

bool RegExMatch(const TKwRegEx& regex, std::string_view subject, std::string& match) {
  const std::string_view trimmed = Trim(subject);
  size_t start = 0, length = 0;
  const bool found = regex.Find(trimmed, start, length);
  match.assign(found ? trimmed.substr(start, length) : std::string_view());
  return found;
}

// ================================================================ addresses

std::string TKwEmailAddressRecord::Domain() const {
  const size_t at = Address.find('@');
  return at == std::string::npos ? std::string() : Address.substr(at + 1);
}

std::string TKwEmailAddressRecord::EmailAddress() const {
  return Name.empty() ? Address : fmt::format("{} <{}>", Name, Address);
}

void TKwEmailAddressRecord::SetEmailAddress(std::string_view fullAddress) {
  ParseEmailAddress(fullAddress, Name, Address);
}

TKwEmailAddress::TKwEmailAddress(std::string_view fullAddress) { SetEmailAddress(fullAddress); }

void TKwEmailAddress::Publish(TKwPublisher& publisher) {
  publisher.String("Name", Name);
  publisher.String("Address", Address);
}

void TKwEmailAddress::Clear() {
  Name.clear();
  Address.clear();
}

std::string TKwEmailAddress::Domain() const {
  const size_t at = Address.find('@');
  return at == std::string::npos ? std::string() : Address.substr(at + 1);
}

std::string TKwEmailAddress::EmailId() const {
  const size_t at = Address.find('@');
  return at == std::string::npos ? std::string() : Address.substr(0, at);
}

std::string TKwEmailAddress::EmailAddress() const {
  return Name.empty() ? Address : fmt::format("{} <{}>", Name, Address);
}

std::string TKwEmailAddress::EmailAddressHtml() const {
  return Name.empty() ? Address : Name + " &#60;" + Address + "&#62;";
}

std::string TKwEmailAddress::EmailAddressHtmlLink() const {
  if (Name.empty()) return fmt::format("<a href=\"mailto:{0}\">{0}</a>", Address);
  return fmt::format("{0} &#60;<a href=\"mailto:{1}\">{1}</a>&#62;", Name, Address);
}

bool TKwEmailAddress::Valid() const {
  return Address.find('@') != std::string::npos && Address != kPlaceholderEmailAddress;
}

void TKwEmailAddress::SetEmailAddress(std::string_view fullAddress) {
  Clear();
  ParseEmailAddress(fullAddress, Name, Address);
}

void TKwEmailAddress::UpdateEmailAddress(std::string_view newFullAddress) {
  std::string name;
  ParseEmailAddress(newFullAddress, name, Address);
  if (!name.empty()) Name = std::move(name);
}

void TKwEmailAddress::UpdateDomain(std::string_view newDomain) {
  Address = EmailId() + "@" + std::string(newDomain);
}

void TKwEmailList::Assign(const TKwPersistent& source) {
  const auto* list = dynamic_cast<const TKwEmailList*>(&source);
  if (!list) AssignError(source);
  if (list == this) return;
  Clear();
  AddEmailList(*list);
}

int TKwEmailList::Add(std::unique_ptr<TKwEmailAddress> address) {
  for (const auto& item : FItems) {
    if (item->Address != address->Address) continue;
    if (item->Name.empty() && !address->Name.empty()) item->Name = std::move(address->Name);
    return -1;
  }
  FItems.push_back(std::move(address));
  return Count() - 1;
}

int TKwEmailList::AddEmailAddress(std::string_view fullAddress) {
  return Add(std::make_unique<TKwEmailAddress>(fullAddress));
}

int TKwEmailList::AddNameAddressParts(std::string_view desc, std::string_view address) {
  return AddEmailAddress(fmt::format("{} <{}>", desc, address));
}

void TKwEmailList::AddEmailList(const TKwEmailList& list) {
  for (int i = 0, n = list.Count(); i < n; ++i) {
    auto copy = std::make_unique<TKwEmailAddress>();
    copy->Name = list.Items(i).Name;
    copy->Address = list.Items(i).Address;
    Add(std::move(copy));
  }
}

void TKwEmailList::LoadFromEmailAddressComma(std::string_view commaText) {
  Clear();
  std::string_view rest = Trim(commaText);
  while (!rest.empty()) {
    const size_t comma = rest.find(',');
    const std::string_view piece = Trim(rest.substr(0, comma));
    if (!piece.empty()) AddEmailAddress(piece);
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
  }
}

std::string TKwEmailList::Text() const {
  return JoinItems(FItems, "\r\n", [](const TKwEmailAddress& a) { return a.EmailAddress(); });
}
std::string TKwEmailList::EmailAddressComma() const {
  return JoinItems(FItems, ", ", [](const TKwEmailAddress& a) { return a.EmailAddress(); });
}
std::string TKwEmailList::AddressComma() const {
  return JoinItems(FItems, ", ", [](const TKwEmailAddress& a) { return a.Address; });
}
std::string TKwEmailList::EmailAddressHtmlComma() const {
  return JoinItems(FItems, ", ", [](const TKwEmailAddress& a) { return a.EmailAddressHtml(); });
}
std::string TKwEmailList::EmailAddressHtmlLinkComma() const {
  return JoinItems(FItems, ", ", [](const TKwEmailAddress& a) { return a.EmailAddressHtmlLink(); });
}
std::string TKwEmailList::FirstAddress() const { return FItems.empty() ? "" : FItems[0]->Address; }
std::string TKwEmailList::FirstDomain() const { return FItems.empty() ? "" : FItems[0]->Domain(); }
std::string TKwEmailList::FirstEmailAddress() const {
  return FItems.empty() ? "" : FItems[0]->EmailAddress();
}
std::string TKwEmailList::FirstNameOrAddress() const {
  return FItems.empty() ? "" : FItems[0]->NameOrAddress();
}

// ================================================================ dates

void TKwDate::Publish(TKwPublisher& publisher) { publisher.DateTime("GmtDate", GmtDate); }

TDateTime TKwDate::LocalDate() const { return GmtDate == 0 ? 0 : GmtToLocal(GmtDate); }

void TKwDate::SetLocalDate(TDateTime local) { GmtDate = local == 0 ? 0 : LocalToGmt(local); }

std::string TKwDate::RfcGmtDateTime() const { return FormatRfcDate(GmtDate); }

void TKwDate::SetRfcGmtDateTime(std::string_view rfcDate) { GmtDate = DecodeRfcDate(rfcDate, OffsetMinutes); }

void TKwDate::Assign(const TKwPersistent& source) {
  TKwPersistent::Assign(source);
  OffsetMinutes = static_cast<const TKwDate&>(source).OffsetMinutes;
}

std::string TKwDate::IsoDateTime() const { return GmtDate == 0 ? "" : DateTimeToIsoText(GmtDate, OffsetMinutes); }

// ================================================================ received chain

namespace {

// The Received patterns, compiled on first use.
struct TReceivedPatterns {
  TKwRegEx FromToBy{R"(^from.+by)"};
  TKwRegEx Ip{R"(\b(?:[0-9]{1,3}\.){3}[0-9]{1,3}\b)"};
  TKwRegEx Helo{R"(\(helo=.+\))"};
  TKwRegEx Host{R"(\b([a-z0-9]+(-[a-z0-9]+)*\.)+[a-z]{2,}\b)"};
  TKwRegEx BracketedIp{R"(\[\b(?:[0-9]{1,3}\.){3}[0-9]{1,3}\b\])"};
  TKwRegEx FromBracketedIp{R"(^from.+\[\b(?:[0-9]{1,3}\.){3}[0-9]{1,3}\b)"};
  TKwRegEx Date{R"((Sun|Mon|Tue|Wed|Thu|Fri|Sat), [0-9]{1,2} )"
                R"((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [0-9]{4} )"
                R"([0-9]{2}:[0-9]{2}:[0-9]{2} [-+][0-9]{4})"};
};

const TReceivedPatterns& ReceivedPatterns() {
  static const TReceivedPatterns patterns;
  return patterns;
}

std::string_view Match(const TKwRegEx& regex, std::string_view subject) {
  return regex.FindText(Trim(subject));
}

void EraseFirst(std::string& text, std::string_view what) {
  if (what.empty()) return;
  if (const size_t pos = text.find(what); pos != std::string::npos) text.erase(pos, what.size());
}

}  // namespace

TKwEmailReceived::TKwEmailReceived(std::string_view line) : Line(line) {
  for (char& c : Line)
    if (c == '\t') c = ' ';
  DoParseLine();
}

TKwEmailReceived::TKwEmailReceived(const TKwEmailReceived& other)
    : By(other.By), From(other.From), FromIP(other.FromIP), Line(other.Line) {
  Date.Assign(other.Date);
}

void TKwEmailReceived::DoParseLine() {
  const TReceivedPatterns& re = ReceivedPatterns();
  const std::string_view fromToBy = Match(re.FromToBy, Line);
  if (!fromToBy.empty()) {
    ParseFromPart(fromToBy);
    const size_t by = FindNoCase(Line, "by");
    if (by != std::string::npos) By = Trim(Match(re.Host, std::string_view(Line).substr(by + 2)));
  } else if (const std::string_view m = Match(re.FromBracketedIp, Line); !m.empty()) {
    FromIP = Match(re.Ip, m);
  }
  ParseDate();
}

// fromToBy: the text from the leading "from" to the last "by" of the line.
void TKwEmailReceived::ParseFromPart(std::string_view fromToBy) {
  const TReceivedPatterns& re = ReceivedPatterns();
  FromIP = Match(re.Ip, fromToBy);
  if (const std::string_view helo = Match(re.Helo, fromToBy); !helo.empty()) {
    From = TextBetween(helo, "helo=", ")");
    return;
  }
  From = Match(re.Host, fromToBy);
  if (!From.empty()) return;
  if (FromIP.empty()) {
    From = TextBetween(Line, "from", "by");
  } else if (const std::string_view bracketed = Match(re.BracketedIp, fromToBy);
             !bracketed.empty()) {
    std::string rest(fromToBy);
    EraseFirst(rest, bracketed);
    EraseFirst(rest, "()");
    From = TextBetween(rest, "from", "by");
  }
}

void TKwEmailReceived::ParseDate() {
  const size_t semicolon = Line.find(';');
  if (semicolon != std::string::npos) {
    int offset = 0;
    const TDateTime date = DecodeRfcDate(Trim(std::string_view(Line).substr(semicolon + 1)), offset);
    if (date > 0) {
      Date.GmtDate = date;
      Date.OffsetMinutes = offset;
      return;
    }
  }
  const std::string_view found = Match(ReceivedPatterns().Date, Line);
  if (!found.empty()) Date.GmtDate = std::max<TDateTime>(0, DecodeRfcDate(found, Date.OffsetMinutes));
}

int TKwEmailReceivedList::Add(std::unique_ptr<TKwEmailReceived> received) {
  FItems.push_back(std::move(received));
  return Count() - 1;
}

int TKwEmailReceivedList::AddReceived(std::string_view line) {
  return Add(std::make_unique<TKwEmailReceived>(line));
}

// ================================================================ headers

void TKwHeaders::Publish(TKwPublisher& publisher) {
  publisher.Object("CCList", CCList);
  publisher.Integer("CharsetCode", CharsetCode);
  publisher.Strings("ContentHeaders", ContentHeaders);
  publisher.Strings("CustomHeaders", CustomHeaders);
  publisher.Object("SubmitDate", SubmitDate);
  publisher.Object("DeliveryDate", DeliveryDate);
  publisher.Object("EnvelopeTo", EnvelopeTo);
  publisher.Object("From", From);
  publisher.String("FromIP", FromIP);
  publisher.String("InReplyTo", InReplyTo);
  publisher.Strings("Lines", Lines);
  publisher.String("MessageID", MessageID);
  publisher.String("Organization", Organization);
  publisher.Enum("Priority", Priority);
  publisher.String("References", References);
  publisher.Object("ReplyTo", ReplyTo);
  publisher.Object("ReturnPath", ReturnPath);
  publisher.String("Subject", Subject);
  publisher.Object("ToList", ToList);
  publisher.Enum("XHDStatus", XHDStatus);
  publisher.Enum("XHDType", XHDType);
  publisher.String("XMailer", XMailer);
}

void TKwHeaders::Assign(const TKwPersistent& source) {
  const auto* headers = dynamic_cast<const TKwHeaders*>(&source);
  if (!headers) AssignError(source);
  if (headers == this) return;
  TKwPersistent::Assign(source);
  Charset = headers->Charset;
  ReceivedList.Clear();
  for (int i = 0; i < headers->ReceivedList.Count(); ++i)
    ReceivedList.Add(std::make_unique<TKwEmailReceived>(headers->ReceivedList.Items(i)));
  xmspri = headers->xmspri;
  xpri = headers->xpri;
  pri = headers->pri;
}

void TKwHeaders::Clear() {
  ContentHeaders.clear();
  CustomHeaders.clear();
  CCList.Clear();
  From.Clear();
  Lines.clear();
  ReplyTo.Clear();
  ToList.Clear();
  ReceivedList.Clear();
  SubmitDate.Clear();
  DeliveryDate.Clear();
  for (std::string* text :
       {&MessageID, &References, &InReplyTo, &Organization, &Subject, &XMailer, &FromIP})
    text->clear();
  Priority = xmspri = xpri = pri = mpriUnknown;
  XHDStatus = htsNone;
  XHDType = httNone;
}

void TKwHeaders::LoadHeaderLinesFromMimeBody(TStringList& mimeLines) {
  size_t leading = 0;
  while (leading < mimeLines.size() && IsBlankLine(mimeLines[leading])) ++leading;
  mimeLines.erase(mimeLines.begin(), mimeLines.begin() + static_cast<ptrdiff_t>(leading));
  WalkHeaders(mimeLines, [&](size_t first, size_t end) {
    Lines.push_back(UnfoldLines(mimeLines, first, end));
  });
}

void TKwHeaders::LoadHeaderLinesFromMimeText(std::string_view mimeText) {
  std::vector<std::string_view> headerLines;
  for (size_t start = 0; start < mimeText.size();) {
    size_t end = mimeText.find("\r\n", start);
    if (end == std::string_view::npos) end = mimeText.size();
    const std::string_view line = mimeText.substr(start, end - start);
    if (IsBlankLine(line) && !headerLines.empty()) break;
    if (!IsBlankLine(line)) headerLines.push_back(line);
    start = end + 2;
  }
  WalkHeaders(headerLines, [&](size_t first, size_t end) { Lines.push_back(UnfoldLines(headerLines, first, end)); });
}

void TKwHeaders::LoadHeadersFromString(std::string_view headerText) {
  Clear();
  Lines = SplitLines(headerText);
  size_t leading = 0;
  while (leading < Lines.size() && IsBlankLine(Lines[leading])) ++leading;
  Lines.erase(Lines.begin(), Lines.begin() + static_cast<ptrdiff_t>(leading));
  DecodeHeaders();
}

void TKwHeaders::DecodeHeaders() {
  pri = xpri = xmspri = mpriUnknown;
  WalkHeaders(Lines, [&](size_t first, size_t end) {
    std::string header = UnfoldLines(Lines, first, end);
    if (!DecodeHeader(header)) CustomHeaders.push_back(std::move(header));
  });
  DecodeReceivedLines();
  FillDatesFromReceived();
  if (pri != mpriUnknown) {
    Priority = pri;
  } else if (xpri != mpriUnknown) {
    Priority = xpri;
  } else if (xmspri != mpriUnknown) {
    Priority = xmspri;
  }
}

bool TKwHeaders::DecodeHeader(std::string_view line) {
  const THeaderPrefix* prefix = FindHeaderPrefix(line);
  if (!prefix) return false;
  const std::string_view value = HeaderValue(line);
  switch (prefix->Kind) {
    case THeaderKind::HdStatus:
      XHDStatus = EnumFromHeaderValue<THelpdeskTicketStatus>(value, 3);
      break;
    case THeaderKind::HdType:
      XHDType = EnumFromHeaderValue<THelpdeskTicketType>(value, 3);
      break;
    case THeaderKind::XMailer:
      XMailer = RawText(value);
      break;
    case THeaderKind::From:
      From.SetEmailAddress(DecodeText(value));
      break;
    case THeaderKind::Subject:
      Subject = DecodeText(value);
      break;
    case THeaderKind::Organization:
      Organization = DecodeText(value);
      break;
    case THeaderKind::To:
      DecodeAddressList(value, ToList);
      break;
    case THeaderKind::Cc:
      DecodeAddressList(value, CCList);
      break;
    case THeaderKind::Date:
      SubmitDate.GmtDate = DecodeRfcDate(value, SubmitDate.OffsetMinutes);
      break;
    case THeaderKind::ReplyTo:
      ReplyTo.SetEmailAddress(DecodeText(value));
      break;
    case THeaderKind::MessageId:
      MessageID = RawText(value);
      break;
    case THeaderKind::InReplyTo:
      InReplyTo = RawText(InsideFirstAngleBrackets(value));
      break;
    case THeaderKind::References:
      References = RawText(InsideFirstAngleBrackets(value));
      break;
    case THeaderKind::Priority:
      pri = ParsePriority(line);
      break;
    case THeaderKind::XPriority:
      xpri = ParsePriority(line);
      break;
    case THeaderKind::XMsPriority:
      xmspri = ParsePriority(line);
      break;
    case THeaderKind::ReturnPath:
      ReturnPath.SetEmailAddress(DecodeText(value));
      break;
    case THeaderKind::EnvelopeTo:
      EnvelopeTo.SetEmailAddress(DecodeText(value));
      break;
    case THeaderKind::Content:
      ContentHeaders.push_back(ToUpperAscii(line));
      break;
    // The delivery date comes from the received chain, never from Delivery-Date.
    case THeaderKind::DeliveryDate:
    case THeaderKind::MboxSeparator:
    case THeaderKind::MimeVersion:
      break;
  }
  return true;
}

void TKwHeaders::DecodeReceivedLines() {
  // Headers, not raw lines, so that a folded Received keeps its "by" part and its date.
  std::vector<std::string> values;
  WalkHeaders(Lines, [&](size_t first, size_t end) {
    if (StartsWithNoCase(Trim(Lines[first]), "RECEIVED:"))
      values.emplace_back(HeaderValue(UnfoldLines(Lines, first, end)));
  });
  ReceivedList.Clear();
  for (auto value = values.rbegin(); value != values.rend(); ++value)
    ReceivedList.AddReceived(*value);
  if (ReceivedList.Count() > 0) FromIP = ReceivedList.Items(0).FromIP;
}

void TKwHeaders::FillDatesFromReceived() {
  if (DeliveryDate.GmtDate == 0 && ReceivedList.Count() > 0)
    DeliveryDate.Assign(ReceivedList.Items(ReceivedList.Count() - 1).Date);
  if (SubmitDate.GmtDate == 0 && DeliveryDate.GmtDate != 0)
    SubmitDate.Assign(DeliveryDate);
  if (DeliveryDate.GmtDate == 0 && SubmitDate.GmtDate != 0)
    DeliveryDate.Assign(SubmitDate);
}

TMessagePriority TKwHeaders::ParsePriority(std::string_view line) {
  std::string_view word = HeaderValue(line);
  word = word.substr(0, word.find_first_of(" \t"));
  int number = 0;
  const char* begin = word.data() + (!word.empty() && word.front() == '+' ? 1 : 0);
  const auto [end, error] = std::from_chars(begin, word.data() + word.size(), number);
  if (!word.empty() && error == std::errc() && end == word.data() + word.size()) {
    if (number == 1 || number == 2) return mpriHigh;
    if (number == 3) return mpriNormal;
    if (number == 4 || number == 5) return mpriLow;
    return mpriUnknown;
  }
  const std::string lower = ToLowerAscii(word);
  if (lower == "urgent" || lower == "high" || lower == "highest") return mpriHigh;
  if (lower == "normal" || lower == "medium") return mpriNormal;
  if (lower == "low" || lower == "lowest" || lower == "no-priority" || lower == "non-urgent")
    return mpriLow;
  return mpriUnknown;
}

void TKwHeaders::DecodeAddressList(std::string_view value, TKwEmailList& list) const {
  for (std::string_view piece : SplitAddressList(value)) {
    const std::string decoded = DecodeText(Trim(piece));
    if (!decoded.empty()) list.AddEmailAddress(decoded);
  }
}

std::string TKwHeaders::DecodeText(std::string_view value) const {
  return DecodeHeaderText(value, Charset);
}

std::string TKwHeaders::RawText(std::string_view value) const {
  return IsValidUtf8(value) ? std::string(value) : ConvertToUtf8(value, Charset);
}

void TKwHeaders::EncodeHeaders(bool mboxFormat) {
  Lines.clear();
  if (mboxFormat) {
    const std::string& sender = !ReturnPath.Address.empty() ? ReturnPath.Address : From.Address;
    const TDateTime date = DeliveryDate.GmtDate != 0 ? DeliveryDate.GmtDate : SubmitDate.GmtDate;
    Lines.push_back("From " + (sender.empty() ? std::string("MAILER-DAEMON") : sender) + " " +
                    AsctimeText(date != 0 ? date : kUnixEpochDateTime));
  }
  if (!ReturnPath.Address.empty()) Lines.push_back("Return-Path: <" + ReturnPath.Address + ">");
  if (!EnvelopeTo.Address.empty()) Lines.push_back("Envelope-To: " + EnvelopeTo.Address);
  // Received headers stay on top, in their order, as relays added them.
  for (const std::string& custom : CustomHeaders)
    if (StartsWithNoCase(custom, "RECEIVED:")) Lines.push_back(custom);
  WriteDerivedHeaders();
  for (const std::string& custom : CustomHeaders)
    if (!StartsWithNoCase(custom, "RECEIVED:")) Lines.push_back(custom);
}

void TKwHeaders::WriteDerivedHeaders() {
  const auto add = [this](std::string_view name, const std::string& value) {
    if (!value.empty()) Lines.push_back(std::string(name) + ": " + value);
  };
  add("Date", SubmitDate.RfcGmtDateTime());
  add("From", FormatAddressHeader(From.Name, From.Address));
  add("Reply-To", FormatAddressHeader(ReplyTo.Name, ReplyTo.Address));
  add("To", FormatAddressList(ToList));
  add("Cc", FormatAddressList(CCList));
  add("Subject", EncodeHeaderText(Subject));
  add("Message-ID", MessageID);
  add("In-Reply-To", InReplyTo.empty() ? "" : "<" + InReplyTo + ">");
  add("References", References.empty() ? "" : "<" + References + ">");
  add("Organization", EncodeHeaderText(Organization));
  add("X-Mailer", XMailer);
  static constexpr std::string_view kPriorityTexts[] = {"", "5 (Lowest)", "3 (Normal)",
                                                        "1 (Highest)"};
  add("X-Priority", std::string(kPriorityTexts[Priority]));
  if (XHDStatus != htsNone) add("X-HD-STATUS", EnumToString(XHDStatus));
  if (XHDType != httNone) add("X-HD-TYPE", EnumToString(XHDType));
}

void TKwHeaders::WriteData(TKwPropertyWriter& writer) {
  writer.WriteListBegin();
  WriteAddressList(writer, CCList);
  writer.WriteInteger(CharsetCode);
  WriteStringList(writer, ContentHeaders);
  WriteStringList(writer, CustomHeaders);
  WriteObject(writer, SubmitDate);
  WriteObject(writer, DeliveryDate);
  WriteObject(writer, EnvelopeTo);
  WriteObject(writer, From);
  WriteStringList(writer, Lines);
  writer.WriteString(MessageID);
  writer.WriteString(Organization);
  writer.WriteInteger(Priority);
  WriteObject(writer, ReplyTo);
  WriteObject(writer, ReturnPath);
  writer.WriteString(Subject);
  WriteAddressList(writer, ToList);
  writer.WriteString(XMailer);
  writer.WriteListEnd();
}

void TKwHeaders::ReadData(TKwPropertyReader& reader) {
  Clear();
  EnvelopeTo.Clear();
  ReturnPath.Clear();
  reader.ReadListBegin();
  ReadAddressList(reader, CCList);
  CharsetCode = ClampToInt32(reader.ReadInteger());
  ReadStringList(reader, ContentHeaders);
  ReadStringList(reader, CustomHeaders);
  ReadObjectInto(reader, SubmitDate);
  ReadObjectInto(reader, DeliveryDate);
  ReadObjectInto(reader, EnvelopeTo);
  ReadObjectInto(reader, From);
  ReadStringList(reader, Lines);
  MessageID = reader.ReadString();
  Organization = reader.ReadString();
  const int64_t priority = reader.ReadInteger();
  Priority = priority >= 0 && priority < TMessagePriorityCount
                 ? static_cast<TMessagePriority>(priority)
                 : mpriUnknown;
  ReadObjectInto(reader, ReplyTo);
  ReadObjectInto(reader, ReturnPath);
  Subject = reader.ReadString();
  ReadAddressList(reader, ToList);
  XMailer = reader.ReadString();
  reader.ReadListEnd();
}

std::string TKwHeaders::RecipientsComma() const {
  const std::string to = ToList.EmailAddressComma(), cc = CCList.EmailAddressComma();
  return to.empty() || cc.empty() ? to + cc : to + "," + cc;
}

std::string TKwHeaders::GetUniqueId() const {
  return BuildUniqueId(MessageID, From.Address, SubmitDate.GmtDate);
}

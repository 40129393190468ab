#pragma once
// The header section of a message as typed values: addresses, dates, the received chain,
// priority, ids and the raw header lines; and the e-mail address parser that the whole
// engine uses.
//
// Text is UTF-8. Header values are decoded from RFC 2047 words; raw 8-bit bytes are kept
// when they are valid UTF-8, else converted from the message's charset when one is set,
// else read as Latin-1, so every decoded value is valid UTF-8. Dates are held in GMT; a
// zero date means "none". Nothing here throws on malformed mail.
// Objects are used from one thread; the unit-level routines are safe from any thread.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uKwPersistent.h"
#include "uKwTypes.h"

class TKwPropertyReader;
class TKwPropertyWriter;
class TKwRegEx;

// persisted: never reorder (stored as its ordinal)
#define KW_MESSAGE_PRIORITY(X) X(mpriUnknown) X(mpriLow) X(mpriNormal) X(mpriHigh)
KW_ENUM(TMessagePriority, KW_MESSAGE_PRIORITY);
static_assert(TMessagePriorityCount == 4);

// The address that stands for "no address"; never valid.
inline constexpr std::string_view kPlaceholderEmailAddress = "unknown@unknown.invalid";

// ---- Unit-level routines ----
// Splits a full address text ("Name <a@b.c>", "\"Doe, J\" <a@b.c>") into a display name
// and a lower-case address. Only text before the address can give the name (a comment
// there wins over it). Without an address-like part, address is empty and name is the
// cleaned text. Never fails.
void ParseEmailAddress(std::string_view full, std::string& name, std::string& address);
// True when the text holds an address other than kPlaceholderEmailAddress.
bool IsValidEmailAddress(std::string_view text);
// First match of `regex` in `subject` trimmed of blanks; false and empty when none.
bool RegExMatch(const TKwRegEx& regex, std::string_view subject, std::string& match);

// A display name and an address as a plain value.
struct TKwEmailAddressRecord {
  std::string Name, Address;

  std::string Domain() const;
  std::string EmailAddress() const;
  const std::string& NameOrAddress() const { return Name.empty() ? Address : Name; }
  void SetEmailAddress(std::string_view fullAddress);
};

// One address: a display name and a lower-case address. Persistent (Name, Address).
class TKwEmailAddress : public TKwPersistent {
 public:
  TKwEmailAddress() = default;
  explicit TKwEmailAddress(std::string_view fullAddress);
  std::string_view ClassName() const override { return "TKwEmailAddress"; }
  void Publish(TKwPublisher& publisher) override;
  void Clear();

  std::string Domain() const;        // after the first "@"
  std::string EmailId() const;       // before the first "@"
  std::string EmailAddress() const;  // "Name <address>" or the address
  std::string EmailAddressHtml() const;
  std::string EmailAddressHtmlLink() const;
  const std::string& NameOrAddress() const { return Name.empty() ? Address : Name; }
  bool Valid() const;
  // Clears, then parses the full text into both parts.
  void SetEmailAddress(std::string_view fullAddress);
  // Address always replaced; Name only by a non-empty parsed name.
  void UpdateEmailAddress(std::string_view newFullAddress);
  void UpdateDomain(std::string_view newDomain);

  std::string Name;
  std::string Address;
};

// An owning, ordered list of addresses without duplicate address texts.
class TKwEmailList : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TKwEmailList"; }
  void Publish(TKwPublisher&) override {}
  void Assign(const TKwPersistent& source) override;
  void Clear() { FItems.clear(); }

  int Count() const { return static_cast<int>(FItems.size()); }
  TKwEmailAddress& Items(int index) { return *FItems.at(index); }
  const TKwEmailAddress& Items(int index) const { return *FItems.at(index); }

  // The index of the appended entry, or -1 when an entry with the same Address text
  // exists (that entry takes the new Name if it had none; the new object is dropped).
  int Add(std::unique_ptr<TKwEmailAddress> address);
  int AddEmailAddress(std::string_view fullAddress);
  int AddNameAddressParts(std::string_view desc, std::string_view address);
  void AddEmailList(const TKwEmailList& list);
  // Clears, then adds every piece between commas (quotes are not respected).
  void LoadFromEmailAddressComma(std::string_view commaText);

  std::string Text() const;  // EmailAddress of each entry, CR LF between
  std::string EmailAddressComma() const;
  std::string AddressComma() const;
  std::string EmailAddressHtmlComma() const;
  std::string EmailAddressHtmlLinkComma() const;
  std::string FirstAddress() const;
  std::string FirstDomain() const;
  std::string FirstEmailAddress() const;
  std::string FirstNameOrAddress() const;

 private:
  std::vector<std::unique_ptr<TKwEmailAddress>> FItems;
};

// One date held in GMT. Persistent (GmtDate).
class TKwDate : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TKwDate"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;  // the offset too
  void Clear() {
    GmtDate = 0;
    OffsetMinutes = 0;
  }

  TDateTime LocalDate() const;  // 0 stays 0
  void SetLocalDate(TDateTime local);
  std::string RfcGmtDateTime() const;  // "Tue, 01 Jan 2019 10:00:00 +0000"; "" for none
  void SetRfcGmtDateTime(std::string_view rfcDate);  // 0 when unparseable
  // ISO 8601 in the zone the date was written in, "2024-03-05T17:45:00+01:00"; "" for none.
  std::string IsoDateTime() const;

  TDateTime GmtDate = 0;
  // Minutes east of GMT of the header the date was read from. Not published: the stored
  // message has no place for it, so a date read back from storage is shown in GMT.
  int OffsetMinutes = 0;
};

// One Received header, parsed when created.
class TKwEmailReceived {
 public:
  explicit TKwEmailReceived(std::string_view line);
  TKwEmailReceived(const TKwEmailReceived& other);
  TKwEmailReceived& operator=(const TKwEmailReceived&) = delete;

  std::string By;      // the receiving host
  TKwDate Date;        // 0 when no date could be read
  std::string From;    // the sending host as named in the header
  std::string FromIP;  // IPv4 only
  std::string Line;    // the value, tabs replaced by blanks

 private:
  void DoParseLine();
  void ParseFromPart(std::string_view fromToBy);
  void ParseDate();
};

// Received headers from the first relay (index 0) to the final delivery (last).
class TKwEmailReceivedList {
 public:
  int Add(std::unique_ptr<TKwEmailReceived> received);
  int AddReceived(std::string_view line);
  void Clear() { FItems.clear(); }
  int Count() const { return static_cast<int>(FItems.size()); }
  TKwEmailReceived& Items(int index) { return *FItems.at(index); }
  const TKwEmailReceived& Items(int index) const { return *FItems.at(index); }

 private:
  std::vector<std::unique_ptr<TKwEmailReceived>> FItems;
};

// The decoded header section of one message. Owns every list and value object; reused
// message after message (see Clear for what carries over).
class TKwHeaders : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TKwHeaders"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;
  // Leaves ReturnPath, EnvelopeTo, CharsetCode and Charset as they are: a message
  // without those headers keeps the values of the one decoded before it.
  void Clear();

  // Drops leading blank lines from mimeLines (changing it), then adds each unfolded
  // header to Lines up to the blank line before the body.
  void LoadHeaderLinesFromMimeBody(TStringList& mimeLines);
  // The same for a message text whose lines end in CR LF, which stays as it is.
  void LoadHeaderLinesFromMimeText(std::string_view mimeText);
  // Clear, Lines := the text's lines (leading blank ones dropped), DecodeHeaders.
  void LoadHeadersFromString(std::string_view headerText);
  void DecodeHeaders();
  // False when the header is not one of the known ones.
  bool DecodeHeader(std::string_view line);
  void DecodeReceivedLines();
  static TMessagePriority ParsePriority(std::string_view line);
  // Rebuilds Lines from the fields (content headers excepted: the MIME writer adds its
  // own), with an mbox "From " separator line first when mboxFormat.
  void EncodeHeaders(bool mboxFormat);

  // The stored form inside the compressed message. ReadData throws EReadError on a
  // broken stream; the values not stored come back empty.
  void WriteData(TKwPropertyWriter& writer);
  void ReadData(TKwPropertyReader& reader);

  std::string GetUniqueId() const;
  // Every recipient (To, then Cc) as the mail filter reads them: addresses joined by ",".
  std::string RecipientsComma() const;
  std::string UniqueId() const { return GetUniqueId(); }

  TKwEmailList CCList;
  int32_t CharsetCode = 0;  // the MIME layer's charset enumeration, as an ordinal
  std::string Charset;      // its MIME name ("windows-1252"); raw 8-bit text is read in it
  TStringList ContentHeaders;
  TStringList CustomHeaders;
  TKwDate SubmitDate;
  TKwDate DeliveryDate;
  TKwEmailReceivedList ReceivedList;
  TKwEmailAddress EnvelopeTo;
  TKwEmailAddress From;
  std::string FromIP;
  std::string InReplyTo;
  TStringList Lines;
  std::string MessageID;
  std::string Organization;
  TMessagePriority Priority = mpriUnknown;
  std::string References;
  TKwEmailAddress ReplyTo;
  TKwEmailAddress ReturnPath;
  std::string Subject;
  TKwEmailList ToList;
  THelpdeskTicketStatus XHDStatus = htsNone;
  THelpdeskTicketType XHDType = httNone;
  std::string XMailer;
  TMessagePriority xmspri = mpriUnknown;
  TMessagePriority xpri = mpriUnknown;
  TMessagePriority pri = mpriUnknown;  // from a "Priority:" header

 private:
  void DecodeAddressList(std::string_view value, TKwEmailList& list) const;
  std::string DecodeText(std::string_view value) const;  // RFC 2047 and raw 8-bit
  std::string RawText(std::string_view value) const;     // raw 8-bit only
  void FillDatesFromReceived();
  void WriteDerivedHeaders();
};

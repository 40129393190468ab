#include "uKwHeaders.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "uKwDateTime.h"
#include "uKwGMime.h"
#include "uKwRegEx.h"
#include "uKwStream.h"

namespace {

std::unique_ptr<TKwHeaders> Decode(std::string_view text, std::string_view charset = {}) {
  auto headers = std::make_unique<TKwHeaders>();
  headers->Charset = charset;
  headers->LoadHeadersFromString(text);
  return headers;
}

// Dates compared to the second: the decoder and EncodeDateTime may differ in the last bit.
int64_t Gmt(int y, int mo, int d, int h, int mi, int s) {
  return DateTimeToUnix(EncodeDateTime(y, mo, d, h, mi, s));
}
int64_t Seconds(const TKwDate& date) { return DateTimeToUnix(date.GmtDate); }

// Every decoded value that leaves the unit must be valid UTF-8.
void ExpectValidUtf8Fields(const TKwHeaders& h, const std::string& context) {
  for (const std::string* text : {&h.Subject, &h.Organization, &h.From.Name, &h.From.Address,
                                  &h.MessageID, &h.XMailer, &h.References, &h.InReplyTo})
    EXPECT_TRUE(IsValidUtf8(*text)) << context;
  for (int i = 0; i < h.ToList.Count(); ++i)
    EXPECT_TRUE(IsValidUtf8(h.ToList.Items(i).Name)) << context;
}

// ---------------------------------------------------------------- address parser

struct TAddressCase {
  const char* Full;
  const char* Name;
  const char* Address;
  const char* Reason;
};

const TAddressCase kAddressCases[] = {
    {R"("Doe, John" <JOHN@Example.org>)", "Doe, John", "john@example.org",
     "quoted name with a comma, upper-case address"},
    {"John (Sales) <j@example.com>", "Sales", "j@example.com",
     "a comment in the name wins over the name"},
    {"j@example.com (John Smith)", "", "j@example.com",
     "a comment after the address is not taken as the name"},
    {"<j@example.com>", "", "j@example.com", "angle brackets without a name"},
    {"j@example.com", "", "j@example.com", "bare address"},
    {R"("j@example.com" <j@example.com>)", "", "j@example.com",
     "address repeated as its own quoted name"},
    {"Undisclosed recipients:;", "Undisclosed recipients", "", "empty group syntax"},
    {"Team: ann@example.com;", "Team", "ann@example.com", "group with one member"},
    {"no address at all", "no address at all", "", "garbage keeps the text as name"},
    {"root@localhost", "root@localhost", "", "no dot in the domain: not an address"},
    {"Curator <a@gallery.museum>", "Curator", "a@gallery.museum",
     "long top-level domain found by the looser pattern"},
    {"Jörg Müller <jm@example.de>", "Jörg Müller", "jm@example.de", "UTF-8 name"},
    {R"("O'Brien; Pat" <pat@example.ie>)", "O'Brien Pat", "pat@example.ie",
     "semicolons are dropped from names"},
    {"  John Doe   <john.doe+tag@sub.example.co.uk>  ", "John Doe",
     "john.doe+tag@sub.example.co.uk", "blanks and plus tag"},
    {"<>", "", "", "null reverse path"},
    {"", "", "", "empty"},
    {"Broken <jo\xff@example.com>", "Broken", "", "invalid UTF-8 inside the local part"},
};

TEST(ParseEmailAddressTest, SplitsRealWorldAddressTexts) {
  for (const TAddressCase& c : kAddressCases) {
    std::string name, address;
    ParseEmailAddress(c.Full, name, address);
    EXPECT_EQ(name, c.Name) << c.Reason;
    EXPECT_EQ(address, c.Address) << c.Reason;
  }
}

TEST(ParseEmailAddressTest, EveryTruncationGivesALowerCaseAddressFromTheInput) {
  for (const TAddressCase& c : kAddressCases) {
    const std::string full = c.Full;
    for (size_t n = 0; n <= full.size(); ++n) {
      std::string name, address;
      ParseEmailAddress(full.substr(0, n), name, address);
      std::string lower = full;
      for (char& ch : lower) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
      EXPECT_NE(lower.find(address), std::string::npos) << c.Reason << " cut at " << n;
    }
  }
}

TEST(ParseEmailAddressTest, PlaceholderAndGarbageAreNotValidAddresses) {
  EXPECT_TRUE(IsValidEmailAddress("Ann <ann@example.com>"));
  EXPECT_FALSE(IsValidEmailAddress(kPlaceholderEmailAddress));
  EXPECT_FALSE(IsValidEmailAddress("Ann"));
  EXPECT_FALSE(TKwEmailAddress(std::string(kPlaceholderEmailAddress)).Valid());
}

// ---------------------------------------------------------------- address objects

TEST(TKwEmailAddressTest, UpdatesKeepTheNameUnlessANewOneIsGiven) {
  TKwEmailAddress a("Ann <ann@example.com>");
  a.UpdateEmailAddress("ann@example.org");
  EXPECT_EQ(a.EmailAddress(), "Ann <ann@example.org>");
  a.UpdateDomain("example.net");
  EXPECT_EQ(a.EmailAddressHtmlLink(),
            "Ann &#60;<a href=\"mailto:ann@example.net\">ann@example.net</a>&#62;");
  a.SetEmailAddress("bob@example.com");
  EXPECT_EQ(a.NameOrAddress(), "bob@example.com");
}

TEST(TKwEmailListTest, KeepsOneEntryPerAddressAndTakesTheNameInEitherOrder) {
  for (bool namedFirst : {false, true}) {
    TKwEmailList list;
    list.AddEmailAddress(namedFirst ? "Ann <a@example.com>" : "a@example.com");
    EXPECT_EQ(list.AddEmailAddress(namedFirst ? "a@example.com" : "Ann <a@example.com>"), -1);
    ASSERT_EQ(list.Count(), 1);
    EXPECT_EQ(list.Items(0).Name, "Ann");
  }
}

TEST(TKwEmailListTest, CommaLoadingIgnoresQuotesButToHeadersRespectThem) {
  const std::string text = R"("Doe, John" <JOHN@Example.org>, b@example.net)";
  TKwEmailList list;
  list.LoadFromEmailAddressComma(text);
  EXPECT_EQ(list.Count(), 3);

  const auto h = Decode("To: " + text + "\r\n");
  ASSERT_EQ(h->ToList.Count(), 2);
  EXPECT_EQ(h->ToList.Items(0).Name, "Doe, John");
  EXPECT_EQ(h->ToList.Items(0).Address, "john@example.org");
  EXPECT_EQ(h->ToList.EmailAddressComma(), "Doe, John <john@example.org>, b@example.net");
  EXPECT_EQ(h->ToList.Text(), "Doe, John <john@example.org>\r\nb@example.net");
}

// ---------------------------------------------------------------- odd header values

struct THeaderCase {
  const char* Header;
  std::function<std::string(const TKwHeaders&)> Field;
  const char* Expected;
  const char* Reason;
};

std::string SubjectOf(const TKwHeaders& h) { return h.Subject; }
std::string FromNameOf(const TKwHeaders& h) { return h.From.Name; }
std::string SubmitOf(const TKwHeaders& h) { return h.SubmitDate.RfcGmtDateTime(); }

const THeaderCase kHeaderCases[] = {
    {"Subject: =?utf-8?B?SGVsbG8gV29ybGQ=?=", SubjectOf, "Hello World", "base64 word"},
    {"Subject: =?iso-8859-1?Q?Caf=E9_cr=E8me?=", SubjectOf, "Café crème",
     "Q word, underscore is a blank"},
    {"Subject: =?windows-1251?B?z/Do4uXy?=", SubjectOf, "Привет", "Cyrillic code page"},
    {"Subject: =?koi8-r?B?8NLJ18XU?=", SubjectOf, "Привет", "KOI8-R"},
    {"Subject: =?ISO-2022-JP?B?GyRCJDMkcyRLJEEkTxsoQg==?=", SubjectOf, "こんにちは",
     "stateful Japanese encoding"},
    {"Subject: =?gb2312?B?1tDOxNPKvP4=?=", SubjectOf, "中文邮件", "simplified Chinese"},
    {"Subject: =?euc-kr?B?vsiz58fPvLy/5A==?=", SubjectOf, "안녕하세요", "Korean"},
    {"Subject: =?iso-8859-7?B?yuHr5+zd8eE=?=", SubjectOf, "Καλημέρα", "Greek"},
    {"Subject: =?utf-8?q?split_?= =?utf-8?q?words?=", SubjectOf, "split words",
     "blank between adjacent words dropped"},
    {"Subject: Re: =?UTF-8?Q?f=C3=BCr?= dich", SubjectOf, "Re: für dich",
     "word between plain text"},
    {"Subject: =?utf-8?B?!!!bad?=", SubjectOf, "", "bad base64 decodes to nothing"},
    {"Subject: =?x-unknown?Q?abc?=", SubjectOf, "abc", "unknown charset"},
    {"Subject: =?utf-8?Q?unterminated", SubjectOf, "=?utf-8?Q?unterminated",
     "unterminated word stays as text"},
    {"Subject: caf\xe9", SubjectOf, "café", "raw Latin-1 byte"},
    {"Subject: caf\xc3\xa9", SubjectOf, "café", "raw UTF-8 kept"},
    {"Subject: folded\r\n  over\r\n\ttwo lines", SubjectOf, "folded  over\ttwo lines",
     "folding blanks kept"},
    {"subject:no blank", SubjectOf, "no blank", "lower-case name without blank"},
    {"Subject:", SubjectOf, "", "empty value"},
    {"From: =?utf-8?Q?J=C3=B6rg?= <j@example.de>", FromNameOf, "Jörg", "encoded display name"},
    {"From: \"=?utf-8?Q?J=C3=B6rg?=\" <j@example.de>", FromNameOf, "Jörg",
     "encoded word inside quotes"},
    {"From: =?utf-8?B?RG9lLCBKb2hu?= <j@example.org>", FromNameOf, "Doe, John", "encoded comma"},
    {"Date: Tue, 1 Jan 2019 10:00:00 +0100", SubmitOf, "Tue, 01 Jan 2019 09:00:00 +0000",
     "zone offset"},
    {"Date: 1 Jan 2019 10:00:00 GMT", SubmitOf, "Tue, 01 Jan 2019 10:00:00 +0000", "no weekday"},
    {"Date: Tue, 1 Jan 19 10:00:00 EST", SubmitOf, "Tue, 01 Jan 2019 15:00:00 +0000",
     "two-digit year, named zone"},
    {"Date: Tue, 31 Feb 2019 10:00:00 +0000", SubmitOf, "", "no such day"},
    {"Date: yesterday", SubmitOf, "", "not a date"},
    {"Message-ID: <abc@example.com>", [](const TKwHeaders& h) { return h.MessageID; },
     "<abc@example.com>", "brackets kept"},
    {"References: <a@x> <b@y>", [](const TKwHeaders& h) { return h.References; }, "a@x",
     "only the first id"},
    {"In-Reply-To: Your message <c@z> of Monday", [](const TKwHeaders& h) { return h.InReplyTo; },
     "c@z", "id inside prose"},
    {"X-Mailer: Mailer\xa0"
     "5",
     [](const TKwHeaders& h) { return h.XMailer; },
     "Mailer\xc2\xa0"
     "5",
     "raw byte in an undecoded header"},
    {"Content-Type: text/plain; charset=utf-8",
     [](const TKwHeaders& h) { return h.ContentHeaders.at(0); },
     "CONTENT-TYPE: TEXT/PLAIN; CHARSET=UTF-8", "content headers upper-cased"},
    {"X-HD-STATUS: Open", [](const TKwHeaders& h) { return EnumToString(h.XHDStatus); }, "htsOpen",
     "helpdesk status by name"},
    {"X-HD-TYPE: httChat", [](const TKwHeaders& h) { return EnumToString(h.XHDType); }, "httChat",
     "helpdesk type by identifier"},
    {"Importance: high",
     [](const TKwHeaders& h) { return EnumToString(h.Priority) + "|" + h.CustomHeaders.at(0); },
     "mpriUnknown|Importance: high", "Importance is not a priority header"},
};

TEST(TKwHeadersTest, DecodesOddRealWorldHeaderValues) {
  for (const THeaderCase& c : kHeaderCases) {
    const auto h = Decode(std::string(c.Header) + "\r\n");
    EXPECT_EQ(c.Field(*h), c.Expected) << c.Reason;
    ExpectValidUtf8Fields(*h, c.Reason);
  }
}

TEST(TKwHeadersTest, EveryTruncatedHeaderDecodesToValidText) {
  for (const THeaderCase& c : kHeaderCases) {
    const std::string header = c.Header;
    for (size_t n = 0; n <= header.size(); ++n) {
      const auto h = Decode(header.substr(0, n));
      ExpectValidUtf8Fields(*h, std::string(c.Reason) + " cut at " + std::to_string(n));
    }
  }
}

TEST(TKwHeadersTest, RawBytesAreReadInTheMessageCharsetWhenSet) {
  EXPECT_EQ(Decode("Subject: \x93quoted\x94\r\n", "windows-1252")->Subject, "“quoted”");
  EXPECT_EQ(Decode("Subject: \x93quoted\x94\r\n")->Subject, "\xc2\x93quoted\xc2\x94");
  EXPECT_EQ(Decode("Subject: \xcf\xf0\xe8\r\n", "windows-1251")->Subject, "При");
  // Valid UTF-8 wins over the declared charset.
  EXPECT_EQ(Decode("Subject: caf\xc3\xa9\r\n", "windows-1252")->Subject, "café");
}

// ---------------------------------------------------------------- priority

TEST(TKwHeadersTest, PriorityHeaderWinsOverXPriorityOverMicrosoftsHeader) {
  struct {
    const char* Headers;
    TMessagePriority Expected;
  } cases[] = {
      {"X-Priority: 2 (High)", mpriHigh},
      {"X-MSMail-Priority: Normal", mpriNormal},
      {"Priority: urgent\nX-Priority: 5", mpriHigh},
      {"X-Priority: 9\nX-MSMail-Priority: Low", mpriLow},
      {"Priority: non-urgent\nX-Priority: 1\nX-MSMail-Priority: High", mpriLow},
      {"X-Priority: \nImportance: high", mpriUnknown},
  };
  for (const auto& c : cases) EXPECT_EQ(Decode(c.Headers)->Priority, c.Expected) << c.Headers;
}

TEST(TKwHeadersTest, ParsesPriorityNumbersAndWords) {
  struct {
    const char* Line;
    TMessagePriority Expected;
  } cases[] = {{"X-Priority: 1", mpriHigh},
               {"X-Priority: 3 (Normal)", mpriNormal},
               {"X-Priority: 4", mpriLow},
               {"X-Priority: 0", mpriUnknown},
               {"X-Priority: -2", mpriUnknown},
               {"Priority: Highest", mpriHigh},
               {"Priority: medium", mpriNormal},
               {"Priority: no-priority", mpriLow},
               {"Priority: 99999999999", mpriUnknown},
               {"Priority:", mpriUnknown}};
  for (const auto& c : cases) EXPECT_EQ(TKwHeaders::ParsePriority(c.Line), c.Expected) << c.Line;
}

// ---------------------------------------------------------------- received chain

TEST(TKwEmailReceivedTest, ReadsHostsIpAndDateOfCommonRelays) {
  struct {
    const char* Line;
    const char* From;
    const char* FromIP;
    const char* By;
    const char* Date;
    const char* Reason;
  } cases[] = {
      {"from mail.example.com (mail.example.com [192.0.2.10])\tby mx.example.net (Postfix) with "
       "ESMTPS id 4A; Tue, 1 Jan 2019 10:00:00 +0000",
       "mail.example.com", "192.0.2.10", "mx.example.net", "Tue, 01 Jan 2019 10:00:00 +0000",
       "Postfix"},
      {"from [198.51.100.7] (helo=client.example.org) by mx.example.com with esmtp (Exim 4.92) id "
       "1ab; Wed, 02 Jan 2019 11:00:00 +0000",
       "client.example.org", "198.51.100.7", "mx.example.com", "Wed, 02 Jan 2019 11:00:00 +0000",
       "Exim with helo"},
      {"by 2002:a05:6a10:1234:0:0:0:0 with SMTP id x12; Tue, 1 Jan 2019 10:00:00 -0800 (PST)", "",
       "", "", "Tue, 01 Jan 2019 18:00:00 +0000", "Gmail internal hop without from"},
      {"from mail.example.org (mail.example.org [IPv6:2001:db8::25]) by mx.example.com; Thu, 3 Jan "
       "2019 08:00:00 +0000",
       "mail.example.org", "", "mx.example.com", "Thu, 03 Jan 2019 08:00:00 +0000",
       "IPv6 sender gives no IP"},
      {"from [IPv6:2001:db8::25] (unknown) by mx.example.com; Thu, 3 Jan 2019 08:00:00 +0000",
       "[IPv6:2001:db8::25] (unknown)", "", "mx.example.com", "Thu, 03 Jan 2019 08:00:00 +0000",
       "IPv6 literal only"},
      {"from [203.0.113.5] by mx.example.com; Thu, 3 Jan 2019 08:00:00 +0000", "", "203.0.113.5",
       "mx.example.com", "Thu, 03 Jan 2019 08:00:00 +0000", "IPv4 literal only"},
      {"from a.example.com by b.example.com (queued Tue, 1 Jan 2019 10:00:00 +0000) id 7",
       "a.example.com", "", "b.example.com", "Tue, 01 Jan 2019 10:00:00 +0000",
       "date without semicolon"},
      {"from x.example.com by y.example.com; not a date", "x.example.com", "", "y.example.com", "",
       "unreadable date"},
      {"from [10.0.0.1] unknown; Tue, 1 Jan 2019 10:00:00 +0000", "", "10.0.0.1", "",
       "Tue, 01 Jan 2019 10:00:00 +0000", "no by"},
  };
  for (const auto& c : cases) {
    const TKwEmailReceived r(c.Line);
    EXPECT_EQ(r.From, c.From) << c.Reason;
    EXPECT_EQ(r.FromIP, c.FromIP) << c.Reason;
    EXPECT_EQ(r.By, c.By) << c.Reason;
    EXPECT_EQ(r.Date.RfcGmtDateTime(), c.Date) << c.Reason;
    EXPECT_EQ(r.Line.find('\t'), std::string::npos) << c.Reason;
    const std::string line = c.Line;
    for (size_t n = 0; n <= line.size(); ++n) TKwEmailReceived(line.substr(0, n));
  }
}

#define KW_TWO_RELAYS                                                      \
  "Received: from mx.example.net (mx.example.net [192.0.2.1])\r\n"         \
  "\tby mailbox.example.net with LMTP; Tue, 1 Jan 2019 10:05:00 +0000\r\n" \
  "Received: from mail.example.com (mail.example.com [198.51.100.2])\r\n"  \
  "\tby mx.example.net (Postfix) with ESMTPS; Tue, 1 Jan 2019 10:01:00 +0000\r\n"
const char kRelays[] = KW_TWO_RELAYS;
const char kRelayedMessage[] = KW_TWO_RELAYS
    "From: Ann <ann@example.com>\r\n"
    "Subject: relayed\r\n"
    "\r\n"
    "Received: from body.example.org by nowhere; Mon, 1 Jan 2018 00:00:00 +0000\r\n";

TEST(TKwHeadersTest, ReceivedChainRunsFromFirstRelayToFinalDelivery) {
  const auto h = Decode(kRelayedMessage);
  ASSERT_EQ(h->ReceivedList.Count(), 2);
  EXPECT_EQ(h->ReceivedList.Items(0).By, "mx.example.net");
  EXPECT_EQ(h->FromIP, "198.51.100.2");
  // Without a Date header both dates come from the topmost Received header.
  EXPECT_EQ(Seconds(h->DeliveryDate), Gmt(2019, 1, 1, 10, 5, 0));
  EXPECT_EQ(h->SubmitDate.GmtDate, h->DeliveryDate.GmtDate);
}

TEST(TKwHeadersTest, DateHeaderGivesDeliveryDateWhenNoRelayDated) {
  const auto h = Decode(
      "Received: from a.example.com by b.example.com\r\nDate: Tue, 1 Jan 2019 09:00:00 +0000\r\n");
  EXPECT_EQ(Seconds(h->SubmitDate), Gmt(2019, 1, 1, 9, 0, 0));
  EXPECT_EQ(h->DeliveryDate.GmtDate, h->SubmitDate.GmtDate);
  const auto withDate =
      Decode(std::string(kRelayedMessage).insert(0, "Date: Tue, 1 Jan 2019 09:00:00 +0000\r\n"));
  EXPECT_EQ(Seconds(withDate->SubmitDate), Gmt(2019, 1, 1, 9, 0, 0));
  EXPECT_EQ(Seconds(withDate->DeliveryDate), Gmt(2019, 1, 1, 10, 5, 0));
}

TEST(TKwHeadersTest, DatesKeepTheZoneTheirHeaderWasWrittenIn) {
  const auto h = Decode("Date: Tue, 5 Mar 2024 17:45:00 +0530\r\n");
  EXPECT_EQ(h->SubmitDate.IsoDateTime(), "2024-03-05T17:45:00+05:30");
  TKwHeaders copy;
  copy.Assign(*h);
  EXPECT_EQ(copy.DeliveryDate.IsoDateTime(), "2024-03-05T17:45:00+05:30") << "copied with the date";
  const auto relayed = Decode(
      "Received: from a.example.com by b.example.com; Tue, 5 Mar 2024 08:15:00 -0800\r\nSubject: x\r\n");
  EXPECT_EQ(relayed->DeliveryDate.IsoDateTime(), "2024-03-05T08:15:00-08:00");
  EXPECT_EQ(relayed->SubmitDate.IsoDateTime(), "2024-03-05T08:15:00-08:00");
  const auto undated = Decode("Date: someday\r\nSubject: x\r\n");
  EXPECT_EQ(undated->SubmitDate.IsoDateTime(), "") << "no date, no text";
  copy.Clear();
  EXPECT_EQ(copy.SubmitDate.OffsetMinutes, 0);
}

// ---------------------------------------------------------------- lifecycle

TEST(TKwHeadersTest, ReturnPathEnvelopeToAndCharsetSurviveClear) {
  TKwHeaders h;
  h.CharsetCode = 7;
  h.LoadHeadersFromString(
      "Return-Path: <bounce@example.com>\nEnvelope-To: me@example.org\nSubject: first\n");
  h.LoadHeadersFromString("Subject: second\n");
  EXPECT_EQ(h.ReturnPath.Address, "bounce@example.com");
  EXPECT_EQ(h.EnvelopeTo.Address, "me@example.org");
  EXPECT_EQ(h.CharsetCode, 7);
  EXPECT_EQ(h.Subject, "second");
  EXPECT_EQ(h.Lines.size(), 1u);
}

TEST(TKwHeadersTest, MimeBodyLinesLoseLeadingBlanksAndGiveUnfoldedHeaders) {
  TStringList body = {"", "  ", "Subject: one", " two", "To: a@example.com", "", "Subject: body"};
  TKwHeaders h;
  h.LoadHeaderLinesFromMimeBody(body);
  EXPECT_EQ(body.front(), "Subject: one");
  EXPECT_EQ(h.Lines, (TStringList{"Subject: one two", "To: a@example.com"}));
  h.DecodeHeaders();
  EXPECT_EQ(h.Subject, "one two");
}

TEST(TKwHeadersTest, WrittenDataReadsBackByteForByte) {
  const auto h =
      Decode(std::string(
                 "Date: Tue, 1 Jan 2019 09:00:00 +0000\r\nTo: \"Doe, J\" <j@example.org>, "
                 "k@example.org\r\n"
                 "Cc: c@example.org\r\nMessage-ID: <m@x>\r\nReferences: <r@x>\r\nX-Priority: 1\r\n"
                 "Content-Type: text/plain\r\nX-Custom: yes\r\nReturn-Path: <rp@example.com>\r\n") +
             kRelayedMessage);
  TKwPropertyWriter first;
  h->WriteData(first);
  TKwHeaders loaded;
  loaded.ReturnPath.Address = "stale@example.com";
  TKwPropertyReader reader(first.Data());
  loaded.ReadData(reader);
  TKwPropertyWriter second;
  loaded.WriteData(second);
  EXPECT_EQ(first.Data(), second.Data());
  EXPECT_EQ(loaded.ToList.Items(0).Name, "Doe, J");
  EXPECT_EQ(loaded.Priority, mpriHigh);
  EXPECT_EQ(loaded.ReturnPath.Address, "rp@example.com");
  EXPECT_EQ(loaded.References, "");  // not stored
  EXPECT_EQ(loaded.ReceivedList.Count(), 0);
  EXPECT_EQ(loaded.GetUniqueId(), h->GetUniqueId());
}

TEST(TKwHeadersTest, EncodedHeadersDecodeToTheSameFields) {
  const auto h = Decode(
      std::string("Subject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?=\r\nFrom: \"Doe, Jörg\" <j@example.de>\r\n"
                  "Date: Tue, 1 Jan 2019 09:00:00 +0000\r\nX-Priority: 5\r\n") +
      kRelays);
  h->EncodeHeaders(true);
  EXPECT_EQ(h->Lines.front().rfind("From j@example.de Tue Jan  1 10:05:00 2019", 0), 0u)
      << h->Lines.front();
  std::string text;
  for (const std::string& line : h->Lines) text += line + "\r\n";
  const auto again = Decode(text);
  EXPECT_EQ(again->Subject, "Grüße");
  EXPECT_EQ(again->From.Name, "Doe, Jörg");
  EXPECT_EQ(again->Priority, mpriLow);
  EXPECT_EQ(again->ReceivedList.Count(), 2);
  EXPECT_EQ(Seconds(again->SubmitDate), Seconds(h->SubmitDate));
}

TEST(TKwHeadersTest, AssignCopiesTheReceivedChainToo) {
  const auto h = Decode(kRelayedMessage);
  TKwHeaders copy;
  copy.Assign(*h);
  EXPECT_EQ(copy.ReceivedList.Count(), 2);
  EXPECT_EQ(copy.From.EmailAddress(), "Ann <ann@example.com>");
  EXPECT_THROW(copy.Assign(h->From), EConvertError);
}

// ---------------------------------------------------------------- wrappers

TEST(TKwRegExTest, MatchesCaselessAndSurvivesBadUtf8AndHostileSubjects) {
  const TKwRegEx address(R"(\b[A-Z0-9._%+-]+@.+\.[A-Z0-9]+\b)");
  EXPECT_EQ(address.FindText("x \xff\xfe mail@Example.COM \xc3"), "mail@Example.COM");
  std::string hostile;
  for (int i = 0; i < 50000; ++i) hostile += "a@.,";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(address.IsMatch(hostile));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_THROW(TKwRegEx("(unclosed"), std::invalid_argument);
  std::string match;
  EXPECT_TRUE(RegExMatch(address, "  a@b.cd  ", match));
  EXPECT_EQ(match, "a@b.cd");
}

TEST(TKwGMimeTest, ObsoleteZoneNamesAreReadInAnyLetterCase) {
  const int64_t noon = Gmt(2019, 1, 1, 12, 0, 0);
  for (const auto& [zone, hours] : std::vector<std::pair<std::string, int>>{
           {"cst", 6}, {"CST", 6}, {"est", 5}, {"Edt", 4}, {"pdt", 7}, {"mst", 7}, {"gmt", 0}, {"ut", 0}}) {
    const std::string text = "Tue, 1 Jan 2019 12:00:00 " + zone;
    EXPECT_EQ(DateTimeToUnix(DecodeRfcDate(text)), noon + hours * 3600) << text;
  }
  EXPECT_EQ(DateTimeToUnix(DecodeRfcDate("Tue, 1 Jan 2019 12:00:00 -0600 (cst)")), noon + 6 * 3600);
}

TEST(TKwGMimeTest, ConvertsCharsetsAndFallsBackToLatin1) {
  EXPECT_EQ(ConvertToUtf8("\x93hi\x94", "windows-1252"), "“hi”");
  EXPECT_EQ(ConvertToUtf8("caf\xe9", "no-such-charset"), "café");
  EXPECT_EQ(ConvertToUtf8("\x82\xa0\xff", "shift_jis"), "あÿ");  // 0xFF is no Shift-JIS byte
  EXPECT_EQ(RepairUtf8AsLatin1("ok \xc3\xa9 \xed\xa0\x80"), "ok é \xc3\xad\xc2\xa0\xc2\x80");
  EXPECT_EQ(
      DateTimeToUnix(DecodeRfcDate(FormatRfcDate(UnixToDateTime(Gmt(2030, 6, 15, 23, 59, 58))))),
      Gmt(2030, 6, 15, 23, 59, 58));
  EXPECT_EQ(UnfoldHeader(" a\r\n\tb\r\n"), "a\tb");
}

// ---------------------------------------------------------------- error paths

TEST(TKwHeadersErrorTest, EmptyAndBlankInputsDecodeToNothing) {
  for (const char* text : {"", "\r\n", "\n\n\n", "   \r\n\t\r\n"}) {
    const auto h = Decode(text);
    EXPECT_TRUE(h->Lines.empty() && h->CustomHeaders.empty() && h->Subject.empty()) << text;
    EXPECT_EQ(h->SubmitDate.GmtDate, 0);
  }
}

TEST(TKwHeadersErrorTest, LineEndingsAndMissingFinalNewlineGiveTheSameFields) {
  const std::string lf =
      "Subject: a\n b\nFrom: x@example.com\nDate: Tue, 1 Jan 2019 09:00:00 +0000";
  for (const std::string& text :
       {lf,
        std::string(
            "Subject: a\r\n b\r\nFrom: x@example.com\r\nDate: Tue, 1 Jan 2019 09:00:00 +0000\r\n"),
        std::string(
            "Subject: a\r b\rFrom: x@example.com\rDate: Tue, 1 Jan 2019 09:00:00 +0000\r")}) {
    const auto h = Decode(text);
    EXPECT_EQ(h->Subject, "a b");
    EXPECT_EQ(h->From.Address, "x@example.com");
    EXPECT_EQ(Seconds(h->SubmitDate), Gmt(2019, 1, 1, 9, 0, 0));
  }
}

TEST(TKwHeadersErrorTest, GarbageLinesBecomeCustomHeadersAndNulBytesPass) {
  using namespace std::string_literals;
  const std::string text = "no colon here\n:\n\x01\x02\xff: binary\nSubject: a\0b\n"s;
  const auto h = Decode(text);
  EXPECT_EQ(h->CustomHeaders.size(), 3u);
  EXPECT_TRUE(IsValidUtf8(h->Subject));
}

TEST(TKwHeadersErrorTest, TruncatedStoredDataRaisesReadError) {
  const auto h = Decode(kRelayedMessage);
  TKwPropertyWriter writer;
  h->WriteData(writer);
  for (size_t n = 0; n < writer.Data().size(); ++n) {
    TKwHeaders loaded;
    TKwPropertyReader reader(std::string_view(writer.Data()).substr(0, n));
    EXPECT_THROW(loaded.ReadData(reader), EReadError) << n;
  }
}

}  // namespace

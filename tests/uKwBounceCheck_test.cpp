// The bounce classifier over the corpus in tests/data/bounces (reports made up for the
// project, expected verdicts in expected.json), its tables and its odd cases, and the
// verdict as a loaded message carries it into the bounce columns.

#include "uKwBounceCheck.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <nlohmann/json.hpp>

#include "TestSupport.h"
#include "uKwMailMessage.h"

namespace fs = std::filesystem;

namespace {

const fs::path kBounces = fs::path(QUILLON_TEST_DATA) / "bounces";

std::string TypeName(TBounceType type) {
  static const char* const kNames[] = {"", "HardBounce", "SoftBounce", "Mdnreceipt"};
  return kNames[type];
}

std::string Dsn(const std::string& statusFields) {
  return "From: MAILER-DAEMON@mx.example.net\nTo: sam@example.com\nSubject: failed\n"
         "MIME-Version: 1.0\nContent-Type: multipart/report; report-type=delivery-status; boundary=\"zz\"\n\n"
         "--zz\nContent-Type: text/plain\n\nRCPT TO:<other@example.com> 250 ok\n"
         "--zz\nContent-Type: message/delivery-status\n\n" +
         statusFields +
         "\n--zz\nContent-Type: message/rfc822\n\nFrom: sam@example.com\nTo: Returned <returned@example.org>\n"
         "Subject: hi\n\nbody\n--zz--\n";
}

std::string PlainReport(const std::string& body) {
  return "From: postmaster@example.net\nTo: sam@example.com\nSubject: report\n\n" + body + "\n";
}

}  // namespace

// ---------------------------------------------------------------- the corpus

TEST(TKwBounceCheckTest, ClassifiesEveryCorpusReportAsExpected) {
  const nlohmann::json expected = nlohmann::json::parse(ReadFileText(kBounces / "expected.json"));
  ASSERT_GE(expected.size(), 25u);
  TKwBounceCheck check;
  for (const auto& [name, want] : expected.items()) {
    SCOPED_TRACE(name);
    const bool bounce = check.ParseMessage(ReadFileText(kBounces / name));
    EXPECT_EQ(TypeName(check.GetBounceType()), want["type"].get<std::string>());
    EXPECT_EQ(check.GetDescription(), want["description"].get<std::string>());
    EXPECT_EQ(check.GetRecipient(), want["recipient"].get<std::string>());
    EXPECT_EQ(bounce, want["bounce"].get<bool>());
  }
}

TEST(TKwBounceCheckTest, LoadedCorpusMessagesFillTheBounceColumns) {
  const nlohmann::json expected = nlohmann::json::parse(ReadFileText(kBounces / "expected.json"));
  TKwMailMessage message;  // reused, as a source reuses it: no verdict may linger
  for (const auto& [name, want] : expected.items()) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(message.LoadFormat((kBounces / name).string()));
    const std::string type = want["type"].get<std::string>();
    const bool bounce = type == "HardBounce" || type == "SoftBounce";
    EXPECT_EQ(message.ColumnFieldToDataString(cfBounceType), bounce ? type : "");
    EXPECT_EQ(message.ColumnFieldToDataString(cfBounceDescription), want["description"].get<std::string>());
    EXPECT_EQ(message.ColumnFieldToDataString(cfBounceRecipient), want["recipient"].get<std::string>());
    EXPECT_EQ(TypeName(message.BounceCheck->GetBounceType()), type);
  }
}

// Any prefix of a report is a report that may be cut short: classifying it must not fail.
TEST(TKwBounceCheckTest, TruncatedCorpusReportsAreClassifiedWithoutFailing) {
  TKwBounceCheck check;
  for (const auto& entry : fs::directory_iterator(kBounces)) {
    if (entry.path().extension() != ".eml") continue;
    const std::string text = ReadFileText(entry.path());
    for (size_t cut = 0; cut < text.size(); cut += 37) {
      check.ParseMessage(std::string_view(text).substr(0, cut));
      EXPECT_TRUE(check.GetBounceType() >= btNone && check.GetBounceType() <= btMdnReceipt);
    }
  }
}

// ---------------------------------------------------------------- tables

TEST(TKwBounceCheckTest, TablesKeepTheirOrderKindsAndLeadingBlanks) {
  TKwBounceCheck check;
  const TArrayBounceCodes& enhanced = check.Rfc1893Codes();
  const TArrayBounceCodes& reply = check.Rfc2821Codes();
  ASSERT_EQ(enhanced.size(), 85u);
  ASSERT_EQ(reply.size(), 22u);
  EXPECT_EQ(enhanced.front().Code, "5.0.0");
  EXPECT_EQ(enhanced.front().Description, "Address does not exist");
  EXPECT_EQ(enhanced[13].Code, "5.2.3");
  EXPECT_EQ(enhanced[13].Kind, 'l');
  EXPECT_EQ(enhanced[50].Code, "4.0.0");  // the 4.x.x block follows the 5.x.x one
  EXPECT_EQ(enhanced.back().Code, "4.7.7");
  EXPECT_EQ(reply[2].Description, " Service ready");
  EXPECT_EQ(reply[8].Description, " Service not available, closing transmission channel.");
  EXPECT_EQ(reply[7].Description, "Start mail input; end with .");
  EXPECT_EQ(reply.back().Code, "554");
}

TEST(TKwBounceCheckTest, KindLettersDecideTheType) {
  TKwBounceCheck check;
  struct Case {
    const char* code;
    bool enhanced;
    TBounceType type;
    const char* description;
  } cases[] = {
      {"5.2.2", true, btSoftBounce, "SoftBounce (5.2.2): Mailbox full"},  // f: full is soft
      {"5.2.3", true, btHardBounce, "HardBounce (5.2.3): Message length exceeds administrative limit."},  // l, 5
      {"5.7.7", true, btHardBounce, "HardBounce (5.7.7): Message integrity failure"},  // b, 5
      {"4.4.7", true, btSoftBounce, "SoftBounce (4.4.7): Delivery time expired"},
      {"214", false, btMdnReceipt, "Mdnreceipt (214): Help message"},
      {"221", false, btMdnReceipt, "Mdnreceipt (221):  Service closing transmission channel"},
      {"551", false, btHardBounce, "HardBounce (551): User not local to the server."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    check.Clear();
    EXPECT_TRUE(check.SearchRfcTable(c.code, c.enhanced ? check.Rfc1893Codes() : check.Rfc2821Codes()));
    EXPECT_EQ(check.GetBounceType(), c.type);
    EXPECT_EQ(check.GetCode(), c.code);
    EXPECT_EQ(check.GetDescription(), c.description);
  }
}

TEST(TKwBounceCheckTest, UnknownCodesLeaveEverythingEmpty) {
  TKwBounceCheck check;
  for (const char* code : {"5.9.9", "5.1.10", "", "550", "5.1.1 "}) {
    SCOPED_TRACE(code);
    EXPECT_FALSE(check.SearchRfcTable(code, check.Rfc1893Codes()));
    EXPECT_EQ(check.GetBounceType(), btNone);
    EXPECT_EQ(check.GetCode(), "");
    EXPECT_EQ(check.GetDescription(), "");
  }
  EXPECT_FALSE(check.SearchRfcTable("5.1.1", check.Rfc2821Codes()));  // codes do not cross tables
}

// ---------------------------------------------------------------- scans

TEST(TKwBounceCheckTest, RecipientComesFromTheReturnedMessageWhenTheReportNamesNone) {
  TKwBounceCheck check;
  EXPECT_TRUE(check.ParseMessage(Dsn("Action: failed\nStatus: 4.4.7\n")));
  EXPECT_EQ(check.GetBounceType(), btSoftBounce);
  EXPECT_EQ(check.GetRecipient(), "returned@example.org");
  // Without a known code the returned message is not consulted.
  EXPECT_FALSE(check.ParseMessage(Dsn("Action: failed\nStatus: 5.9.9\n")));
  EXPECT_EQ(check.GetRecipient(), "");
}

// The second dot of the status pattern matches any character, and the first match wins: a
// "4.2/10" ahead of the status line hides it.
TEST(TKwBounceCheckTest, StatusPatternTakesAnyCharacterForItsSecondDot) {
  TKwBounceCheck check;
  EXPECT_FALSE(check.ScanRfc1893({"X-Score: 4.2/10", "Status: 5.1.1"}));
  EXPECT_EQ(check.GetBounceType(), btNone);
  EXPECT_TRUE(check.ScanRfc1893({"Status: 5.1.1", "X-Score: 4.2/10"}));
  // The code needs blank space before it.
  check.Clear();
  EXPECT_FALSE(check.ScanRfc1893({"Status:5.1.1"}));
}

TEST(TKwBounceCheckTest, RecipientLineIsFoundTrimmedAndInAnyCase) {
  TKwBounceCheck check;
  EXPECT_TRUE(check.ScanRfc1893({"  ORIGINAL-RECIPIENT: rfc822;<Mixed.Case@Example.org>", "Status: 5.2.1"}));
  EXPECT_EQ(check.GetRecipient(), "Mixed.Case@Example.org");
}

TEST(TKwBounceCheckTest, PlainReportsQuoteTheReplyOnTheCommandLine) {
  TKwBounceCheck check;
  EXPECT_TRUE(check.ParseMessage(PlainReport("RCPT TO:<x@example.com> said 550 5.1.1 no such user")));
  EXPECT_EQ(check.GetCode(), "550");
  EXPECT_EQ(check.GetRecipient(), "x@example.com");
  EXPECT_TRUE(check.ParseMessage(PlainReport("SMTP error after RCPT TO:<y@example.com>: 421 busy")));
  EXPECT_EQ(check.GetBounceType(), btSoftBounce);
  EXPECT_FALSE(check.ParseMessage(PlainReport("RCPT TO:<z@example.com> 250 accepted")));
  EXPECT_EQ(check.GetBounceType(), btMdnReceipt);
}

// "." runs over line breaks and the anchors ignore case, so a transcript whose reply
// stands on the next line is read; the recipient still ends with its own line.
TEST(TKwBounceCheckTest, PlainReportsReadTheReplyOnTheNextLineAndAnchorsInAnyCase) {
  TKwBounceCheck check;
  EXPECT_TRUE(check.ParseMessage(PlainReport("RCPT TO:<w@example.com>\n<<< 550 unknown user.\nBye.")));
  EXPECT_EQ(check.GetCode(), "550");
  EXPECT_EQ(check.GetRecipient(), "w@example.com");
  EXPECT_TRUE(check.ParseMessage(PlainReport("rcpt to:<v@example.com> 550 unknown")));
  EXPECT_EQ(check.GetRecipient(), "v@example.com");
  EXPECT_TRUE(check.ParseMessage(PlainReport("Smtp Error from remote server\r\n  452 4.2.2 full")));
  EXPECT_EQ(check.GetBounceType(), btSoftBounce);
}

TEST(TKwBounceCheckTest, PartsWithoutContentTypeAreTextAtEveryLevel) {
  const std::string report =
      "From: postmaster@example.net\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=m\n\n"
      "--m\n\nSMTP error after RCPT TO:<gone@example.org>: 550 no such user\n--m--\n";
  TKwBounceCheck check;
  EXPECT_TRUE(check.ParseMessage(report));
  EXPECT_EQ(check.GetRecipient(), "gone@example.org");
}

TEST(TKwBounceCheckTest, OnlyTheFirstReportPartFoundIsScanned) {
  // A disposition part without a code is not classified, although the text part quotes one.
  const std::string mdn =
      "MIME-Version: 1.0\nContent-Type: multipart/report; report-type=disposition-notification; boundary=b\n\n"
      "--b\nContent-Type: text/plain\n\nSMTP error: 550 rejected\n"
      "--b\nContent-Type: message/disposition-notification\n\nFinal-Recipient: rfc822; r@example.com\n"
      "Disposition: manual-action/MDN-sent-manually; displayed\n--b--\n";
  TKwBounceCheck check;
  EXPECT_FALSE(check.ParseMessage(mdn));
  EXPECT_EQ(check.GetBounceType(), btNone);
  EXPECT_EQ(check.GetRecipient(), "");
}

// ---------------------------------------------------------------- odd input

TEST(TKwBounceCheckTest, OddInputIsNeverABounce) {
  TKwBounceCheck check;
  const char* inputs[] = {
      "",                                         // empty
      "\r\n\r\n",                                 // blank lines only
      "Subject: x",                               // no body, no final newline
      "Subject: x\r\rSMTP error: 999 odd\r",      // CR-only lines, no known code
      "Content-Type: multipart/report; boundary=q\n\nno boundary ever\n",
      "Content-Type: message/delivery-status\n\n\xff\xfe Status: 9.9.9\n",
  };
  for (const char* input : inputs) {
    SCOPED_TRACE(input);
    EXPECT_FALSE(check.ParseMessage(std::string_view(input)));
    EXPECT_EQ(check.GetBounceType(), btNone);
  }
}

// ---------------------------------------------------------------- in the message

TEST(TKwBounceCheckTest, MessageCopiesCarryTheVerdictAndClearForgetsIt) {
  TKwMailMessage source;
  ASSERT_TRUE(source.LoadMIMEFromString(PlainReport("SMTP error after RCPT TO:<gone@example.org>: 550 x")));
  TKwMailMessage copy;
  copy.Assign(source);
  EXPECT_EQ(copy.BounceCheck->GetBounceType(), btHardBounce);
  EXPECT_EQ(copy.ColumnFieldToDataString(cfBounceType), "HardBounce");
  EXPECT_EQ(copy.ColumnFieldToDataString(cfBounceRecipient), "gone@example.org");
  copy.Clear();
  EXPECT_EQ(copy.BounceCheck->GetBounceType(), btNone);
  EXPECT_EQ(copy.ColumnFieldToDataString(cfBounceDescription), "");
}


#pragma once
// TKwBounceCheck: decides whether a message is a delivery-failure report or a read
// receipt, and of which kind, with the status code found, a description and the bounced
// recipient. Two fixed code tables drive it: enhanced status codes (RFC 1893) read from
// delivery status notifications, and SMTP reply codes (RFC 2821) quoted in plain-text
// reports. The tables' order is the search order.
//
// Owns its tables, the content of the report part and the parsed message. Used from one
// thread; never throws on malformed mail.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uKwEnum.h"
#include "uKwPersistent.h"

class TKwMimeMessage;

// persisted: never reorder
#define KW_BOUNCE_TYPE(X) X(btNone) X(btHardBounce) X(btSoftBounce) X(btMdnReceipt)
KW_ENUM(TBounceType, KW_BOUNCE_TYPE);
static_assert(TBounceTypeCount == 4);

// A set of TBounceType values, as a bit mask by ordinal (the form set properties publish).
using TBounceTypes = uint32_t;
constexpr TBounceTypes BounceTypeBit(TBounceType type) { return TBounceTypes{1} << type; }
inline constexpr TBounceTypes kHardAndSoftBounces = BounceTypeBit(btHardBounce) | BounceTypeBit(btSoftBounce);

// The verdict's name as the bounce columns show it: "HardBounce", "SoftBounce", or ""
// for anything else.
std::string BounceTypeColumnText(TBounceType type);

struct TBounceCode {
  std::string Code;         // "5.1.1", "550"
  char Kind = ' ';          // h hard, s/f/u soft, k read receipt, l/b hard only for 5.x.x
  std::string Description;  // leading blanks are part of it
};
using TArrayBounceCodes = std::vector<TBounceCode>;

class TKwBounceCheck {
 public:
  TKwBounceCheck();  // builds both tables
  ~TKwBounceCheck();
  TKwBounceCheck(const TKwBounceCheck&) = delete;
  TKwBounceCheck& operator=(const TKwBounceCheck&) = delete;

  // Type btNone; code, description and recipient empty.
  void Clear();
  // Copies the verdict (type, code, description, recipient) of another check.
  void AssignVerdict(const TKwBounceCheck& source);

  // Classifies the raw MIME lines of a message. True for a hard or a soft bounce; a read
  // receipt sets its type and still answers false.
  bool ParseMessage(const TStringList& lines);
  bool ParseMessage(std::string_view mimeText);
  // The same over a message already parsed from those lines (the caller's parse is
  // borrowed for the call).
  bool ParseMimeMessage(const TKwMimeMessage& message);

  // Content := the first part (in depth-first order, message parts not entered) whose
  // content type begins with contentType, or else the message's own body when its type
  // does. A message without Content-Type counts as text/plain. True when found; false
  // outside ParseMessage.
  bool SearchContentType(std::string_view contentType);
  // Finds an enhanced status code in lines and looks it up; with a known code the
  // recipient comes from the Final-Recipient or Original-Recipient line.
  bool ScanRfc1893(const TStringList& lines);
  // Finds an SMTP reply code quoted after "SMTP error" or "RCPT TO:" and looks it up; the
  // recipient is the first address of that quote.
  bool ScanRfc2821(const TStringList& lines);
  // The first entry whose code equals code sets the code, type and description; an
  // unknown code changes nothing and answers false.
  bool SearchRfcTable(std::string_view code, const TArrayBounceCodes& table);
  void LoadRfcTables();

  TBounceType GetBounceType() const { return FBounceType; }
  const std::string& GetCode() const { return FCode; }
  const std::string& GetDescription() const { return FDescription; }
  const std::string& GetRecipient() const { return FRecipient; }
  const TStringList& GetContent() const { return FContent; }
  const TArrayBounceCodes& Rfc1893Codes() const { return FRfc1893Codes; }
  const TArrayBounceCodes& Rfc2821Codes() const { return FRfc2821Codes; }

 private:
  void RecipientFromReturnedMessage();

  TStringList FContent;
  TBounceType FBounceType = btNone;
  std::string FCode;
  std::string FDescription;
  std::string FRecipient;
  std::unique_ptr<TKwMimeMessage> FParsedMessage;  // owned while ParseMessage runs
  const TKwMimeMessage* FMessage = nullptr;        // the message being classified; not owned
  TArrayBounceCodes FRfc1893Codes;
  TArrayBounceCodes FRfc2821Codes;
};

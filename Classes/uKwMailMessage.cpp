#include "uKwMailMessage.h"

#include <typeinfo>

#include "uKwDateTime.h"

namespace {
std::string JoinLines(const TStringList& lines) {
  std::string text;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (i) text += "\r\n";
    text += lines[i];
  }
  return text;
}
}  // namespace

// ---------------------------------------------------------------- TKwBaseMessage

TKwBaseMessage::TKwBaseMessage() = default;
TKwBaseMessage::~TKwBaseMessage() = default;

void TKwBaseMessage::Publish(TKwPublisher& p) {
  p.Strings("Categories", Categories);
  p.Object("Headers", *Headers);
  p.Strings("HtmlPart", HtmlPart);
  p.String("HtmlPartCharset", HtmlPartCharset);
  p.String("SourceFilename", SourceFilename);
  p.Strings("TextPart", TextPart);
  p.String("TextPartCharset", TextPartCharset);
}

void TKwBaseMessage::Assign(const TKwPersistent& source) {
  auto* message = dynamic_cast<const TKwBaseMessage*>(&source);
  if (!message) AssignError(source);
  if (message == this) return;
  Categories = message->Categories;
  Headers->Assign(*message->Headers);
  HtmlPart = message->HtmlPart;
  HtmlPartCharset = message->HtmlPartCharset;
  SourceFilename = message->SourceFilename;
  TextPart = message->TextPart;
  TextPartCharset = message->TextPartCharset;
}

void TKwBaseMessage::Clear() {
  Headers->Clear();
  HtmlPart.clear();
  TextPart.clear();
  Categories.clear();
  SourceFilename.clear();
}

// ---------------------------------------------------------------- TKwMailMessage

void TKwMailMessage::Publish(TKwPublisher& p) {
  TKwBaseMessage::Publish(p);
  p.Integer("Counter", Counter);
  p.Boolean("SourceIsMime", SourceIsMime);
  p.Strings("SourceLines", SourceLines);
  p.Strings("WordsList", WordsList);
}

void TKwMailMessage::Assign(const TKwPersistent& source) {
  TKwBaseMessage::Assign(source);
  auto* message = dynamic_cast<const TKwMailMessage*>(&source);
  if (!message || message == this) return;
  Counter = message->Counter;
  SourceIsMime = message->SourceIsMime;
  SourceLines = message->SourceLines;
  WordsList = message->WordsList;
  FolderName = message->FolderName;
  Labels = message->Labels;
  LastSavedFilename = message->LastSavedFilename;
}

void TKwMailMessage::Clear() {
  TKwBaseMessage::Clear();
  Counter = 0;
  SourceIsMime = false;
  SourceLines.clear();
  WordsList.clear();
  LastSavedFilename.clear();
}

std::string TKwMailMessage::ColumnFieldToDataString(TColumnField field) const {
  const TKwHeaders& h = *Headers;
  switch (field) {
    case cfSubmitDate: return DateTimeToLocaleString(GmtToLocal(h.SubmitDate.GmtDate));
    case cfDeliveryDate: return DateTimeToLocaleString(GmtToLocal(h.DeliveryDate.GmtDate));
    case cfFromName: return h.From.Name;
    case cfFromAddress: return h.From.Address;
    case cfToList: return h.ToList.Text();
    case cfToComma: return h.ToList.EmailAddressComma();
    case cfCCList: return h.CCList.Text();
    case cfCcComma: return h.CCList.EmailAddressComma();
    case cfSubject: return h.Subject;
    case cfHeaders: return JoinLines(h.Lines);
    case cfTextPart: return JoinLines(TextPart);
    case cfHtmlPart: return JoinLines(HtmlPart);
    case cfMessageId: return h.MessageID;
    case cfPriority: return h.Priority == mpriHigh ? "True" : "False";
    case cfXMailer: return h.XMailer;
    case cfOrganization: return h.Organization;
    case cfReturnPath: return h.ReturnPath.Address;
    case cfEnvelopeTo: return h.EnvelopeTo.Address;
    case cfReplyTo: return h.ReplyTo.Address;
    case cfFilename: return SourceFilename;
    case cfFolderName: return FolderName;
    case cfLabels: return Labels;
    case cfFromIP: return h.FromIP;
    // Attachments and the bounce verdict join the message with the MIME decoder.
    case cfAttachCount: return "0";
    case cfAttachList:
    case cfAttachComma:
    case cfBounceType:
    case cfBounceDescription:
    case cfBounceRecipient:
    case cfLastSavedFile: return "";
  }
  return "";
}

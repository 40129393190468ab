#include "uKwTargetMailEDataSendEmail.h"

#include <algorithm>
#include <cctype>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwHeaders.h"
#include "uKwMailMessage.h"
#include "uKwSMTP.h"
#include "uKwVariables.h"

namespace {

// A public webmail provider's submission port with STARTTLS, as a new target starts.
constexpr char kDefaultServer[] = "smtp.gmail.com";
constexpr int kDefaultPort = 587;

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

void ReplaceIgnoringCase(std::string& text, const std::string& placeholder, const std::string& value) {
  const std::string key = Lower(placeholder);
  std::string lower = Lower(text);
  for (size_t at = lower.find(key); at != std::string::npos; at = lower.find(key, at + value.size())) {
    text.replace(at, key.size(), value);
    lower.replace(at, key.size(), Lower(value));
  }
}

}  // namespace

std::string FillTemplate(std::string text, const TKwVariablesList* variables) {
  if (!variables) return text;
  for (int i = 0; i < variables->Count(); ++i) {
    const TKwVariable& variable = variables->Items(i);
    if (!variable.Name.empty()) ReplaceIgnoringCase(text, "%" + variable.Name + "%", variable.Value);
  }
  return text;
}

TKwTargetMailEDataSendEmail::TKwTargetMailEDataSendEmail() {
  Remote->Server = kDefaultServer;
  Remote->Port = kDefaultPort;
  Remote->UseSSL = true;
}

void TKwTargetMailEDataSendEmail::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.String("Body", Body);
  p.String("From", From);
  p.String("Recipient", Recipient);
  p.String("Subject", Subject);
  p.Object("Remote", *Remote);
}

void TKwTargetMailEDataSendEmail::ProcessMessage(TKwMailMessage& message) {
  TKwTargetMailBase::ProcessMessage(message);
  if (IsAborted()) return;
  auto fill = [this](const std::string& text) { return FillTemplate(FillTemplate(text, Fields), EmailParts); };
  const std::string from = fill(From), recipient = fill(Recipient), subject = fill(Subject);
  std::string errorText;
  const bool sent = SendEmail(*Remote, from, recipient, subject, fill(Body), errorText, GlobalOptions, Aborted);
  const TKwHeaders& h = *FMailMessage->Headers;
  const TDateTime date = GmtToLocal(h.SubmitDate.GmtDate);
  if (!sent) Log->AddErrorFull(errorText, "Sending e-mail", Remote->Server, "", h.From.Address, h.Subject, date);
  Log->Notes.push_back("Server Name: " + Remote->Server);
  Log->Notes.push_back("User Name: " + Remote->Username);
  Log->Notes.push_back("From: " + from);
  Log->Notes.push_back("Recipient: " + recipient);
  Log->Notes.push_back("Subject: " + subject);
  Log->Notes.push_back(" ");
  if (sent) {
    Log->Notes.push_back("Operation Succesful!");
    Log->IncSaved();
  } else {
    Log->AddErrorFull("Operation Failed!", "", Remote->Server, "", h.From.Address, h.Subject, date);
  }
  FSaveStatus = sent ? ssSaved : ssError;
}

#include "uKwActionSendEmail.h"

#include "uKwActionLog.h"
#include "uKwParameters.h"
#include "uKwSMTP.h"

TKwActionSendEmail::TKwActionSendEmail() : Remote(std::make_unique<TKwRemoteOptions>()) {}

TKwActionSendEmail::~TKwActionSendEmail() = default;

void TKwActionSendEmail::Publish(TKwPublisher& p) {
  TKwActionBase::Publish(p);
  p.String("Body", Body);
  p.String("From", From);
  p.String("Recipient", Recipient);
  p.Object("Remote", *Remote);
  p.String("Subject", Subject);
}

void TKwActionSendEmail::Execute() {
  BeginExecute();
  std::string error;
  if (Recipient.empty()) {
    Log->AddErrorFull("No recipient to send the mail to", "Sending email", Caption, "", From, Subject, 0);
  } else if (SendEmail(*Remote, From, Recipient, Subject, Body, error, GlobalOptions, Aborted)) {
    Log->IncSaved();
  } else {
    Log->AddErrorFull(error, "Sending email", Caption, "", From, Subject, 0);
  }
  Log->IncProcessed();
  TriggerCompleteEvent();
}

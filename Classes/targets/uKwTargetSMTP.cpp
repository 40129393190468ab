#include "uKwTargetSMTP.h"

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwFoldersTree.h"
#include "uKwHeaders.h"
#include "uKwMailMessage.h"
#include "uKwMessageOutput.h"
#include "uKwMessageOutputText.h"
#include "uKwOutgoingMail.h"
#include "uKwSmtpClient.h"
#include "uKwSourceRemote.h"

namespace {
constexpr char kConnectFailure[] = "Couldn't connect to the SMTP server";
constexpr int kSmtpPort = 25;
}  // namespace

TKwTargetMailSMTP::TKwTargetMailSMTP() { Remote->Port = kSmtpPort; }

TKwTargetMailSMTP::~TKwTargetMailSMTP() = default;

void TKwTargetMailSMTP::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Enum("ForwardSubject", ForwardSubject);
  p.String("From", From);
  p.Boolean("IncludeMessageAsAttachment", IncludeMessageAsAttachment);
  p.Boolean("IncludeMessageBody", IncludeMessageBody);
  p.String("Recipients", Recipients);
  p.Object("Remote", *Remote);
  p.String("Subject", Subject);
  p.Strings("TopPostedBody", TopPostedBody);
}

int TKwTargetMailSMTP::SubtreeErrorsCount() const { return TKwTargetMailBase::SubtreeErrorsCount() + FUndelivered; }

bool TKwTargetMailSMTP::Connect() {
  if (FMailer && FMailer->IsConnected()) return true;
  if (FGaveUp) return false;
  FMailer = std::make_unique<TKwSmtpClient>();
  TKwConnectionSettings settings;
  std::string error;
  if (RemoteConnectionSettings(*Remote, GlobalOptions, Aborted, TKwMailProtocol::Smtp, settings, error) &&
      FMailer->Connect(settings, error))
    return true;
  FGaveUp = true;
  if (!IsAborted()) Log->AddErrorFull(kConnectFailure, error, Remote->Server, "", "", "", 0);
  return false;
}

void TKwTargetMailSMTP::InitializeExtractProcess(TKwFoldersTree& folders) {
  TKwTargetMailBase::InitializeExtractProcess(folders);
  FGaveUp = false;
  FUndelivered = 0;
  Connect();
}

std::string TKwTargetMailSMTP::ForwardedSubject(const std::string& original) const {
  switch (ForwardSubject) {
    case sfsOriginalSubject: return original;
    case sfsNewSubject: return Subject;
    default: return "Fwd: " + original;  // even over an earlier "Re:" or "Fwd:"
  }
}

TKwOutgoingMail TKwTargetMailSMTP::ComposeForward(TKwMailMessage& working) {
  TKwOutgoingMail mail;
  mail.From = From;
  mail.SendTo = Recipients;
  mail.Subject = ForwardedSubject(working.Headers->Subject);
  const TContentType kind = IncludeMessageBody ? working.PrepareOutputContent(ctEither) : ctText;
  if (kind == ctHtml) {
    mail.IsHtml = true;
    mail.Body = JoinLinesCrLf(TextToHtml(TopPostedBody)) + JoinLinesCrLf(working.OutputContent);
  } else {
    mail.Body = JoinLinesCrLf(TopPostedBody);
    if (IncludeMessageBody) mail.Body += JoinLinesCrLf(working.OutputContent);
  }
  if (IncludeMessageAsAttachment)
    mail.Attachments.push_back({AttachmentFileName(working.Headers->Subject, ".eml"),
                                JoinLinesCrLf(EncodeMIMEMessage(working))});
  return mail;
}

void TKwTargetMailSMTP::ProcessMessage(TKwMailMessage& message) {
  TKwTargetMailBase::ProcessMessage(message);
  TKwMailMessage& working = *FMailMessage;
  const TKwHeaders& h = *working.Headers;
  if (IsAborted()) return;
  if (!Connect()) {
    ++FUndelivered;
    FSaveStatus = ssError;
    return;
  }
  const TKwOutgoingMail mail = ComposeForward(working);
  std::string error;
  const TKwSmtpResult result = FMailer->Send(From, SplitRecipients(Recipients), ComposeMime(mail), error);
  if (result == TKwSmtpResult::Sent) {
    FSaveStatus = ssSaved;
    Log->IncSaved();
  } else {
    FSaveStatus = ssError;
    Log->AddErrorFull(error, "Forwarding message", Remote->Server, FFolderInfo->GetFolderName(), h.From.Address,
                      h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
  }
  if (GlobalOptions && GlobalOptions->DetailedLog)
    Log->AddMessageStatusFull(FSaveStatus, h.From.Address, h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
}

void TKwTargetMailSMTP::FinalizeExtractProcess() {
  TKwTargetMailBase::FinalizeExtractProcess();
  if (FMailer) FMailer->Disconnect();
  FMailer.reset();
}

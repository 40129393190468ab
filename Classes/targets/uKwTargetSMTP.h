#pragma once
// Forwards every message it receives to fixed recipients through one SMTP connection
// held for the run: a new mail whose body carries the text above it and, when asked, the
// original body, and which can carry the original as an attached ".eml" message built
// from the working message (so a filter before this target that dropped attachments is
// honoured).
//
// A refused message fails alone. A connection that cannot be made, or is lost and cannot
// be made again, fails the target once; every message after that is not delivered, is
// not counted as failed in the log, and is kept out of the processed-message log, so
// that a later run sends it.

#include <memory>
#include <string>
#include <vector>

#include "uKwParameters.h"
#include "uKwTargetBase.h"

class TKwSmtpClient;
struct TKwOutgoingMail;

class TKwTargetMailSMTP : public TKwTargetMailBase {
 public:
  TKwTargetMailSMTP();
  ~TKwTargetMailSMTP() override;
  std::string_view ClassName() const override { return "TKwTargetMailSMTP"; }
  void Publish(TKwPublisher& publisher) override;

  void InitializeExtractProcess(TKwFoldersTree& folders) override;
  void ProcessMessage(TKwMailMessage& message) override;
  void FinalizeExtractProcess() override;
  // A message not delivered because the server is gone counts here, beside the errors.
  int SubtreeErrorsCount() const override;

  TSMTPForwardSubject ForwardSubject = sfsForwardPrefixOriginalSubject;
  std::string From;
  bool IncludeMessageAsAttachment = false;
  bool IncludeMessageBody = false;
  std::string Recipients;
  const std::unique_ptr<TKwRemoteOptions> Remote = std::make_unique<TKwRemoteOptions>();
  std::string Subject;
  TStringList TopPostedBody;

 private:
  bool Connect();  // false after logging why, once per failure
  TKwOutgoingMail ComposeForward(TKwMailMessage& working);
  std::string ForwardedSubject(const std::string& original) const;

  std::unique_ptr<TKwSmtpClient> FMailer;
  bool FGaveUp = false;  // the server could not be reached: send nothing more this run
  int FUndelivered = 0;
};

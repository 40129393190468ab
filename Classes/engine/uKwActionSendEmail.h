#pragma once
// TKwActionSendEmail: the simple action that sends one plain-text mail when a job runs it,
// for example to say that the job's sources have finished. Its settings mirror those of
// the send-email target, without templates: the text is sent as written.

#include <memory>
#include <string>

#include "uKwActionBase.h"

class TKwRemoteOptions;

class TKwActionSendEmail : public TKwActionBase {
 public:
  TKwActionSendEmail();
  ~TKwActionSendEmail() override;
  std::string_view ClassName() const override { return "TKwActionSendEmail"; }
  void Publish(TKwPublisher& publisher) override;

  // One mail to every address of Recipient; an error entry says why when it is not sent.
  void Execute() override;

  std::string Body;
  std::string From;
  std::string Recipient;  // addresses separated by commas or semicolons
  std::string Subject;
  const std::unique_ptr<TKwRemoteOptions> Remote;
};

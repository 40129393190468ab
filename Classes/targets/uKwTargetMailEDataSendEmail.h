#pragma once
// Sends one mail per message it receives, built from templates (From, Recipient, Subject,
// Body) in which "%Name%" stands for the value of the variable Name (the parsed data
// fields first, then the message parts; names compared without regard to case). Each
// mail is its own SendEmail call. Outcomes go to the action log: an error entry on
// failure, and the notes of every attempt.

#include <memory>
#include <string>

#include "uKwParameters.h"
#include "uKwTargetBase.h"

class TKwVariablesList;

class TKwTargetMailEDataSendEmail : public TKwTargetMailBase {
 public:
  TKwTargetMailEDataSendEmail();
  std::string_view ClassName() const override { return "TKwTargetMailEDataSendEmail"; }
  void Publish(TKwPublisher& publisher) override;

  void ProcessMessage(TKwMailMessage& message) override;

  std::string Body, From, Recipient, Subject;  // templates
  const std::unique_ptr<TKwRemoteOptions> Remote = std::make_unique<TKwRemoteOptions>();
};

// `text` with every "%" + name + "%" of the variables replaced by the value, in list
// order, the names matched without regard to ASCII case. A null list changes nothing.
std::string FillTemplate(std::string text, const TKwVariablesList* variables);

#include "uKwSMTP.h"

#include "uKwOutgoingMail.h"
#include "uKwSmtpClient.h"
#include "uKwSourceRemote.h"

bool SendEmail(const TKwRemoteOptions& remote, const std::string& from, const std::string& sendTo,
               const std::string& subject, const std::string& messageText, std::string& errorText,
               TKwGlobalOptions* global, const std::atomic<bool>& abort) {
  TKwConnectionSettings settings;
  TKwSmtpClient client;
  if (!RemoteConnectionSettings(remote, global, abort, TKwMailProtocol::Smtp, settings, errorText) ||
      !client.Connect(settings, errorText))
    return false;
  TKwOutgoingMail mail;
  mail.From = from;
  mail.SendTo = sendTo;
  mail.Subject = subject;
  mail.Body = messageText;
  const bool sent = client.Send(from, SplitRecipients(sendTo), ComposeMime(mail), errorText) == TKwSmtpResult::Sent;
  client.Disconnect();
  return sent;
}

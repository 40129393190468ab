#pragma once
// An SMTP client (RFC 5321) over one libcurl connection: curl greets, negotiates TLS and
// authenticates; this client then sends any number of messages on that connection with
// MAIL FROM, RCPT TO and DATA, and says QUIT at the end.
//
// Owns its connection. Not copyable; used from one thread.

#include <string>
#include <vector>

#include "uKwCurl.h"

// The outcome of one message: Refused leaves the connection usable for the next message;
// Lost means the connection is gone and the message was not delivered.
enum class TKwSmtpResult { Sent, Refused, Lost };

class TKwSmtpClient {
 public:
  // Connects, negotiates TLS as the settings say and logs in when a user is set. False
  // with `error` naming the server and the reason.
  bool Connect(const TKwConnectionSettings& settings, std::string& error);
  // QUIT, then closes.
  void Disconnect();
  bool IsConnected() const { return FConnection.IsOpen(); }

  // Sends `message` (header and body, lines ended by LF or CR LF) from `from` to every
  // recipient. Any recipient refused refuses the whole message, so that nobody gets a
  // copy the others miss. `error` holds the server's answer when not Sent.
  TKwSmtpResult Send(const std::string& from, const std::vector<std::string>& recipients, const std::string& message,
                     std::string& error);

 private:
  // Sends a command line (or the message data) and reads the whole reply.
  bool Exchange(const std::string& bytes, int& code, std::string& reply);
  TKwSmtpResult Refuse(const std::string& step, const std::string& reply, std::string& error);

  TKwCurlConnection FConnection;
  std::string FPeer;
};

// `message` ready for DATA: every line ended by CR LF, a leading dot doubled, and the
// closing "." line added.
std::string SmtpDataBlock(const std::string& message);

// The addresses of a recipients text ("a@x.org; Bob <b@y.org>, c@z.org"), in order.
std::vector<std::string> SplitRecipients(const std::string& recipients);

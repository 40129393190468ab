#pragma once
// SendEmail: one plain-text mail through an SMTP server named by remote options, over
// the global firewall or proxy settings; one connection per call.

#include <atomic>
#include <string>

class TKwGlobalOptions;
class TKwRemoteOptions;

// True when the mail was sent to every address of `sendTo`; else false with `errorText`
// saying why (the connection or the server's answer). `global` is not owned and may be
// null; `abort` breaks off a wait.
bool SendEmail(const TKwRemoteOptions& remote, const std::string& from, const std::string& sendTo,
               const std::string& subject, const std::string& messageText, std::string& errorText,
               TKwGlobalOptions* global, const std::atomic<bool>& abort);

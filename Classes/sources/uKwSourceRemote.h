#pragma once
// What the server sources (POP3, IMAP) share: the connection settings read from a
// source's remote options and the global firewall, proxy, CA and OAuth settings, and the
// reason of a failed connection put into the source's "Couldn't connect to source" entry.

#include <atomic>
#include <string>

#include "uKwCurl.h"

class TKwActionLog;
class TKwGlobalOptions;
class TKwRemoteOptions;
class TKwSourceBase;

// The connection of `source` (its Remote options; GlobalOptions when set). With XOAUTH2
// the access token comes from the OAuth store of the global options (keyed by the user
// name), refreshed there first when it has expired, else from Remote.AccessToken; false
// with `error` when there is none.
bool RemoteConnectionSettings(TKwSourceBase& source, TKwMailProtocol protocol, TKwConnectionSettings& settings,
                              std::string& error);

// Puts `reason` into the description of the log's latest "Couldn't connect to source"
// entry, so the one entry of a failed connection says why.
// The same for any action that talks to a server (the SMTP and IMAP targets): `remote`
// its options, `global` the global options (not owned; may be null, and has its OAuth
// store updated), `abort` the action's flag, which must outlive the connection.
bool RemoteConnectionSettings(const TKwRemoteOptions& remote, TKwGlobalOptions* global,
                              const std::atomic<bool>& abort, TKwMailProtocol protocol,
                              TKwConnectionSettings& settings, std::string& error);

void ExplainConnectFailure(TKwActionLog& log, const std::string& reason);

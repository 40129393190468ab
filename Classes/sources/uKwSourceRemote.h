#pragma once
// What the server sources (POP3, IMAP) share: the connection settings read from a
// source's remote options and the global firewall, proxy, CA and OAuth settings, and the
// reason of a failed connection put into the source's "Couldn't connect to source" entry.

#include <string>

#include "uKwCurl.h"

class TKwActionLog;
class TKwSourceBase;

// The connection of `source` (its Remote options; GlobalOptions when set). With XOAUTH2
// the access token comes from the OAuth store of the global options (keyed by the user
// name), refreshed there first when it has expired, else from Remote.AccessToken; false
// with `error` when there is none.
bool RemoteConnectionSettings(TKwSourceBase& source, TKwMailProtocol protocol, TKwConnectionSettings& settings,
                              std::string& error);

// Puts `reason` into the description of the log's latest "Couldn't connect to source"
// entry, so the one entry of a failed connection says why.
void ExplainConnectFailure(TKwActionLog& log, const std::string& reason);

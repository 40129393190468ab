#include "uKwSourceRemote.h"

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwOAuth.h"
#include "uKwParameters.h"
#include "uKwSourceBase.h"

namespace {

constexpr char kConnectFailure[] = "Couldn't connect to source";

std::string Mechanism(TImapAuthMechanism mechanism) {
  switch (mechanism) {
    case iamCRAMMD5: return "CRAM-MD5";
    case iamNTLM: return "NTLM";
    case iamSASLPlain: return "PLAIN";
    case iamSASLDigestMD5: return "DIGEST-MD5";
    case iamKerberos: return "GSSAPI";
    case iamXOAUTH2: return "XOAUTH2";
    default: return "";
  }
}

// The firewall options first; a proxy server alone is reached as an HTTP tunnel.
TKwProxySettings Proxy(const TKwGlobalOptions& global) {
  TKwProxySettings proxy;
  const TKwFirewallOptions& firewall = *global.Firewall;
  if (firewall.FirewallType != ftNone && !firewall.Host.empty()) {
    proxy.Kind = firewall.FirewallType == ftSocks4   ? TKwProxyKind::Socks4
                 : firewall.FirewallType == ftSocks5 ? TKwProxyKind::Socks5
                                                     : TKwProxyKind::HttpTunnel;
    proxy.Host = firewall.Host;
    proxy.Port = firewall.Port;
    proxy.Username = firewall.Username;
    proxy.Password = firewall.Password;
  } else if (!global.Proxy->Server.empty()) {
    proxy.Kind = TKwProxyKind::HttpTunnel;
    proxy.Host = global.Proxy->Server;
    proxy.Port = global.Proxy->Port;
    proxy.Username = global.Proxy->User;
    proxy.Password = global.Proxy->Password;
  }
  return proxy;
}

bool BearerToken(const TKwRemoteOptions& remote, TKwGlobalOptions* global, std::string& token,
                 std::string& error) {
  const std::string& key = remote.Username;
  std::string access, refresh;
  TDateTime expiry = 0;
  if (global && global->OauthGetTokens(key, access, refresh, expiry)) {
    if (expiry != 0 && expiry <= NowLocal() && !refresh.empty()) {
      TKwOAuthTokens fresh;
      const std::string caFile = global->CaFile;
      if (!RefreshOAuthToken(remote.Server, refresh, caFile, fresh, error)) return false;
      access = fresh.AccessToken;
      if (!fresh.RefreshToken.empty()) refresh = fresh.RefreshToken;
      global->OauthSetTokens(key, access, refresh, fresh.Expiry);
    }
    token = access;
  } else {
    token = remote.AccessToken;
  }
  if (token.empty()) error = "No OAuth access token for " + key;
  return !token.empty();
}

}  // namespace

bool RemoteConnectionSettings(TKwSourceBase& source, TKwMailProtocol protocol, TKwConnectionSettings& settings,
                              std::string& error) {
  return RemoteConnectionSettings(*source.SourceOptions->Remote, source.GlobalOptions, source.Aborted, protocol,
                                  settings, error);
}

bool RemoteConnectionSettings(const TKwRemoteOptions& remote, TKwGlobalOptions* global,
                              const std::atomic<bool>& abort, TKwMailProtocol protocol,
                              TKwConnectionSettings& settings, std::string& error) {
  settings = {};
  settings.Protocol = protocol;
  settings.Host = remote.Server;
  settings.Port = remote.Port;
  settings.UseSSL = remote.UseSSL;
  settings.Username = remote.Username;
  settings.Password = remote.Password;
  settings.Mechanism = Mechanism(remote.ImapAuthMechanism);
  settings.Abort = &abort;
  if (global) {
    settings.CaFile = global->CaFile;
    settings.Proxy = Proxy(*global);
  }
  if (settings.Host.empty()) return error = "No server is set", false;
  if (settings.Mechanism == "XOAUTH2") return BearerToken(remote, global, settings.BearerToken, error);
  return true;
}

void ExplainConnectFailure(TKwActionLog& log, const std::string& reason) {
  if (reason.empty()) return;
  for (int i = log.ErrorsCount() - 1; i >= 0; --i) {
    TKwActionError& entry = log.GetError(i);
    if (entry.Error != kConnectFailure) continue;
    entry.Description = reason;
    return;
  }
}

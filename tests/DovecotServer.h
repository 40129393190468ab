#pragma once
// A throw-away Dovecot (IMAP, IMAPS, POP3, POP3S on 127.0.0.1) for the network suites,
// started by scripts/dovecot-test.sh in a folder of its own. User alice, password secret
// (also taken as an XOAUTH2 token). Start it once per test binary: stopping takes seconds.

#include <string>
#include <vector>

#include "ScriptServer.h"
#include "uKwCurl.h"

class TDovecotServer : public TScriptServer {
 public:
  static constexpr char kUser[] = "alice";
  static constexpr char kPassword[] = "secret";

  TDovecotServer() : TScriptServer("dovecot-test.sh", "dovecot") {}

  int Port(const std::string& name) const { return Number(name + "_PORT"); }  // "IMAP", "IMAPS", "POP3", "POP3S"

  TKwConnectionSettings Settings(TKwMailProtocol protocol, bool tls) const {
    TKwConnectionSettings s;
    s.Protocol = protocol;
    s.Host = "127.0.0.1";
    const bool pop = protocol == TKwMailProtocol::Pop3;
    s.Port = Port(pop ? (tls ? "POP3S" : "POP3") : (tls ? "IMAPS" : "IMAP"));
    s.UseSSL = tls;
    s.Username = kUser;
    s.Password = kPassword;
    s.CaFile = CaFile();
    s.TimeoutSeconds = 10;
    return s;
  }

 protected:
  bool IsUp() const override { return Port("IMAP") > 0 && Port("POP3") > 0; }
};

// A message of `bodyLines` numbered body lines.
inline std::string TestMessage(int n, int bodyLines = 2, const std::string& subject = "") {
  std::string text = "From: Sender " + std::to_string(n) + " <sender" + std::to_string(n) + "@example.com>\r\n";
  text += "To: alice@example.org\r\nSubject: " + (subject.empty() ? "Message " + std::to_string(n) : subject) + "\r\n";
  text += "Date: Mon, 15 Jan 2024 10:00:00 +0000\r\n";
  text += "Message-ID: <msg" + std::to_string(n) + "@example.com>\r\n\r\n";
  for (int i = 1; i <= bodyLines; ++i) text += "line " + std::to_string(i) + "\r\n";
  return text;
}

#include "uKwImapClient.h"

// Empties the mailbox of alice (INBOX unless named) and appends the messages in order.
inline bool ResetMailbox(const TDovecotServer& server, const std::vector<std::string>& messages,
                         const std::string& mailbox = "INBOX") {
  TKwImapClient client;
  std::string error;
  TKwImapSelected selected;
  std::vector<uint32_t> uids;
  if (!client.Connect(server.Settings(TKwMailProtocol::Imap, false), error)) return false;
  if (!client.Select(mailbox, false, selected) || !client.UidSearch("", uids) || !client.DeleteUids(uids)) return false;
  for (const std::string& message : messages)
    if (!client.Append(mailbox, "", message)) return false;
  return true;
}

#include <filesystem>
#include <memory>

#include "uKwParameters.h"
#include "uKwTargetSingleFiles.h"

// A source of the given kind logged in to the server as alice, with one single-files target
// writing .eml files below folder; the global options carry the server's CA.
template <class TSource>
std::unique_ptr<TSource> DovecotSource(const TDovecotServer& server, TSourceTargetItem kind, int port, bool tls,
                                       TKwGlobalOptions& global, const std::filesystem::path& folder) {
  auto source = std::make_unique<TSource>();
  source->ItemType = kind;
  source->GlobalOptions = &global;
  global.CaFile = server.CaFile();
  TKwRemoteOptions& remote = *source->SourceOptions->Remote;
  remote.Server = "127.0.0.1";
  remote.Port = port;
  remote.UseSSL = tls;
  remote.Username = TDovecotServer::kUser;
  remote.Password = TDovecotServer::kPassword;
  auto& target = static_cast<TKwTargetMailSingleFiles&>(source->GetChild(source->AddChild(stiMailTarSingleFiles)));
  target.Options->TargetFolder = folder.string();
  return source;
}

// The .eml files below folder (none when it does not exist).
inline int CountEmlFiles(const std::filesystem::path& folder) {
  int n = 0;
  if (std::filesystem::exists(folder))
    for (auto& entry : std::filesystem::recursive_directory_iterator(folder)) n += entry.path().extension() == ".eml";
  return n;
}

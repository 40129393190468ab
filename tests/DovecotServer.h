#pragma once
// A throw-away Dovecot (IMAP, IMAPS, POP3, POP3S on 127.0.0.1) for the network suites,
// started by scripts/dovecot-test.sh in a folder of its own. User alice, password secret
// (also taken as an XOAUTH2 token). Start it once per test binary: stopping takes seconds.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <vector>
#include <string>

#include "uKwCurl.h"

class TDovecotServer {
 public:
  static constexpr char kUser[] = "alice";
  static constexpr char kPassword[] = "secret";

  // False (with the script's output in Error) when the server did not come up.
  // `environment` ("POP3S_PORT=995") goes before the script's command.
  bool Start(const std::string& environment = "") {
    FDir = std::filesystem::temp_directory_path() / ("quillon-dovecot-" + std::to_string(getpid()));
    std::filesystem::remove_all(FDir);
    const std::string log = (FDir.string() + ".log");
    if (std::system((environment + " " + Script() + " start " + FDir.string() + " >" + log + " 2>&1").c_str()) != 0) {
      std::ifstream in(log);
      Error.assign(std::istreambuf_iterator<char>(in), {});
      return false;
    }
    std::ifstream env(FDir / "ports.env");
    for (std::string line; std::getline(env, line);)
      if (auto eq = line.find('='); eq != std::string::npos) FValues[line.substr(0, eq)] = line.substr(eq + 1);
    return Port("IMAP") > 0 && Port("POP3") > 0;
  }
  void Stop() {
    if (FDir.empty()) return;
    std::system((Script() + " stop " + FDir.string() + " >/dev/null 2>&1").c_str());
    std::filesystem::remove_all(FDir);
    std::filesystem::remove(FDir.string() + ".log");
    FDir.clear();
  }
  ~TDovecotServer() { Stop(); }

  int Port(const std::string& name) const {  // "IMAP", "IMAPS", "POP3", "POP3S"
    auto it = FValues.find(name + "_PORT");
    return it == FValues.end() ? 0 : std::atoi(it->second.c_str());
  }
  std::string CaFile() const { return FValues.count("CA") ? FValues.at("CA") : ""; }
  std::filesystem::path Dir() const { return FDir; }

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

  std::string Error;

 private:
  static std::string Script() { return std::string(QUILLON_SOURCE_DIR) + "/scripts/dovecot-test.sh"; }
  std::filesystem::path FDir;
  std::map<std::string, std::string> FValues;
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

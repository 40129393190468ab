#pragma once
// A throw-away SMTP server (Debian's python3-aiosmtpd on 127.0.0.1, STARTTLS on one port,
// implicit TLS on another) for the network suites, started by scripts/smtp-test.sh in a
// folder of its own. User alice, password (or XOAUTH2 token) secret. Every message lands
// as spool/N.eml beside N.json: envelope, login, mechanism and whether TLS was on.
// Recipients "refused@..." are rejected; a message to "drop@..." loses the connection.

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "ScriptServer.h"

class TSmtpServer : public TScriptServer {
 public:
  static constexpr char kUser[] = "alice";
  static constexpr char kPassword[] = "secret";

  TSmtpServer() : TScriptServer("smtp-test.sh", "smtp") {}

  int Port() const { return Number("SMTP_PORT"); }     // plain, offers STARTTLS
  int TlsPort() const { return Number("SMTPS_PORT"); }  // implicit TLS

  // Forgets what arrived so far; the numbering goes on.
  void ClearSpool() const {
    for (auto& entry : std::filesystem::directory_iterator(Dir() / "spool")) std::filesystem::remove(entry.path());
  }
  // What arrived, in order of arrival.
  struct TReceived {
    std::string Text;
    nlohmann::json Envelope;
  };
  std::vector<TReceived> Received() const {
    std::map<int, TReceived> byNumber;
    for (auto& entry : std::filesystem::directory_iterator(Dir() / "spool")) {
      const auto& path = entry.path();
      if (path.extension() != ".json") continue;
      TReceived item;
      std::ifstream json(path), eml(std::filesystem::path(path).replace_extension(".eml"), std::ios::binary);
      item.Envelope = nlohmann::json::parse(json);
      item.Text.assign(std::istreambuf_iterator<char>(eml), {});
      byNumber[std::stoi(path.stem().string())] = std::move(item);
    }
    std::vector<TReceived> list;
    for (auto& [n, item] : byNumber) list.push_back(std::move(item));
    return list;
  }

 protected:
  bool IsUp() const override { return Port() > 0 && TlsPort() > 0; }
};

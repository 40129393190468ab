#pragma once
// A throw-away SMTP server (Debian's python3-aiosmtpd on 127.0.0.1, STARTTLS on one port,
// implicit TLS on another) for the network suites, started by scripts/smtp-test.sh in a
// folder of its own. User alice, password (or XOAUTH2 token) secret. Every message lands
// as spool/N.eml beside N.json: envelope, login, mechanism and whether TLS was on.
// Recipients "refused@..." are rejected; a message to "drop@..." loses the connection.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include <nlohmann/json.hpp>

class TSmtpServer {
 public:
  static constexpr char kUser[] = "alice";
  static constexpr char kPassword[] = "secret";

  // False (with the script's output in Error) when the server did not come up.
  // `environment` ("SMTPS_PORT=465") goes before the script's command.
  bool Start(const std::string& environment = "") {
    FDir = std::filesystem::temp_directory_path() / ("quillon-smtp-" + std::to_string(getpid()));
    std::filesystem::remove_all(FDir);
    const std::string log = FDir.string() + ".log";
    if (std::system((environment + " " + Script() + " start " + FDir.string() + " >" + log + " 2>&1").c_str()) != 0) {
      std::ifstream in(log);
      Error.assign(std::istreambuf_iterator<char>(in), {});
      return false;
    }
    std::ifstream env(FDir / "ports.env");
    for (std::string line; std::getline(env, line);)
      if (auto eq = line.find('='); eq != std::string::npos) FValues[line.substr(0, eq)] = line.substr(eq + 1);
    return Port() > 0 && TlsPort() > 0;
  }
  void Stop() {
    if (FDir.empty()) return;
    std::system((Script() + " stop " + FDir.string() + " >/dev/null 2>&1").c_str());
    std::filesystem::remove_all(FDir);
    std::filesystem::remove(FDir.string() + ".log");
    FDir.clear();
  }
  ~TSmtpServer() { Stop(); }

  int Port() const { return Value("SMTP_PORT"); }     // plain, offers STARTTLS
  int TlsPort() const { return Value("SMTPS_PORT"); }  // implicit TLS
  std::string CaFile() const { return FValues.count("CA") ? FValues.at("CA") : ""; }

  // Forgets what arrived so far; the numbering goes on.
  void ClearSpool() const {
    for (auto& entry : std::filesystem::directory_iterator(FDir / "spool")) std::filesystem::remove(entry.path());
  }
  // What arrived, in order of arrival.
  struct TReceived {
    std::string Text;
    nlohmann::json Envelope;
  };
  std::vector<TReceived> Received() const {
    std::map<int, TReceived> byNumber;
    for (auto& entry : std::filesystem::directory_iterator(FDir / "spool")) {
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

  std::string Error;

 private:
  int Value(const std::string& key) const {
    auto it = FValues.find(key);
    return it == FValues.end() ? 0 : std::atoi(it->second.c_str());
  }
  static std::string Script() { return std::string(QUILLON_SOURCE_DIR) + "/scripts/smtp-test.sh"; }
  std::filesystem::path FDir;
  std::map<std::string, std::string> FValues;
};

#pragma once
// A throw-away server started by one of the scripts/*-test.sh scripts in a folder of its
// own ("start DIR" writes DIR/ports.env, "stop DIR" ends it). The network suites derive
// their servers from it; start one per test binary, as stopping can take seconds.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

class TScriptServer {
 public:
  // script: the file name under scripts/; name: a word for the folder.
  TScriptServer(std::string script, std::string name) : FScript(std::move(script)), FName(std::move(name)) {}
  virtual ~TScriptServer() { Stop(); }
  TScriptServer(const TScriptServer&) = delete;
  TScriptServer& operator=(const TScriptServer&) = delete;

  // False (with the script's output in Error) when the server did not come up.
  // `environment` ("POP3S_PORT=995") goes before the script's command.
  bool Start(const std::string& environment = "") {
    FDir = std::filesystem::temp_directory_path() / ("quillon-" + FName + "-" + std::to_string(getpid()));
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
    return IsUp();
  }
  void Stop() {
    if (FDir.empty()) return;
    std::system((Script() + " stop " + FDir.string() + " >/dev/null 2>&1").c_str());
    std::filesystem::remove_all(FDir);
    std::filesystem::remove(FDir.string() + ".log");
    FDir.clear();
  }

  // A value of ports.env as a number; 0 when absent.
  int Number(const std::string& key) const {
    auto it = FValues.find(key);
    return it == FValues.end() ? 0 : std::atoi(it->second.c_str());
  }
  std::string CaFile() const { return FValues.count("CA") ? FValues.at("CA") : ""; }
  std::filesystem::path Dir() const { return FDir; }

  std::string Error;

 protected:
  // Whether ports.env names what the suite needs.
  virtual bool IsUp() const = 0;

 private:
  std::string Script() const { return std::string(QUILLON_SOURCE_DIR) + "/scripts/" + FScript; }
  std::string FScript, FName;
  std::filesystem::path FDir;
  std::map<std::string, std::string> FValues;
};

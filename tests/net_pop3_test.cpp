// The POP3 client and the POP3 source against a real Dovecot on 127.0.0.1 (its POP3S port
// fixed at 995, where clients use implicit TLS), and against scripted servers that fail.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "CliRun.h"
#include "DovecotServer.h"
#include "ProxyRelay.h"
#include "ScriptedServer.h"
#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwMailMessage.h"
#include "uKwParameters.h"
#include "uKwPop3Client.h"
#include "uKwSourcePop.h"
#include "uKwTargetSingleFiles.h"

namespace fs = std::filesystem;

namespace {

TDovecotServer* gServer = nullptr;

class Pop3Test : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    unsetenv("SSL_CERT_FILE");
    gServer = new TDovecotServer;
    if (!gServer->Start("POP3S_PORT=995")) {
      std::string error = gServer->Error;
      delete gServer;
      gServer = nullptr;
      FAIL() << "Dovecot did not start: " << error;
    }
  }
  static void TearDownTestSuite() {
    delete gServer;
    gServer = nullptr;
  }
  void SetUp() override {
    ASSERT_NE(gServer, nullptr) << "no server";
    ASSERT_TRUE(ResetMailbox(*gServer, {TestMessage(1), TestMessage(2), TestMessage(3)}));
  }
  static TKwConnectionSettings Settings(bool tls) { return gServer->Settings(TKwMailProtocol::Pop3, tls); }

  std::unique_ptr<TKwSourceMailPOP> Source(bool tls = true) {
    return DovecotSource<TKwSourceMailPOP>(*gServer, stiMailSrcPOP, gServer->Port(tls ? "POP3S" : "POP3"), tls, FGlobal,
                                           FHome / "eml");
  }
  int EmlFiles() { return CountEmlFiles(FHome / "eml"); }

  TTempHome FHome;
  TKwGlobalOptions FGlobal;
};

// ---------------------------------------------------------------- the client

TEST_F(Pop3Test, ConnectsInEveryTlsModeAndCountsFromOne) {
  for (bool tls : {false, true}) {
    for (int port : {gServer->Port("POP3"), gServer->Port("POP3S")}) {
      if (!tls && port == gServer->Port("POP3S")) continue;
      TKwConnectionSettings settings = Settings(tls);
      settings.Port = port;  // TLS on the plain port is STARTTLS
      TKwPop3Client client;
      std::string error;
      ASSERT_TRUE(client.Connect(settings, error)) << error << " tls " << tls << " port " << port;
      int count = 0;
      int64_t size = 0;
      ASSERT_TRUE(client.Stat(count, size));
      EXPECT_EQ(count, 3);
      std::vector<TKwPop3Listing> uids;
      ASSERT_TRUE(client.Uidl(uids));
      ASSERT_EQ(uids.size(), 3u);
      EXPECT_EQ(uids.front().Number, 1);
    }
  }
}

TEST_F(Pop3Test, WithoutTlsNeverNegotiatesIt) {
  TKwConnectionSettings settings = Settings(false);
  settings.Port = gServer->Port("POP3S");  // a port that speaks TLS at once
  settings.TimeoutSeconds = 3;
  TKwPop3Client client;
  std::string error;
  EXPECT_FALSE(client.Connect(settings, error));
}

TEST_F(Pop3Test, RefusesAnUntrustedCertificateAndTrustsSslCertFile) {
  TKwConnectionSettings settings = Settings(true);
  settings.CaFile.clear();
  TKwPop3Client client;
  std::string error;
  EXPECT_FALSE(client.Connect(settings, error));
  EXPECT_NE(error.find("127.0.0.1:995"), std::string::npos) << error;
  EXPECT_NE(error.find("certificate"), std::string::npos) << error;
  setenv("SSL_CERT_FILE", gServer->CaFile().c_str(), 1);
  EXPECT_TRUE(client.Connect(settings, error)) << error;
  unsetenv("SSL_CERT_FILE");
}

TEST_F(Pop3Test, LogsInWithEveryMechanismAndRefusesAWrongPassword) {
  for (const char* mechanism : {"", "+APOP", "PLAIN", "LOGIN", "CRAM-MD5", "XOAUTH2"}) {
    TKwConnectionSettings settings = Settings(false);
    settings.Mechanism = mechanism;
    settings.BearerToken = TDovecotServer::kPassword;  // the test server's token
    TKwPop3Client client;
    std::string error;
    EXPECT_TRUE(client.Connect(settings, error)) << mechanism << ": " << error;
  }
  TKwConnectionSettings settings = Settings(false);
  settings.Password = "wrong";
  TKwPop3Client client;
  std::string error;
  EXPECT_FALSE(client.Connect(settings, error));
  EXPECT_NE(error.find("127.0.0.1"), std::string::npos) << error;
}

TEST_F(Pop3Test, TopGivesTheHeaderAloneOrCutsTheBody) {
  ASSERT_TRUE(ResetMailbox(*gServer, {TestMessage(1, 5), "Subject: dots\r\n\r\n.leading dot\r\n..two\r\n"}));
  TKwPop3Client client;
  std::string error;
  ASSERT_TRUE(client.Connect(Settings(false), error)) << error;
  std::vector<std::string> texts;
  ASSERT_TRUE(client.Top({1, 2}, 0, [&](int, std::string& text) { texts.push_back(text); }));
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(texts[0].find("line 1"), std::string::npos);
  texts.clear();
  ASSERT_TRUE(client.Top({1, 2}, 2, [&](int, std::string& text) { texts.push_back(text); }));
  EXPECT_NE(texts[0].find("line 2\r\n"), std::string::npos);
  EXPECT_EQ(texts[0].find("line 3"), std::string::npos);
  EXPECT_NE(texts[1].find("\r\n.leading dot\r\n..two\r\n"), std::string::npos) << "dot-stuffing undone";
  EXPECT_FALSE(client.Top({9}, 0, [](int, std::string&) {})) << "no message 9";
  EXPECT_TRUE(client.IsConnected()) << "a refused command leaves the session usable";
}

// ---------------------------------------------------------------- failing servers

TEST_F(Pop3Test, ADeadSilentOrVanishingServerGivesOneClearErrorAndAnAbortEndsTheWait) {
  TKwConnectionSettings settings = Settings(false);
  TKwPop3Client client;
  std::string error;
  {
    TScriptedServer closed("", nullptr);
    settings.Port = closed.Port();
  }  // nothing listens there now
  EXPECT_FALSE(client.Connect(settings, error));
  EXPECT_NE(error.find("Couldn't connect to 127.0.0.1"), std::string::npos) << error;

  TScriptedServer silent("", [](const std::string&) { return std::string(); });
  settings.Port = silent.Port();
  settings.TimeoutSeconds = 1;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(client.Connect(settings, error));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << error;

  TScriptedServer mute("", [](const std::string&) { return std::string(); });
  std::atomic<bool> abort{false};
  settings.Port = mute.Port();
  settings.TimeoutSeconds = 60;
  settings.Abort = &abort;
  std::thread ctrlC([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    abort = true;
  });
  const auto asked = std::chrono::steady_clock::now();
  EXPECT_FALSE(client.Connect(settings, error));
  ctrlC.join();
  EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(5)) << "an abort ends the wait";
  EXPECT_NE(error.find("aborted"), std::string::npos) << error;
  settings.Abort = nullptr;

  TScriptedServer vanishing("+OK ready\r\n", [](const std::string& line) -> std::string {
    if (line == "CAPA") return "+OK\r\nUSER\r\n.\r\n";
    if (line.rfind("USER", 0) == 0 || line.rfind("PASS", 0) == 0) return "+OK\r\n";
    if (line.rfind("TOP", 0) == 0) return std::string("+OK\r\nSubject: half\r\n") + TScriptedServer::kClose;
    return TScriptedServer::kClose;
  });
  settings.Port = vanishing.Port();
  settings.TimeoutSeconds = 5;
  ASSERT_TRUE(client.Connect(settings, error)) << error;
  EXPECT_FALSE(client.Top({1}, 0, [](int, std::string&) { ADD_FAILURE() << "half a message handed on"; }));
  EXPECT_NE(client.LastError().find("closed the connection"), std::string::npos) << client.LastError();
  EXPECT_FALSE(client.IsConnected());
}

// ---------------------------------------------------------------- the source

TEST_F(Pop3Test, ExportsEveryMessageOnceAndASecondRunFetchesNothing) {
  auto source = Source();
  source->SourceOptions->CopyToSourceLog = true;
  source->Execute();
  EXPECT_EQ(source->GetLog().ErrorsCount(), 0) << source->GetLog().GetError(0).Error;
  EXPECT_EQ(EmlFiles(), 3);
  EXPECT_EQ(source->GetChild(0).GetLog().Saved, 3);
  EXPECT_EQ(source->GetLog().FoldersList, (TStringList{"POP/Inbox=3"})) << "the root stands for the same mailbox";
  source->Execute();
  EXPECT_EQ(source->GetChild(0).GetLog().Saved, 0);
  EXPECT_EQ(EmlFiles(), 3);
}

TEST_F(Pop3Test, AnEmptyMailboxGivesAnEmptyFolder) {
  ASSERT_TRUE(ResetMailbox(*gServer, {}));
  auto source = Source(false);
  source->Execute();
  EXPECT_EQ(source->GetLog().ErrorsCount(), 0);
  EXPECT_EQ(source->GetLog().FoldersList, (TStringList{"POP/Inbox=0"}));
  EXPECT_EQ(EmlFiles(), 0);
}

TEST_F(Pop3Test, IdsCountFromOneAndLongMessagesAreCut) {
  ASSERT_TRUE(ResetMailbox(*gServer, {TestMessage(1, 10050), TestMessage(2)}));
  auto source = Source();
  ASSERT_TRUE(source->InitializeExtraction());
  ASSERT_TRUE(source->Connect());
  TKwMailMessage message;
  EXPECT_FALSE(source->DownloadMessage("0", message));
  ASSERT_TRUE(source->DownloadMessage("2", message));
  EXPECT_EQ(message.Headers->Subject, "Message 2");
  ASSERT_TRUE(source->DownloadMessage("1", message));
  const TStringList& body = message.TextPart;
  EXPECT_NE(std::find(body.begin(), body.end(), "line 10000"), body.end());
  EXPECT_EQ(std::find(body.begin(), body.end(), "line 10001"), body.end()) << "only 10,000 body lines are fetched";
  source->FinalizeExtraction();
}

TEST_F(Pop3Test, TheRunGoesThroughTheFirewallsSocks5OrHttpTunnel) {
  for (TProxyRelay::TKind kind : {TProxyRelay::Socks5, TProxyRelay::HttpConnect}) {
    TProxyRelay relay(kind);
    fs::remove_all(FHome / "eml");
    auto source = Source();
    FGlobal.Firewall->FirewallType = kind == TProxyRelay::Socks5 ? ftSocks5 : ftTunnel;
    FGlobal.Firewall->Host = "127.0.0.1";
    FGlobal.Firewall->Port = relay.Port();
    source->Execute();
    EXPECT_EQ(source->GetLog().ErrorsCount(), 0) << source->GetLog().GetError(0).Description;
    EXPECT_EQ(EmlFiles(), 3);
    EXPECT_EQ(relay.Tunnels(), 1) << "the run's one connection; loading the folders goes direct";
  }
}

TEST_F(Pop3Test, AnUntrustedServerIsACouldNotConnectErrorOfTheRun) {
  auto source = Source();
  FGlobal.CaFile.clear();
  source->GlobalOptions = nullptr;
  source->Execute();
  ASSERT_EQ(source->GetLog().ErrorsCount(), 1);
  EXPECT_EQ(source->GetLog().GetError(0).Error, "Couldn't connect to source");
  EXPECT_NE(source->GetLog().GetError(0).Description.find("certificate"), std::string::npos);
}

TEST_F(Pop3Test, AJsonJobExportsEveryMessageAndExitsWithErrorsWhenUntrusted) {
  const std::string job = R"({"kind": "stiJob", "children": [{"kind": "stiMailSrcPOP",
    "SourceOptions.CopyToSourceLog": true,
    "SourceOptions.Remote.Server": "127.0.0.1", "SourceOptions.Remote.Port": 995,
    "SourceOptions.Remote.UseSSL": true, "SourceOptions.Remote.Username": "alice",
    "SourceOptions.Remote.Password": "secret",
    "children": [{"kind": "stiMailTarSingleFiles", "Options.TargetFolder": ")" + (FHome / "eml").string() + R"("}]}]})";
  WriteFileText(FHome / "pop.json", job);
  const std::string run = "run --quiet " + (FHome / "pop.json").string();
  TCliRun untrusted = Quillon(run);
  EXPECT_EQ(untrusted.Status, 1) << untrusted.Out;
  EXPECT_NE(untrusted.Out.find("Couldn't connect to source"), std::string::npos) << untrusted.Out;
  setenv("SSL_CERT_FILE", gServer->CaFile().c_str(), 1);
  TCliRun first = Quillon(run);
  EXPECT_EQ(first.Status, 0) << first.Out;
  EXPECT_EQ(EmlFiles(), 3) << first.Out;
  TCliRun second = Quillon(run);
  unsetenv("SSL_CERT_FILE");
  EXPECT_EQ(second.Status, 0) << second.Out;
  EXPECT_EQ(EmlFiles(), 3);
}

}  // namespace

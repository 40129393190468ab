// The IMAP client and the IMAP sources against a real Dovecot on 127.0.0.1 (its IMAPS
// port fixed at 993, where clients use implicit TLS).

#include <gtest/gtest.h>

#include <filesystem>

#include "CliRun.h"
#include "DovecotServer.h"
#include "ScriptedServer.h"
#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwImapClient.h"
#include "uKwParameters.h"
#include "uKwSourceImap.h"
#include "uKwTargetSingleFiles.h"

namespace fs = std::filesystem;

namespace {

TDovecotServer* gServer = nullptr;
const char kNested[] = "Archive/2023/Q1";
const char kUtf7[] = "Entw&APw-rfe";  // "Entwürfe"

class ImapTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    unsetenv("SSL_CERT_FILE");
    gServer = new TDovecotServer;
    if (!gServer->Start("IMAPS_PORT=993")) {
      std::string error = gServer->Error;
      delete gServer;
      gServer = nullptr;
      FAIL() << "Dovecot did not start: " << error;
    }
    TKwImapClient client;
    std::string error;
    ASSERT_TRUE(client.Connect(gServer->Settings(TKwMailProtocol::Imap, false), error)) << error;
    ASSERT_TRUE(client.Create(kNested)) << client.LastError();
    ASSERT_TRUE(client.Create(kUtf7)) << client.LastError();
  }
  static void TearDownTestSuite() {
    delete gServer;
    gServer = nullptr;
  }
  void SetUp() override {
    ASSERT_NE(gServer, nullptr) << "no server";
    ASSERT_TRUE(ResetMailbox(*gServer, {TestMessage(1, 2, "Invoice 7"), TestMessage(2), TestMessage(3)}));
    ASSERT_TRUE(ResetMailbox(*gServer, {TestMessage(4)}, kNested));
    ASSERT_TRUE(ResetMailbox(*gServer, {}, kUtf7));
  }

  std::unique_ptr<TKwSourceMailIMAP> Source() {
    return DovecotSource<TKwSourceMailIMAP>(*gServer, stiMailSrcIMAP, 993, true, FGlobal, FHome / "eml");
  }
  int EmlFiles() { return CountEmlFiles(FHome / "eml"); }
  static std::vector<uint32_t> Uids(const std::string& mailbox) {
    TKwImapClient client;
    std::string error;
    TKwImapSelected selected;
    std::vector<uint32_t> uids;
    if (client.Connect(gServer->Settings(TKwMailProtocol::Imap, false), error)) {
      client.Select(mailbox, true, selected);
      client.UidSearch("", uids);
    }
    return uids;
  }

  TTempHome FHome;
  TKwGlobalOptions FGlobal;
};

TEST_F(ImapTest, ConnectsWithStartTlsAndImplicitTlsAndRefusesAnUntrustedCertificate) {
  for (bool implicit : {false, true}) {
    TKwConnectionSettings settings = gServer->Settings(TKwMailProtocol::Imap, true);
    if (!implicit) settings.Port = gServer->Port("IMAP");
    TKwImapClient client;
    std::string error;
    ASSERT_TRUE(client.Connect(settings, error)) << error;
    std::vector<uint32_t> uids;
    TKwImapSelected selected;
    ASSERT_TRUE(client.Select("INBOX", true, selected));
    EXPECT_EQ(selected.Exists, 3u);
    EXPECT_NE(selected.UidValidity, 0u);
    settings.CaFile.clear();
    EXPECT_FALSE(client.Connect(settings, error));
    EXPECT_NE(error.find("certificate"), std::string::npos) << error;
  }
}

TEST_F(ImapTest, TheFolderTreeFollowsTheServersHierarchy) {
  auto source = Source();
  ASSERT_TRUE(source->LoadFolders());
  std::vector<std::string> paths;
  for (TKwFolderNode* node : source->SourceFolders->Nodes())
    paths.push_back(node->Info().FolderPath + (node->Info().EntryIdW.empty() ? " (parent only)" : ""));
  EXPECT_NE(std::find(paths.begin(), paths.end(), "INBOX"), paths.end());
  EXPECT_NE(std::find(paths.begin(), paths.end(), "Archive/2023/Q1"), paths.end());
  EXPECT_NE(std::find(paths.begin(), paths.end(), "Entw\xC3\xBCrfe"), paths.end()) << "modified UTF-7 decoded";
  TKwFolderNode* archive = source->SourceFolders->SearchFolderPath("Archive");
  ASSERT_NE(archive, nullptr);
  ASSERT_EQ(archive->Children().size(), 1u);
  EXPECT_TRUE(archive->Info().EntryIdW.empty()) << "a \\Noselect folder is a parent only";
}

TEST_F(ImapTest, ExportsEveryFolderAndASecondRunFetchesNothing) {
  auto source = Source();
  source->SourceOptions->CopyToSourceLog = true;
  source->Execute();
  ASSERT_EQ(source->GetLog().ErrorsCount(), 0) << source->GetLog().GetError(0).Error;
  EXPECT_EQ(EmlFiles(), 4);
  EXPECT_EQ(source->GetChild(0).GetLog().Saved, 4);
  source->Execute();
  EXPECT_EQ(source->GetChild(0).GetLog().Saved, 0);
  EXPECT_EQ(EmlFiles(), 4);
  EXPECT_EQ(Uids("INBOX").size(), 3u) << "nothing is deleted unless asked";
}

TEST_F(ImapTest, TheMailFilterIsSearchedOnTheServerAndTheSelectionPicksFolders) {
  auto source = Source();
  ASSERT_TRUE(source->LoadFolders());
  source->SourceFolders->SetFolderStatus("INBOX", fsChecked);
  source->Filters->Mail->Enabled = true;
  source->Filters->Mail->Subject = "invoice";
  source->Execute();
  ASSERT_EQ(source->GetLog().ErrorsCount(), 0) << source->GetLog().GetError(0).Error;
  EXPECT_EQ(source->GetLog().FoldersList, (TStringList{"INBOX=1"})) << "only the match was listed";
  EXPECT_EQ(EmlFiles(), 1);
}

TEST_F(ImapTest, DeletesOnlyWhatTheTargetsTookAfterwards) {
  auto source = Source();
  // Asked by the target rather than the source option: the same deletion.
  dynamic_cast<TKwTargetMailBase&>(source->GetChild(0)).DeleteSourceMessage = true;
  ASSERT_TRUE(source->LoadFolders());
  source->SourceFolders->SetFolderStatus("INBOX", fsChecked);
  source->Execute();
  EXPECT_TRUE(source->GetLog().Notes.empty()) << source->GetLog().Notes.front();
  EXPECT_EQ(EmlFiles(), 3);
  EXPECT_TRUE(Uids("INBOX").empty());
  EXPECT_EQ(Uids(kNested).size(), 1u) << "a folder not walked keeps its mail";
}

TEST_F(ImapTest, AJsonJobExportsEveryMessageAndASecondRunNothingNew) {
  const std::string job = R"({"kind": "stiJob", "children": [{"kind": "stiMailSrcIMAP",
    "SourceOptions.CopyToSourceLog": true,
    "SourceOptions.Remote.Server": "127.0.0.1", "SourceOptions.Remote.Port": )" +
                          std::to_string(gServer->Port("IMAP")) + R"(,
    "SourceOptions.Remote.UseSSL": true, "SourceOptions.Remote.Username": "alice",
    "SourceOptions.Remote.Password": "secret",
    "children": [{"kind": "stiMailTarSingleFiles", "Options.TargetFolder": ")" +
                          (FHome / "eml").string() + R"("}]}]})";
  WriteFileText(FHome / "imap.json", job);
  setenv("SSL_CERT_FILE", gServer->CaFile().c_str(), 1);
  const TCliRun first = Quillon("run --quiet " + (FHome / "imap.json").string());
  const TCliRun second = Quillon("run --quiet " + (FHome / "imap.json").string());
  unsetenv("SSL_CERT_FILE");
  EXPECT_EQ(first.Status, 0) << first.Out;
  EXPECT_NE(first.Out.find("4 saved"), std::string::npos) << first.Out;
  EXPECT_EQ(second.Status, 0) << second.Out;
  EXPECT_NE(second.Out.find("0 saved"), std::string::npos) << second.Out;
  EXPECT_EQ(EmlFiles(), 4);
}

TEST_F(ImapTest, AnExpiredXoauth2TokenIsRefreshedAndStoredBack) {
  std::string request;
  const std::string json = R"({"access_token": "secret", "refresh_token": "refresh-2", "expires_in": 3600})";
  TScriptedServer endpoint("", [&](const std::string& line) -> std::string {
    request += line + "\n";
    if (!line.empty()) return "";
    return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(json.size()) +
           "\r\nConnection: close\r\n\r\n" + json;
  });
  setenv("QUILLON_OAUTH_TOKEN_URL", ("http://127.0.0.1:" + std::to_string(endpoint.Port()) + "/token").c_str(), 1);
  auto source = Source();
  source->SourceOptions->Remote->ImapAuthMechanism = iamXOAUTH2;
  FGlobal.OauthSetTokens("alice", "expired", "refresh-1", NowLocal() - 1);
  source->Execute();
  unsetenv("QUILLON_OAUTH_TOKEN_URL");
  ASSERT_EQ(source->GetLog().ErrorsCount(), 0) << source->GetLog().GetError(0).Description;
  EXPECT_EQ(EmlFiles(), 4);
  EXPECT_NE(request.find("POST /token"), std::string::npos) << request;
  std::string access, refresh;
  TDateTime expiry = 0;
  ASSERT_TRUE(FGlobal.OauthGetTokens("alice", access, refresh, expiry));
  EXPECT_EQ(access, "secret");
  EXPECT_EQ(refresh, "refresh-2");
  EXPECT_GT(expiry, NowLocal());
}

}  // namespace

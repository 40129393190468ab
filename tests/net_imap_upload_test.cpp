// The IMAP upload target against a real Dovecot on 127.0.0.1: mailboxes made with their
// parents, modified UTF-7 names, \Seen and the message's own date, no duplicates.

#include <gtest/gtest.h>

#include <algorithm>

#include "DovecotServer.h"
#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwImapClient.h"
#include "uKwParameters.h"
#include "uKwSourceMbox.h"
#include "uKwTargetIMAP.h"

namespace {

TDovecotServer* gServer = nullptr;

std::string Message(const std::string& id, const std::string& from, const std::string& subject,
                    const std::string& date) {
  return "From " + from + " Mon Jan 15 10:00:00 2024\nFrom: " + from + "\nTo: team@example.com\nSubject: " +
         subject + "\nDate: " + date + "\n" + (id.empty() ? "" : "Message-ID: <" + id + ">\n") + "\nBody of " +
         subject + "\n\n";
}

std::string ThreeMessages() {
  return Message("a@x", "ann@example.org", "First", "Mon, 15 Jan 2024 10:00:00 +0000") +
         Message("b@x", "bob@example.com", "Second", "Tue, 16 Jan 2024 11:30:00 +0100") +
         Message("c@x", "cid@example.org", "Third", "Wed, 17 Jan 2024 12:00:00 +0000");
}

// Every mailbox of alice, decoded to UTF-8.
std::vector<std::string> Mailboxes() {
  TKwImapClient client;
  std::string error;
  std::vector<TKwImapMailbox> list;
  std::vector<std::string> names;
  if (!client.Connect(gServer->Settings(TKwMailProtocol::Imap, false), error) || !client.List(list)) return names;
  for (const auto& mailbox : list) names.push_back(DecodeModifiedUtf7(mailbox.Name));
  return names;
}

// The FETCH lines of (FLAGS INTERNALDATE) for every message of the mailbox.
std::vector<std::string> FlagsAndDates(const std::string& mailbox) {
  TKwImapClient client;
  std::string error;
  TKwImapSelected selected;
  std::vector<std::string> lines;
  if (!client.Connect(gServer->Settings(TKwMailProtocol::Imap, false), error) ||
      !client.Select(mailbox, true, selected))
    return lines;
  client.Command("UID FETCH 1:* (FLAGS INTERNALDATE)", [&](std::string& line) { lines.push_back(line); });
  return lines;
}

class ImapUploadTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    unsetenv("SSL_CERT_FILE");
    gServer = new TDovecotServer;
    if (!gServer->Start()) {
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
  void SetUp() override { ASSERT_NE(gServer, nullptr) << "no server"; }

  std::unique_ptr<TKwSourceMailMbox> Source(const std::string& mboxText = ThreeMessages()) {
    WriteFileText(FHome / "in.mbox", mboxText);
    auto source = std::make_unique<TKwSourceMailMbox>();
    source->ItemType = stiMailSrcMbox;
    source->GlobalOptions = &FGlobal;
    FGlobal.CaFile = gServer->CaFile();
    source->SourceOptions->Filename = (FHome / "in.mbox").string();
    return source;
  }
  TKwTargetMailIMAP& AddUpload(TKwActionBase& parent, const std::string& root) {
    auto& target = static_cast<TKwTargetMailIMAP&>(parent.GetChild(parent.AddChild(stiMailTarIMAP)));
    TKwRemoteOptions& remote = *target.Remote;
    remote.Server = "127.0.0.1";
    remote.Port = gServer->Port("IMAP");
    remote.UseSSL = true;  // STARTTLS on the plain port
    remote.Username = TDovecotServer::kUser;
    remote.Password = TDovecotServer::kPassword;
    target.TargetRootFolder = root;
    return target;
  }

  TTempHome FHome;
  TKwGlobalOptions FGlobal;
};

}  // namespace

TEST_F(ImapUploadTest, FillsTheRootFolderWithReadMessagesAtTheirOwnDatesAndNeverTwice) {
  auto source = Source();
  auto& upload = AddUpload(*source, "Archive/2019");
  source->Execute();

  EXPECT_EQ(upload.GetLog().Saved, 3) << (upload.GetLog().ErrorsCount() ? upload.GetLog().GetError(0).Description : "");
  const auto names = Mailboxes();
  EXPECT_NE(std::find(names.begin(), names.end(), "Archive"), names.end());
  EXPECT_NE(std::find(names.begin(), names.end(), "Archive/2019"), names.end());
  const auto lines = FlagsAndDates("Archive/2019");
  ASSERT_EQ(lines.size(), 3u);
  for (const auto& line : lines) EXPECT_NE(line.find("\\Seen"), std::string::npos) << line;
  EXPECT_NE(lines[0].find("\"15-Jan-2024 10:00:00 +0000\""), std::string::npos) << lines[0];
  EXPECT_NE(lines[1].find("\"16-Jan-2024 10:30:00 +0000\""), std::string::npos) << lines[1];

  source->Execute();
  EXPECT_EQ(upload.GetLog().Saved, 0);
  EXPECT_EQ(upload.GetLog().Skipped, 3);
  EXPECT_EQ(FlagsAndDates("Archive/2019").size(), 3u);
}

TEST_F(ImapUploadTest, AMessageAnotherClientPutThereIsSkipped) {
  TKwImapClient client;
  std::string error;
  ASSERT_TRUE(client.Connect(gServer->Settings(TKwMailProtocol::Imap, false), error)) << error;
  ASSERT_TRUE(client.Create("Shared"));
  const std::string second = Message("b@x", "Bob <bob@example.com>", "Second", "Tue, 16 Jan 2024 11:30:00 +0100");
  ASSERT_TRUE(client.Append("Shared", "", second.substr(second.find('\n') + 1)));
  client.Disconnect();

  auto source = Source();
  auto& upload = AddUpload(*source, "Shared");
  source->Execute();
  EXPECT_EQ(upload.GetLog().Saved, 2);
  EXPECT_EQ(upload.GetLog().Skipped, 1);
  EXPECT_EQ(FlagsAndDates("Shared").size(), 3u);
}

TEST_F(ImapUploadTest, NamesOutsideAsciiTravelAsModifiedUtf7) {
  auto source = Source();
  auto& upload = AddUpload(*source, "Entwürfe/Größe");
  source->Execute();

  EXPECT_EQ(upload.GetLog().Saved, 3) << (upload.GetLog().ErrorsCount() ? upload.GetLog().GetError(0).Error : "");
  const auto names = Mailboxes();
  EXPECT_NE(std::find(names.begin(), names.end(), "Entwürfe/Größe"), names.end());
  EXPECT_EQ(FlagsAndDates("Entw&APw-rfe/Gr&APYA3w-e").size(), 3u);
}

// This Dovecot keeps mail in Maildir++ folders, which take no "." in a name: the sender's
// domain as a folder is refused, and each message says so with the server's words.
TEST_F(ImapUploadTest, AMailboxTheServerRefusesFailsEachMessageWithTheServersText) {
  auto source = Source();
  auto& upload = AddUpload(*source, "ByDomain");
  upload.SubFolderStructure = sfsCreateFromDomainPart;
  source->Execute();

  EXPECT_EQ(upload.GetLog().Saved, 0);
  ASSERT_EQ(upload.GetLog().ErrorsCount(), 3);
  EXPECT_NE(upload.GetLog().GetError(0).Error.find("Character not allowed in mailbox name"), std::string::npos)
      << upload.GetLog().GetError(0).Error;
  EXPECT_EQ(upload.GetLog().GetError(0).Description, "Creating mailbox ByDomain/example.org");
  EXPECT_EQ(upload.GetLog().GetError(1).Subject, "Second");
}

TEST_F(ImapUploadTest, AMessageWithoutAMessageIdIsKnownBySenderSubjectAndDay) {
  auto source = Source(Message("", "ann@example.org", "No id", "Mon, 15 Jan 2024 23:30:00 -0500") +
                       Message("", "ann@example.org", "No id", "Mon, 22 Jan 2024 10:00:00 +0000"));
  auto& upload = AddUpload(*source, "NoIds");
  source->Execute();
  EXPECT_EQ(upload.GetLog().Saved, 2) << "a week apart: two messages";
  source->Execute();
  EXPECT_EQ(upload.GetLog().Saved, 0);
  EXPECT_EQ(upload.GetLog().Skipped, 2);
  EXPECT_EQ(FlagsAndDates("NoIds").size(), 2u);
}

TEST_F(ImapUploadTest, ADeadServerFailsTheTargetOnceAndLeavesTheMessagesForTheNextRun) {
  auto source = Source();
  source->SourceOptions->CopyToSourceLog = true;
  auto& upload = AddUpload(*source, "Later");
  upload.Remote->Port = 1;  // nothing listens there
  upload.Remote->UseSSL = false;
  source->Execute();
  ASSERT_EQ(upload.GetLog().ErrorsCount(), 1);
  EXPECT_EQ(upload.GetLog().GetError(0).Error, "Couldn't connect to the IMAP server");

  upload.Remote->Port = gServer->Port("IMAP");
  source->Execute();
  EXPECT_EQ(upload.GetLog().Saved, 3);
}

TEST(ImapTimeTest, WritesGmtInImapDateTimeForm) {
  EXPECT_EQ(DateTimeToImapTime(EncodeDateTime(2019, 3, 5, 7, 8, 9)), "05-Mar-2019 07:08:09 +0000");
  EXPECT_EQ(DateTimeToImapTime(EncodeDateTime(2024, 12, 31, 23, 59, 59)), "31-Dec-2024 23:59:59 +0000");
}

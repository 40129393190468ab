// The SMTP client, the forwarding target and send-email against a real SMTP server on
// 127.0.0.1 (aiosmtpd; its implicit-TLS port fixed at 465, where clients use it).

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>

#include "SmtpServer.h"
#include "TestSupport.h"
#include "uKwActionLog.h"
#include "uKwActionSendEmail.h"
#include "uKwMailMessage.h"
#include "uKwParameters.h"
#include "uKwSMTP.h"
#include "uKwSmtpClient.h"
#include "uKwSourceMbox.h"
#include "uKwTargetMailEDataSendEmail.h"
#include "uKwTargetSMTP.h"

namespace {

TSmtpServer* gServer = nullptr;

std::string Message(const std::string& id, const std::string& from, const std::string& subject,
                    const std::string& body) {
  return "From " + from + " Mon Jan 15 10:00:00 2024\nFrom: " + from + "\nTo: team@example.com\nSubject: " +
         subject + "\nDate: Mon, 15 Jan 2024 10:00:00 +0000\nMessage-ID: <" + id + ">\n\n" + body + "\n\n";
}

std::string ThreeMessages() {
  return Message("a@x", "ann@example.org", "First", "Hello\n.dotted line") +
         Message("b@x", "bob@example.com", "Re: Second", "Second body") +
         Message("c@x", "cid@example.org", "Third", "Third body");
}

// A port on which nothing listens.
int DeadPort() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  bind(fd, reinterpret_cast<sockaddr*>(&address), length);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  close(fd);
  return ntohs(address.sin_port);
}

std::unique_ptr<TKwMailMessage> Parse(const std::string& text) {
  auto message = std::make_unique<TKwMailMessage>();
  message->LoadMIMEFromString(text);
  return message;
}

std::string Joined(const TStringList& lines) {
  std::string text;
  for (const auto& line : lines) text += line + "\n";
  return text;
}

class SmtpTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    unsetenv("SSL_CERT_FILE");
    gServer = new TSmtpServer;
    if (!gServer->Start("SMTPS_PORT=465")) {
      std::string error = gServer->Error;
      delete gServer;
      gServer = nullptr;
      FAIL() << "The SMTP server did not start: " << error;
    }
  }
  static void TearDownTestSuite() {
    delete gServer;
    gServer = nullptr;
  }
  void SetUp() override {
    ASSERT_NE(gServer, nullptr) << "no server";
    gServer->ClearSpool();
    FGlobal.CaFile = gServer->CaFile();
  }

  std::unique_ptr<TKwSourceMailMbox> Source(const std::string& mboxText = ThreeMessages()) {
    WriteFileText(FHome / "in.mbox", mboxText);
    auto source = std::make_unique<TKwSourceMailMbox>();
    source->ItemType = stiMailSrcMbox;
    source->GlobalOptions = &FGlobal;
    source->SourceOptions->Filename = (FHome / "in.mbox").string();
    return source;
  }
  static void Login(TKwRemoteOptions& remote, int port, bool tls) {
    remote.Server = "127.0.0.1";
    remote.Port = port;
    remote.UseSSL = tls;
    remote.Username = TSmtpServer::kUser;
    remote.Password = TSmtpServer::kPassword;
  }
  TKwTargetMailSMTP& AddForwarder(TKwActionBase& parent, const std::string& recipients) {
    auto& target = static_cast<TKwTargetMailSMTP&>(parent.GetChild(parent.AddChild(stiMailTarEmailForwarder)));
    target.From = "archive@example.net";
    target.Recipients = recipients;
    Login(*target.Remote, gServer->Port(), true);
    return target;
  }
  static std::vector<std::string> ErrorTexts(const TKwActionLog& log) {
    std::vector<std::string> texts;
    for (int i = 0; i < log.ErrorsCount(); ++i) texts.push_back(log.GetError(i).Error + " | " + log.GetError(i).Description);
    return texts;
  }

  TTempHome FHome;
  TKwGlobalOptions FGlobal;
};

}  // namespace

TEST_F(SmtpTest, ForwardsEveryMessageWithEnvelopeBodyAndTheOriginalAttached) {
  auto source = Source();
  auto& forwarder = AddForwarder(*source, "Team <team@example.net>; boss@example.net");
  forwarder.Remote->ImapAuthMechanism = iamSASLPlain;
  forwarder.IncludeMessageBody = true;
  forwarder.IncludeMessageAsAttachment = true;
  forwarder.TopPostedBody = {"FYI, see below."};
  source->Execute();

  EXPECT_EQ(forwarder.GetLog().Saved, 3) << testing::PrintToString(ErrorTexts(forwarder.GetLog()));
  const auto received = gServer->Received();
  ASSERT_EQ(received.size(), 3u);
  const auto& envelope = received[0].Envelope;
  EXPECT_EQ(envelope["from"], "archive@example.net");
  EXPECT_EQ(envelope["to"], nlohmann::json::array({"team@example.net", "boss@example.net"}));
  EXPECT_EQ(envelope["auth"], "alice");
  EXPECT_EQ(envelope["mechanism"], "PLAIN");
  EXPECT_EQ(envelope["tls"], true);

  auto forwarded = Parse(received[0].Text);
  EXPECT_EQ(forwarded->Headers->Subject, "Fwd: First");
  const std::string body = Joined(forwarded->TextPart);
  EXPECT_LT(body.find("FYI, see below."), body.find("Hello"));
  EXPECT_NE(body.find("\n.dotted line"), std::string::npos) << "a leading dot survives the DATA transfer";
  ASSERT_EQ(forwarded->Attachments->GetCount(), 1);
  const TKwAttachment& original = forwarded->Attachments->GetAttachment(0);
  EXPECT_EQ(original.FileName, "First.eml");
  auto attached = Parse(original.Content);
  EXPECT_EQ(attached->Headers->Subject, "First");
  EXPECT_EQ(attached->Headers->From.Address, "ann@example.org");
}

TEST_F(SmtpTest, AnOriginalWithLinesTooLongForSmtpStillTravels) {
  const std::string longLine(3000, 'x');
  auto source = Source(Message("a@x", "ann@example.org", "Long", longLine));
  auto& forwarder = AddForwarder(*source, "team@example.net");
  forwarder.IncludeMessageBody = true;
  forwarder.IncludeMessageAsAttachment = true;
  source->Execute();

  const auto received = gServer->Received();
  ASSERT_EQ(received.size(), 1u) << testing::PrintToString(ErrorTexts(forwarder.GetLog()));
  auto forwarded = Parse(received[0].Text);
  auto unwrapped = [](const TStringList& lines) {
    std::string text;
    for (const auto& line : lines) text += line;
    return text;
  };
  EXPECT_NE(unwrapped(forwarded->TextPart).find(longLine), std::string::npos);
  ASSERT_EQ(forwarded->Attachments->GetCount(), 1);
  EXPECT_NE(unwrapped(Parse(forwarded->Attachments->GetAttachment(0).Content)->TextPart).find(longLine),
            std::string::npos);
}

TEST_F(SmtpTest, SubjectAndBodyFollowTheirOptionsWithoutTlsOrLogin) {
  auto source = Source();
  auto& forwarder = AddForwarder(*source, "team@example.net");
  forwarder.Remote->UseSSL = false;
  forwarder.Remote->Username.clear();
  auto& renamed = AddForwarder(*source, "boss@example.net");
  renamed.ForwardSubject = sfsNewSubject;
  renamed.Subject = "From the archive";
  source->Execute();

  const auto received = gServer->Received();
  ASSERT_EQ(received.size(), 6u);
  std::vector<std::string> subjects;
  for (const auto& item : received) subjects.push_back(Parse(item.Text)->Headers->Subject);
  // A reply's subject gets its "Fwd: " all the same.
  EXPECT_EQ(subjects, (std::vector<std::string>{"Fwd: First", "From the archive", "Fwd: Re: Second",
                                                "From the archive", "Fwd: Third", "From the archive"}));
  EXPECT_EQ(received[0].Envelope["tls"], false);
  EXPECT_TRUE(received[0].Envelope["auth"].is_null());
  auto bare = Parse(received[0].Text);
  EXPECT_EQ(Joined(bare->TextPart).find_first_not_of("\n"), std::string::npos) << "no body asked for";
  EXPECT_EQ(bare->Attachments->GetCount(), 0);
}

TEST_F(SmtpTest, ImplicitTlsWithAnXoauth2Token) {
  auto source = Source(Message("a@x", "ann@example.org", "Hello", "Hi"));
  auto& forwarder = AddForwarder(*source, "team@example.net");
  forwarder.Remote->Port = 465;
  forwarder.Remote->ImapAuthMechanism = iamXOAUTH2;
  forwarder.Remote->Password.clear();
  forwarder.Remote->AccessToken = TSmtpServer::kPassword;
  source->Execute();

  const auto received = gServer->Received();
  ASSERT_EQ(received.size(), 1u) << testing::PrintToString(ErrorTexts(forwarder.GetLog()));
  EXPECT_EQ(received[0].Envelope["mechanism"], "XOAUTH2");
  EXPECT_EQ(received[0].Envelope["tls"], true);
}

TEST_F(SmtpTest, ARefusedRecipientFailsEachMessageAloneAndTheRunGoesOn) {
  auto source = Source();
  source->SourceOptions->CopyToSourceLog = true;
  auto& refused = AddForwarder(*source, "team@example.net, refused@example.net");
  auto& good = AddForwarder(*source, "team@example.net");
  source->Execute();

  EXPECT_EQ(good.GetLog().Saved, 3);
  ASSERT_EQ(refused.GetLog().ErrorsCount(), 3);
  EXPECT_NE(refused.GetLog().GetError(0).Error.find("550 5.1.1 No such user here"), std::string::npos);
  EXPECT_EQ(refused.GetLog().GetError(0).Subject, "First");
  EXPECT_EQ(gServer->Received().size(), 3u) << "nobody gets a copy the refused recipient misses";

  // None of them is taken as processed: the next run tries all three again.
  refused.Recipients = "boss@example.net";
  source->Execute();
  EXPECT_EQ(gServer->Received().size(), 9u);
}

TEST_F(SmtpTest, ADeadServerFailsTheTargetOnceAndLeavesTheMessagesForTheNextRun) {
  auto source = Source();
  source->SourceOptions->CopyToSourceLog = true;
  auto& forwarder = AddForwarder(*source, "team@example.net");
  forwarder.Remote->Port = DeadPort();
  forwarder.Remote->UseSSL = false;
  source->Execute();

  ASSERT_EQ(forwarder.GetLog().ErrorsCount(), 1) << testing::PrintToString(ErrorTexts(forwarder.GetLog()));
  EXPECT_EQ(forwarder.GetLog().GetError(0).Error, "Couldn't connect to the SMTP server");
  EXPECT_NE(forwarder.GetLog().GetError(0).Description.find("127.0.0.1"), std::string::npos);
  EXPECT_EQ(forwarder.GetLog().Saved, 0);

  forwarder.Remote->Port = gServer->Port();
  source->Execute();
  EXPECT_EQ(forwarder.GetLog().Saved, 3);
  EXPECT_EQ(gServer->Received().size(), 3u);
  source->Execute();
  EXPECT_EQ(gServer->Received().size(), 3u) << "sent once, then in the processed-message log";
}

TEST_F(SmtpTest, AConnectionLostAfterDataFailsThatMessageAndTheNextReconnects) {
  TKwSmtpClient client;
  TKwConnectionSettings settings;
  settings.Host = "127.0.0.1";
  settings.Port = gServer->Port();
  settings.TimeoutSeconds = 10;
  std::string error;
  ASSERT_TRUE(client.Connect(settings, error)) << error;
  EXPECT_EQ(client.Send("a@example.net", {"drop@example.net"}, "Subject: x\n\nbody\n", error), TKwSmtpResult::Lost);
  EXPECT_FALSE(client.IsConnected());
  EXPECT_FALSE(error.empty());

  auto source = Source();
  auto& forwarder = AddForwarder(*source, "drop@example.net");
  source->Execute();
  EXPECT_EQ(forwarder.GetLog().ErrorsCount(), 3) << "each message fails alone, each time after a fresh connection";
  EXPECT_EQ(forwarder.GetLog().Saved, 0);
  EXPECT_TRUE(gServer->Received().empty());
}

TEST_F(SmtpTest, SendEmailFillsItsTemplatesAndLogsEveryAttempt) {
  auto source = Source(Message("a@x", "ann@example.org", "Order 7", "Hi") +
                       Message("b@x", "refused@example.org", "Order 8", "Hi"));
  auto& sender =
      static_cast<TKwTargetMailEDataSendEmail&>(source->GetChild(source->AddChild(stiMailTarEDataSendEmail)));
  Login(*sender.Remote, gServer->Port(), true);
  sender.From = "orders@example.net";
  sender.Recipient = "%FROMADDRESS%";
  sender.Subject = "About %subject%";
  sender.Body = "Dear %FromAddress%,\nwe got \"%Subject%\".";
  source->Execute();

  const auto received = gServer->Received();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].Envelope["to"], nlohmann::json::array({"ann@example.org"}));
  auto mail = Parse(received[0].Text);
  EXPECT_EQ(mail->Headers->Subject, "About Order 7");
  EXPECT_NE(Joined(mail->TextPart).find("Dear ann@example.org,\nwe got \"Order 7\"."), std::string::npos);

  const TStringList& notes = sender.GetLog().Notes;
  ASSERT_GE(notes.size(), 7u);
  EXPECT_EQ(notes[0], "Server Name: 127.0.0.1");
  EXPECT_EQ(notes[1], "User Name: alice");
  EXPECT_EQ(notes[3], "Recipient: ann@example.org");
  EXPECT_EQ(notes[5], " ");
  EXPECT_EQ(notes[6], "Operation Succesful!");
  const auto errors = ErrorTexts(sender.GetLog());
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_NE(errors[0].find("550"), std::string::npos);
  EXPECT_EQ(sender.GetLog().GetError(1).Error, "Operation Failed!");
}

TEST_F(SmtpTest, TheSendEmailActionSendsItsOneMailOrSaysWhyNot) {
  auto action = CreateNewAction(stiSendEmail);
  auto& send = static_cast<TKwActionSendEmail&>(*action);
  send.GlobalOptions = &FGlobal;
  Login(*send.Remote, gServer->Port(), true);
  send.From = "jobs@example.net";
  send.Recipient = "ops@example.org; team@example.org";
  send.Subject = "Nightly export done";
  send.Body = "All sources finished.";
  send.Execute();
  ASSERT_EQ(send.GetLog().ErrorsCount(), 0) << send.GetLog().GetError(0).Error;
  const auto received = gServer->Received();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].Envelope["to"], nlohmann::json::array({"ops@example.org", "team@example.org"}));
  EXPECT_EQ(Parse(received[0].Text)->Headers->Subject, "Nightly export done");

  send.Remote->Port = 1;
  send.Execute();
  ASSERT_EQ(send.GetLog().ErrorsCount(), 1) << "a dead server is the action's error";
}

TEST(SmtpDataTest, EndsEveryLineWithCrLfAndDoublesLeadingDots) {
  EXPECT_EQ(SmtpDataBlock("a\n.b\r\n..c"), "a\r\n..b\r\n...c\r\n.\r\n");
  EXPECT_EQ(SmtpDataBlock(""), ".\r\n");
}

TEST(SmtpDataTest, SplitsRecipientsAtCommasAndSemicolonsOutsideQuotes) {
  EXPECT_EQ(SplitRecipients("a@x.org; \"Doe, Bob\" <b@y.org>,c@z.org,, "),
            (std::vector<std::string>{"a@x.org", "b@y.org", "c@z.org"}));
  EXPECT_TRUE(SplitRecipients(" ").empty());
}

#pragma once
// Uploads every message it receives into a mailbox of an IMAP server over one connection
// held for the run: under TargetRootFolder, the source's folders (or the sender's address
// or domain) recreated as SubFolderStructure says, with the server's hierarchy delimiter
// and modified UTF-7 names, every missing parent created. A message is stored as read
// (\Seen) with its own date as internal date, and never twice: one the mailbox already
// holds (same Message-ID from the same sender; without a Message-ID, same sender and
// subject sent within a day) is skipped and counted as skipped.
//
// A message the server refuses (quota, size) fails alone with the server's text. A
// connection that cannot be made or is lost fails the target once; the messages after
// that are kept out of the processed-message log, so a later run uploads them.

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "uKwParameters.h"
#include "uKwTargetBase.h"

class TKwImapClient;

class TKwTargetMailIMAP : public TKwTargetMailBase {
 public:
  TKwTargetMailIMAP();
  ~TKwTargetMailIMAP() override;
  std::string_view ClassName() const override { return "TKwTargetMailIMAP"; }
  void Publish(TKwPublisher& publisher) override;

  void InitializeExtractProcess(TKwFoldersTree& folders) override;
  void ProcessMessage(TKwMailMessage& message) override;
  void FinalizeExtractProcess() override;
  int SubtreeErrorsCount() const override;

  bool IncludeImagesInTarget = false;
  const std::unique_ptr<TKwRemoteOptions> Remote = std::make_unique<TKwRemoteOptions>();
  TSFSubFolderStructure SubFolderStructure = sfsDontCreateSubFolders;
  std::string TargetRootFolder;

 protected:
  void Preset(const std::string& server);  // the server of a public mail service

 private:
  bool Connect();
  void GiveUp(const std::string& error, const std::string& reason);
  // The mailbox of the message as UTF-8 names, outermost first.
  std::vector<std::string> MailboxPath(const TKwMailMessage& message) const;
  // The mailbox made current (created with its parents when missing); "" after an error.
  std::string OpenMailbox(const std::vector<std::string>& path);
  bool LoadKnownMessages(const std::string& mailbox);
  bool IsDuplicate(const TKwMailMessage& message, bool& duplicate);
  void Fail(const std::string& error, const std::string& description);

  std::unique_ptr<TKwImapClient> FClient;
  char FDelimiter = '/';
  std::set<std::string> FMailboxes;  // names as the server knows them
  std::string FSelected;
  // Per mailbox opened this run: Message-ID and sender of every message it holds, read
  // once, so that the duplicate check costs no server search per message.
  std::map<std::string, std::set<std::string>> FKnown;
  bool FGaveUp = false;
  int FUndelivered = 0;
};

class TKwTargetMailGMail : public TKwTargetMailIMAP {
 public:
  TKwTargetMailGMail() { Preset("imap.gmail.com"); }
  std::string_view ClassName() const override { return "TKwTargetMailGMail"; }
};

class TKwTargetMailOutlookCom : public TKwTargetMailIMAP {
 public:
  TKwTargetMailOutlookCom() { Preset("outlook.office365.com"); }
  std::string_view ClassName() const override { return "TKwTargetMailOutlookCom"; }
};

class TKwTargetMailYahooIMAP : public TKwTargetMailIMAP {
 public:
  TKwTargetMailYahooIMAP() { Preset("imap.mail.yahoo.com"); }
  std::string_view ClassName() const override { return "TKwTargetMailYahooIMAP"; }
};

// A GMT date in IMAP's date-time form: "15-Jan-2024 10:00:00 +0000".
std::string DateTimeToImapTime(TDateTime gmt);

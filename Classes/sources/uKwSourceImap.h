#pragma once
// The IMAP mail sources: the mailboxes of an IMAP server as the folder tree (the server's
// hierarchy delimiter splits the names; \Noselect folders are parents only), walked by
// UID. The mail filter becomes a server-side UID SEARCH, so filtered-out mail is never
// downloaded; headers come with BODY.PEEK[HEADER], messages with BODY.PEEK[], in
// batches of many UIDs per command, and nothing sets \Seen. Ids handed on are
// "UIDVALIDITY:UID".
//
// With SourceOptions.DeleteMessages the folder is opened read-write and the messages
// every target took without an error are flagged \Deleted and expunged when the folder
// ends, never before. Otherwise the folder is only EXAMINEd and nothing changes.
//
// Owns its IMAP client, connected from LoadFolders or InitializeExtraction to
// FinalizeExtraction. The presets (Gmail, Yahoo, Outlook.com, iCloud) differ only in the
// server, port, TLS and mechanism their constructors set.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "uKwSourceBase.h"

class TKwHeaders;
class TKwImapClient;

class TKwSourceMailIMAP : public TKwSourceMailBase {
 public:
  TKwSourceMailIMAP();
  ~TKwSourceMailIMAP() override;
  std::string_view ClassName() const override { return "TKwSourceMailIMAP"; }

  void Execute() override;
  bool LoadFolders() override;
  bool InitializeExtraction() override;
  bool Connect() override;
  void Disconnect() override;
  void FinalizeExtraction() override;
  void ProcessMailFolder(TKwFolderNode& folder) override;
  bool DoLoadMailItem(const TKwMailItem& item, TKwMailMessage& message) override;
  // Deletion is asked by the source option or by a target; the messages are flagged and
  // expunged together when their folder is done.
  bool CanDeleteMessages() const override { return true; }
  bool DeleteMessage(const TKwMailItem& item, std::string& error) override;
  // Loads the message "UIDVALIDITY:UID" of the selected folder into message.
  bool DownloadMessage(const std::string& id, TKwMailMessage& message);

  static constexpr int kTimeoutSeconds = 300;

 protected:
  // Sets the server, port, TLS and mechanism of a preset.
  void Preset(const char* server, TImapAuthMechanism mechanism);

 private:
  bool ConnectClient();
  // One batch of UIDs (the first at position firstIndex of the folder's search): the
  // headers of all, then the messages the loop will load, then each through ProcessMailItem.
  void ProcessBatch(const std::vector<uint32_t>& uids, size_t firstIndex, int count, TKwFolderNode& folder);

  std::unique_ptr<TKwImapClient> FClient;
  std::unique_ptr<TKwHeaders> FHeaders;
  std::string FConnectError;
  uint32_t FUidValidity = 0;              // of the selected folder
  std::map<uint32_t, std::string> FFetched;  // messages of the current batch, by UID
  std::vector<uint32_t> FToDelete;  // of the selected folder
};

class TKwSourceMailGmail : public TKwSourceMailIMAP {
 public:
  TKwSourceMailGmail() { Preset("imap.gmail.com", iamXOAUTH2); }
  std::string_view ClassName() const override { return "TKwSourceMailGmail"; }
};

class TKwSourceMailYahooIMAP : public TKwSourceMailIMAP {
 public:
  TKwSourceMailYahooIMAP() { Preset("imap.mail.yahoo.com", iamUserPassword); }
  std::string_view ClassName() const override { return "TKwSourceMailYahooIMAP"; }
};

class TKwSourceMailOutlookCom : public TKwSourceMailIMAP {
 public:
  TKwSourceMailOutlookCom() { Preset("outlook.office365.com", iamXOAUTH2); }
  std::string_view ClassName() const override { return "TKwSourceMailOutlookCom"; }
};

class TKwSourceMailICloudMail : public TKwSourceMailIMAP {
 public:
  TKwSourceMailICloudMail() { Preset("imap.mail.me.com", iamUserPassword); }
  std::string_view ClassName() const override { return "TKwSourceMailICloudMail"; }
};

#pragma once
// The POP3 mail source: the one mailbox of a POP3 server, shown as the folder "Inbox"
// under the root "POP", walked by message number (ids handed on count from 1). Headers
// come with TOP n 0; a message with TOP n 10000, so only the first 10,000 body lines of
// a message are ever fetched. Nothing on the server is changed.
//
// Owns its POP3 client, connected from InitializeExtraction to FinalizeExtraction.

#include <map>
#include <memory>
#include <string>

#include "uKwSourceBase.h"

class TKwHeaders;
class TKwPop3Client;

class TKwSourceMailPOP : public TKwSourceMailBase {
 public:
  TKwSourceMailPOP();
  ~TKwSourceMailPOP() override;
  std::string_view ClassName() const override { return "TKwSourceMailPOP"; }

  void Execute() override;
  bool LoadFolders() override;
  bool InitializeExtraction() override;
  bool Connect() override;
  void Disconnect() override;
  void FinalizeExtraction() override;
  void ProcessMailFolder(TKwFolderNode& folder) override;
  bool DoLoadMailItem(const TKwMailItem& item, TKwMailMessage& message) override;
  // Loads message number id (1-based, decimal text) into message, cut as DoLoadMailItem.
  bool DownloadMessage(const std::string& id, TKwMailMessage& message);

  static constexpr int kMaxLines = 10000;
  static constexpr int kTimeoutSeconds = 300;

 private:
  bool ConnectClient(bool forExtraction);
  // One batch of message numbers: the headers of all, then (pipelined) the messages the
  // loop will load, then each item through ProcessMailItem.
  void ProcessBatch(const std::vector<int>& numbers, int count, TKwFolderNode& folder);

  std::unique_ptr<TKwPop3Client> FClient;
  std::unique_ptr<TKwHeaders> FHeaders;  // the parser of each message's header block
  std::string FConnectError;
  std::map<int, int64_t> FSizes;          // LIST of the current folder
  std::map<int, std::string> FFetched;    // the texts of the current batch, by number
  int FMessageNumber = 0;
};

// The POP3 service of one web-mail provider: the same source, preset to its server.
class TKwSourceMailYahooPOP : public TKwSourceMailPOP {
 public:
  TKwSourceMailYahooPOP();
  std::string_view ClassName() const override { return "TKwSourceMailYahooPOP"; }
  static constexpr char kServer[] = "pop.mail.yahoo.com";
};

#pragma once
// An IMAP4rev1 client (RFC 3501) over one logged-in libcurl connection: the mailbox
// list, EXAMINE/SELECT, UID SEARCH, batched UID FETCH, flags, expunge and APPEND.
// Responses are read whole, literals in place, and handed to the parsers of
// uKwImapResponse; a FETCH is handed on as it arrives, so a batch of messages is never
// held at once.
//
// Owns its connection. Not copyable; used from one thread.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "uKwCurl.h"
#include "uKwImapResponse.h"

struct TKwImapSelected {
  uint32_t Exists = 0;
  uint32_t UidValidity = 0;
};

class TKwImapClient {
 public:
  TKwImapClient();
  ~TKwImapClient();

  // Connects, negotiates TLS as the settings say and logs in. False with `error`.
  bool Connect(const TKwConnectionSettings& settings, std::string& error);
  // LOGOUT, then closes.
  void Disconnect();
  bool IsConnected() const { return FConnection.IsOpen(); }
  const std::string& LastError() const { return FLastError; }

  // Sends one tagged command and reads up to its completion; each untagged response (and
  // nothing else) goes to onUntagged. False with LastError when the server says NO or BAD
  // or the connection fails.
  using TOnLine = std::function<void(std::string& response)>;
  bool Command(const std::string& command, const TOnLine& onUntagged = nullptr);

  // LIST "" "*": every mailbox, names as the server sends them.
  bool List(std::vector<TKwImapMailbox>& mailboxes);
  // EXAMINE (readOnly) or SELECT of a mailbox name as the server sent it.
  bool Select(const std::string& mailbox, bool readOnly, TKwImapSelected& selected);
  // UID SEARCH with the criteria ("" = ALL); the UIDs ascending. Criteria outside ASCII
  // are sent with CHARSET UTF-8.
  bool UidSearch(const std::string& criteria, std::vector<uint32_t>& uids);
  // UID FETCH of `items` (for example "(UID FLAGS BODY.PEEK[HEADER])") for the UIDs, in
  // commands of at most `batch` UIDs; onFetch gets every FETCH response that carries a UID.
  using TOnFetch = std::function<void(TKwImapFetch& fetch)>;
  bool UidFetch(const std::vector<uint32_t>& uids, const std::string& items, const TOnFetch& onFetch,
                size_t batch = 250);
  // Flags the UIDs \Deleted and expunges them (UID EXPUNGE when the server has UIDPLUS).
  bool DeleteUids(const std::vector<uint32_t>& uids);
  // APPEND with flags ("" or "(\Seen)") and the message's text.
  bool Append(const std::string& mailbox, const std::string& flags, const std::string& message);
  bool Create(const std::string& mailbox);

 private:
  bool ReadResponse(std::string& response);  // one line with its literals
  bool Fail(const std::string& error);
  std::string NextTag() { return "Q" + std::to_string(++FTagCounter); }

  TKwCurlConnection FConnection;
  unsigned FTagCounter = 0;
  bool FUidPlus = false;
  std::string FLastError;
};

// "1:3,7,9:10" for ascending UIDs.
std::string ImapSequenceSet(const std::vector<uint32_t>& uids, size_t first, size_t last);
